// The object kinds with a payload (UUID, GUID, binary data, local string, composite id, type description)
// and the automation-object wrapper.
//
// Each payload kind is one class over PayloadValue: equality is "same type object, equal payloads", the
// hash is the payload's, and the kind interface and IValueFilled are answered by the same object.
#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/File.h"
#include "values/Builtins.h"

namespace core {
namespace detail {
namespace {

template <class Payload, class Kind>
class PayloadValue : public KindValue<Kind> {
 public:
  using KindValue<Kind>::type;

  const void* getDataPtr() const noexcept override { return &payload_; }
  bool isEqual(IValue* other) const noexcept override {
    if (other == static_cast<const IValue*>(this)) return true;
    if (other == nullptr || other->type() != type()) return false;
    return *static_cast<const Payload*>(other->getDataPtr()) == payload_;
  }

  const Payload& payload() const noexcept { return payload_; }

 protected:
  // A new value carrying one reference for its creator.
  PayloadValue(IType* type, Payload payload) : KindValue<Kind>(type), payload_(std::move(payload)) {}

 private:
  const Payload payload_;
};

// Makes a kind value and hands the caller its creator's reference through the kind interface.
template <class V, class Kind, class... Args>
InterfacePtr<Kind> make_kind(Args&&... args) {
  return InterfacePtr<Kind>(static_cast<Kind*>(new V(std::forward<Args>(args)...)), adopt_ref);
}

template <class Kind>
IValue* as_value(InterfacePtr<Kind> kind) {
  void* value = nullptr;
  kind->QueryInterface(IValue::IID, &value);
  return static_cast<IValue*>(value);
}

std::int32_t guid_hash32(const GUID& id) noexcept {
  const std::size_t h = guid_hash(id);
  return as_hash(static_cast<std::uint32_t>(h ^ (h >> 32)));
}

class UUIDValue final : public PayloadValue<GUID, IUUIDValue> {
 public:
  explicit UUIDValue(const GUID& id) : PayloadValue(uuid_type(), id) {}
  const GUID& getUUID() const noexcept override { return payload(); }
  bool getString(avo::WString& out) const override {
    out = guid_to_string(payload());
    return true;
  }
  std::int32_t hashCode() const noexcept override { return guid_hash32(payload()); }
  bool isFilled() const noexcept override { return payload() != kNullGuid; }
};

class GUIDValue final : public PayloadValue<GUID, IGUID_Value> {
 public:
  explicit GUIDValue(const GUID& id) : PayloadValue(guid_type(), id) {}
  const GUID& getGUID() const noexcept override { return payload(); }
  bool getString(avo::WString& out) const override {
    out = guid_to_string(payload());
    return true;
  }
  std::int32_t hashCode() const noexcept override { return guid_hash32(payload()); }
  bool isFilled() const noexcept override { return payload() != kNullGuid; }
};

// Presents itself by its type name (the default); the bytes are not text.
class BinaryDataValue final : public PayloadValue<avo::String, IBinaryDataValue> {
 public:
  explicit BinaryDataValue(avo::String bytes) : PayloadValue(binary_data_type(), std::move(bytes)) {}
  const avo::String& getBytes() const noexcept override { return payload(); }
  std::int32_t hashCode() const noexcept override { return as_hash(hash_bytes(payload().data(), payload().size())); }
  bool isFilled() const noexcept override { return !payload().empty(); }
};

// Presents the text of the calling thread's resource language.
class LocalStringValue final : public PayloadValue<LocalWString, ILocalString> {
 public:
  explicit LocalStringValue(const LocalWString& text) : PayloadValue(local_string_type(), text) {}
  const LocalWString& getLocalString() const noexcept override { return payload(); }
  bool getString(avo::WString& out) const override {
    out = payload().get(language_alias() == 1 ? "ru" : "en");
    return true;
  }
  std::int32_t hashCode() const noexcept override {
    std::uint32_t h = 0;
    for (const LocalWString::Entry& e : payload().entries()) {
      h = h * 31 + hash_bytes(e.language.data(), e.language.size());
      h = h * 31 + hash_bytes(e.text.data(), e.text.size() * sizeof(char16_t));
    }
    return as_hash(h);
  }
  bool isFilled() const noexcept override { return payload().isFilled(); }
};

class CompositeIDValue final : public PayloadValue<CompositeID, ICompositeIDValue> {
 public:
  explicit CompositeIDValue(const CompositeID& id) : PayloadValue(composite_id_type(), id) {}
  const CompositeID& getCompositeID() const noexcept override { return payload(); }
  bool getString(avo::WString& out) const override {
    out = payload().toString();
    return true;
  }
  std::int32_t hashCode() const noexcept override { return as_hash(payload().hash()); }
  bool isFilled() const noexcept override { return !payload().empty(); }
};

// Presents the names of its types in the calling thread's resource language.
class TypeDomainPatternValue final : public PayloadValue<TypeDomainPattern, ITypeDomainPatternValue> {
 public:
  explicit TypeDomainPatternValue(const TypeDomainPattern& pattern)
      : PayloadValue(type_domain_pattern_type(), pattern) {}
  const TypeDomainPattern& getTypeDomainPattern() const noexcept override { return payload(); }
  bool getString(avo::WString& out) const override {
    out = payload().toString(language_alias());
    return true;
  }
  std::int32_t hashCode() const noexcept override { return as_hash(payload().hash()); }
  bool isFilled() const noexcept override { return !payload().isEmpty(); }
};

// An automation object that is not itself a value. Equal to another wrapper of the same object.
class COMObjectValue final : public ObjectValueCore {
 public:
  // A new value carrying one reference for its creator.
  explicit COMObjectValue(IUnknown* object) : ObjectValueCore(com_object_type(), ImmortalType{}, 1), object_(object) {}
  const void* getDataPtr() const noexcept override { return object_.get(); }
  bool isEqual(IValue* other) const noexcept override {
    if (other == static_cast<const IValue*>(this)) return true;
    if (other == nullptr || other->type() != type()) return false;
    return other->getDataPtr() == object_.get();
  }
  std::int32_t hashCode() const noexcept override {
    return as_hash(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(object_.get())));
  }

