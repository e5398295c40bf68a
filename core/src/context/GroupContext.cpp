// Group contexts: member numbering and forwarding.
#include "core/GroupContext.h"

#include <algorithm>
#include <utility>

namespace core {

namespace {

// Finds the member that owns group number `pos` by the counts `count` gives, turning `pos` into the
// member's own number. Null members count nothing.
template <class Count>
IContext_* find_owner(const std::vector<InterfacePtr<IContext_>>& members, int& pos, Count count) {
  if (pos < 0) return nullptr;
  for (const auto& member : members) {
    if (!member) continue;
    const int n = count(member.get());
    if (pos < n) return member.get();
    pos -= n;
  }
  return nullptr;
}

template <class Find, class Count>
int find_in_members(const std::vector<InterfacePtr<IContext_>>& members, Find find, Count count) {
  int before = 0;
  for (const auto& member : members) {
    if (!member) continue;
    const int n = find(member.get());
    if (n >= 0) return before + n;
    before += count(member.get());
  }
  return -1;
}

int prop_count(IContext_* c) { return c->getNProps(); }
int method_count(IContext_* c) { return c->getNMethods(); }

}  // namespace

GroupContext::GroupContext() noexcept = default;
GroupContext::~GroupContext() = default;

int GroupContext::getNProps() {
  int n = 0;
  for (const auto& member : members_) n += member ? member->getNProps() : 0;
  return n;
}

int GroupContext::getNMethods() {
  int n = 0;
  for (const auto& member : members_) n += member ? member->getNMethods() : 0;
  return n;
}

IContext_* GroupContext::findContextByPropPos(int& pos) { return find_owner(members_, pos, prop_count); }
IContext_* GroupContext::findContextByMethodPos(int& pos) { return find_owner(members_, pos, method_count); }

const char16_t* GroupContext::getPropName(int prop, int alias) {
  IContext_* owner = findContextByPropPos(prop);
  return owner != nullptr ? owner->getPropName(prop, alias) : nullptr;
}

bool GroupContext::isPropReadable(int prop) {
  IContext_* owner = findContextByPropPos(prop);
  return owner != nullptr && owner->isPropReadable(prop);
}

bool GroupContext::isPropWritable(int prop) {
  IContext_* owner = findContextByPropPos(prop);
  return owner != nullptr && owner->isPropWritable(prop);
}

bool GroupContext::getPropInfo(int prop, PropInfo& info) {
  IContext_* owner = findContextByPropPos(prop);
  return owner != nullptr && owner->getPropInfo(prop, info);
}

int GroupContext::getPropCatagory(int prop) {
  IContext_* owner = findContextByPropPos(prop);
  return owner != nullptr ? owner->getPropCatagory(prop) : 0;
}

bool GroupContext::getPropVal(int prop, GenericValue& out) {
  IContext_* owner = findContextByPropPos(prop);
  return owner != nullptr && owner->getPropVal(prop, out);
}

bool GroupContext::setPropVal(int prop, const GenericValue& value) {
  IContext_* owner = findContextByPropPos(prop);
  return owner != nullptr && owner->setPropVal(prop, value);
}

int GroupContext::findProp(std::u16string_view name) {
  return find_in_members(
      members_, [name](IContext_* c) { return c->findProp(name); }, prop_count);
}

const char16_t* GroupContext::getMethodName(int method, int alias) {
  IContext_* owner = findContextByMethodPos(method);
  return owner != nullptr ? owner->getMethodName(method, alias) : nullptr;
}

int GroupContext::getNParams(int method) {
  IContext_* owner = findContextByMethodPos(method);
  return owner != nullptr ? owner->getNParams(method) : 0;
}

bool GroupContext::isParamIn(int method, int param) {
  IContext_* owner = findContextByMethodPos(method);
  return owner != nullptr && owner->isParamIn(method, param);
}

bool GroupContext::isParamOut(int method, int param) {
  IContext_* owner = findContextByMethodPos(method);
  return owner != nullptr && owner->isParamOut(method, param);
}

bool GroupContext::getParamDefValue(int method, int param, GenericValue* out) {
  IContext_* owner = findContextByMethodPos(method);
  return owner != nullptr && owner->getParamDefValue(method, param, out);
}

bool GroupContext::hasRetVal(int method) {
  IContext_* owner = findContextByMethodPos(method);
  return owner != nullptr && owner->hasRetVal(method);
}

bool GroupContext::call(int method, GenericValue* result, const std::vector<GenericValue*>& params) {
  IContext_* owner = findContextByMethodPos(method);
  return owner != nullptr && owner->call(method, result, params);
}

int GroupContext::findMethod(std::u16string_view name) {
  return find_in_members(
      members_, [name](IContext_* c) { return c->findMethod(name); }, method_count);
}

void GroupContext::addContext(IContext_* context) { members_.emplace_back(context); }

void GroupContext::removeContext(IContext_* context) {
  const auto it =
      std::find_if(members_.begin(), members_.end(), [context](const auto& m) { return m.get() == context; });
  if (it == members_.end()) return;
  InterfacePtr<IContext_> released = std::move(*it);  // released after the list is consistent again
  members_.erase(it);
}

void GroupContext::changeContext(IContext_* old, IContext_* replacement) {
  const auto it = std::find_if(members_.begin(), members_.end(), [old](const auto& m) { return m.get() == old; });
  if (it == members_.end()) return;
  InterfacePtr<IContext_> released = std::exchange(*it, InterfacePtr<IContext_>(replacement));
}

void GroupContext::reset() noexcept {
  std::vector<InterfacePtr<IContext_>> released;
  released.swap(members_);
}

namespace {

bool has_definition(IContext_* context) { return context != nullptr && context->getIContextDef() != nullptr; }

bool is_member(const std::vector<InterfacePtr<IContext_>>& members, IContext_* context) {
  return std::any_of(members.begin(), members.end(), [context](const auto& m) { return m.get() == context; });
}

}  // namespace

void StableGroupContextBase::addContext(IContext_* context) {
  if (!has_definition(context)) return;
  const auto props = static_cast<std::uint32_t>(context->getNProps());
  const auto methods = static_cast<std::uint32_t>(context->getNMethods());
  GroupContext::addContext(context);
  propCount_ += props;
  methodCount_ += methods;
}

void StableGroupContextBase::removeContext(IContext_* context) {
  if (!has_definition(context) || !is_member(contexts(), context)) return;
  propCount_ -= static_cast<std::uint32_t>(context->getNProps());
  methodCount_ -= static_cast<std::uint32_t>(context->getNMethods());
  GroupContext::removeContext(context);
}

void StableGroupContextBase::changeContext(IContext_* old, IContext_* replacement) {
  if (!has_definition(replacement) || old == nullptr) return;
  if (old->getNProps() != replacement->getNProps() || old->getNMethods() != replacement->getNMethods()) return;
  GroupContext::changeContext(old, replacement);
}

}  // namespace core
