// Thread-local slots of core::Thread and the safe-mode statistics kept in one of them.
//
// Slot numbers are reused; generations are not. An entry stores the generation of the index it was
// written under, so an entry of a freed slot's earlier owner is recognised (and destroyed) the first time
// the slot's new owner touches it in that thread.
#include <vector>

#include "base/LockGuard.h"
#include "core/Thread.h"
#include "platform/Mutex.h"
#include "platform/OsThread.h"
#include "platform/TickCount.h"

namespace core {

namespace {
struct SlotAllocator {
  platform::Mutex mutex;
  std::uint64_t generation KERN83_GUARDED_BY(mutex) = 0;
  std::uint64_t highWater KERN83_GUARDED_BY(mutex) = 0;  // slots below it have been issued
  std::vector<std::uint64_t> freed KERN83_GUARDED_BY(mutex);
};
SlotAllocator& allocator() {
  static SlotAllocator* instance = new SlotAllocator;  // used by threads until the very end
  return *instance;
}
}  // namespace

Thread::TLSIndex Thread::allocTLS() {
  SlotAllocator& a = allocator();
  detail::LockGuard guard(a.mutex);
  TLSIndex index;
  index.generation = ++a.generation;
  if (!a.freed.empty()) {
    index.slot = a.freed.back();
    a.freed.pop_back();
  } else {
    index.slot = a.highWater++;
  }
  return index;
}

void Thread::freeTLS(TLSIndex index) {
  SlotAllocator& a = allocator();
  detail::LockGuard guard(a.mutex);
  if (index.slot >= a.highWater) return;  // never issued (or already given back as the top)
  for (std::uint64_t slot : a.freed) {
    if (slot == index.slot) return;  // freed twice
  }
  if (index.slot + 1 == a.highWater) {
    --a.highWater;
  } else {
    a.freed.push_back(index.slot);
  }
}

std::pair<std::uint64_t, Thread::TLSData*>& Thread::tlsEntry(TLSIndex index) {
  if (tls_.size() <= index.slot) tls_.resize(static_cast<std::size_t>(index.slot) + 1, {0, nullptr});
  return tls_[static_cast<std::size_t>(index.slot)];
}

Thread::TLSData* Thread::getTLSValue(TLSIndex index) {
  auto& entry = tlsEntry(index);
  if (entry.first == index.generation) return entry.second;
  // Left by an earlier owner of the slot.
  TLSData* stale = entry.second;
  entry = {0, nullptr};
  delete stale;
  return nullptr;
}

void Thread::setTLSValue(TLSIndex index, TLSData* data) {
  auto& entry = tlsEntry(index);
  TLSData* previous = entry.second;
  entry = {index.generation, data};
  if (previous != data) delete previous;
}

void Thread::clearTLSData() {
  // Destructors of the data may use the table again: empty it first.
  std::vector<std::pair<std::uint64_t, TLSData*>> entries;
  entries.swap(tls_);
  for (auto& entry : entries) delete entry.second;
}

// ----- Safe mode

const Thread::SafeModeStatistics::Entry* Thread::SafeModeStatistics::find(std::u16string_view name,
                                                                          bool safeMode) const noexcept {
  for (const Entry& e : entries_) {
    if (e.safeMode == safeMode && std::u16string_view(e.name) == name) return &e;
  }
  return nullptr;
}

void Thread::SafeModeStatistics::enter(const avo::WString& name, bool safeMode) {
  const platform::ThreadTimes times = platform::current_thread_times();
  const std::uint64_t tick = platform::tick_count();
  if (open_ < entries_.size()) {
    Entry& closing = entries_[open_];
    closing.userMs += times.userMs - userMs_;
    closing.kernelMs += times.kernelMs - kernelMs_;
    closing.ticks += tick - tick_;
  }
  userMs_ = times.userMs;
  kernelMs_ = times.kernelMs;
  tick_ = tick;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].safeMode == safeMode && entries_[i].name == name) {
      open_ = i;
      ++entries_[i].switches;
      return;
    }
  }
  entries_.push_back(Entry{name, safeMode, 0, 0, 0, 1});
  open_ = entries_.size() - 1;
}

void Thread::setSafeMode(const avo::WString& name, bool safeMode) {
  TLSIndex statistics;
  {
    detail::LockGuard guard(mutex_);
    safeMode_ = safeMode;
    statistics = statisticIndex_;
  }
  if (statistics.generation == 0) return;
  auto* data = dynamic_cast<SafeModeStatistics*>(getTLSValue(statistics));
  if (data == nullptr) {
    data = new SafeModeStatistics;
    setTLSValue(statistics, data);
  }
  data->enter(name, safeMode);
}

bool Thread::getSafeMode() const {
  detail::LockGuard guard(mutex_);
  return safeMode_;
}

void Thread::setStatisticTlsIndex(TLSIndex index) {
  detail::LockGuard guard(mutex_);
  statisticIndex_ = index;
}

Thread::TLSIndex Thread::getStatisticTlsIndex() const {
  detail::LockGuard guard(mutex_);
  return statisticIndex_;
}

}  // namespace core
