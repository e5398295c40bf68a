#pragma once
// List streams: the platform's serialisation format. Every object that persists writes itself as a tree
// of nested lists of scalar items (integers, booleans, floating numbers, decimal numbers, GUIDs, strings,
// byte data), one list per object, a version number first:
//
//     core::ListOutStream out(writer);                // text onto an IWriter; an IFile* gives packed bytes
//     out.putBeginOfList();
//     out.put(1u);                                    // version
//     out.put(u"name");
//     out.put(core::Numeric(12.5));
//     out.putEndOfList();                             // text: {1,"name",12.5}
//
//     core::ListInStream in(reader);
//     in.getBeginOfList();
//     unsigned version;  avo::WString name;  core::Numeric amount;
//     in.get(version);
//     in.get(name);
//     in.get(amount);
//     in.skipListContent();                           // items a newer writer added
//     in.getEndOfList();
//
// Two encodings sit behind the same pair of front classes; the constructor picks one and nothing else
// ever guesses:
//  - text, on IWriter / IReader (UTF-16 code units): "{", "}", "," and the item texts; a writer's nested
//    "{" starts a new line, and so does the "}" of a list that held a list; no indentation. Strings are
//    quoted ("" for a quotation mark, "\xxxx for a surrogate unit), byte data is Base64 with a line
//    break after every 64 characters, GUIDs are 36 hexadecimal characters, floating numbers have 16
//    significant digits (1.5e2 for 150, 5e-1 for 0.5);
//  - packed, on IFile: one tag byte per item carrying the structure marks and the kind of the item, then
//    a little-endian payload.
// The grammar and the byte layout are described in docs/list-stream.md.
//
// Reading knows the item types: each get names the type it expects, and the reader accepts exactly the
// forms the writer produces for it (plus the documented tolerances: blanks anywhere between tokens, a "+"
// sign and any Unicode decimal digit in integers, optional Base64 padding). Anything else throws
// ListStreamException (key "IDS_LISTSTREAMERROR", core/Exception.h); its auxText2() tells where ("line 3,
// column 7: expected ...", or "offset 12: ..." for packed data) and getPosition() gives the same place.
// A reader that threw stays where the fault was found and is not to be used further. Writers do not
// fail on their own; errors of the medium pass through.
//
// Thread safety: a stream object is used by one thread at a time. The front classes are handles: copies
// of an implementation pointer (InterfacePtr) share one implementation.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "avo/BasicString.h"
#include "core/CharStream.h"
#include "core/Export.h"
#include "core/File.h"
#include "core/Guid.h"
#include "core/Interface.h"

namespace core {

class Numeric;

// Where a reader stands. Text: `line` and `column` (both from 1; lines end at a line feed; columns count
// UTF-16 code units) of the next unit, `offset` the units consumed. Packed: line and column 0, `offset`
// the bytes consumed. Counted from where the stream started reading.
struct ListPosition {
  std::uint64_t line = 0;    // from 1; 0 for packed data
  std::uint64_t column = 0;  // from 1, in UTF-16 code units; 0 for packed data
  std::uint64_t offset = 0;  // units (text) or bytes (packed) consumed
};

// The writer behind ListOutStream. Integers arrive as a magnitude and a sign; strings are cut at the
// first zero unit.
class IListOutStream : public IUnknown {
 public:
  static constexpr GUID IID = guid("154cbe26-8dce-4a40-9cbb-fb5f10f9f0a2");

  // The operations of ListOutStream (put, flush, close), one per item type.
  virtual void putBeginOfList() = 0;
  virtual void putEndOfList() = 0;
  virtual void putBool(bool value) = 0;
  virtual void putInteger(std::uint64_t magnitude, bool negative) = 0;
  virtual void putFloat(float value) = 0;
  virtual void putDouble(double value) = 0;
  virtual void putGuid(const GUID& value) = 0;
  virtual void putNumeric(const Numeric& value) = 0;
  virtual void putString(const char16_t* text, std::size_t length) = 0;
  virtual void putBytes(const void* data, std::size_t size) = 0;
  // The rest of `file`, from its position to its end, read in blocks of 16384 bytes.
  virtual void putFile(IFile* file) = 0;
  // As ListOutStream's flush and close.
  virtual void flush() = 0;
  virtual void close() = 0;

 protected:
  ~IListOutStream() = default;
};

// The reader behind ListInStream. getInteger answers the value reduced modulo 2^64 (the front class
// narrows it further); the other operations are those of ListInStream.
class IListInStream : public IUnknown {
 public:
  static constexpr GUID IID = guid("3f0f2c9e-7a55-4f6e-b1a2-9d6c3e5b7a40");

