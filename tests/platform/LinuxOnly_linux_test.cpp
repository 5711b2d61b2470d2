// The checks only the Linux backend has: the files behind stores in /dev/shm and who may use
// them, descriptors a host hands to the waits, signals that interrupt a wait, and the clocks
// a timer handle is made of. Windows keeps its mappings in the kernel's object namespace,
// has no such descriptors and no interrupted waits.
#if defined(__linux__)
#include "VolmTime/Core/Platform/SharedMemory.h"
#include "VolmTime/Core/Platform/SystemTime.h"
#include "VolmTime/Core/Platform/Timer.h"
#include "VolmTime/Core/Platform/Wait.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

namespace {

using namespace VolmTime::Core::Platform;
constexpr std::size_t kSize = 1 << 16;
constexpr std::int64_t kUnitsPerMs = 10'000;

bool FileExists(const std::string& name) {
  struct stat status {};
  return ::stat(("/dev/shm/" + name).c_str(), &status) == 0;
}

template <typename Open>
std::string ReasonOf(Open open) {
  try {
    open();
  } catch (const SharedMemoryError& failure) {
    return failure.what();
  }
  return "";
}
std::string ReasonOfOpening(const std::string& name) {
  return ReasonOf([&] { (void)SharedMemoryMapping::OpenReadOnly(name); });
}
std::string ReasonOfCreating(const std::string& name) {
  return ReasonOf([&] { (void)SharedMemoryMapping::CreateOrOpen(name, kSize); });
}

TEST(StoreFiles, WritableByTheOwnerAndReadableByAllWhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{077}}) {
    const std::string name = UniqueName("volm-mode");
    const mode_t previous = ::umask(mask);
    const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    ::umask(previous);
    struct stat status {};
    ASSERT_EQ(::stat(("/dev/shm/" + name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u) << "umask " << mask;
  }
}

// A process that keeps a lock of the opening protocol does not hang an opener: it waits a
// bounded time and says why it gave up. (A second open file description in this process
// holds the lock as another process would.)
TEST(StoreFiles, LockKeptByAnotherProcessIsWaitedForABoundedTime) {
  const std::string name = UniqueName("volm-locked");
  const int blocker = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0644);
  ASSERT_GE(blocker, 0);
  flock lock{};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 1;  // the byte every opener locks while it checks and joins
  lock.l_len = 1;
  ASSERT_EQ(::fcntl(blocker, F_OFD_SETLK, &lock), 0);
  EXPECT_NE(ReasonOfCreating(name).find("another process has kept it locked"), std::string::npos);
  EXPECT_NE(ReasonOfOpening(name).find("another process has kept it locked"), std::string::npos);
  ::close(blocker);
  ::shm_unlink(name.c_str());
}

// Runs `body` in a child process under the account `nobody`; true if it exited 0.
template <typename Body>
bool AsAnotherAccount(Body body) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::setgid(65534) == 0 && ::setuid(65534) == 0 && body() ? 0 : 1);
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

bool MakeStoreWithMode(const std::string& name, mode_t mode) {
  const int descriptor = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, mode);
  const bool made = descriptor >= 0 && ::fchmod(descriptor, mode) == 0 &&
                    ::ftruncate(descriptor, kSize) == 0;
  ::close(descriptor);
  return made;
}

// Switching accounts needs root; CI runs as root. A store of another account is refused to
// writers, naming its owner, and to readers where other accounts may write it; a store of
// ours is out of reach for another account's writes.
TEST(StoreFiles, StoresOfOtherAccountsAreRefusedAndOursAreOutOfTheirReach) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as another account";
  const std::string theirs = UniqueName("volm-theirs");
  const std::string open = UniqueName("volm-open");
  ASSERT_TRUE(AsAnotherAccount([&] {
    return MakeStoreWithMode(theirs, 0644) && MakeStoreWithMode(open, 0666);
  }));
  const std::string writerReason = ReasonOfCreating(theirs);
  const std::string readerReason = ReasonOfOpening(open);
  ::shm_unlink(theirs.c_str());
  ::shm_unlink(open.c_str());
  EXPECT_NE(writerReason.find("belongs to the account nobody (uid 65534)"), std::string::npos)
      << writerReason;
  EXPECT_NE(readerReason.find("may write it"), std::string::npos) << readerReason;
  // A store nobody holds is not opened as live even by a reader that cannot remove its name.
  const std::string dead = UniqueName("volm-dead");
  ASSERT_TRUE(MakeStoreWithMode(dead, 0644));
  EXPECT_TRUE(AsAnotherAccount([&] { return ReasonOfOpening(dead) == "No such file or directory"; }));
  ::shm_unlink(dead.c_str());
  const std::string ours = UniqueName("volm-ours");
  const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(ours, kSize);
  EXPECT_TRUE(AsAnotherAccount([&] {
    if (::shm_open(ours.c_str(), O_RDWR, 0) >= 0 || errno != EACCES) return false;
    const int reading = ::shm_open(ours.c_str(), O_RDONLY, 0);
    ::close(reading);
    return reading >= 0;
  }));
}

