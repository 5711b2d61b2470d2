// SPDX-License-Identifier: MIT
// The mark a publisher keeps while it writes a store: a lock that the system releases when
// the process ends in any way, and a note of who holds it, both in the account's private
// folder (PrivateFolder.h). A publisher that wants the store while another holds it can ask
// the holder to stop. The holder removes its files as it lets go.
#ifndef TOOLS_VOLMTIME_WRITERLOCK_H
#define TOOLS_VOLMTIME_WRITERLOCK_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

class WriterLock {
 public:
  // The lock for store `name`; takes nothing yet. Throws std::runtime_error when the
  // account's private folder cannot be used.
  explicit WriterLock(const std::string& name);
  // Lets go: removes the lock, the note and any request to stop, and the folder once empty.
  ~WriterLock();
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

  // Takes the lock if no live writer holds it, and notes this process as the holder.
  bool TryTake();
  // Asks the holder to stop and waits up to `patience` for the lock; gives up early, taking
  // its request back, once `stop` is set.
  bool TakeOver(std::chrono::milliseconds patience, const std::atomic<bool>& stop);
  // Who holds the lock, as the holder noted it ("pid 1234 since 2026-...Z").
  [[nodiscard]] std::string Holder() const;
  // Whether another publisher has asked this holder to stop; names that one in `who`.
  bool TakeOverRequested(std::string& who) const;

  // Removes what a publisher of `name` that was killed left behind, if none holds the lock.
  static void ClearLeftovers(const std::string& name);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

#endif  // TOOLS_VOLMTIME_WRITERLOCK_H
