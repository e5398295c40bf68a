#pragma once
// Threads of the library, their per-thread settings and thread-local data.
//
// A core::Thread is a reference-counted object that runs its `run()` once on a worker of the thread-pool
// service. It carries what formatting and error code read per thread: the resource locale (the language
// of message texts), number, date and boolean formats, time zone, beginning of century, the safe-mode
// flag, thread-local data slots and the live-exception counter. The calling thread's object is
// `current_thread()`: the process's main thread has one from the moment the library is loaded, threads
// started here have theirs, and foreign OS threads have none unless they attach (AttachedThread,
// CallingThread, ThreadAttach). A ProcessThread runs a process's own work, with a timer.
//
//     core::SharedPtr<core::Thread> worker = core::create_thread([] { crunch(); });
//     worker->start();            // runs crunch() on a pool worker
//     worker->join();             // waits until it has ended
//
//     class Indexer : public core::Thread {
//      public:
//       Indexer() : Thread(core::Thread::BackgroundPool) {}
//       void run() override { while (!core::Thread::interrupted()) step(); }
//     };
//     core::SharedPtr<core::Thread> indexer(new Indexer);  // owned by a SharedPtr before start
//
// States: 0 not started -> 1 running -> 2 finished; 0 -> 3 refused when the thread's process no longer
// accepts threads (the completion semaphore is raised then too, so `join` returns at once). A thread
// runs at most once; a second `start` is ignored.
//
// Per-thread settings: each getter returns the thread's own value when set, otherwise the process
// default. The formats (NumericFormat, DateFormat, BoolFormat, TimeZone) are held as opaque
// reference-counted objects (InterfacePtr<IUnknown>); the families that define them wrap their values in
// such an object and query their own interface back.
//
// Thread safety: a Thread's state, flag and settings are guarded by its own mutex and may be used from
// any thread. Its thread-local data table belongs to the thread that runs it: use getTLSValue /
// setTLSValue / clearTLSData from that thread, or while the thread is not running.

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "avo/BasicString.h"
#include "core/Exception.h"
#include "core/Export.h"
#include "core/Interface.h"
#include "core/Mutex.h"
#include "core/Semaphore.h"

namespace core {

class Process;
class SCOM_Process;  // the component registry's process object; only passed through here

namespace detail {
struct ThreadAccess;
class ThreadSlots;
}  // namespace detail

// A thread of the library; see the top of this file. Owned through SharedPtr.
class KERN83_API Thread : public Refcountable<Thread, AtomicCounter> {
 public:
  // Where the thread is in its life (see States above).
  enum State : std::int32_t { NotStarted = 0, Running = 1, Finished = 2, Refused = 3 };

  // Which pool of the thread-pool service runs a thread (see set_thread_mode). NoPool threads are not
  // run by a pool (attached threads, the main thread).
  enum PoolType : std::int32_t {
    NoPool = 0,
    ProcessPool = 1,
    ServerPool = 2,
    UIPool = 3,
    BackgroundPool = 4,
    TimerPool = 5,
    FunctionPool = 6,  // threads of create_thread
  };
  // The number of PoolType values.
  static constexpr int kPoolTypeCount = 7;

  // Data kept in a thread-local slot; the slot owns it and deletes it through this destructor.
  class KERN83_API TLSData {
   public:
    virtual ~TLSData();
  };

  // A thread-local slot: the slot number and the generation it was issued with. A slot number is reused
  // after freeTLS; the generation tells the new owner's entries from the old one's.
  struct TLSIndex {
    std::uint64_t generation = 0;  // tells the slot's owners apart
    std::uint64_t slot = 0;        // the slot number
  };

