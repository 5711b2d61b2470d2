// SPDX-License-Identifier: MIT
// A reader that a fast writer laps between reading the header and reading the samples must
// evaluate again (or give up) rather than answer from a torn view.
#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace {

// Every sample lies on time = 3 * tick + 7, so every correct answer does too, whichever
// segment it came from; a sample read half old and half new does not.
constexpr std::uint64_t TimeOf(std::uint64_t tick) { return 3 * tick + 7; }

TEST(LappedReader, AnswersStayOnTheFunctionWhileTheWriterRaces) {
  VolmTime::Core::PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t> function;
  std::atomic<std::uint64_t> publishedTick{0};
  std::atomic<bool> stop{false};
  std::atomic<std::uint64_t> readerRounds{0};

  std::thread writer([&] {
    std::uint64_t tick = 1'000;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(1000);
    // Fewer appends than the history holds, so no key a reader picks can leave the window
    // however late the reader runs: every failure is a fault.
    constexpr std::uint64_t kLastTick = 1'000 + 10 * 400'000;
    while (std::chrono::steady_clock::now() < deadline && tick < kLastTick) {
      const std::uint64_t roundsBefore = readerRounds.load();
      // Bursts of appends, each published, make lapping likely; a writer keeps a reader's
      // view intact only while it appends fewer than 16 samples between two publishes.
      for (int i = 0; i < 40; ++i) {
        tick += 10;
        function.AddSample(tick, 3.0, TimeOf(tick));
        if (i % 4 == 3) function.Publish();
      }
      publishedTick.store(tick, std::memory_order_release);
      // A writer that never paused would lap every reader for good; real ones publish at
      // most some thousand times a second. Where a short sleep returns at once (Wine) or the
      // reader's thread is starved, the writer also waits, a bounded while, for the reader to
      // finish a round, so that the reader races a writer that is still writing.
      std::this_thread::sleep_for(std::chrono::microseconds(20));
      const auto patience = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
      while (readerRounds.load() == roundsBefore && std::chrono::steady_clock::now() < patience)
        std::this_thread::yield();
    }
    stop.store(true);
  });

  std::uint64_t evaluations = 0;
  std::uint64_t wrong = 0;
  std::uint64_t gaveUp = 0;
  std::string otherFailure;
  while (!stop.load()) {
    const std::uint64_t newest = publishedTick.load(std::memory_order_acquire);
    if (newest == 0) continue;
    // Keys around the newest published samples, where the writer overwrites soonest.
    for (std::uint64_t back = 0; back < 400; back += 37) {
      const std::uint64_t tick = newest - back + 3;
      try {
        if (function.TickToTime(tick) != TimeOf(tick)) ++wrong;
      } catch (const VolmTime::Core::CException& failure) {
        // A reader that a writer keeps lapping may give up, and says so; it must never
        // answer wrong or fail for any other reason.
        if (std::string(failure.what()) == "Correction Function changes too fast to be read.")
          ++gaveUp;
        else
          otherFailure = failure.what();
      }
      ++evaluations;
    }
    readerRounds.fetch_add(1);
  }
  writer.join();
  // Under a loaded machine or Wine the reader may get few turns; it must get some answers.
  EXPECT_GT(evaluations - gaveUp, 10u) << "gave up " << gaveUp << " times";
  EXPECT_EQ(wrong, 0u) << "of " << evaluations;
  EXPECT_EQ(otherFailure, "") << "of " << evaluations;
}

}  // namespace
