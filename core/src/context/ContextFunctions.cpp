// Methods as function values, and the safe-mode guards.

#include "base/RefCountedObject.h"
#include "base/SourcePosition.h"
#include "core/Context.h"
#include "core/Exception.h"
#include "core/Thread.h"

namespace core {

namespace {

// Source positions of the argument errors: callers and support tools recognise these exact lines.
constexpr const char* kSourceFile = KERN83_SOURCE_FILE("Context");
constexpr int kNullContextByNumber = 1381;
constexpr int kMethodOutOfRange = 1383;
constexpr int kNullContextByName = 1397;
constexpr int kUnknownMethodName = 1400;

[[noreturn]] void illegal_argument(int line) {
  throw IllegalArgumentException(kSourceFile, line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
}

class ContextFunction final : public detail::RefCountedObject<IFunction> {
 public:
  ContextFunction(IContext_* context, int method, bool weak) noexcept
      : context_(context), method_(method), weak_(weak) {
    if (!weak_) context_->AddRef();
  }

  bool call(GenericValue* result, const std::vector<GenericValue*>& params) override {
    return context_->call(method_, result, params);
  }
  IContext_* getContext() const noexcept override { return context_; }
  int getMethod() const noexcept override { return method_; }
  bool isWeak() const noexcept override { return weak_; }

 private:
  ~ContextFunction() override {
    if (!weak_) context_->Release();
  }

  IContext_* const context_;
  const int method_;
  const bool weak_;
};

InterfacePtr<IFunction> make_function(IContext_* context, int method, bool weak, int outOfRangeLine) {
  if (method < 0 || method >= context->getNMethods()) illegal_argument(outOfRangeLine);
  return InterfacePtr<IFunction>(new ContextFunction(context, method, weak), adopt_ref);
}

bool in_safe_mode() {
  const Thread* thread = current_thread();
  return thread != nullptr && thread->getSafeMode();
}

}  // namespace

InterfacePtr<IFunction> context_method_to_function(IContext_* context, int method, bool weak) {
  if (context == nullptr) illegal_argument(kNullContextByNumber);
  return make_function(context, method, weak, kMethodOutOfRange);
}

InterfacePtr<IFunction> context_method_to_function(IContext_* context, std::u16string_view name, bool weak) {
  if (context == nullptr) illegal_argument(kNullContextByName);
  return make_function(context, context->findMethod(name), weak, kUnknownMethodName);
}

void throw_if_safe_mode_ctor() {
  if (in_safe_mode()) throw CtorException(ResourceKey{"IDS_ERROR_SAFEMODE"});
}

void throw_if_safe_mode_context() {
  if (in_safe_mode()) throw ContextException(ResourceKey{"IDS_ERROR_SAFEMODE"});
}

}  // namespace core
