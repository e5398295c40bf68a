#include "core/Enum.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/Resources.h"
#include "core/Thread.h"

namespace {

using core::EnumValItem;
using core::GenericValue;
using core::Value;

constexpr core::GUID kHAlignCLSID = core::guid("7d0c5a11-4e2b-4f6a-9c3d-1b8e2f7a6c01");
constexpr core::GUID kVAlignCLSID = core::guid("7d0c5a11-4e2b-4f6a-9c3d-1b8e2f7a6c02");
constexpr core::GUID kUnregisteredCLSID = core::guid("7d0c5a11-4e2b-4f6a-9c3d-1b8e2f7a6c03");
constexpr core::GUID kDistinctCLSID = core::guid("7d0c5a11-4e2b-4f6a-9c3d-1b8e2f7a6c04");

const std::vector<EnumValItem>& halign_items() {
  using namespace core;
  static const auto* items = new std::vector<EnumValItem>{
      {0, kPropEnumValTermHAlignLeft[0], kPropEnumValTermHAlignLeft[1]},
      {1, kPropEnumValTermHAlignRight[0], kPropEnumValTermHAlignRight[1]},
      {2, kPropEnumValTermHAlignCenter[0], kPropEnumValTermHAlignCenter[1]},
      {3, kPropEnumValTermHAlignJustify[0], kPropEnumValTermHAlignJustify[1]},
      {4, kPropEnumValTermHAlignAuto[0], kPropEnumValTermHAlignAuto[1], true},
  };
  return *items;
}

const std::vector<EnumValItem>& valign_items() {
  using namespace core;
  static const auto* items = new std::vector<EnumValItem>{
      {0, kPropEnumValTermVAlignTop[0], kPropEnumValTermVAlignTop[1]},
      {1, kPropEnumValTermVAlignCenter[0], kPropEnumValTermVAlignCenter[1]},
      {2, kPropEnumValTermVAlignBottom[0], kPropEnumValTermVAlignBottom[1]},
  };
  return *items;
}

class SampleEnum : public core::EnumValFactoryTypeBase {
 public:
  SampleEnum(const core::GUID& clsid, const std::vector<EnumValItem>& items, int defaultNumber)
      : EnumValFactoryTypeBase(clsid) {
    setEnumValType(defaultNumber);
    for (const EnumValItem& item : items) addItem(item);
  }
  using EnumValFactoryTypeBase::addItem;
};

// Horizontal alignment has names in both languages and Center as its default value; vertical alignment
// only English names. Both live for the process, as enumerations do.
SampleEnum& halign() {
  static SampleEnum* e = [] {
    core::register_context_def_factory(kHAlignCLSID, [] { return core::create_enum_val_context_def(halign_items()); });
    auto* made = new SampleEnum(kHAlignCLSID, halign_items(), 2);
    made->__initEnumValFactoryType(u"HAlign", u"ГоризонтальноеПоложение", nullptr, nullptr);
    return made;
  }();
  return *e;
}

SampleEnum& valign() {
  static SampleEnum* e = [] {
    core::register_context_def_factory(kVAlignCLSID, [] { return core::create_enum_val_context_def(valign_items()); });
    auto* made = new SampleEnum(kVAlignCLSID, valign_items(), 0);
    made->__initEnumValFactoryType(u"VAlign", nullptr, u"VerticalAlign", u"");
    return made;
  }();
  return *e;
}

Value value_of(const core::IEnumValFactory& e, std::int32_t number) {
  return Value(e.createEnumValue(number), core::adopt_ref);
}

std::u16string u16(const avo::WString& text) { return std::u16string(std::u16string_view(text)); }

std::u16string str(const char16_t* text) { return text != nullptr ? text : u"<null>"; }

TEST(EnumValItemTest, TermStringIsNullForEmptyAndOutOfRangeStrings) {
  const EnumValItem full(3, u"Justify", u"ПоШирине", u"Width", u"Ширина");
  const EnumValItem englishOnly(5, u"Legacy", nullptr, true);
  const EnumValItem emptyRussian(6, u"Wide", u"");
  struct Row {
    const EnumValItem& item;
    int index;
    const char16_t* expected;
  } rows[] = {
      {full, 0, u"Justify"}, {full, 3, u"Ширина"},      {full, -1, nullptr},
      {full, 4, nullptr},    {englishOnly, 1, nullptr}, {emptyRussian, 1, nullptr},
  };
  for (const Row& row : rows) EXPECT_EQ(str(row.item.termString(row.index)), str(row.expected)) << row.index;
  EXPECT_FALSE(full.deprecated());
  EXPECT_TRUE(englishOnly.deprecated());
}

TEST(EnumTypeTest, TypeNamesTakePrefixesAndFallBackToEnglish) {
  halign(), valign();  // registers the value types before Type(clsid) could make plain ones
  const core::Type halignValues(kHAlignCLSID);
  const core::Type valignValues(kVAlignCLSID);
  core::EnumValFactoryTypeBase unnamed(kUnregisteredCLSID);
  unnamed.__initEnumValFactoryType(u"", nullptr, nullptr, nullptr);
  struct Row {
    const char16_t* actual;
    const char16_t* expected;
  } rows[] = {
      {halign().getTypeString(0), u"EnumHAlign"},
      {halign().getTypeString(1), u"ПеречислениеГоризонтальноеПоложение"},
      {halign().getTypeString(2), nullptr},
      {halignValues.getTypeString(0), u"HAlign"},
      {halignValues.getTypeString(1), u"ГоризонтальноеПоложение"},
      {valign().getTypeString(1), u"EnumVAlign"},  // no Russian name
      {valignValues.getTypeString(0), u"VerticalAlign"},
      {valignValues.getTypeString(1), u"VerticalAlign"},
      {unnamed.getTypeString(0), nullptr},
      {unnamed.getTypeString(1), nullptr},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) EXPECT_EQ(str(rows[i].actual), str(rows[i].expected)) << i;
}

TEST(EnumTypeTest, TypeIsRegisteredImmutableDefaultsToItsDefaultItemAndRefusesTakenNumbers) {
  core::IType* type = halign().getEnumValType();
  EXPECT_EQ(core::find_object_type(kHAlignCLSID), type);
  EXPECT_EQ(static_cast<core::EnumValTypeBase*>(type)->enumValFactory(),
            static_cast<core::IEnumValFactory*>(&halign()));
  EXPECT_FALSE(type->hasCtor(0));
  EXPECT_FALSE(type->isValueMutable());
  const Value fresh(type->createIValue(), core::adopt_ref);
  EXPECT_EQ(core::get_enum(fresh, kHAlignCLSID), 2);
  EXPECT_TRUE(fresh.type() == core::Type(kHAlignCLSID));
  EXPECT_THROW(halign().addItem(EnumValItem(1, u"Again", nullptr)), core::IllegalArgumentException);
  EXPECT_EQ(halign().getNItems(), 5);
}

TEST(EnumFactoryTest, ItemsAreReadOnlyPropertiesFoundByEitherName) {
  SampleEnum& e = halign();
  struct Row {
    const char16_t* name;
    std::int32_t number;
  } rows[] = {{u"left", 0}, {u"ЛЕВО", 0}, {u"Право", 1}, {u"ПОШИРИНЕ", 3}, {u"Авто", 4}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.number);
    const int prop = e.findProp(row.name);
    ASSERT_GE(prop, 0);
    Value v;
    ASSERT_TRUE(e.getPropVal(prop, v));
    EXPECT_EQ(core::get_enum(v, kHAlignCLSID), row.number);
    EXPECT_FALSE(e.isPropWritable(prop));
    EXPECT_FALSE(e.setPropVal(prop, v));
    core::PropInfo info;
    ASSERT_TRUE(e.getPropInfo(prop, info));
    EXPECT_TRUE(info.readable);
    EXPECT_FALSE(info.writable);
    EXPECT_EQ(info.category, 0);
    EXPECT_TRUE(info.types.isEmpty());
  }
  core::PropInfo info;
  EXPECT_FALSE(e.getPropInfo(e.getNProps(), info));
  EXPECT_FALSE(e.getPropInfo(-1, info));
  EXPECT_EQ(e.getPropCatagory(0), 0);
  EXPECT_EQ(e.findProp(u"Lef"), -1);
  Value untouched;
  EXPECT_FALSE(e.getPropVal(e.getNProps(), untouched));
  EXPECT_EQ(e.getNProps(), e.getNItems());
  EXPECT_EQ(e.createEnumValue(9), nullptr);
  core::EnumValFactoryTypeBase orphan(kUnregisteredCLSID);  // its definition class is not registered
  try {
    orphan.getNProps();
    FAIL();
  } catch (const core::SCOM_Exception& error) {
    EXPECT_EQ(error.reason(), core::SCOM_Exception::ClassNotRegistered);
  }
}

