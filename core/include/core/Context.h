#pragma once
// Contexts: objects as the platform's script language sees them.
//
// A context is a set of numbered properties and numbered methods. Its definition (IContextDef) says how
// many there are, what they are called, which properties may be read or written (with what a designer
// shows of them, PropInfo) and what parameters a method takes; the context itself (IContext_) adds
// reading and writing properties and calling methods. Value tables, enumerations, group contexts and
// automation objects all publish their script members this way.
//
//     class Counter : public core::ContextCore {  // the object adds its own IUnknown slots
//      public:
//       int getNProps() override { return 1; }
//       const char16_t* getPropName(int prop, int alias) override {
//         if (prop != 0) return nullptr;
//         return alias == 0 ? u"Count" : alias == 1 ? u"Количество" : nullptr;
//       }
//       bool isPropReadable(int prop) override { return prop == 0; }
//       int findProp(std::u16string_view name) override { return core::ContextDefNoncached::findProp(this, name); }
//       bool getPropVal(int prop, core::GenericValue& out) override { ... }
//     };
//
//     int n = counter->findProp(u"КОЛИЧЕСТВО");   // 0
//     auto add = core::context_method_to_function(table, u"Add", false);  // a function value
//
// Members are numbered from 0; -1 means "no such member". Every member has a list of names addressed by
// an alias number: 0 the English name, 1 the Russian one (a definition without Russian names answers the
// English name), and null past the last alias, which ends the list. Names are zero-terminated and stay
// valid as long as the definition.
//
// Names match when they have the same length and are equal without regard to case, in English and
// Russian alike (see the lookup strategies below). Numbers out of range never raise: they answer 0,
// false or null.
//
// Thread safety: definitions describe fixed member sets and may be queried from any thread. The lookup
// tables of _ContextDefCached and ContextDefHashCached are built once, the first build guarded so that
// threads racing the first lookup build them once, and read without a lock afterwards; initializing or
// resetting them again is for times when no lookup runs. Whether a context's values may be read and
// written concurrently is up to the context.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "core/Export.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "core/Mutex.h"
#include "core/TypeDomain.h"
#include "core/Value.h"

namespace core {

// ---------------------------------------------------------------------------------------------------
// Interfaces.

// What a form designer or a script debugger shows of a property besides its names (IContextDef slot 17).
struct PropInfo {
  // As isPropReadable and isPropWritable.
  bool readable = false;
  bool writable = false;
  // As getPropCatagory.
  int category = 0;
  // The types the property's value may have; empty when the definition does not know them (any type).
  TypeDomainPattern types;
};

// The member description. Slots 0 to 2 are IUnknown's; the order of the following ones is fixed, and
// IContext_ continues it.
class IContextDef : public IUnknown {
 public:
  static constexpr GUID IID = guid("6eabeaa1-388a-4caf-bfaa-b2fbe0a0da66");

  // Slot 3.
  virtual int getNProps() = 0;
  // Slot 4: name `alias` of property `prop`, or null.
  virtual const char16_t* getPropName(int prop, int alias) = 0;
  // Slots 5 and 6.
  virtual bool isPropReadable(int prop) = 0;
  virtual bool isPropWritable(int prop) = 0;
  // Slot 7: the property named `name`, or -1.
  virtual int findProp(std::u16string_view name) = 0;
  // Slot 8.
  virtual int getNMethods() = 0;
  // Slot 9: name `alias` of method `method`, or null.
  virtual const char16_t* getMethodName(int method, int alias) = 0;
  // Slot 10: how many parameters `method` takes.
  virtual int getNParams(int method) = 0;
  // Slots 11 and 12: whether `param` passes a value in, or hands one back to the caller.
  virtual bool isParamIn(int method, int param) = 0;
  virtual bool isParamOut(int method, int param) = 0;
  // Slot 13: true when `param` has a default value, which is then written to `out`; `out` is untouched
  // otherwise.
  virtual bool getParamDefValue(int method, int param, GenericValue* out) = 0;
  // Slot 14: whether `method` is a function (gives a result) rather than a procedure.
  virtual bool hasRetVal(int method) = 0;
  // Slot 15: the method named `name`, or -1.
  virtual int findMethod(std::u16string_view name) = 0;
  // Slot 16: the definition that answers these queries (borrowed): the object itself, or the external
  // definition it forwards to.
  virtual IContextDef* getIContextDef() = 0;
  // Slot 17: fills `info` for property `prop` and answers true; false, with `info` untouched, for a
  // number that is no property. Unless a definition knows more, the answer is made of slots 5, 6 and
  // 18, with no types.
  virtual bool getPropInfo(int prop, PropInfo& info);
  // Slot 18: the group a designer or debugger lists property `prop` under. 0, the answer here and for
  // numbers that are no property, is an ordinary property; other numbers are groups of the definition's
  // own (a form's appearance properties, say), which a tool that does not know them lists with the
  // ordinary ones. The spelling is the interface's own, as in getMethodCatagory: callers use it.
  virtual int getPropCatagory(int) { return 0; }

