#pragma once
// LocalWString: one text in several languages, each under its language code ("en", "ru", ...). Forms and
// metadata keep their captions this way; a value of this kind (create_local_str_val, core/Value.h) shows
// the text of the calling thread's resource language.
//
//     core::LocalWString caption{{"en", u"Amount"}, {"ru", u"Сумма"}};
//     caption.get("ru");     // u"Сумма"
//     caption.get("de");     // u"Amount": no German text, English is the fallback
//
// Entries are kept sorted by language code, so two strings with the same texts compare equal whatever
// order they were filled in. A value type: copy freely; one object is used by one thread at a time.

#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "avo/BasicString.h"
#include "core/Export.h"

namespace core {

// One text per language code; see the top of this file.
class KERN83_API LocalWString {
 public:
  // The text of one language.
  struct Entry {
    avo::String language;  // "en", "ru", ...
    avo::WString text;     // the text in that language
    // The same language and text.
    friend bool operator==(const Entry&, const Entry&) = default;
  };

  // No texts, or the given (language, text) pairs; a language given twice keeps its last text.
  LocalWString() = default;
  LocalWString(std::initializer_list<std::pair<std::string_view, std::u16string_view>> entries);

  // Sets the text of `language`, replacing an earlier one.
  void set(std::string_view language, std::u16string_view text);
  // Removes the text of `language`; false when there was none.
  bool remove(std::string_view language) noexcept;
  // The text of exactly `language`, or null.
  const avo::WString* find(std::string_view language) const noexcept;
  // The text of `language`, else the English ("en") text, else the first text by language code; an empty
  // string when there is none.
  const avo::WString& get(std::string_view language) const noexcept;

  // The entries, sorted by language code, and their number.
  const std::vector<Entry, nexa::StdAllocator<Entry>>& entries() const noexcept { return entries_; }
  std::size_t size() const noexcept { return entries_.size(); }
  bool empty() const noexcept { return entries_.empty(); }
  // Whether some language has a non-empty text.
  bool isFilled() const noexcept;

  // Same language codes with the same texts.
  friend bool operator==(const LocalWString&, const LocalWString&) = default;

 private:
  std::vector<Entry, nexa::StdAllocator<Entry>> entries_;
};

}  // namespace core
