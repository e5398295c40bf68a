#include "core/Exception.h"

#include <cstdio>

#include "core/Resources.h"
#include "exceptions/ExceptionObject.h"
#include "exceptions/ThreadExceptions.h"
#include "platform/Backtrace.h"

namespace core {

// ----- Message

Message::Message(const char16_t* text) : text_(text != nullptr ? text : u"") {}
Message::Message(const avo::WString& text) : text_(text) {}
Message::Message(std::u16string_view text) : text_(text) {}
Message::Message(ResourceKey key)
    : text_(load_resource_string(key.module, key.key)), key_(key.key != nullptr ? key.key : "") {}

Message::Message(ResourceKey key, std::u16string_view argument) : Message(key) {
  const std::size_t at = text_.find(u"%1");
  if (at != avo::WString::npos) text_.replace(at, 2, argument.data(), argument.size());
}

// ----- ExceptionsCount

ExceptionsCount* ExceptionsCount::create() { return new ExceptionsCount(); }

void ExceptionsCount::acquire() noexcept { count_.increment(); }

void ExceptionsCount::release() noexcept {
  if (count_.decrement() != 0) return;
  // The last holder: mark the memory so that a stale pointer is recognisable, then free it.
  count_.set(static_cast<std::int32_t>(kFreedMark));
  delete this;
}

ExceptionsCount* current_ecxeptions_count() noexcept { return detail::thread_exceptions_slot().current().count; }

// ----- StackTrace

void StackTrace::capture(int skip) noexcept {
  count_ = platform::capture_stack(frames_, kMaxFrames, skip + 1);
  captured_ = true;
}

std::string StackTrace::toString() const {
  std::string text;
  for (int i = 0; i < count_; ++i) {
    char prefix[48];
    std::snprintf(prefix, sizeof prefix, "#%d %p ", i, frames_[i]);
    text += prefix;
    text += platform::describe_address(frames_[i]);
    text += '\n';
  }
  return text;
}

// ----- Exception

Exception::Exception(const Message& message, IExceptionObject* inner)
    : Exception(CLSID, message, inner, kNullGuid, Categories(), avo::WString()) {}

Exception::Exception(const Message& message, IExceptionObject* inner, const GUID& clsid, Categories categories,
                     const avo::WString& auxText)
    : Exception(clsid, message, inner, kNullGuid, categories, auxText) {}

Exception::Exception(const GUID& clsid, const Message& message, IExceptionObject* inner, const GUID& uiHelper,
                     Categories categories, const avo::WString& auxText)
    : clsid_(clsid),
      message_(message.text()),
      inner_(inner),
      auxText_(auxText),
      categories_(categories),
      uiHelper_(uiHelper),
      counter_(current_ecxeptions_count()),
      messageKey_(message.key()) {
  if (counter_ != nullptr) counter_->acquire();
  stack_.capture(1);
}

Exception::Exception(const Exception& other)
    : std::exception(other),
      clsid_(other.clsid_),
      message_(other.message_),
      inner_(other.inner_),
      stack_(other.stack_),
      auxText_(other.auxText_),
      auxText2_(other.auxText2_),
      categories_(other.categories_),
      uiHelper_(other.uiHelper_),
      counter_(other.counter_),
      messageKey_(other.messageKey_),
      onClientFromServer_(other.onClientFromServer_) {
  // A copy is one more live exception of the thread that made the original.
  if (counter_ != nullptr) counter_->acquire();
}

Exception& Exception::operator=(const Exception& other) {
  if (this == &other) return *this;
  if (other.counter_ != nullptr) other.counter_->acquire();
  if (counter_ != nullptr) counter_->release();
  clsid_ = other.clsid_;
  message_ = other.message_;
  inner_ = other.inner_;
  stack_ = other.stack_;
  auxText_ = other.auxText_;
  auxText2_ = other.auxText2_;
  categories_ = other.categories_;
  uiHelper_ = other.uiHelper_;
  counter_ = other.counter_;
  messageKey_ = other.messageKey_;
  onClientFromServer_ = other.onClientFromServer_;
  what_.clear();
  return *this;
}

Exception::~Exception() {
  if (counter_ != nullptr) counter_->release();
}

InterfacePtr<IExceptionObject> Exception::object() const {
  return InterfacePtr<IExceptionObject>(new detail::ExceptionObject(clone()), adopt_ref);
}

Exception* Exception::clone() const { return new Exception(*this); }

void Exception::raise() const { throw *this; }

const char* Exception::what() const noexcept {
  try {
    if (what_.empty()) what_ = avo::to_std_utf8(message_);
    return what_.c_str();
  } catch (...) {
    return "kern83 exception";
  }
}

InterfacePtr<IExceptionObject> get_exception_object(IExceptionObject* start, const GUID& clsid) {
  for (IExceptionObject* object = start; object != nullptr; object = object->exception().inner()) {
    if (object->exception().clsid() == clsid) return InterfacePtr<IExceptionObject>(object);
  }
  return {};
}

}  // namespace core
