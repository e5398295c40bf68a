#include <new>

#include "core/Mutex.h"
#include "platform/CriticalSection.h"

namespace core {

namespace {
static_assert(sizeof(platform::CriticalSection) <= 48 && alignof(platform::CriticalSection) <= 16);

platform::CriticalSection& section_of(unsigned char* storage) {
  return *std::launder(reinterpret_cast<platform::CriticalSection*>(storage));
}
}  // namespace

IMutexImpl::IMutexImpl() noexcept : IMutexImpl(nullptr) {}

IMutexImpl::IMutexImpl(nexa::IThreadSuspendMonitor* monitor) noexcept : monitor_(monitor) {
  new (section_) platform::CriticalSection(platform::kDefaultSpinCount);
}

IMutexImpl::~IMutexImpl() { section_of(section_).~CriticalSection(); }

HRESULT IMutexImpl::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IUnknown::IID || iid == IMutex::IID) {
    *object = static_cast<IMutex*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

void IMutexImpl::lock() {
  platform::CriticalSection& section = section_of(section_);
  if (monitor_ == nullptr) {
    section.enter();
    return;
  }
  // Notify only when the thread really has to wait.
  if (section.tryEnter()) return;
  nexa::SuspendScope blocked(monitor_);
  section.enter();
}

void IMutexImpl::unlock() { section_of(section_).leave(); }

bool IMutexImpl::tryLock() noexcept { return section_of(section_).tryEnter(); }

}  // namespace core
