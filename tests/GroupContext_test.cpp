// Group contexts: member numbering, name lookup across members, membership and reference counting, and
// the fixed counts of stable groups.
#include "core/GroupContext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using testing_support::RefCountedStub;

// A member whose properties and methods are named by lists (English names only); it records the own
// numbers that reach it, so a test can tell which member a group forwarded to.
class Member : public RefCountedStub<core::ContextCore> {
 public:
  Member(std::vector<std::u16string> props, std::vector<std::u16string> methods, bool hasDefinition = true)
      : props(std::move(props)), methods(std::move(methods)), hasDefinition(hasDefinition) {}

  int getNProps() override { return static_cast<int>(props.size()); }
  int getNMethods() override { return static_cast<int>(methods.size()); }
  const char16_t* getPropName(int p, int alias) override {
    return alias == 0 && inProps(p) ? props[p].c_str() : nullptr;
  }
  const char16_t* getMethodName(int m, int alias) override {
    return alias == 0 && inMethods(m) ? methods[m].c_str() : nullptr;
  }
  bool isPropReadable(int p) override { return inProps(p); }
  bool isPropWritable(int p) override { return inProps(p) && p % 2 == 1; }
  int getPropCatagory(int p) override { return inProps(p) ? static_cast<int>(props.size()) * 10 + p : 0; }
  // The interface's answer, plus a type the group could not make up itself.
  bool getPropInfo(int p, core::PropInfo& info) override {
    if (!IContextDef::getPropInfo(p, info)) return false;
    info.types.addType(core::Type(core::Type::Number));
    return true;
  }
  int getNParams(int m) override { return inMethods(m) ? m + 1 : 0; }
  bool hasRetVal(int m) override { return inMethods(m); }
  int findProp(std::u16string_view name) override { return core::ContextDefNoncached::findProp(this, name); }
  int findMethod(std::u16string_view name) override { return core::ContextDefNoncached::findMethod(this, name); }
  core::IContextDef* getIContextDef() override { return hasDefinition ? this : nullptr; }
  bool getPropVal(int p, core::GenericValue&) override { return record(inProps(p), p); }
  bool setPropVal(int p, const core::GenericValue&) override { return record(inProps(p), p); }
  bool call(int m, core::GenericValue*, const std::vector<core::GenericValue*>&) override {
    return record(inMethods(m), m);
  }

  std::vector<std::u16string> props, methods;
  bool hasDefinition;
  int reached = -1;

 private:
  bool inProps(int p) const { return p >= 0 && p < static_cast<int>(props.size()); }
  bool inMethods(int m) const { return m >= 0 && m < static_cast<int>(methods.size()); }
  bool record(bool ok, int n) {
    if (ok) reached = n;
    return ok;
  }
};

// The groups with their membership operations opened up for the tests.
template <class Base>
struct Open : RefCountedStub<Base> {
  using Base::addContext;
  using Base::changeContext;
  using Base::contexts;
  using Base::findContextByMethodPos;
  using Base::findContextByPropPos;
  using Base::removeContext;
  using Base::reset;
};
using Plain = Open<core::GroupContext>;
using Stable = Open<core::StableGroupContextBase>;

// Two members: properties a0 a1 | b0 b1 b2, methods f0 | g0 g1. "Shared" is a1 and b1, and f0 and g1.
struct TwoMembers {
  Member a{{u"a0", u"Shared"}, {u"Shared"}};
  Member b{{u"b0", u"Shared", u"b2"}, {u"g0", u"Shared"}};
};

template <class Group>
void join(Group& group, TwoMembers& m) {
  group.addContext(&m.a);
  group.addContext(&m.b);
}

template <class Group>
class GroupContextNumbering : public ::testing::Test {};
using GroupKinds = ::testing::Types<Plain, Stable>;
TYPED_TEST_SUITE(GroupContextNumbering, GroupKinds);

