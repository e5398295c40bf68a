#pragma once
// Reference counting and interfaces.
//
// Two families of shared objects:
//  - Interfaces (IUnknown and everything derived from it): slot 0 QueryInterface, slot 1 AddRef,
//    slot 2 Release; the last Release destroys. Held by InterfacePtr<T>. Implementations get all three
//    from RefCountedUnknown, which only needs to be told the initial count and the interfaces to answer.
//  - Plain shared objects deriving from Refcountable<T, AtomicCounter>: acquire / release / refcount,
//    counting from 0; held by SharedPtr<T>, which adds the first reference.
//
//     InterfacePtr<IValue> v(create_null_value(), adopt_ref);  // takes over the factory's reference
//     SharedPtr<Thread> t = create_thread([] { work(); });
//
// Both families count with AtomicCounter: an increment needs no ordering, while the decrement that may
// reach 0 is acquire-release so that the thread that destroys the object sees every write the other
// holders made before they let go. Counters change atomically, so objects may be shared between
// threads; a single pointer object is used by one thread at a time.

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "core/Export.h"
#include "core/Guid.h"

namespace core {

// Result codes of QueryInterface, in the automation encoding: success, "the object has no such
// interface", and "a null out pointer was passed".
using HRESULT = std::int32_t;
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);

// The root of every interface: reference counting and the query for another interface of the same
// object. Not deleted directly: the last Release destroys the object.
struct IUnknown {
  // The identifier an interface is asked for by; every interface declares its own.
  static constexpr GUID IID = guid("00000000-0000-0000-c000-000000000046");

  // Slot 0: stores the object's interface `iid` in *object with a new reference and answers S_OK; answers
  // E_NOINTERFACE (and stores null) when the object has none, E_POINTER for a null `object`.
  virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
  // Slot 1: adds a reference; returns the new count (for diagnostics only).
  virtual std::uint32_t AddRef() = 0;
  // Slot 2: drops a reference; the one that brings the count to 0 destroys the object. Returns the new
  // count (for diagnostics only).
  virtual std::uint32_t Release() = 0;

 protected:
  ~IUnknown() = default;
};

// Tag: the pointer already carries a reference for the new owner.
struct AdoptRef {};
// The tag's value: `InterfacePtr<IValue> v(create_null_value(), adopt_ref)`.
inline constexpr AdoptRef adopt_ref{};