  // The operations of ListInStream, one per item type; each throws ListStreamException on malformed
  // input.
  virtual void getBeginOfList() = 0;
  virtual void getEndOfList() = 0;
  virtual bool getComma() = 0;
  virtual bool isEndOfList() = 0;
  virtual bool getBool() = 0;
  virtual std::uint64_t getInteger() = 0;
  virtual float getFloat() = 0;
  virtual double getDouble() = 0;
  virtual GUID getGuid() = 0;
  virtual void getNumeric(Numeric& out) = 0;
  virtual void getString(avo::WString& out) = 0;
  virtual void getBytes(avo::String& out) = 0;
  virtual std::size_t getBytes(void* buffer, std::size_t capacity) = 0;
  virtual void getFile(IFile* target) = 0;
  virtual void skipListContent() = 0;
  virtual void skipAndSaveListContent(avo::WString& saved) = 0;
  virtual ListPosition getPosition() const = 0;

 protected:
  ~IListInStream() = default;
};

// The writing front class. Every operation forwards to the implementation.
class KERN83_API ListOutStream {
 public:
  // Text encoding onto `writer`. A BufferedWriter is written into directly; any other writer receives
  // the text of each operation when the operation ends.
  explicit ListOutStream(IWriter* writer);
  // Packed encoding onto `file`, buffered: the bytes reach the file on flush(), close() and when the
  // last handle on the implementation goes.
  explicit ListOutStream(IFile* file);
  // Wraps an existing implementation (adds a reference).
  explicit ListOutStream(IListOutStream* stream);

  // Copies share the implementation (and so the position in the output).
  ListOutStream(const ListOutStream&) = default;
  ListOutStream& operator=(const ListOutStream&) = default;
  ~ListOutStream();

  // "{" and "}". Lists nest without limit.
  void putBeginOfList() { impl_->putBeginOfList(); }
  void putEndOfList() { impl_->putEndOfList(); }

  // One item each. Booleans are written as the integers 0 and 1.
  void put(bool value) { impl_->putBool(value); }
  void put(signed char value) { putSigned(value); }
  void put(unsigned char value) { impl_->putInteger(value, false); }
  void put(short value) { putSigned(value); }
  void put(unsigned short value) { impl_->putInteger(value, false); }
  void put(int value) { putSigned(value); }
  void put(unsigned int value) { impl_->putInteger(value, false); }
  void put(long value) { putSigned(value); }
  void put(unsigned long value) { impl_->putInteger(value, false); }
  void put(long long value) { putSigned(value); }
  void put(unsigned long long value) { impl_->putInteger(value, false); }
  void put(float value) { impl_->putFloat(value); }
  void put(double value) { impl_->putDouble(value); }
  void put(const GUID& value) { impl_->putGuid(value); }
  // The canonical decimal text (packed: an integer item or a compact binary form).
  void put(const Numeric& value) { impl_->putNumeric(value); }
  // Wide strings, cut at the first zero unit (also when a length is given). A null pointer is an empty
  // string; a length of -1 means up to the terminating zero.
  void put(const char16_t* text);
  void put(const char16_t* text, std::ptrdiff_t length);
  void put(const avo::WString& text) { impl_->putString(text.data(), text.size()); }
  void put(std::u16string_view text) { impl_->putString(text.data(), text.size()); }
  // Narrow text would silently become a boolean: not accepted. Convert it to a wide string or pass it
  // as bytes (put(data, size)).
  void put(const char* text) = delete;
  // Byte data: a byte string, or `size` bytes at `data`.
  void put(const avo::String& bytes) { impl_->putBytes(bytes.data(), bytes.size()); }
  void put(const void* data, std::size_t size) { impl_->putBytes(data, size); }
  // One bit of a packed bool vector, as a boolean item.
  void put(std::vector<bool>::reference bit) { impl_->putBool(bit); }
  // The contents of a file from its position to its end, as one byte-data item.
  void put(IFile* file) { impl_->putFile(file); }
  void put(IFileEx* file) { impl_->putFile(file); }

  // Pass on to the medium: the packed encoding writes its buffer and flushes (closes) the file; the
  // text encoding flushes (closes) a BufferedWriter and does nothing more for other writers.
  void flush() { impl_->flush(); }
  void close() { impl_->close(); }

  // The implementation (borrowed).
  IListOutStream* getImpl() const noexcept { return impl_.get(); }

 private:
  template <class T>
  void putSigned(T value) {
    const bool negative = value < 0;
    const auto wide = static_cast<std::uint64_t>(static_cast<long long>(value));
    impl_->putInteger(negative ? 0 - wide : wide, negative);
  }

