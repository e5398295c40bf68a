#pragma once
// Values: the dynamically typed, immutable, reference-counted data of the platform's script layer and
// data structures.
//
// A value is an object behind the interface `IValue`; the handles `Value` (owning), `WeakValue` (may
// borrow) and their common base `GenericValue` hold one. A handle never holds null: an empty handle holds
// the Undefined singleton.
//
//     core::Value a = 10;                       // a number (a core::Numeric inside)
//     core::Value b(u"ten");                    // a string
//     core::Value c = true;                     // the True singleton
//     a.equals(10);                             // true
//     a.equals(c);                              // false: values of different kinds are never equal
//     a.type().getTypeCode();                   // core::Type::Number (3)
//     avo::WString text;
//     a.getString(text);                        // true, u"10" (the calling thread's number format)
//
//     core::Value owned(core::create_numeric_value(12345), core::adopt_ref);  // factories hand over one
//                                                                            // reference: adopt it
//     core::WeakValue borrowed(owned._getIValue());   // wraps without touching the count
//
// Kinds and type codes (core/Type.h): Undefined 0, Null 1, Boolean 2, Number 3, String 4, Date 5, the
// unspecified-argument marker 1000, and object kinds (code 100) told apart by their type object's class
// GUID: UUID, GUID, binary data, local string, composite id, type description, value array, automation
// object.
//
// Shared singletons, created before first use and never destroyed, whose reference counts are ignored:
// Undefined, Null, True, False, the numbers 0 to 9, the empty string, the empty date and the
// unspecified-argument marker. Handing them around never allocates and never writes shared memory.
//
// Conversions (getBoolean, getNumeric, getString, getDate) never throw for a kind mismatch: they return
// false and leave a neutral result (false, zero, the empty date, an empty string). Text conversions use
// the calling thread's formats (core/Formats.h). The ones that succeed:
//   getBoolean  Boolean; Number (true unless zero); String holding a boolean word of the BoolFormat
//   getNumeric  Number; Boolean (1 or 0); String holding a decimal number in the canonical syntax, blanks
//               (space, tab, CR, LF) around it allowed
//   getString   Undefined, Null and the marker give ""; Boolean and Number by the thread's formats; String
//               itself; Date as "YYYY-MM-DD hh:mm:ss"; UUID and GUID in their 36-character form; local
//               strings in the thread's resource language; composite ids in their text form; type
//               descriptions as their type names; other objects as their type's name
//   getDate     Date; String holding the digits "YYYYMMDD" or "YYYYMMDDhhmmss" of a valid date
//
// Thread safety: values are immutable and may be shared freely between threads; reference counts change
// atomically. A handle object is not synchronised: one handle is used by one thread at a time. The one
// mutable kind here, the value array, is not synchronised either: while one thread changes an array, no
// other thread may use it.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

#include "avo/BasicString.h"
#include "core/CharStream.h"
#include "core/CompositeID.h"
#include "core/Date.h"
#include "core/Export.h"
#include "core/File.h"
#include "core/Formats.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "core/LocalString.h"
#include "core/Numeric.h"
#include "core/Type.h"
#include "core/TypeDomain.h"
#include "core/Url.h"
#include "nexa/Memory.h"

namespace core {

class Value;
class IOutPersistenceStorage;
class IInPersistenceStorage;

// ---------------------------------------------------------------------------------------------------
// The value interface.

// Slots 0 to 2 are IUnknown's (query interface, add reference, release: the release that brings the count
// to zero destroys the object). The order of the following slots is fixed.
//
// `getDataPtr` points at the kind's payload, which lives as long as the value: a `bool` for Boolean, a
// `Numeric` for Number, an `avo::WString` for String, a `Date` for Date, a `GUID` for UUID and GUID
// values, an `avo::String` of the bytes for binary data, the `LocalWString`, `CompositeID` or
// `TypeDomainPattern` of those kinds; null for Undefined, Null and the unspecified marker. Code that
// finds a value's type object equal to a kind's may rely on that payload.
class IValue : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a30");