 private:
  InterfacePtr<IUnknown> object_;
};

}  // namespace

IValue* wrap_object(IUnknown* object) {
  if (object == nullptr) return undefined_value();
  void* value = nullptr;
  if (object->QueryInterface(IValue::IID, &value) == S_OK && value != nullptr) return static_cast<IValue*>(value);
  return new COMObjectValue(object);
}

IValue* default_uuid_value() { return as_value(create_uuid_value(kNullGuid)); }
IValue* default_guid_value() { return as_value(create_guid_value(kNullGuid)); }
IValue* default_binary_data_value() { return as_value(create_binary_data_val(nullptr, 0)); }
IValue* default_local_string_value() { return as_value(create_local_str_val(LocalWString())); }
IValue* default_composite_id_value() { return as_value(create_composite_id_val(CompositeID())); }
IValue* default_type_domain_pattern_value() { return as_value(create_type_domain_val(TypeDomainPattern())); }

}  // namespace detail

InterfacePtr<ILocalString> create_local_str_val(const LocalWString& text) {
  return detail::make_kind<detail::LocalStringValue, ILocalString>(text);
}

InterfacePtr<IUUIDValue> create_uuid_value(const GUID& uuid) {
  return detail::make_kind<detail::UUIDValue, IUUIDValue>(uuid);
}

InterfacePtr<IGUID_Value> create_guid_value(const GUID& id) {
  return detail::make_kind<detail::GUIDValue, IGUID_Value>(id);
}

InterfacePtr<IBinaryDataValue> create_binary_data_val(const void* bytes, std::size_t length) {
  avo::String copy;
  if (length > 0) copy.assign(static_cast<const char*>(bytes), length);
  return detail::make_kind<detail::BinaryDataValue, IBinaryDataValue>(std::move(copy));
}

InterfacePtr<IBinaryDataValue> create_binary_data_val(IReader* reader) {
  if (reader == nullptr) {
    throw IllegalArgumentException(KERN83_SOURCE_POSITION("Value"), ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  avo::String bytes;
  char16_t chunk[IReader::kMaxRun];
  for (;;) {
    const int count = reader->read(chunk, IReader::kMaxRun);
    for (int i = 0; i < count; ++i) {
      bytes.push_back(static_cast<char>(chunk[i] & 0xFF));
      bytes.push_back(static_cast<char>(chunk[i] >> 8));
    }
    if (count < IReader::kMaxRun) break;
  }
  return detail::make_kind<detail::BinaryDataValue, IBinaryDataValue>(std::move(bytes));
}

InterfacePtr<IBinaryDataValue> create_binary_data_val(IFile* file) {
  if (file == nullptr) {
    throw IllegalArgumentException(KERN83_SOURCE_POSITION("Value"), ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  avo::String bytes;
  char chunk[16384];
  for (;;) {
    const std::size_t count = file->read(chunk, sizeof chunk);
    bytes.append(chunk, count);
    if (count < sizeof chunk) break;
  }
  return detail::make_kind<detail::BinaryDataValue, IBinaryDataValue>(std::move(bytes));
}

InterfacePtr<IBinaryDataValue> create_binary_data_val(const URL& url) {
  constexpr std::u16string_view kFileScheme = u"file://";
  std::u16string_view path = url.toString();
  if (path.substr(0, kFileScheme.size()) == kFileScheme) {
    path.remove_prefix(kFileScheme.size());
  } else if (path.find(u"://") != std::u16string_view::npos) {
    throw IllegalArgumentException(KERN83_SOURCE_POSITION("Value"), ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"},
                                   url.toString());
  }
  InterfacePtr<IFileEx> file = open_file(avo::to_std_utf8(path), FileMode::Read);
  return create_binary_data_val(static_cast<IFile*>(file.get()));
}

InterfacePtr<ICompositeIDValue> create_composite_id_val(const CompositeID& id) {
  return detail::make_kind<detail::CompositeIDValue, ICompositeIDValue>(id);
}

InterfacePtr<ITypeDomainPatternValue> create_type_domain_val(const TypeDomainPattern& pattern) {
  return detail::make_kind<detail::TypeDomainPatternValue, ITypeDomainPatternValue>(pattern);
}

}  // namespace core
