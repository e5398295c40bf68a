// ValueImplBase and ObjectValueCore: reference counting and the defaults of object values.
#include "values/Bridges.h"
#include "values/Builtins.h"

namespace core {

ValueImplBase::ValueImplBase(IType* type) noexcept
    : type_(type), refs_(0), shared_(false), typeReferenced_(type != nullptr) {
  if (typeReferenced_) type_->AddRef();
}

ValueImplBase::~ValueImplBase() {
  if (typeReferenced_) type_->Release();
}

HRESULT ValueImplBase::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IValue::IID || iid == IUnknown::IID) {
    AddRef();
    *object = static_cast<IValue*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

// Singletons return before touching the counter: their count is never written, so sharing them between
// threads costs no cache-line traffic.
std::uint32_t ValueImplBase::AddRef() {
  if (shared_) return 1;
  return static_cast<std::uint32_t>(refs_.increment());
}

std::uint32_t ValueImplBase::Release() {
  if (shared_) return 1;
  const std::int32_t left = refs_.decrement();
  if (left == 0) delete this;
  return static_cast<std::uint32_t>(left);
}

void ValueImplBase::setIType(IType* type) noexcept {
  if (type == nullptr || type == type_) return;
  type->AddRef();
  if (typeReferenced_) type_->Release();
  type_ = type;
  typeReferenced_ = true;
}

std::int32_t ValueImplBase::refCount() const noexcept { return shared_ ? 1 : refs_.get(); }

bool ObjectValueCore::getBoolean(bool& out) const {
  out = false;
  return false;
}

bool ObjectValueCore::getNumeric(Numeric& out) const {
  detail::set_number(out, 0);
  return false;
}

bool ObjectValueCore::getString(avo::WString& out) const {
  const char16_t* name = getIType()->getTypeString(detail::language_alias());
  if (name == nullptr) {
    out.clear();
    return false;
  }
  out.assign(name);
  return true;
}

bool ObjectValueCore::getDate(Date&) const { return false; }

bool ObjectValueCore::isEqual(IValue* other) const noexcept { return other == static_cast<const IValue*>(this); }

std::int32_t ObjectValueCore::hashCode() const noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this)));
}

}  // namespace core