  // Slot 3: the type object of the value's kind, borrowed (valid while the value lives). Never null.
  virtual IType* type() const noexcept = 0;
  // Slot 4: the payload, or null.
  virtual const void* getDataPtr() const noexcept = 0;
  // Slot 5: conversion to a boolean; on failure `out` is false.
  virtual bool getBoolean(bool& out) const = 0;
  // Slot 6: conversion to a number; on failure `out` is zero.
  virtual bool getNumeric(Numeric& out) const = 0;
  // Slot 7: the presentation of the value; on failure `out` is empty.
  virtual bool getString(avo::WString& out) const = 0;
  // Slot 8: conversion to a date; on failure `out` is left alone or set to the empty date.
  virtual bool getDate(Date& out) const = 0;
  // Slot 9: value equality: the same object, else the same type object and equal payloads. Null is equal
  // to nothing.
  virtual bool isEqual(IValue* other) const noexcept = 0;
  // Slot 10: a hash consistent with isEqual.
  virtual std::int32_t hashCode() const noexcept = 0;

 protected:
  ~IValue() = default;
};

// ---------------------------------------------------------------------------------------------------
// Kind interfaces of the further value kinds, reached from a value by QueryInterface (or returned by
// their create_... factory). Each is implemented by the same object as its IValue.

// A text in several languages (create_local_str_val); it prints in the thread's resource language.
class ILocalString : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a31");
  // The payload, valid as long as the value.
  virtual const LocalWString& getLocalString() const noexcept = 0;

 protected:
  ~ILocalString() = default;
};

// A universally unique identifier as the script language's UUID type.
class IUUIDValue : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a32");
  // The payload, valid as long as the value.
  virtual const GUID& getUUID() const noexcept = 0;

 protected:
  ~IUUIDValue() = default;
};

// A GUID as an internal value (class and interface ids); a kind of its own, never equal to a UUID value.
class IGUID_Value : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a33");
  // The payload, valid as long as the value.
  virtual const GUID& getGUID() const noexcept = 0;

 protected:
  ~IGUID_Value() = default;
};

// Bytes as a value (create_binary_data_val): immutable, equal to another with the same bytes.
class IBinaryDataValue : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a34");
  // The bytes, valid as long as the value; the same as a pointer and a size.
  virtual const avo::String& getBytes() const noexcept = 0;
  const std::uint8_t* getData() const noexcept { return reinterpret_cast<const std::uint8_t*>(getBytes().data()); }
  std::size_t getSize() const noexcept { return getBytes().size(); }

 protected:
  ~IBinaryDataValue() = default;
};

// A composite identifier as a value (create_composite_id_val).
class ICompositeIDValue : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a35");
  // The payload, valid as long as the value.
  virtual const CompositeID& getCompositeID() const noexcept = 0;

 protected:
  ~ICompositeIDValue() = default;
};

// A type description as a value (create_type_domain_val): script code's "TypeDescription".
class ITypeDomainPatternValue : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a36");
  // The payload, valid as long as the value.
  virtual const TypeDomainPattern& getTypeDomainPattern() const noexcept = 0;

 protected:
  ~ITypeDomainPatternValue() = default;
};

// Optional interface of object values that can be empty: value_is_filled asks it. Object values without
// it count as filled.
class IValueFilled : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a37");
  // Whether the object holds something (see value_is_filled).
  virtual bool isFilled() const noexcept = 0;

 protected:
  ~IValueFilled() = default;
};

// ---------------------------------------------------------------------------------------------------
// Base classes for implementations.

// Holds the value's type object and the reference count. A new object starts with no reference: the
// first owner adds it (`Value v(new MyValue(...))` or an InterfacePtr). Objects live on the nexa heap.
// QueryInterface answers IUnknown and IValue; kinds with more interfaces override it.
class KERN83_API ValueImplBase : public IValue, public nexa::Allocated {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  IType* type() const noexcept override { return type_; }

