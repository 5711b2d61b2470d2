// The tick counter, the system time and the platform's message texts.
#include "platform/Counter.h"
#include "platform/FaultInjection.h"
#include "platform/SystemMessage.h"
#include "platform/SystemTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Platform;

TEST(Counter, TicksGrowAtTheReportedFrequencyAndNeverBack) {
  std::uint64_t frequency = 0;
  std::uint64_t start = 0;
  ASSERT_TRUE(ReadTickFrequency(frequency));
  ASSERT_TRUE(ReadTick(start));
  const auto hostStart = std::chrono::steady_clock::now();
  std::uint64_t previous = start;
  for (int i = 0; i < 100'000; ++i) {
    std::uint64_t now = 0;
    ASSERT_TRUE(ReadTick(now));
    ASSERT_GE(now, previous);
    previous = now;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  std::uint64_t end = 0;
  ASSERT_TRUE(ReadTick(end));
  const double hostSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - hostStart).count();
  const double counterSeconds = static_cast<double>(end - start) / static_cast<double>(frequency);
  EXPECT_NEAR(counterSeconds, hostSeconds, 0.05 * hostSeconds + 0.005);
  Faults().failTickReads = 2;  // planned failures are taken one by one
  EXPECT_FALSE(ReadTick(end));
  EXPECT_FALSE(ReadTick(end));
  EXPECT_TRUE(ReadTick(end));
}

TEST(SystemTime, IsAFileTimeThatAgreesWithTheHostClock) {
  const auto hostUnits =
      std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>(
          std::chrono::system_clock::now().time_since_epoch())
          .count();
  const auto expected = static_cast<std::uint64_t>(hostUnits) + kUnixEpochAsFileTime;
  EXPECT_NEAR(static_cast<double>(PreciseSystemTime()), static_cast<double>(expected), 100'000.0);
}

// One line ended by a carriage return and a line feed, for codes every message table has
// (Wine's too); Wine's texts differ from Windows', so the words are checked on Linux only.
TEST(SystemMessage, TextsAreTheMessageTablesLines) {
  const std::pair<std::uint32_t, const char*> known[] = {
      {0x00000002u, "The system cannot find the file specified.\r\n"},
      {0x00000005u, "Access is denied.\r\n"},
      {0x00000006u, "The handle is invalid.\r\n"},
      {0x80004005u, "Unspecified error\r\n"},
      {0x80070057u, "The parameter is incorrect.\r\n"},
      {0x8007000Eu, "Not enough memory resources are available to complete this operation.\r\n"}};
  for (const auto& [id, words] : known) {
    WideString text;
    ASSERT_TRUE(SystemMessageText(id, text)) << std::hex << id;
    ASSERT_GE(text.size(), 3u) << std::hex << id;
    EXPECT_EQ(text.find(VolmWideChar{0x0D}), text.size() - 2) << std::hex << id;
#if defined(__linux__)
    EXPECT_EQ(text, WideString(words, words + std::char_traits<char>::length(words)));
#else
    (void)words;
#endif
  }
  WideString text;
  EXPECT_FALSE(SystemMessageText(0xA0BC1234u, text));
}

}  // namespace
