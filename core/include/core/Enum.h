#pragma once
// System enumerations: closed sets of named values (alignments, check modes and the like) that script
// code uses as values.
//
// An enumeration is three objects sharing one class identifier:
//  - its items, `EnumValItem`s: a number, an English and a Russian name, optional second names, and a
//    deprecated flag;
//  - the type of its values, an `EnumValTypeBase` (an object type, code 100, whose class GUID is the
//    enumeration's), registered with register_object_type so that Type(clsid) finds it;
//  - the enumeration object, an `EnumValFactoryTypeBase`, through which script code reaches the items
//    as properties ("HAlign.Left", "ГоризонтальноеПоложение.Лево"). It makes the values and answers its
//    member description from the definition registered for the class identifier
//    (register_context_def_factory, core/Context.h).
//
//     class HAlignEnum : public core::EnumValFactoryTypeBase {
//      public:
//       HAlignEnum() : EnumValFactoryTypeBase(kHAlignCLSID) {
//         __initEnumValFactoryType(u"HAlign", u"ГоризонтальноеПоложение", nullptr, nullptr);
//         for (const core::EnumValItem& item : halign_items()) addItem(item);
//         setEnumValType(0);        // the type of the values; Left is the default value
//       }
//     };
//     core::register_context_def_factory(kHAlignCLSID,
//                                        [] { return core::create_enum_val_context_def(halign_items()); });
//
//     core::Value left(halign.createEnumValue(0), core::adopt_ref);
//     left.getString(text);                                  // "Left", or "Лево" in a Russian script
//     core::get_enum(left, kHAlignCLSID);                    // 0
//     core::get_enum(params, 1, kHAlignCLSID);               // the number, or parameter_type_mismatch(1)
//
// Values are immutable, print their item's name in the calling thread's script language
// (core::current_script_language), compare equal when they belong to the same type object and carry
// the same number, hash to their number, and persist as their number alone (serialize); held in a
// value handle (GenericValue::serialize) they persist as their class identifier and number.
//
// Thread safety: items, values and types are immutable once the enumeration is built and may be used
// from any thread. An enumeration object is built by one thread (its constructor, addItem,
// setEnumValType, __initEnumValFactoryType) and only read afterwards.

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "avo/BasicString.h"
#include "core/Context.h"
#include "core/Export.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "core/Persistence.h"
#include "core/Type.h"
#include "core/Value.h"

namespace core {

class IInPersistenceStorage;
class IOutPersistenceStorage;
class EnumValFactoryTypeBase;

// ---------------------------------------------------------------------------------------------------
// Terms: the English (index 0) and Russian (index 1) names of the items of the library's enumerations.

// A term: the English and the Russian name.
using EnumValTerm = const char16_t* const[2];

// Horizontal and vertical alignment, and the fill check modes.
inline constexpr EnumValTerm kPropEnumValTermHAlignLeft = {u"Left", u"Лево"};
inline constexpr EnumValTerm kPropEnumValTermHAlignRight = {u"Right", u"Право"};
inline constexpr EnumValTerm kPropEnumValTermHAlignCenter = {u"Center", u"Центр"};
inline constexpr EnumValTerm kPropEnumValTermHAlignJustify = {u"Justify", u"ПоШирине"};
inline constexpr EnumValTerm kPropEnumValTermHAlignAuto = {u"Auto", u"Авто"};
inline constexpr EnumValTerm kPropEnumValTermVAlignTop = {u"Top", u"Верх"};
inline constexpr EnumValTerm kPropEnumValTermVAlignCenter = {u"Center", u"Центр"};
inline constexpr EnumValTerm kPropEnumValTermVAlignBottom = {u"Bottom", u"Низ"};
inline constexpr EnumValTerm kFillCheckDoNotCkeckEnumValTerm = {u"DontCheck", u"НеПроверять"};
inline constexpr EnumValTerm kFillCheckShowErrorEnumValTerm = {u"ShowError", u"ВыдаватьОшибку"};

// ---------------------------------------------------------------------------------------------------
// Items.

// One item of an enumeration. The number comes first: a value's getDataPtr points at its item, and code
// that knows the value is an enumeration's reads the number as the first 32 bits there.
class KERN83_API EnumValItem {
 public:
  // A null name leaves that name empty.
  EnumValItem(std::int32_t value, const char16_t* englishName, const char16_t* russianName, bool deprecated = false);
  // With second names: an alternative presentation of the item.
  EnumValItem(std::int32_t value, const char16_t* englishName, const char16_t* russianName,
              const char16_t* englishSecondName, const char16_t* russianSecondName, bool deprecated = false);

