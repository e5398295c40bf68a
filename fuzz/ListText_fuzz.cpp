// The text list reader on arbitrary input: every sequence of reads ends in items or a
// ListStreamException, never a crash, another exception, a hang or a leak; the free functions and the
// untyped document parser (kern list) never throw for the data.
//
// Layout of a fuzz input: byte 0 = flags (bit 0: read through an unbuffered reader; bit 1: the text is
// raw UTF-16 code units instead of bytes mapped through a table of interesting characters), byte 1 =
// length L of the script, the next L bytes = operations, the rest = the text. The script repeats until
// the reader throws or 256 operations have run.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "charstream/StringStreams.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListDocument.h"
#include "core/ListStream.h"
#include "core/Numeric.h"

namespace {

const char16_t kSpecial[] = {u'{',
                             u'}',
                             u',',
                             u'"',
                             u'\\',
                             u'\n',
                             u'\r',
                             u' ',
                             u'\u00A0',
                             u'\u3000',
                             u'\u0663',
                             u'=',
                             u'+',
                             u'-',
                             u'.',
                             u'e',
                             char16_t(0xD800),
                             char16_t(0xDC00),
                             u'\uFFFF',
                             u'0',
                             u'1',
                             u'9',
                             u'a',
                             u'f',
                             u'A',
                             u'Z'};

std::u16string decode(const std::uint8_t* data, std::size_t size, bool raw) {
  std::u16string text;
  if (raw) {
    for (std::size_t i = 0; i + 1 < size; i += 2) text.push_back(char16_t(data[i] | data[i + 1] << 8));
  } else {
    for (std::size_t i = 0; i < size; ++i) {
      text.push_back(data[i] < 0x80 ? char16_t(data[i]) : kSpecial[data[i] % (sizeof kSpecial / sizeof *kSpecial)]);
    }
  }
  return text;
}

// One read; returns false when the script should stop.
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
      int v;
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

template <class T>
void free_read(const std::u16string& text) {
  auto reader = core::create_memory_reader(text);
  T value{};
  core::from_stream(reader.get(), value);  // must not throw
}

struct Ignore final : core::ListDocumentHandler {
  void beginList() override {}
  void endList() override {}
  void stringItem(std::u16string_view) override {}
  void rawItem(std::u16string_view) override {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::uint8_t flags = data[0];
  const std::size_t scriptLength = std::min<std::size_t>(data[1], size - 2);
  const std::uint8_t* script = data + 2;
  const std::u16string text = decode(script + scriptLength, size - 2 - scriptLength, (flags & 2) != 0);

  core::InterfacePtr<core::IReader> reader;
  if (flags & 1) {
    reader = core::detail::create_string_reader(text);
  } else {
    reader = core::create_memory_reader(text);
  }
  try {
    core::ListInStream in(reader.get());
    for (int n = 0; n < 256 && scriptLength > 0; ++n) step(in, script[n % scriptLength]);
  } catch (const core::ListStreamException&) {
  }

  free_read<bool>(text);
  free_read<long long>(text);
  free_read<double>(text);
  free_read<core::GUID>(text);
  free_read<core::Numeric>(text);
  free_read<avo::WString>(text);
  free_read<avo::String>(text);

  auto documentReader = core::create_memory_reader(text);
  Ignore ignore;
  core::ListSyntaxError error;
  if (!core::parse_list_document(documentReader.get(), ignore, error) &&
      (error.position.line == 0 || error.position.column == 0 || error.key == nullptr || error.expected.empty())) {
    std::abort();
  }
  return 0;
}
