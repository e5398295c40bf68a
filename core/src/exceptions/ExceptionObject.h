#pragma once
// The reference-counted wrapper that makes an Exception shareable (Exception::object()).

#include <atomic>
#include <exception>
#include <memory>

#include "core/Exception.h"

namespace core::detail {

class ExceptionObject final : public IExceptionObject {
 public:
  // Takes ownership of `exception` (made by Exception::clone).
  explicit ExceptionObject(Exception* exception) noexcept : exception_(exception) {}

  HRESULT QueryInterface(const GUID& iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (iid == IExceptionObject::IID || iid == IUnknown::IID) {
      AddRef();
      *object = static_cast<IExceptionObject*>(this);
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::uint32_t Release() override {
    const std::uint32_t left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

  const Exception& exception() const noexcept override { return *exception_; }
  [[noreturn]] void raise() const override {
    exception_->raise();
    std::terminate();  // raise() always throws; this only tells the compiler so
  }

 private:
  ~ExceptionObject() = default;

  std::atomic<std::uint32_t> refs_{1};
  std::unique_ptr<Exception> exception_;
};

}  // namespace core::detail
