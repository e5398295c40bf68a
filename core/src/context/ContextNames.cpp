#include "context/ContextNames.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <bit>
#include <string>

namespace core::detail {

namespace {

// The ICU path of the fold, for characters outside the fixed-offset ranges.
char16_t fold_by_case_mapping(char16_t c) noexcept {
  UChar32 upper = u_toupper(c);
  if (upper > 0xFFFF) upper = c;  // a code unit folds to a code unit
  const UChar32 lower = u_tolower(upper);
  return lower > 0xFFFF ? static_cast<char16_t>(upper) : static_cast<char16_t>(lower);
}

}  // namespace

// ASCII letters and the basic Cyrillic block take the fixed offset 32: capitals go up by it, small
// letters stay (their upper case is 32 below and its lower case back where they were). Everything else
// goes through the Unicode simple case mappings.
char16_t fold_name_char(char16_t c) noexcept {
  if (c < 0x80) return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
  if (c >= 0x0410 && c <= 0x042F) return static_cast<char16_t>(c + 32);
  if (c >= 0x0430 && c <= 0x044F) return c;
  return fold_by_case_mapping(c);
}

int compare_context_names(std::u16string_view a, std::u16string_view b) noexcept {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const int diff = static_cast<int>(fold_name_char(a[i])) - static_cast<int>(fold_name_char(b[i]));
    if (diff != 0) return diff;
  }
  return (a.size() > b.size()) - (a.size() < b.size());
}

bool context_name_matches(const char16_t* candidate, std::u16string_view name) noexcept {
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (candidate[i] == 0 || fold_name_char(candidate[i]) != fold_name_char(name[i])) return false;
  }
  return candidate[name.size()] == 0;
}

// FNV-1a over the folded code units.
std::uint32_t hash_context_name(std::u16string_view name) noexcept {
  std::uint32_t hash = 2166136261u;
  for (char16_t c : name) {
    hash ^= fold_name_char(c);
    hash *= 16777619u;
  }
  return hash;
}

int context_member_count(IContextDefBase* def, MemberKind kind) {
  return kind == MemberKind::Property ? def->getNProps() : def->getNMethods();
}

const char16_t* context_member_name(IContextDefBase* def, MemberKind kind, int member, int alias) {
  return kind == MemberKind::Property ? def->getPropName(member, alias) : def->getMethodName(member, alias);
}

std::vector<ContextName> collect_context_names(IContextDefBase* def, MemberKind kind) {
  std::vector<ContextName> names;
  const int count = context_member_count(def, kind);
  for (int member = 0; member < count; ++member) {
    for (int alias = 0;; ++alias) {
      const char16_t* name = context_member_name(def, kind, member, alias);
      if (name == nullptr) break;
      names.push_back(ContextName{name, member});
    }
  }
  return names;
}

void SortedIndex::assign(std::vector<ContextName> names) {
  // Stable, so that among equal names the lowest member comes first and the lower bound finds it, as the
  // linear scan would.
  std::stable_sort(names.begin(), names.end(), [](const ContextName& a, const ContextName& b) {
    return compare_context_names(a.name, b.name) < 0;
  });
  names_ = std::move(names);
}

int SortedIndex::find(std::u16string_view name) const noexcept {
  const auto it = std::lower_bound(
      names_.begin(), names_.end(), name,
      [](const ContextName& entry, std::u16string_view key) { return compare_context_names(entry.name, key) < 0; });
  if (it == names_.end() || compare_context_names(it->name, name) != 0) return -1;
  return it->number;
}

void HashIndex::assign(std::vector<ContextName> names) {
  const std::size_t buckets = std::bit_ceil(std::max<std::size_t>(names.size(), 1));
  entries_.clear();
  entries_.reserve(names.size());
  for (const ContextName& name : names) entries_.push_back(Entry{name, hash_context_name(name.name), kEnd});
  heads_.assign(buckets, kEnd);
  // Linking from the last entry to the first leaves every chain in number order.
  for (std::size_t i = entries_.size(); i-- > 0;) {
    std::uint32_t& head = heads_[entries_[i].hash & (buckets - 1)];
    entries_[i].next = head;
    head = static_cast<std::uint32_t>(i);
  }
}

void HashIndex::clear() noexcept {
  entries_.clear();
  heads_.clear();
}

int HashIndex::find(std::u16string_view name) const noexcept {
  if (heads_.empty()) return -1;
  const std::uint32_t hash = hash_context_name(name);
  for (std::uint32_t i = heads_[hash & (heads_.size() - 1)]; i != kEnd; i = entries_[i].next) {
    const Entry& entry = entries_[i];
    if (entry.hash == hash && compare_context_names(entry.name.name, name) == 0) return entry.name.number;
  }
  return -1;
}

}  // namespace core::detail
