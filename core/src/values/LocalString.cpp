// LocalWString: entries sorted by language code.
#include "core/LocalString.h"

#include <algorithm>

namespace core {

namespace {

using Entries = std::vector<LocalWString::Entry, nexa::StdAllocator<LocalWString::Entry>>;

Entries::const_iterator lower_bound(const Entries& entries, std::string_view language) noexcept {
  return std::lower_bound(entries.begin(), entries.end(), language,
                          [](const LocalWString::Entry& e, std::string_view l) { return e.language < l; });
}

const avo::WString kEmpty;

}  // namespace

LocalWString::LocalWString(std::initializer_list<std::pair<std::string_view, std::u16string_view>> entries) {
  for (const auto& [language, text] : entries) set(language, text);
}

void LocalWString::set(std::string_view language, std::u16string_view text) {
  auto it = entries_.begin() + (lower_bound(entries_, language) - entries_.cbegin());
  if (it != entries_.end() && it->language == language) {
    it->text.assign(text);
    return;
  }
  entries_.insert(it, Entry{avo::String(language), avo::WString(text)});
}

bool LocalWString::remove(std::string_view language) noexcept {
  auto it = lower_bound(entries_, language);
  if (it == entries_.end() || it->language != language) return false;
  entries_.erase(it);
  return true;
}

const avo::WString* LocalWString::find(std::string_view language) const noexcept {
  auto it = lower_bound(entries_, language);
  return it != entries_.end() && it->language == language ? &it->text : nullptr;
}

const avo::WString& LocalWString::get(std::string_view language) const noexcept {
  if (const avo::WString* text = find(language)) return *text;
  if (const avo::WString* text = find("en")) return *text;
  return entries_.empty() ? kEmpty : entries_.front().text;
}

bool LocalWString::isFilled() const noexcept {
  return std::any_of(entries_.begin(), entries_.end(), [](const Entry& e) { return !e.text.empty(); });
}

}  // namespace core
