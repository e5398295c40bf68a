// The packed list reader on arbitrary bytes: every sequence of reads ends in items or a
// ListStreamException, never a crash, another exception, a hang, a leak or an allocation the data did
// not pay for (lengths up to 2^64 are in the data).
//
// Layout of a fuzz input: byte 0 = flags (bit 0: a file that hides its size, as a pipe does), byte 1 =
// length L of the script, the next L bytes = operations, the rest = the packed data. The script repeats
// until the reader throws or 256 operations have run.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/Exception.h"
#include "core/File.h"
#include "core/ListStream.h"
#include "core/Numeric.h"

namespace {

class SizelessFile final : public core::IFile {
 public:
  SizelessFile(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  core::HRESULT QueryInterface(const core::GUID& iid, void** object) override {
    if (iid == core::IFile::IID || iid == core::IUnknown::IID) {
      *object = static_cast<core::IFile*>(this);
      return core::S_OK;
    }
    *object = nullptr;
    return core::E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 2; }
  std::uint32_t Release() override { return 1; }
  std::size_t read(void* buffer, std::size_t size) override {
    const std::size_t n = std::min(size, size_ - at_);
    if (n != 0) std::memcpy(buffer, data_ + at_, n);
    at_ += n;
    return n;
  }
  void write(const void*, std::size_t) override {}
  void flush() override {}
  void close() override {}

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

void step(core::ListInStream& in, std::uint8_t op) {
  switch (op % 18) {
    case 0:
      in.getBeginOfList();
      break;
    case 1:
      in.getEndOfList();
      break;
    case 2:
      in.getComma();
      break;
    case 3:
      in.isEndOfList();
      break;
    case 4: {
      bool v;
      in.get(v);
      break;
    }
    case 5: {
      short v;
      in.get(v);
      break;
    }
    case 6: {
      unsigned long long v;
      in.get(v);
      break;
    }
    case 7: {
      double v;
      in.get(v);
      break;
    }
    case 8: {
      core::GUID v;
      in.get(v);
      break;
    }
    case 9: {
      core::Numeric v;
      in.get(v);
      break;
    }
    case 10: {
      avo::WString v;
      in.get(v);
      break;
    }
    case 11: {
      avo::String v;
      in.get(v);
      break;
    }
    case 12: {
      std::uint8_t buffer[16];
      in.get(buffer, sizeof buffer);
      break;
    }
    case 13:
      in.skipListContent();
      break;
    case 14: {
      avo::WString saved;
      in.skipAndSaveListContent(saved);
      break;
    }
    case 15: {
      auto file = core::create_memory_file();
      in.get(static_cast<core::IFile*>(file.get()));
      break;
    }
    case 16: {
      avo::WString v;
      in.get(v, u"default");
      break;
    }
    default: {
      float v;
      in.get(v);
      break;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::uint8_t flags = data[0];
  const std::size_t scriptLength = std::min<std::size_t>(data[1], size - 2);
  const std::uint8_t* script = data + 2;
  const std::uint8_t* packed = script + scriptLength;
  const std::size_t packedSize = size - 2 - scriptLength;

  SizelessFile pipe(packed, packedSize);
  core::InterfacePtr<core::IMemoryFile> memory = core::create_memory_file(packed, packedSize);
  core::IFile* file = (flags & 1) ? static_cast<core::IFile*>(&pipe) : static_cast<core::IFile*>(memory.get());
  try {
    core::ListInStream in(file);
    for (int n = 0; n < 256 && scriptLength > 0; ++n) step(in, script[n % scriptLength]);
  } catch (const core::ListStreamException&) {
  }
  return 0;
}