TYPED_TEST(GroupContextNumbering, GroupNumbersReachTheOwningMemberWithItsOwnNumber) {
  TwoMembers m;
  TypeParam group;
  join(group, m);
  ASSERT_EQ(group.getNProps(), 5);
  ASSERT_EQ(group.getNMethods(), 3);

  struct Case {
    int groupNumber;
    Member* owner;
    int own;
  };
  const Case props[] = {{0, &m.a, 0}, {1, &m.a, 1}, {2, &m.b, 0}, {3, &m.b, 1}, {4, &m.b, 2}};
  for (const Case& c : props) {
    SCOPED_TRACE(c.groupNumber);
    EXPECT_EQ(std::u16string(group.getPropName(c.groupNumber, 0)), c.owner->props[c.own]);
    EXPECT_EQ(group.isPropWritable(c.groupNumber), c.own % 2 == 1);
    core::PropInfo info;
    EXPECT_TRUE(group.getPropInfo(c.groupNumber, info));
    EXPECT_TRUE(info.readable);
    EXPECT_EQ(info.writable, c.own % 2 == 1);
    EXPECT_EQ(info.category, static_cast<int>(c.owner->props.size()) * 10 + c.own);
    EXPECT_TRUE(info.types.containsType(core::Type::Number)) << "the member's own answer";
    EXPECT_EQ(group.getPropCatagory(c.groupNumber), info.category);
    core::Value out;
    EXPECT_TRUE(group.getPropVal(c.groupNumber, out));
    EXPECT_EQ(c.owner->reached, c.own);
    int pos = c.groupNumber;
    EXPECT_EQ(group.findContextByPropPos(pos), c.owner);
    EXPECT_EQ(pos, c.own);
  }
  const Case methods[] = {{0, &m.a, 0}, {1, &m.b, 0}, {2, &m.b, 1}};
  for (const Case& c : methods) {
    SCOPED_TRACE(c.groupNumber);
    EXPECT_EQ(std::u16string(group.getMethodName(c.groupNumber, 0)), c.owner->methods[c.own]);
    EXPECT_EQ(group.getNParams(c.groupNumber), c.own + 1);
    EXPECT_TRUE(group.call(c.groupNumber, nullptr, {}));
    EXPECT_EQ(c.owner->reached, c.own);
  }

  // Past the last member and below zero: no name, false, null; the position is reduced by all counts.
  core::Value out;
  for (const int p : {5, -1}) {
    SCOPED_TRACE(p);
    EXPECT_EQ(group.getPropName(p, 0), nullptr);
    EXPECT_FALSE(group.isPropReadable(p));
    core::PropInfo info;
    EXPECT_FALSE(group.getPropInfo(p, info));
    EXPECT_EQ(group.getPropCatagory(p), 0);
    EXPECT_FALSE(group.getPropVal(p, out));
    EXPECT_FALSE(group.setPropVal(p, out));
  }
  EXPECT_FALSE(group.call(3, nullptr, {}));
  EXPECT_FALSE(group.hasRetVal(3));
  EXPECT_EQ(group.getNParams(3), 0);
  int pos = 6;
  EXPECT_EQ(group.findContextByPropPos(pos), nullptr);
  EXPECT_EQ(pos, 1);
  pos = 4;
  EXPECT_EQ(group.findContextByMethodPos(pos), nullptr);
  EXPECT_EQ(pos, 1);
}

TYPED_TEST(GroupContextNumbering, NamesAreFoundInTheFirstMemberThatKnowsThem) {
  TwoMembers m;
  TypeParam group;
  join(group, m);
  EXPECT_EQ(group.findProp(u"SHARED"), 1);  // a's, not b's (which would be 3)
  EXPECT_EQ(group.findProp(u"b2"), 4);
  EXPECT_EQ(group.findMethod(u"shared"), 0);
  EXPECT_EQ(group.findMethod(u"g0"), 1);
  EXPECT_EQ(group.findMethod(u"b0"), -1);  // a property name is not a method
}

TEST(GroupContext, MembersAreCountedOnEveryQueryAndMayBeNull) {
  TwoMembers m;
  Plain group;
  group.addContext(nullptr);  // counts nothing and takes no reference
  join(group, m);
  EXPECT_EQ(group.getNProps(), 5);
  EXPECT_EQ(group.findProp(u"b0"), 2);
  m.a.props.push_back(u"a2");
  EXPECT_EQ(group.getNProps(), 6);
  EXPECT_EQ(group.findProp(u"b0"), 3);  // b's numbers moved with a's new property
  EXPECT_EQ(group.getIContextDef(), nullptr);
}

