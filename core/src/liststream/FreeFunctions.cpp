// The text grammar on bare character streams: one character or one item per call, no list state.
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Numeric.h"
#include "liststream/ListFormat.h"
#include "liststream/TextFormatter.h"
#include "liststream/TextScanner.h"

namespace core {

namespace lf = detail::list_format;

void put_begin_of_list(IWriter* writer) { writer->write(lf::kBeginOfList); }
void put_end_of_list(IWriter* writer) { writer->write(lf::kEndOfList); }
void put_comma(IWriter* writer) { writer->write(lf::kSeparator); }
void put_new_line(IWriter* writer) { writer->write(lf::kNewLine); }

namespace {

bool next_is(IReader* reader, char16_t c) {
  detail::TextScanner in(reader);
  const int next = in.skipBlanks();
  in.sync();
  return next == c;
}

bool take_is(IReader* reader, char16_t c) {
  detail::TextScanner in(reader);
  const int next = in.skipBlanks();
  if (next == detail::TextScanner::kEnd) return false;
  in.consumeOne();  // consumed whatever it is
  in.sync();
  return next == c;
}

// Runs one read of the grammar; a malformed item answers false instead of throwing.
template <class Read>
bool read_item(IReader* reader, Read read) {
  detail::TextScanner in(reader);
  try {
    read(in);
  } catch (const ListStreamException&) {
    return false;
  }
  in.sync();
  return true;
}

template <class T>
bool read_integer(IReader* reader, T& value) {
  return read_item(reader, [&value](detail::TextScanner& in) { value = static_cast<T>(in.readInteger()); });
}

struct StringSink final : detail::ByteSink {
  explicit StringSink(avo::String& s) : out(s) {}
  void bytes(const std::uint8_t* data, std::size_t size) override {
    out.append(reinterpret_cast<const char*>(data), size);
  }
  avo::String& out;
};

}  // namespace

bool is_begin_of_list(IReader* reader) { return next_is(reader, lf::kBeginOfList); }
bool is_end_of_list(IReader* reader) { return next_is(reader, lf::kEndOfList); }
bool is_comma(IReader* reader) { return next_is(reader, lf::kSeparator); }
bool get_begin_of_list(IReader* reader) { return take_is(reader, lf::kBeginOfList); }
bool get_end_of_list(IReader* reader) { return take_is(reader, lf::kEndOfList); }
bool get_comma(IReader* reader) { return take_is(reader, lf::kSeparator); }

void skip_spaces(IReader* reader) {
  detail::TextScanner in(reader);
  in.skipBlanks();
  in.sync();
}

void to_stream(IWriter* writer, bool value) {
  detail::TextFormatter out(writer);
  out.writeBool(value);
  out.endOperation();
}

void to_stream(IWriter* writer, long long value) {
  detail::TextFormatter out(writer);
  const bool negative = value < 0;
  const auto wide = static_cast<std::uint64_t>(value);
  out.writeInteger(negative ? 0 - wide : wide, negative);
  out.endOperation();
}

void to_stream(IWriter* writer, unsigned long long value) {
  detail::TextFormatter out(writer);
  out.writeInteger(value, false);
  out.endOperation();
}

void to_stream(IWriter* writer, float value) { to_stream(writer, static_cast<double>(value)); }

void to_stream(IWriter* writer, double value) {
  detail::TextFormatter out(writer);
  out.writeDouble(value);
  out.endOperation();
}

void to_stream(IWriter* writer, const GUID& value) {
  detail::TextFormatter out(writer);
  out.writeGuid(value);
  out.endOperation();
}

void to_stream(IWriter* writer, const Numeric& value) {
  detail::TextFormatter out(writer);
  out.writeNumeric(value);
  out.endOperation();
}

void to_stream(IWriter* writer, const char16_t* text, std::ptrdiff_t length) {
  detail::TextFormatter out(writer);
  if (text == nullptr) {
    out.writeString(u"", 0);
  } else {
    out.writeString(text, length < 0 ? std::char_traits<char16_t>::length(text) : static_cast<std::size_t>(length));
  }
  out.endOperation();
}

void to_stream(IWriter* writer, const avo::String& bytes) {
  detail::TextFormatter out(writer);
  out.writeBytes(bytes.data(), bytes.size());
  out.endOperation();
}

bool from_stream(IReader* reader, bool& value) {
  return read_item(reader, [&value](detail::TextScanner& in) { value = in.readBool(); });
}
bool from_stream(IReader* reader, signed char& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, unsigned char& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, short& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, unsigned short& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, int& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, unsigned int& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, long& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, unsigned long& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, long long& value) { return read_integer(reader, value); }
bool from_stream(IReader* reader, unsigned long long& value) { return read_integer(reader, value); }

bool from_stream(IReader* reader, float& value) {
  return read_item(reader, [&value](detail::TextScanner& in) { value = static_cast<float>(in.readDouble()); });
}
bool from_stream(IReader* reader, double& value) {
  return read_item(reader, [&value](detail::TextScanner& in) { value = in.readDouble(); });
}
bool from_stream(IReader* reader, GUID& value) {
  return read_item(reader, [&value](detail::TextScanner& in) { value = in.readGuid(); });
}
bool from_stream(IReader* reader, Numeric& value) {
  return read_item(reader, [&value](detail::TextScanner& in) { in.readNumeric(value); });
}
bool from_stream(IReader* reader, avo::WString& value) {
  return read_item(reader, [&value](detail::TextScanner& in) { in.readString(value); });
}
bool from_stream(IReader* reader, avo::String& bytes) {
  return read_item(reader, [&bytes](detail::TextScanner& in) {
    bytes.clear();
    StringSink sink(bytes);
    in.readBase64(sink);
  });
}

}  // namespace core