  // Replaces the type object (adds a reference to the new one, releases the old one if one was taken).
  // Call it only while the value is being built; a null type is ignored.
  void setIType(IType* type) noexcept;
  // The type object (borrowed).
  IType* getIType() const noexcept { return type_; }

  // The current count (a snapshot, for diagnostics and tests); shared singletons answer 1.
  std::int32_t refCount() const noexcept;
  // Whether this is a shared singleton whose count is ignored.
  bool isShared() const noexcept { return shared_; }

 protected:
  // A counted value of type `type` (must not be null); adds a reference to the type.
  explicit ValueImplBase(IType* type) noexcept;
  // Selects the constructor below.
  struct ImmortalType {};
  // A counted value of a type that lives for the whole process (Type::create_type's, the library's own
  // object kinds, registered object types): no reference to the type is taken. The count starts at
  // `references` (1 lets a factory hand the creator's reference straight to its caller).
  ValueImplBase(IType* type, ImmortalType, std::int32_t references = 0) noexcept
      : type_(type), refs_(references), shared_(false), typeReferenced_(false) {}
  // Selects the constructor below.
  struct SharedTag {};
  // A shared singleton: never destroyed, reference count ignored. `type` must live for the whole process
  // too. For constant-initialised singletons.
  constexpr ValueImplBase(IType* type, SharedTag) noexcept
      : type_(type), refs_(1), shared_(true), typeReferenced_(false) {}
  virtual ~ValueImplBase();

  ValueImplBase(const ValueImplBase&) = delete;
  ValueImplBase& operator=(const ValueImplBase&) = delete;

 private:
  IType* type_;
  AtomicCounter refs_;
  bool shared_;
  bool typeReferenced_;  // whether the value holds a reference to type_
};

// Defaults for values of object types (script objects): getBoolean stores false and fails, getNumeric
// stores zero and fails, getDate fails, getString gives the type's name in the calling thread's resource
// language, isEqual is identity of the two objects, hashCode the low 32 bits of the object's address, and
// getDataPtr the object itself (kinds with a payload override it).
class KERN83_API ObjectValueCore : public ValueImplBase {
 public:
  const void* getDataPtr() const noexcept override { return this; }
  bool getBoolean(bool& out) const override;
  bool getNumeric(Numeric& out) const override;
  bool getString(avo::WString& out) const override;
  bool getDate(Date& out) const override;
  bool isEqual(IValue* other) const noexcept override;
  std::int32_t hashCode() const noexcept override;

 protected:
  // The constructors of ValueImplBase.
  explicit ObjectValueCore(IType* type) noexcept : ValueImplBase(type) {}
  ObjectValueCore(IType* type, ImmortalType tag, std::int32_t references = 0) noexcept
      : ValueImplBase(type, tag, references) {}
  constexpr ObjectValueCore(IType* type, SharedTag tag) noexcept : ValueImplBase(type, tag) {}
};

// ---------------------------------------------------------------------------------------------------
// Handles.

// The abstract handle: holds exactly one IValue pointer, never null. The virtual operations come first, in
// their fixed slot order; the public operations below them are written once in terms of those slots.
class KERN83_API GenericValue {
 public:
  // Makes the handle hold `value` (Undefined when null). Safe when `value` is already held.
  virtual void setIValue(IValue* value) = 0;
  // The held value with a reference for the caller.
  virtual InterfacePtr<IValue> getIValue() const = 0;
  // Makes `target` hold this handle's value (target.setIValue).
  virtual void setIValueTo(GenericValue& target) const = 0;
  // The held value's isEqual with `other`.
  virtual bool equals0(IValue* other) const = 0;
  // The held value's isEqual with the other handle's value.
  virtual bool equalsTo(const GenericValue& other) const = 0;
  // The held value's hashCode.
  virtual std::int32_t hashCode0() const = 0;
  // The held value's type.
  virtual Type type0() const = 0;
  virtual ~GenericValue() = default;

