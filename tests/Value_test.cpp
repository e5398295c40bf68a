#include "core/Value.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "charstream/StringStreams.h"
#include "core/Exception.h"
#include "core/Numeric.h"
#include "core/Resources.h"
#include "core/Thread.h"
#include "nexa/Memory.h"
#include "values/Builtins.h"

namespace {

using core::GenericValue;
using core::InterfacePtr;
using core::IType;
using core::IValue;
using core::Type;
using core::Value;
using core::WeakValue;

constexpr core::GUID kTestClass = core::guid("8f0c1d2e-3a4b-4c5d-9e6f-0a1b2c3d4e5f");
constexpr core::GUID kSomeId = core::guid("71df1a80-0f8f-11d4-9853-008048da1252");

// An object value that lets a test watch its reference count.
class CountingValue final : public core::ObjectValueCore {
 public:
  CountingValue() : ObjectValueCore(core::Type(kTestClass).getIType()) {}
};

// Holds one counting value for the whole test; the counts the test sees are relative to `start`.
struct Counted {
  InterfacePtr<CountingValue> object{new CountingValue};
  std::int32_t start = object->refCount();
  IValue* get() const { return object.get(); }
  std::int32_t extra() const { return object->refCount() - start; }
};

avo::WString text_of(const GenericValue& v) {
  avo::WString out = u"<unchanged>";
  EXPECT_TRUE(v.getString(out));
  return out;
}

std::string utf8(std::u16string_view s) { return avo::to_std_utf8(s); }

core::Numeric num(const char* text) {
  core::Numeric n;
  n.fromString(text);
  return n;
}

// True when `d` as every integer type gives the one shared value that `d` as an int gives.
template <class... Widths>
bool one_value_for_every_width(int d) {
  return ((core::create_numeric_value(static_cast<Widths>(d)) == core::create_numeric_value(d)) && ...);
}

// ---------------------------------------------------------------------------------------------------
// Types.

TEST(Type, CreateTypeAnswersSharedObjectsForBuiltinCodesOnly) {
  struct Row {
    int code;
    bool exists;
  };
  const Row rows[] = {{-1, false},  {0, true},     {1, true},          {2, true},         {3, true},    {4, true},
                      {5, true},    {6, false},    {99, false},        {100, false},      {101, false}, {999, false},
                      {1000, true}, {1001, false}, {INT32_MIN, false}, {INT32_MAX, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.code);
    IType* type = Type::create_type(row.code);
    EXPECT_EQ(type != nullptr, row.exists);
    if (type == nullptr) continue;
    EXPECT_EQ(type->getTypeCode(), row.code);
    EXPECT_EQ(Type::create_type(Type::Code(row.code)), type);  // one object per code
    EXPECT_EQ(type->getCLSID(), core::kNullGuid);
  }
}

TEST(Type, NamesComeInBothLanguages) {
  EXPECT_EQ(utf8(Type(Type::Number).getTypeString(0)), "Number");
  EXPECT_EQ(utf8(Type(Type::Number).getTypeString(1)), "Число");
  EXPECT_EQ(utf8(Type(Type::Undefined).getTypeString(1)), "Неопределено");
  EXPECT_EQ(utf8(Type(Type::Boolean).getTypeString(1)), "Булево");
  EXPECT_EQ(Type(Type::Boolean).getTypeString(2), nullptr);
  EXPECT_EQ(Type(Type::Boolean).getTypeString(-1), nullptr);
}

TEST(Type, ObjectTypesAreIdentifiedByClassGuid) {
  Type a(kTestClass);
  Type b(kTestClass);
  ASSERT_TRUE(a);
  EXPECT_EQ(a.getIType(), b.getIType());
  EXPECT_EQ(a.getTypeCode(), Type::Object);
  EXPECT_EQ(a.getCLSID(), kTestClass);
  EXPECT_NE(a, Type(core::guid("8f0c1d2e-3a4b-4c5d-9e6f-0a1b2c3d4e50")));
  EXPECT_NE(a, Type(Type::Undefined));
  EXPECT_TRUE(Type(core::kNullGuid).isEmpty());

  // The library's own kinds answer to their class GUIDs.
  Value uuid(core::create_uuid_value(kSomeId).get());
  EXPECT_EQ(uuid.type(), Type(core::kUUIDTypeCLSID));
  EXPECT_EQ(uuid.type().getIType(), core::find_object_type(core::kUUIDTypeCLSID));
}

TEST(Type, RegistrationRejectsConflictsAndNonObjectTypes) {
  const core::GUID clsid = core::guid("8f0c1d2e-3a4b-4c5d-9e6f-0a1b2c3d4e51");
  InterfacePtr<IType> mine(new core::ObjectTypeCore(clsid, u"Mine", u"Мой"));
  core::register_object_type(mine.get());
  core::register_object_type(mine.get());  // the same object again is fine
  EXPECT_EQ(core::find_object_type(clsid), mine.get());
  EXPECT_EQ(Type(clsid).getIType(), mine.get());
  EXPECT_EQ(utf8(Type(clsid).getTypeString(1)), "Мой");

  InterfacePtr<IType> other(new core::ObjectTypeCore(clsid, u"Other", nullptr));
  IType* rejected[] = {other.get(), nullptr, Type::create_type(Type::Number)};
  for (IType* type : rejected) {
    try {
      core::register_object_type(type);
      ADD_FAILURE() << "registered";
    } catch (const core::IllegalArgumentException& e) {
      EXPECT_EQ(e.messageKey(), "IDS_ERR_ILLEGAL_ARGUMENT");
      EXPECT_EQ(e.sourceFile(), "core/src/Type");
    }
  }
  // Russian falls back to English when the type has no Russian name.
  EXPECT_EQ(utf8(other->getTypeString(1)), "Other");
}

TEST(Type, RefusesQuestionsThatNeedATypeOrAConstructor) {
  Type none;
  EXPECT_EQ(none.getTypeString(0), nullptr);
  EXPECT_THROW((void)none.getTypeCode(), core::IllegalStateException);
  EXPECT_THROW((void)none.getCLSID(), core::IllegalStateException);
  EXPECT_THROW((void)none.createIValue(), core::IllegalStateException);
  EXPECT_EQ(none, Type());
  EXPECT_TRUE(Type(static_cast<IType*>(nullptr)).isEmpty());
  // Built-in types have no constructor.
  Type number(Type::Number);
  EXPECT_FALSE(number.getIType()->hasCtor(0));
  try {
    (void)number.ctor({});
    ADD_FAILURE() << "constructed";
  } catch (const core::UnsupportedOperationException& e) {
    EXPECT_EQ(e.messageKey(), "IDS_ERR_UNSUPPORTED_OPERATION");
  }
}

TEST(Type, DefaultValuesAreEmptyValuesOfTheKind) {
  for (int code : {0, 1, 4, 5, 1000}) {
    SCOPED_TRACE(code);
    Value v(Type::create_type(code)->createIValue(), core::adopt_ref);
    EXPECT_EQ(v.type().getTypeCode(), code);
    EXPECT_FALSE(core::value_is_filled(v));
  }
  Value boolean(Type(Type::Boolean).createIValue(), core::adopt_ref);
  EXPECT_TRUE(boolean.equals(false));
  for (const core::GUID& clsid :
       {core::kUUIDTypeCLSID, core::kGUIDTypeCLSID, core::kBinaryDataTypeCLSID, core::kLocalStringTypeCLSID,
        core::kCompositeIDTypeCLSID, core::kTypeDomainPatternTypeCLSID}) {
    SCOPED_TRACE(core::guid_to_string(clsid).size());
    Value v(Type(clsid).createIValue(), core::adopt_ref);
    EXPECT_EQ(v.type(), Type(clsid));
    EXPECT_FALSE(core::value_is_filled(v));
  }
}

// ---------------------------------------------------------------------------------------------------
// Singletons.

TEST(ValueSingletons, AreSharedAndNeverAllocate) {
  (void)Value::undefined();  // first use of the function-local statics happens outside the measurement
  (void)core::create_numeric_value(0);
  const auto before = nexa::thread_allocations();
  const auto freesBefore = nexa::thread_frees();
  for (int round = 0; round < 3; ++round) {
    for (int d = 0; d < 10; ++d) {
      SCOPED_TRACE(d);
      EXPECT_TRUE((one_value_for_every_width<signed char, unsigned char, short, unsigned short, unsigned, long,
                                             unsigned long, long long, unsigned long long>(d)));
      Value digit(d);
      EXPECT_EQ(digit._getIValue(), core::create_numeric_value(d));
      digit.assign(static_cast<long long>(d));
      EXPECT_EQ(digit._getIValue(), core::create_numeric_value(d));
    }
    Value zero(Type(Type::Number).createIValue(), core::adopt_ref);
    EXPECT_EQ(zero._getIValue(), core::create_numeric_value(0));
    Value noDate(Type(Type::Date).createIValue(), core::adopt_ref);
    Value u;
    Value n(nullptr);
    Value t = true;
    Value f(core::create_boolean_value(false), core::adopt_ref);
    Value e(u"");
    Value copy = t;
    copy.assign(false);
    copy.clear();
    copy = e;
    WeakValue w(t._getIValue());
    w.setIValue(f._getIValue());
    Value marker(core::proceed_call_unspecified_value(), core::adopt_ref);
    Value emptyDate{core::Date()};
    EXPECT_EQ(core::create_date_value(core::Date()), emptyDate._getIValue());
    EXPECT_EQ(noDate._getIValue(), emptyDate._getIValue());
    EXPECT_EQ(marker.type().getTypeCode(), Type::Unspecified);
    EXPECT_TRUE(u.equals(Value::undefined()));
    EXPECT_EQ(core::create_boolean_value(true), core::create_boolean_value(true));
    EXPECT_EQ(core::create_null_value(), core::create_null_value());
  }
  EXPECT_EQ(nexa::thread_allocations(), before);
  EXPECT_EQ(nexa::thread_frees(), freesBefore);
}

TEST(ValueSingletons, IgnoreReferenceCounts) {
  IValue* singletons[] = {core::create_undefined_value(),         core::create_null_value(),
                          core::create_boolean_value(true),       core::create_boolean_value(false),
                          core::proceed_call_unspecified_value(), core::create_string_value(u"")};
  for (IValue* v : singletons) {
    for (int i = 0; i < 5; ++i) v->Release();  // more releases than anybody took: still alive
    auto* impl = dynamic_cast<core::ValueImplBase*>(v);
    ASSERT_NE(impl, nullptr);
    EXPECT_TRUE(impl->isShared());
    EXPECT_EQ(impl->refCount(), 1);
    EXPECT_TRUE(v->isEqual(v));
  }
}

// ---------------------------------------------------------------------------------------------------
// Handles and reference counts.

TEST(ValueHandles, EveryOperationReturnsTheCountToItsStart) {
  Counted c;
  const std::function<void()> operations[] = {
      [&] { Value v(c.get()); },
      [&] {
        Value v(c.get());
        Value copy(v);
        Value moved(std::move(copy));
      },
      [&] {
        Value v(c.get());
        const Value& alias = v;
        v = alias;
      },
      [&] {
        Value v(c.get());
        Value& alias = v;
        v = std::move(alias);
        EXPECT_EQ(v._getIValue(), c.get());
      },
      [&] {
        Value v(c.get());
        v.setIValue(v._getIValue());
      },
      [&] {
        Value v(c.get());
        v.assign(static_cast<const GenericValue&>(v));
      },
      [&] {
        Value v(c.get());
        v.assign(true);
        v.assign(c.get());
        v.clear();
      },
      [&] {
        Value v(c.get());
        IValue* p = v.detachIValue();
        EXPECT_TRUE(core::is_undefined_value(v));
        p->Release();
      },
      [&] {
        Value v(c.get());
        InterfacePtr<IValue> p = v.getIValue();
      },
      [&] {
        Value v(c.get());
        Value other(u"other");
        other = v;
        v = other;
      },
      [&] {
        Value v(c.get());
        Value other;
        v.setIValueTo(other);
      },
      [&] {
        Value v(c.get());
        (void)v.type();
        (void)v.hashCode();
        (void)v.equals(c.get());
        (void)v.equals(v);
      },
      [&] { Value v(static_cast<core::IUnknown*>(static_cast<IValue*>(c.get()))); },
      [&] {
        WeakValue w(c.get());
        WeakValue copy(w);
        WeakValue moved(std::move(copy));
      },
      [&] {
        WeakValue w(c.get());
        w.setIValue(c.get());
        const WeakValue& alias = w;
        w = alias;
      },
      [&] {
        WeakValue w(c.get());
        IValue* p = w.detachIValue();
        p->Release();
      },
      [&] {
        Value v(c.get());
        WeakValue w(v);
        IValue* p = w.detachIValue();
        p->Release();
      },
      [&] {
        Value v(c.get());
        WeakValue w;
        w = v;
        Value back(w);
      },
      [&] {
        Value v;
        v.assign(static_cast<core::IUnknown*>(static_cast<IValue*>(c.get())));
      },
  };
  int index = 0;
  for (const auto& operation : operations) {
    SCOPED_TRACE(index++);
    operation();
    EXPECT_EQ(c.extra(), 0);
  }
}

TEST(ValueHandles, WeakValueBorrowsUntilItIsAssigned) {
  Counted c;
  Counted d;
  {
    WeakValue w(c.get());
    EXPECT_FALSE(w.ownsReference());
    EXPECT_EQ(c.extra(), 0);  // borrowing does not touch the counter
    w.setIValue(d.get());
    EXPECT_TRUE(w.ownsReference());
    EXPECT_EQ(c.extra(), 0);  // the borrowed value was not released either
    EXPECT_EQ(d.extra(), 1);
    w.setIValue(c.get());
    EXPECT_EQ(d.extra(), 0);  // owned values are released when replaced
    EXPECT_EQ(c.extra(), 1);
  }
  EXPECT_EQ(c.extra(), 0);

  WeakValue borrowed(c.get());
  WeakValue copy(borrowed);  // copies own their reference
  EXPECT_TRUE(copy.ownsReference());
  EXPECT_EQ(c.extra(), 1);
  WeakValue moved(std::move(borrowed));
  EXPECT_FALSE(moved.ownsReference());
  EXPECT_TRUE(core::is_undefined_value(borrowed));  // NOLINT(bugprone-use-after-move)
}

TEST(ValueHandles, NullPointersAndMovedFromHandlesGiveUndefined) {
  EXPECT_TRUE(Value(static_cast<IValue*>(nullptr)).equals(Value::undefined()));
  EXPECT_TRUE(core::is_undefined_value(Value(static_cast<core::IUnknown*>(nullptr))));
  Value v = true;
  v.setIValue(nullptr);
  EXPECT_TRUE(core::is_undefined_value(v));
  WeakValue w(nullptr);
  EXPECT_TRUE(core::is_undefined_value(w));
  EXPECT_TRUE(core::is_undefined_value(static_cast<IValue*>(nullptr)));
  EXPECT_FALSE(core::value_is_filled(static_cast<IValue*>(nullptr)));
  EXPECT_TRUE(Value(static_cast<const char16_t*>(nullptr)).equals(u""));

  Value a(u"text");
  Value b(std::move(a));
  EXPECT_TRUE(core::is_undefined_value(a));  // NOLINT(bugprone-use-after-move)
  a = std::move(b);
  EXPECT_TRUE(core::is_undefined_value(b));  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(a.equals(u"text"));
}

// ---------------------------------------------------------------------------------------------------
// Equality and hashing.

TEST(ValueEquality, ValuesOfDifferentKindsAreNeverEqual) {
  const Value values[] = {Value(),
                          Value(nullptr),
                          Value(core::create_null_value(), core::adopt_ref),
                          Value(true),
                          Value(false),
                          Value(u"true"),
                          Value(u""),
                          Value(1),
                          Value(0),
                          Value(core::proceed_call_unspecified_value(), core::adopt_ref),
                          Value(core::create_uuid_value(kSomeId).get()),
                          Value(core::create_guid_value(kSomeId).get())};
  for (std::size_t i = 0; i < std::size(values); ++i) {
    for (std::size_t j = 0; j < std::size(values); ++j) {
      SCOPED_TRACE(testing::Message() << i << " vs " << j);
      const bool sameKindAndPayload = (i == j) || (i <= 1 && j <= 1);  // Value() and Value(nullptr)
      EXPECT_EQ(values[i].equals(values[j]), sameKindAndPayload);
    }
  }
}

TEST(ValueEquality, EqualPayloadsAreEqualAndHashAlike) {
  const std::uint8_t bytes[] = {0, 1, 2, 255};
  core::LocalWString caption{{"en", u"Amount"}, {"ru", u"Сумма"}};
  core::LocalWString captionReversed{{"ru", u"Сумма"}, {"en", u"Amount"}};
  core::TypeDomainPattern pattern{Type(Type::Number), Type(Type::String)};
  core::TypeDomainPattern patternReversed{Type(Type::String), Type(Type::Number)};
  const auto of = [](const auto& made) { return Value(made.get()); };
  struct Row {
    const char* name;
    Value a, b, c;  // b: an equal payload in another object; c: another payload
  };
  const Row rows[] = {
      {"string", Value(u"Привет"), Value(std::u16string_view(u"Привет")), Value(u"привет")},
      {"uuid", of(core::create_uuid_value(kSomeId)), of(core::create_uuid_value(kSomeId)),
       of(core::create_uuid_value(kTestClass))},
      {"binary", of(core::create_binary_data_val(bytes, 4)), of(core::create_binary_data_val(bytes, 4)),
       of(core::create_binary_data_val(bytes, 3))},
      {"local string", of(core::create_local_str_val(caption)), of(core::create_local_str_val(captionReversed)),
       of(core::create_local_str_val(core::LocalWString{{"en", u"Amount"}}))},
      {"composite id", of(core::create_composite_id_val({kSomeId, kTestClass})),
       of(core::create_composite_id_val({kSomeId, kTestClass})),
       of(core::create_composite_id_val({kTestClass, kSomeId}))},
      {"type description", of(core::create_type_domain_val(pattern)), of(core::create_type_domain_val(patternReversed)),
       of(core::create_type_domain_val({Type(Type::Number)}))},
  };
  for (const auto& [name, a, b, c] : rows) {
    SCOPED_TRACE(name);
    EXPECT_NE(a._getIValue(), b._getIValue());
    EXPECT_TRUE(a.equals(b));
    EXPECT_TRUE(b.equals(a));
    EXPECT_EQ(a.hashCode(), b.hashCode());
    EXPECT_FALSE(a.equals(c));
    EXPECT_NE(a.hashCode(), c.hashCode());
  }
}

TEST(ValueEquality, ObjectValuesCompareAndHashByIdentity) {
  Counted first;
  Counted second;
  Value a(first.get());
  EXPECT_TRUE(a.equals(first.get()));
  EXPECT_FALSE(a.equals(second.get()));
  EXPECT_EQ(static_cast<std::uint32_t>(a.hashCode()), static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(
                                                          static_cast<core::ObjectValueCore*>(first.object.get()))));
  EXPECT_FALSE(a.equals(static_cast<IValue*>(nullptr)));
}