 protected:
  ~IContextDef() = default;
};

inline bool IContextDef::getPropInfo(int prop, PropInfo& info) {
  if (prop < 0 || prop >= getNProps()) return false;
  info.readable = isPropReadable(prop);
  info.writable = isPropWritable(prop);
  info.category = getPropCatagory(prop);
  info.types = TypeDomainPattern();
  return true;
}

// The context: a definition whose properties can be read and written and whose methods can be called.
// Each operation answers false when the context has no such member or the member does not allow it; a
// failure of the action itself is an exception.
class IContext_ : public IContextDef {
 public:
  static constexpr GUID IID = guid("ef733a1e-8b2f-456a-9f3e-27c14047c59f");

  // Slot 19.
  virtual bool getPropVal(int prop, GenericValue& out) = 0;
  // Slot 20.
  virtual bool setPropVal(int prop, const GenericValue& value) = 0;
  // Slot 21: `result` is null for a procedure call; `params` hold one handle per parameter, through
  // which out parameters are handed back.
  virtual bool call(int method, GenericValue* result, const std::vector<GenericValue*>& params) = 0;

 protected:
  ~IContext_() = default;
};

// The context interface under its short name.
using IContext = IContext_;

// What the lookup strategies search. They ask only for the member counts and names, which every
// definition answers, so any IContextDef will do; the alias keeps their signatures independent of the
// rest of the interface.
using IContextDefBase = IContextDef;

// A method of a context as a value the script can hold and call later.
class IFunction : public IUnknown {
 public:
  static constexpr GUID IID = guid("d5d2c8e0-5fa9-465a-a51a-22ca1c253cc1");

  // The context's call(getMethod(), result, params).
  virtual bool call(GenericValue* result, const std::vector<GenericValue*>& params) = 0;
  // The context (borrowed).
  virtual IContext_* getContext() const noexcept = 0;
  // The method number in that context.
  virtual int getMethod() const noexcept = 0;
  // Whether the function borrows its context instead of holding a reference: the context's owner then
  // keeps it alive for as long as the function is used (which breaks the cycle of a context that stores
  // functions of its own methods).
  virtual bool isWeak() const noexcept = 0;

 protected:
  ~IFunction() = default;
};

// ---------------------------------------------------------------------------------------------------
// Empty definitions and contexts. They leave the IUnknown slots to the final object, which may combine
// them with a value or other interfaces and count references its own way.

namespace detail {

// The answers of a definition without members, shared by ContextDefCore and ContextCore.
template <class Interface>
class EmptyContextDef : public Interface {
 public:
  int getNProps() override { return 0; }
  const char16_t* getPropName(int, int) override { return nullptr; }
  bool isPropReadable(int) override { return false; }
  bool isPropWritable(int) override { return false; }
  int findProp(std::u16string_view) override { return -1; }
  int getNMethods() override { return 0; }
  const char16_t* getMethodName(int, int) override { return nullptr; }
  int getNParams(int) override { return 0; }
  bool isParamIn(int, int) override { return false; }
  bool isParamOut(int, int) override { return false; }
  bool getParamDefValue(int, int, GenericValue*) override { return false; }
  bool hasRetVal(int) override { return false; }
  int findMethod(std::u16string_view) override { return -1; }
  IContextDef* getIContextDef() override { return this; }

 protected:
  ~EmptyContextDef() = default;
};

}  // namespace detail

// No properties, no methods. Definitions derive from it and override what they have.
class ContextDefCore : public detail::EmptyContextDef<IContextDef> {
 protected:
  ~ContextDefCore() = default;
};

// A context without members: reading, writing and calling answer false.
class ContextCore : public detail::EmptyContextDef<IContext_> {
 public:
  bool getPropVal(int, GenericValue&) override { return false; }
  bool setPropVal(int, const GenericValue&) override { return false; }
  bool call(int, GenericValue*, const std::vector<GenericValue*>&) override { return false; }

 protected:
  ~ContextCore() = default;
};

// A context whose definition is another object: every definition query goes to the definition given
// with setIContextDef. Until one is given the context answers as one without members. The context's
// values and calls are the subclass's.
class KERN83_API IContextExtImplBase : public IContext_ {
 public:
  // Holds a reference to `def` (may be null) in place of the previous one. Set it before the context is
  // shared.
  void setIContextDef(IContextDef* def) noexcept;
  // The external definition (borrowed), or null.
  IContextDef* getExternalContextDef() const noexcept { return def_.get(); }