  // The held value, borrowed: valid while the handle holds it. Never null.
  IValue* _getIValue() const noexcept { return value_; }

  // Equality with a value of another kind is always false; equals(1) is false for True.
  bool equals(IValue* other) const;
  bool equals(const GenericValue& other) const;
  bool equals(const Value& other) const;
  bool equals(bool other) const;
  bool equals(signed char other) const;
  bool equals(unsigned char other) const;
  bool equals(short other) const;
  bool equals(unsigned short other) const;
  bool equals(int other) const;
  bool equals(unsigned int other) const;
  bool equals(long other) const;
  bool equals(unsigned long other) const;
  bool equals(long long other) const;
  bool equals(unsigned long long other) const;
  bool equals(double other) const;
  bool equals(const Numeric& other) const;
  bool equals(const Date& other) const;
  bool equals(std::u16string_view other) const;
  bool equals(const char16_t* other) const;
  bool equals(const char* other) const = delete;  // would silently compare with a boolean

  // The held value's hash and type.
  std::int32_t hashCode() const;
  Type type() const;

  // The held value's conversions (slots 5 to 8); false with a neutral result on a kind mismatch.
  bool getBoolean(bool& out) const;
  bool getNumeric(Numeric& out) const;
  bool getString(avo::WString& out) const;
  bool getDate(Date& out) const;

  // Replaces the held value; each mirrors a Value constructor. Allocation failures propagate and leave the
  // handle unchanged.
  GenericValue& assign(bool value);  // the True or False singleton, never allocates
  GenericValue& assign(signed char value);
  GenericValue& assign(unsigned char value);
  GenericValue& assign(short value);
  GenericValue& assign(unsigned short value);
  GenericValue& assign(int value);
  GenericValue& assign(unsigned int value);
  GenericValue& assign(long value);
  GenericValue& assign(unsigned long value);
  GenericValue& assign(long long value);
  GenericValue& assign(unsigned long long value);
  GenericValue& assign(double value);
  GenericValue& assign(const Numeric& value);
  GenericValue& assign(const Date& value);
  GenericValue& assign(std::u16string_view text);
  GenericValue& assign(const char16_t* text);  // null gives the empty string
  GenericValue& assign(const char* text) = delete;
  GenericValue& assign(IValue* value);     // adds a reference; null gives Undefined
  GenericValue& assign(IUnknown* object);  // as the Value constructor from IUnknown*
  GenericValue& assign(const GenericValue& other);
  // Back to Undefined.
  void clear();

  // The persistence form of the value (written and read by the list stream family). deserialize replaces
  // `out`'s value; it throws ListStreamException on malformed input and leaves `out` unchanged then.
  void serialize(IOutPersistenceStorage* storage) const;
  static void deserialize(IInPersistenceStorage* storage, GenericValue& out);

  // equals(other), for containers and tests.
  friend bool operator==(const GenericValue& a, const GenericValue& b) { return a.equalsTo(b); }

 protected:
  // For the handles: they decide whether `value` carries a reference.
  constexpr explicit GenericValue(IValue* value) noexcept : value_(value) {}
  GenericValue(const GenericValue&) = default;
  GenericValue& operator=(const GenericValue&) = default;

  IValue* value_;  // never null
};

