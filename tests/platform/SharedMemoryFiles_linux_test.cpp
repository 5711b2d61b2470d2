// SPDX-License-Identifier: MIT
// Linux only: the files behind named shared memory in /dev/shm, and what processes of other
// accounts can do with them. Windows keeps its file mappings in the kernel's object
// namespace, where nothing is left to look at, and gives every account full access.
#if defined(__linux__)

#include "platform/SharedMemory.h"
#include "platform/linux/StoreLockFile.h"

#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <tuple>

namespace {

using namespace VolmTime::Platform;

constexpr std::size_t kSize = 1 << 16;
constexpr uid_t kNobody = 65534;
// An account that nothing else on the machine uses, to own stores in tests about a folder
// that another account made first.
constexpr uid_t kSpareAccount = 65533;
// Far above any open that waits for nobody, far below the 2 s an opener waits for a lock that
// another process keeps.
constexpr auto kNoDelay = std::chrono::seconds(1);

std::string FileOf(const std::string& name) { return "/dev/shm/" + name; }

bool Exists(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

unsigned ModeOf(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
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

std::string FailureText(const std::string& what) { return what + ": " + std::strerror(errno); }

bool MakeStoreWithMode(const std::string& name, mode_t mode) {
  const int descriptor = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, mode);
  if (descriptor < 0) return false;
  const bool made = ::fchmod(descriptor, mode) == 0 && ::ftruncate(descriptor, kSize) == 0;
  ::close(descriptor);
  return made;
}

bool LockRange(int descriptor, short type, off_t start, off_t length) {
  flock lock{};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  return ::fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

// A child process under another account that runs `body` and then keeps whatever it opened
// until the test lets it go. `body` answers "" when all went as it expected, else what did
// not. Switching accounts needs root; CI runs as root.
class OtherAccount {
 public:
  using Body = std::function<std::string()>;

  OtherAccount(uid_t account, const Body& body) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return;
    child_ = ::fork();
    if (child_ == 0) {
      // Nothing of the test's own, its stores' descriptors above all, stays open here.
      ::dup2(ends[1], 3);
      ::close_range(4, ~0U, 0);
      std::string outcome = "cannot become uid " + std::to_string(account);
      if (::setgroups(0, nullptr) == 0 && ::setgid(account) == 0 && ::setuid(account) == 0)
        outcome = body();
      if (outcome.empty()) outcome = "ok";
      (void)!::write(3, outcome.data(), outcome.size());
      char ignored = 0;
      while (::read(3, &ignored, 1) > 0) {  // until the test lets go
      }
      ::_exit(0);
    }
    ::close(ends[1]);
    test_ = ends[0];
    char buffer[512];
    const ssize_t length = child_ > 0 ? ::read(test_, buffer, sizeof buffer) : -1;
    outcome_ = length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : "no report";
  }
  OtherAccount(const OtherAccount&) = delete;
  OtherAccount& operator=(const OtherAccount&) = delete;
  // Lets the child end, which drops what it held, and reaps it.
  ~OtherAccount() {
    if (test_ >= 0) ::close(test_);
    if (child_ > 0) ::waitpid(child_, nullptr, 0);
  }

  // What the body reported: "ok", or what went wrong.
  [[nodiscard]] const std::string& Outcome() const { return outcome_; }

 private:
  pid_t child_ = -1;
  int test_ = -1;
  std::string outcome_;
};

#define SKIP_UNLESS_ROOT() \
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as another account"

// Its owner writes a store and every account reads it; the lock files that its holders keep
// only its own account can open, whatever the umask. Another account can neither write nor
// resize the store, nor reach its locks.
TEST(SharedMemoryFiles, OnlyTheOwnerWritesAStoreAndOnlyItsAccountReachesItsLocks) {
  const std::string folder = Linux::LockFolderPath();
  for (const mode_t mask : {mode_t{0}, mode_t{0277}}) {
    const std::string name = UniqueName("volm-mode");
    const mode_t previous = ::umask(mask);
    const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    ::umask(previous);
    EXPECT_EQ(ModeOf(FileOf(name)), 0644u) << "umask " << mask;
    EXPECT_EQ(ModeOf(folder), 0700u) << "umask " << mask;
    EXPECT_EQ(ModeOf(folder + "/" + name), 0600u) << "umask " << mask;
  }
  SKIP_UNLESS_ROOT();
  const std::string name = UniqueName("volm-theirs-not");
  const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  OtherAccount nobody(kNobody, [&]() -> std::string {
    const int reader = ::open(FileOf(name).c_str(), O_RDONLY);
    if (reader < 0 || ::open(FileOf(name).c_str(), O_RDWR) >= 0 || ::ftruncate(reader, 1) == 0)
      return "could not read the store, or could write or resize it";
    return ::open((folder + "/" + name).c_str(), O_RDONLY) >= 0 ? "opened the lock file" : "";
  });
  EXPECT_EQ(nobody.Outcome(), "ok");
}

// A process of the store's account that keeps a lock of the opening protocol does not hang
// an opener: it waits a bounded time and says why it gave up. (A second open file
// description in this process holds the lock as another process would.)
TEST(SharedMemoryFiles, LockKeptByAnotherProcessOfTheAccountIsWaitedForABoundedTime) {
  const std::string name = UniqueName("volm-locked");
  const Linux::StoreLockFile blocker = Linux::StoreLockFile::Open(name);
  ASSERT_TRUE(LockRange(blocker.Descriptor(), F_WRLCK, 1, 1));  // the byte every opener locks
  const std::string locked = "another process has kept it locked";
  EXPECT_NE(ReasonOfOpening(name, true).find(locked), std::string::npos);
  ASSERT_TRUE(MakeStoreWithMode(name, 0644));  // a reader looks at the store first
  EXPECT_NE(ReasonOfOpening(name).find(locked), std::string::npos);
  ::shm_unlink(name.c_str());
  blocker.Remove();
}

// Another account's store is refused to writers, naming its owner, and one that other
// accounts than its owner may write, its group or all, is refused to readers.
TEST(SharedMemoryFiles, StoreOfAnotherAccountIsRefusedToWritersAndAWritableOneToReaders) {
  SKIP_UNLESS_ROOT();
  const std::tuple<mode_t, bool, const char*> rows[] = {
      {0644, true, "belongs to the account nobody (uid 65534)"},
      {0664, false, "may write it"},
      {0646, false, "may write it"}};
  for (const auto& [mode, writer, words] : rows) {
    const std::string name = UniqueName("volm-theirs");
    OtherAccount maker(kNobody, [&, mode = mode] {
      return MakeStoreWithMode(name, mode) ? "" : FailureText("cannot make the store");
    });
    ASSERT_EQ(maker.Outcome(), "ok");
    const std::string reason = ReasonOfOpening(name, writer);
    ::shm_unlink(name.c_str());
    EXPECT_NE(reason.find(words), std::string::npos) << "mode " << std::oct << mode << reason;
  }
}

// A reader of another account reads the store as it stands: it cannot reach the account's
// locks, so it neither joins the holders nor makes a lock folder of its own account. Read
// locks that it takes on every byte of a store it can open, and on anything of the store's
// account it can reach, neither delay the owner's openers nor keep a store whose holders all
// died looking live.
TEST(SharedMemoryFiles, ReaderOfAnotherAccountNeitherTakesPartNorDelaysNorKeepsADeadStore) {
  SKIP_UNLESS_ROOT();
  const std::string live = UniqueName("volm-live");
  const std::string dead = UniqueName("volm-dead");
  const SharedMemoryMapping holder = SharedMemoryMapping::CreateOrOpen(live, kSize);
  static_cast<unsigned char*>(holder.Address())[kSize - 1] = 0x3C;
  const pid_t crashed = ::fork();
  if (crashed == 0) {
    const SharedMemoryMapping held = SharedMemoryMapping::CreateOrOpen(dead, kSize);
    ::_exit(0);  // without closing, as a crash ends a holder
  }
  ASSERT_GT(crashed, 0);
  ASSERT_EQ(::waitpid(crashed, nullptr, 0), crashed);
  const std::string folder = Linux::LockFolderPath();
  ASSERT_TRUE(Exists(FileOf(dead)));

  std::optional<SharedMemoryMapping> reader;
  OtherAccount nobody(kNobody, [&]() -> std::string {
    try {
      reader = SharedMemoryMapping::OpenReadOnly(live);
    } catch (const SharedMemoryError& failure) {
      return std::string("cannot read: ") + failure.what();
    }
    if (static_cast<const unsigned char*>(reader->Address())[kSize - 1] != 0x3C)
      return "read something else";
    if (Exists(Linux::LockFolderPath())) return "made a lock folder";
    for (const std::string& path :
         {FileOf(live), FileOf(dead), folder, folder + "/" + live, folder + "/" + dead}) {
      const int descriptor = ::open(path.c_str(), O_RDONLY);
      if (descriptor < 0) continue;  // out of its reach
      for (const auto& [start, length] : {std::pair<off_t, off_t>{0, 1}, {1, 1}, {0, 0}}) {
        if (!LockRange(descriptor, F_RDLCK, start, length))
          return FailureText("cannot read-lock " + path);
      }
    }
    return "";
  });
  EXPECT_EQ(nobody.Outcome(), "ok");  // the owner's opens below clear the dead store

  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  EXPECT_EQ(ReasonOfOpening(live), "");
  EXPECT_EQ(ReasonOfOpening(live, true), "");
  EXPECT_EQ(ReasonOfOpening(dead), "No such file or directory");
  EXPECT_LT(Clock::now() - start, kNoDelay);
  EXPECT_FALSE(Exists(FileOf(dead)));
  EXPECT_FALSE(Exists(folder + "/" + dead));
}

// The folder for the account's lock files is the account's own or not used at all: one that
// another account made first (here for an account the test plays) is refused, naming that
// account, and nothing is put in it.
TEST(SharedMemoryFiles, LockFolderThatAnotherAccountMadeIsRefused) {
  SKIP_UNLESS_ROOT();
  const std::string name = UniqueName("volm-squatted");
  const std::string folder = "/dev/shm/.volmtime-" + std::to_string(kSpareAccount);
  OtherAccount squatter(kNobody, [&] {
    return ::mkdir(folder.c_str(), 0777) == 0 ? "" : FailureText("cannot make " + folder);
  });
  ASSERT_EQ(squatter.Outcome(), "ok");
  OtherAccount owner(kSpareAccount, [&] { return ReasonOfOpening(name, true); });
  const std::string reason = owner.Outcome();
  EXPECT_FALSE(Exists(FileOf(name)));  // a writer that cannot lock makes nothing
  EXPECT_EQ(::rmdir(folder.c_str()), 0) << "something was put in " << folder;
  EXPECT_NE(reason.find("its lock folder " + folder + " belongs to the account nobody (uid 65534)"),
            std::string::npos)
      << reason;
}

// Every name the system takes, whatever bytes it holds (all but '/' and NUL) and up to the
// longest (255 bytes), has a lock file of its own, named as the store; one it refuses is
// refused as the system does. (That both go with the last holder the program's end checks
// for every name it made.)
TEST(SharedMemoryFiles, EveryNameTheSystemTakesHasALockFileNamedAsTheStore) {
  EXPECT_EQ(ReasonOfOpening(UniqueName("volm-slash") + "/x", true), "Invalid argument");
  const std::string longest = UniqueName("volm-long");
  for (const std::string& name :
       {longest + std::string(255 - longest.size(), 'x'), UniqueName("volm odd \x01*?:\\\xff")}) {
    const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
    EXPECT_TRUE(Exists(Linux::LockFolderPath() + "/" + name)) << name;
  }
}

// A process that runs out of descriptors at any step of opening or leaving a store leaves
// nothing behind: what it could not finish it takes back, and what it made it removes.
TEST(SharedMemoryFiles, OpenersThatRunOutOfDescriptorsLeaveNothingBehind) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // The sanitizers' own checks take descriptors (UBSan tests memory through a pipe), and
  // in a process that has none left they report errors that are not there.
  GTEST_SKIP() << "not in a sanitizer build";
#endif
  const std::string name = UniqueName("volm-few");
  const std::string folder = Linux::LockFolderPath();
  for (int spare = 0; spare <= 4; ++spare) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::close_range(3, ~0U, 0);
      const rlimit few{static_cast<rlim_t>(3 + spare), static_cast<rlim_t>(3 + spare)};
      if (::setrlimit(RLIMIT_NOFILE, &few) != 0) ::_exit(2);
      (void)ReasonOfOpening(name, true);
      ::_exit(0);
    }
    ASSERT_GT(child, 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << spare << " spare";
    EXPECT_FALSE(Exists(FileOf(name))) << spare << " spare descriptors";
    EXPECT_FALSE(Exists(folder + "/" + name)) << spare << " spare descriptors";
  }
}

}  // namespace

#endif  // defined(__linux__)
