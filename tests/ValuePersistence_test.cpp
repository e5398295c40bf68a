#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "TestSupport.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/Value.h"

namespace {

using core::GenericValue;
using core::ListInStream;
using core::ListOutStream;
using core::Value;

Value adopt(core::IUnknown* object) {
  core::InterfacePtr<core::IValue> value = core::InterfacePtr<core::IUnknown>(object).query<core::IValue>();
  return Value(value.get());
}

template <class T>
Value from(const core::InterfacePtr<T>& made) {
  return adopt(made.get());
}

core::TypeDomainPattern pattern() {
  core::TypeDomainPattern p{core::Type(core::Type::Number), core::Type(core::Type::String),
                            core::Type(core::kUUIDTypeCLSID)};
  p.setNumericQualifiers({15, 2, true});
  p.setStringQualifiers({40, core::AllowedLength::Fixed});
  p.setDateQualifiers({core::DateFractions::Date});
  p.setBinaryQualifiers({16, core::AllowedLength::Variable});
  return p;
}

// One value of every kind that has a persistent form.
std::vector<Value> every_kind() {
  const core::GUID id = core::guid("71df1a80-0f8f-11d4-9853-008048da1252");
  return {
      Value(),
      Value(core::create_null_value(), core::adopt_ref),
      Value(true),
      Value(false),
      Value(7),
      Value(core::Numeric(-12345.67)),
      Value(u""),
      Value(u"text with \"quotes\" and \U0001F600"),
      Value(core::Date()),
      Value(core::Date(2024, 2, 29, 9, 30, 0)),
      Value(core::proceed_call_unspecified_value(), core::adopt_ref),
      from(core::create_uuid_value(id)),
      from(core::create_guid_value(id)),
      from(core::create_binary_data_val("\x00\x01\xff", 3)),
      from(core::create_binary_data_val(nullptr, 0)),
      from(core::create_local_str_val(core::LocalWString{{"en", u"Yes"}, {"ru", u"Да"}})),
      from(core::create_composite_id_val(core::CompositeID{id, core::kNullGuid})),
      from(core::create_type_domain_val(pattern())),
      from(core::create_type_domain_val(core::TypeDomainPattern())),
  };
}

core::InterfacePtr<core::IValueArray> array_of(const GenericValue& value) {
  return core::InterfacePtr<core::IValue>(value._getIValue()).query<core::IValueArray>();
}

// Arrays compare by identity; a copy read back is a new array, so compare them element by element.
bool same_contents(const GenericValue& a, const GenericValue& b) {
  const auto x = array_of(a);
  const auto y = array_of(b);
  if (!x || !y) return a.type() == b.type() && a.equals(b);
  if (x->getCount() != y->getCount()) return false;
  for (std::uint32_t i = 0; i < x->getCount(); ++i) {
    if (!same_contents(x->getAt(i), y->getAt(i))) return false;
  }
  return true;
}

// An array of every kind, a copy of itself one level down, and an empty array.
Value nested_arrays() {
  std::vector<Value> elements = every_kind();
  elements.push_back(from(core::create_value_array(every_kind())));
  elements.push_back(from(core::create_value_array()));
  return from(core::create_value_array(elements));
}

// The text form of `value`.
std::u16string text_of(const Value& value) {
  auto writer = core::MemoryWriter::create();
  ListOutStream out(writer.get());
  value.serialize(core::create_out_persistence_storage(out).get());
  out.flush();
  return std::u16string(writer->text());
}

void write_all(ListOutStream& out, const std::vector<Value>& values) {
  auto storage = core::create_out_persistence_storage(out);
  out.putBeginOfList();
  for (const Value& v : values) v.serialize(storage.get());
  out.putEndOfList();
}

std::vector<Value> read_all(ListInStream& in, std::size_t count) {
  auto storage = core::create_in_persistence_storage(in);
  std::vector<Value> values(count);
  in.getBeginOfList();
  for (Value& v : values) core::GenericValue::deserialize(storage.get(), v);
  in.getEndOfList();
  return values;
}

// Reads one value from its text form into `out`.
void read_into(std::u16string_view text, Value& out) {
  auto reader = core::create_memory_reader(text);
  ListInStream in(reader.get());
  GenericValue::deserialize(core::create_in_persistence_storage(in).get(), out);
}

// `values` written in the packed or the text encoding and read back.
std::vector<Value> round_trip(const std::vector<Value>& values, bool packed) {
  auto writer = core::MemoryWriter::create();
  auto file = core::create_memory_file();
  {
    ListOutStream out = packed ? ListOutStream(file.get()) : ListOutStream(writer.get());
    write_all(out, values);
    out.flush();
  }
  file->setPosition(0);
  auto reader = core::create_memory_reader(writer->text());
  ListInStream in = packed ? ListInStream(file.get()) : ListInStream(reader.get());
  return read_all(in, values.size());
}

TEST(ValuePersistenceTest, EveryKindRoundTripsThroughBothEncodings) {
  const std::vector<Value> values = every_kind();
  for (const bool packed : {false, true}) {
    SCOPED_TRACE(packed ? "packed" : "text");
    const std::vector<Value> back = round_trip(values, packed);
    for (std::size_t k = 0; k < values.size(); ++k) {
      SCOPED_TRACE(k);
      EXPECT_TRUE(values[k].type() == back[k].type());
      EXPECT_TRUE(back[k].equals(values[k]));
    }
  }
}

TEST(ValuePersistenceTest, ArraysKeepEveryElementThroughBothEncodings) {
  const std::vector<Value> values = {nested_arrays(), from(core::create_value_array())};
  for (const bool packed : {false, true}) {
    SCOPED_TRACE(packed ? "packed" : "text");
    const std::vector<Value> back = round_trip(values, packed);
    for (std::size_t k = 0; k < values.size(); ++k) {
      EXPECT_TRUE(same_contents(values[k], back[k])) << k;
      EXPECT_FALSE(back[k].equals(values[k])) << "a copy read back is a new array";
    }
  }
}

TEST(ValuePersistenceTest, TextLayoutOfEachKind) {
  struct Case {
    Value value;
    std::u16string text;
  };
  const Case cases[] = {
      {Value(), u"{0}"},
      {Value(core::create_null_value(), core::adopt_ref), u"{1}"},
      {Value(true), u"{2,1}"},
      {Value(core::Numeric(12.5)), u"{3,12.5}"},
      {Value(u"a\"b"), u"{4,\"a\"\"b\"}"},
      {Value(core::Date(2024, 2, 29, 9, 30, 0)), u"{5,20240229093000}"},
      {Value(core::Date()), u"{5,10101000000}"},
      {Value(core::proceed_call_unspecified_value(), core::adopt_ref), u"{1000}"},
      {from(core::create_uuid_value(core::guid("71df1a80-0f8f-11d4-9853-008048da1252"))),
       u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c01,71df1a80-0f8f-11d4-9853-008048da1252}"},
      {from(core::create_binary_data_val("abc", 3)), u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c03,YWJj}"},
      {from(core::create_local_str_val(core::LocalWString{{"en", u"Yes"}})),
       u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c04,\n{\"en\",\"Yes\"}\n}"},
      {from(core::create_value_array(std::vector<Value>{Value(1), from(core::create_value_array())})),
       u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08,\n{\n{3,1},\n{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08,\n{}\n}\n}"
       u"\n}"},
  };
  for (const Case& c : cases) EXPECT_EQ(text_of(c.value), c.text) << avo::to_std_utf8(text_of(c.value));
}

TEST(ValuePersistenceTest, MalformedInputLeavesTheHandleAsItWas) {
  const char16_t* bad[] = {
      u"{}",                                          // no kind
      u"{6}",                                         // no such kind
      u"{2,2}",                                       // not a boolean
      u"{5,20230229000000}",                          // 29 February of a common year
      u"{5,99999999999999999}",                       // year out of range
      u"{4,\"x\"",                                    // unclosed
      u"{100,00000000-0000-0000-0000-000000000001}",  // an object kind without a persistent form
      u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c06,{{6}},{0,0,0},{0,0},{0},{0,0}}",  // no type code 6
      u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c06,{{0}},{0,0,0},{0,0},{3},{0,0}}",  // date fractions 3
      u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08}",                                // no element list
      u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08,{3}}",                            // an element not a list
      u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08,{{3,1},{6}}}",                    // a bad element
      u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08,{{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08,{{5,1}}}}}",
  };
  for (const char16_t* text : bad) {
    SCOPED_TRACE(avo::to_std_utf8(text));
    Value kept(42);
    EXPECT_THROW(read_into(text, kept), core::ListStreamException);
    EXPECT_TRUE(kept.equals(42));
  }
}

