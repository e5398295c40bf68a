// The text encoding behind IListOutStream / IListInStream, and the front classes.
#include <cstring>

#include "base/RefCountedObject.h"
#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Numeric.h"
#include "liststream/ListFormat.h"
#include "liststream/TextFormatter.h"
#include "liststream/TextScanner.h"

namespace core {

namespace detail {

namespace {

// Every operation ends with sync(), so that a reader behind the adapter stands right after what the
// operation consumed.
class TextListInStream final : public RefCountedObject<IListInStream> {
 public:
  explicit TextListInStream(IReader* reader) : in_(reader) {}

  void getBeginOfList() override {
    in_.getBeginOfList();
    in_.sync();
  }
  void getEndOfList() override {
    in_.getEndOfList();
    in_.sync();
  }
  bool getComma() override {
    const bool found = in_.getComma();
    in_.sync();
    return found;
  }
  bool isEndOfList() override {
    const bool end = in_.isEndOfList();
    in_.sync();
    return end;
  }
  bool getBool() override {
    const bool value = in_.getBool();
    in_.sync();
    return value;
  }
  std::uint64_t getInteger() override {
    const std::uint64_t value = in_.getInteger();
    in_.sync();
    return value;
  }
  float getFloat() override { return static_cast<float>(getDouble()); }
  double getDouble() override {
    const double value = in_.getDouble();
    in_.sync();
    return value;
  }
  GUID getGuid() override {
    const GUID value = in_.getGuid();
    in_.sync();
    return value;
  }
  void getNumeric(Numeric& out) override {
    in_.getNumeric(out);
    in_.sync();
  }
  void getString(avo::WString& out) override {
    in_.getString(out);
    in_.sync();
  }
  void getBytes(avo::String& out) override {
    out.clear();
    StringByteSink sink(out);
    in_.getBytes(sink);
    in_.sync();
  }
  std::size_t getBytes(void* buffer, std::size_t capacity) override {
    BufferByteSink sink(static_cast<std::uint8_t*>(buffer), capacity);
    in_.getBytes(sink);
    if (sink.overflow) in_.fail("byte data that fits the buffer");
    in_.sync();
    return sink.used;
  }
  void getFile(IFile* target) override {
    FileByteSink sink(target);
    in_.getBytes(sink);
    in_.sync();
  }
  void skipListContent() override {
    in_.skipListContent(nullptr);
    in_.sync();
  }
  void skipAndSaveListContent(avo::WString& saved) override {
    in_.skipListContent(&saved);
    in_.sync();
  }
  ListPosition getPosition() const override { return in_.position(); }

 private:
  TextScanner in_;
};

[[noreturn]] void throw_null_argument(int line) {
  throw IllegalArgumentException(KERN83_SOURCE_FILE("TextStreams"), line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
}

}  // namespace

}  // namespace detail

InterfacePtr<IListInStream> create_text_list_in_stream(IReader* reader) {
  if (reader == nullptr) detail::throw_null_argument(__LINE__);
  return InterfacePtr<IListInStream>(new detail::TextListInStream(reader), adopt_ref);
}

// ----- ListOutStream

ListOutStream::ListOutStream(IWriter* writer) : impl_(create_text_list_out_stream(writer)) {}
ListOutStream::ListOutStream(IFile* file) : impl_(create_packed_list_out_stream(file)) {}
ListOutStream::ListOutStream(IListOutStream* stream) : impl_(stream) {
  if (stream == nullptr) detail::throw_null_argument(__LINE__);
}
ListOutStream::~ListOutStream() = default;

void ListOutStream::put(const char16_t* text) {
  impl_->putString(text != nullptr ? text : u"", text != nullptr ? std::char_traits<char16_t>::length(text) : 0);
}

void ListOutStream::put(const char16_t* text, std::ptrdiff_t length) {
  if (text == nullptr) {
    impl_->putString(u"", 0);
  } else {
    impl_->putString(text, length < 0 ? std::char_traits<char16_t>::length(text) : static_cast<std::size_t>(length));
  }
}

// ----- ListInStream

ListInStream::ListInStream(IReader* reader) : impl_(create_text_list_in_stream(reader)) {}
ListInStream::ListInStream(IFile* file) : impl_(create_packed_list_in_stream(file)) {}
ListInStream::ListInStream(IListInStream* stream) : impl_(stream) {
  if (stream == nullptr) detail::throw_null_argument(__LINE__);
}
ListInStream::~ListInStream() = default;

// The old implementation goes first: a packed reader puts its file back to where it stopped reading,
// which is where a new reader on the same file must start.
void ListInStream::reinit(IReader* reader) {
  if (reader == nullptr) detail::throw_null_argument(__LINE__);
  impl_.reset();
  impl_ = create_text_list_in_stream(reader);
}
void ListInStream::reinit(IFile* file) {
  if (file == nullptr) detail::throw_null_argument(__LINE__);
  impl_.reset();
  impl_ = create_packed_list_in_stream(file);
}
void ListInStream::reinit(IListInStream* stream) {
  if (stream == nullptr) detail::throw_null_argument(__LINE__);
  impl_ = stream;
}

void ListInStream::get(avo::WString& value, const char16_t* fallback) {
  if (impl_->isEndOfList()) {
    value.assign(fallback != nullptr ? fallback : u"");
  } else {
    impl_->getString(value);
  }
}

void ListInStream::get(avo::WString& value, const avo::WString& fallback) {
  if (impl_->isEndOfList()) {
    value = fallback;
  } else {
    impl_->getString(value);
  }
}

}  // namespace core
