#pragma once
// Persistence storages: where objects that persist (values, exceptions) write their fields and read them
// back. A storage is a reference-counted object over a list stream; the item order of each object is
// documented with its serialize / deserialize.

#include "core/Interface.h"

namespace core {

class ListOutStream;
class ListInStream;

class IOutPersistenceStorage : public IUnknown {
 public:
  static constexpr GUID IID = guid("58ea5b9c-1768-4782-a08b-faa527062b1d");
  virtual ListOutStream& stream() = 0;

 protected:
  ~IOutPersistenceStorage() = default;
};

class IInPersistenceStorage : public IUnknown {
 public:
  static constexpr GUID IID = guid("4fe58c54-5b67-45db-a416-7c5cefaffeeb");
  virtual ListInStream& stream() = 0;

 protected:
  ~IInPersistenceStorage() = default;
};

}  // namespace core