// A definition of two properties whose second one answers unlike an enumeration item.
struct DistinctDef : testing_support::RefCountedStub<core::ContextDefCore> {
  int getNProps() override { return 2; }
  bool isPropReadable(int p) override { return p == 0; }
  int getPropCatagory(int p) override { return p == 1 ? 3 : 0; }
  bool getPropInfo(int p, core::PropInfo& info) override {
    if (!IContextDef::getPropInfo(p, info)) return false;
    if (p == 1) info.types.addType(core::Type(core::Type::String));
    return true;
  }
};

TEST(EnumFactoryTest, PropertyInfoComesFromTheRegisteredDefinition) {
  static DistinctDef def;
  core::register_context_def_factory(kDistinctCLSID, [] { return core::InterfacePtr<core::IContextDef>(&def); });
  core::EnumValFactoryTypeBase e(kDistinctCLSID);
  core::PropInfo info;
  ASSERT_TRUE(e.getPropInfo(1, info));
  EXPECT_FALSE(info.readable);
  EXPECT_EQ(info.category, 3);
  EXPECT_TRUE(info.types.containsType(core::Type::String));
  EXPECT_EQ(e.getPropCatagory(1), 3);
  EXPECT_FALSE(e.getPropInfo(2, info));
  EXPECT_EQ(e.getPropCatagory(2), 0);
  core::register_context_def_factory(kDistinctCLSID, nullptr);
}

