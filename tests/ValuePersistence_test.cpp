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

TEST(ValuePersistenceTest, EveryKindRoundTripsThroughBothEncodings) {
  const std::vector<Value> values = every_kind();
  for (const bool packed : {false, true}) {
    SCOPED_TRACE(packed ? "packed" : "text");
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
    const std::vector<Value> back = read_all(in, values.size());
    for (std::size_t k = 0; k < values.size(); ++k) {
      SCOPED_TRACE(k);
      EXPECT_TRUE(values[k].type() == back[k].type());
      EXPECT_TRUE(back[k].equals(values[k]));
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
  };
  for (const Case& c : cases) {
    auto writer = core::MemoryWriter::create();
    ListOutStream out(writer.get());
    c.value.serialize(core::create_out_persistence_storage(out).get());
    EXPECT_EQ(writer->text(), c.text);
  }
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
  };
  for (const char16_t* text : bad) {
    SCOPED_TRACE(avo::to_std_utf8(text));
    auto reader = core::create_memory_reader(text);
    ListInStream in(reader.get());
    Value kept(42);
    EXPECT_THROW(core::GenericValue::deserialize(core::create_in_persistence_storage(in).get(), kept),
                 core::ListStreamException);
    EXPECT_TRUE(kept.equals(42));
  }
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