TEST(GroupContext, MembershipKeepsOrderAndOneReferencePerEntry) {
  Member a{{u"a0"}, {}}, b{{u"b0"}, {}}, c{{u"c0"}, {}}, d{{u"d0"}, {}};
  {
    Plain group;
    group.addContext(&a);
    group.addContext(&b);
    group.addContext(&c);
    group.addContext(&a);  // twice: two entries, two references
    EXPECT_EQ(a.refs, 3u);

    group.removeContext(&a);  // the first entry only
    EXPECT_EQ(a.refs, 2u);
    EXPECT_EQ(std::u16string(group.getPropName(0, 0)), u"b0");
    EXPECT_EQ(std::u16string(group.getPropName(2, 0)), u"a0");

    group.changeContext(&b, &d);  // in b's place
    EXPECT_EQ(b.refs, 1u);
    EXPECT_EQ(d.refs, 2u);
    EXPECT_EQ(std::u16string(group.getPropName(0, 0)), u"d0");

    group.removeContext(&b);      // not a member any more: ignored
    group.changeContext(&b, &c);  // likewise
    EXPECT_EQ(c.refs, 2u);
    EXPECT_EQ(group.getNProps(), 3);

    group.reset();
    EXPECT_EQ(group.getNProps(), 0);
    EXPECT_EQ(a.refs + c.refs + d.refs, 3u);
    group.addContext(&c);
  }
  EXPECT_EQ(c.refs, 1u);  // the group released its members when it went
}

TEST(StableGroupContext, CountsAreFixedWhenMembersJoin) {
  TwoMembers m;
  Member noDefinition{{u"x0"}, {u"y0"}, false};
  Stable group;
  join(group, m);
  group.addContext(&noDefinition);
  group.addContext(nullptr);
  EXPECT_EQ(group.contexts().size(), 2u);
  EXPECT_EQ(noDefinition.refs, 1u);
  EXPECT_EQ(group.getIContextDef(), &group);

  m.b.props.push_back(u"b3");  // a member that grows later does not move the group's count
  EXPECT_EQ(group.getNProps(), 5);
  EXPECT_EQ(group.getNMethods(), 3);

  group.removeContext(&m.a);  // takes off a's current counts
  group.removeContext(&m.a);  // not a member: the counts stay
  EXPECT_EQ(group.getNProps(), 3);
  EXPECT_EQ(group.getNMethods(), 2);
}

// Reset keeps the counts too, and members that join later count on from them.
TEST(StableGroupContext, ExchangeOnlyForTheSameCountsAndResetKeepsThem) {
  TwoMembers m;
  Member sameShape{{u"c0", u"c1"}, {u"h0"}}, moreMethods{{u"d0", u"d1"}, {u"k0", u"k1"}};
  Member sameShapeNoDefinition{{u"e0", u"e1"}, {u"m0"}, false};
  Stable group;
  join(group, m);

  group.changeContext(&m.a, &moreMethods);
  group.changeContext(&m.a, &sameShapeNoDefinition);
  EXPECT_EQ(std::u16string(group.getPropName(0, 0)), u"a0");
  EXPECT_EQ(moreMethods.refs, 1u);

  group.changeContext(&m.a, &sameShape);
  EXPECT_EQ(std::u16string(group.getPropName(0, 0)), u"c0");
  EXPECT_EQ(m.a.refs, 1u);
  EXPECT_EQ(sameShape.refs, 2u);
  EXPECT_EQ(group.getNProps(), 5);

  group.reset();
  EXPECT_TRUE(group.contexts().empty());
  EXPECT_EQ(sameShape.refs, 1u);
  EXPECT_EQ(group.getNProps(), 5);
  EXPECT_EQ(group.getPropName(0, 0), nullptr);  // the numbers have no owner any more
  group.addContext(&m.a);
  EXPECT_EQ(group.getNProps(), 7);
  EXPECT_EQ(group.getNMethods(), 4);
}

}  // namespace