  // The thread statistics that setSafeMode feeds: per (name, flag), the processor times and ticks spent
  // between one setSafeMode call and the next on the thread. Kept in the slot given to
  // setStatisticTlsIndex (created there on first use).
  class KERN83_API SafeModeStatistics : public TLSData {
   public:
    // The totals of one (name, flag).
    struct Entry {
      avo::WString name;           // the name given to setSafeMode
      bool safeMode = false;       // the flag given with it
      std::uint64_t userMs = 0;    // processor time in user mode, milliseconds
      std::uint64_t kernelMs = 0;  // processor time in the kernel, milliseconds
      std::uint64_t ticks = 0;     // elapsed time, milliseconds
      std::uint64_t switches = 0;  // how often a section of this name and flag was entered
    };
    // Every entry, in the order the (name, flag) pairs first occurred.
    const std::vector<Entry>& entries() const noexcept { return entries_; }
    // The entry of (name, flag), or null.
    const Entry* find(std::u16string_view name, bool safeMode) const noexcept;

   private:
    friend class Thread;
    void enter(const avo::WString& name, bool safeMode);
    std::vector<Entry> entries_;
    std::size_t open_ = static_cast<std::size_t>(-1);  // entry of the section in progress
    std::uint64_t userMs_ = 0, kernelMs_ = 0, tick_ = 0;
  };

  // A thread not started yet, run by the pool of `poolType` once started.
  explicit Thread(PoolType poolType = FunctionPool);

  // Virtual slots, in this order.
  virtual ~Thread();
  // The thread's body; empty here.
  virtual void run();
  // Called on the joining thread to wait for `thread`; waits without limit on its completion semaphore.
  // A kind of thread may override it to keep serving its own work while it waits.
  virtual void wait(Thread* thread);
  // Starts the thread (see start()).
  virtual void doStart();
  // Starts the thread's timer; nothing here.
  virtual void doStartTimer();
  // What kind of thread this is: a process, a server process, a user-interface thread; false here.
  virtual bool isProcess() const;
  virtual bool isServerProcess() const;
  virtual bool isUIThread() const;

  // Starts the thread: registers it with the calling thread's process and hands it to the pool of its
  // type. Ignored when the thread was started before. When the process no longer accepts threads the
  // state becomes Refused and the thread never runs. Throws ThreadException (CreateFailed) when the
  // system cannot give it a thread; it then stays NotStarted. The thread must be owned by a SharedPtr.
  void start();
  // Waits until a running thread has ended; returns at once in every other state. Throws
  // IllegalStateException when a thread joins itself (it would wait forever).
  void join();
  // Sets the interrupted flag; wakes nothing. The thread polls it with interrupted()/isInterrupted().
  void interrupt();
  bool isInterrupted() const;
  bool isAlive() const;  // state() == Running
  // The state now.
  State state() const;
  // The pool given to the constructor.
  PoolType poolType() const noexcept { return poolType_; }
  // Raised once the body has ended or the start was refused; never reset.
  ISemaphoreOneTimeImpl& semaphore() noexcept { return semaphore_; }
  // The process the thread belongs to while it runs; null before and after.
  Process* rootProcess() const;
  // The thread's live-exception counter (created holding 1 for the thread).
  ExceptionsCount* exceptionsCount() const noexcept { return exceptionsCount_; }

  // The calling thread's object, or null on a foreign thread.
  static Thread* current() noexcept;
  // Tests and clears the calling thread's interrupted flag (false on a foreign thread).
  static bool interrupted();
  // Sleeps `ms` milliseconds, telling the suspend monitor before and after.
  static void sleep(unsigned int ms);
  // Gives up the rest of the time slice (sleep 0).
  static void yield();
  // The calling thread's OS thread id (both forms).
  static std::uint64_t getId() noexcept;
  static std::uint64_t getOSId() noexcept;
  // The OS id of the thread that loaded the library.
  static std::uint64_t getMainThreadId() noexcept { return s_mainThreadId; }
  static std::uint64_t s_mainThreadId;

