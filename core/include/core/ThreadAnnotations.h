#pragma once
// Annotations for clang's thread-safety analysis (-Wthread-safety); empty on other compilers.
//
// The library's locks are capabilities: a member that a lock guards says so, and a function that must be
// called with a lock held says that too, so that clang rejects an access without the lock at compile
// time:
//
//     class Counter {
//      public:
//       void add() KERN83_EXCLUDES(mutex_) {
//         core::IMutexImpl& m = mutex_;
//         m.lock();
//         ++count_;
//         m.unlock();
//       }
//      private:
//       core::IMutexImpl mutex_;
//       int count_ KERN83_GUARDED_BY(mutex_) = 0;
//     };
//
// The macros carry the KERN83_ prefix so that they cannot clash with a program's own set.

// The attribute `x` under clang, nothing elsewhere.
#if defined(__clang__)
#define KERN83_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KERN83_THREAD_ANNOTATION(x)
#endif

// On a class: objects of it are locks.
#define KERN83_CAPABILITY(name) KERN83_THREAD_ANNOTATION(capability(name))
// On a class: an RAII object that holds a lock for its lifetime.
#define KERN83_SCOPED_CAPABILITY KERN83_THREAD_ANNOTATION(scoped_lockable)
// On a member: reading or writing it needs the lock (shared for reading, exclusive for writing).
#define KERN83_GUARDED_BY(lock) KERN83_THREAD_ANNOTATION(guarded_by(lock))
// On a pointer member: the pointed-to data needs the lock.
#define KERN83_PT_GUARDED_BY(lock) KERN83_THREAD_ANNOTATION(pt_guarded_by(lock))
// On a function: the caller holds the lock(s), exclusively or shared.
#define KERN83_REQUIRES(...) KERN83_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KERN83_REQUIRES_SHARED(...) KERN83_THREAD_ANNOTATION(requires_shared_capability(__VA_ARGS__))
// On a function: it takes (or releases) the lock(s); without arguments, the object itself.
#define KERN83_ACQUIRE(...) KERN83_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KERN83_ACQUIRE_SHARED(...) KERN83_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define KERN83_RELEASE(...) KERN83_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define KERN83_RELEASE_SHARED(...) KERN83_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define KERN83_RELEASE_GENERIC(...) KERN83_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))
// On a function: takes the lock only when it returns `result`.
#define KERN83_TRY_ACQUIRE(...) KERN83_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define KERN83_TRY_ACQUIRE_SHARED(...) KERN83_THREAD_ANNOTATION(try_acquire_shared_capability(__VA_ARGS__))
// On a function: the caller must not hold the lock(s) (the function takes them itself).
#define KERN83_EXCLUDES(...) KERN83_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
// On a function: it returns a reference to the lock.
#define KERN83_RETURN_CAPABILITY(lock) KERN83_THREAD_ANNOTATION(lock_returned(lock))
// On a function: the analysis skips it (a lock protocol it cannot follow; say why where it is used).
#define KERN83_NO_THREAD_SAFETY_ANALYSIS KERN83_THREAD_ANNOTATION(no_thread_safety_analysis)
