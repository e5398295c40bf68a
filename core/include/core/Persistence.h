#pragma once
// Persistence storages: where objects that persist (values, exceptions) write their fields and read them
// back. A storage is a reference-counted object over a list stream; the item order of each object is
// documented with its serialize / deserialize.
//
//     core::ListOutStream out(writer);
//     auto storage = core::create_out_persistence_storage(out);
//     error.serialize(storage.get());                 // one list: {1,<clsid>,"message",...}
//
//     core::ListInStream in(reader);
//     core::Exception copy(u"");
//     copy.deserialize(core::create_in_persistence_storage(in).get());
//
// Thread safety: a storage is used by one thread at a time, like its stream.

#include "core/Export.h"
#include "core/Interface.h"
#include "core/ListStream.h"

namespace core {

// Where an object writes its fields.
class IOutPersistenceStorage : public IUnknown {
 public:
  static constexpr GUID IID = guid("58ea5b9c-1768-4782-a08b-faa527062b1d");
  // The stream the fields go to.
  virtual ListOutStream& stream() = 0;

 protected:
  ~IOutPersistenceStorage() = default;
};

// Where an object reads its fields back.
class IInPersistenceStorage : public IUnknown {
 public:
  static constexpr GUID IID = guid("4fe58c54-5b67-45db-a416-7c5cefaffeeb");
  // The stream the fields come from.
  virtual ListInStream& stream() = 0;

 protected:
  ~IInPersistenceStorage() = default;
};

class IValue;

// Object kinds of other families that persist as values (GenericValue::serialize): the value answers
// IPersistentObject to QueryInterface and writes its payload after its class id; the type registered
// for that class id (register_object_type) answers IPersistentObjectType and reads the payload back.
class IPersistentObject : public IUnknown {
 public:
  static constexpr GUID IID = guid("b7a4f0d2-3c61-4e58-9a2f-6d1e8c0b5a73");
  // Writes the payload that follows the class id; the type's deserializePayload reads it back.
  virtual void serializePayload(IOutPersistenceStorage* storage) const = 0;

 protected:
  ~IPersistentObject() = default;
};

// The other half: the registered type that reads such a payload (see IPersistentObject).
class IPersistentObjectType : public IUnknown {
 public:
  static constexpr GUID IID = guid("b7a4f0d2-3c61-4e58-9a2f-6d1e8c0b5a74");
  // The value read, with a reference for the caller; ListStreamException for a malformed payload.
  virtual IValue* deserializePayload(IInPersistenceStorage* storage) const = 0;

 protected:
  ~IPersistentObjectType() = default;
};

// Storages over a list stream. The storage keeps a handle on the stream's implementation, so it stays
// usable after `stream` itself is gone; both handles write to (read from) the same implementation.
KERN83_API InterfacePtr<IOutPersistenceStorage> create_out_persistence_storage(const ListOutStream& stream);
KERN83_API InterfacePtr<IInPersistenceStorage> create_in_persistence_storage(const ListInStream& stream);

}  // namespace core
