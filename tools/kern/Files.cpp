// Standard input and output behind core::IFile, over the stdio streams.
#include "Files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "avo/BasicString.h"
#include "core/Exception.h"
#include "core/Url.h"

namespace kern {

namespace {

// A stdio stream as a sequential file; close() leaves the stream itself open for main's final check.
class StdioFile final : public core::RefCountedUnknown<1, core::Answers<core::IFile>, core::IFile> {
 public:
  explicit StdioFile(std::FILE* stream) : stream_(stream) {}

  std::size_t read(void* buffer, std::size_t size) override {
    const std::size_t got = std::fread(buffer, 1, size, stream_);
    if (got < size && std::ferror(stream_)) {
      const int code = errno;
      throw core::FileException(core::FileException::ReadFailed, avo::from_utf8(std::strerror(code)),
                                static_cast<unsigned>(code), core::URL());
    }
    return got;
  }
  void write(const void* data, std::size_t size) override {
    if (std::fwrite(data, 1, size, stream_) != size) throw OutputError{};
  }
  void flush() override {
    if (std::fflush(stream_) != 0 || std::ferror(stream_)) throw OutputError{};
  }
  void close() override { flush(); }

 private:
  std::FILE* stream_;
};

}  // namespace

core::InterfacePtr<core::IFile> open_input(const std::string& path) {
  if (path == "-") return core::InterfacePtr<core::IFile>(new StdioFile(stdin), core::adopt_ref);
  return core::open_file(path, core::FileMode::Read);
}

core::InterfacePtr<core::IFile> standard_output() {
  return core::InterfacePtr<core::IFile>(new StdioFile(stdout), core::adopt_ref);
}

}  // namespace kern
