#include "core/Semaphore.h"

#include <memory>

#include "core/Exception.h"
#include "nexa/Monitor.h"
#include "platform/Event.h"

namespace core {

namespace {

platform::Event* event_of(void* handle) { return static_cast<platform::Event*>(handle); }

unsigned limit_of(int ms) { return ms < 0 ? platform::kInfinite : static_cast<unsigned>(ms); }

// Waits on `event`, telling the suspend monitor only when the event is not already signalled.
bool wait_event(platform::Event& event, unsigned limit) {
  if (event.wait(0)) return true;
  if (limit == 0) return false;
  nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
  return event.wait(limit);
}

}  // namespace

ISemaphoreBaseImpl::~ISemaphoreBaseImpl() { delete event_of(event_); }

HRESULT ISemaphoreBaseImpl::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IUnknown::IID || iid == ISemaphore::IID) {
    *object = static_cast<ISemaphore*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

bool ISemaphoreBaseImpl::wait(int ms) { return wait_event(*event_of(event_), limit_of(ms)); }
void ISemaphoreBaseImpl::wait() { wait_event(*event_of(event_), platform::kInfinite); }
void ISemaphoreBaseImpl::raise() { event_of(event_)->set(); }

ISemaphoreImpl::ISemaphoreImpl() : ISemaphoreBaseImpl(new platform::Event(platform::Event::Reset::Auto, false)) {}

ISemaphoreOneTimeImpl::ISemaphoreOneTimeImpl()
    : ISemaphoreBaseImpl(new platform::Event(platform::Event::Reset::Manual, false)) {}

namespace {
platform::Event* named_event(const avo::WString& name, bool open) {
  const avo::String utf8 = avo::to_utf8(name);
  const std::string_view view(utf8.data(), utf8.size());
  std::unique_ptr<platform::Event> event = open ? platform::Event::openNamed(view) : platform::Event::createNamed(view);
  if (event == nullptr) throw ThreadException(ThreadException::CreateFailed, ResourceKey{"IDS_ERR_SYNC_OBJECT"});
  return event.release();
}
}  // namespace

INamedSemaphoreImpl::INamedSemaphoreImpl(const avo::WString& name, bool open)
    : ISemaphoreBaseImpl(named_event(name, open)), opened_(open) {}

// Deliberate: the opening side holds the event with the right to signal it only, as its creator intends;
// its waits fail at once instead of waiting.
bool INamedSemaphoreImpl::wait(int ms) { return opened_ ? false : ISemaphoreBaseImpl::wait(ms); }
void INamedSemaphoreImpl::wait() {
  if (!opened_) ISemaphoreBaseImpl::wait();
}

}  // namespace core