TEST(ValueEquality, StringComparisonIsExactAndHashesSpreadOverLengths) {
  EXPECT_TRUE(Value(u"abc").equals(u"abc"));
  EXPECT_FALSE(Value(u"abc").equals(u"ABC"));
  EXPECT_FALSE(Value(true).equals(u"true"));
  // Strings differing in one code unit at any position up to a few words long hash apart.
  std::u16string base(40, u'x');
  const std::int32_t baseHash = Value(base).hashCode();
  for (std::size_t i = 0; i < base.size(); ++i) {
    std::u16string changed = base;
    changed[i] = u'y';
    EXPECT_NE(Value(changed).hashCode(), baseHash) << i;
    EXPECT_NE(Value(base.substr(0, i)).hashCode(), baseHash) << i;
  }
}

// The hash reads a run's last 1-7 bytes with a few overlapping loads; it must give the hash of the bytes
// copied into a zeroed word, at every length and alignment (the hashes of stored strings stay the same).
TEST(ValueEquality, ByteHashMatchesTheWordwiseModelAtEveryLengthAndOffset) {
  auto model = [](const unsigned char* p, std::size_t size) {
    constexpr std::uint64_t kMul = 0x9E3779B97F4A7C15ull;
    std::uint64_t h = size * kMul;
    for (; size >= 8; p += 8, size -= 8) {
      std::uint64_t word;
      std::memcpy(&word, p, 8);
      h = std::rotl((h ^ word) * kMul, 29);
    }
    if (size > 0) {
      std::uint64_t word = 0;
      std::memcpy(&word, p, size);
      h = (h ^ word) * kMul;
    }
    for (std::uint64_t mul : {0xFF51AFD7ED558CCDull, 0xC4CEB9FE1A85EC53ull}) h = (h ^ (h >> 33)) * mul;
    return static_cast<std::uint32_t>(h ^ (h >> 33));
  };
  std::mt19937 random(17);
  unsigned char bytes[80];
  for (unsigned char& b : bytes) b = static_cast<unsigned char>(random());
  for (std::size_t offset = 0; offset < 8; ++offset) {
    for (std::size_t size = 0; size <= 64; ++size) {
      SCOPED_TRACE(testing::Message() << "offset " << offset << ", size " << size);
      EXPECT_EQ(core::detail::hash_bytes(bytes + offset, size), model(bytes + offset, size));
    }
  }
}

