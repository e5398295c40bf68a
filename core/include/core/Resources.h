#pragma once
// Message texts.
//
// Every message of the library is a resource key ("IDS_...") of a module ("kern83" for this library);
// the texts live in the library's resource files, in English and Russian. A lookup uses the calling
// thread's resource language, falls back to English, and answers the key itself when no text exists:
//
//     core::load_resource_string("kern83", "IDS_LISTSTREAMERROR");   // English text by default
//     core::set_thread_resource_language("ru");                      // this thread now reads Russian
//
// Thread safety: lookups may run on any thread; the language settings are per thread, with a process
// default ("en") that may be changed at start-up.

#include <string>
#include <string_view>

#include "avo/BasicString.h"
#include "core/Export.h"

namespace core {

// The text of `key` in `module`, or the key itself (widened) when there is none.
KERN83_API avo::WString load_resource_string(std::string_view module, std::string_view key);
// Shorthand for the library's own module "kern83".
KERN83_API avo::WString resource_string(std::string_view key);
// Whether `module` has a text for `key` in `language` (no fallback).
KERN83_API bool has_resource_string(std::string_view module, std::string_view key, std::string_view language);

// The calling thread's resource language: its own setting, else the process default. On a thread with a
// core::Thread object (core/Thread.h) the setting is that object's resource locale
// (Thread::setResourceLocale); foreign threads keep a setting of their own.
KERN83_API std::string get_resource_language();
// Sets the calling thread's own language ("en", "ru"), or forgets it so that the process default applies.
KERN83_API void set_thread_resource_language(std::string_view language);
KERN83_API void reset_thread_resource_language();
// The process default, for threads without a setting of their own.
KERN83_API void set_process_resource_language(std::string_view language);
KERN83_API std::string get_process_resource_language();

}  // namespace core