  int getNProps() override;
  const char16_t* getPropName(int prop, int alias) override;
  bool isPropReadable(int prop) override;
  bool isPropWritable(int prop) override;
  int findProp(std::u16string_view name) override;
  int getNMethods() override;
  const char16_t* getMethodName(int method, int alias) override;
  int getNParams(int method) override;
  bool isParamIn(int method, int param) override;
  bool isParamOut(int method, int param) override;
  bool getParamDefValue(int method, int param, GenericValue* out) override;
  bool hasRetVal(int method) override;
  int findMethod(std::u16string_view name) override;
  // The external definition (null until set).
  IContextDef* getIContextDef() override { return def_.get(); }
  bool getPropInfo(int prop, PropInfo& info) override;
  int getPropCatagory(int prop) override;

 protected:
  IContextExtImplBase() noexcept;
  ~IContextExtImplBase();

 private:
  InterfacePtr<IContextDef> def_;
};

// ---------------------------------------------------------------------------------------------------
// Definitions registered by class identifier, so that a definition can name another one it borrows its
// members from without linking to it.

// Makes a new definition, handing one reference to the caller.
using ContextDefFactory = InterfacePtr<IContextDef> (*)();

// Registers `factory` for `clsid`, replacing an earlier one; a null factory removes the entry.
// Thread-safe.
KERN83_API void register_context_def_factory(const GUID& clsid, ContextDefFactory factory);
// A definition made by the factory registered for `clsid`, or null when none is. Thread-safe; the
// factory runs outside the registry's lock and may register others.
KERN83_API InterfacePtr<IContextDef> create_context_def(const GUID& clsid);

// The definition part of a class that forwards it to an external definition. The class derives from
// IContext_ (or IContextDef) as well and implements each slot with the matching IContextDef_...
// operation, e.g. `int getNProps() override { return IContextDef_getNProps(); }`. Without an external
// definition every operation answers as a definition without members.
class KERN83_API ContextDefExternBase {
 public:
  ContextDefExternBase() noexcept;
  // The definition registered for `clsid`, made now. Throws SCOM_Exception (ClassNotRegistered) when no
  // factory is registered for it or the factory gives none.
  explicit ContextDefExternBase(const GUID& clsid);
  virtual ~ContextDefExternBase();
  ContextDefExternBase(const ContextDefExternBase&) = delete;
  ContextDefExternBase& operator=(const ContextDefExternBase&) = delete;

  // Holds a reference to `def` (may be null) in place of the previous one. Not to be called while the
  // definition is being queried.
  void setIContextDef(IContextDef* def) noexcept;
  // The external definition as far as it is known: for a lazy one, null until first obtained.
  IContextDef* getExternalContextDef() const noexcept;

  // The IContextDef operations, answered by the external definition (see the class comment).
  int IContextDef_getNProps();
  const char16_t* IContextDef_getPropName(int prop, int alias);
  bool IContextDef_isPropReadable(int prop);
  bool IContextDef_isPropWritable(int prop);
  int IContextDef_findProp(std::u16string_view name);
  int IContextDef_getNMethods();
  const char16_t* IContextDef_getMethodName(int method, int alias);
  int IContextDef_getNParams(int method);
  bool IContextDef_isParamIn(int method, int param);
  bool IContextDef_isParamOut(int method, int param);
  bool IContextDef_getParamDefValue(int method, int param, GenericValue* out);
  bool IContextDef_hasRetVal(int method);
  int IContextDef_findMethod(std::u16string_view name);
  IContextDef* IContextDef_getIContextDef();
  bool IContextDef_getPropInfo(int prop, PropInfo& info);
  int IContextDef_getPropCatagory(int prop);

 protected:
  // The definition to forward to; ContextDefExternLazed obtains it on first use.
  virtual IContextDef* definition();
  // For ContextDefExternLazed: publishes a definition obtained on first use.
  std::atomic<IContextDef*>& definitionSlot() noexcept { return def_; }

 private:
  std::atomic<IContextDef*> def_{nullptr};  // holds a reference when not null
};

// As ContextDefExternBase, with the external definition named by a class identifier and made on first
// use. The first use may come from several threads at once; the definition is made once.
class KERN83_API ContextDefExternLazed : public ContextDefExternBase {
 public:
  ContextDefExternLazed() noexcept;
  ~ContextDefExternLazed() override;

  // Names the class of the external definition and drops one obtained before. Not to be called while the
  // definition is being queried.
  void setTypeCLSID(const GUID& clsid) noexcept;
  // The class named by setTypeCLSID (the null GUID before).
  const GUID& getTypeCLSID() const noexcept { return clsid_; }