  InterfacePtr<IListOutStream> impl_;
};

// The reading front class. Every operation forwards to the implementation; every one of them throws
// ListStreamException on malformed input or a premature end.
class KERN83_API ListInStream {
 public:
  // Text encoding from `reader`. A BufferedReader is scanned in place; any other reader is read one unit
  // at a time, and after each operation it stands right after what the operation consumed.
  explicit ListInStream(IReader* reader);
  // Packed encoding from `file`, read in blocks of 64 KiB (a memory file is read in place, so it must
  // not be written while the stream reads it). When the last handle on the implementation goes, a file
  // that can seek (IFileEx) is put back right after the last byte consumed.
  explicit ListInStream(IFile* file);
  // Wraps an existing implementation (adds a reference).
  explicit ListInStream(IListInStream* stream);

  // Copies share the implementation (and so the position in the input).
  ListInStream(const ListInStream&) = default;
  ListInStream& operator=(const ListInStream&) = default;
  ~ListInStream();

  // Starts again on a new source, with the state of a new stream.
  void reinit(IReader* reader);
  void reinit(IFile* file);
  void reinit(IListInStream* stream);

  // Consume "{" / "}" (blanks before them skipped), or throw.
  void getBeginOfList() { impl_->getBeginOfList(); }
  void getEndOfList() { impl_->getEndOfList(); }
  // True (consuming it) when a separator comes next; false otherwise, consuming only blanks. Never
  // throws for a missing separator: false before "}" and at the end of the input.
  bool getComma() { return impl_->getComma(); }
  // True when "}" comes next (consumes blanks only).
  bool isEndOfList() const { return impl_->isEndOfList(); }

  // One item each. Integers of every width wrap around silently (the digits are accumulated in the
  // target width); a boolean is exactly 0 or 1.
  void get(bool& value) { value = impl_->getBool(); }
  void get(signed char& value) { value = static_cast<signed char>(impl_->getInteger()); }
  void get(unsigned char& value) { value = static_cast<unsigned char>(impl_->getInteger()); }
  void get(short& value) { value = static_cast<short>(impl_->getInteger()); }
  void get(unsigned short& value) { value = static_cast<unsigned short>(impl_->getInteger()); }
  void get(int& value) { value = static_cast<int>(impl_->getInteger()); }
  void get(unsigned int& value) { value = static_cast<unsigned int>(impl_->getInteger()); }
  void get(long& value) { value = static_cast<long>(impl_->getInteger()); }
  void get(unsigned long& value) { value = static_cast<unsigned long>(impl_->getInteger()); }
  void get(long long& value) { value = static_cast<long long>(impl_->getInteger()); }
  void get(unsigned long long& value) { value = impl_->getInteger(); }
  void get(float& value) { value = impl_->getFloat(); }
  void get(double& value) { value = impl_->getDouble(); }
  void get(GUID& value) { value = impl_->getGuid(); }
  void get(Numeric& value) { impl_->getNumeric(value); }
  // A wide string, replacing the content of `value`.
  void get(avo::WString& value) { impl_->getString(value); }
  // The same, or `fallback` when the list ends here (nothing is consumed then but blanks).
  void get(avo::WString& value, const char16_t* fallback);
  void get(avo::WString& value, const avo::WString& fallback);
  // Byte data into a byte string (replacing its content).
  void get(avo::String& bytes) { impl_->getBytes(bytes); }
  // Byte data into `capacity` bytes at `data`; returns how many the item held. More than `capacity`
  // throws (the bytes that fitted are stored).
  std::size_t get(void* data, std::size_t capacity) { return impl_->getBytes(data, capacity); }
  // One bit of a packed bool vector.
  void get(std::vector<bool>::reference bit) { bit = impl_->getBool(); }
  // Byte data written to `file` at its position, in blocks of 16384 bytes.
  void get(IFile* file) { impl_->getFile(file); }
  void get(IFileEx* file) { impl_->getFile(file); }

  // Skips the rest of the current list up to (not including) its "}": items, nested lists and their
  // separators. Used to tolerate items appended by newer writers.
  void skipListContent() { impl_->skipListContent(); }
  // The same, storing the skipped input in `saved` (replacing its content): the text units consumed,
  // blanks and separators included; for packed data the bytes, one unit per byte.
  void skipAndSaveListContent(avo::WString& saved) { impl_->skipAndSaveListContent(saved); }

  // Where the reader stands (see ListPosition).
  ListPosition getPosition() const { return impl_->getPosition(); }
  // The implementation (borrowed).
  IListInStream* getImpl() const noexcept { return impl_.get(); }

