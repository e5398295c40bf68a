#pragma once
// Types of values.
//
// Every value (core/Value.h) answers its type object, an `IType`. The built-in kinds have one shared type
// object each, identified by a type code; object types (code 100) are identified by their class GUID:
//
//     core::IType* number = core::Type::create_type(core::Type::Number);   // shared, never destroyed
//     core::Type t(number);
//     t.getTypeCode();                    // 3
//     t.getTypeString(1);                 // u"Число"
//     core::Value zero(t.createIValue(), core::adopt_ref);                  // the default value: 0
//
//     core::Type uuid(core::kUUIDTypeCLSID);        // an object type, found by its class GUID
//
// Type objects of the built-in codes and of the library's own object kinds live for the whole process and
// ignore their reference count. Object types of other families are registered once with
// `register_object_type` and live as long as the process too.
//
// Thread safety: type objects are immutable and may be used from any thread; a `Type` handle is used by
// one thread at a time, like any handle.

#include <cstdint>
#include <span>

#include "core/Export.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "nexa/Memory.h"

namespace core {

class IType;
class IValue;
class GenericValue;

// A handle on a type object. Copying adds a reference to the type object.
class KERN83_API Type {
 public:
  // Type codes. Values with codes 0 to 5 and 1000 are the built-in kinds; every object type answers 100.
  enum Code : std::int32_t {
    Undefined = 0,
    Null = 1,
    Boolean = 2,
    Number = 3,
    String = 4,
    Date = 5,
    Object = 100,
    // The kind of the one value `proceed_call_unspecified_value` returns: the marker of an argument that
    // the caller left out. It is a kind of its own so that a callee can tell "not given" from Undefined.
    Unspecified = 1000,
  };

  // Names no type.
  Type() noexcept = default;
  // Holds `type` (may be null: names no type); adds a reference.
  Type(IType* type) noexcept;  // NOLINT(google-explicit-constructor)
  // The shared type object of a built-in code, or no type for any other code.
  explicit Type(Code code) noexcept;
  // The object type with class GUID `clsid`: the registered one, or else a plain object type of that GUID
  // made once and kept for the process (so that code may name types whose module is not loaded). The null
  // GUID names no type.
  explicit Type(const GUID& clsid);

  // Copies add a reference to the type object; a moved-from handle names no type.
  Type(const Type& other) noexcept;
  Type(Type&& other) noexcept;
  Type& operator=(const Type& other) noexcept;
  Type& operator=(Type&& other) noexcept;
  ~Type();

  // The shared, never-destroyed type object of code 0 to 5 or 1000; null for every other code (negative,
  // 6 to 999, 100 and above 1000). No reference needs to be released.
  static IType* create_type(Code code) noexcept;
  static IType* create_type(int code) noexcept;

  // The type code. Throws IllegalStateException when the handle names no type.
  Code getTypeCode() const;
  // The class GUID of an object type; the null GUID for the built-in kinds. Throws IllegalStateException
  // when the handle names no type.
  GUID getCLSID() const;
  // The type's name: alias 0 English, alias 1 Russian (the English name when there is no Russian one);
  // null for other aliases and for a handle that names no type.
  const char16_t* getTypeString(int alias) const noexcept;
  // A new default value of the type (Undefined, Null, False, 0, "", the empty date, ...), carrying one
  // reference for the caller. Throws IllegalStateException when the handle names no type.
  IValue* createIValue() const;
  // A value constructed from `params` as the script's `New` does, carrying one reference for the caller.
  // Throws what the type's constructor throws (UnsupportedOperationException for types that have none),
  // IllegalStateException when the handle names no type.
  IValue* ctor(std::span<GenericValue* const> params) const;

  // The held type object (borrowed), or null.
  IType* getIType() const noexcept { return type_; }
  // Whether the handle names no type (and the opposite).
  bool isEmpty() const noexcept { return type_ == nullptr; }
  explicit operator bool() const noexcept { return type_ != nullptr; }

