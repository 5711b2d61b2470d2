// SPDX-License-Identifier: MIT
// The moment inside a reader's lookup after it has read the header and before it reads the
// samples that the header designates. A writer that moves on at that moment laps the reader,
// which is what the reader's second look at the header is for; a test steps in here to make
// that happen on purpose instead of by luck. Nothing is installed outside tests, and the
// lookup pays one load and a branch for it (the clocks' inline path pays nothing).
#ifndef VOLMTIME_CORE_LOOKUPSEAM_H
#define VOLMTIME_CORE_LOOKUPSEAM_H

#include <atomic>

namespace VolmTime::Core {

class LookupObserver {
 public:
  virtual void AfterHeaderRead() = 0;

 protected:
  ~LookupObserver() = default;
};

inline std::atomic<LookupObserver*> gLookupObserver{nullptr};

// For tests: every lookup in the process calls `observer` until it is set back to null.
inline void ObserveLookups(LookupObserver* observer) noexcept {
  gLookupObserver.store(observer, std::memory_order_release);
}

inline void NotifyAfterHeaderRead() {
  if (LookupObserver* observer = gLookupObserver.load(std::memory_order_acquire)) [[unlikely]]
    observer->AfterHeaderRead();
}

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_LOOKUPSEAM_H