  // The item's number within its enumeration.
  std::int32_t value() const noexcept { return value_; }
  // Kept for old code only.
  bool deprecated() const noexcept { return deprecated_; }
  // 0 English name, 1 Russian name, 2 English second name, 3 Russian second name; null when that string
  // is empty or `i` is outside 0 to 3. Valid as long as the item.
  const char16_t* termString(int i) const noexcept;

 private:
  std::int32_t value_;  // first: see the class comment
  avo::WString names_[2];
  avo::WString secondNames_[2];
  bool deprecated_;
};

// Where a value's text comes from when it is not the item's name: the message `key` of resource module
// `module` (core/Resources.h), in the calling thread's resource language. When the module has no text for
// the key, `showMissingKey` decides: true shows the key itself (so that a missing text is seen in
// development), false falls back to the item's name.
struct EnumValResource {
  const char* module;   // the resource module, or null
  const char* key;      // the message key, or null
  bool showMissingKey;  // see above

  // Whether there is no resource (then the item's name is shown).
  bool empty() const noexcept { return module == nullptr || key == nullptr; }
};

// No resource: the value prints its item's name.
inline constexpr EnumValResource kEmtyEnumValResource{nullptr, nullptr, false};

// ---------------------------------------------------------------------------------------------------
// Values.

// A value of an enumeration: a copy of its item and the resource reference of its text.
class KERN83_API EnumValValueBase : public ObjectValueCore, public IPersistentObject {
 public:
  // A counted value of type `type` (not null; a reference is taken).
  EnumValValueBase(IType* type, const EnumValItem& item, const EnumValResource& resource = kEmtyEnumValResource);

  // The item and the resource reference given to the constructor.
  const EnumValItem& item() const noexcept { return item_; }
  const EnumValResource& resource() const noexcept { return resource_; }

  // The item.
  const void* getDataPtr() const noexcept override { return &item_; }
  // The resource text when there is one (see EnumValResource); otherwise the item's name in the calling
  // thread's script language, English when that name is empty, and the empty string for a language
  // other than 0 and 1. Always succeeds.
  bool getString(avo::WString& out) const override;
  // The same object, or a value of the same type object with the same number.
  bool isEqual(IValue* other) const noexcept override;
  // The item's number.
  std::int32_t hashCode() const noexcept override { return item_.value(); }
  // An enumeration value is always a choice somebody made: never a default value.
  bool isDefaultValue() const noexcept { return false; }

  // Writes the number as one item (no list of its own): the type's deserialize reads it back.
  void serialize(IOutPersistenceStorage* storage) const;

  // IUnknown of the value, also answering IPersistentObject: as a value (GenericValue::serialize) an
  // enumeration value persists as its class id and number.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return ObjectValueCore::AddRef(); }
  std::uint32_t Release() override { return ObjectValueCore::Release(); }
  void serializePayload(IOutPersistenceStorage* storage) const override { serialize(storage); }

 private:
  EnumValItem item_;
  EnumValResource resource_;
};

// ---------------------------------------------------------------------------------------------------
// Types.

// The enumeration object's interface for making values.
class IEnumValFactory : public IUnknown {
 public:
  static constexpr GUID IID = guid("0f6b3a52-9d4e-4c1a-b0e7-5a7c2d913e41");

  // The items, in property order.
  virtual int getNItems() const noexcept = 0;
  // Item `index`, or null outside 0 to getNItems() - 1.
  virtual const EnumValItem* getItem(int index) const noexcept = 0;
  // The value of the item numbered `number`, with a reference for the caller; null when no item has it.
  virtual IValue* createEnumValue(std::int32_t number) const = 0;
  // The type of the values (borrowed), or null before the enumeration has one.
  virtual IType* getEnumValType() const noexcept = 0;

 protected:
  ~IEnumValFactory() = default;
};

// The type of the values of one enumeration: an object type whose class GUID is the enumeration's.
// Made by the enumeration object (EnumValFactoryTypeBase::setEnumValType), which it answers as
// enumValFactory() and whose value-type names it shows.
class KERN83_API EnumValTypeBase : public ObjectTypeCore, public IPersistentObjectType {
 public:
  // `defaultNumber` is the number of the item createIValue gives.
  EnumValTypeBase(const GUID& clsid, int defaultNumber) noexcept;

