// BufferedReader and BufferedWriter: the IReader / IWriter operations on the span, and the memory
// streams built on them.
#include <algorithm>
#include <cstring>
#include <new>

#include "base/RefCountedObject.h"
#include "charstream/MemoryCopy.h"
#include "core/CharStream.h"

namespace core {

// ----- BufferedReader

bool BufferedReader::refill() { return underflow() && next_ != end_; }

int BufferedReader::read() { return fill() ? *next_++ : kEnd; }

int BufferedReader::peek() { return fill() ? *next_ : kEnd; }

int BufferedReader::readUntil(char16_t stop, char16_t* buffer, int size) {
  int n = 0;
  const int limit = std::min(size, kMaxRun);
  while (n < limit && fill()) {
    const char16_t* p = next_;
    const char16_t* last = p + std::min<std::ptrdiff_t>(end_ - p, limit - n);
    while (p != last && *p != stop) buffer[n++] = *p++;
    next_ = p;
    if (p != last) break;  // found the stop unit
  }
  return n;
}

int BufferedReader::read(char16_t* buffer, int count) {
  int n = 0;
  while (n < count && fill()) {
    const int take = static_cast<int>(std::min<std::ptrdiff_t>(end_ - next_, count - n));
    std::memcpy(buffer + n, next_, sizeof(char16_t) * static_cast<std::size_t>(take));
    next_ += take;
    n += take;
  }
  return n;
}

bool BufferedReader::atEnd() { return !fill(); }

// ----- BufferedWriter

void BufferedWriter::writeRun(const char16_t* text, std::ptrdiff_t length) {
  std::size_t left = length < 0 ? std::char_traits<char16_t>::length(text) : static_cast<std::size_t>(length);
  while (left > 0) {
    const std::size_t take = std::min(left, kMaxReserve);
    char16_t* p = reserve(take);
    detail::copy_memory(p, text, take * sizeof(char16_t));
    commit(p + take);
    text += take;
    left -= take;
  }
}

// ----- MemoryWriter

InterfacePtr<MemoryWriter> MemoryWriter::create() { return InterfacePtr<MemoryWriter>(new MemoryWriter, adopt_ref); }

MemoryWriter::~MemoryWriter() { nexa_free(spanBegin()); }

std::u16string_view MemoryWriter::text() const noexcept {
  return {spanBegin(), static_cast<std::size_t>(spanNext() - spanBegin())};
}

void MemoryWriter::clear() noexcept { commit(spanBegin()); }

void MemoryWriter::overflow(std::size_t count) {
  // One growing block: the text is always contiguous, and doubling keeps appending linear.
  const std::size_t used = static_cast<std::size_t>(spanNext() - spanBegin());
  const std::size_t capacity = std::max<std::size_t>({used + count, used * 2, 256});
  if (capacity > (std::size_t(1) << 61)) throw std::bad_alloc();
  auto* grown = static_cast<char16_t*>(nexa_realloc(spanBegin(), capacity * sizeof(char16_t)));
  setSpan(grown, grown + used, grown + capacity);
}

// ----- memory readers

namespace {

class MemoryReader final : public detail::RefCountedObject<BufferedReader, IReader> {
 public:
  // Reads `view` in place; `owned` (may be empty) is the storage behind it when the reader made a copy.
  MemoryReader(std::u16string_view view, avo::WString owned) : owned_(std::move(owned)) {
    if (!owned_.empty()) view = owned_;
    setSpan(view.data(), view.data() + view.size());
  }

 protected:
  bool underflow() override { return false; }  // the whole text is the first span

 private:
  avo::WString owned_;
};

}  // namespace

InterfacePtr<BufferedReader> create_memory_reader(std::u16string_view text) {
  return InterfacePtr<BufferedReader>(new MemoryReader(text, avo::WString(text)), adopt_ref);
}

InterfacePtr<BufferedReader> create_memory_view_reader(std::u16string_view text) {
  return InterfacePtr<BufferedReader>(new MemoryReader(text, avo::WString()), adopt_ref);
}

}  // namespace core