// Only a holder killed outright leaves its file behind; the next opener finds nobody holding
// it, reports it missing and removes it.
TEST(StoreFiles, FileOfAKilledHolderIsRemovedByTheNextOpener) {
  const std::string name = UniqueName("volm-killed");
  ChildProcess holder(SiblingProgram("volm_helper"), {"hold", name, "60000"});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!ReasonOfOpening(name).empty() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  holder.Kill();
  ASSERT_TRUE(holder.Wait(20'000).has_value());
  EXPECT_TRUE(FileExists(name));
  EXPECT_EQ(ReasonOfOpening(name), "No such file or directory");
  EXPECT_FALSE(FileExists(name));
}

bool IsReadable(int descriptor) {
  pollfd polled{descriptor, POLLIN, 0};
  return ::poll(&polled, 1, 0) == 1 && (polled.revents & POLLIN) != 0;
}

// A pipe's data and a blocking eventfd's count are left for the host (reading a blocking
// descriptor could hang a wait if another thread read it first); a timer handle works in the
// host's own poll, which does not take its firing.
TEST(HostDescriptors, AreReportedAndTheirDataLeftForTheHost) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const UniqueHandle readEnd(ends[0]);
  const UniqueHandle writeEnd(ends[1]);
  const UniqueHandle blocking(::eventfd(0, EFD_CLOEXEC));
  const UniqueHandle timer = CreateWaitableTimer(true);
  const NativeHandle handles[] = {blocking.Get(), readEnd.Get()};
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
  ASSERT_EQ(::write(writeEnd.Get(), "x", 1), 1);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
  const std::uint64_t one = 1;
  ASSERT_EQ(::write(blocking.Get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0);
  EXPECT_TRUE(IsReadable(blocking.Get()));
  pollfd polled{timer.Get(), POLLIN, 0};
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -10 * kUnitsPerMs, 0));
  EXPECT_EQ(::poll(&polled, 1, 2'000), 1);
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitObject0);
}

void IgnoreSignal(int) {}

// The wait carries on with what is left of its timeout instead of failing or returning early.
TEST(WaitSignals, WaitCarriesOnAfterASignalInterruptsIt) {
  struct sigaction action {};
  action.sa_handler = IgnoreSignal;  // no SA_RESTART: poll fails with EINTR
  struct sigaction previous {};
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -150 * kUnitsPerMs, 0));
  std::atomic<std::uint32_t> outcome{0xDEADu};
  const auto start = std::chrono::steady_clock::now();
  std::thread waiter([&] { outcome = WaitForOne(timer.Get(), 5'000); });
  for (int i = 0; i < 5; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
    ::pthread_kill(waiter.native_handle(), SIGUSR1);
  }
  waiter.join();
  EXPECT_EQ(outcome.load(), kWaitObject0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(140));
  ASSERT_EQ(::sigaction(SIGUSR1, &previous, nullptr), 0);
}

// A relative due time runs on the monotonic clock and an absolute one on the system clock;
// arming one way disarms the other. The clocks cannot be changed in a test, so the kernel's
// account of the timers a handle watches (/proc/self/fdinfo) is read: clock -> armed.
std::map<int, bool> ArmedByClock(int handle) {
  std::map<int, bool> armed;
  std::ifstream epoll("/proc/self/fdinfo/" + std::to_string(handle));
  for (std::string line; std::getline(epoll, line);) {
    std::istringstream fields(line);
    std::string key;
    int member = -1;
    if (!(fields >> key >> member) || key != "tfd:") continue;
    std::ifstream info("/proc/self/fdinfo/" + std::to_string(member));
    int clock = -1;
    bool isArmed = false;
    for (std::string entry; std::getline(info, entry);) {
      if (entry.rfind("clockid:", 0) == 0) clock = std::stoi(entry.substr(8));
      if (entry.rfind("it_value:", 0) == 0) isArmed = entry.find("(0, 0)") == std::string::npos;
    }
    if (clock >= 0) armed[clock] = isArmed;
  }
  return armed;
}

TEST(TimerClocks, RelativeDueTimesRunOnTheMonotonicClockAbsoluteOnesOnTheSystemClock) {
  UniqueHandle timer = CreateWaitableTimer(false);
  using Armed = std::map<int, bool>;
  EXPECT_EQ(ArmedByClock(timer.Get()), (Armed{{CLOCK_REALTIME, false}, {CLOCK_MONOTONIC, false}}));
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
  EXPECT_EQ(ArmedByClock(timer.Get()), (Armed{{CLOCK_REALTIME, false}, {CLOCK_MONOTONIC, true}}));
  const auto due = static_cast<std::int64_t>(PreciseSystemTime()) + 60'000 * kUnitsPerMs;
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0));
  EXPECT_EQ(ArmedByClock(timer.Get()), (Armed{{CLOCK_REALTIME, true}, {CLOCK_MONOTONIC, false}}));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(ArmedByClock(timer.Get()), (Armed{{CLOCK_REALTIME, false}, {CLOCK_MONOTONIC, false}}));
}

}  // namespace

#endif  // defined(__linux__)
