// TypeDomainPattern: a small set of types with qualifiers.
#include "core/TypeDomain.h"

#include <algorithm>

#include "core/Value.h"

namespace core {

TypeDomainPattern::TypeDomainPattern(std::initializer_list<Type> types) {
  for (const Type& type : types) addType(type);
}

TypeDomainPattern::TypeDomainPattern(std::span<const Type> types) {
  for (const Type& type : types) addType(type);
}

bool TypeDomainPattern::addType(const Type& type) {
  if (type.isEmpty() || containsType(type)) return false;
  types_.push_back(type);
  return true;
}

bool TypeDomainPattern::removeType(const Type& type) noexcept {
  auto it = std::find(types_.begin(), types_.end(), type);
  if (it == types_.end()) return false;
  types_.erase(it);
  return true;
}

bool TypeDomainPattern::containsType(const Type& type) const noexcept {
  return std::find(types_.begin(), types_.end(), type) != types_.end();
}

bool TypeDomainPattern::containsType(Type::Code code) const noexcept {
  return std::any_of(types_.begin(), types_.end(),
                     [code](const Type& t) { return t.getIType()->getTypeCode() == code; });
}

IValue* TypeDomainPattern::createDefaultValue() const {
  if (types_.size() != 1) return create_undefined_value();
  return types_.front().createIValue();
}

avo::WString TypeDomainPattern::toString(int alias) const {
  avo::WString text;
  for (const Type& type : types_) {
    if (!text.empty()) text.append(u", ");
    if (const char16_t* name = type.getTypeString(alias)) text.append(name);
  }
  return text;
}

// Order-independent: the sum of per-type hashes, mixed with the qualifiers.
std::uint32_t TypeDomainPattern::hash() const noexcept {
  std::uint64_t sum = 0;
  for (const Type& type : types_) {
    IType* t = type.getIType();
    sum += static_cast<std::uint64_t>(t->getTypeCode()) * 0x9E3779B97F4A7C15ull + guid_hash(t->getCLSID());
  }
  std::uint64_t h = sum;
  h = h * 31 + numeric_.digits;
  h = h * 31 + numeric_.fractionDigits;
  h = h * 31 + (numeric_.nonnegative ? 1 : 0);
  h = h * 31 + string_.length;
  h = h * 31 + static_cast<std::uint64_t>(string_.allowedLength);
  h = h * 31 + static_cast<std::uint64_t>(date_.fractions);
  h = h * 31 + binary_.length;
  h = h * 31 + static_cast<std::uint64_t>(binary_.allowedLength);
  return static_cast<std::uint32_t>(h ^ (h >> 32));
}

bool operator==(const TypeDomainPattern& a, const TypeDomainPattern& b) noexcept {
  if (a.types_.size() != b.types_.size()) return false;
  for (const Type& type : a.types_) {
    if (!b.containsType(type)) return false;
  }
  return a.numeric_ == b.numeric_ && a.string_ == b.string_ && a.date_ == b.date_ && a.binary_ == b.binary_;
}

}  // namespace core