TEST(ValuePersistenceTest, EveryTruncatedArrayIsAStreamError) {
  const std::u16string whole = text_of(nested_arrays());
  for (std::size_t cut = 0; cut < whole.size(); ++cut) {
    Value kept(42);
    EXPECT_THROW(read_into(std::u16string_view(whole).substr(0, cut), kept), core::ListStreamException) << cut;
    EXPECT_TRUE(kept.equals(42));
  }
}

// The data decides how deep arrays nest; reading and writing must not let it decide the stack's depth.
TEST(ValuePersistenceTest, ArraysNestOnlySoDeep) {
  const std::u16string head = u"{100,2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08,{";
  const auto nested = [&](int depth) {
    std::u16string text;
    for (int i = 0; i < depth; ++i) text += head;
    text += u"{0}";
    for (int i = 0; i < depth; ++i) text += u"}}";
    return text;
  };
  const auto read = [](const std::u16string& text) {
    Value out;
    read_into(text, out);
    return out;
  };
  EXPECT_NO_THROW(read(nested(256)));
  EXPECT_THROW(read(nested(257)), core::ListStreamException);
  EXPECT_THROW(read(nested(100000)), core::ListStreamException);
  EXPECT_NO_THROW(read(nested(10))) << "the depth count went back to zero";

  // An array that holds itself has no end to write.
  auto self = core::create_value_array();
  self->add(from(self));
  auto writer = core::MemoryWriter::create();
  ListOutStream out(writer.get());
  EXPECT_THROW(from(self).serialize(core::create_out_persistence_storage(out).get()),
               core::UnsupportedOperationException);
  self->clear();  // breaks the cycle so the array is freed
  EXPECT_NO_THROW(read(nested(256)));
}

TEST(ValuePersistenceTest, NewerWritersMayAppendItems) {
  auto reader = core::create_memory_reader(u"{3,5,\"later\",{1,2}},{2,1,{}}");
  ListInStream in(reader.get());
  auto storage = core::create_in_persistence_storage(in);
  Value a, b;
  core::GenericValue::deserialize(storage.get(), a);
  core::GenericValue::deserialize(storage.get(), b);
  EXPECT_TRUE(a.equals(5));
  EXPECT_TRUE(b.equals(true));
}

TEST(ValuePersistenceTest, AutomationObjectsHaveNoPersistentForm) {
  testing_support::RefCountedStub<> object;
  const Value wrapped(static_cast<core::IUnknown*>(&object));
  auto writer = core::MemoryWriter::create();
  ListOutStream out(writer.get());
  EXPECT_THROW(wrapped.serialize(core::create_out_persistence_storage(out).get()), core::UnsupportedOperationException);
  EXPECT_TRUE(writer->text().empty());
}

}  // namespace
