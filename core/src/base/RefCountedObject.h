#pragma once
// IUnknown for the library's own interface objects: an atomic reference count starting at 1 (the
// creator's reference) and QueryInterface over the interfaces a class names in findInterface.

#include <atomic>
#include <cstdint>

#include "core/Interface.h"
#include "nexa/Memory.h"

namespace core::detail {

template <class Interface>
class RefCountedObject : public Interface, public nexa::Allocated {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) final {
    if (object == nullptr) return E_POINTER;
    void* found = iid == IUnknown::IID ? static_cast<IUnknown*>(static_cast<Interface*>(this)) : findInterface(iid);
    *object = found;
    if (found == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  std::uint32_t AddRef() final { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::uint32_t Release() final {
    const std::uint32_t left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

 protected:
  RefCountedObject() = default;
  virtual ~RefCountedObject() = default;

  // The object as the interface `iid` (no reference added), or null. Classes that implement more than
  // `Interface` extend this.
  virtual void* findInterface(const GUID& iid) noexcept {
    return iid == Interface::IID ? static_cast<Interface*>(this) : nullptr;
  }

 private:
  std::atomic<std::uint32_t> refs_{1};
};

}  // namespace core::detail