// The owning handle: holds a counted reference to its value.
class KERN83_API Value : public GenericValue {
 public:
  // Undefined.
  Value() noexcept;
  Value(std::nullptr_t) noexcept;  // NOLINT(google-explicit-constructor): Undefined
  // Booleans are the True and False singletons; numbers 0 to 9 are shared singletons; other numbers,
  // strings and dates allocate a new value (std::bad_alloc propagates).
  Value(bool value) noexcept;       // NOLINT(google-explicit-constructor)
  Value(signed char value);         // NOLINT(google-explicit-constructor)
  Value(unsigned char value);       // NOLINT(google-explicit-constructor)
  Value(short value);               // NOLINT(google-explicit-constructor)
  Value(unsigned short value);      // NOLINT(google-explicit-constructor)
  Value(int value);                 // NOLINT(google-explicit-constructor)
  Value(unsigned int value);        // NOLINT(google-explicit-constructor)
  Value(long value);                // NOLINT(google-explicit-constructor)
  Value(unsigned long value);       // NOLINT(google-explicit-constructor)
  Value(long long value);           // NOLINT(google-explicit-constructor)
  Value(unsigned long long value);  // NOLINT(google-explicit-constructor)
  Value(double value);              // NOLINT(google-explicit-constructor)
  Value(const Numeric& value);      // NOLINT(google-explicit-constructor)
  Value(const Date& value);         // NOLINT(google-explicit-constructor)
  Value(std::u16string_view text);  // NOLINT(google-explicit-constructor)
  Value(const char16_t* text);      // NOLINT(google-explicit-constructor): null gives the empty string
  Value(const avo::WString& text) : Value(std::u16string_view(text)) {}  // NOLINT
  Value(const char* text) = delete;                                      // would silently become a boolean
  // Holds `value` and adds a reference; null gives Undefined.
  Value(IValue* value) noexcept;  // NOLINT(google-explicit-constructor)
  // Takes over the reference `value` carries (what every create_... factory returns); null gives
  // Undefined.
  Value(IValue* value, AdoptRef) noexcept;
  // An automation object: an object that is itself a value (answers IValue to QueryInterface) is held as
  // that value; any other object is wrapped in a new automation-object value. Null gives Undefined.
  explicit Value(IUnknown* object);
  // Another reference to the other handle's value.
  Value(const GenericValue& other) noexcept;  // NOLINT(google-explicit-constructor)
  Value(const Value& other) noexcept : GenericValue(other.value_) { value_->AddRef(); }
  // Leaves `other` holding Undefined.
  Value(Value&& other) noexcept;
  ~Value() override { value_->Release(); }

  // Holds the other handle's value (a new reference; moving leaves `other` holding Undefined).
  Value& operator=(const Value& other) noexcept;
  Value& operator=(Value&& other) noexcept;
  Value& operator=(const GenericValue& other) noexcept;

  // The shared Undefined handle.
  static const Value& undefined() noexcept;

  // Hands the held reference to the caller and leaves Undefined behind.
  [[nodiscard]] IValue* detachIValue() noexcept;

  void setIValue(IValue* value) final;
  InterfacePtr<IValue> getIValue() const final;
  void setIValueTo(GenericValue& target) const final;
  bool equals0(IValue* other) const final;
  bool equalsTo(const GenericValue& other) const final;
  std::int32_t hashCode0() const final;
  Type type0() const final;
};

// A handle that may borrow: it holds the pointer and a flag telling whether it owns a reference.
// Constructed from an IValue* it borrows (the count is not touched; the caller keeps the value alive for
// the handle's life). setIValue (and every assignment) takes a reference to the new value, releases the
// old one only if the flag was set, and then sets the flag. The destructor releases only when the flag is
// set. Copies own their reference, so a copy may outlive the value's original owner.
class KERN83_API WeakValue : public GenericValue {
 public:
  // Undefined, borrowed (the singleton needs no reference).
  WeakValue() noexcept;
  // Borrows `value` (null gives Undefined).
  WeakValue(IValue* value) noexcept;  // NOLINT(google-explicit-constructor)
  // Own a reference to the other handle's value.
  WeakValue(const GenericValue& other) noexcept;  // NOLINT(google-explicit-constructor)
  WeakValue(const WeakValue& other) noexcept;
  // Takes over the other handle's pointer and flag; `other` is left borrowing Undefined.
  WeakValue(WeakValue&& other) noexcept;
  ~WeakValue() override;

  // As setIValue: the handle then owns a reference (moving takes over the other's pointer and flag).
  WeakValue& operator=(const WeakValue& other) noexcept;
  WeakValue& operator=(WeakValue&& other) noexcept;
  WeakValue& operator=(const GenericValue& other) noexcept;