  // ----- Thread-local slots
  // A new slot (under a process-wide lock): the most recently freed slot number, else a new one, with
  // the next generation.
  static TLSIndex allocTLS();
  // Returns the slot number for reuse. Entries threads stored under it stay until they are read, set
  // or cleared, and then they are destroyed.
  static void freeTLS(TLSIndex index);
  // This thread's data under `index`, or null. An entry left by an earlier owner of the slot is
  // destroyed and reads null.
  TLSData* getTLSValue(TLSIndex index);
  // Stores `data` (owned from now on) under `index`, destroying what the entry held before.
  void setTLSValue(TLSIndex index, TLSData* data);
  // Destroys every entry of this thread.
  void clearTLSData();

  // ----- Per-thread settings (own value, else the process default)
  // Resource locale: the language code of message texts ("en", "ru"); the process default is
  // get_process_resource_language() of core/Resources.h.
  void setResourceLocale(std::string_view language);
  void resetResourceLocale();
  std::string getResourceLocale() const;
  // Script language: the language of the script code the thread runs, 0 English or 1 Russian. Values
  // that print names (enumeration items) print them in it. Not a resource locale: a Russian script may
  // run with English messages. 0 until set; any number is kept as given.
  void setScriptLanguage(int language) noexcept { scriptLanguage_.store(language, std::memory_order_relaxed); }
  int getScriptLanguage() const noexcept { return scriptLanguage_.load(std::memory_order_relaxed); }

  // The formats and the time zone, as opaque objects (core/Formats.h wraps and reads the formats): set
  // (a reference is taken; null is no setting), reset to the process default, get (the own setting,
  // else the process default, else null).
  void setNumericFormat(IUnknown* format);
  void resetNumericFormat();
  InterfacePtr<IUnknown> getNumericFormat() const;
  void setDateFormat(IUnknown* format);
  void resetDateFormat();
  InterfacePtr<IUnknown> getDateFormat() const;
  void setBoolFormat(IUnknown* format);
  void resetBoolFormat();
  InterfacePtr<IUnknown> getBoolFormat() const;
  void setTimeZone(IUnknown* zone);
  void resetTimeZone();
  InterfacePtr<IUnknown> getTimeZone() const;
  // The first year of the century that two-digit years fall in.
  void setBeginningOfCentury(int year);
  void resetBeginningOfCentury();
  int getBeginningOfCentury() const;

  // Process defaults (initially: no formats, no time zone, beginning of century 1950).
  static void setDefaultNumericFormat(IUnknown* format);
  static InterfacePtr<IUnknown> getDefaultNumericFormat();
  static void setDefaultDateFormat(IUnknown* format);
  static InterfacePtr<IUnknown> getDefaultDateFormat();
  static void setDefaultBoolFormat(IUnknown* format);
  static InterfacePtr<IUnknown> getDefaultBoolFormat();
  static void setDefaultTimeZone(IUnknown* zone);
  static InterfacePtr<IUnknown> getDefaultTimeZone();
  static void setDefaultBeginningOfCentury(int year);
  static int getDefaultBeginningOfCentury();

  // Safe mode: stores the flag and, when a statistics slot is set, charges the calling thread's
  // processor times and ticks since the previous call to the previous (name, flag).
  void setSafeMode(const avo::WString& name, bool safeMode);
  // The flag last stored (false until set).
  bool getSafeMode() const;
  // The slot that keeps the SafeModeStatistics; none until set.
  void setStatisticTlsIndex(TLSIndex index);
  TLSIndex getStatisticTlsIndex() const;

  // The security context of the module the thread executes, kept for the script engine (opaque here;
  // a reference is taken; null until set).
  void setExecModuleSecurityContext(IUnknown* context);
  InterfacePtr<IUnknown> getExecModuleSecurityContext() const;

  // The interval of the thread's timer in milliseconds, kept for kinds that run one (doStartTimer);
  // 0 until set.
  unsigned int getTimerInterval() const;
  void setTimerInterval(unsigned int ms);

