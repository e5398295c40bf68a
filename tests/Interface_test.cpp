// RefCountedUnknown: where the count starts, what QueryInterface answers and how the last Release destroys.
#include "core/Interface.h"

#include <gtest/gtest.h>

#include <string>

#include "nexa/Memory.h"

namespace {

using core::GUID;
using core::IUnknown;

struct IShape : IUnknown {
  static constexpr GUID IID = core::guid("9a0e5f14-2b7c-4d3e-8f61-0c5d4b3a2e01");
  virtual int corners() const = 0;

 protected:
  ~IShape() = default;
};

struct ISquare : IShape {
  static constexpr GUID IID = core::guid("9a0e5f14-2b7c-4d3e-8f61-0c5d4b3a2e02");
  virtual int side() const = 0;

 protected:
  ~ISquare() = default;
};

// A second base: its subobject sits at another address than the first base's.
struct ILabel : IUnknown {
  static constexpr GUID IID = core::guid("9a0e5f14-2b7c-4d3e-8f61-0c5d4b3a2e03");
  virtual const std::string& label() const = 0;

 protected:
  ~ILabel() = default;
};

constexpr GUID kUnanswered = core::guid("9a0e5f14-2b7c-4d3e-8f61-0c5d4b3a2e04");

template <std::int32_t Initial>
class Square final : public core::RefCountedUnknown<Initial, core::Answers<ISquare, IShape, ILabel, Square<Initial>>,
                                                    ISquare, ILabel, nexa::Allocated> {
 public:
  static constexpr GUID IID = core::guid("9a0e5f14-2b7c-4d3e-8f61-0c5d4b3a2e05");

  explicit Square(int& destroyed) : destroyed_(destroyed) {}

  int corners() const override { return 4; }
  int side() const override { return 2; }
  const std::string& label() const override { return label_; }

 private:
  ~Square() override { ++destroyed_; }

  int& destroyed_;
  // Long enough to live on the heap: a destruction that skipped this destructor would leak it.
  std::string label_ = std::string(40, 'q');
};

TEST(RefCountedUnknown, CountStartsWhereTheClassSaysAndTheLastReleaseDestroysOnce) {
  int destroyed = 0;
  auto* fresh = new Square<0>(destroyed);  // nobody holds it yet
  EXPECT_EQ(fresh->AddRef(), 1u);
  EXPECT_EQ(fresh->AddRef(), 2u);
  EXPECT_EQ(fresh->Release(), 1u);
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(fresh->Release(), 0u);
  EXPECT_EQ(destroyed, 1);

  auto* created = new Square<1>(destroyed);  // the creator's reference
  EXPECT_EQ(created->AddRef(), 2u);
  EXPECT_EQ(created->Release(), 1u);
  EXPECT_EQ(destroyed, 1);
  const std::uint64_t frees = nexa::thread_frees();
  EXPECT_EQ(created->Release(), 0u);
  EXPECT_EQ(destroyed, 2);
  // Freed by the operator delete of the most derived class's bases, not the global one.
  EXPECT_EQ(nexa::thread_frees() - frees, 1u);
}

TEST(RefCountedUnknown, QueryInterfaceAnswersEachListedInterfaceAsItsOwnPointerAndAddsAReference) {
  int destroyed = 0;
  core::InterfacePtr<Square<0>> square(new Square<0>(destroyed));
  Square<0>* object = square.get();
  const struct {
    const char* name;
    GUID iid;
    void* expected;
  } rows[] = {
      {"IUnknown through the first base", IUnknown::IID, static_cast<IUnknown*>(static_cast<ISquare*>(object))},
      {"ISquare", ISquare::IID, static_cast<ISquare*>(object)},
      {"IShape, a base of ISquare", IShape::IID, static_cast<IShape*>(object)},
      {"ILabel, the second base", ILabel::IID, static_cast<ILabel*>(object)},
      {"the class itself", Square<0>::IID, object},
  };
  std::uint32_t held = 1;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    void* out = nullptr;
    ASSERT_EQ(object->QueryInterface(row.iid, &out), core::S_OK);
    EXPECT_EQ(out, row.expected);
    EXPECT_EQ(object->AddRef(), held + 2);  // the answer's reference and this one
    object->Release();
    ++held;
  }
  EXPECT_NE(rows[3].expected, rows[1].expected);
  EXPECT_EQ(static_cast<ILabel*>(rows[3].expected)->label(), std::string(40, 'q'));
  for (std::uint32_t i = 1; i < held; ++i) object->Release();
  EXPECT_EQ(destroyed, 0);
  square.reset();
  EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedUnknown, QueryInterfaceRefusalsLeaveTheCountAlone) {
  int destroyed = 0;
  core::InterfacePtr<Square<0>> square(new Square<0>(destroyed));
  void* out = &destroyed;
  EXPECT_EQ(square->QueryInterface(kUnanswered, &out), core::E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(square->QueryInterface(ISquare::IID, nullptr), core::E_POINTER);
  EXPECT_EQ(square->AddRef(), 2u);
  square->Release();
}

TEST(RefCountedUnknown, ReleaseThroughTheSecondBaseCountsOnTheSameObject) {
  int destroyed = 0;
  core::InterfacePtr<Square<0>> square(new Square<0>(destroyed));
  core::InterfacePtr<ILabel> label = square.query<ILabel>();
  square.reset();
  EXPECT_EQ(destroyed, 0);  // the label still holds the object
  label.reset();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
