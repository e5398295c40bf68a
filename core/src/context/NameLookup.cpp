// The three name lookup strategies of definitions.

#include <string>

#include "context/ContextNames.h"
#include "core/Context.h"
#include "platform/Diagnostics.h"

namespace core {

using detail::MemberKind;

namespace {

int scan(IContextDefBase* def, std::u16string_view name, MemberKind kind) {
  const int count = detail::context_member_count(def, kind);
  for (int member = 0; member < count; ++member) {
    for (int alias = 0;; ++alias) {
      const char16_t* candidate = detail::context_member_name(def, kind, member, alias);
      if (candidate == nullptr) break;
      if (detail::context_name_matches(candidate, name)) return member;
    }
  }
  return -1;
}

// A definition that looks up names in tables it never built has skipped its setup; every later lookup
// would quietly answer "no such member", so the process stops where the mistake shows.
[[noreturn]] void abort_unbuilt(const char* kind) {
  platform::fatal_error(std::string("name lookup in a ") + kind + " table that was never built");
}

template <class Table>
int find_sorted(Table& table, IContextDefBase* def, std::u16string_view name, bool buildOnFirstLookup,
                const char* kind) {
  if (!table.isBuilt()) {
    if (!buildOnFirstLookup) abort_unbuilt(kind);
    table.buildOnce(def);
  }
  return table.find(name);
}

template <class Table>
int find_hashed(Table& table, IContextDefBase* def, std::u16string_view name) {
  if (!table.isBuilt()) table.buildOnce(def);
  return table.find(name);
}

}  // namespace

int ContextDefNoncached::findProp(IContextDefBase* def, std::u16string_view name) {
  return scan(def, name, MemberKind::Property);
}

int ContextDefNoncached::findMethod(IContextDefBase* def, std::u16string_view name) {
  return scan(def, name, MemberKind::Method);
}

_ContextDefCached::_ContextDefCached(bool buildOnFirstLookup)
    : props_(std::make_unique<detail::SortedContextNames>(MemberKind::Property)),
      methods_(std::make_unique<detail::SortedContextNames>(MemberKind::Method)),
      buildOnFirstLookup_(buildOnFirstLookup) {}

_ContextDefCached::~_ContextDefCached() = default;

int _ContextDefCached::findProp(IContextDefBase* def, std::u16string_view name) {
  return find_sorted(*props_, def, name, buildOnFirstLookup_, "property");
}

int _ContextDefCached::findMethod(IContextDefBase* def, std::u16string_view name) {
  return find_sorted(*methods_, def, name, buildOnFirstLookup_, "method");
}

void _ContextDefCached::initPropsCache(IContextDefBase* def) { props_->build(def); }
void _ContextDefCached::initMethodsCache(IContextDefBase* def) { methods_->build(def); }
void _ContextDefCached::resetPropsCache() { props_->reset(); }
void _ContextDefCached::resetMethodsCache() { methods_->reset(); }

ContextDefHashCached::ContextDefHashCached()
    : props_(std::make_unique<detail::HashedContextNames>(MemberKind::Property)),
      methods_(std::make_unique<detail::HashedContextNames>(MemberKind::Method)) {}

ContextDefHashCached::~ContextDefHashCached() = default;

int ContextDefHashCached::findProp(IContextDefBase* def, std::u16string_view name) {
  return find_hashed(*props_, def, name);
}

int ContextDefHashCached::findMethod(IContextDefBase* def, std::u16string_view name) {
  return find_hashed(*methods_, def, name);
}

void ContextDefHashCached::initPropsCache(IContextDefBase* def) { props_->build(def); }
void ContextDefHashCached::initMethodsCache(IContextDefBase* def) { methods_->build(def); }
void ContextDefHashCached::resetPropsCache() { props_->reset(); }
void ContextDefHashCached::resetMethodsCache() { methods_->reset(); }

}  // namespace core