  // Whether the handle owns a reference to its value.
  bool ownsReference() const noexcept { return owns_; }

  // Hands a reference to the caller (the held one, or a new one when borrowing) and leaves Undefined.
  [[nodiscard]] IValue* detachIValue() noexcept;

  void setIValue(IValue* value) final;
  InterfacePtr<IValue> getIValue() const final;
  void setIValueTo(GenericValue& target) const final;
  bool equals0(IValue* other) const final;
  bool equalsTo(const GenericValue& other) const final;
  std::int32_t hashCode0() const final;
  Type type0() const final;

 private:
  bool owns_;
};

// ---------------------------------------------------------------------------------------------------
// The value array: an ordered, counted sequence of values that script code holds as one value ("Array",
// "Массив"). Unlike the other kinds it is mutable, so two arrays are equal only when they are the same
// object, whatever they hold, and the hash is the object's address. It converts to nothing but its type
// name and is filled when it holds at least one element. Its type object's createIValue makes a new
// empty array.
//
//     core::InterfacePtr<core::IValueArray> items = core::create_value_array();
//     items->add(core::Value(1));
//     items->insert(0, core::Value(u"first"));        // {"first", 1}
//     core::Value held(items.query<core::IValue>().get());  // the array as a value
//     items->getAt(1).equals(1);                      // true
//
// Elements are held by counted reference. An array that holds itself, directly or through other arrays,
// keeps itself alive: nothing breaks such a cycle. Index arguments out of range throw
// IllegalArgumentException and leave the array as it was; allocation failures (std::bad_alloc) leave it
// as it was too. An array persists (GenericValue::serialize) with all its elements, nested arrays up to
// 256 levels deep; serializing a deeper nesting, such as an array that holds itself, throws
// UnsupportedOperationException.
class IValueArray : public IUnknown {
 public:
  static constexpr GUID IID = guid("6a1f1ba4-3c2e-4d57-8e0b-5f2d9c1e7a38");

  // The number of elements.
  virtual std::uint32_t getCount() const noexcept = 0;
  // The element at `index` (below getCount()).
  virtual Value getAt(std::uint32_t index) const = 0;
  // Replaces the element at `index` (below getCount()).
  virtual void setAt(std::uint32_t index, const GenericValue& value) = 0;
  // Appends `value`.
  virtual void add(const GenericValue& value) = 0;
  // Puts `value` before the element at `index`; `index` equal to getCount() appends.
  virtual void insert(std::uint32_t index, const GenericValue& value) = 0;
  // Removes the element at `index` (below getCount()); the later ones move down by one.
  virtual void remove(std::uint32_t index) = 0;
  // Removes every element.
  virtual void clear() noexcept = 0;

 protected:
  ~IValueArray() = default;
};

// ---------------------------------------------------------------------------------------------------
// Factories. Each returns an IValue* carrying one reference for the caller (adopt it: Value(p, adopt_ref)),
// or an InterfacePtr to a kind interface. Singletons carry a nominal reference; releasing it is harmless.
// Allocation failures throw std::bad_alloc.

// The Undefined and Null singletons.
KERN83_API IValue* create_undefined_value() noexcept;
KERN83_API IValue* create_null_value() noexcept;
// The True or False singleton; never allocates.
KERN83_API IValue* create_boolean_value(bool value) noexcept;

// Integers 0 to 9 give the shared small-number singletons (tested by an unsigned comparison with 10, so
// negative arguments never hit them); every other argument allocates a new number value.
KERN83_API IValue* create_numeric_value(signed char value);
KERN83_API IValue* create_numeric_value(unsigned char value);
KERN83_API IValue* create_numeric_value(short value);
KERN83_API IValue* create_numeric_value(unsigned short value);
KERN83_API IValue* create_numeric_value(int value);
KERN83_API IValue* create_numeric_value(unsigned int value);
KERN83_API IValue* create_numeric_value(long value);
KERN83_API IValue* create_numeric_value(unsigned long value);
KERN83_API IValue* create_numeric_value(long long value);
KERN83_API IValue* create_numeric_value(unsigned long long value);
// Always a new value: 15 significant digits, as the Numeric constructor from double.
KERN83_API IValue* create_numeric_value(double value);
KERN83_API IValue* create_numeric_value(const Numeric& value);