// Owner of one reference to an interface T: copying adds a reference, destruction releases it. Empty
// (null) or holding an object; a holder that may be empty tests it (operator bool) before use.
template <class T>
class InterfacePtr {
 public:
  // Empty.
  InterfacePtr() noexcept = default;
  InterfacePtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  // Adds a reference.
  InterfacePtr(T* p) noexcept : p_(p) {  // NOLINT(google-explicit-constructor)
    if (p_ != nullptr) p_->AddRef();
  }
  // Takes over the reference that `p` carries.
  InterfacePtr(T* p, AdoptRef) noexcept : p_(p) {}
  // Another reference to what `other` holds; moving hands the reference over and leaves `other` empty.
  InterfacePtr(const InterfacePtr& other) noexcept : InterfacePtr(other.p_) {}
  InterfacePtr(InterfacePtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  template <class U>
  // From a pointer to a derived interface (adds a reference).
  InterfacePtr(const InterfacePtr<U>& other) noexcept : InterfacePtr(other.get()) {}  // NOLINT
  ~InterfacePtr() { reset(); }

  // Holds what `other` holds (a new reference; moving hands the reference over and leaves `other`
  // empty); the reference held before is released.
  InterfacePtr& operator=(const InterfacePtr& other) noexcept {
    InterfacePtr(other).swap(*this);
    return *this;
  }
  InterfacePtr& operator=(InterfacePtr&& other) noexcept {
    InterfacePtr(std::move(other)).swap(*this);
    return *this;
  }

  // Releases the reference and leaves the pointer empty.
  void reset() noexcept {
    if (T* p = std::exchange(p_, nullptr)) p->Release();
  }
  // Replaces the held pointer by one that already carries a reference.
  void attach(T* p) noexcept {
    reset();
    p_ = p;
  }
  // Hands the reference to the caller.
  [[nodiscard]] T* detach() noexcept { return std::exchange(p_, nullptr); }
  // Exchanges the two pointers; no count changes.
  void swap(InterfacePtr& other) noexcept { std::swap(p_, other.p_); }

  // The object, borrowed (valid while this pointer holds it); null when empty.
  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  // Whether an object is held.
  explicit operator bool() const noexcept { return p_ != nullptr; }

  // Another interface of the same object, or empty.
  template <class U>
  InterfacePtr<U> query() const noexcept {
    void* out = nullptr;
    if (p_ == nullptr || p_->QueryInterface(U::IID, &out) != S_OK) return {};
    return InterfacePtr<U>(static_cast<U*>(out), adopt_ref);
  }

  // The same object (pointer identity), or empty.
  friend bool operator==(const InterfacePtr& a, const InterfacePtr& b) noexcept { return a.p_ == b.p_; }
  friend bool operator==(const InterfacePtr& a, std::nullptr_t) noexcept { return a.p_ == nullptr; }

 private:
  T* p_ = nullptr;
};

// A 32-bit counter changed with atomic read-modify-write operations. increment and decrement return the
// new value. The constructor is constexpr so that constant-initialised objects can hold one.
class AtomicCounter {
 public:
  // Starts at `start`.
  constexpr explicit AtomicCounter(std::int32_t start = 0) noexcept : value_(start) {}
  // Adds 1 without ordering (taking a reference needs none).
  std::int32_t increment() noexcept { return value_.fetch_add(1, std::memory_order_relaxed) + 1; }
  // Subtracts 1, acquire-release: the thread that reaches 0 sees what the others wrote before.
  std::int32_t decrement() noexcept { return value_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  // The current value (a snapshot).
  std::int32_t get() const noexcept { return value_.load(std::memory_order_acquire); }
  // Overwrites the value; for an owner that marks the count of an object it is about to free.
  void set(std::int32_t value) noexcept { value_.store(value, std::memory_order_relaxed); }

 private:
  std::atomic<std::int32_t> value_;
};

// The interfaces a RefCountedUnknown answers in QueryInterface besides IUnknown.
template <class... Interfaces>
struct Answers {};

// IUnknown for an implementation class: the reference count and QueryInterface, written once.
//
//   InitialCount  0 when the first owner adds the first reference (`InterfacePtr<I> p(new Impl)`), 1 when
//                 the creator's reference goes to the caller (`InterfacePtr<I>(new Impl, adopt_ref)`).
//   Answers<...>  the interfaces QueryInterface answers besides IUnknown: each a base of the object, or
//                 the implementation class itself. Each is answered as the object's pointer converted
//                 to it.
//   Bases...      what the object derives from. The first derives from IUnknown and IUnknown is answered
//                 through it; the others may be further interfaces or plain classes (nexa::Allocated).
//
//     // Answers IUnknown, IFileEx and IFile; the creator's reference goes to the caller.
//     class ScratchFile final : public RefCountedUnknown<1, Answers<IFileEx, IFile>, IFileEx, nexa::Allocated> {
//      public:
//       ... IFileEx's methods ...
//      private:
//       ~ScratchFile() override;  // only the last Release destroys
//     };
//     InterfacePtr<IFileEx> file(new ScratchFile, adopt_ref);
//     InterfacePtr<IFile> same = file.query<IFile>();  // the same object, a second reference
//
// AddRef and Release return the count after the change; the Release that brings it to 0 deletes the
// object through its virtual destructor, so the most derived class's destructor and `operator delete`
// are the ones used. QueryInterface answers E_POINTER for a null `object`; for an IID it does not answer
// it sets *object to null and answers E_NOINTERFACE; on success it adds a reference through AddRef. All
// three stay virtual: a class that derives from an implementation may widen QueryInterface and call
// this one for the rest.
//
// Thread safety: AddRef, Release and QueryInterface may be called from several threads at once (the
// count is an AtomicCounter); everything else about the object is the implementation's business.
template <std::int32_t InitialCount, class AnswerList, class... Bases>
class RefCountedUnknown;

// The one form RefCountedUnknown takes: the answered interfaces listed in Answers<...>.
template <std::int32_t InitialCount, class... Interfaces, class First, class... Others>
class RefCountedUnknown<InitialCount, Answers<Interfaces...>, First, Others...> : public First, public Others... {
  static_assert(InitialCount == 0 || InitialCount == 1, "an object starts with no reference or with its creator's");
  static_assert(std::is_base_of_v<IUnknown, First>, "IUnknown is answered through the first base");

