// In-memory IWriter / IReader.
#include "charstream/StringStreams.h"

#include <algorithm>

#include "base/RefCountedObject.h"

namespace core::detail {

namespace {

class StringWriter final : public RefCountedObject<IWriter> {
 public:
  void write(char16_t c) override { text_.push_back(c); }
  void write(const char16_t* text, std::ptrdiff_t length) override {
    if (length < 0) {
      text_.append(text);
    } else {
      text_.append(text, static_cast<std::size_t>(length));
    }
  }
  const avo::WString& text() const noexcept { return text_; }

 private:
  avo::WString text_;
};

class StringReader final : public RefCountedObject<IReader> {
 public:
  explicit StringReader(std::u16string_view text) : text_(text.begin(), text.end()) {}

  int read() override { return pos_ < text_.size() ? text_[pos_++] : kEnd; }
  int peek() override { return pos_ < text_.size() ? text_[pos_] : kEnd; }
  int readUntil(char16_t stop, char16_t* buffer, int size) override {
    int n = 0;
    const int limit = std::min(size, kMaxRun);
    while (n < limit && pos_ < text_.size() && text_[pos_] != stop) buffer[n++] = text_[pos_++];
    return n;
  }
  int read(char16_t* buffer, int count) override {
    const auto n = static_cast<int>(std::min<std::size_t>(std::size_t(std::max(count, 0)), text_.size() - pos_));
    std::copy_n(text_.data() + pos_, n, buffer);
    pos_ += std::size_t(n);
    return n;
  }
  bool atEnd() override { return pos_ >= text_.size(); }

 private:
  avo::WString text_;
  std::size_t pos_ = 0;
};

}  // namespace

InterfacePtr<IWriter> create_string_writer() { return InterfacePtr<IWriter>(new StringWriter, adopt_ref); }

avo::WString string_writer_text(IWriter* writer) { return static_cast<StringWriter*>(writer)->text(); }

InterfacePtr<IReader> create_string_reader(std::u16string_view text) {
  return InterfacePtr<IReader>(new StringReader(text), adopt_ref);
}

}  // namespace core::detail