 private:
  InterfacePtr<IListInStream> impl_;
};

// Implementations, for code that wants to hold or share them without the front classes.
KERN83_API InterfacePtr<IListOutStream> create_text_list_out_stream(IWriter* writer);
KERN83_API InterfacePtr<IListOutStream> create_packed_list_out_stream(IFile* file);
KERN83_API InterfacePtr<IListInStream> create_text_list_in_stream(IReader* reader);
KERN83_API InterfacePtr<IListInStream> create_packed_list_in_stream(IFile* file);

// ---------------------------------------------------------------------------------------------------
// The text grammar on bare character streams, without the list state of the classes above.

// Write exactly one character each: "{", "}", "," and a line feed.
KERN83_API void put_begin_of_list(IWriter* writer);
KERN83_API void put_end_of_list(IWriter* writer);
KERN83_API void put_comma(IWriter* writer);
KERN83_API void put_new_line(IWriter* writer);

// Skip blanks, then tell whether "{" / "}" / "," comes next, without consuming it.
KERN83_API bool is_begin_of_list(IReader* reader);
KERN83_API bool is_end_of_list(IReader* reader);
KERN83_API bool is_comma(IReader* reader);
// Skip blanks and consume one more character: true when it was "{" / "}" / ",". The character is
// consumed whatever it was; false also at the end of the input.
KERN83_API bool get_begin_of_list(IReader* reader);
KERN83_API bool get_end_of_list(IReader* reader);
KERN83_API bool get_comma(IReader* reader);
// Consumes blanks (the characters for which ICU's u_isspace is true).
KERN83_API void skip_spaces(IReader* reader);

// One item in the text grammar, without separators. Never throw for the data; errors of the medium
// pass through.
KERN83_API void to_stream(IWriter* writer, bool value);
KERN83_API void to_stream(IWriter* writer, long long value);
KERN83_API void to_stream(IWriter* writer, unsigned long long value);
inline void to_stream(IWriter* writer, signed char value) { to_stream(writer, static_cast<long long>(value)); }
inline void to_stream(IWriter* writer, unsigned char value) {
  to_stream(writer, static_cast<unsigned long long>(value));
}
inline void to_stream(IWriter* writer, short value) { to_stream(writer, static_cast<long long>(value)); }
inline void to_stream(IWriter* writer, unsigned short value) {
  to_stream(writer, static_cast<unsigned long long>(value));
}
inline void to_stream(IWriter* writer, int value) { to_stream(writer, static_cast<long long>(value)); }
inline void to_stream(IWriter* writer, unsigned int value) {
  to_stream(writer, static_cast<unsigned long long>(value));
}
inline void to_stream(IWriter* writer, long value) { to_stream(writer, static_cast<long long>(value)); }
inline void to_stream(IWriter* writer, unsigned long value) {
  to_stream(writer, static_cast<unsigned long long>(value));
}
KERN83_API void to_stream(IWriter* writer, float value);
KERN83_API void to_stream(IWriter* writer, double value);
KERN83_API void to_stream(IWriter* writer, const GUID& value);
KERN83_API void to_stream(IWriter* writer, const Numeric& value);
KERN83_API void to_stream(IWriter* writer, const char16_t* text, std::ptrdiff_t length = -1);
inline void to_stream(IWriter* writer, const avo::WString& text) {
  to_stream(writer, text.data(), static_cast<std::ptrdiff_t>(text.size()));
}
void to_stream(IWriter* writer, const char* text) = delete;  // see ListOutStream::put(const char*)
KERN83_API void to_stream(IWriter* writer, const avo::String& bytes);

// One item in the text grammar, blanks before it skipped. Return false on malformed input (then `value`
// is unspecified and an unknown part of the input is consumed); never throw for the data.
KERN83_API bool from_stream(IReader* reader, bool& value);
KERN83_API bool from_stream(IReader* reader, signed char& value);
KERN83_API bool from_stream(IReader* reader, unsigned char& value);
KERN83_API bool from_stream(IReader* reader, short& value);
KERN83_API bool from_stream(IReader* reader, unsigned short& value);
KERN83_API bool from_stream(IReader* reader, int& value);
KERN83_API bool from_stream(IReader* reader, unsigned int& value);
KERN83_API bool from_stream(IReader* reader, long& value);
KERN83_API bool from_stream(IReader* reader, unsigned long& value);
KERN83_API bool from_stream(IReader* reader, long long& value);
KERN83_API bool from_stream(IReader* reader, unsigned long long& value);
KERN83_API bool from_stream(IReader* reader, float& value);
KERN83_API bool from_stream(IReader* reader, double& value);
KERN83_API bool from_stream(IReader* reader, GUID& value);
KERN83_API bool from_stream(IReader* reader, Numeric& value);
KERN83_API bool from_stream(IReader* reader, avo::WString& value);
KERN83_API bool from_stream(IReader* reader, avo::String& bytes);

}  // namespace core
