// Contexts and definitions that forward their member description to another definition, and the
// registry that makes definitions by class identifier.

#include <unordered_map>

#include "base/LockGuard.h"
#include "core/Context.h"
#include "core/Exception.h"
#include "platform/Mutex.h"

namespace core {

namespace {

struct GuidHash {
  std::size_t operator()(const GUID& id) const noexcept { return guid_hash(id); }
};

// Never destroyed: definitions may be made while other static objects are torn down.
struct DefinitionRegistry {
  platform::Mutex mutex;
  std::unordered_map<GUID, ContextDefFactory, GuidHash> factories KERN83_GUARDED_BY(mutex);
};

DefinitionRegistry& registry() {
  static DefinitionRegistry* instance = new DefinitionRegistry;
  return *instance;
}

InterfacePtr<IContextDef> make_registered(const GUID& clsid) {
  InterfacePtr<IContextDef> def = create_context_def(clsid);
  if (!def) throw SCOM_Exception(SCOM_Exception::ClassNotRegistered, ResourceKey{"IDS_ERR_CLASS_NOT_REGISTERED"});
  return def;
}

}  // namespace

void register_context_def_factory(const GUID& clsid, ContextDefFactory factory) {
  DefinitionRegistry& r = registry();
  detail::LockGuard guard(r.mutex);
  if (factory == nullptr) {
    r.factories.erase(clsid);
  } else {
    r.factories[clsid] = factory;
  }
}

InterfacePtr<IContextDef> create_context_def(const GUID& clsid) {
  ContextDefFactory factory = nullptr;
  {
    DefinitionRegistry& r = registry();
    detail::LockGuard guard(r.mutex);
    const auto it = r.factories.find(clsid);
    if (it != r.factories.end()) factory = it->second;
  }
  return factory != nullptr ? factory() : nullptr;
}

// ---------------------------------------------------------------------------------------------------

IContextExtImplBase::IContextExtImplBase() noexcept = default;
IContextExtImplBase::~IContextExtImplBase() = default;

void IContextExtImplBase::setIContextDef(IContextDef* def) noexcept { def_ = def; }

int IContextExtImplBase::getNProps() { return def_ ? def_->getNProps() : 0; }
const char16_t* IContextExtImplBase::getPropName(int prop, int alias) {
  return def_ ? def_->getPropName(prop, alias) : nullptr;
}
bool IContextExtImplBase::isPropReadable(int prop) { return def_ && def_->isPropReadable(prop); }
bool IContextExtImplBase::isPropWritable(int prop) { return def_ && def_->isPropWritable(prop); }
int IContextExtImplBase::findProp(std::u16string_view name) { return def_ ? def_->findProp(name) : -1; }
int IContextExtImplBase::getNMethods() { return def_ ? def_->getNMethods() : 0; }
const char16_t* IContextExtImplBase::getMethodName(int method, int alias) {
  return def_ ? def_->getMethodName(method, alias) : nullptr;
}
int IContextExtImplBase::getNParams(int method) { return def_ ? def_->getNParams(method) : 0; }
bool IContextExtImplBase::isParamIn(int method, int param) { return def_ && def_->isParamIn(method, param); }
bool IContextExtImplBase::isParamOut(int method, int param) { return def_ && def_->isParamOut(method, param); }
bool IContextExtImplBase::getParamDefValue(int method, int param, GenericValue* out) {
  return def_ && def_->getParamDefValue(method, param, out);
}
bool IContextExtImplBase::hasRetVal(int method) { return def_ && def_->hasRetVal(method); }
int IContextExtImplBase::findMethod(std::u16string_view name) { return def_ ? def_->findMethod(name) : -1; }
bool IContextExtImplBase::getPropInfo(int prop, PropInfo& info) { return def_ && def_->getPropInfo(prop, info); }
int IContextExtImplBase::getPropCatagory(int prop) { return def_ ? def_->getPropCatagory(prop) : 0; }

// ---------------------------------------------------------------------------------------------------

ContextDefExternBase::ContextDefExternBase() noexcept = default;

ContextDefExternBase::ContextDefExternBase(const GUID& clsid) { def_.store(make_registered(clsid).detach()); }

ContextDefExternBase::~ContextDefExternBase() { setIContextDef(nullptr); }

void ContextDefExternBase::setIContextDef(IContextDef* def) noexcept {
  if (def != nullptr) def->AddRef();
  if (IContextDef* old = def_.exchange(def, std::memory_order_acq_rel)) old->Release();
}

IContextDef* ContextDefExternBase::getExternalContextDef() const noexcept {
  return def_.load(std::memory_order_acquire);
}

IContextDef* ContextDefExternBase::definition() { return def_.load(std::memory_order_acquire); }

int ContextDefExternBase::IContextDef_getNProps() {
  IContextDef* def = definition();
  return def ? def->getNProps() : 0;
}
const char16_t* ContextDefExternBase::IContextDef_getPropName(int prop, int alias) {
  IContextDef* def = definition();
  return def ? def->getPropName(prop, alias) : nullptr;
}
bool ContextDefExternBase::IContextDef_isPropReadable(int prop) {
  IContextDef* def = definition();
  return def && def->isPropReadable(prop);
}
bool ContextDefExternBase::IContextDef_isPropWritable(int prop) {
  IContextDef* def = definition();
  return def && def->isPropWritable(prop);
}
int ContextDefExternBase::IContextDef_findProp(std::u16string_view name) {
  IContextDef* def = definition();
  return def ? def->findProp(name) : -1;
}
int ContextDefExternBase::IContextDef_getNMethods() {
  IContextDef* def = definition();
  return def ? def->getNMethods() : 0;
}
const char16_t* ContextDefExternBase::IContextDef_getMethodName(int method, int alias) {
  IContextDef* def = definition();
  return def ? def->getMethodName(method, alias) : nullptr;
}
int ContextDefExternBase::IContextDef_getNParams(int method) {
  IContextDef* def = definition();
  return def ? def->getNParams(method) : 0;
}
bool ContextDefExternBase::IContextDef_isParamIn(int method, int param) {
  IContextDef* def = definition();
  return def && def->isParamIn(method, param);
}
bool ContextDefExternBase::IContextDef_isParamOut(int method, int param) {
  IContextDef* def = definition();
  return def && def->isParamOut(method, param);
}
bool ContextDefExternBase::IContextDef_getParamDefValue(int method, int param, GenericValue* out) {
  IContextDef* def = definition();
  return def && def->getParamDefValue(method, param, out);
}
bool ContextDefExternBase::IContextDef_hasRetVal(int method) {
  IContextDef* def = definition();
  return def && def->hasRetVal(method);
}
int ContextDefExternBase::IContextDef_findMethod(std::u16string_view name) {
  IContextDef* def = definition();
  return def ? def->findMethod(name) : -1;
}
IContextDef* ContextDefExternBase::IContextDef_getIContextDef() { return definition(); }
bool ContextDefExternBase::IContextDef_getPropInfo(int prop, PropInfo& info) {
  IContextDef* def = definition();
  return def && def->getPropInfo(prop, info);
}
int ContextDefExternBase::IContextDef_getPropCatagory(int prop) {
  IContextDef* def = definition();
  return def ? def->getPropCatagory(prop) : 0;
}

// ---------------------------------------------------------------------------------------------------

ContextDefExternLazed::ContextDefExternLazed() noexcept : mutex_(platform::process_suspend_monitor()) {}
ContextDefExternLazed::~ContextDefExternLazed() = default;

void ContextDefExternLazed::setTypeCLSID(const GUID& clsid) noexcept {
  clsid_ = clsid;
  setIContextDef(nullptr);
}

// Double-checked: once made, the definition is read without the lock; the lock only keeps racing first
// users from making it twice.
IContextDef* ContextDefExternLazed::IContext_getIContextDef() {
  std::atomic<IContextDef*>& slot = definitionSlot();
  if (IContextDef* def = slot.load(std::memory_order_acquire)) return def;
  if (clsid_ == kNullGuid) return nullptr;
  detail::LockGuard guard(mutex_);
  if (IContextDef* def = slot.load(std::memory_order_acquire)) return def;
  IContextDef* made = make_registered(clsid_).detach();
  slot.store(made, std::memory_order_release);
  return made;
}

IContextDef* ContextDefExternLazed::IContext_getIContextDef0() noexcept {
  try {
    return IContext_getIContextDef();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace core
