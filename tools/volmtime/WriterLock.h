// SPDX-License-Identifier: MIT
// The mark a publisher keeps beside a store while it writes it: a lock file in the temp
// folder that the system releases when the process ends in any way, and a note of who
// holds it. A publisher that wants the store while another holds it can ask the holder to
// stop.
#ifndef TOOLS_VOLMTIME_WRITERLOCK_H
#define TOOLS_VOLMTIME_WRITERLOCK_H

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

class WriterLock {
 public:
  // The lock for store `name`; takes nothing yet.
  explicit WriterLock(const std::string& name);
  ~WriterLock();
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

  // Takes the lock if no live writer holds it, and notes this process as the holder.
  bool TryTake();
  // Asks the holder to stop and waits up to `patience` for the lock.
  bool TakeOver(std::chrono::milliseconds patience);
  // Who holds the lock, as the holder noted it ("pid 1234 since 2026-...Z").
  [[nodiscard]] std::string Holder() const;
  // Whether another publisher has asked this holder to stop; names that one in `who`.
  bool TakeOverRequested(std::string& who) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

#endif  // TOOLS_VOLMTIME_WRITERLOCK_H