 protected:
  // The thread's own mutex: guards state, flag, root process and settings.
  IMutexImpl& mutex() const noexcept KERN83_RETURN_CAPABILITY(mutex_) { return mutex_; }
  // For kinds that start themselves (attached threads): state and process under the thread's mutex.
  void setStateLocked(State state) noexcept KERN83_REQUIRES(mutex_) { state_ = state; }
  void setInterruptedLocked(bool interrupted) noexcept KERN83_REQUIRES(mutex_) { interrupted_ = interrupted; }
  void setRootProcessLocked(Process* process) KERN83_REQUIRES(mutex_);
  State stateLocked() const noexcept KERN83_REQUIRES(mutex_) { return state_; }
  // For kinds bound to a process of their own: start() in `process` rather than the starter's. True
  // when this call started the thread; false when it was started before or `process` refused it.
  bool startIn(Process& process);

 private:
  friend struct detail::ThreadAccess;
  enum FormatSlot { kNumericFormat, kDateFormat, kBoolFormat, kTimeZone, kFormatSlots };
  void setFormat(FormatSlot slot, IUnknown* value);
  InterfacePtr<IUnknown> getFormat(FormatSlot slot) const;
  std::pair<std::uint64_t, TLSData*>& tlsEntry(TLSIndex index);

  State state_ KERN83_GUARDED_BY(mutex_) = NotStarted;
  const PoolType poolType_;
  bool interrupted_ KERN83_GUARDED_BY(mutex_) = false;
  mutable IMutexImpl mutex_;
  ISemaphoreOneTimeImpl semaphore_;
  SharedPtr<Process> rootProcess_ KERN83_GUARDED_BY(mutex_);
  std::atomic<int> scriptLanguage_{0};  // read on every print of a name: no lock
  InterfacePtr<IUnknown> formats_[kFormatSlots] KERN83_GUARDED_BY(mutex_);
  int beginningOfCentury_ KERN83_GUARDED_BY(mutex_) = 0;  // 0 = not set
  bool safeMode_ KERN83_GUARDED_BY(mutex_) = false;
  TLSIndex statisticIndex_ KERN83_GUARDED_BY(mutex_);
  InterfacePtr<IUnknown> execSecurityContext_ KERN83_GUARDED_BY(mutex_);
  unsigned int timerInterval_ KERN83_GUARDED_BY(mutex_) = 0;
  // The running timer of a ProcessThread (a TimerPool thread, see there); ended before the thread
  // counts as Finished.
  SharedPtr<Thread> timer_ KERN83_GUARDED_BY(mutex_);
  std::vector<std::pair<std::uint64_t, TLSData*>> tls_;  // (generation, owned data) per slot
  ExceptionsCount* exceptionsCount_;
  detail::ThreadSlots* const slots_;  // owned: the per-thread state of the families, bound while it runs
};

// The calling thread's Thread object, or null on a foreign OS thread.
KERN83_API Thread* current_thread() noexcept;

// The calling thread's script language (Thread::getScriptLanguage); 0, English, on a foreign OS thread.
KERN83_API int current_script_language() noexcept;

// A thread of pool type FunctionPool whose run() moves `body` out and calls it once (an empty function
// raises std::bad_function_call inside the thread). Not started.
KERN83_API SharedPtr<Thread> create_thread(const std::function<void()>& body);
KERN83_API SharedPtr<Thread> create_thread(std::function<void()>&& body);

// Waits until `thread` has no reference but the caller's: while its count is above 1, sleeps 10 ms at a
// time (telling the suspend monitor), and returns false once `timeoutMs` has passed since the call (so
// a timeout of 0 sleeps once). Returns true, after a zero sleep, when the count is 1 or less.
KERN83_API bool wait_unique(Thread* thread, unsigned int timeoutMs);
KERN83_API bool wait_unique(const SharedPtr<Thread>& thread, unsigned int timeoutMs);

// The number of logical processors the system reports.
KERN83_API unsigned int hardware_concurrency() noexcept;
// n > 0 restricts the process to its first n processors; n = 0 restores the default set. False when
// the system refused.
KERN83_API bool set_processor_affinity(unsigned int n) noexcept;

// Configures the pool that runs threads of `type` (NoPool is ignored): how many idle workers it keeps
// for reuse (`maxIdleWorkers`), how long an idle worker waits for work before it ends
// (`idleTimeoutMs`), and whether workers are reused at all (`reuseWorkers` false: every thread gets a
// fresh OS thread that ends with it). A negative number keeps the current value. Every started thread
// runs at once, on an idle worker or a new one; pools never queue threads behind each other.
// Defaults: hardware_concurrency() idle workers, 30000 ms, reuse.
KERN83_API void set_thread_mode(Thread::PoolType type, int maxIdleWorkers, int idleTimeoutMs, bool reuseWorkers);

// The process object: the set of live threads started in it and whether it accepts new ones.
// Threads started from a thread of this process belong to it; threads started from foreign threads
// belong to the default process.
class KERN83_API Process : public Refcountable<Process, AtomicCounter> {
 public:
  // Receives what a thread's run() threw. The default handler writes it to standard error.
  using ThreadExceptionHandler = std::function<void(Thread& thread, std::exception_ptr error)>;

