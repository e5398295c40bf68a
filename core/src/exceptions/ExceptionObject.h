#pragma once
// The reference-counted wrapper that makes an Exception shareable (Exception::object()).

#include <exception>
#include <memory>

#include "base/RefCountedObject.h"
#include "core/Exception.h"

namespace core::detail {

class ExceptionObject final : public RefCountedObject<IExceptionObject> {
 public:
  // Takes ownership of `exception` (made by Exception::clone).
  explicit ExceptionObject(Exception* exception) noexcept : exception_(exception) {}

  const Exception& exception() const noexcept override { return *exception_; }
  [[noreturn]] void raise() const override {
    exception_->raise();
    std::terminate();  // raise() always throws; this only tells the compiler so
  }

 private:
  ~ExceptionObject() = default;

  std::unique_ptr<Exception> exception_;
};

}  // namespace core::detail
