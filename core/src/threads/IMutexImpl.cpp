#include <new>

#include "core/Mutex.h"
#include "platform/CriticalSection.h"
#include "threads/MutexInternal.h"

namespace core {

static_assert(sizeof(platform::CriticalSection) <= 48 && alignof(platform::CriticalSection) <= 16);

IMutexImpl::IMutexImpl() noexcept : IMutexImpl(nullptr) {}

IMutexImpl::IMutexImpl(nexa::IThreadSuspendMonitor* monitor) noexcept : monitor_(monitor) {
  new (section_) platform::CriticalSection(platform::kDefaultSpinCount);
}

IMutexImpl::~IMutexImpl() { IMutexImplInternal::section(*this).~CriticalSection(); }

HRESULT IMutexImpl::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IUnknown::IID || iid == IMutex::IID) {
    *object = static_cast<IMutex*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

void IMutexImpl::lock() { IMutexImplInternal::lock(*this); }

void IMutexImpl::unlock() { IMutexImplInternal::unlock(*this); }

bool IMutexImpl::tryLock() noexcept { return IMutexImplInternal::section(*this).tryEnter(); }

}  // namespace core
