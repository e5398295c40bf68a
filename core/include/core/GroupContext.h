#pragma once
// Group contexts: several contexts presented as one.
//
// A group's properties are the properties of its members one after another, and its methods likewise:
// with members of 2 and 3 properties, group property 3 is the second member's property 1. An object
// that adds its own members to another object's, or that is assembled from parts, is built as a group:
//
//     class Extended : public core::StableGroupContextBase, ... {   // the class adds its IUnknown slots
//      public:
//       Extended(core::IContext_* base, core::IContext_* own) { addContext(base); addContext(own); }
//     };
//
// GroupContext asks its members for their counts on every query, so numbers move when a member changes.
// StableGroupContextBase fixes the counts as members join: a member may only be exchanged for one with
// the same counts, so numbers handed out earlier keep naming the same member.
//
// Names are looked up member by member; the first member that knows a name answers (its number shifted
// past the earlier members). Nothing here raises: unknown numbers answer false or no name, unknown names
// -1, and joins or exchanges that a stable group refuses are silently ignored. What the members' own
// operations raise passes through.
//
// Thread safety: a group is used by one thread at a time, like the contexts it holds.

#include <vector>

#include "core/Context.h"
#include "core/Export.h"

namespace core {

// The group whose counts follow its members; see the top of this file.
class KERN83_API GroupContext : public IContext_ {
 public:
  // The sums of the members' counts, asked each time.
  int getNProps() override;
  int getNMethods() override;

  const char16_t* getPropName(int prop, int alias) override;
  bool isPropReadable(int prop) override;
  bool isPropWritable(int prop) override;
  int findProp(std::u16string_view name) override;
  const char16_t* getMethodName(int method, int alias) override;
  int getNParams(int method) override;
  bool isParamIn(int method, int param) override;
  bool isParamOut(int method, int param) override;
  bool getParamDefValue(int method, int param, GenericValue* out) override;
  bool hasRetVal(int method) override;
  int findMethod(std::u16string_view name) override;
  // The owning member's answers for its own number.
  bool getPropInfo(int prop, PropInfo& info) override;
  int getPropCatagory(int prop) override;
  // A plain group has no definition object of its own: null.
  IContextDef* getIContextDef() override { return nullptr; }
  // The owning member's operation, with the number made the member's own.
  bool getPropVal(int prop, GenericValue& out) override;
  bool setPropVal(int prop, const GenericValue& value) override;
  bool call(int method, GenericValue* result, const std::vector<GenericValue*>& params) override;

 protected:
  GroupContext() noexcept;
  // Releases every member.
  virtual ~GroupContext();
  GroupContext(const GroupContext&) = delete;
  GroupContext& operator=(const GroupContext&) = delete;

  // Appends `context` and takes a reference to it. A null member is accepted (without a reference) and
  // has no properties and no methods.
  virtual void addContext(IContext_* context);
  // Removes the first entry equal to `context`, keeping the order of the rest, and releases it; a
  // context that is not a member is ignored.
  virtual void removeContext(IContext_* context);
  // Puts `replacement` in the place of the first entry equal to `old`, taking a reference to it (when not
  // null) and releasing `old`; an `old` that is not a member is ignored.
  virtual void changeContext(IContext_* old, IContext_* replacement);

  // The member that owns group property (method) `pos`, with `pos` turned into the member's own number;
  // null when `pos` lies beyond the last member (then `pos` has been reduced by all the counts) or is
  // negative.
  IContext_* findContextByPropPos(int& pos);
  IContext_* findContextByMethodPos(int& pos);

  // Releases every member and empties the list.
  void reset() noexcept;

  // The members in order (a null member stays in its place).
  const std::vector<InterfacePtr<IContext_>>& contexts() const noexcept { return members_; }

 private:
  std::vector<InterfacePtr<IContext_>> members_;
};

// A group whose property and method counts are fixed as members join. Only contexts with a definition
// (getIContextDef() not null) join; the group is its own definition.
class KERN83_API StableGroupContextBase : public GroupContext {
 public:
  // The stored counts; members are not asked.
  int getNProps() override { return static_cast<int>(propCount_); }
  int getNMethods() override { return static_cast<int>(methodCount_); }
  // The group is its own definition.
  IContextDef* getIContextDef() override { return this; }

 protected:
  StableGroupContextBase() noexcept = default;
  ~StableGroupContextBase() override = default;

  // Joins `context` when it has a definition and adds its counts to the group's; otherwise ignored.
  void addContext(IContext_* context) override;
  // Removes a member that has a definition and takes its current counts off the group's.
  void removeContext(IContext_* context) override;
  // Exchanges `old` for `replacement` only when `replacement` has a definition and both report the same
  // property and method counts; otherwise nothing changes.
  void changeContext(IContext_* old, IContext_* replacement) override;

  // reset() stays the plain group's: the members go, the stored counts stay, and members added later
  // count on from them. Subclasses rely on numbers that stay valid across a reset.

 private:
  std::uint32_t propCount_ = 0;
  std::uint32_t methodCount_ = 0;
};

}  // namespace core
