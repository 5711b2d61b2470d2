// SPDX-License-Identifier: MIT
// Linux only: the files behind named shared memory in /dev/shm. Windows keeps its file
// mappings in the kernel's object namespace, where nothing is left to look at.
#if defined(__linux__)

#include "platform/SharedMemory.h"

#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tuple>

namespace {

using namespace VolmTime::Platform;

constexpr std::size_t kSize = 1 << 16;

std::string FileOf(const std::string& name) { return "/dev/shm/" + name; }

bool FileExists(const std::string& name) {
  struct stat status {};
  return ::stat(FileOf(name).c_str(), &status) == 0;
}

// Why a writer (or a reader) fails to open `name`, "" if it opens.
std::string ReasonOfOpening(const std::string& name, bool writer = false) {
  try {
    if (writer)
      (void)SharedMemoryMapping::CreateOrOpen(name, kSize);
    else
      (void)SharedMemoryMapping::OpenReadOnly(name);
  } catch (const SharedMemoryError& failure) {
    return failure.what();
  }
  return "";
}

// Its owner writes a store and every account reads it: no other account can resize it
// under its holders, lock them out or write it.
TEST(SharedMemoryFiles, StoreIsWritableByItsOwnerAndReadableByAllWhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{077}}) {
    const std::string name = UniqueName("volm-mode");
    const mode_t previous = ::umask(mask);
    const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    ::umask(previous);
    struct stat status {};
    ASSERT_EQ(::stat(FileOf(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u) << "umask " << mask;
  }
}

// A process that keeps a lock of the opening protocol does not hang an opener: it waits a
// bounded time and says why it gave up. (A second open file description in this process
// holds the lock as another process would.)
TEST(SharedMemoryFiles, LockKeptByAnotherProcessIsWaitedForABoundedTime) {
  const std::string name = UniqueName("volm-locked");
  const int blocker = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0644);
  ASSERT_GE(blocker, 0);
  flock lock{};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 1;  // the byte every opener locks while it checks and joins
  lock.l_len = 1;
  ASSERT_EQ(::fcntl(blocker, F_OFD_SETLK, &lock), 0);
  const std::string locked = "another process has kept it locked";
  EXPECT_NE(ReasonOfOpening(name, true).find(locked), std::string::npos);
  EXPECT_NE(ReasonOfOpening(name).find(locked), std::string::npos);
  ::close(blocker);
  ::shm_unlink(name.c_str());
}

// Runs `body` in a child process under the account `nobody`; true if it exited 0.
template <typename Body>
bool AsAnotherAccount(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(::setgid(65534) == 0 && ::setuid(65534) == 0 && body() ? 0 : 1);
  }
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

bool MakeStoreWithMode(const std::string& name, mode_t mode) {
  const int descriptor = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, mode);
  if (descriptor < 0) return false;
  const bool made = ::fchmod(descriptor, mode) == 0 && ::ftruncate(descriptor, kSize) == 0;
  ::close(descriptor);
  return made;
}

// Another account's store is refused to writers, naming its owner, and one that other
// accounts may write is refused to readers. Switching accounts needs root; CI runs as root.
TEST(SharedMemoryFiles, StoreOfAnotherAccountIsRefusedToWritersAndAWritableOneToReaders) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as another account";
  const std::tuple<mode_t, bool, const char*> rows[] = {
      {0644, true, "belongs to the account nobody (uid 65534)"}, {0666, false, "may write it"}};
  for (const auto& [mode, writer, words] : rows) {
    const std::string name = UniqueName("volm-theirs");
    ASSERT_TRUE(AsAnotherAccount([&, mode = mode] { return MakeStoreWithMode(name, mode); }));
    const std::string reason = ReasonOfOpening(name, writer);
    ::shm_unlink(name.c_str());
    EXPECT_NE(reason.find(words), std::string::npos) << reason;
  }
}

// Nothing is left in /dev/shm after the last holder. Only a holder that ends without closing
// (a child that exits at once, as a crash does) leaves its file behind; the next opener finds
// nobody holding it, reports it missing and removes it.
TEST(SharedMemoryFiles, OnlyAHolderThatDiesLeavesAFileAndTheNextOpenerRemovesIt) {
  const std::string name = UniqueName("volm-killed");
  {
    const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
  }
  EXPECT_FALSE(FileExists(name));
  const pid_t child = ::fork();
  if (child == 0) {
    const SharedMemoryMapping held = SharedMemoryMapping::CreateOrOpen(name, kSize);
    ::_exit(0);
  }
  ASSERT_GT(child, 0);
  ASSERT_EQ(::waitpid(child, nullptr, 0), child);
  EXPECT_TRUE(FileExists(name));
  EXPECT_EQ(ReasonOfOpening(name), "No such file or directory");
  EXPECT_FALSE(FileExists(name));
}

}  // namespace

#endif  // defined(__linux__)