  // The external definition, made now when not yet made. Throws SCOM_Exception (ClassNotRegistered) when
  // the class is not registered; the definition queries pass that on.
  IContextDef* IContext_getIContextDef();
  // As IContext_getIContextDef but never throws: null when the definition cannot be made, for callers
  // that must not raise.
  IContextDef* IContext_getIContextDef0() noexcept;

 protected:
  IContextDef* definition() override { return IContext_getIContextDef(); }

 private:
  GUID clsid_{};
  IMutexImpl mutex_;  // serialises the first make
};

// ---------------------------------------------------------------------------------------------------
// Name lookup strategies, for definitions to implement findProp and findMethod with:
//
//     int findProp(std::u16string_view name) override { return cache_.findProp(this, name); }
//
// All three give the same answers. Names are compared one UTF-16 code unit at a time, each folded to
// upper and then to lower case (ASCII letters and the Cyrillic capitals U+0410 to U+042F by the fixed
// offset 32, other characters by the Unicode simple case mappings), so that a character whose upper case
// is shared with another (the long s and s, dotless i and i) matches it. When several members share a
// name, the lowest number wins.

// Scans the members in number order and their aliases in alias order. No memory, no setup: for
// definitions of a few members.
class KERN83_API ContextDefNoncached {
 public:
  // The property (method) of `def` named `name` in any alias, or -1.
  static int findProp(IContextDefBase* def, std::u16string_view name);
  static int findMethod(IContextDefBase* def, std::u16string_view name);
};

namespace detail {
class SortedContextNames;
class HashedContextNames;
}  // namespace detail

// Sorted tables of all names (every alias), searched by bisection. A table is built by init...Cache, or,
// when the object was made with `buildOnFirstLookup`, by the first lookup. A lookup in a table that was
// never built on an object made without it stops the process: the definition forgot its setup, and
// answering "not found" would hide that from every caller.
class KERN83_API _ContextDefCached {
 public:
  // No tables yet; `buildOnFirstLookup` lets the first lookup build a missing table.
  explicit _ContextDefCached(bool buildOnFirstLookup);
  ~_ContextDefCached();
  _ContextDefCached(const _ContextDefCached&) = delete;
  _ContextDefCached& operator=(const _ContextDefCached&) = delete;

  // The property (method) of `def` named `name`, or -1; `def` is the definition that owns this object.
  int findProp(IContextDefBase* def, std::u16string_view name);
  int findMethod(IContextDefBase* def, std::u16string_view name);
  // Enter every name of `def`'s properties (methods) anew.
  void initPropsCache(IContextDefBase* def);
  void initMethodsCache(IContextDefBase* def);
  // Empty a table: the next lookup builds it again or, without `buildOnFirstLookup`, stops the process.
  void resetPropsCache();
  void resetMethodsCache();

 private:
  std::unique_ptr<detail::SortedContextNames> props_;
  std::unique_ptr<detail::SortedContextNames> methods_;
  bool buildOnFirstLookup_;
};

// Hash tables of all names, keyed by the case-folded name. A table not yet built is built by the first
// lookup.
class KERN83_API ContextDefHashCached {
 public:
  ContextDefHashCached();
  ~ContextDefHashCached();
  ContextDefHashCached(const ContextDefHashCached&) = delete;
  ContextDefHashCached& operator=(const ContextDefHashCached&) = delete;

  // The property (method) of `def` named `name`, or -1; `def` is the definition that owns this object.
  int findProp(IContextDefBase* def, std::u16string_view name);
  int findMethod(IContextDefBase* def, std::u16string_view name);
  // Enter every name of `def`'s properties (methods) anew.
  void initPropsCache(IContextDefBase* def);
  void initMethodsCache(IContextDefBase* def);
  // Empty a table: the next lookup builds it again.
  void resetPropsCache();
  void resetMethodsCache();

 private:
  std::unique_ptr<detail::HashedContextNames> props_;
  std::unique_ptr<detail::HashedContextNames> methods_;
};

// ---------------------------------------------------------------------------------------------------
// Free functions.

// Method `method` of `context` as a function value. Unless `weak`, the function holds a reference to the
// context. Throws IllegalArgumentException for a null context or a number outside 0 to
// getNMethods() - 1.
KERN83_API InterfacePtr<IFunction> context_method_to_function(IContext_* context, int method, bool weak);
// The same for the method named `name` (found with the context's findMethod); an unknown name throws
// IllegalArgumentException.
KERN83_API InterfacePtr<IFunction> context_method_to_function(IContext_* context, std::u16string_view name, bool weak);

// Guards for constructions and context actions that safe mode forbids: when the calling thread is in safe
// mode, throw CtorException or ContextException with the message "IDS_ERROR_SAFEMODE". A thread without
// a library thread object is never in safe mode.
KERN83_API void throw_if_safe_mode_ctor();
KERN83_API void throw_if_safe_mode_context();

}  // namespace core
