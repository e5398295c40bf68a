// The payload-less kinds (Undefined, Null, the unspecified marker), Boolean and String, with their
// singletons and factories.
#include <bit>
#include <cstring>

#include "values/Bridges.h"
#include "values/Builtins.h"
#include "values/FormatSettings.h"

namespace core {
namespace detail {

// ---------------------------------------------------------------------------------------------------
// Undefined, Null, unspecified.

bool MarkerValue::getBoolean(bool& out) const {
  out = false;
  return false;
}

bool MarkerValue::getNumeric(Numeric& out) const {
  set_number(out, 0);
  return false;
}

// The presentation of a value without payload is the empty text.
bool MarkerValue::getString(avo::WString& out) const {
  out.clear();
  return true;
}

bool MarkerValue::getDate(Date& out) const {
  set_empty_date(out);
  return false;
}

// The hashes are the type codes: distinct, and stable across runs.
constinit NoDestroy<MarkerValue> gUndefinedValue(&gUndefinedType.value, Type::Undefined);

namespace {

constinit NoDestroy<MarkerValue> gNullValue(&gNullType.value, Type::Null);
constinit NoDestroy<MarkerValue> gUnspecifiedValue(&gUnspecifiedType.value, Type::Unspecified);

// ---------------------------------------------------------------------------------------------------
// Boolean: two singletons, nothing else.

class BooleanValue final : public ValueImplBase {
 public:
  constexpr explicit BooleanValue(bool value) noexcept
      : ValueImplBase(&gBooleanType.value, SharedTag{}), value_(value) {}

  const void* getDataPtr() const noexcept override { return &value_; }
  bool getBoolean(bool& out) const override {
    out = value_;
    return true;
  }
  bool getNumeric(Numeric& out) const override {
    set_number(out, value_ ? 1 : 0);
    return true;
  }
  bool getString(avo::WString& out) const override {
    out = current_bool_format().format(value_);
    return true;
  }
  bool getDate(Date& out) const override {
    set_empty_date(out);
    return false;
  }
  bool isEqual(IValue* other) const noexcept override {
    if (other == this) return true;
    if (other == nullptr || other->type() != type()) return false;
    return *static_cast<const bool*>(other->getDataPtr()) == value_;
  }
  std::int32_t hashCode() const noexcept override { return value_ ? 1 : 0; }

 private:
  bool value_;
};

constinit NoDestroy<BooleanValue> gTrueValue(true);
constinit NoDestroy<BooleanValue> gFalseValue(false);

}  // namespace

// ---------------------------------------------------------------------------------------------------
// String.

class StringValue final : public ValueImplBase {
 public:
  // The empty-string singleton.
  StringValue() noexcept : ValueImplBase(&gStringType.value, SharedTag{}) {}
  // A new value carrying one reference for its creator.
  explicit StringValue(std::u16string_view text) : ValueImplBase(string_type(), ImmortalType{}, 1), text_(text) {}

  const void* getDataPtr() const noexcept override { return &text_; }
  bool getBoolean(bool& out) const override {
    out = false;
    return current_bool_format().parse(text_, out);
  }
  bool getNumeric(Numeric& out) const override {
    if (parse_number(text_, out)) return true;
    set_number(out, 0);
    return false;
  }
  bool getString(avo::WString& out) const override {
    out = text_;
    return true;
  }
  bool getDate(Date& out) const override {
    if (parse_date(text_, out)) return true;
    set_empty_date(out);
    return false;
  }
  bool isEqual(IValue* other) const noexcept override {
    if (other == this) return true;
    if (other == nullptr || other->type() != type()) return false;
    return same_text(*static_cast<const avo::WString*>(other->getDataPtr()), text_);
  }
  // Computed once: the payload never changes, and racing threads store the same number.
  std::int32_t hashCode() const noexcept override {
    std::uint32_t h = hash_.load(std::memory_order_relaxed);
    if (h == 0) {
      h = hash_bytes(text_.data(), text_.size() * sizeof(char16_t)) | 1u;
      hash_.store(h, std::memory_order_relaxed);
    }
    return as_hash(h);
  }

 private:
  avo::WString text_;
  mutable std::atomic<std::uint32_t> hash_{0};  // 0: not computed yet; computed hashes are odd
};

IValue* null_value() noexcept { return &gNullValue.value; }
IValue* true_value() noexcept { return &gTrueValue.value; }
IValue* false_value() noexcept { return &gFalseValue.value; }
// Made on first use rather than constant-initialised: not every standard library can build a
// std::basic_string in a constant expression.
IValue* empty_string_value() noexcept {
  static NoDestroy<StringValue> instance;
  return &instance.value;
}
IValue* unspecified_value() noexcept { return &gUnspecifiedValue.value; }

namespace {

// The last 1-7 bytes as the word a copy into a zeroed word gives (little-endian), read with at most three
// loads: a byte-wise copy into a stack word would make the following 8-byte load wait for the copied
// bytes (no store forwarding from several small stores), which cost a 33-code-unit string half its hash.
std::uint64_t tail_word(const unsigned char* p, std::size_t size) noexcept {
  static_assert(std::endian::native == std::endian::little, "the tail word is assembled little-endian");
  if (size >= 4) {
    std::uint32_t low;
    std::uint32_t high;
    std::memcpy(&low, p, 4);
    std::memcpy(&high, p + size - 4, 4);  // overlaps `low` by 8 - size bytes, which hold the same bytes
    return low | (std::uint64_t{high} << ((size - 4) * 8));
  }
  const std::size_t mid = size / 2;
  return std::uint64_t{p[0]} | (std::uint64_t{p[mid]} << (mid * 8)) | (std::uint64_t{p[size - 1]} << ((size - 1) * 8));
}

}  // namespace

// A multiplicative hash over 8-byte words (the word is mixed in, then the state is multiplied and rotated),
// finished by a 64-bit avalanche so that the low 32 bits depend on every input bit.
std::uint32_t hash_bytes(const void* data, std::size_t size) noexcept {
  constexpr std::uint64_t kMul = 0x9E3779B97F4A7C15ull;
  const auto* p = static_cast<const unsigned char*>(data);
  std::uint64_t h = size * kMul;
  while (size >= 8) {
    std::uint64_t word;
    std::memcpy(&word, p, 8);
    h = ((h ^ word) * kMul);
    h = (h << 29) | (h >> 35);
    p += 8;
    size -= 8;
  }
  if (size > 0) h = ((h ^ tail_word(p, size)) * kMul);
  h ^= h >> 33;
  h *= 0xFF51AFD7ED558CCDull;
  h ^= h >> 33;
  h *= 0xC4CEB9FE1A85EC53ull;
  h ^= h >> 33;
  return static_cast<std::uint32_t>(h);
}

}  // namespace detail

// ---------------------------------------------------------------------------------------------------
// Factories.

IValue* create_undefined_value() noexcept { return detail::undefined_value(); }
IValue* create_null_value() noexcept { return detail::null_value(); }
IValue* create_boolean_value(bool value) noexcept { return value ? detail::true_value() : detail::false_value(); }
IValue* create_string_value(std::u16string_view text) {
  if (text.empty()) return detail::empty_string_value();
  return new detail::StringValue(text);
}
IValue* proceed_call_unspecified_value() noexcept { return detail::unspecified_value(); }

}  // namespace core
