#pragma once
// Building blocks shared by the value kinds: the never-destroyed wrapper, the shared type objects of the
// built-in kinds and of the library's own object kinds, the singleton values, and hash helpers.
//
// Invariants:
//  - Every object declared here is constant-initialised (constinit) or made on first use, and never
//    destroyed, so values may be created and released from static initialisers and destructors of any
//    translation unit, and handing singletons around never allocates.
//  - Shared type objects and singletons ignore AddRef/Release: no shared counter is ever written, so
//    threads passing True or the number 0 around do not contend on a cache line.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "core/Value.h"

namespace core::detail {

// Holds a T that is constructed (constantly where T allows it) and never destroyed.
template <class T>
union NoDestroy {
  T value;
  template <class... Args>
  constexpr explicit NoDestroy(Args&&... args) : value(std::forward<Args>(args)...) {}
  ~NoDestroy() {}
};

// The type object of a built-in kind or of one of the library's own object kinds. One object per kind,
// shared by every value of it.
class SharedType final : public IType {
 public:
  using DefaultFactory = IValue* (*)();

  // `mutableValues` for kinds whose values change after they are made (the value array).
  constexpr SharedType(Type::Code code, const GUID& clsid, const char16_t* englishName, const char16_t* russianName,
                       DefaultFactory makeDefault, bool mutableValues = false) noexcept
      : code_(code),
        clsid_(clsid),
        english_(englishName),
        russian_(russianName),
        makeDefault_(makeDefault),
        mutable_(mutableValues) {}
  virtual ~SharedType() = default;

  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }

  Type::Code getTypeCode() const noexcept override { return code_; }
  GUID getCLSID() const noexcept override { return clsid_; }
  const char16_t* getTypeString(int alias) const noexcept override;
  IValue* createIValue() const override { return makeDefault_(); }
  bool hasCtor(int) const noexcept override { return false; }
  IValue* ctor(std::span<GenericValue* const> params) const override;
  bool isValueMutable() const noexcept override { return mutable_; }
  bool isCOMType() const noexcept override { return clsid_ == kCOMObjectTypeCLSID; }

 private:
  Type::Code code_;
  GUID clsid_;
  const char16_t* english_;
  const char16_t* russian_;
  DefaultFactory makeDefault_;
  bool mutable_;
};

// Shared type objects (Types.cpp).
extern constinit NoDestroy<SharedType> gUndefinedType;
extern constinit NoDestroy<SharedType> gNullType;
extern constinit NoDestroy<SharedType> gBooleanType;
extern constinit NoDestroy<SharedType> gNumberType;
extern constinit NoDestroy<SharedType> gStringType;
extern constinit NoDestroy<SharedType> gDateType;
extern constinit NoDestroy<SharedType> gUnspecifiedType;
extern constinit NoDestroy<SharedType> gUUIDType;
extern constinit NoDestroy<SharedType> gGUIDType;
extern constinit NoDestroy<SharedType> gBinaryDataType;
extern constinit NoDestroy<SharedType> gLocalStringType;
extern constinit NoDestroy<SharedType> gCompositeIDType;
extern constinit NoDestroy<SharedType> gTypeDomainPatternType;
extern constinit NoDestroy<SharedType> gCOMObjectType;
extern constinit NoDestroy<SharedType> gValueArrayType;

inline IType* undefined_type() noexcept { return &gUndefinedType.value; }
inline IType* null_type() noexcept { return &gNullType.value; }
inline IType* boolean_type() noexcept { return &gBooleanType.value; }
inline IType* number_type() noexcept { return &gNumberType.value; }
inline IType* string_type() noexcept { return &gStringType.value; }
inline IType* date_type() noexcept { return &gDateType.value; }
inline IType* unspecified_type() noexcept { return &gUnspecifiedType.value; }
inline IType* uuid_type() noexcept { return &gUUIDType.value; }
inline IType* guid_type() noexcept { return &gGUIDType.value; }
inline IType* binary_data_type() noexcept { return &gBinaryDataType.value; }
inline IType* local_string_type() noexcept { return &gLocalStringType.value; }
inline IType* composite_id_type() noexcept { return &gCompositeIDType.value; }
inline IType* type_domain_pattern_type() noexcept { return &gTypeDomainPatternType.value; }
inline IType* com_object_type() noexcept { return &gCOMObjectType.value; }
inline IType* value_array_type() noexcept { return &gValueArrayType.value; }
// The library's own object type with class GUID `clsid`, or null.
IType* builtin_object_type(const GUID& clsid) noexcept;

