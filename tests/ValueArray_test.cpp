#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/Exception.h"
#include "core/Value.h"

namespace {

using core::InterfacePtr;
using core::IValueArray;
using core::Value;

constexpr core::GUID kCountedClass = core::guid("3b5e7a10-6c2d-4f8e-9a1b-2c3d4e5f6a70");

class CountedValue final : public core::ObjectValueCore {
 public:
  CountedValue() : ObjectValueCore(core::Type(kCountedClass).getIType()) {}
};

Value as_value(const InterfacePtr<IValueArray>& array) { return Value(array.query<core::IValue>().get()); }

std::vector<int> contents(const IValueArray& array) {
  std::vector<int> out;
  for (std::uint32_t i = 0; i < array.getCount(); ++i) {
    core::Numeric n;
    EXPECT_TRUE(array.getAt(i).getNumeric(n));
    long long whole = 0;
    n.toInteger(whole);
    out.push_back(static_cast<int>(whole));
  }
  return out;
}

TEST(ValueArray, ChangesFollowAVectorModel) {
  std::mt19937 random(83);
  InterfacePtr<IValueArray> array = core::create_value_array();
  std::vector<int> model;
  for (int step = 0; step < 4000; ++step) {
    const int value = static_cast<int>(random() % 1000);
    const auto size = static_cast<std::uint32_t>(model.size());
    // One index in range more often than not, sometimes one past or far past the end.
    const std::uint32_t index = random() % 8 == 0 ? size + random() % 3 : (size ? random() % size : 0);
    switch (random() % 5) {
      case 0:
        array->add(Value(value));
        model.push_back(value);
        break;
      case 1:
        if (index > size) {
          EXPECT_THROW(array->insert(index, Value(value)), core::IllegalArgumentException);
        } else {
          array->insert(index, Value(value));
          model.insert(model.begin() + index, value);
        }
        break;
      case 2:
        if (index >= size) {
          EXPECT_THROW(array->remove(index), core::IllegalArgumentException);
        } else {
          array->remove(index);
          model.erase(model.begin() + index);
        }
        break;
      case 3:
        if (index >= size) {
          EXPECT_THROW(array->setAt(index, Value(value)), core::IllegalArgumentException);
        } else {
          array->setAt(index, Value(value));
          model[index] = value;
        }
        break;
      default:
        if (index >= size) {
          EXPECT_THROW(array->getAt(index), core::IllegalArgumentException);
        } else {
          EXPECT_TRUE(array->getAt(index).equals(model[index]));
        }
    }
    ASSERT_EQ(array->getCount(), model.size()) << "step " << step;
    if (step % 500 == 0) {
      ASSERT_EQ(contents(*array), model) << "step " << step;
    }
  }
  EXPECT_EQ(contents(*array), model);
  array->clear();
  EXPECT_EQ(array->getCount(), 0u);
}

TEST(ValueArray, HoldsItsElementsByReference) {
  InterfacePtr<CountedValue> element(new CountedValue);
  const std::int32_t start = element->refCount();
  {
    InterfacePtr<IValueArray> array = core::create_value_array(std::vector<Value>{Value(element.get()), Value(1)});
    array->insert(0, Value(element.get()));
    array->add(Value(element.get()));
    EXPECT_EQ(element->refCount(), start + 3);
    array->setAt(1, Value(2));
    array->remove(0);
    EXPECT_EQ(element->refCount(), start + 1);
  }
  EXPECT_EQ(element->refCount(), start);
}

TEST(ValueArray, IsAMutableObjectKindEqualOnlyToItself) {
  InterfacePtr<IValueArray> a = core::create_value_array(std::vector<Value>{Value(1)});
  InterfacePtr<IValueArray> b = core::create_value_array(std::vector<Value>{Value(1)});
  const Value va = as_value(a);
  const Value vb = as_value(b);
  EXPECT_FALSE(va.equals(vb));
  EXPECT_TRUE(va.equals(as_value(a)));

  const core::Type type = va.type();
  EXPECT_EQ(type.getTypeCode(), core::Type::Object);
  EXPECT_TRUE(type.getCLSID() == core::kValueArrayTypeCLSID);
  EXPECT_TRUE(core::Type(core::kValueArrayTypeCLSID) == type);
  EXPECT_TRUE(type.getIType()->isValueMutable());
  avo::WString shown;
  EXPECT_TRUE(va.getString(shown));
  EXPECT_EQ(shown, u"Array");

  // The type's default is a new empty array each time, never a shared one that script code could fill.
  const Value made(type.createIValue(), core::adopt_ref);
  const Value other(type.createIValue(), core::adopt_ref);
  EXPECT_FALSE(made.equals(other));
  EXPECT_FALSE(core::value_is_filled(made));
  EXPECT_TRUE(core::value_is_filled(va));
  InterfacePtr<IValueArray> kind = InterfacePtr<core::IValue>(made._getIValue()).query<IValueArray>();
  ASSERT_TRUE(kind != nullptr);
  kind->add(Value(5));
  EXPECT_TRUE(core::value_is_filled(made));
}

}  // namespace