TEST(EnumValueTest, TextFollowsScriptLanguageAndResources) {
  core::IType* type = halign().getEnumValType();
  const int savedLanguage = core::current_thread()->getScriptLanguage();
  const EnumValItem wide(7, u"Wide", nullptr);
  const core::EnumValResource inet{"kern83", "IDS_ENUM_EXCEPTIONCATEGORY_INET", false};
  const core::EnumValResource missing{"kern83", "IDS_NO_SUCH_TEXT", false};
  const core::EnumValResource shownMissing{"kern83", "IDS_NO_SUCH_TEXT", true};
  struct Row {
    const char* name;
    EnumValItem item;
    core::EnumValResource resource;
    int language;
    const char* resourceLanguage;
    const char16_t* expected;
  } rows[] = {
      {"english", halign_items()[0], core::kEmtyEnumValResource, 0, "en", u"Left"},
      {"russian", halign_items()[0], core::kEmtyEnumValResource, 1, "en", u"Лево"},
      {"unknown language", halign_items()[0], core::kEmtyEnumValResource, 2, "en", u""},
      {"negative language", halign_items()[0], core::kEmtyEnumValResource, -1, "en", u""},
      {"no russian name", wide, core::kEmtyEnumValResource, 1, "en", u"Wide"},
      {"resource text", wide, inet, 1, "en", u"Network error"},
      {"resource in russian", wide, inet, 0, "ru", u"Сетевая ошибка"},
      {"resource beats unknown language", wide, inet, 2, "en", u"Network error"},
      {"missing text falls back", wide, missing, 0, "en", u"Wide"},
      {"missing text shows its key", wide, shownMissing, 0, "en", u"IDS_NO_SUCH_TEXT"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    core::current_thread()->setScriptLanguage(row.language);
    core::set_thread_resource_language(row.resourceLanguage);
    const Value v(new core::EnumValValueBase(type, row.item, row.resource));
    avo::WString text;
    EXPECT_TRUE(v.getString(text));
    EXPECT_EQ(u16(text), row.expected);
  }
  core::current_thread()->setScriptLanguage(savedLanguage);
  core::reset_thread_resource_language();
}

TEST(EnumValueTest, EqualityNeedsTheSameTypeObjectAndNumber) {
  core::IType* type = halign().getEnumValType();
  const Value left = value_of(halign(), 0);
  const Value leftCopy(new core::EnumValValueBase(type, EnumValItem(0, u"Other", u"Иное")));
  const Value right = value_of(halign(), 1);
  const Value top = value_of(valign(), 0);
  const Value zero(0);
  struct Row {
    const char* name;
    const Value& a;
    const Value& b;
    bool equal;
  } rows[] = {
      {"same number, other object", left, leftCopy, true},
      {"other number", left, right, false},
      {"other enumeration, same number", left, top, false},
      {"number with the same value", left, zero, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.a.equals(row.b), row.equal);
    EXPECT_EQ(row.b.equals(row.a), row.equal);
    if (row.equal) {
      EXPECT_EQ(row.a.hashCode(), row.b.hashCode());
    }
  }
  EXPECT_EQ(right.hashCode(), 1);
  EXPECT_EQ(*static_cast<const std::int32_t*>(right._getIValue()->getDataPtr()), 1);
  EXPECT_FALSE(static_cast<core::EnumValValueBase*>(left._getIValue())->isDefaultValue());
}

// Each item twice: as the bare number the type reads back, then as a whole value (class id and number).
TEST(EnumValueTest, RoundTripThroughBothEncodingsKeepsTheValue) {
  auto* type = static_cast<core::EnumValTypeBase*>(halign().getEnumValType());
  for (const bool packed : {false, true}) {
    SCOPED_TRACE(packed ? "packed" : "text");
    auto writer = core::MemoryWriter::create();
    auto file = core::create_memory_file();
    {
      core::ListOutStream out = packed ? core::ListOutStream(file.get()) : core::ListOutStream(writer.get());
      auto storage = core::create_out_persistence_storage(out);
      out.putBeginOfList();
      for (int i = 0; i < halign().getNItems(); ++i) {
        Value v;
        halign().getPropVal(i, v);
        static_cast<core::EnumValValueBase*>(v._getIValue())->serialize(storage.get());
        v.serialize(storage.get());
      }
      out.put(9);  // a number no item has
      out.putEndOfList();
      out.flush();
    }
    file->setPosition(0);
    auto reader = core::create_memory_reader(writer->text());
    core::ListInStream in = packed ? core::ListInStream(file.get()) : core::ListInStream(reader.get());
    auto storage = core::create_in_persistence_storage(in);
    in.getBeginOfList();
    for (int i = 0; i < halign().getNItems(); ++i) {
      SCOPED_TRACE(i);
      const Value back(type->deserialize(storage.get()), core::adopt_ref);
      EXPECT_EQ(core::get_enum(back, kHAlignCLSID), halign().getItem(i)->value());
      EXPECT_TRUE(back.equals(value_of(halign(), halign().getItem(i)->value())));
      Value whole;
      GenericValue::deserialize(storage.get(), whole);
      EXPECT_TRUE(whole.equals(back));
    }
    EXPECT_THROW(type->deserialize(storage.get()), core::ListStreamException);
  }
}

TEST(EnumFunctionsTest, GetEnumRaisesTheMismatchOfItsPlace) {
  Value left = value_of(halign(), 3);
  Value top = value_of(valign(), 3 - 1);
  Value undefined;
  Value number(3);
  std::vector<GenericValue*> params{&number, &top, &left, &undefined, nullptr};
  EXPECT_EQ(core::get_enum(left, kHAlignCLSID), 3);
  EXPECT_EQ(core::get_enum(params, 2, kHAlignCLSID), 3);
  EXPECT_EQ(core::get_enum_ctor(params, 1, kVAlignCLSID), 2);
  for (const Value* wrong : {&top, &number}) {
    try {
      core::get_enum(*wrong, kHAlignCLSID);
      FAIL();
    } catch (const core::ContextException& e) {
      EXPECT_EQ(e.messageKey(), "IDS_ERR_PROPERTY_TYPE_MISMATCH");
    }
  }
  for (const int index : {0, 1, 3, 4, 5, -1}) {
    SCOPED_TRACE(index);
    const std::u16string shown = index == -1 ? u"-1" : std::u16string(1, static_cast<char16_t>(u'0' + index));
    try {
      core::get_enum(params, index, kHAlignCLSID);
      FAIL();
    } catch (const core::ContextException& e) {
      EXPECT_EQ(e.messageKey(), "IDS_ERR_PARAMETER_TYPE_MISMATCH");
      EXPECT_EQ(u16(e.message()), u"Type mismatch in parameter " + shown);
    }
    try {
      core::get_enum_ctor(params, index, kHAlignCLSID);
      FAIL();
    } catch (const core::CtorException& e) {
      EXPECT_EQ(e.messageKey(), "IDS_ERR_CTOR_PARAMETER_TYPE_MISMATCH");
      EXPECT_NE(u16(e.message()).find(shown), std::u16string::npos);
    }
  }
  core::set_thread_resource_language("ru");
  try {
    core::parameter_type_mismatch(12);
    FAIL();
  } catch (const core::ContextException& e) {
    EXPECT_EQ(u16(e.message()), u"Несоответствие типа параметра 12");
  }
  core::reset_thread_resource_language();
}

TEST(EnumFunctionsTest, DefinedNeedsAnEntryThatIsNotUndefined) {
  Value a(1), b(2), undefined, null(core::create_null_value(), core::adopt_ref);
  struct Row {
    std::vector<GenericValue*> params;
    int index;
    bool expected;
  } rows[] = {
      {{&a, &b}, 2, false},  {{&a, &b, &undefined}, 2, false}, {{&a, &b, &null}, 2, true}, {{&a}, -1, false},
      {{nullptr}, 0, false},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i)
    EXPECT_EQ(core::defined(rows[i].params, rows[i].index), rows[i].expected) << i;
}

}  // namespace
