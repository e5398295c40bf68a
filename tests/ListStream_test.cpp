#include "core/ListStream.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "TestSupport.h"
#include "charstream/StringStreams.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListDocument.h"
#include "core/Numeric.h"
#include "core/Persistence.h"
#include "liststream/TextScanner.h"
#include "nexa/Memory.h"

namespace {

using core::ListInStream;
using core::ListOutStream;
using core::ListStreamException;
using core::Numeric;

using Writing = std::function<void(ListOutStream&)>;
using Reading = std::function<void(ListInStream&)>;

std::u16string text_of(const Writing& write) {
  auto writer = core::MemoryWriter::create();
  {
    ListOutStream out(writer.get());
    write(out);
  }
  return std::u16string(writer->text());
}

std::vector<std::uint8_t> packed_of(const Writing& write) {
  auto file = core::create_memory_file();
  {
    ListOutStream out(file.get());
    write(out);
    out.flush();
  }
  return {file->getData(), file->getData() + file->getSize()};
}

void read_text(std::u16string_view text, const Reading& read) {
  auto reader = core::create_memory_reader(text);
  ListInStream in(reader.get());
  read(in);
}

void read_packed(const std::vector<std::uint8_t>& bytes, const Reading& read) {
  auto file = core::create_memory_file(bytes.data(), bytes.size());
  ListInStream in(file.get());
  read(in);
}

// Writes with `write` in one of the two encodings and reads the result back with `read`.
void round_trip(bool packed, const Writing& write, const Reading& read) {
  SCOPED_TRACE(packed ? "packed" : "text");
  if (packed) {
    read_packed(packed_of(write), read);
  } else {
    read_text(text_of(write), read);
  }
}

// Runs `f` and returns the auxiliary text of the ListStreamException it must throw.
template <class F>
std::string list_error(F&& f) {
  try {
    f();
  } catch (const ListStreamException& e) {
    EXPECT_EQ(e.messageKey(), "IDS_LISTSTREAMERROR");
    return avo::to_std_utf8(e.auxText2());
  }
  ADD_FAILURE() << "no ListStreamException";
  return {};
}

Numeric N(const char* text) {
  Numeric n;
  n.fromString(text);
  return n;
}

std::string utf8(std::u16string_view s) { return avo::to_std_utf8(s); }

// ---- Layout of the text writer -----------------------------------------------------------------------

TEST(ListOutStreamTest, LayoutFollowsTheThreeFlags) {
  struct Case {
    const char* name;
    Writing write;
    std::u16string text;
  };
  const Case cases[] = {
      {"empty list", [](ListOutStream& o) { o.putBeginOfList(), o.putEndOfList(); }, u"{}"},
      {"1, {2}, 3",
       [](ListOutStream& o) {
         o.putBeginOfList(), o.put(1), o.putBeginOfList(), o.put(2), o.putEndOfList(), o.put(3), o.putEndOfList();
       },
       u"{1,\n{2},3\n}"},
      {"only nested lists",
       [](ListOutStream& o) {
         o.putBeginOfList();
         o.putBeginOfList(), o.put(1), o.putEndOfList();
         o.putBeginOfList(), o.put(2), o.putEndOfList();
         o.putEndOfList();
       },
       u"{\n{1},\n{2}\n}"},
      {"three levels",
       [](ListOutStream& o) {
         o.putBeginOfList(), o.putBeginOfList(), o.putBeginOfList(), o.putEndOfList(), o.putEndOfList(), o.put(1);
         o.putEndOfList();
       },
       u"{\n{\n{}\n},1\n}"},
      {"two lists at top level",
       [](ListOutStream& o) { o.putBeginOfList(), o.putEndOfList(), o.putBeginOfList(), o.putEndOfList(); },
       u"{},\n{}"},
      {"items of every kind",
       [](ListOutStream& o) {
         o.putBeginOfList();
         o.put(true), o.put(false), o.put(-7), o.put(N("12345.67")), o.put(u"a\"b");
         o.put(core::guid("0123abcd-0000-4000-8000-00000000ffff"));
         o.putEndOfList();
       },
       u"{1,0,-7,12345.67,\"a\"\"b\",0123abcd-0000-4000-8000-00000000ffff}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(text_of(c.write), c.text);
  }
}

TEST(ListOutStreamTest, ItemTexts) {
  const std::pair<Writing, std::u16string> items[] = {
      {[](ListOutStream& o) { o.put(u""); }, u"\"\""},
      {[](ListOutStream& o) { o.put(u"\""); }, u"\"\"\"\""},
      {[](ListOutStream& o) { o.put(u"\U0001F600"); }, u"\"\"\\d83d\"\\de00\""},
      {[](ListOutStream& o) { o.put(u"\xDC00x"); }, u"\"\"\\dc00x\""},  // an unpaired unit too
      {[](ListOutStream& o) { o.put(u"\xD800"); }, u"\"\"\\d800\""},    // one unit: the short path
      {[](ListOutStream& o) { o.put(u"\0", 1); }, u"\"\""},
      {[](ListOutStream& o) { o.put(u"line\r\nbreak\t"); }, u"\"line\r\nbreak\t\""},
      {[](ListOutStream& o) { o.put(u"ab\0cd", 5); }, u"\"ab\""},  // stops at the zero despite the length
      {[](ListOutStream& o) { o.put(avo::WString(u"x\0y", 3)); }, u"\"x\""},
      {[](ListOutStream& o) { o.put(static_cast<const char16_t*>(nullptr)); }, u"\"\""},
      {[](ListOutStream& o) { o.put(0.1f); }, u"1.000000014901161e-1"},  // floats go through double
      {[](ListOutStream& o) { o.put(std::numeric_limits<long long>::min()); }, u"-9223372036854775808"},
      {[](ListOutStream& o) { o.put(std::numeric_limits<unsigned long long>::max()); }, u"18446744073709551615"},
      {[](ListOutStream& o) { o.put(static_cast<signed char>(-128)); }, u"-128"},
      {[](ListOutStream& o) { o.put(Numeric()); }, u"0"},
      {[](ListOutStream& o) { o.put(avo::String("abc")); }, u"YWJj"},
      {[](ListOutStream& o) { o.put("ab", 2); }, u"YWI="},
      {[](ListOutStream& o) { o.put("a", 1); }, u"YQ=="},
      {[](ListOutStream& o) { o.put(avo::String()); }, u""},
  };
  for (const auto& item : items) {
    SCOPED_TRACE(utf8(item.second));
    EXPECT_EQ(text_of(item.first), item.second);
  }
  const std::pair<double, const char16_t*> doubles[] = {{100.0, u"1e2"},
                                                        {1.0, u"1"},
                                                        {0.0, u"0"},
                                                        {-0.0, u"0"},
                                                        {150.0, u"1.5e2"},
                                                        {0.5, u"5e-1"},
                                                        {15.0, u"15"},
                                                        {-1.5, u"-1.5"},
                                                        {123.456, u"123.456"},
                                                        {1234567890123456.0, u"1234567890123456"},
                                                        {12345678901234567.0, u"1.234567890123457e16"},
                                                        {1.0 / 3, u"3.333333333333333e-1"},
                                                        {std::numeric_limits<double>::infinity(), u"inf"}};
  for (const auto& d : doubles) {
    SCOPED_TRACE(utf8(d.second));
    EXPECT_EQ(text_of([&](ListOutStream& o) { o.put(d.first); }), d.second);
  }
  // Decimal numbers are written as their canonical text.
  for (const char* text : {"-0.000000000000000000001", "0.5", "-0.000000001", "100.25", "-7.05", "3.00000001",
                           "1000000000", "999999999999999999.999999999", "1000000000000000000.5"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(utf8(text_of([&](ListOutStream& o) { o.put(N(text)); })), text);
  }
  // Integer parts on both sides of every power of ten up to 18 digits, which the short path of the
  // writer sizes without a loop.
  for (std::string power = "1"; power.size() <= 18; power += '0') {
    const std::string below(power.size() - 1, '9');
    for (const std::string& integer : {power, below.empty() ? std::string("0") : below}) {
      for (const char* fraction : {"", ".5", ".07"}) {
        const std::string text = "-" + integer + fraction;
        SCOPED_TRACE(text);
        EXPECT_EQ(utf8(text_of([&](ListOutStream& o) { o.put(N(text.c_str())); })), text == "-0" ? "0" : text);
      }
    }
  }
}

TEST(ListOutStreamTest, Base64BreaksTheLineAfterEvery64Characters) {
  const avo::String bytes60(60, '\x01');  // 80 characters: one break
  const std::u16string text60 = text_of([&](ListOutStream& o) { o.put(bytes60); });
  ASSERT_EQ(text60.size(), 82u);
  EXPECT_EQ(text60.find(u"\r\n"), 64u);
  EXPECT_EQ(text60.rfind(u"\r\n"), 64u);

  const avo::String bytes96(96, '\xff');  // exactly 128 characters: a break after each 64
  const std::u16string text96 = text_of([&](ListOutStream& o) { o.put(bytes96); });
  EXPECT_EQ(text96, std::u16string(64, u'/') + u"\r\n" + std::u16string(64, u'/') + u"\r\n");
}

// ---- Reading text ------------------------------------------------------------------------------------

TEST(ListInStreamTest, AcceptsTheReaderTolerances) {
  read_text(u" {\t+7 , -0 ,\x0663\x0664, \x2003 300,-1, 00000000000000000000000000000042}", [](ListInStream& in) {
    int a = 0, b = 1, c = 0;
    unsigned char wrapped = 0;
    unsigned int minusOne = 0;
    long long longDigits = 0;
    in.getBeginOfList(), in.get(a), in.get(b), in.get(c), in.get(wrapped), in.get(minusOne), in.get(longDigits);
    in.getEndOfList();
    // Arabic-Indic digits give 34; 300 wraps to 44 in a byte.
    EXPECT_EQ(std::tuple(a, b, c, int{wrapped}, minusOne, longDigits), std::tuple(7, 0, 34, 44, 0xFFFFFFFFu, 42LL));
  });
  read_text(u"{1.5e2,5e-1,-.25,2E+3,inf,-Infinity}", [](ListInStream& in) {
    std::vector<double> v(6);
    in.getBeginOfList();
    for (double& d : v) in.get(d);
    in.getEndOfList();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(v, (std::vector<double>{150, 0.5, -0.25, 2000, inf, -inf}));
  });
  read_text(u"{ YWJj\r\nZGVm ,YQ==, YWI}", [](ListInStream& in) {
    avo::String a, b, c;
    in.getBeginOfList(), in.get(a), in.get(b), in.get(c), in.getEndOfList();
    EXPECT_EQ(a, "abcdef");
    EXPECT_EQ(b, "a");
    EXPECT_EQ(c, "ab");  // padding is optional
  });
}

TEST(ListInStreamTest, DecimalNumbersOfEveryLength) {
  const char16_t* texts[] = {u"5",
                             u"+3",
                             u"-0",
                             u".5",
                             u"-.25",
                             u"5.",
                             u"0.123456789",
                             u"0.1234567891",
                             u"123456789012345678",
                             u"1234567890123456789",
                             u"-999999999999999999.999999999",
                             u"00012.5000",
                             u"1000000000.5"};
  for (const char16_t* text : texts) {
    SCOPED_TRACE(utf8(text));
    const Numeric expected = N(utf8(text).c_str());
    read_text(u"{" + std::u16string(text) + u"}", [&](ListInStream& in) {
      Numeric n(77);
      in.getBeginOfList(), in.get(n), in.getEndOfList();
      EXPECT_EQ(n, expected);
    });
  }
}

TEST(ListInStreamTest, BlanksAreWhatIcuCallsSpace) {
  for (char16_t c = 0; c < 0xFFFF; ++c) {
    if (core::detail::is_blank(c) != (u_isspace(c) != 0)) ADD_FAILURE() << "unit " << unsigned(c);
  }
}

TEST(ListInStreamTest, MalformedInputThrowsAtTheFault) {
  struct Case {
    std::u16string text;
    Reading read;
    const char* where;
  };
  const auto ints = [](int count) {
    return [count](ListInStream& in) {
      in.getBeginOfList();
      for (int i = 0; i < count; ++i) {
        int v;
        in.get(v);
      }
      in.getEndOfList();
    };
  };
  const auto one = [](auto value) {
    return [value](ListInStream& in) mutable {
      in.getBeginOfList();
      in.get(value);
      in.getEndOfList();
    };
  };
  const Case cases[] = {
      {u"{1 2}", ints(2), "line 1, column 4: expected \",\""},
      {u"{1,\n  2 x}", ints(2), "line 2, column 5: expected \"}\""},
      {u"{1,}", ints(2), "line 1, column 4: expected a digit"},
      {u"{+}", ints(1), "line 1, column 3: expected a digit"},
      {u"{- 5}", ints(1), "line 1, column 3: expected a digit"},
      {u"1}", ints(1), "line 1, column 1: expected \"{\""},
      {u"{1", ints(1), "line 1, column 3: expected \"}\""},
      {u"", ints(0), "line 1, column 1: expected \"{\""},
      {u"{2}", one(false), "line 1, column 2: expected 0 or 1"},
      {u"{true}", one(false), "line 1, column 2: expected 0 or 1"},
      {u"{\"abc}", one(avo::WString()), "line 1, column 7: expected a closing quotation mark"},
      {u"{\"a\"\\00g1\"}", one(avo::WString()), "line 1, column 8: expected four hexadecimal digits"},
      {u"{abc}", one(avo::WString()), "line 1, column 2: expected a string"},
      {u"{0123abcd-0000-4000-8000-00000000fff}", one(core::GUID()), "line 1, column 2: expected a GUID"},
      {u"{0123abcd-0000-4000-8000}", one(core::GUID()), "expected a GUID of 36 characters"},
      {u"{1.2.3}", one(0.0), "line 1, column 2: expected a floating number"},
      {u"{x}", one(Numeric()), "line 1, column 2: expected a number"},
      {u"{1.5e2}", one(Numeric()), "line 1, column 5: expected \"}\""},  // no exponent in decimal numbers
      {u"{YWJjZ}", one(avo::String()), "line 1, column 2: expected Base64 data"},
      {u"{YQ=x}", one(avo::String()), "line 1, column 2: expected Base64 data"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(utf8(c.text));
    const std::string error = list_error([&] { read_text(c.text, c.read); });
    EXPECT_NE(error.find(c.where), std::string::npos) << error;
  }
  // The reader stays where it found the fault.
  auto reader = core::create_memory_reader(u"{1,\n\n  \"a\",x}");
  ListInStream in(reader.get());
  int v;
  avo::WString s;
  in.getBeginOfList(), in.get(v), in.get(s);
  EXPECT_THROW(in.get(v), ListStreamException);
  const core::ListPosition at = in.getPosition();
  EXPECT_EQ(std::tuple(at.line, at.column, at.offset), std::tuple(3u, 7u, 11u));
}

TEST(ListInStreamTest, EndOfListQueriesAndDefaultsLeaveTheRestUnread) {
  read_text(u"{ 1 }", [](ListInStream& in) {
    int v;
    in.getBeginOfList();
    EXPECT_FALSE(in.isEndOfList());
    in.get(v);
    EXPECT_FALSE(in.getComma());  // before "}"
    EXPECT_TRUE(in.isEndOfList());
    EXPECT_TRUE(in.isEndOfList());
    in.getEndOfList();
    EXPECT_FALSE(in.getComma());  // at the end of the input
  });
  // After getComma the item follows without another separator.
  read_text(u"{1 , 2}", [](ListInStream& in) {
    int a, b;
    in.getBeginOfList(), in.get(a);
    EXPECT_TRUE(in.getComma());
    in.get(b), in.getEndOfList();
    EXPECT_EQ(b, 2);
  });
  // String defaults apply only at the end of the list.
  read_text(u"{\"x\"}", [](ListInStream& in) {
    avo::WString a, b, c;
    in.getBeginOfList(), in.get(a, u"none"), in.get(b, u"none"), in.get(c, avo::WString(u"other"));
    in.getEndOfList();
    EXPECT_EQ(a, u"x");
    EXPECT_EQ(b, u"none");
    EXPECT_EQ(c, u"other");
  });
}

TEST(ListInStreamTest, SkipsTrailingItemsOfNewerWriters) {
  const std::u16string text = u"{{1,\"known\", \"a}b\"\"\" ,{2,{}, {\"}\"}}, x y ,\n YWJj\r\n }, 5}";
  read_text(text, [](ListInStream& in) {
    int version, after;
    avo::WString name, saved;
    in.getBeginOfList();
    in.getBeginOfList(), in.get(version), in.get(name);
    in.skipAndSaveListContent(saved);
    in.getEndOfList();
    in.get(after);
    in.getEndOfList();
    EXPECT_EQ(name, u"known");
    EXPECT_EQ(saved, u", \"a}b\"\"\" ,{2,{}, {\"}\"}}, x y ,\n YWJj\r\n ");
    EXPECT_EQ(after, 5);
  });
  // Nothing to skip, and skipping on an empty list.
  read_text(u"{{},{7}}", [](ListInStream& in) {
    int v;
    in.getBeginOfList();
    in.getBeginOfList(), in.skipListContent(), in.getEndOfList();
    in.getBeginOfList(), in.get(v), in.skipListContent(), in.getEndOfList();
    in.getEndOfList();
    EXPECT_EQ(v, 7);
  });
  // Deep nesting is skipped without recursion.
  std::u16string deep = u"{";
  deep += std::u16string(200000, u'{') + std::u16string(200000, u'}') + u"}";
  read_text(deep, [](ListInStream& in) { in.getBeginOfList(), in.skipListContent(), in.getEndOfList(); });
  EXPECT_NE(list_error([&] {
              read_text(u"{{{1}", [](ListInStream& in) { in.getBeginOfList(), in.skipListContent(); });
            }).find("expected \"}\""),
            std::string::npos);
}

// ---- Independence from the process locale -------------------------------------------------------------

// What the text encoding makes of floating values: the texts of some doubles, and the values of texts
// that include magnitudes beyond the range of a double (which read as infinity and zero).
struct FloatingTexts {
  std::vector<std::u16string> written;
  std::vector<double> read;
};

FloatingTexts floating_texts() {
  FloatingTexts result;
  for (double d : {1.5, -0.25, 123.456, 1.0 / 3, 6.02e23, -1e-300}) {
    result.written.push_back(text_of([d](ListOutStream& o) { o.put(d); }));
  }
  result.written.push_back(text_of([](ListOutStream& o) { o.put(0.1f); }));
  auto writer = core::MemoryWriter::create();
  core::to_stream(writer.get(), 2.5e-7);
  result.written.push_back(std::u16string(writer->text()));

  const std::u16string huge = std::u16string(310, u'9') + u".5";
  const std::u16string tiny = u"0." + std::u16string(330, u'0') + u"25";
  read_text(u"{1.5,-2.5e-3,1.5e400,-2.5e-400,0.0001e-330,234.5e306,-.5e+999," + huge + u"," + tiny + u"}",
            [&](ListInStream& in) {
              in.getBeginOfList();
              while (!in.isEndOfList()) {
                double d = 0;
                in.get(d);
                result.read.push_back(d);
              }
              in.getEndOfList();
            });
  for (const char16_t* text : {u"2.5", u"7.5e-999"}) {
    auto reader = core::create_memory_reader(text);
    double d = 0;
    EXPECT_TRUE(core::from_stream(reader.get(), d));
    result.read.push_back(d);
  }
  return result;
}

TEST(ListStreamLocaleTest, FloatingItemsIgnoreTheDecimalPointOfTheLocale) {
  const FloatingTexts inC = floating_texts();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(inC.read, (std::vector<double>{1.5, -2.5e-3, inf, -0.0, 0, inf, -inf, inf, 0, 2.5, 0}));
  const testing_support::ScopedCLocale german(testing_support::kGermanLocale);
  ASSERT_TRUE(german.set()) << "the locale " << testing_support::kGermanLocale << " is missing";
  const FloatingTexts inGerman = floating_texts();
  EXPECT_EQ(inGerman.written, inC.written);
  EXPECT_EQ(inGerman.read, inC.read);
}

// ---- The free functions -----------------------------------------------------------------------------

TEST(ListFreeFunctionsTest, CharacterFunctions) {
  auto writer = core::MemoryWriter::create();
  core::IWriter* w = writer.get();
  core::put_begin_of_list(w), core::put_comma(w), core::put_new_line(w), core::put_end_of_list(w);
  EXPECT_EQ(writer->text(), u"{,\n}");

  // is_* skip blanks and consume nothing else; get_* consume the next character whatever it is.
  auto reader = core::detail::create_string_reader(u"  {\u3000,}x");
  EXPECT_FALSE(core::is_end_of_list(reader.get()));
  EXPECT_TRUE(core::is_begin_of_list(reader.get()));
  EXPECT_EQ(reader->peek(), u'{');
  EXPECT_FALSE(core::get_comma(reader.get()));  // consumes "{"
  EXPECT_TRUE(core::is_comma(reader.get()));
  EXPECT_TRUE(core::get_comma(reader.get()));
  EXPECT_TRUE(core::get_end_of_list(reader.get()));
  EXPECT_FALSE(core::get_begin_of_list(reader.get()));  // consumes "x"
  EXPECT_TRUE(reader->atEnd());
  EXPECT_FALSE(core::get_end_of_list(reader.get()));  // nothing left

  auto spaces = core::detail::create_string_reader(u" \t\r\n\u2028y");
  core::skip_spaces(spaces.get());
  EXPECT_EQ(spaces->read(), u'y');
}

TEST(ListFreeFunctionsTest, ItemsWithoutSeparators) {
  auto writer = core::detail::create_string_writer();  // not buffered: the adapter hands text on
  core::IWriter* w = writer.get();
  core::to_stream(w, -12), core::put_comma(w), core::to_stream(w, u"q\""), core::put_comma(w);
  core::to_stream(w, 0.5), core::put_comma(w), core::to_stream(w, true), core::put_comma(w);
  core::to_stream(w, N("-3.25")), core::put_comma(w), core::to_stream(w, avo::String("abc"));
  EXPECT_EQ(core::detail::string_writer_text(w), u"-12,\"q\"\"\",5e-1,1,-3.25,YWJj");

  auto reader = core::detail::create_string_reader(u" 42 \"s\"x 2 zz");
  int i = 0;
  avo::WString s;
  bool b = false;
  EXPECT_TRUE(core::from_stream(reader.get(), i));
  EXPECT_EQ(i, 42);
  EXPECT_TRUE(core::from_stream(reader.get(), s));
  EXPECT_EQ(s, u"s");
  EXPECT_EQ(reader->peek(), u'x');  // the reader stands right after the item
  reader->read();
  EXPECT_FALSE(core::from_stream(reader.get(), b));  // "2" is no boolean: false, no throw
  Numeric n;
  EXPECT_TRUE(core::from_stream(reader.get(), n));
  EXPECT_EQ(n, 2);
  double d;
  EXPECT_FALSE(core::from_stream(reader.get(), d));
}

// ---- Round trips through both encodings ----------------------------------------------------------------

// One item of a list: how to write it, and how to read it back into a changed copy, answering whether it
// came back the same.
struct Item {
  std::function<void(ListOutStream&)> write;
  std::function<bool(ListInStream&)> read;
};
using Items = std::vector<Item>;

// A value that differs from `v`, so that a read that leaves its target alone cannot pass (strings keep their
// length where they can: readers reuse a target of the right size).
template <class T>
T changed(const T& v) {
  if constexpr (std::is_arithmetic_v<T>) {
    return v == T(1) ? T(0) : T(1);
  } else if constexpr (std::is_same_v<T, core::GUID>) {
    return core::kNullGuid;
  } else if constexpr (std::is_same_v<T, Numeric>) {
    return v + Numeric(1);
  } else {
    T out = v;
    if (out.empty()) {
      out.push_back('?');
    } else {
      out.back() ^= 1;
    }
    return out;
  }
}

template <class T>
Item item(T value) {
  return {[value](ListOutStream& o) { o.put(value); },
          [value](ListInStream& in) {
            T back = changed(value);
            in.get(back);
            return back == value;
          }};
}

const Item kBegin{[](ListOutStream& o) { o.putBeginOfList(); },
                  [](ListInStream& in) { return in.getBeginOfList(), true; }};
const Item kEnd{[](ListOutStream& o) { o.putEndOfList(); }, [](ListInStream& in) { return in.getEndOfList(), true; }};

// Every item type, with values at each threshold of the packed kinds, in nested lists. `small` keeps the
// long strings out and the byte data short, for tests that read the list at every cut.
Items every_item(bool small = false) {
  Items items{kBegin};
  for (long long v : {0LL, 9LL, 10LL, 255LL, 256LL, -1LL, -255LL, -256LL, 65535LL, 65536LL, -65536LL, 4294967295LL,
                      4294967296LL, std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()}) {
    items.push_back(item(v));
  }
  for (unsigned long long v : {0ULL, 9ULL, std::numeric_limits<unsigned long long>::max()}) items.push_back(item(v));
  items.insert(items.end(),
               {item<signed char>(-100), item<unsigned char>(200), item<short>(-30000), item<unsigned short>(60000),
                item(-2000000000), item(4000000000u), item(-5000000000L), item(10000000000UL), item(0.25f)});
  // Booleans through the references of a std::vector<bool>.
  items.push_back({[](ListOutStream& o) {
                     std::vector<bool> flags{true, false, true};
                     o.putBeginOfList(), o.put(flags[0]), o.put(flags[1]), o.put(flags[2]), o.putEndOfList();
                   },
                   [](ListInStream& in) {
                     std::vector<bool> flags{false, true, false};
                     in.getBeginOfList(), in.get(flags[0]), in.get(flags[1]), in.get(flags[2]), in.getEndOfList();
                     return flags == std::vector<bool>{true, false, true};
                   }});
  for (double d : {0.0, 0.1, -2.5e-300, 1e300, 123456.789}) items.push_back(item(d));
  items.push_back(item(core::guid("71df1a80-0f8f-11d4-9853-008048da1252")));
  items.push_back(kBegin);
  for (const char* n :
       {"0", "7", "-5", "1000000000", "-123456789012", "999999999999999999", "1000000000000000000000000000", "12.5",
        "-12345.67", "0.000000000000000000000000000001", "18446744073709551615",
        "-99999999999999999999999999999999999999.5", "1000000000000000000000000000000000000000000"}) {
    items.push_back(item(N(n)));
  }
  items.push_back(kEnd);
  for (const char16_t* s :
       {u"", u"A", u"\x00ff", u"Ж", u"ab", u"\"quoted\" and \"\"", u"\U0001F600 \xD800 lone", u"line\nfeed"}) {
    items.push_back(item(avo::WString(s)));
  }
  if (!small) {
    for (const auto& [length, unit] : {std::pair{255, u'n'}, {256, u'n'}, {65536, u'n'}, {300, u'\x0416'}}) {
      items.push_back(item(avo::WString(length, unit)));
    }
  }
  avo::String bytes;
  for (int k = 0; k < (small ? 100 : 40000); ++k) bytes.push_back(static_cast<char>(k * 7));
  for (const avo::String& b : {avo::String(), avo::String("x"), avo::String("xy"), bytes}) items.push_back(item(b));
  // Raw bytes into a buffer, and the contents of a file.
  items.push_back({[](ListOutStream& o) { o.put("\x00\x01\x02\xff", 4); },
                   [](ListInStream& in) {
                     char raw[8] = {};
                     const std::size_t size = in.get(raw, sizeof raw);
                     return std::string(raw, size) == std::string("\x00\x01\x02\xff", 4);
                   }});
  items.push_back({[bytes](ListOutStream& o) {
                     auto file = core::create_memory_file(bytes.data(), bytes.size());
                     o.put(static_cast<core::IFile*>(file.get()));
                   },
                   [bytes](ListInStream& in) {
                     auto file = core::create_memory_file();
                     in.get(static_cast<core::IFile*>(file.get()));
                     return avo::String(reinterpret_cast<const char*>(file->getData()), file->getSize()) == bytes;
                   }});
  items.push_back(kEnd);
  return items;
}

void write_all(ListOutStream& out, const Items& items) {
  for (const Item& i : items) i.write(out);
}

// Reads the items back; `check` false only reads, as damaged input needs.
void read_all(ListInStream& in, const Items& items, bool check = true) {
  for (std::size_t k = 0; k < items.size(); ++k) {
    const bool same = items[k].read(in);
    EXPECT_TRUE(same || !check) << "item " << k << " came back changed";
  }
}

TEST(ListStreamRoundTripTest, BothEncodingsKeepEveryItem) {
  const Items items = every_item();
  for (const bool packed : {false, true}) {
    round_trip(
        packed, [&](ListOutStream& o) { write_all(o, items); }, [&](ListInStream& in) { read_all(in, items); });
  }
}

TEST(ListStreamRoundTripTest, ByteDataLongerThanTheBufferThrows) {
  for (const bool packed : {false, true}) {
    round_trip(
        packed, [](ListOutStream& o) { o.put("abcde", 5); },
        [](ListInStream& in) {
          char buffer[4];
          EXPECT_NE(list_error([&] { in.get(buffer, sizeof buffer); }).find("byte data that fits the buffer"),
                    std::string::npos);
        });
  }
}

TEST(ListStreamRoundTripTest, NumericBinaryFormIsOneStringItemOfItsText) {
  const Numeric amount = N("-1234567890.000000000000000000000000000000000001");
  const std::u16string text = text_of([&](ListOutStream& o) {
    o.putBeginOfList();
    amount.toBinary(o.getImpl());
    o.putEndOfList();
  });
  EXPECT_EQ(utf8(text), "{\"-1234567890.000000000000000000000000000000000001\"}");
  Numeric back(7);
  read_text(u"{\"12.5 and more\",\"x\"}", [&](ListInStream& in) {
    in.getBeginOfList();
    back.fromBinary(in.getImpl());  // text after the number is ignored
    EXPECT_EQ(back, N("12.5"));
    back.fromBinary(in.getImpl());  // no number at all reads as zero
    EXPECT_EQ(back, Numeric());
  });
  const std::vector<std::uint8_t> bytes = packed_of([&](ListOutStream& o) { amount.toBinary(o.getImpl()); });
  read_packed(bytes, [&](ListInStream& in) { back.fromBinary(in.getImpl()); });
  EXPECT_EQ(back, amount);
}

// Tokens that cross the blocks of a file reader, and a reader without a buffer at all.
TEST(ListStreamRoundTripTest, TextThroughFileReaderAndUnbufferedReader) {
  const Items items = every_item();
  auto file = core::create_memory_file();
  {
    auto writer = core::create_file_writer(file.get(), core::TextEncoding::Utf8, false);
    ListOutStream out(writer.get());
    for (int k = 0; k < 3; ++k) write_all(out, items);
    out.flush();
  }
  file->setPosition(0);
  auto reader = core::create_file_reader(file.get());
  ListInStream in(reader.get());
  for (int k = 0; k < 3; ++k) read_all(in, items);

  // Without a buffer the reader must stand right after the list when the stream is done with it.
  auto unbuffered =
      core::detail::create_string_reader(text_of([&](ListOutStream& o) { write_all(o, items); }) + u"rest");
  ListInStream slow(unbuffered.get());
  read_all(slow, items);
  EXPECT_EQ(unbuffered->read(), u'r');
}

// A writer without a buffer sees the same text, each operation's share as soon as the operation ends.
TEST(ListStreamRoundTripTest, TextOntoUnbufferedWriterHandsOnEveryOperation) {
  const Items items = every_item();
  auto writer = core::detail::create_string_writer();
  ListOutStream out(writer.get());
  out.putBeginOfList();
  out.put(u"a");
  EXPECT_EQ(core::detail::string_writer_text(writer.get()), u"{\"a\"");
  write_all(out, items);
  out.putEndOfList();
  EXPECT_EQ(core::detail::string_writer_text(writer.get()),
            text_of([&](ListOutStream& o) { o.putBeginOfList(), o.put(u"a"), write_all(o, items), o.putEndOfList(); }));
}

TEST(ListStreamRoundTripTest, PackedDoublesAreBitExact) {
  const double values[] = {1.0 / 3, std::nextafter(1.0, 2.0), 5e-324, -0.0};
  const auto bytes = packed_of([&](ListOutStream& o) {
    for (double d : values) o.put(d);
  });
  read_packed(bytes, [&](ListInStream& in) {
    for (double d : values) {
      double back = 0;
      in.get(back);
      EXPECT_EQ(std::memcmp(&back, &d, sizeof d), 0) << d;
      in.getComma();
    }
  });
}

// ---- Untyped documents -------------------------------------------------------------------------------

// The events of a document as one line: "[" and "]" around lists, " s:" before a string, " r:" before a
// bare item.
class EventLog final : public core::ListDocumentHandler {
 public:
  void beginList() override { text += "["; }
  void endList() override { text += "]"; }
  void stringItem(std::u16string_view item) override { text += " s:" + utf8(item); }
  void rawItem(std::u16string_view item) override { text += " r:" + utf8(item); }

  std::string text;
};

TEST(ListDocumentTest, EventsFollowTheDocumentWithStringsDecodedAndBareItemsAsTheyStand) {
  const std::u16string text =
      u" {1 ,{\"a\"\"b\", {} , -1.5e2\n},YWJj\r\nZGVm\r\n, 71df1a80-0f8f-11d4-9853-008048da1252 }\n";
  const std::string events = "[ r:1[ s:a\"b[] r:-1.5e2] r:YWJj\r\nZGVm\r\n r:71df1a80-0f8f-11d4-9853-008048da1252]";
  for (const bool buffered : {true, false}) {
    SCOPED_TRACE(buffered ? "buffered reader" : "unbuffered reader");
    core::InterfacePtr<core::IReader> reader;
    if (buffered) {
      reader = core::create_memory_reader(text);
    } else {
      reader = core::detail::create_string_reader(text);
    }
    EventLog log;
    core::ListSyntaxError error;
    EXPECT_TRUE(core::parse_list_document(reader.get(), log, error));
    EXPECT_EQ(log.text, events);
    EXPECT_EQ(error.key, nullptr);
  }
}

TEST(ListDocumentTest, SyntaxErrorsGiveTheirPlaceAndKeyAfterTheEventsBeforeThem) {
  struct Case {
    const char16_t* text;
    std::uint64_t line, column, offset;
    const char* expected;
    const char* events;
  } cases[] = {
      {u"", 1, 1, 0, "\"{\"", ""},
      {u"  1", 1, 3, 2, "\"{\"", ""},
      {u"{1 2}", 1, 4, 3, "\",\" or \"}\"", "["},
      {u"{1,\n  {2}\n  3}", 3, 3, 12, "\",\" or \"}\"", "[ r:1[ r:2]"},
      {u"{1,\n 2.5e3\n x}", 3, 2, 12, "\",\" or \"}\"", "[ r:1"},  // a number and more text
      {u"{\"a\",,2}", 1, 6, 5, "an item", "[ s:a"},
      {u"{{}, hello}", 1, 6, 5, "an item (a list, a string, a number, a GUID or Base64 data)", "[[]"},
      {u"{\"abc,1}\n", 2, 1, 9, "a closing quotation mark", "["},
      {u"{1,{2}", 1, 7, 6, "\",\" or \"}\"", "[ r:1[ r:2]"},
      {u"{1}\n{2}", 2, 1, 4, "the end of the input", "[ r:1]"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(utf8(c.text));
    auto reader = core::create_memory_reader(c.text);
    EventLog log;
    core::ListSyntaxError error;
    EXPECT_FALSE(core::parse_list_document(reader.get(), log, error));
    EXPECT_EQ(error.position.line, c.line);
    EXPECT_EQ(error.position.column, c.column);
    EXPECT_EQ(error.position.offset, c.offset);
    EXPECT_STREQ(error.key, "IDS_LISTSTREAMERROR");
    EXPECT_EQ(error.expected, c.expected);
    EXPECT_EQ(log.text, c.events);
  }
}

TEST(ListDocumentTest, DepthLimitFailsAtTheBraceThatWouldOpenATooDeepList) {
  struct Case {
    const char16_t* text;
    std::uint64_t maxDepth;
    std::uint64_t line, column;  // 0: accepted
    const char* events;
  } cases[] = {
      {u"{1,{2,{}},{3}}", 2, 1, 7, "[ r:1[ r:2"},
      {u"{{},\n {\"a\"}}", 2, 0, 0, "[[][ s:a]]"},
      {u"\n  {}", 0, 2, 3, ""},
      {u"{}", 1, 0, 0, "[]"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(utf8(c.text));
    auto reader = core::create_memory_reader(c.text);
    EventLog log;
    core::ListSyntaxError error;
    EXPECT_EQ(core::parse_list_document(reader.get(), log, error, c.maxDepth), c.line == 0);
    EXPECT_EQ(log.text, c.events);
    if (c.line == 0) continue;
    EXPECT_EQ(error.position.line, c.line);
    EXPECT_EQ(error.position.column, c.column);
    EXPECT_STREQ(error.key, "IDS_LISTSTREAMERROR");
    EXPECT_EQ(error.expected, "at most " + std::to_string(c.maxDepth) + " nested lists");
  }
  // Without a limit depth costs no stack: a million levels read like any document.
  const std::size_t levels = 1000000;
  auto reader = core::create_memory_reader(std::u16string(levels, u'{') + std::u16string(levels, u'}'));
  auto out = core::MemoryWriter::create();
  core::ListSyntaxError error;
  EXPECT_TRUE(core::format_list_document_compact(reader.get(), out.get(), error));
  reader = core::create_memory_reader(std::u16string(levels, u'{') + std::u16string(levels, u'}'));
  EXPECT_FALSE(core::format_list_document_compact(reader.get(), out.get(), error, levels - 1));
  EXPECT_EQ(error.position.column, levels);
}

// A handler may throw the list stream's own exception (reading an item with ListInStream, say); that is
// the handler's failure, not a fault of the document.
TEST(ListDocumentTest, HandlerExceptionsPassThroughUntouched) {
  struct Refusing final : core::ListDocumentHandler {
    void beginList() override {}
    void endList() override {}
    void stringItem(std::u16string_view) override { throw ListStreamException(); }
    void rawItem(std::u16string_view) override {}
  } refusing;
  auto reader = core::create_memory_reader(u"{1,\"x\"}");
  core::ListSyntaxError error;
  EXPECT_THROW(core::parse_list_document(reader.get(), refusing, error), ListStreamException);
  EXPECT_EQ(error.key, nullptr);
  EXPECT_EQ(error.position.line, 0u);
}

TEST(ListDocumentTest, CompactLayoutReproducesTheWritersTextAndStopsAtAFault) {
  const std::u16string written = text_of([](ListOutStream& o) {
    o.putBeginOfList();
    o.put(1u), o.put(-5LL), o.put(0.25), o.put(N("-12345.67")),
        o.put(core::guid("71df1a80-0f8f-11d4-9853-008048da1252"));
    o.putBeginOfList();
    o.put(u"\"quoted\" \U0001F600 \xD800 lone");
    o.putBeginOfList(), o.putEndOfList();
    o.putEndOfList();
    o.put(avo::String(48, 'x'));  // one full line of Base64: the writer breaks the line after it
    o.put(avo::String(100, 'y'));
    o.putEndOfList();
  });
  const auto compact = [](std::u16string_view text, core::ListSyntaxError& error, bool& ok) {
    auto reader = core::create_memory_reader(text);
    auto out = core::MemoryWriter::create();
    ok = core::format_list_document_compact(reader.get(), out.get(), error);
    return std::u16string(out->text());
  };
  core::ListSyntaxError error;
  bool ok = false;
  EXPECT_EQ(utf8(compact(written, error, ok)), utf8(written));
  EXPECT_TRUE(ok);

  EXPECT_EQ(utf8(compact(u" { 1 ,{ \"a\" } x}", error, ok)), "{1,\n{\"a\"}");
  EXPECT_FALSE(ok);
  EXPECT_EQ(error.position.column, 15u);
}

// A writer without a buffer that notes whether its source was used up when the first text arrived.
class WatchingWriter final : public core::IWriter {
 public:
  explicit WatchingWriter(core::IReader* source) : source_(source) {}

  core::HRESULT QueryInterface(const core::GUID& iid, void** object) override {
    *object = iid == core::IWriter::IID || iid == core::IUnknown::IID ? this : nullptr;
    return *object != nullptr ? core::S_OK : core::E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }
  void write(char16_t c) override { write(&c, 1); }
  void write(const char16_t* text, std::ptrdiff_t length) override {
    if (writes++ == 0) sourceUsedUpAtFirstWrite = source_->atEnd();
    units += length < 0 ? std::char_traits<char16_t>::length(text) : static_cast<std::size_t>(length);
  }

  std::size_t writes = 0;
  std::size_t units = 0;
  bool sourceUsedUpAtFirstWrite = true;

 private:
  core::IReader* source_;
};

// The formatter hands its text on while it reads, so neither side of a large document sits in memory.
TEST(ListDocumentTest, CompactLayoutReachesAnUnbufferedWriterWhileTheInputIsRead) {
  std::u16string text = u"{";
  for (int k = 0; k < 100000; ++k) text += u"12345,";
  text += u"0}";
  auto reader = core::create_memory_reader(text);
  WatchingWriter out(reader.get());
  core::ListSyntaxError error;
  EXPECT_TRUE(core::format_list_document_compact(reader.get(), &out, error));
  EXPECT_FALSE(out.sourceUsedUpAtFirstWrite);
  EXPECT_GT(out.writes, 1u);
  EXPECT_EQ(out.units, text.size());
}

// ---- The packed bytes ------------------------------------------------------------------------------

TEST(PackedListStreamTest, MarksMergeIntoTagBytes) {
  struct Case {
    const char* name;
    Writing write;
    std::vector<std::uint8_t> bytes;
  };
  const Case cases[] = {
      {"{1,{2},3}",
       [](ListOutStream& o) {
         o.putBeginOfList(), o.put(1), o.putBeginOfList(), o.put(2), o.putEndOfList(), o.put(3), o.putEndOfList();
       },
       {0x42, 0xC3, 0xA4, 0x20}},
      {"{{}}",
       [](ListOutStream& o) { o.putBeginOfList(), o.putBeginOfList(), o.putEndOfList(), o.putEndOfList(); },
       {0x40, 0x40, 0x20, 0x20}},
      {"{{1},{2}}",
       [](ListOutStream& o) {
         o.putBeginOfList(), o.putBeginOfList(), o.put(1), o.putEndOfList();
         o.putBeginOfList(), o.put(2), o.putEndOfList(), o.putEndOfList();
       },
       {0x40, 0x42, 0xE3, 0x20, 0x20}},
      {"integers",
       [](ListOutStream& o) { o.put(255), o.put(-1), o.put(256), o.put(70000u), o.put(-5000000000LL); },
       {0x0B, 0xFF, 0x8C, 0x01, 0x8D, 0x00, 0x01, 0x8F, 0x70, 0x11, 0x01,
        0x00, 0x92, 0x00, 0xF2, 0x05, 0x2A, 0x01, 0x00, 0x00, 0x00}},
      {"strings",
       [](ListOutStream& o) { o.put(u""), o.put(u"A"), o.put(u"ab"), o.put(u"Ж"); },
       {0x01, 0x8B, 0x41, 0x9A, 0x02, 0x61, 0x62, 0x97, 0x01, 0x16, 0x04}},
      {"GUID and bytes",
       [](ListOutStream& o) {
         o.put(core::guid("00010203-0405-0607-0809-0a0b0c0d0e0f"));
         o.put("xy", 2);
       },
       {0x15, 0x03, 0x02, 0x01, 0x00, 0x05, 0x04, 0x07, 0x06, 0x08, 0x09, 0x0A,
        0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x96, 0x02, 0x00, 0x78, 0x79, 0x00, 0x00}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(packed_of(c.write), c.bytes);
  }
}

// A file that hides its size, as pipes do: it answers no interface beyond the IFile it is.
class SizelessFile final : public core::IFile {
 public:
  explicit SizelessFile(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
  core::HRESULT QueryInterface(const core::GUID&, void** object) override {
    *object = nullptr;
    return core::E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 2; }
  std::uint32_t Release() override { return 1; }
  std::size_t read(void* buffer, std::size_t size) override {
    const std::size_t n = std::min(size, bytes_.size() - at_);
    std::memcpy(buffer, bytes_.data() + at_, n);
    at_ += n;
    return n;
  }
  void write(const void*, std::size_t) override {}
  void flush() override {}
  void close() override {}

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

TEST(PackedListStreamTest, HugeLengthsNeverAllocate) {
  // A string of 2^63 one-byte units, then a few bytes of it.
  std::vector<std::uint8_t> bytes{0x5C, 0, 0, 0, 0, 0, 0, 0, 0x80, 'a', 'b'};
  const auto read_string = [](ListInStream& in) {
    in.getBeginOfList();
    avo::WString s;
    in.get(s);
  };
  EXPECT_NE(list_error([&] { read_packed(bytes, read_string); }).find("a length within the data"), std::string::npos);
  SizelessFile pipe(bytes);
  const std::uint64_t before = nexa::thread_allocations();
  EXPECT_THROW(
      {
        ListInStream in(&pipe);
        read_string(in);
      },
      ListStreamException);
  EXPECT_LT(nexa::thread_allocations() - before, 20u);
  // Skipping it fails the same way, without reading forever.
  EXPECT_THROW(read_packed(bytes, [](ListInStream& in) { in.skipListContent(); }), ListStreamException);
}

TEST(PackedListStreamTest, ReaderPutsTheFileBackWhereItStopped) {
  auto file = core::create_memory_file();
  {
    ListOutStream out(file.get());
    out.putBeginOfList(), out.put(1), out.putEndOfList();
  }
  file->write("rest", 4);
  file->setPosition(0);
  int v = 0;
  {
    ListInStream in(file.get());  // reads ahead in blocks
    in.getBeginOfList(), in.get(v), in.getEndOfList();
  }
  EXPECT_EQ(v, 1);
  char rest[4];
  ASSERT_EQ(file->read(rest, 4), 4u);
  EXPECT_EQ(std::string(rest, 4), "rest");
}

// ---- Damaged input ---------------------------------------------------------------------------------

TEST(ListStreamDamageTest, EveryTruncationThrows) {
  const Items items = every_item(true);
  const Reading read = [&](ListInStream& in) { read_all(in, items, false); };
  const std::u16string text = text_of([&](ListOutStream& o) { write_all(o, items); });
  const auto bytes = packed_of([&](ListOutStream& o) { write_all(o, items); });
  for (std::size_t n = 0; n < text.size(); ++n) {
    EXPECT_THROW(read_text(text.substr(0, n), read), ListStreamException) << "text cut at " << n;
  }
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    const std::vector<std::uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
    EXPECT_THROW(read_packed(cut, read), ListStreamException) << "packed cut at " << n;
  }
}

TEST(ListStreamDamageTest, FlippedBytesEndInItemsOrListStreamException) {
  const Items items = every_item(true);
  const Writing write = [&](ListOutStream& o) {
    write_all(o, items);
    o.putBeginOfList(), o.put(3), o.put(u"tail"), o.putEndOfList();
  };
  const Reading read = [&](ListInStream& in) {
    in.getBeginOfList(), in.skipListContent(), in.getEndOfList();
    read_all(in, items, false);  // the second copy
  };
  const Writing twice = [&](ListOutStream& o) {
    o.putBeginOfList(), write(o), o.putEndOfList();
    write(o);
  };
  const std::u16string text = text_of(twice);
  for (std::size_t k = 0; k < text.size(); ++k) {
    for (const char16_t flip : {char16_t(0x01), char16_t(0x20), char16_t(0x7B ^ 0x2C), char16_t(0x8000)}) {
      std::u16string damaged = text;
      damaged[k] ^= flip;
      try {
        read_text(damaged, read);
      } catch (const ListStreamException&) {
      }
    }
  }
  const auto bytes = packed_of(twice);
  for (std::size_t k = 0; k < bytes.size(); ++k) {
    for (const std::uint8_t flip : {0x01, 0x10, 0x20, 0x80, 0xFF}) {
      auto damaged = bytes;
      damaged[k] ^= flip;
      try {
        read_packed(damaged, read);
      } catch (const ListStreamException&) {
      }
    }
  }
}

// ---- Files ------------------------------------------------------------------------------------------

std::string temp_path(const char* name) { return ::testing::TempDir() + "kern83-liststream-" + name; }

TEST(ListStreamFileTest, TextFilesInEachEncoding) {
  const std::u16string content = u"{\"Привет \U0001F600\",12.5}";
  for (const auto& [encoding, bom] : {std::pair{core::TextEncoding::Utf8, false},
                                      {core::TextEncoding::Utf8, true},
                                      {core::TextEncoding::Utf16LE, true}}) {
    SCOPED_TRACE(std::to_string(int(encoding)) + (bom ? " with BOM" : ""));
    {
      auto file = core::open_file(temp_path("t.txt"), core::FileMode::Write);
      auto writer = core::create_file_writer(file.get(), encoding, bom);
      ListOutStream out(writer.get());
      out.putBeginOfList(), out.put(u"Привет \U0001F600"), out.put(N("12.5")), out.putEndOfList();
      out.close();
    }
    auto file = core::open_file(temp_path("t.txt"), core::FileMode::Read);
    // 28 units, surrogates escaped: 34 bytes of UTF-8 (the Cyrillic letters take two), 56 of UTF-16.
    EXPECT_EQ(file->getSize(), encoding == core::TextEncoding::Utf8 ? 34u + (bom ? 3 : 0) : 2u + 56);
    auto reader = core::create_file_reader(file.get());
    ListInStream in(reader.get());
    avo::WString s;
    Numeric n;
    in.getBeginOfList(), in.get(s), in.get(n), in.getEndOfList();
    EXPECT_EQ(s, u"Привет \U0001F600");
    EXPECT_EQ(n, N("12.5"));
  }
  std::filesystem::remove(temp_path("t.txt"));
}

TEST(ListStreamFileTest, PackedFileRoundTripAndMissingFile) {
  const Items items = every_item();
  {
    auto file = core::open_file(temp_path("p.bin"), core::FileMode::Write);
    ListOutStream out(file.get());
    write_all(out, items);
    out.close();
  }
  auto file = core::open_file(temp_path("p.bin"), core::FileMode::Read);
  ListInStream in(file.get());
  read_all(in, items);
  std::filesystem::remove(temp_path("p.bin"));
  try {
    core::open_file(temp_path("missing"), core::FileMode::Read);
    ADD_FAILURE() << "opened a missing file";
  } catch (const core::FileException& e) {
    EXPECT_EQ(e.error(), core::FileException::NotFound);
  }
}

TEST(TextFileReaderTest, DecodesUtf8Leniently) {
  using namespace std::string_literals;
  struct Case {
    std::string bytes;
    std::u16string text;
  };
  const Case cases[] = {
      {"\xEF\xBB\xBF"
       "a"s,
       u"a"},
      {"\xFF\xFE"
       "a\0\x16\x04"s,
       u"aЖ"},
      {"\xFE\xFF"
       "\0a"s,
       u"a"},
      {"a\xC3"s, u"a\xFFFD"},                      // truncated sequence at the end
      {"\xE0\x80\x80z"s, u"\xFFFD\xFFFD\xFFFDz"},  // overlong: three maximal parts
      {"\xED\xA0\x80"s, u"\xFFFD\xFFFD\xFFFD"},    // an encoded surrogate
      {"\xF0\x9F\x98\x80"s, u"\U0001F600"},
      {"\xFF\xFE"
       "a\0b"s,
       u"a\xFFFD"},  // odd last byte of UTF-16
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.bytes);
    auto file = core::create_memory_file(c.bytes.data(), c.bytes.size());
    auto reader = core::create_file_reader(file.get());
    std::u16string got;
    for (int u; (u = reader->read()) != core::IReader::kEnd;) got.push_back(static_cast<char16_t>(u));
    EXPECT_EQ(got, c.text);
  }
}

// ---- Exceptions through the persistence storage -------------------------------------------------------

void expect_same_exception(const core::Exception& a, const core::Exception& b) {
  EXPECT_TRUE(a.clsid() == b.clsid());
  EXPECT_EQ(a.message(), b.message());
  EXPECT_EQ(a.messageKey(), b.messageKey());
  EXPECT_EQ(a.auxText(), b.auxText());
  EXPECT_EQ(a.auxText2(), b.auxText2());
  EXPECT_EQ(a.categories(), b.categories());
  EXPECT_TRUE(a.uiHelperUUID() == b.uiHelperUUID());
  EXPECT_EQ(a.isOnClientFromServer(), b.isOnClientFromServer());
  ASSERT_EQ(a.inner() == nullptr, b.inner() == nullptr);
  if (a.inner() != nullptr) expect_same_exception(a.inner()->exception(), b.inner()->exception());
}

TEST(ExceptionPersistenceTest, RoundTripKeepsEveryFieldAndTheChain) {
  const core::ListStreamException root;
  const core::NumericException middle(core::NumericException::Overflow, root.object().get());
  core::Exception top(u"top \"quoted\"", middle.object().get(), core::guid("e3b0c442-98fc-1c14-9afb-f4c8996fb924"),
                      core::Exception::categoryOf({core::Exception::NetworkError, core::Exception::UnsupportedFormat}),
                      u"aux");
  top.setAuxText2(u"aux2");
  top.setOnClientFromServer();

  for (const bool packed : {false, true}) {
    core::Exception back(u"placeholder");
    round_trip(
        packed, [&](ListOutStream& o) { top.serialize(core::create_out_persistence_storage(o).get()); },
        [&](ListInStream& in) { back.deserialize(core::create_in_persistence_storage(in).get()); });
    expect_same_exception(top, back);
    // The causes come back with their own classes.
    EXPECT_THROW(back.inner()->raise(), core::NumericException);
    EXPECT_THROW(back.inner()->exception().inner()->raise(), ListStreamException);
  }
}

TEST(ExceptionPersistenceTest, MalformedDataLeavesTheExceptionAsItWas) {
  core::Exception e(u"kept");
  const char16_t* bad[] = {u"{1,", u"{0}", u"{2,x}", u"{1,00000000-0000-0000-0000-000000000000,\"m\"}"};
  for (const char16_t* text : bad) {
    SCOPED_TRACE(utf8(text));
    auto reader = core::create_memory_reader(text);
    ListInStream in(reader.get());
    EXPECT_THROW(e.deserialize(core::create_in_persistence_storage(in).get()), ListStreamException);
    EXPECT_EQ(e.message(), u"kept");
  }
  // Causes nested beyond any sensible depth are refused, not followed down the stack.
  std::u16string deep;
  for (int k = 0; k < 300; ++k)
    deep +=
        u"{1,1b5ebc6a-85c8-4669-9c09-a3e06f696e12,\"\",\"\",\"\",\"\",0,"
        u"00000000-0000-0000-0000-000000000000,0,{1b5ebc6a-85c8-4669-9c09-a3e06f696e12,";
  auto reader = core::create_memory_reader(deep);
  ListInStream in(reader.get());
  EXPECT_THROW(e.deserialize(core::create_in_persistence_storage(in).get()), ListStreamException);
}

}  // namespace
