// SPDX-License-Identifier: MIT
// Linux only: a store whose opening protocol another process of the account holds up (by
// keeping a lock of it) makes a named clock wait, but never while the module lock is held:
// CreateInstance and named clocks of other names in this process carry on. Windows opens
// mappings without waiting on other processes.
#if defined(__linux__)

#include "VolmTime/Module/ModuleState.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/CVolmPtr.h"
#include "platform/linux/StoreLockFile.h"

#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace {

TEST(NamedClockWaits, OpeningAStoreHeldUpByAnotherProcessLeavesTheModuleLockFree) {
  const std::string name = UniqueName("volm-held");
  const int store = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0644);
  ASSERT_GE(store, 0);
  const auto blocker = VolmTime::Platform::Linux::StoreLockFile::Open(name);
  flock lock{};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 1;  // the byte an opener locks while it checks and joins
  lock.l_len = 1;
  ASSERT_EQ(::fcntl(blocker.Descriptor(), F_OFD_SETLK, &lock), 0);

  CVolmPtr<VolmTime::VolmTimeFactory> factory(new VolmTime::VolmTimeFactory);
  std::atomic<bool> opened{false};
  VolmResult result = VOLM_S_OK;
  std::thread opener([&] {
    const WideString wide = WidenBytes(name);
    CVolmPtr<IClock> clock;
    result = factory->CreateSynchronizedClock(wide.c_str(), clock.Put());
    opened = true;
  });
  // The opener holds the module lock for moments only, not for its bounded wait (of some
  // seconds, well under way after this pause).
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  bool tookLock = false;
  while (!tookLock && !opened) {
    std::unique_lock moduleLock(VolmTime::ModuleLock(), std::try_to_lock);
    tookLock = moduleLock.owns_lock() && !opened;
  }
  opener.join();
  EXPECT_TRUE(tookLock);
  EXPECT_EQ(result, VOLM_E_FAIL);
  ::close(store);
  ::shm_unlink(name.c_str());
  blocker.Remove();
}

}  // namespace

#endif  // defined(__linux__)