 public:
  // IUnknown, as described above.
  HRESULT QueryInterface(const GUID& iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = interfaceFor(iid);
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  std::uint32_t AddRef() override { return static_cast<std::uint32_t>(refs_.increment()); }
  std::uint32_t Release() override {
    const std::int32_t left = refs_.decrement();
    if (left == 0) delete this;
    return static_cast<std::uint32_t>(left);
  }

 protected:
  RefCountedUnknown() = default;
  virtual ~RefCountedUnknown() = default;

 private:
  void* interfaceFor(const GUID& iid) noexcept {
    if (iid == IUnknown::IID) return static_cast<IUnknown*>(static_cast<First*>(this));
    void* found = nullptr;
    (void)(((found = iid == Interfaces::IID ? static_cast<Interfaces*>(this) : nullptr) != nullptr) || ...);
    return found;
  }

  AtomicCounter refs_{InitialCount};
};

// Intrusive reference count for a class T (CRTP). The count starts at 0; the release that brings it to
// 0 deletes the object as a T.
template <class T, class Counter = AtomicCounter>
class Refcountable {
 public:
  // Adds a reference.
  void acquire() const noexcept { count_.increment(); }
  // Drops a reference; the one that brings the count to 0 deletes the object.
  void release() const noexcept {
    if (count_.decrement() == 0) delete static_cast<const T*>(this);
  }
  // The current count (a snapshot, for diagnostics and tests).
  std::int32_t refcount() const noexcept { return count_.get(); }

 protected:
  Refcountable() noexcept = default;
  Refcountable(const Refcountable&) noexcept {}  // a copy is a new object with its own count
  // Assignment leaves each object its own count.
  Refcountable& operator=(const Refcountable&) noexcept { return *this; }
  ~Refcountable() = default;

 private:
  mutable Counter count_{0};
};

// Owner of a Refcountable object: adds a reference when it takes a pointer, releases it when done.
template <class T>
class SharedPtr {
 public:
  // Empty.
  SharedPtr() noexcept = default;
  SharedPtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  // Holds `p` (may be null) and adds a reference to it.
  explicit SharedPtr(T* p) noexcept : p_(p) {
    if (p_ != nullptr) p_->acquire();
  }
  // Another reference to what `other` holds; moving hands the reference over and leaves `other` empty.
  SharedPtr(const SharedPtr& other) noexcept : SharedPtr(other.p_) {}
  SharedPtr(SharedPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  // From a pointer to a derived class.
  template <class U>
  SharedPtr(const SharedPtr<U>& other) noexcept : SharedPtr(other.get()) {}  // NOLINT
  ~SharedPtr() { reset(); }

  // Holds what `other` holds, as the constructors do; the reference held before is released.
  SharedPtr& operator=(const SharedPtr& other) noexcept {
    SharedPtr(other).swap(*this);
    return *this;
  }
  SharedPtr& operator=(SharedPtr&& other) noexcept {
    SharedPtr(std::move(other)).swap(*this);
    return *this;
  }

  // Releases the reference and leaves the pointer empty.
  void reset() noexcept {
    if (T* p = std::exchange(p_, nullptr)) p->release();
  }
  // Holds `p` instead (adds a reference to it first, so p may be the object already held).
  void reset(T* p) noexcept {
    if (p != nullptr) p->acquire();
    if (T* old = std::exchange(p_, p)) old->release();
  }
  // Exchanges the two pointers; no count changes.
  void swap(SharedPtr& other) noexcept { std::swap(p_, other.p_); }

  // The object, borrowed (valid while this pointer holds it); null when empty.
  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  // Whether an object is held.
  explicit operator bool() const noexcept { return p_ != nullptr; }

  // The same object (pointer identity), or empty.
  friend bool operator==(const SharedPtr& a, const SharedPtr& b) noexcept { return a.p_ == b.p_; }
  friend bool operator==(const SharedPtr& a, std::nullptr_t) noexcept { return a.p_ == nullptr; }

 private:
  T* p_ = nullptr;
};

// A SharedPtr that is copied, never moved from (moving copies), so a holder never sees it become empty
// behind its back.
template <class T>
class NonmovableSharedPtr : public SharedPtr<T> {
 public:
  using SharedPtr<T>::SharedPtr;
  // Copies only: a move is a copy.
  NonmovableSharedPtr(const NonmovableSharedPtr&) noexcept = default;
  NonmovableSharedPtr& operator=(const NonmovableSharedPtr&) noexcept = default;
};

}  // namespace core
