// Windows: the system's events. A named event lives in the session's namespace ("Local\"); its opener gets
// the right to signal it only (EVENT_MODIFY_STATE), so its waits fail at once.
#include "platform/Event.h"

#include <windows.h>

#include <functional>
#include <new>
#include <string>

namespace core::platform {

struct Event::State {
  HANDLE handle;
};

namespace {

// Kernel object names take no backslash after the namespace and at most MAX_PATH characters: others are
// replaced, long names hashed.
std::wstring object_name(std::string_view name) {
  std::string text = "Local\\kern83.event.";
  if (name.size() > 200) {
    text += std::to_string(std::hash<std::string_view>{}(name));
  } else {
    for (char c : name) text += (c == '\\' || c == '\0') ? '_' : c;
  }
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size > 0 ? size : 0), L'\0');
  if (size > 0) MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

}  // namespace

Event::Event(Reset reset, bool signalled) : state_(new State{nullptr}), mapping_(nullptr) {
  state_->handle = CreateEventW(nullptr, reset == Reset::Manual, signalled, nullptr);
  if (state_->handle == nullptr) {
    delete state_;
    throw std::bad_alloc();  // the system is out of handles or memory
  }
}

Event::Event(State* state, Mapping* mapping) noexcept : state_(state), mapping_(mapping) {}

Event::~Event() {
  CloseHandle(state_->handle);
  delete state_;
}

bool Event::wait(unsigned timeoutMs) noexcept {
  static_assert(kInfinite == INFINITE);
  return WaitForSingleObject(state_->handle, timeoutMs) == WAIT_OBJECT_0;
}

void Event::set() noexcept { SetEvent(state_->handle); }
void Event::reset() noexcept { ResetEvent(state_->handle); }

std::unique_ptr<Event> Event::openOrCreate(std::string_view name, bool mayCreate) {
  const std::wstring object = object_name(name);
  HANDLE handle = mayCreate ? CreateEventW(nullptr, FALSE, FALSE, object.c_str())
                            : OpenEventW(EVENT_MODIFY_STATE, FALSE, object.c_str());
  if (handle == nullptr) return nullptr;
  return std::unique_ptr<Event>(new Event(new State{handle}, nullptr));
}

std::unique_ptr<Event> Event::createNamed(std::string_view name) { return openOrCreate(name, true); }
std::unique_ptr<Event> Event::openNamed(std::string_view name) { return openOrCreate(name, false); }

}  // namespace core::platform
