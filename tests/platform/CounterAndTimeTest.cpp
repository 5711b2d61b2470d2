// The tick counter, the system time and the system's message texts.
#include "VolmTime/Core/Platform/Counter.h"
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/Platform/SystemMessage.h"
#include "VolmTime/Core/Platform/SystemTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Core::Platform;

TEST(Counter, TicksGrowAtTheReportedFrequencyAndNeverBack) {
  std::uint64_t frequency = 0;
  ASSERT_TRUE(ReadTickFrequency(frequency));
  EXPECT_GE(frequency, 1'000'000u);
  std::uint64_t start = 0;
  ASSERT_TRUE(ReadTick(start));
  const auto hostStart = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  std::uint64_t previous = 0;
  ASSERT_TRUE(ReadTick(previous));
  const double hostSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - hostStart).count();
  const double counterSeconds = static_cast<double>(previous - start) / static_cast<double>(frequency);
  EXPECT_NEAR(counterSeconds, hostSeconds, 0.05 * hostSeconds + 0.005);
  for (int i = 0; i < 100'000; ++i) {
    std::uint64_t now = 0;
    ASSERT_TRUE(ReadTick(now));
    ASSERT_GE(now, previous);
    previous = now;
  }
  Faults().failTickReads = 2;  // planned failures are taken one by one
  EXPECT_FALSE(ReadTick(previous));
  EXPECT_FALSE(ReadTick(previous));
  EXPECT_TRUE(ReadTick(previous));
}

TEST(SystemTime, IsAFileTimeThatAgreesWithTheHostClock) {
  const auto hostUnits =
      std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>(
          std::chrono::system_clock::now().time_since_epoch()).count();
  const auto expected = static_cast<std::uint64_t>(hostUnits) + kUnixEpochAsFileTime;
  EXPECT_NEAR(static_cast<double>(PreciseSystemTime()), static_cast<double>(expected), 100'000.0);
}

// One line each, ended by a carriage return and a line feed, for codes every message table
// has (Wine's too); none for codes without a message.
TEST(SystemMessage, TextsAreLinesAsTheMessageTableHoldsThem) {
  for (const std::uint32_t id : {0x00000002u, 0x00000005u, 0x00000057u, 0x80004005u, 0x8007000Eu}) {
    WideString text;
    ASSERT_TRUE(SystemMessageText(id, text)) << std::hex << id;
    ASSERT_GE(text.size(), 3u) << std::hex << id;
    EXPECT_EQ(text.find(VolmWideChar{0x0D}), text.size() - 2) << std::hex << id;
    EXPECT_EQ(text.find(VolmWideChar{0x0A}), text.size() - 1) << std::hex << id;
  }
  for (const std::uint32_t id : {0xA0BC1234u, 0x2000FFFFu}) {
    WideString text;
    EXPECT_FALSE(SystemMessageText(id, text)) << std::hex << id;
  }
}

}  // namespace
