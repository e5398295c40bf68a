#include "IcuTables.h"

namespace icu_tables {

namespace {

struct Record {
  std::uint8_t flags;
  std::int8_t digit;
  std::int32_t lower;
  std::int32_t upper;
  std::int32_t fold;
};

#include "IcuTables.inc"

using namespace detail;

constexpr Record kNone{0, -1, 0, 0, 0};

const Record& record_of(std::int32_t c) noexcept {
  if (c < 0 || c >= kCodePoints) return kNone;
  const std::uint32_t block = kStage1[static_cast<std::uint32_t>(c) >> kBlockBits];
  return kRecords[kStage2[(block << kBlockBits) + (static_cast<std::uint32_t>(c) & ((1u << kBlockBits) - 1))]];
}

bool is_lead(char16_t u) { return (u & 0xFC00) == 0xD800; }
bool is_trail(char16_t u) { return (u & 0xFC00) == 0xDC00; }

// The folded UTF-16 units of a string, one at a time.
class FoldedUnits {
 public:
  FoldedUnits(const char16_t* text, std::int32_t length) : text_(text), length_(length) {}

  // The next unit, or -1 at the end.
  int next() noexcept {
    if (pending_ == pendingEnd_ && !refill()) return -1;
    return *pending_++;
  }

 private:
  bool atEnd() const noexcept { return length_ < 0 ? text_[at_] == 0 : at_ >= length_; }

  bool refill() noexcept {
    if (atEnd()) return false;
    std::int32_t c = text_[at_++];
    if (is_lead(static_cast<char16_t>(c)) && !atEnd() && is_trail(text_[at_])) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text_[at_++] - 0xDC00);
    }
    const Record& r = record_of(c);
    if (r.flags & kFoldsToSeveral) {
      pending_ = kFoldStrings + r.fold + 1;
      pendingEnd_ = pending_ + kFoldStrings[r.fold];
      return true;
    }
    const std::int32_t folded = c + r.fold;
    int n = 0;
    if (folded < 0x10000) {
      buffer_[n++] = static_cast<char16_t>(folded);
    } else {
      buffer_[n++] = static_cast<char16_t>(0xD800 + ((folded - 0x10000) >> 10));
      buffer_[n++] = static_cast<char16_t>(0xDC00 + ((folded - 0x10000) & 0x3FF));
    }
    pending_ = buffer_;
    pendingEnd_ = buffer_ + n;
    return true;
  }

  const char16_t* text_;
  std::int32_t length_;
  std::int32_t at_ = 0;
  char16_t buffer_[2] = {};
  const char16_t* pending_ = nullptr;
  const char16_t* pendingEnd_ = nullptr;
};

}  // namespace

bool is_alpha(std::int32_t c) noexcept { return (record_of(c).flags & kAlpha) != 0; }
bool is_digit(std::int32_t c) noexcept { return (record_of(c).flags & kDigit) != 0; }
bool is_space(std::int32_t c) noexcept { return (record_of(c).flags & kSpace) != 0; }
int digit_value(std::int32_t c) noexcept { return record_of(c).digit; }
std::int32_t to_lower(std::int32_t c) noexcept { return c + record_of(c).lower; }
std::int32_t to_upper(std::int32_t c) noexcept { return c + record_of(c).upper; }

int fold_compare(const char16_t* a, std::int32_t lengthA, const char16_t* b, std::int32_t lengthB) noexcept {
  FoldedUnits left(a, lengthA), right(b, lengthB);
  for (;;) {
    const int x = left.next();
    const int y = right.next();
    if (x != y) return x - y;  // an ended string (-1) orders first
    if (x < 0) return 0;
  }
}

const char* tables_version() noexcept { return kIcuVersion; }

}  // namespace icu_tables
