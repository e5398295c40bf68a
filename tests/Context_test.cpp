#include "core/Context.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <thread>

#include "ContextSamples.h"
#include "TestSupport.h"
#include "core/Exception.h"
#include "core/Thread.h"

namespace {

using testing_support::Lookup;
using testing_support::NameTable;
using testing_support::RefCountedStub;
using testing_support::TableDef;

constexpr Lookup kAllLookups[] = {Lookup::Noncached, Lookup::Sorted, Lookup::Hashed};

// Two languages, a member without a Russian name, a name shared by two members, a name hidden behind the
// end of its alias list, and characters outside the fixed-offset ranges.
NameTable sample_props() {
  return {
      {u"Count", u"Количество"},      // 0
      {u"Name", u"Имя"},              // 1
      {u"Size", u"Size"},             // 2: no Russian name, alias 1 repeats the English one
      {u"Имя", u"Title"},             // 3: shares "Имя" with 1
      {u"Capacity", u"Ёмкость"},      // 4
      {u"Only", nullptr, u"Hidden"},  // 5: "Hidden" lies past the end of the list
  };
}

NameTable sample_methods() { return {{u"Add", u"Добавить"}, {u"Clear", u"Очистить"}}; }

TEST(ContextLookup, EveryStrategyFindsTheSameMembers) {
  struct Row {
    bool method;
    std::u16string_view name;
    int expected;
  };
  const Row rows[] = {
      {false, u"count", 0},
      {false, u"Количество", 0},
      {false, u"кОлИчЕсТвО", 0},
      {false, u"Coun", -1},    // prefix
      {false, u"Counts", -1},  // longer
      {false, u"", -1},
      {false, u"Сount", -1},     // Cyrillic С: looks alike, is another letter
      {false, u"\u017Fize", 2},  // long s: upper case S
      {false, u"S\u0130ZE", 2},  // dotted capital I: lower case i
      {false, u"s\u0131ze", 2},  // dotless i: upper case I
      {false, std::u16string_view(u"Size\0", 5), -1},
      {false, std::u16string_view(u"Si\0e", 4), -1},
      {false, u"имя", 1},  // lower number of the two sharing it
      {false, u"TITLE", 3},
      {false, u"ёМКОСТЬ", 4},   // Ё lies outside the block of fixed offsets
      {false, u"емкость", -1},  // and is not е
      {false, u"only", 5},
      {false, u"Hidden", -1},
      {true, u"add", 0},
      {true, u"ОЧИСТИТЬ", 1},
      {true, u"Count", -1},  // a property name is no method name
      {true, u"Clea", -1},
  };
  for (Lookup lookup : kAllLookups) {
    TableDef def(sample_props(), sample_methods(), lookup);
    for (const Row& row : rows) {
      SCOPED_TRACE(testing::Message() << testing_support::lookup_name(lookup) << " row " << (&row - rows)
                                      << (row.method ? " method" : " property"));
      EXPECT_EQ(row.method ? def.findMethod(row.name) : def.findProp(row.name), row.expected);
    }
  }
}

// Random names over letters whose folds collide in different ways, looked up in random case: the tables
// must answer what the scan answers, shared names and all.
TEST(ContextLookup, TablesAgreeWithTheScanOnRandomNames) {
  const char16_t letters[] = u"abAB\u0430\u0431\u0410\u0411\u0451\u0401s\u017FiI\u0131\u0130";
  const int letterCount = static_cast<int>(std::size(letters)) - 1;
  std::mt19937 random(20240611);
  auto random_name = [&] {
    std::u16string name(1 + random() % 4, u' ');
    for (char16_t& c : name) c = letters[random() % letterCount];
    return name;
  };
  std::vector<std::u16string> storage;
  for (int i = 0; i < 400; ++i) storage.push_back(random_name());
  NameTable props;
  for (int i = 0; i < 200; ++i) props.push_back({storage[2 * i].c_str(), storage[2 * i + 1].c_str()});

  TableDef scan(props, {}, Lookup::Noncached);
  TableDef sorted(props, {}, Lookup::Sorted);
  TableDef hashed(props, {}, Lookup::Hashed);
  int found = 0;
  for (int i = 0; i < 3000; ++i) {
    const std::u16string query = random_name();
    const int expected = scan.findProp(query);
    found += expected >= 0;
    ASSERT_EQ(sorted.findProp(query), expected) << i;
    ASSERT_EQ(hashed.findProp(query), expected) << i;
  }
  EXPECT_GT(found, 300);  // the queries did hit names, not only misses
}

// Properties are reset and built again by the next lookup; methods are built again in place by init.
TEST(ContextLookup, TablesFollowTheNamesOnlyWhenBuiltAgain) {
  for (Lookup lookup : {Lookup::Sorted, Lookup::Hashed}) {
    SCOPED_TRACE(testing_support::lookup_name(lookup));
    TableDef def(sample_props(), sample_methods(), lookup);
    ASSERT_EQ(def.findProp(u"count"), 0);
    ASSERT_EQ(def.findMethod(u"add"), 0);
    def.props[0] = {u"Total"};
    def.methods[0] = {u"Append"};
    EXPECT_EQ(def.findProp(u"total"), -1);  // built once, not on every lookup
    def.rebuild();
    EXPECT_EQ(def.findProp(u"total"), 0);
    EXPECT_EQ(def.findProp(u"count"), -1);
    EXPECT_EQ(def.findMethod(u"APPEND"), 0);
    EXPECT_EQ(def.findMethod(u"add"), -1);  // init replaces the table, it does not add to it
  }
}

TEST(ContextLookupDeathTest, UnbuiltTableWithoutLazyBuildStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TableDef def(sample_props(), sample_methods(), Lookup::Sorted);
  core::_ContextDefCached eager(false);
  EXPECT_DEATH(eager.findProp(&def, u"Count"), "property table that was never built");
  eager.initPropsCache(&def);
  EXPECT_EQ(eager.findProp(&def, u"Count"), 0);
  EXPECT_DEATH(eager.findMethod(&def, u"Add"), "method table that was never built");
  eager.resetPropsCache();
  EXPECT_DEATH(eager.findProp(&def, u"Count"), "property table that was never built");
}

// ---------------------------------------------------------------------------------------------------
// Defaults and forwarding.

struct EmptyDef : RefCountedStub<core::ContextDefCore> {};
struct EmptyContext : RefCountedStub<core::ContextCore> {};
struct ExtContext : RefCountedStub<core::IContextExtImplBase> {
  bool getPropVal(int, core::GenericValue&) override { return false; }
  bool setPropVal(int, const core::GenericValue&) override { return false; }
  bool call(int, core::GenericValue*, const std::vector<core::GenericValue*>&) override { return false; }
};
// The mixin as a definition, the way a class that forwards to an external definition is written.
struct ExternDef : RefCountedStub<core::ContextDefCore>, core::ContextDefExternBase {
  int getNProps() override { return IContextDef_getNProps(); }
  const char16_t* getPropName(int p, int a) override { return IContextDef_getPropName(p, a); }
  bool isPropReadable(int p) override { return IContextDef_isPropReadable(p); }
  bool isPropWritable(int p) override { return IContextDef_isPropWritable(p); }
  int findProp(std::u16string_view n) override { return IContextDef_findProp(n); }
  int getNMethods() override { return IContextDef_getNMethods(); }
  const char16_t* getMethodName(int m, int a) override { return IContextDef_getMethodName(m, a); }
  int getNParams(int m) override { return IContextDef_getNParams(m); }
  bool isParamIn(int m, int p) override { return IContextDef_isParamIn(m, p); }
  bool isParamOut(int m, int p) override { return IContextDef_isParamOut(m, p); }
  bool getParamDefValue(int m, int p, core::GenericValue* v) override { return IContextDef_getParamDefValue(m, p, v); }
  bool hasRetVal(int m) override { return IContextDef_hasRetVal(m); }
  int findMethod(std::u16string_view n) override { return IContextDef_findMethod(n); }
  core::IContextDef* getIContextDef() override { return IContextDef_getIContextDef(); }
  bool getPropInfo(int p, core::PropInfo& info) override { return IContextDef_getPropInfo(p, info); }
  int getPropCatagory(int p) override { return IContextDef_getPropCatagory(p); }
};

// Every query of a definition with its result reduced to a number, for objects that answer as one.
struct Query {
  const char* call;  // what a recording definition logs for it
  std::function<long(core::IContextDef&)> ask;
};

const std::vector<Query>& all_queries() {
  static const std::vector<Query> queries = {
      {"getNProps", [](core::IContextDef& d) { return long{d.getNProps()}; }},
      {"getPropName 3 1", [](core::IContextDef& d) { return long{d.getPropName(3, 1) != nullptr}; }},
      {"isPropReadable 3", [](core::IContextDef& d) { return long{d.isPropReadable(3)}; }},
      {"isPropWritable 4", [](core::IContextDef& d) { return long{d.isPropWritable(4)}; }},
      {"findProp Count", [](core::IContextDef& d) { return long{d.findProp(u"Count")}; }},
      {"getNMethods", [](core::IContextDef& d) { return long{d.getNMethods()}; }},
      {"getMethodName 2 0", [](core::IContextDef& d) { return long{d.getMethodName(2, 0) != nullptr}; }},
      {"getNParams 2", [](core::IContextDef& d) { return long{d.getNParams(2)}; }},
      {"isParamIn 2 1", [](core::IContextDef& d) { return long{d.isParamIn(2, 1)}; }},
      {"isParamOut 2 1", [](core::IContextDef& d) { return long{d.isParamOut(2, 1)}; }},
      {"getParamDefValue 2 5",
       [](core::IContextDef& d) {
         core::Value out(-7);
         return long{d.getParamDefValue(2, 5, &out)} * 100 + (out.equals(5) ? 1 : out.equals(-7) ? 2 : 3);
       }},
      {"hasRetVal 2", [](core::IContextDef& d) { return long{d.hasRetVal(2)}; }},
      {"findMethod Add", [](core::IContextDef& d) { return long{d.findMethod(u"Add")}; }},
      {"getPropInfo 3",
       [](core::IContextDef& d) {
         core::PropInfo info;
         info.category = 42;  // shows whether `info` was left alone
         const bool known = d.getPropInfo(3, info);
         return long{known} * 100000 + long{info.readable} * 10000 + long{info.writable} * 1000 +
                static_cast<long>(info.types.typeCount()) * 100 + info.category;
       }},
      {"getPropCatagory 4", [](core::IContextDef& d) { return long{d.getPropCatagory(4)}; }},
  };
  return queries;
}

TEST(ContextDefaults, ObjectsWithoutMembersAnswerNothing) {
  EmptyDef def;
  EmptyContext context;
  ExtContext ext;     // no definition set
  ExternDef extern_;  // no definition set
  core::IContextDef* objects[] = {&def, &context, &ext, &extern_};
  // getParamDefValue and getPropInfo leave what they would fill alone.
  const long nothing[] = {0, 0, 0, 0, -1, 0, 0, 0, 0, 0, 2, 0, -1, 42, 0};
  for (core::IContextDef* object : objects) {
    for (std::size_t i = 0; i < all_queries().size(); ++i) {
      SCOPED_TRACE(testing::Message() << "object " << (object - *objects) << ' ' << all_queries()[i].call);
      EXPECT_EQ(all_queries()[i].ask(*object), nothing[i]);
    }
  }
  EXPECT_EQ(def.getIContextDef(), &def);
  EXPECT_EQ(ext.getIContextDef(), nullptr);
  core::Value result, arg(1);
  EXPECT_FALSE(context.getPropVal(0, result));
  EXPECT_FALSE(context.setPropVal(0, arg));
  EXPECT_FALSE(context.call(0, &result, {&arg}));
}

// Logs the last query with its arguments; answers depend on the arguments so that a forwarder that
// passes the wrong ones gives another answer.
struct Recorder : RefCountedStub<core::ContextDefCore> {
  int getNProps() override { return log("getNProps"), 11; }
  const char16_t* getPropName(int p, int a) override {
    return log("getPropName", p, a), p == 3 && a == 1 ? u"x" : nullptr;
  }
  bool isPropReadable(int p) override { return log("isPropReadable", p), p == 3; }
  bool isPropWritable(int p) override { return log("isPropWritable", p), p == 4; }
  int findProp(std::u16string_view n) override { return log("findProp " + narrow(n)), 6; }
  int getNMethods() override { return log("getNMethods"), 12; }
  const char16_t* getMethodName(int m, int a) override {
    return log("getMethodName", m, a), m == 2 && a == 0 ? u"y" : nullptr;
  }
  int getNParams(int m) override { return log("getNParams", m), m * 10; }
  bool isParamIn(int m, int p) override { return log("isParamIn", m, p), m == 2 && p == 1; }
  bool isParamOut(int m, int p) override { return log("isParamOut", m, p), m == 2 && p == 1; }
  bool getParamDefValue(int m, int p, core::GenericValue* out) override {
    log("getParamDefValue", m, p);
    if (m != 2) return false;
    out->assign(p);
    return true;
  }
  bool hasRetVal(int m) override { return log("hasRetVal", m), m == 2; }
  int findMethod(std::u16string_view n) override { return log("findMethod " + narrow(n)), 8; }
  bool getPropInfo(int p, core::PropInfo& info) override {
    log("getPropInfo", p);
    if (p != 3) return false;
    info = {true, false, 7, core::TypeDomainPattern{core::Type(core::Type::Number)}};
    return true;
  }
  int getPropCatagory(int p) override { return log("getPropCatagory", p), p * 3; }

