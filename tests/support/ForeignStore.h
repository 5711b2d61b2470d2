// SPDX-License-Identifier: MIT
// A named store mapped by the test itself, as a host that follows the byte layout but not
// the library would map it: to play a foreign writer or a foreign reader.
#ifndef TESTS_SUPPORT_FOREIGNSTORE_H
#define TESTS_SUPPORT_FOREIGNSTORE_H

#include <VolmTime/VolmSampleStore.h>

#include <memory>
#include <string>

class ForeignStore {
 public:
  // Maps the existing store `name`, writable or read-only. Throws what Boost.Interprocess
  // throws when it cannot.
  ForeignStore(const std::string& name, bool writable);
  ~ForeignStore();

  [[nodiscard]] VolmTime::SampleStore& Store() const;

  // Publishes as the layout says: count and flags in one 64-bit store, then the latest slot.
  void Publish(std::uint32_t count, std::uint32_t flags, std::uint32_t latestSlot) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

#endif  // TESTS_SUPPORT_FOREIGNSTORE_H
