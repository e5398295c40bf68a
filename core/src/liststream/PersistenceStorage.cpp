#include "base/RefCountedObject.h"
#include "core/Persistence.h"

namespace core {

namespace {

class OutStorage final : public detail::RefCountedObject<IOutPersistenceStorage> {
 public:
  explicit OutStorage(const ListOutStream& stream) : stream_(stream) {}
  ListOutStream& stream() override { return stream_; }

 private:
  ListOutStream stream_;
};

class InStorage final : public detail::RefCountedObject<IInPersistenceStorage> {
 public:
  explicit InStorage(const ListInStream& stream) : stream_(stream) {}
  ListInStream& stream() override { return stream_; }

 private:
  ListInStream stream_;
};

}  // namespace

InterfacePtr<IOutPersistenceStorage> create_out_persistence_storage(const ListOutStream& stream) {
  return InterfacePtr<IOutPersistenceStorage>(new OutStorage(stream), adopt_ref);
}

InterfacePtr<IInPersistenceStorage> create_in_persistence_storage(const ListInStream& stream) {
  return InterfacePtr<IInPersistenceStorage>(new InStorage(stream), adopt_ref);
}

}  // namespace core
