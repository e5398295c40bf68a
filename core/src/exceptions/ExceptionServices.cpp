// Per-thread deferred exceptions, the destructor-exception handler and the category tables.
#include "base/LockGuard.h"
#include "core/Exception.h"
#include "exceptions/ThreadExceptions.h"
#include "platform/Mutex.h"

namespace core {

// ----- Categories

namespace {
struct CategoryInfo {
  const char16_t* term;
  const char* key;
};
constexpr CategoryInfo kCategories[Exception::kCategoryCount] = {
    {u"NetworkError", "IDS_ENUM_EXCEPTIONCATEGORY_INET"},
    {u"PrinterError", "IDS_ENUM_EXCEPTIONCATEGORY_PRINTER"},
    {u"AccessViolation", "IDS_ENUM_EXCEPTIONCATEGORY_ACCESSVIOLATION"},
    {u"LocalFileAccessError", "IDS_ENUM_EXCEPTIONCATEGORY_LOCALFILEACCESS"},
    {u"ScriptUseError", "IDS_ENUM_EXCEPTIONCATEGORY_SCRIPTUSE"},
    {u"ExceptionRaisedFromScript", "IDS_ENUM_EXCEPTIONCATEGORY_RAISEDFROMSCRIPT"},
    {u"ScriptCompileError", "IDS_ENUM_EXCEPTIONCATEGORY_SCRIPTCOMPILE"},
    {u"ScriptRuntimeError", "IDS_ENUM_EXCEPTIONCATEGORY_SCRIPTRUNTIME"},
    {u"SessionError", "IDS_ENUM_EXCEPTIONCATEGORY_SESSION"},
    {u"StoredDataError", "IDS_ENUM_EXCEPTIONCATEGORY_STOREDDATA"},
    {u"CollaborationSystemError", "IDS_ENUM_EXCEPTIONCATEGORY_COLLABORATION"},
    {u"DataCompositionSettingsError", "IDS_ENUM_EXCEPTIONCATEGORY_DATACOMPOSITIONSETTINGS"},
    {u"GotoURLError", "IDS_ENUM_EXCEPTIONCATEGORY_GOTOURL"},
    {u"DatabaseCopyError", "IDS_ENUM_EXCEPTIONCATEGORY_DATABASECOPY"},
    {u"FullTextSearchError", "IDS_ENUM_EXCEPTIONCATEGORY_FULLTEXTSEARCH"},
    {u"ExternalDataSourceError", "IDS_ENUM_EXCEPTIONCATEGORY_EXTERNALDATASOURCE"},
    {u"DocumentConversionError", "IDS_ENUM_EXCEPTIONCATEGORY_DOCUMENTCONVERSION"},
    {u"InvalidPassword", "IDS_ENUM_EXCEPTIONCATEGORY_INVALIDPASSWORD"},
    {u"NoPermissionToUseFunctionality", "IDS_ENUM_EXCEPTIONCATEGORY_NOPERMISSION"},
    {u"MultimediaToolsError", "IDS_ENUM_EXCEPTIONCATEGORY_MULTIMEDIA"},
    {u"DatabaseTablespaceError", "IDS_ENUM_EXCEPTIONCATEGORY_TABLESPACE"},
    {u"SpeechProcessingError", "IDS_ENUM_EXCEPTIONCATEGORY_SPEECHPROCESSING"},
    {u"SignatureVerificationError", "IDS_ENUM_EXCEPTIONCATEGORY_SIGNATUREVERIFICATION"},
    {u"ConfigurationError", "IDS_ENUM_EXCEPTIONCATEGORY_CONFIGURATION"},
    {u"ForcedShutdown", "IDS_ENUM_EXCEPTIONCATEGORY_FORCEDSHUTDOWN"},
    {u"UnsupportedFormat", "IDS_ENUM_EXCEPTIONCATEGORY_UNSUPPORTEDFORMAT"},
};

bool in_range(Exception::Category c) noexcept { return c >= 0 && c < Exception::kCategoryCount; }
}  // namespace

Exception::Categories Exception::categoryOf(Category c) noexcept {
  Categories bits;
  if (in_range(c)) bits.set(static_cast<std::size_t>(c));
  return bits;
}

Exception::Categories Exception::categoryOf(std::initializer_list<Category> list) noexcept {
  Categories bits;
  for (Category c : list) bits |= categoryOf(c);
  return bits;
}

const char16_t* Exception::categoryTerm(Category c) noexcept { return in_range(c) ? kCategories[c].term : nullptr; }

const char* Exception::categoryKey(Category c) noexcept { return in_range(c) ? kCategories[c].key : nullptr; }

// ----- Deferred exceptions

namespace detail {
const ThreadSlot<ThreadExceptions>& thread_exceptions_slot() {
  static const ThreadSlot<ThreadExceptions> slot;
  return slot;
}
}  // namespace detail

void defer_exception() noexcept {
  std::exception_ptr& slot = detail::thread_exceptions_slot().current().deferred;
  if (!slot) slot = std::current_exception();
}

bool have_deferred_exception() noexcept {
  return static_cast<bool>(detail::thread_exceptions_slot().current().deferred);
}

void raise_deferred_exception() {
  std::exception_ptr& slot = detail::thread_exceptions_slot().current().deferred;
  if (!slot) return;
  std::exception_ptr parked = std::move(slot);
  slot = nullptr;
  std::rethrow_exception(parked);
}

// ----- Destructor exceptions

namespace {
constinit platform::Mutex g_handlerMutex;
InterfacePtr<IExceptionHandler> g_handler KERN83_GUARDED_BY(g_handlerMutex);
}  // namespace

void destructor_exception(const Exception& e) {
  InterfacePtr<IExceptionHandler> handler;
  {
    detail::LockGuard guard(g_handlerMutex);
    handler = g_handler;
  }
  if (handler) {
    handler->handleException(e);
    return;
  }
  throw Exception(e);
}

void set_destructor_exception_handler(IExceptionHandler* handler) {
  InterfacePtr<IExceptionHandler> previous(handler);
  {
    detail::LockGuard guard(g_handlerMutex);
    g_handler.swap(previous);
  }
  // `previous` now holds the old handler and releases it outside the lock.
}

InterfacePtr<IExceptionHandler> get_destructor_exception_handler() {
  detail::LockGuard guard(g_handlerMutex);
  return g_handler;
}

}  // namespace core