  // The enumeration's value names (see __initEnumValFactoryType); null before an enumeration owns the type.
  const char16_t* getTypeString(int alias) const noexcept override;
  // The value of the default item. Throws IllegalStateException when the enumeration has no such item.
  IValue* createIValue() const override;
  // Script code cannot construct enumeration values, and they never change.
  bool hasCtor(int) const noexcept override { return false; }
  bool isValueMutable() const noexcept override { return false; }

  // Reads a number written by EnumValValueBase::serialize and gives the value of that item, with a
  // reference for the caller. Throws ListStreamException for malformed input and for a number that is
  // not one of the enumeration's.
  IValue* deserialize(IInPersistenceStorage* storage) const;

  // IUnknown of the type, also answering IPersistentObjectType for GenericValue::deserialize.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return ObjectTypeCore::AddRef(); }
  std::uint32_t Release() override { return ObjectTypeCore::Release(); }
  IValue* deserializePayload(IInPersistenceStorage* storage) const override { return deserialize(storage); }

  // The enumeration that owns the type (borrowed), or null.
  IEnumValFactory* enumValFactory() const noexcept;
  // The number of the item createIValue gives.
  int defaultNumber() const noexcept { return defaultNumber_; }

 private:
  friend class EnumValFactoryTypeBase;
  const EnumValFactoryTypeBase* owner_ = nullptr;
  int defaultNumber_;
};

// The enumeration object: its items as read-only properties of a script context, and the factory of its
// values. The member description (names, counts, lookups) is the definition registered for the class
// identifier, made on first use; that definition must list the items in the order they were added, as
// create_enum_val_context_def of the same items does. Without a registered definition every definition
// query throws SCOM_Exception (ClassNotRegistered).
//
// Lives as long as the process, like the type it registers: make it once (a function-local static) and
// share it. Its reference count is kept but never deletes it.
class KERN83_API EnumValFactoryTypeBase : public IContext_, public IEnumValFactory {
 public:
  // An enumeration without items and names for the class identifier `clsid`; the subclass's constructor
  // names it, makes its type and adds its items.
  explicit EnumValFactoryTypeBase(const GUID& clsid);
  virtual ~EnumValFactoryTypeBase();
  EnumValFactoryTypeBase(const EnumValFactoryTypeBase&) = delete;
  EnumValFactoryTypeBase& operator=(const EnumValFactoryTypeBase&) = delete;

  // The class identifier.
  const GUID& getCLSID() const noexcept { return clsid_; }

  // The enumeration's names: the object's type names are "Enum" + englishName and "Перечисление" +
  // russianName; its values' type names are englishValueName and russianValueName, or englishName and
  // russianName when those are null or empty. A null or empty englishName (russianName) leaves the
  // English (Russian) names unset.
  void __initEnumValFactoryType(const char16_t* englishName, const char16_t* russianName,
                                const char16_t* englishValueName, const char16_t* russianValueName);
  // Alias 0 the English type name, 1 the Russian one or the English one when that is empty; null for
  // other aliases and for a name never set.
  const char16_t* getTypeString(int alias) const noexcept;
  // The names of the values' type, by the same rule.
  const char16_t* getValueTypeString(int alias) const noexcept;

  // IEnumValFactory.
  int getNItems() const noexcept override { return static_cast<int>(values_.size()); }
  const EnumValItem* getItem(int index) const noexcept override;
  IValue* createEnumValue(std::int32_t number) const override;
  IType* getEnumValType() const noexcept override { return type_.get(); }

  // IUnknown: answers IUnknown, IContextDef, IContext_ and IEnumValFactory.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;