  Process();
  virtual ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // The process object of the running program (never destroyed).
  static Process* defaultProcess() noexcept;

  // Whether threads started now are accepted (else they are Refused).
  bool acceptsThreads() const;
  // Stops (false) or resumes (true) accepting new threads; running threads are not affected.
  void setAcceptThreads(bool accept);
  // The threads started in the process that have not ended yet: their number, and the threads.
  std::size_t liveThreadCount() const;
  std::vector<SharedPtr<Thread>> liveThreads() const;
  // Joins every live thread; false when some still ran after `timeoutMs`.
  bool waitForThreads(unsigned int timeoutMs);

  // Null removes the handler: an exception leaving run() then ends the program.
  void setThreadExceptionHandler(ThreadExceptionHandler handler);
  // The handler in force (empty when removed).
  ThreadExceptionHandler threadExceptionHandler() const;

 private:
  friend struct detail::ThreadAccess;
  bool addThread(Thread* thread);
  void removeThread(Thread* thread);

  mutable IMutexImpl mutex_;
  bool accepting_ KERN83_GUARDED_BY(mutex_) = true;
  // Ordered by address, each holding a reference.
  std::map<Thread*, SharedPtr<Thread>> threads_ KERN83_GUARDED_BY(mutex_);
  ThreadExceptionHandler handler_ KERN83_GUARDED_BY(mutex_);
};

// The thread that runs a process's work: a thread of pool type ProcessPool bound to its process (null:
// the default process) rather than to the process of whoever starts it, with a timer.
//
//     class Poller : public core::ProcessThread {
//      public:
//       explicit Poller(core::Process* process) : ProcessThread(process) { setTimerInterval(500); }
//       void run() override { while (!core::Thread::interrupted()) serveRequests(); }
//      protected:
//       void onTimer() override { checkQueues(); }   // every 500 ms while run() runs
//     };
//     core::SharedPtr<Poller> poller(new Poller(process));
//     poller->start();
//
// Starting registers the thread with its own process; the start is refused (state Refused, as for
// every thread) when that process no longer accepts threads. Once it runs, and when its timer interval
// is not 0, the start also starts its timer.
//
// The timer is a thread of pool type TimerPool that calls onTimer() every getTimerInterval() milliseconds,
// counted from the end of one call to the start of the next, until the thread has ended, is found interrupted
// (isInterrupted() before a call), or its interval is 0. The interval is read before every wait and again
// before every call: a new interval applies from the next wait on, and 0 ends the timer without another call
// (doStartTimer() starts it again). onTimer() runs on the timer's thread, concurrently with run():
// current_thread() there is the timer (default settings, the thread's process as its root process, no
// thread-local data of the thread's), and what the two share needs a lock. What onTimer throws goes to the
// process's exception handler as this thread's, and the timer goes on; without a handler it ends the program.
// The thread's end waits for its timer before the state becomes Finished, so once join() has returned no
// onTimer call runs or follows. Hence onTimer must not join its own thread, nor wait for anything its joiner
// holds.
//
// Thread safety: as Thread. Like every Thread, the object must be owned by a SharedPtr; the timer holds
// a reference to it while it runs.
class KERN83_API ProcessThread : public Thread {
 public:
  // A thread of `process` (null: the default process), pool type ProcessPool, not started.
  explicit ProcessThread(Process* process = nullptr);
  ~ProcessThread() override;