// A kind without payload (Undefined, Null, the unspecified marker): every value of its type is equal to
// every other, and each has one shared singleton.
class MarkerValue final : public ValueImplBase {
 public:
  constexpr MarkerValue(IType* type, std::int32_t hash) noexcept : ValueImplBase(type, SharedTag{}), hash_(hash) {}

  const void* getDataPtr() const noexcept override { return nullptr; }
  bool getBoolean(bool& out) const override;
  bool getNumeric(Numeric& out) const override;
  bool getString(avo::WString& out) const override;
  bool getDate(Date& out) const override;
  bool isEqual(IValue* other) const noexcept override {
    return other == this || (other != nullptr && other->type() == type());
  }
  std::int32_t hashCode() const noexcept override { return hash_; }

 private:
  std::int32_t hash_;
};

extern constinit NoDestroy<MarkerValue> gUndefinedValue;

// An object value that also answers its kind interface and IValueFilled; a new one carries one
// reference for its creator.
template <class Kind>
class KindValue : public ObjectValueCore, public Kind, public IValueFilled {
 public:
  HRESULT QueryInterface(const GUID& iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (iid == Kind::IID) return handOut(static_cast<Kind*>(this), object);
    if (iid == IValueFilled::IID) return handOut(static_cast<IValueFilled*>(this), object);
    return ObjectValueCore::QueryInterface(iid, object);
  }
  std::uint32_t AddRef() override { return ObjectValueCore::AddRef(); }
  std::uint32_t Release() override { return ObjectValueCore::Release(); }

 protected:
  explicit KindValue(IType* type) : ObjectValueCore(type, ImmortalType{}, 1) {}

 private:
  HRESULT handOut(void* face, void** object) {
    ObjectValueCore::AddRef();
    *object = face;
    return S_OK;
  }
};

// Singleton values (no reference needs to be released).
inline IValue* undefined_value() noexcept { return &gUndefinedValue.value; }
IValue* null_value() noexcept;
IValue* true_value() noexcept;
IValue* false_value() noexcept;
IValue* empty_string_value() noexcept;
IValue* unspecified_value() noexcept;
IValue* small_number_value(unsigned digit) noexcept;  // 0 to 9
IValue* empty_date_value() noexcept;

// A value for an automation object (Kinds.cpp), carrying one reference: the object's own IValue when it
// has one, else a new automation-object value wrapping it. Null gives Undefined.
IValue* wrap_object(IUnknown* object);

// Defaults of the object kinds (Kinds.cpp), for their type objects' createIValue.
IValue* default_uuid_value();
IValue* default_guid_value();
IValue* default_binary_data_value();
IValue* default_local_string_value();
IValue* default_composite_id_value();
IValue* default_type_domain_pattern_value();
IValue* default_value_array_value();  // ValueArray.cpp: a new empty array

// Code of a type object, or -1 for null.
inline std::int32_t code_of(const IType* type) noexcept { return type != nullptr ? type->getTypeCode() : -1; }

// Equality of two runs of code units. memcmp, because the character-traits comparison of char16_t is an
// element loop that orders as well as compares.
inline bool same_text(std::u16string_view a, std::u16string_view b) noexcept {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0);
}

// A fast 32-bit hash of a byte run (not cryptographic; spreads single-bit changes over all bits).
std::uint32_t hash_bytes(const void* data, std::size_t size) noexcept;
inline std::int32_t as_hash(std::uint32_t h) noexcept { return static_cast<std::int32_t>(h); }

// The thread's resource language as an alias: 1 for Russian, 0 otherwise.
int language_alias() noexcept;

}  // namespace core::detail
