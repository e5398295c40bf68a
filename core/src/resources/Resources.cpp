#include "core/Resources.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>

#include "core/Thread.h"
#include "resources/ResourceTable.h"

namespace core {

namespace {

constexpr std::string_view kFallbackLanguage = "en";

std::mutex g_defaultLanguageMutex;

// Guarded by g_defaultLanguageMutex. Made on first use and never destroyed: threads may look texts up
// during static initialisation and while the process exits.
std::string& default_language() {
  static std::string* language = new std::string(kFallbackLanguage);
  return *language;
}

// The setting of a foreign thread (one without a core::Thread object); threads that have one keep it there.
thread_local std::optional<std::string> t_language;

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

std::string get_resource_language() {
  if (const Thread* thread = current_thread()) return thread->getResourceLocale();
  if (t_language) return *t_language;
  return get_process_resource_language();
}

void set_thread_resource_language(std::string_view language) {
  if (Thread* thread = current_thread()) {
    thread->setResourceLocale(language);
  } else {
    t_language.emplace(language);
  }
}

void reset_thread_resource_language() {
  if (Thread* thread = current_thread()) {
    thread->resetResourceLocale();
  } else {
    t_language.reset();
  }
}

std::string get_process_resource_language() {
  std::lock_guard lock(g_defaultLanguageMutex);
  return default_language();
}

void set_process_resource_language(std::string_view language) {
  std::lock_guard lock(g_defaultLanguageMutex);
  default_language().assign(language);
}

}  // namespace core
