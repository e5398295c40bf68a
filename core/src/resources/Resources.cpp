#include "core/Resources.h"

#include <algorithm>
#include <cstring>

#include "base/LockGuard.h"
#include "base/ThreadSlots.h"
#include "platform/Mutex.h"
#include "resources/ResourceLanguage.h"
#include "resources/ResourceTable.h"

namespace core {

namespace {

constexpr std::string_view kFallbackLanguage = "en";

constinit platform::Mutex g_defaultLanguageMutex;

// Guarded by g_defaultLanguageMutex. Made on first use and never destroyed: threads may look texts up
// during static initialisation and while the process exits.
std::string& default_language() KERN83_REQUIRES(g_defaultLanguageMutex) {
  static std::string* language = new std::string(kFallbackLanguage);
  return *language;
}

// A thread's own language; other threads may set it through the thread object, hence the lock.
struct ThreadLanguage {
  platform::Mutex mutex;
  std::string language KERN83_GUARDED_BY(mutex);  // empty = not set
};

const detail::ThreadSlot<ThreadLanguage>& language_slot() {
  static const detail::ThreadSlot<ThreadLanguage> slot;
  return slot;
}

const char16_t* find_text(std::string_view module, std::string_view key, std::string_view language) {
  for (std::size_t t = 0; t < detail::kResourceTableCount; ++t) {
    const detail::ResourceTable& table = detail::kResourceTables[t];
    if (module != table.module || language != table.language) continue;
    const detail::ResourceEntry* end = table.entries + table.count;
    const detail::ResourceEntry* found = std::lower_bound(
        table.entries, end, key, [](const detail::ResourceEntry& e, std::string_view k) { return e.key < k; });
    if (found != end && key == found->key) return found->text;
  }
  return nullptr;
}

}  // namespace

avo::WString load_resource_string(std::string_view module, std::string_view key) {
  const std::string language = get_resource_language();
  const char16_t* text = find_text(module, key, language);
  if (text == nullptr && language != kFallbackLanguage) text = find_text(module, key, kFallbackLanguage);
  if (text != nullptr) return avo::WString(text);
  return avo::WString(key.begin(), key.end());
}

avo::WString resource_string(std::string_view key) { return load_resource_string("kern83", key); }

bool has_resource_string(std::string_view module, std::string_view key, std::string_view language) {
  return find_text(module, key, language) != nullptr;
}

std::string get_resource_language() { return detail::resource_language(detail::current_thread_slots()); }

void set_thread_resource_language(std::string_view language) {
  detail::set_resource_language(detail::current_thread_slots(), language);
}

void reset_thread_resource_language() { detail::set_resource_language(detail::current_thread_slots(), {}); }

std::string get_process_resource_language() {
  detail::LockGuard guard(g_defaultLanguageMutex);
  return default_language();
}

void set_process_resource_language(std::string_view language) {
  detail::LockGuard guard(g_defaultLanguageMutex);
  default_language().assign(language);
}

namespace detail {

void set_resource_language(ThreadSlots& slots, std::string_view language) {
  ThreadLanguage& own = language_slot().of(slots);
  LockGuard guard(own.mutex);
  own.language.assign(language);
}

std::string resource_language(ThreadSlots& slots) {
  ThreadLanguage& own = language_slot().of(slots);
  {
    LockGuard guard(own.mutex);
    if (!own.language.empty()) return own.language;
  }
  return get_process_resource_language();
}

}  // namespace detail

}  // namespace core
