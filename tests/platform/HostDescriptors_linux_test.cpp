// Linux only: a host hands the wait descriptors of its own (pipes, eventfd, timerfd) and puts
// timer handles in its own poll loop. Windows has no such descriptors.
#if defined(__linux__)

#include "platform/Event.h"
#include "platform/Timer.h"
#include "platform/Wait.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <stdexcept>

namespace {

using namespace VolmTime::Platform;

constexpr std::int64_t kUnitsPerMs = 10'000;

struct Pipe {
  Pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
    readEnd.Reset(ends[0]);
    writeEnd.Reset(ends[1]);
  }
  UniqueHandle readEnd;
  UniqueHandle writeEnd;
};

bool IsReadable(int descriptor) {
  pollfd polled{descriptor, POLLIN, 0};
  return ::poll(&polled, 1, 0) == 1 && (polled.revents & POLLIN) != 0;
}

TEST(HostDescriptors, PipeIsReportedButItsDataIsLeftForTheHost) {
  Pipe pipe;
  UniqueHandle event = CreateAutoResetEvent();
  const NativeHandle handles[] = {event.Get(), pipe.readEnd.Get()};
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
  ASSERT_EQ(::write(pipe.writeEnd.Get(), "x", 1), 1);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
  char byte = 0;
  ASSERT_EQ(::read(pipe.readEnd.Get(), &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
}

TEST(HostDescriptors, NonBlockingEventfdAndTimerfdAreAutoReset) {
  UniqueHandle eventfd(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  UniqueHandle timerfd(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  ASSERT_TRUE(eventfd);
  ASSERT_TRUE(timerfd);
  const std::uint64_t three = 3;
  ASSERT_EQ(::write(eventfd.Get(), &three, sizeof three), static_cast<ssize_t>(sizeof three));
  EXPECT_EQ(WaitForOne(eventfd.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(eventfd.Get(), 0), kWaitTimeout);

  const itimerspec soon{{0, 0}, {0, 1'000'000}};
  ASSERT_EQ(::timerfd_settime(timerfd.Get(), 0, &soon, nullptr), 0);
  EXPECT_EQ(WaitForOne(timerfd.Get(), 2'000), kWaitObject0);
  EXPECT_EQ(WaitForOne(timerfd.Get(), 0), kWaitTimeout);
}

// Reading a blocking descriptor could hang the wait if another thread read it first, so the
// host keeps what it signalled.
TEST(HostDescriptors, BlockingEventfdIsReportedAndLeftAlone) {
  UniqueHandle eventfd(::eventfd(0, EFD_CLOEXEC));
  ASSERT_TRUE(eventfd);
  const std::uint64_t one = 1;
  ASSERT_EQ(::write(eventfd.Get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  EXPECT_EQ(WaitForOne(eventfd.Get(), 0), kWaitObject0);
  EXPECT_TRUE(IsReadable(eventfd.Get()));
}

TEST(HostDescriptors, TimerHandleWorksInTheHostsOwnPollAndStaysTheSame) {
  UniqueHandle timer = CreateWaitableTimer(true);
  ASSERT_TRUE(timer);
  const NativeHandle handle = timer.Get();
  pollfd polled{handle, POLLIN, 0};
  ASSERT_TRUE(ArmWaitableTimer(handle, -10 * kUnitsPerMs, 0));
  EXPECT_EQ(::poll(&polled, 1, 2'000), 1);
  EXPECT_TRUE(IsReadable(handle));
  // The host's poll does not take the firing: the platform's wait still finds it.
  EXPECT_EQ(WaitForOne(handle, 0), kWaitObject0);
  ASSERT_TRUE(ArmWaitableTimer(handle, 0, 0));
  polled.revents = 0;
  EXPECT_EQ(::poll(&polled, 1, 2'000), 1);
  EXPECT_EQ(timer.Get(), handle);
}

}  // namespace

#endif  // defined(__linux__)
