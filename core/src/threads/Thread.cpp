// core::Thread: life cycle, flags and the static helpers.
//
// Lock order: a thread's own mutex before its process's mutex (startIn), and before its timer's mutex
// (startTimer); never the other way round.
#include "core/Thread.h"

#include "base/LockGuard.h"
#include "base/SourcePosition.h"
#include "base/ThreadSlots.h"
#include "core/Resources.h"
#include "exceptions/ThreadExceptions.h"
#include "platform/Mutex.h"
#include "platform/OsThread.h"
#include "platform/Sleep.h"
#include "resources/ResourceLanguage.h"
#include "threads/ThreadInternal.h"

namespace core {

std::uint64_t Thread::s_mainThreadId = 0;

Thread::TLSData::~TLSData() = default;

Thread::Thread(PoolType poolType)
    : poolType_(poolType),
      mutex_(platform::process_suspend_monitor()),
      exceptionsCount_(ExceptionsCount::create()),
      slots_(new detail::ThreadSlots()) {
  detail::set_exceptions_count(*slots_, exceptionsCount_);
}

Thread::~Thread() {
  clearTLSData();
  delete slots_;
  exceptionsCount_->release();
}

void Thread::run() {}

void Thread::wait(Thread* thread) { thread->semaphore().wait(); }

void Thread::doStart() { startIn(*detail::calling_root_process()); }

bool Thread::startIn(Process& process) {
  detail::LockGuard guard(mutex_);
  if (state_ != NotStarted) return false;  // a thread runs at most once
  rootProcess_ = SharedPtr<Process>(&process);
  if (!detail::ThreadAccess::addToProcess(process, this)) {
    state_ = Refused;
    interrupted_ = true;
    rootProcess_.reset();
    semaphore_.raise();  // join returns at once
    return false;
  }
  state_ = Running;
  interrupted_ = false;
  if (detail::submit_to_pool(SharedPtr<Thread>(this))) return true;
  // No OS thread: undo the registration and report it; the thread may be started again later.
  state_ = NotStarted;
  rootProcess_.reset();
  SharedPtr<Thread> keep(this);
  detail::ThreadAccess::removeFromProcess(process, this);
  throw ThreadException(ThreadException::CreateFailed, ResourceKey{"IDS_ERR_THREAD_CREATE"});
}

void Thread::doStartTimer() {}
bool Thread::isProcess() const { return false; }
bool Thread::isServerProcess() const { return false; }
bool Thread::isUIThread() const { return false; }

void Thread::start() { doStart(); }

void Thread::join() {
  if (state() != Running) return;
  Thread* caller = current_thread();
  if (caller == this) {
    throw IllegalStateException(KERN83_SOURCE_POSITION("Thread"), ResourceKey{"IDS_ERR_THREAD_JOIN_SELF"});
  }
  if (caller != nullptr) {
    caller->wait(this);
  } else {
    semaphore_.wait();
  }
}

void Thread::interrupt() {
  detail::LockGuard guard(mutex_);
  interrupted_ = true;
}

bool Thread::isInterrupted() const {
  detail::LockGuard guard(mutex_);
  return interrupted_;
}

bool Thread::isAlive() const { return state() == Running; }

Thread::State Thread::state() const {
  detail::LockGuard guard(mutex_);
  return state_;
}

Process* Thread::rootProcess() const {
  detail::LockGuard guard(mutex_);
  return rootProcess_.get();
}

void Thread::setRootProcessLocked(Process* process) { rootProcess_ = SharedPtr<Process>(process); }

int current_script_language() noexcept {
  const Thread* self = current_thread();
  return self != nullptr ? self->getScriptLanguage() : 0;
}

bool Thread::interrupted() {
  Thread* self = current_thread();
  if (self == nullptr) return false;
  detail::LockGuard guard(self->mutex_);
  return std::exchange(self->interrupted_, false);
}

void Thread::sleep(unsigned int ms) {
  nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
  platform::sleep_ms(ms);
}

void Thread::yield() { sleep(0); }

std::uint64_t Thread::getId() noexcept { return platform::current_thread_id(); }
std::uint64_t Thread::getOSId() noexcept { return platform::current_thread_id(); }

// ----- Settings

namespace {
constexpr int kDefaultBeginningOfCentury = 1950;

struct ProcessDefaults {
  platform::Mutex mutex;
  InterfacePtr<IUnknown> formats[4] KERN83_GUARDED_BY(mutex);
  int beginningOfCentury KERN83_GUARDED_BY(mutex) = kDefaultBeginningOfCentury;
};
ProcessDefaults& defaults() {
  static ProcessDefaults* instance = new ProcessDefaults;  // used by threads until the very end
  return *instance;
}
void set_default(int slot, IUnknown* value) {
  detail::LockGuard guard(defaults().mutex);
  defaults().formats[slot] = value;
}
InterfacePtr<IUnknown> get_default(int slot) {
  detail::LockGuard guard(defaults().mutex);
  return defaults().formats[slot];
}
}  // namespace

void Thread::setResourceLocale(std::string_view language) { detail::set_resource_language(*slots_, language); }
void Thread::resetResourceLocale() { detail::set_resource_language(*slots_, {}); }
std::string Thread::getResourceLocale() const { return detail::resource_language(*slots_); }

void Thread::setFormat(FormatSlot slot, IUnknown* value) {
  detail::LockGuard guard(mutex_);
  formats_[slot] = value;
}

InterfacePtr<IUnknown> Thread::getFormat(FormatSlot slot) const {
  {
    detail::LockGuard guard(mutex_);
    if (formats_[slot]) return formats_[slot];
  }
  return get_default(slot);
}

void Thread::setNumericFormat(IUnknown* format) { setFormat(kNumericFormat, format); }
void Thread::resetNumericFormat() { setFormat(kNumericFormat, nullptr); }
InterfacePtr<IUnknown> Thread::getNumericFormat() const { return getFormat(kNumericFormat); }
void Thread::setDateFormat(IUnknown* format) { setFormat(kDateFormat, format); }
void Thread::resetDateFormat() { setFormat(kDateFormat, nullptr); }
InterfacePtr<IUnknown> Thread::getDateFormat() const { return getFormat(kDateFormat); }
void Thread::setBoolFormat(IUnknown* format) { setFormat(kBoolFormat, format); }
void Thread::resetBoolFormat() { setFormat(kBoolFormat, nullptr); }
InterfacePtr<IUnknown> Thread::getBoolFormat() const { return getFormat(kBoolFormat); }
void Thread::setTimeZone(IUnknown* zone) { setFormat(kTimeZone, zone); }
void Thread::resetTimeZone() { setFormat(kTimeZone, nullptr); }
InterfacePtr<IUnknown> Thread::getTimeZone() const { return getFormat(kTimeZone); }

void Thread::setBeginningOfCentury(int year) {
  detail::LockGuard guard(mutex_);
  beginningOfCentury_ = year;
}
void Thread::resetBeginningOfCentury() { setBeginningOfCentury(0); }
int Thread::getBeginningOfCentury() const {
  {
    detail::LockGuard guard(mutex_);
    if (beginningOfCentury_ != 0) return beginningOfCentury_;
  }
  return getDefaultBeginningOfCentury();
}

void Thread::setDefaultNumericFormat(IUnknown* format) { set_default(kNumericFormat, format); }
InterfacePtr<IUnknown> Thread::getDefaultNumericFormat() { return get_default(kNumericFormat); }
void Thread::setDefaultDateFormat(IUnknown* format) { set_default(kDateFormat, format); }
InterfacePtr<IUnknown> Thread::getDefaultDateFormat() { return get_default(kDateFormat); }
void Thread::setDefaultBoolFormat(IUnknown* format) { set_default(kBoolFormat, format); }
InterfacePtr<IUnknown> Thread::getDefaultBoolFormat() { return get_default(kBoolFormat); }
void Thread::setDefaultTimeZone(IUnknown* zone) { set_default(kTimeZone, zone); }
InterfacePtr<IUnknown> Thread::getDefaultTimeZone() { return get_default(kTimeZone); }

void Thread::setDefaultBeginningOfCentury(int year) {
  detail::LockGuard guard(defaults().mutex);
  defaults().beginningOfCentury = year != 0 ? year : kDefaultBeginningOfCentury;
}
int Thread::getDefaultBeginningOfCentury() {
  detail::LockGuard guard(defaults().mutex);
  return defaults().beginningOfCentury;
}

void Thread::setExecModuleSecurityContext(IUnknown* context) {
  detail::LockGuard guard(mutex_);
  execSecurityContext_ = context;
}
InterfacePtr<IUnknown> Thread::getExecModuleSecurityContext() const {
  detail::LockGuard guard(mutex_);
  return execSecurityContext_;
}

unsigned int Thread::getTimerInterval() const {
  detail::LockGuard guard(mutex_);
  return timerInterval_;
}
void Thread::setTimerInterval(unsigned int ms) {
  detail::LockGuard guard(mutex_);
  timerInterval_ = ms;
}

}  // namespace core