TEST(ValueEquality, AutomationObjectsAreWrappedOnceEach) {
  testing_support::RefCountedStub<> plain;
  {
    Value a(&plain);
    Value b(&plain);
    EXPECT_EQ(plain.refs, 3u);
    EXPECT_EQ(a.type().getTypeCode(), Type::Object);
    EXPECT_TRUE(a.type().getIType()->isCOMType());
    EXPECT_EQ(a._getIValue()->getDataPtr(), &plain);
    EXPECT_TRUE(a.equals(b));
    EXPECT_EQ(a.hashCode(), b.hashCode());
    bool out = true;
    EXPECT_FALSE(a.getBoolean(out));
    EXPECT_FALSE(out);
    EXPECT_EQ(utf8(text_of(a)), "COMObject");
  }
  EXPECT_EQ(plain.refs, 1u);
}

// ---------------------------------------------------------------------------------------------------
// Conversions and formats.

TEST(ValueConversions, StringsBecomeBooleansByTheBuiltInWords) {
  struct Row {
    const char16_t* text;
    bool converts;
    bool value;
  };
  const Row rows[] = {{u"true", true, true},  {u"FALSE", true, false}, {u"Истина", true, true},
                      {u"ЛОЖЬ", true, false}, {u"tru", false, false},  {u" true", false, false},
                      {u"", false, false},    {u"1", false, false},    {u"yes", false, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(utf8(row.text));
    bool out = !row.value;
    EXPECT_EQ(Value(row.text).getBoolean(out), row.converts);
    EXPECT_EQ(out, row.value);
  }
}

// The thread's own format (the setting of its Thread object), else the process default, else the built-in words.
TEST(ValueConversions, BoolFormatsOfTheThreadAndTheProcess) {
  core::set_process_bool_format(core::create_bool_format(u"Yes", u"No"));
  core::set_thread_bool_format(core::create_bool_format(u"Да", u"Нет"));
  ASSERT_NE(core::current_thread(), nullptr);
  EXPECT_EQ(core::current_thread()->getBoolFormat().query<core::BoolFormat>(), core::get_bool_format());
  bool out = false;
  EXPECT_TRUE(Value(u"да").getBoolean(out));
  EXPECT_TRUE(out);
  EXPECT_TRUE(Value(u"НЕТ").getBoolean(out));
  EXPECT_FALSE(out);
  EXPECT_TRUE(Value(u"true").getBoolean(out));  // the built-in words stay understood
  EXPECT_EQ(utf8(text_of(Value(true))), "Да");

  // A foreign thread has no format of its own; a library thread has the one its object was given.
  std::string foreign, library;
  std::thread([&] { foreign = utf8(text_of(Value(false))); }).join();
  core::SharedPtr<core::Thread> worker = core::create_thread([&] { library = utf8(text_of(Value(false))); });
  core::BoolFormatPtr format = core::create_bool_format(u"Ja", u"Nein");
  worker->setBoolFormat(format.get());
  worker->start();
  worker->join();
  EXPECT_EQ(foreign, "No");
  EXPECT_EQ(library, "Nein");

  core::reset_thread_bool_format();
  EXPECT_FALSE(Value(u"да").getBoolean(out));
  EXPECT_EQ(utf8(text_of(Value(true))), "Yes");
  core::set_process_bool_format(nullptr);
  EXPECT_FALSE(core::current_thread()->getBoolFormat());
  EXPECT_EQ(utf8(text_of(Value(false))), "false");
  // Something that is not a format counts as no setting.
  Value notAFormat(u"x");
  core::current_thread()->setBoolFormat(notAFormat._getIValue());
  EXPECT_EQ(utf8(text_of(Value(true))), "true");
  core::current_thread()->resetBoolFormat();
}

TEST(ValueConversions, KindMismatchesFailWithNeutralResults) {
  const Value values[] = {Value(), Value(u"not a boolean"), Value(core::create_uuid_value(kSomeId).get())};
  for (const Value& v : values) {
    bool b = true;
    EXPECT_FALSE(v.getBoolean(b));
    EXPECT_FALSE(b);
  }
  EXPECT_EQ(utf8(text_of(Value())), "");
  EXPECT_EQ(utf8(text_of(Value(u"text"))), "text");
  EXPECT_EQ(utf8(text_of(Value(core::create_uuid_value(kSomeId).get()))), "71df1a80-0f8f-11d4-9853-008048da1252");
}

TEST(ValueConversions, PresentationFollowsTheResourceLanguage) {
  core::LocalWString caption{{"en", u"Amount"}, {"ru", u"Сумма"}};
  Value local(core::create_local_str_val(caption).get());
  Value pattern(core::create_type_domain_val({Type(Type::Number), Type(Type::String)}).get());
  Value binary(core::create_binary_data_val("ab", 2).get());
  EXPECT_EQ(utf8(text_of(local)), "Amount");
  EXPECT_EQ(utf8(text_of(pattern)), "Number, String");
  EXPECT_EQ(utf8(text_of(binary)), "BinaryData");
  core::set_thread_resource_language("ru");
  EXPECT_EQ(utf8(text_of(local)), "Сумма");
  EXPECT_EQ(utf8(text_of(pattern)), "Число, Строка");
  EXPECT_EQ(utf8(text_of(binary)), "ДвоичныеДанные");
  core::reset_thread_resource_language();
}

TEST(NumericFormat, GroupsIntegerDigitsAndReplacesThePoint) {
  const core::NumericFormat canonical;
  const core::NumericFormat russian(u',', u' ');
  const core::NumericFormat comma(u',');
  struct Row {
    const char16_t* canonical;
    const char* russian;
    const char* comma;
  };
  const Row rows[] = {
      {u"0", "0", "0"},
      {u"-0.25", "-0,25", "-0,25"},
      {u"123", "123", "123"},
      {u"1234", "1 234", "1234"},
      {u"-1234567.125", "-1 234 567,125", "-1234567,125"},
      {u"100000000000000000000", "100 000 000 000 000 000 000", "100000000000000000000"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(utf8(row.canonical));
    EXPECT_EQ(canonical.apply(row.canonical), std::u16string(row.canonical));
    EXPECT_EQ(utf8(russian.apply(row.canonical)), row.russian);
    EXPECT_EQ(utf8(comma.apply(row.canonical)), row.comma);
  }
}

// ---------------------------------------------------------------------------------------------------
// Numbers.

// Numbers other than the digits are new values whatever argument makes them; equal numbers are equal and
// hash alike however they were made.
TEST(ValueNumbers, EqualNumbersAreEqualAndHashAlikeHoweverMade) {
  const auto number = [](auto x) { return Value(core::create_numeric_value(x), core::adopt_ref); };
  const std::vector<std::vector<Value>> groups = {
      {number(static_cast<signed char>(-1)), number(short{-1}), number(-1), number(-1L), number(-1LL)},
      {number(10), number(static_cast<unsigned char>(10)), number(10ULL), number(10.0), number(core::Numeric(10)),
       Value(10ULL)},
      {number(std::numeric_limits<long long>::min()), Value(num("-9223372036854775808"))},
      {Value(-1234567890123LL), Value(num("-1234567890123")), Value(-1234567890123.0)},
      {Value(0.5), Value(num(".5")), Value(num("0.50"))},
      {Value(1e20), Value(num("100000000000000000000"))},
      {Value(num("123456789012345678901234567890.000000001")),
       Value(num("0123456789012345678901234567890.0000000010"))},
      {Value(1), Value(1.0), Value(num("1.000"))},  // the digit's shared value and new ones
  };
  for (std::size_t g = 0; g < groups.size(); ++g) {
    for (std::size_t i = 0; i < groups[g].size(); ++i) {
      SCOPED_TRACE(testing::Message() << "group " << g << " member " << i);
      const Value& v = groups[g][i];
      EXPECT_EQ(v.type().getTypeCode(), Type::Number);
      EXPECT_TRUE(v.equals(groups[g][0]));
      EXPECT_EQ(v.hashCode(), groups[g][0].hashCode());
      EXPECT_TRUE(i == 0 || v._getIValue() != groups[g][0]._getIValue()) << "a new value";
      for (std::size_t other = 0; other < groups.size(); ++other) {
        EXPECT_TRUE(other == g || !v.equals(groups[other][0])) << "equals group " << other;
      }
    }
  }
  // The hash is the number's own.
  const core::Numeric n = num("-98765432109876543210.123456789123");
  EXPECT_EQ(Value(n).hashCode(), n.hashCode());
}

TEST(ValueNumbers, EqualsOverloadsCompareWithoutAllocating) {
  const Value big(num("12345678901234567890"));
  const Value ten(10);
  const Value half(0.5);
  const Value one(u"1");
  const auto before = nexa::thread_allocations();
  EXPECT_TRUE(big.equals(12345678901234567890ULL));
  EXPECT_FALSE(big.equals(static_cast<long long>(1234567890123456789LL)));
  const auto tenEquals = [&](auto... v) { return (ten.equals(v) && ...); };
  EXPECT_TRUE(tenEquals(static_cast<signed char>(10), static_cast<unsigned char>(10), short{10},
                        static_cast<unsigned short>(10), 10U, 10L, 10UL, 10LL, 10.0));
  EXPECT_FALSE(ten.equals(-10));
  // Numbers and booleans are different kinds, and text is no number.
  EXPECT_FALSE(Value(1).equals(true));
  EXPECT_FALSE(Value(true).equals(1));
  EXPECT_FALSE(Value(0).equals(false));
  EXPECT_FALSE(one.equals(1));
  EXPECT_TRUE(half.equals(0.5));
  EXPECT_FALSE(half.equals(0));
  EXPECT_EQ(nexa::thread_allocations(), before);
}

TEST(ValueNumbers, ConvertToAndFromText) {
  const Value n(num("-1234567.125"));
  EXPECT_EQ(utf8(text_of(n)), "-1234567.125");
  core::set_thread_numeric_format(core::create_numeric_format(u',', u' '));
  EXPECT_EQ(utf8(text_of(n)), "-1 234 567,125");
  core::reset_thread_numeric_format();
  EXPECT_EQ(utf8(text_of(Value(100))), "100");

  struct Row {
    const char16_t* text;
    bool converts;
    const char* value;
  };
  const Row rows[] = {{u"  12.50 ", true, "12.5"}, {u"+7", true, "7"},   {u"-0.25", true, "-0.25"},
                      {u"007", true, "7"},         {u"12x", false, "0"}, {u"", false, "0"},
                      {u"-", false, "0"},          {u".", false, "0"},   {u"1e5", false, "0"},
                      {u"1 000", false, "0"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(utf8(row.text));
    core::Numeric out(99);
    EXPECT_EQ(Value(row.text).getNumeric(out), row.converts);
    EXPECT_EQ(out.compare(num(row.value)), 0) << out;
  }
  const Value embeddedZero(std::u16string_view(u"12\0", 3));
  core::Numeric out(99);
  EXPECT_FALSE(embeddedZero.getNumeric(out));

  bool b = false;
  EXPECT_TRUE(Value(num("0.001")).getBoolean(b));
  EXPECT_TRUE(b);
  EXPECT_TRUE(Value(0).getBoolean(b));
  EXPECT_FALSE(b);
  EXPECT_TRUE(Value(true).getNumeric(out));
  EXPECT_EQ(out.compare(1), 0);
  EXPECT_FALSE(Value().getNumeric(out));
  EXPECT_TRUE(out.isZero());
  out = 5;
  EXPECT_FALSE(Value(core::create_uuid_value(kSomeId).get()).getNumeric(out));
  EXPECT_TRUE(out.isZero());
}

TEST(ValueDates, DatesAreNewValuesEqualByTheirTicks) {
  const core::Date date(2026, 2, 28, 9, 30, 5);
  Value a(date);
  Value b(date);
  EXPECT_NE(a._getIValue(), b._getIValue());
  EXPECT_TRUE(a.equals(b));
  EXPECT_EQ(a.hashCode(), b.hashCode());
  EXPECT_TRUE(a.equals(date));
  EXPECT_FALSE(a.equals(core::Date::from_ticks(date.getTicks() + 1)));
  EXPECT_FALSE(Value(u"20260228093005").equals(date));
  EXPECT_EQ(a.type().getTypeCode(), Type::Date);
}

TEST(ValueDates, ConvertToAndFromText) {
  EXPECT_EQ(utf8(text_of(Value(core::Date(2026, 2, 28, 9, 30, 5)))), "2026-02-28 09:30:05");
  EXPECT_EQ(utf8(text_of(Value(core::Date()))), "0001-01-01 00:00:00");
  EXPECT_EQ(utf8(text_of(Value(core::Date::max()))), "9999-12-31 23:59:59");

  struct Row {
    const char16_t* text;
    bool converts;
    core::Date date;
  };
  const Row rows[] = {
      {u"20260228", true, core::Date(2026, 2, 28)}, {u" 20260228093005\n", true, core::Date(2026, 2, 28, 9, 30, 5)},
      {u"20260229", false, core::Date()},       // not a leap year
      {u"2026022809300", false, core::Date()},  // 13 digits
      {u"2026-02-28", false, core::Date()},         {u"", false, core::Date()},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(utf8(row.text));
    core::Date out(2000, 1, 1);
    EXPECT_EQ(Value(row.text).getDate(out), row.converts);
    EXPECT_EQ(out, row.date);
  }
  core::Date out(2000, 1, 1);
  EXPECT_FALSE(Value(true).getDate(out));
  EXPECT_TRUE(out.isEmpty());
}

// ---------------------------------------------------------------------------------------------------
// Predicates.

TEST(ValuePredicates, NullOrUndefined) {
  EXPECT_TRUE(core::is_null_or_undefined_value(Value(core::create_null_value(), core::adopt_ref)));
  EXPECT_FALSE(core::is_undefined_value(Value(core::create_null_value(), core::adopt_ref)));
  EXPECT_TRUE(core::is_null_or_undefined_value(Value()));
  EXPECT_FALSE(core::is_null_or_undefined_value(Value(false)));
  EXPECT_FALSE(core::is_null_or_undefined_value(Value(u"")));
  EXPECT_FALSE(core::is_undefined_value(Value(core::proceed_call_unspecified_value(), core::adopt_ref)));
}

TEST(ValuePredicates, FilledFollowsEachKindsRule) {
  const std::uint8_t byte = 7;
  Counted object;
  struct Row {
    const char* name;
    Value value;
    bool filled;
  };
  const Row rows[] = {
      {"undefined", Value(), false},
      {"null", Value(core::create_null_value(), core::adopt_ref), false},
      {"unspecified", Value(core::proceed_call_unspecified_value(), core::adopt_ref), false},
      {"false", Value(false), true},
      {"true", Value(true), true},
      {"empty string", Value(u""), false},
      {"blank string", Value(u" "), true},
      {"string", Value(u"x"), true},
      {"zero", Value(0), false},
      {"zero with a fraction", Value(num("0.000")), false},
      {"minus one", Value(-1), true},
      {"a millionth", Value(num("0.000001")), true},
      {"empty date", Value(core::Date()), false},
      {"largest date", Value(core::Date::max()), true},
      {"null uuid", Value(core::create_uuid_value(core::kNullGuid).get()), false},
      {"uuid", Value(core::create_uuid_value(kSomeId).get()), true},
      {"null guid", Value(core::create_guid_value(core::kNullGuid).get()), false},
      {"empty binary", Value(core::create_binary_data_val(nullptr, 0).get()), false},
      {"binary", Value(core::create_binary_data_val(&byte, 1).get()), true},
      {"empty local string", Value(core::create_local_str_val(core::LocalWString{{"en", u""}}).get()), false},
      {"local string", Value(core::create_local_str_val(core::LocalWString{{"ru", u"x"}}).get()), true},
      {"empty composite id", Value(core::create_composite_id_val({}).get()), false},
      {"composite id", Value(core::create_composite_id_val({core::kNullGuid}).get()), true},
      {"empty pattern", Value(core::create_type_domain_val({}).get()), false},
      {"pattern", Value(core::create_type_domain_val({Type(Type::Null)}).get()), true},
      {"object", Value(object.get()), true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(core::value_is_filled(row.value), row.filled);
  }
}

TEST(BinaryData, ReadsTheRestOfAReaderAsUtf16LittleEndian) {
  InterfacePtr<core::IReader> reader = core::detail::create_string_reader(u"xA\u00e9\u20ac");
  ASSERT_EQ(reader->read(), u'x');
  InterfacePtr<core::IBinaryDataValue> data = core::create_binary_data_val(reader.get());
  const std::string expected("\x41\x00\xe9\x00\xac\x20", 6);
  EXPECT_EQ(std::string(data->getBytes().data(), data->getSize()), expected);
  EXPECT_TRUE(reader->atEnd());

  // Longer than one read run, and an exact multiple of it.
  for (int length : {core::IReader::kMaxRun * 2 + 1, core::IReader::kMaxRun}) {
    SCOPED_TRACE(length);
    const std::size_t units = static_cast<std::size_t>(length);
    std::u16string text(units, u'\u0102');
    InterfacePtr<core::IBinaryDataValue> long_data =
        core::create_binary_data_val(core::detail::create_string_reader(text).get());
    ASSERT_EQ(long_data->getSize(), 2 * units);
    EXPECT_EQ(long_data->getData()[2 * units - 2], 0x02);
    EXPECT_EQ(long_data->getData()[2 * units - 1], 0x01);
  }
  try {
    (void)core::create_binary_data_val(static_cast<core::IReader*>(nullptr));
    ADD_FAILURE() << "made from a null reader";
  } catch (const core::IllegalArgumentException& e) {
    EXPECT_EQ(e.messageKey(), "IDS_ERR_ILLEGAL_ARGUMENT");
  }
}

TEST(BinaryData, ReadsTheRestOfAFileOrTheFileAUrlNames) {
  std::string content(40000, '\0');  // more than one read chunk
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
  InterfacePtr<core::IMemoryFile> memory = core::create_memory_file(content.data(), content.size());
  memory->setPosition(3);
  InterfacePtr<core::IBinaryDataValue> rest = core::create_binary_data_val(static_cast<core::IFile*>(memory.get()));
  EXPECT_EQ(std::string(rest->getBytes().data(), rest->getSize()), content.substr(3));

  const std::string path = ::testing::TempDir() + "kern83_binary_data.bin";
  {
    InterfacePtr<core::IFileEx> file = core::open_file(path, core::FileMode::Write);
    file->write(content.data(), content.size());
  }
  const avo::WString wide = avo::from_utf8(path);
  for (const avo::WString& url : {wide, avo::WString(u"file://") + wide}) {
    InterfacePtr<core::IBinaryDataValue> data = core::create_binary_data_val(core::URL(url));
    EXPECT_EQ(std::string(data->getBytes().data(), data->getSize()), content);
  }
  EXPECT_THROW(core::create_binary_data_val(core::URL(wide + u".missing")), core::FileException);
  EXPECT_THROW(core::create_binary_data_val(core::URL(u"http://example.org/x")), core::IllegalArgumentException);
  EXPECT_THROW(core::create_binary_data_val(static_cast<core::IFile*>(nullptr)), core::IllegalArgumentException);
}

// ---------------------------------------------------------------------------------------------------
// The small types behind the further kinds.

TEST(LocalWString, FallsBackToEnglishThenToTheFirstText) {
  core::LocalWString s{{"ru", u"Сумма"}, {"en", u"Amount"}};
  EXPECT_EQ(utf8(s.get("ru")), "Сумма");
  EXPECT_EQ(utf8(s.get("de")), "Amount");
  EXPECT_TRUE(s.remove("en"));
  EXPECT_FALSE(s.remove("en"));
  EXPECT_EQ(utf8(s.get("de")), "Сумма");
  s.set("ru", u"Итог");
  EXPECT_EQ(s.size(), 1u);
  EXPECT_EQ(utf8(s.get("ru")), "Итог");
  EXPECT_EQ(core::LocalWString().get("en").size(), 0u);
  EXPECT_EQ(s.find("en"), nullptr);
}

TEST(CompositeID, TextFormRoundTripsAndRejectsMalformedText) {
  const core::CompositeID id{kSomeId, kTestClass};
  core::CompositeID back;
  ASSERT_TRUE(core::CompositeID::fromString(id.toString(), back));
  EXPECT_EQ(back, id);
  ASSERT_TRUE(core::CompositeID::fromString(u"", back));
  EXPECT_TRUE(back.empty());

  const std::u16string good = std::u16string(id.toString());
  const std::u16string bad[] = {good + u":", good.substr(0, 36) + u";" + good.substr(37), good.substr(1), u":" + good,
                                good.substr(0, 40)};
  for (const std::u16string& text : bad) {
    SCOPED_TRACE(utf8(text));
    core::CompositeID out{kSomeId};
    EXPECT_FALSE(core::CompositeID::fromString(text, out));
    EXPECT_EQ(out, core::CompositeID{kSomeId});
  }
}

TEST(TypeDomainPattern, AnswersWhatValueTableColumnsAsk) {
  core::TypeDomainPattern none;
  EXPECT_TRUE(none.isEmpty());
  EXPECT_FALSE(none.hasSeveralTypes());

  core::TypeDomainPattern stringAndDate{Type(Type::String), Type(Type::Date), Type(Type::String), Type()};
  EXPECT_EQ(stringAndDate.typeCount(), 2u);  // the duplicate and the empty handle are dropped
  EXPECT_TRUE(stringAndDate.hasSeveralTypes());
  EXPECT_FALSE(stringAndDate.containsType(Type::Number));
  EXPECT_TRUE(stringAndDate.containsType(Type(Type::Date)));
  EXPECT_TRUE(core::is_undefined_value(Value(stringAndDate.createDefaultValue(), core::adopt_ref)));

  core::TypeDomainPattern text{Type(Type::String)};
  text.setStringQualifiers({10, core::AllowedLength::Fixed});
  Value empty(text.createDefaultValue(), core::adopt_ref);
  EXPECT_TRUE(empty.equals(u""));

  core::TypeDomainPattern objects{Type(kTestClass)};
  EXPECT_TRUE(objects.containsType(Type::Object));
  EXPECT_TRUE(objects.removeType(Type(kTestClass)));
  EXPECT_FALSE(objects.removeType(Type(kTestClass)));

  // Equality sees the qualifiers.
  core::TypeDomainPattern otherLength = text;
  EXPECT_EQ(otherLength, text);
  otherLength.setStringQualifiers({11, core::AllowedLength::Fixed});
  EXPECT_NE(otherLength, text);
}

}  // namespace
