#pragma once
// Definitions shared by the context tests: members given as name tables, looked up with a chosen
// strategy.
#include <atomic>
#include <string_view>
#include <vector>

#include "TestSupport.h"
#include "core/Context.h"

namespace testing_support {

// The names of each member in alias order; a member's list may hold a null before its end, which must end
// the list for every strategy.
using NameTable = std::vector<std::vector<const char16_t*>>;

enum class Lookup { Noncached, Sorted, Hashed };

inline const char* lookup_name(Lookup lookup) {
  static const char* const names[] = {"noncached", "sorted", "hashed"};
  return names[static_cast<int>(lookup)];
}

// Counts name queries, so that tests can tell how many times a table was built.
class TableDef : public RefCountedStub<core::ContextDefCore> {
 public:
  TableDef(NameTable props, NameTable methods, Lookup lookup)
      : props(std::move(props)), methods(std::move(methods)), lookup(lookup) {}

  int getNProps() override { return static_cast<int>(props.size()); }
  const char16_t* getPropName(int prop, int alias) override { return name(props, prop, alias); }
  int getNMethods() override { return static_cast<int>(methods.size()); }
  const char16_t* getMethodName(int method, int alias) override { return name(methods, method, alias); }

  int findProp(std::u16string_view text) override {
    if (lookup == Lookup::Noncached) return core::ContextDefNoncached::findProp(this, text);
    return lookup == Lookup::Sorted ? sorted.findProp(this, text) : hashed.findProp(this, text);
  }
  int findMethod(std::u16string_view text) override {
    if (lookup == Lookup::Noncached) return core::ContextDefNoncached::findMethod(this, text);
    return lookup == Lookup::Sorted ? sorted.findMethod(this, text) : hashed.findMethod(this, text);
  }
  // Drops the property table and builds the method table again, in the cache the lookup uses.
  void rebuild() {
    if (lookup == Lookup::Sorted) {
      sorted.resetPropsCache();
      sorted.initMethodsCache(this);
    } else {
      hashed.resetPropsCache();
      hashed.initMethodsCache(this);
    }
  }

  NameTable props;
  NameTable methods;
  Lookup lookup;
  core::_ContextDefCached sorted{true};
  core::ContextDefHashCached hashed;
  std::atomic<int> nameQueries{0};

 private:
  const char16_t* name(const NameTable& table, int member, int alias) {
    ++nameQueries;
    if (member < 0 || member >= static_cast<int>(table.size())) return nullptr;
    const auto& aliases = table[static_cast<std::size_t>(member)];
    if (alias < 0 || alias >= static_cast<int>(aliases.size())) return nullptr;
    return aliases[static_cast<std::size_t>(alias)];
  }
};

}  // namespace testing_support