// The empty string is a shared singleton; other strings allocate.
KERN83_API IValue* create_string_value(std::u16string_view text);
// The empty-date singleton for the empty date (tick count 0), otherwise a new value.
KERN83_API IValue* create_date_value(const Date& date);
// The marker of an argument the caller left out (type code 1000): a shared singleton.
KERN83_API IValue* proceed_call_unspecified_value() noexcept;

// New values of the object kinds holding a copy of the payload.
KERN83_API InterfacePtr<ILocalString> create_local_str_val(const LocalWString& text);
KERN83_API InterfacePtr<IUUIDValue> create_uuid_value(const GUID& uuid);
KERN83_API InterfacePtr<IGUID_Value> create_guid_value(const GUID& id);
// A copy of `length` bytes at `bytes` (bytes may be null when length is 0).
KERN83_API InterfacePtr<IBinaryDataValue> create_binary_data_val(const void* bytes, std::size_t length);
// The rest of `reader`'s text as bytes: each UTF-16 code unit gives two bytes, low byte first (the text's
// UTF-16LE form). Reads to the end of input; errors of the reader pass through. Throws
// IllegalArgumentException for a null reader.
KERN83_API InterfacePtr<IBinaryDataValue> create_binary_data_val(IReader* reader);
// The rest of `file`'s bytes, from its current position to its end. Errors of the file pass through.
// Throws IllegalArgumentException for a null file.
KERN83_API InterfacePtr<IBinaryDataValue> create_binary_data_val(IFile* file);
// The bytes of the local file that `url` names: "file://" followed by an absolute path, or a plain path.
// Throws FileException when it cannot be read, IllegalArgumentException for any other scheme.
KERN83_API InterfacePtr<IBinaryDataValue> create_binary_data_val(const URL& url);
// New values holding a copy of the identifier, the type description.
KERN83_API InterfacePtr<ICompositeIDValue> create_composite_id_val(const CompositeID& id);
KERN83_API InterfacePtr<ITypeDomainPatternValue> create_type_domain_val(const TypeDomainPattern& pattern);
// A new empty array, or one holding `values` in order (a std::vector<Value> converts).
KERN83_API InterfacePtr<IValueArray> create_value_array();
KERN83_API InterfacePtr<IValueArray> create_value_array(std::span<const Value> values);

// ---------------------------------------------------------------------------------------------------
// Predicates. A null pointer counts as Undefined.

// The type code is 0.
KERN83_API bool is_undefined_value(IValue* value) noexcept;
KERN83_API bool is_undefined_value(const GenericValue& value) noexcept;
// The type code is 0 or 1.
KERN83_API bool is_null_or_undefined_value(IValue* value) noexcept;
KERN83_API bool is_null_or_undefined_value(const GenericValue& value) noexcept;

// Whether the value holds a non-empty value of its kind:
//   Undefined, Null, the unspecified marker   never filled
//   Boolean                                   always filled (False is a real answer, not a missing one)
//   Number                                    not zero
//   String                                    not empty (blanks count as content)
//   Date                                      not the empty date
//   UUID, GUID                                not the null GUID
//   binary data                               at least one byte
//   local string                              some language has a non-empty text
//   composite id                              at least one part
//   type description                          at least one type
//   value array                               at least one element
//   other objects                             their IValueFilled answer; filled without one
KERN83_API bool value_is_filled(IValue* value) noexcept;
KERN83_API bool value_is_filled(const GenericValue& value) noexcept;

}  // namespace core

template <>
struct std::hash<core::Value> {
  std::size_t operator()(const core::Value& v) const { return static_cast<std::uint32_t>(v.hashCode()); }
};