  // IContextDef, forwarded to the registered definition.
  int getNProps() override { return def_.IContextDef_getNProps(); }
  const char16_t* getPropName(int prop, int alias) override { return def_.IContextDef_getPropName(prop, alias); }
  bool isPropReadable(int prop) override { return def_.IContextDef_isPropReadable(prop); }
  bool isPropWritable(int prop) override { return def_.IContextDef_isPropWritable(prop); }
  int findProp(std::u16string_view name) override { return def_.IContextDef_findProp(name); }
  int getNMethods() override { return def_.IContextDef_getNMethods(); }
  const char16_t* getMethodName(int method, int alias) override {
    return def_.IContextDef_getMethodName(method, alias);
  }
  int getNParams(int method) override { return def_.IContextDef_getNParams(method); }
  bool isParamIn(int method, int param) override { return def_.IContextDef_isParamIn(method, param); }
  bool isParamOut(int method, int param) override { return def_.IContextDef_isParamOut(method, param); }
  bool getParamDefValue(int method, int param, GenericValue* out) override {
    return def_.IContextDef_getParamDefValue(method, param, out);
  }
  bool hasRetVal(int method) override { return def_.IContextDef_hasRetVal(method); }
  int findMethod(std::u16string_view name) override { return def_.IContextDef_findMethod(name); }
  IContextDef* getIContextDef() override { return def_.IContext_getIContextDef(); }
  bool getPropInfo(int prop, PropInfo& info) override { return def_.IContextDef_getPropInfo(prop, info); }
  int getPropCatagory(int prop) override { return def_.IContextDef_getPropCatagory(prop); }

  // Extended description queries with fixed answers: an enumeration is not a collection, its members
  // carry no further descriptions and its parameters no further information.
  bool isCollection() const noexcept { return false; }
  bool isValueMutable() const noexcept { return false; }
  bool propIndexAccessDisabled() const noexcept { return false; }
  bool isPropDefaultTypeProvider(int) const noexcept { return false; }
  bool isMethodDefaultTypeProvider(int) const noexcept { return false; }
  bool getMethodCatagory(int) const noexcept { return false; }
  IContextDef* getPropContextDefBase(int) const noexcept { return nullptr; }
  IContextDef* getMethodReturnContextDefBase(int) const noexcept { return nullptr; }
  int getParamInfo(int, int) const noexcept { return 0; }

  // IContext_: property i reads the value of item i; nothing is writable and there is nothing to call.
  bool getPropVal(int prop, GenericValue& out) override;
  bool setPropVal(int, const GenericValue&) override { return false; }
  bool call(int, GenericValue*, const std::vector<GenericValue*>&) override { return false; }

 protected:
  // Appends an item whose value prints `resource`'s text (see EnumValResource). Call after
  // setEnumValType. Throws IllegalArgumentException for a number already taken.
  void addItem(const EnumValItem& item, const EnumValResource& resource = kEmtyEnumValResource);
  // Makes the type of the values (default item `defaultNumber`) and registers it for the class
  // identifier. Call once, before addItem. Throws IllegalArgumentException when another type is
  // registered for the class identifier, IllegalStateException when called twice.
  void setEnumValType(int defaultNumber);

 private:
  friend class EnumValTypeBase;
  static avo::WString prefixed(const char16_t* prefix, const char16_t* name);

  GUID clsid_;
  ContextDefExternLazed def_;
  AtomicCounter refs_{0};
  InterfacePtr<EnumValTypeBase> type_;
  std::vector<InterfacePtr<EnumValValueBase>> values_;  // one shared value per item, in property order
  avo::WString typeNames_[2];
  avo::WString valueTypeNames_[2];
};

// A definition whose properties are `items` in order, named by their English and Russian names,
// readable and not writable, ordinary (category 0) and of no known type, with no methods; found by
// either name in any case. Copies the items. For the factory an enumeration registers with
// register_context_def_factory.
KERN83_API InterfacePtr<IContextDef> create_enum_val_context_def(std::span<const EnumValItem> items);

// ---------------------------------------------------------------------------------------------------
// Taking enumeration values out of properties and parameters. `type` is the enumeration's class
// identifier; the answer is the value's item number. A value of any other type (another enumeration
// included, whatever its number) raises the mismatch, as does a missing or null parameter.

// property_type_mismatch() on a mismatch.
KERN83_API std::int32_t get_enum(const GenericValue& value, const GUID& type);
// parameter_type_mismatch(index) on a mismatch.
KERN83_API std::int32_t get_enum(std::span<GenericValue* const> params, int index, const GUID& type);
// ctor_parameter_type_mismatch(index) on a mismatch.
KERN83_API std::int32_t get_enum_ctor(std::span<GenericValue* const> params, int index, const GUID& type);

// Whether `params` has a parameter at `index` (more than `index` entries) that is not Undefined.
KERN83_API bool defined(std::span<GenericValue* const> params, int index) noexcept;

}  // namespace core