  // Starts the timer: nothing when the interval is 0, the thread does not run, or a timer runs already.
  // Throws ThreadException (CreateFailed) when the system gives the timer no OS thread.
  void doStartTimer() override;
  bool isProcess() const override { return true; }
  // The process the thread is started in (never null).
  Process* process() const noexcept { return process_.get(); }

 protected:
  // Starts the thread in its own process, then its timer when the interval is not 0.
  void doStart() override;
  // Called on the timer's thread at every tick; empty here.
  virtual void onTimer();

 private:
  friend struct detail::ThreadAccess;
  const SharedPtr<Process> process_;
};

// A foreign OS thread taking part as a Thread of `process` (null: the default process). `attach()` is its
// start, run on the OS thread that attaches: when the process accepts it, the state becomes Running and
// the calling OS thread has this object as current_thread() (with its exception counter) until
// `detach()`, which ends it (Finished). Attaching is refused like a start (Refused) when the process no
// longer accepts threads. Attach and detach on the same OS thread. Like every Thread, the object must be
// owned by a SharedPtr (the process's live set holds a reference while it is attached).
class KERN83_API AttachedThread : public Thread {
 public:
  // Not attached yet; `scomProcess` is only kept for the component registry.
  AttachedThread(Process* process, SCOM_Process* scomProcess);
  ~AttachedThread() override;

  // Attaches the calling OS thread; returns the new state (Running, or Refused).
  State attach();
  // Ends the association made by attach (on the same OS thread); the state becomes Finished.
  void detach();
  // The registry's process object given to the constructor.
  SCOM_Process* scomProcess() const noexcept { return scomProcess_; }

 protected:
  void doStart() override;

 private:
  SharedPtr<Process> process_;
  SCOM_Process* scomProcess_;
  Thread* previous_ = nullptr;    // what the OS thread had before attach
  std::uint64_t attachedTo_ = 0;  // OS id of the attached thread, 0 = not attached
};

// An attached thread for calls: `call(body)` runs body on the calling OS thread as this thread,
// attaching for the call when it is not attached yet (and detaching afterwards, so it runs once).
// Exceptions of body propagate to the caller after detaching.
class KERN83_API CallingThread : public AttachedThread {
 public:
  // As AttachedThread's.
  CallingThread(Process* process, SCOM_Process* scomProcess);

  // Runs `body` as this thread (see above); throws ThreadException (StartRefused) when the process
  // refuses the thread.
  void call(std::function<void()> body);

 protected:
  void doStart() override;
};

// Scope guard: while it lives, the calling OS thread acts as `thread` (current_thread() and the exception
// counter); the previous association is restored at the end. The thread's state is not changed, and the
// caller keeps `thread` alive meanwhile.
class KERN83_API ThreadAttach {
 public:
  // Makes `thread` the calling OS thread's thread object; `scomProcess` is not used here.
  ThreadAttach(Thread* thread, SCOM_Process* scomProcess);
  ~ThreadAttach();
  ThreadAttach(const ThreadAttach&) = delete;
  ThreadAttach& operator=(const ThreadAttach&) = delete;

 private:
  Thread* previous_;
};

}  // namespace core