  // Types are equal when they are the same type object, or when both have the same code and, for object
  // types, the same class GUID. Two handles that name no type are equal.
  friend KERN83_API bool operator==(const Type& a, const Type& b) noexcept;

 private:
  IType* type_ = nullptr;
};

// The type object interface. Slots 0 to 2 are the reference-counting ones of IUnknown.
class IType : public IUnknown {
 public:
  static constexpr GUID IID = guid("3b0f3c8e-5f37-4c4e-9a43-0d6f3d1b7a21");

  // The type code (Type::Code); 100 for every object type.
  virtual Type::Code getTypeCode() const noexcept = 0;
  // Null GUID for the built-in kinds.
  virtual GUID getCLSID() const noexcept = 0;
  // Alias 0 English, 1 Russian (falling back to English); null for any other alias.
  virtual const char16_t* getTypeString(int alias) const noexcept = 0;
  // A new default value of this type, carrying one reference.
  virtual IValue* createIValue() const = 0;
  // Whether script code may construct a value of this type with `paramCount` arguments.
  virtual bool hasCtor(int paramCount) const noexcept = 0;
  // A value constructed from `params`, carrying one reference; throws on a type without a constructor or
  // on unsuitable arguments.
  virtual IValue* ctor(std::span<GenericValue* const> params) const = 0;
  // Whether values of this type can change after creation (false for every built-in kind).
  virtual bool isValueMutable() const noexcept = 0;
  // Whether the type describes automation (COM) objects.
  virtual bool isCOMType() const noexcept = 0;

 protected:
  ~IType() = default;
};

// Defaults for object types (code 100): a class GUID and a pair of names given at construction; counted
// like any interface (the count starts at 0 and the object deletes itself when it returns there; it
// answers IUnknown and IType), no constructor, values not mutable, not an automation type, and Undefined
// as the default value. Subclasses override what their type has.
class KERN83_API ObjectTypeCore : public RefCountedUnknown<0, Answers<IType>, IType, nexa::Allocated> {
 public:
  // `englishName` and `russianName` must outlive the type (string literals); either may be null.
  ObjectTypeCore(const GUID& clsid, const char16_t* englishName, const char16_t* russianName) noexcept;
  ~ObjectTypeCore() override;

  // IType, with the defaults described above.
  Type::Code getTypeCode() const noexcept override { return Type::Object; }
  GUID getCLSID() const noexcept override { return clsid_; }
  const char16_t* getTypeString(int alias) const noexcept override;
  IValue* createIValue() const override;
  bool hasCtor(int paramCount) const noexcept override;
  IValue* ctor(std::span<GenericValue* const> params) const override;
  bool isValueMutable() const noexcept override { return false; }
  bool isCOMType() const noexcept override { return false; }

 private:
  GUID clsid_;
  const char16_t* englishName_;
  const char16_t* russianName_;
};

// Registers an object type for `Type(const GUID&)`. The registry keeps a reference for the rest of the
// process. Throws IllegalArgumentException when `type` is null, is not an object type, has the null GUID,
// or when another type object is already registered under its GUID (registering the same one again is
// allowed). Thread-safe.
KERN83_API void register_object_type(IType* type);
// The type object registered (or made by `Type(const GUID&)`) for `clsid`, borrowed, or null. Thread-safe.
KERN83_API IType* find_object_type(const GUID& clsid) noexcept;

// Class GUIDs of the library's own object kinds (core/Value.h).
inline constexpr GUID kUUIDTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c01");
inline constexpr GUID kGUIDTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c02");
inline constexpr GUID kBinaryDataTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c03");
inline constexpr GUID kLocalStringTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c04");
inline constexpr GUID kCompositeIDTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c05");
inline constexpr GUID kTypeDomainPatternTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c06");
inline constexpr GUID kCOMObjectTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c07");
inline constexpr GUID kValueArrayTypeCLSID = guid("2d9e2b4a-7c1f-4c1e-8f3a-0b1e6a7d5c08");

}  // namespace core
