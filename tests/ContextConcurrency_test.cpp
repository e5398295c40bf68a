// Threads racing the first lookup of a definition: the lazily built tables and the lazily made external
// definition must be built once and seen complete by every thread.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ContextSamples.h"
#include "TestSupport.h"
#include "core/Context.h"

namespace {

using testing_support::Lookup;
using testing_support::NameTable;
using testing_support::TableDef;

constexpr int kThreads = 4;
constexpr int kRounds = 200;

// "MemberAa", "MemberBa", ...
NameTable many_props() {
  static const std::vector<std::u16string> names = [] {
    std::vector<std::u16string> made;
    for (int i = 0; i < 64; ++i) {
      made.push_back(u"Member" + std::u16string{static_cast<char16_t>(u'A' + i % 26)} +
                     std::u16string{static_cast<char16_t>(u'a' + i / 26)});
    }
    return made;
  }();
  NameTable table;
  for (const auto& name : names) table.push_back({name.c_str()});
  return table;
}

// Runs `body(thread)` on kThreads threads released together.
template <class Body>
void race(Body body) {
  testing_support::StartLine start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arriveAndWait();
      body(t);
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(ContextConcurrency, RacingFirstLookupsBuildTheTableOnce) {
  for (Lookup lookup : {Lookup::Sorted, Lookup::Hashed}) {
    SCOPED_TRACE(testing_support::lookup_name(lookup));
    TableDef def(many_props(), {}, lookup);
    ASSERT_EQ(def.findProp(u"memberaa"), 0);
    const int queriesPerBuild = def.nameQueries;
    for (int round = 0; round < kRounds; ++round) {
      def.rebuild();
      def.nameQueries = 0;
      std::atomic<int> wrong{0};
      race([&](int t) {
        for (int member = t; member < 64; member += kThreads) {
          const char16_t* name = def.props[static_cast<std::size_t>(member)][0];
          if (def.findProp(name) != member) ++wrong;
        }
      });
      ASSERT_EQ(wrong, 0) << round;
      ASSERT_EQ(def.nameQueries, queriesPerBuild) << round;
    }
  }
}

constexpr core::GUID kRaceClass = core::guid("7a61c0de-4b1e-4a53-8d37-2f0c5e9b7a11");
std::atomic<int> g_made{0};

// A definition on the heap that deletes itself with its last reference.
struct HeapDef : TableDef {
  HeapDef() : TableDef(many_props(), {}, Lookup::Noncached) {}
  std::uint32_t Release() override {
    const std::uint32_t left = --refs;
    if (left == 0) delete this;
    return left;
  }
};

core::InterfacePtr<core::IContextDef> make_race_def() {
  ++g_made;
  return core::InterfacePtr<core::IContextDef>(new HeapDef, core::adopt_ref);
}

TEST(ContextConcurrency, RacingFirstUsesMakeTheExternalDefinitionOnce) {
  core::register_context_def_factory(kRaceClass, &make_race_def);
  for (int round = 0; round < kRounds; ++round) {
    core::ContextDefExternLazed def;
    def.setTypeCLSID(kRaceClass);
    g_made = 0;
    std::vector<core::IContextDef*> seen(kThreads);
    race([&](int t) {
      seen[static_cast<std::size_t>(t)] = def.IContext_getIContextDef();
      EXPECT_EQ(def.IContextDef_findProp(u"MEMBERBA"), 1);
    });
    ASSERT_EQ(g_made, 1) << round;
    for (core::IContextDef* p : seen) ASSERT_EQ(p, seen[0]);
  }
  core::register_context_def_factory(kRaceClass, nullptr);
}

}  // namespace