  void log(std::string what, int a = -100, int b = -100) {
    if (a != -100) what += ' ' + std::to_string(a);
    if (b != -100) what += ' ' + std::to_string(b);
    last = what;
  }
  static std::string narrow(std::u16string_view text) { return std::string(text.begin(), text.end()); }
  std::string last;
};

TEST(ContextForwarding, ExternalDefinitionAnswersEveryQuery) {
  Recorder recorder;
  ExtContext ext;
  ExternDef extern_;
  ext.setIContextDef(&recorder);
  extern_.setIContextDef(&recorder);
  EXPECT_EQ(recorder.refs, 3u);
  core::IContextDef* forwarders[] = {&ext, &extern_};
  for (const Query& query : all_queries()) {
    const long direct = query.ask(recorder);
    for (core::IContextDef* forwarder : forwarders) {
      SCOPED_TRACE(testing::Message() << query.call << (forwarder == &ext ? " context" : " mixin"));
      recorder.last.clear();
      EXPECT_EQ(query.ask(*forwarder), direct);
      EXPECT_EQ(recorder.last, query.call);
    }
  }
  EXPECT_EQ(ext.getIContextDef(), &recorder);
  EXPECT_EQ(extern_.getIContextDef(), &recorder);
  ext.setIContextDef(nullptr);
  extern_.setIContextDef(nullptr);
  EXPECT_EQ(recorder.refs, 1u);
}

// ---------------------------------------------------------------------------------------------------
// Definitions made by class identifier.

constexpr core::GUID kRecorderClass = core::guid("3c9d50a2-0e55-4d6b-9a0a-6f4b1d1f0a01");
constexpr core::GUID kOtherClass = core::guid("3c9d50a2-0e55-4d6b-9a0a-6f4b1d1f0a02");
constexpr core::GUID kUnknownClass = core::guid("3c9d50a2-0e55-4d6b-9a0a-6f4b1d1f0a03");

Recorder g_recorder;
EmptyDef g_other;
int g_made = 0;

core::InterfacePtr<core::IContextDef> make_recorder() {
  ++g_made;
  return &g_recorder;
}
core::InterfacePtr<core::IContextDef> make_other() { return &g_other; }

class ContextRegistry : public testing::Test {
 protected:
  void SetUp() override {
    core::register_context_def_factory(kRecorderClass, &make_recorder);
    core::register_context_def_factory(kOtherClass, &make_other);
    g_made = 0;
  }
  void TearDown() override {
    core::register_context_def_factory(kRecorderClass, nullptr);
    core::register_context_def_factory(kOtherClass, nullptr);
    EXPECT_EQ(g_recorder.refs, 1u);  // every holder let go
    EXPECT_EQ(g_other.refs, 1u);
  }
};

void expect_not_registered(const std::function<void()>& action) {
  try {
    action();
    ADD_FAILURE() << "no exception";
  } catch (const core::SCOM_Exception& e) {
    EXPECT_EQ(e.reason(), core::SCOM_Exception::ClassNotRegistered);
    EXPECT_EQ(e.messageKey(), "IDS_ERR_CLASS_NOT_REGISTERED");
  }
}

TEST_F(ContextRegistry, ExternBaseMakesItsDefinitionAtConstruction) {
  {
    core::ContextDefExternBase def(kRecorderClass);
    EXPECT_EQ(g_made, 1);
    EXPECT_EQ(def.IContextDef_getNProps(), 11);
  }
  expect_not_registered([] { core::ContextDefExternBase def(kUnknownClass); });
  core::register_context_def_factory(kRecorderClass, nullptr);
  EXPECT_EQ(core::create_context_def(kRecorderClass), nullptr);
}

TEST_F(ContextRegistry, LazedDefinitionIsMadeOnFirstUseOnly) {
  core::ContextDefExternLazed def;
  EXPECT_EQ(def.IContextDef_getNProps(), 0);  // no class named yet
  def.setTypeCLSID(kRecorderClass);
  EXPECT_EQ(g_made, 0);
  EXPECT_EQ(def.getExternalContextDef(), nullptr);
  EXPECT_EQ(def.IContextDef_getNMethods(), 12);
  EXPECT_EQ(def.IContextDef_findProp(u"p"), 6);
  EXPECT_EQ(def.IContext_getIContextDef(), &g_recorder);
  EXPECT_EQ(g_made, 1);

  def.setTypeCLSID(kOtherClass);  // drops the recorder
  EXPECT_EQ(g_recorder.refs, 1u);
  EXPECT_EQ(def.IContext_getIContextDef0(), &g_other);

  def.setTypeCLSID(kUnknownClass);
  EXPECT_EQ(def.IContext_getIContextDef0(), nullptr);
  expect_not_registered([&] { def.IContext_getIContextDef(); });
  expect_not_registered([&] { def.IContextDef_getNProps(); });
}

// ---------------------------------------------------------------------------------------------------
// Methods as functions.

// Methods "Add"/"Добавить" and "Clear"/"Очистить"; call records the method and answers its number + 40.
struct MethodContext : RefCountedStub<core::ContextCore> {
  int getNMethods() override { return 2; }
  const char16_t* getMethodName(int m, int alias) override {
    static const char16_t* names[2][2] = {{u"Add", u"Добавить"}, {u"Clear", u"Очистить"}};
    return m >= 0 && m < 2 && alias >= 0 && alias < 2 ? names[m][alias] : nullptr;
  }
  int findMethod(std::u16string_view name) override { return core::ContextDefNoncached::findMethod(this, name); }
  bool call(int method, core::GenericValue* result, const std::vector<core::GenericValue*>& params) override {
    called = method;
    paramCount = params.size();
    if (result != nullptr) result->assign(method + 40);
    return true;
  }
  int called = -1;
  std::size_t paramCount = 0;
};

TEST(ContextFunction, BadArgumentsReportTheirSourceLine) {
  MethodContext context;
  struct Row {
    bool nullContext;
    std::function<void(core::IContext_*)> make;
    int line;
  };
  const Row rows[] = {
      {true, [](core::IContext_* c) { core::context_method_to_function(c, 0, false); }, 1381},
      {false, [](core::IContext_* c) { core::context_method_to_function(c, -1, false); }, 1383},
      {false, [](core::IContext_* c) { core::context_method_to_function(c, 2, true); }, 1383},
      {true, [](core::IContext_* c) { core::context_method_to_function(c, u"Add", false); }, 1397},
      {false, [](core::IContext_* c) { core::context_method_to_function(c, u"Ad", false); }, 1400},
      {false, [](core::IContext_* c) { core::context_method_to_function(c, u"", true); }, 1400},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    try {
      row.make(row.nullContext ? nullptr : &context);
      ADD_FAILURE() << "no exception";
    } catch (const core::IllegalArgumentException& e) {
      EXPECT_EQ(e.sourceFile(), "core/src/Context");
      EXPECT_EQ(e.sourceLine(), row.line);
      EXPECT_EQ(e.module(), "kern83");
      EXPECT_EQ(e.messageKey(), "IDS_ERR_ILLEGAL_ARGUMENT");
    }
  }
  EXPECT_EQ(context.refs, 1u);
}

// Only strong functions hold their context; a call goes to the context's method with the arguments.
TEST(ContextFunction, FunctionsCallTheirMethodAndOnlyStrongOnesHoldTheContext) {
  for (bool weak : {false, true}) {
    SCOPED_TRACE(weak ? "weak" : "strong");
    MethodContext context;
    {
      core::InterfacePtr<core::IFunction> byNumber = core::context_method_to_function(&context, 1, weak);
      core::InterfacePtr<core::IFunction> byName = core::context_method_to_function(&context, u"добавить", weak);
      EXPECT_EQ(context.refs, weak ? 1u : 3u);
      EXPECT_EQ(byName->getMethod(), 0);
      EXPECT_EQ(byNumber->getContext(), &context);
      core::Value result, a(1), b(2);
      EXPECT_TRUE(byNumber->call(&result, {&a, &b}));
      EXPECT_EQ(context.called, 1);
      EXPECT_EQ(context.paramCount, 2u);
      EXPECT_TRUE(result.equals(41));
      EXPECT_TRUE(byName.query<core::IFunction>());
      EXPECT_FALSE(byName.query<core::IContext_>());
    }
    EXPECT_EQ(context.refs, 1u);
  }
}

// ---------------------------------------------------------------------------------------------------
// Safe mode.

TEST(ContextSafeMode, GuardsThrowOnlyInSafeMode) {
  core::Thread* self = core::current_thread();
  ASSERT_NE(self, nullptr);
  for (bool safe : {false, true}) {
    SCOPED_TRACE(safe ? "safe" : "normal");
    self->setSafeMode(u"context test", safe);
    const char* key = safe ? "IDS_ERROR_SAFEMODE" : "";
    try {
      core::throw_if_safe_mode_ctor();
      EXPECT_FALSE(safe);
    } catch (const core::CtorException& e) {
      EXPECT_EQ(e.messageKey(), key);
    }
    try {
      core::throw_if_safe_mode_context();
      EXPECT_FALSE(safe);
    } catch (const core::ContextException& e) {
      EXPECT_EQ(e.messageKey(), key);
    }
  }
  // A thread the library does not know has no safe mode, whatever other threads are in.
  self->setSafeMode(u"context test", true);
  std::thread foreign([] {
    EXPECT_NO_THROW(core::throw_if_safe_mode_context());
    EXPECT_NO_THROW(core::throw_if_safe_mode_ctor());
  });
  foreign.join();
  self->setSafeMode(u"context test", false);
}

}  // namespace
