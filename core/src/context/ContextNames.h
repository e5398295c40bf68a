#pragma once
// Case-insensitive comparison of script names and the tables that find them.
//
// A name character is folded by mapping it to upper case and then to lower case, one UTF-16 code unit at
// a time, so that characters sharing an upper case (long s and s, dotless i and i) fold alike. Names are
// equal when they have the same length and fold alike at every position. The order of the sorted tables
// is the difference of the first differing folded characters; a name that is a prefix of another sorts
// before it (the length breaks the tie, which keeps the order strict for the bisection).
//
// Tables are built once and then only read. A lookup reads the built flag without a lock (acquire); the
// first build, and any rebuild or reset, runs under the table's mutex and publishes with release, so
// threads racing the first lookup build it once and all see it complete. Rebuilding or resetting while
// other threads look up is the caller's error.

#include <atomic>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/LockGuard.h"
#include "core/Context.h"
#include "platform/Mutex.h"

namespace core::detail {

char16_t fold_name_char(char16_t c) noexcept;
// Negative, zero or positive as `a` sorts before, with or after `b`.
int compare_context_names(std::u16string_view a, std::u16string_view b) noexcept;
// Equal length and equal folded characters. `candidate` is zero-terminated, so no length is needed
// for it.
bool context_name_matches(const char16_t* candidate, std::u16string_view name) noexcept;
// A hash of the folded characters: names that match hash alike.
std::uint32_t hash_context_name(std::u16string_view name) noexcept;

enum class MemberKind { Property, Method };

// One name of a member; the characters belong to the definition, which outlives its tables.
struct ContextName {
  std::u16string_view name;
  int number;
};

int context_member_count(IContextDefBase* def, MemberKind kind);
const char16_t* context_member_name(IContextDefBase* def, MemberKind kind, int member, int alias);

// Every alias of every member of one kind, members in number order and aliases in alias order.
std::vector<ContextName> collect_context_names(IContextDefBase* def, MemberKind kind);

// Sorted by compare_context_names, members with a shared name kept in number order.
class SortedIndex {
 public:
  void assign(std::vector<ContextName> names);
  void clear() noexcept { names_.clear(); }
  int find(std::u16string_view name) const noexcept;

 private:
  std::vector<ContextName> names_;
};

// Chained hash table with a power-of-two bucket count; each chain lists its members in number order.
class HashIndex {
 public:
  void assign(std::vector<ContextName> names);
  void clear() noexcept;
  int find(std::u16string_view name) const noexcept;

 private:
  static constexpr std::uint32_t kEnd = UINT32_MAX;
  struct Entry {
    ContextName name;
    std::uint32_t hash;
    std::uint32_t next;  // next entry of the chain, or kEnd
  };
  std::vector<Entry> entries_;
  std::vector<std::uint32_t> heads_;  // first entry of each bucket, or kEnd
};

// A table of one member kind over an Index, with the build-once protocol of the file comment.
template <class Index>
class NameTable {
 public:
  explicit NameTable(MemberKind kind) noexcept : kind_(kind) {}

  bool isBuilt() const noexcept { return built_.load(std::memory_order_acquire); }
  void build(IContextDefBase* def) {
    LockGuard guard(mutex_);
    fill(def);
  }
  void buildOnce(IContextDefBase* def) {
    LockGuard guard(mutex_);
    if (!built_.load(std::memory_order_relaxed)) fill(def);
  }
  void reset() {
    LockGuard guard(mutex_);
    built_.store(false, std::memory_order_relaxed);
    index_.clear();
  }
  int find(std::u16string_view name) const noexcept { return index_.find(name); }

 private:
  void fill(IContextDefBase* def) {
    index_.assign(collect_context_names(def, kind_));
    built_.store(true, std::memory_order_release);
  }

  const MemberKind kind_;
  std::atomic<bool> built_{false};
  platform::Mutex mutex_;  // serialises builders; finders read index_ without it once built_ is set
  Index index_;
};

class SortedContextNames : public NameTable<SortedIndex> {
 public:
  using NameTable::NameTable;
};

class HashedContextNames : public NameTable<HashIndex> {
 public:
  using NameTable::NameTable;
};

}  // namespace core::detail
