// Appending, publishing and evaluating piecewise-linear functions in process memory.
#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Function =
    VolmTime::Core::PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>;
using VolmTime::kFullThreshold;
using VolmTime::kHistoryCapacity;
using VolmTime::Core::CException;

// Runs `call` and returns the message of the CException it throws ("" if none).
constexpr const char* kNoSegment = "Correction Function does not contain any segment.";
constexpr const char* kUndefined = "Correction Function is not defined at this point.";

class PiecewiseLinear : public ::testing::Test {
 protected:
  std::unique_ptr<Function> function_ = std::make_unique<Function>();
};

TEST_F(PiecewiseLinear, FreshFunctionIsEmpty) {
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(5); }), kNoSegment);
  EXPECT_EQ(FailureOf([&] { (void)function_->TimeToTick(5); }), kNoSegment);
  EXPECT_EQ(function_->GetRate(), 0.0);
  EXPECT_EQ(function_->GetSampleCount(), 0u);
}

TEST_F(PiecewiseLinear, TwoSegmentsEvaluateBothWays) {
  function_->AddSample(100, 2.0, 1000);
  function_->AddSample(200, 0.5, 1300);
  function_->Publish();
  EXPECT_EQ(function_->TickToTime(150), 1100u);
  EXPECT_EQ(function_->TickToTime(200), 1300u);
  EXPECT_EQ(function_->TickToTime(1000), 1700u);  // the latest segment runs on
  EXPECT_EQ(function_->TickToTime(100), 1000u);
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(99); }), kUndefined);
  EXPECT_EQ(function_->TimeToTick(1150), 175u);
  EXPECT_EQ(function_->TimeToTick(1300), 200u);
  EXPECT_EQ(FailureOf([&] { (void)function_->TimeToTick(999); }), kUndefined);
  EXPECT_EQ(function_->GetRate(), 0.5);
  EXPECT_EQ(function_->GetSampleCount(), 2u);
}

TEST_F(PiecewiseLinear, ZeroRateSegmentIsUndefinedUpToTheNextSample) {
  function_->AddSample(100, 1.0, 1000);
  function_->AddSample(200, 0.0, 1100);
  function_->AddSample(300, 1.0, 1200);
  function_->Publish();
  EXPECT_EQ(function_->TickToTime(199), 1099u);
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(200); }), kUndefined);
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(299); }), kUndefined);
  EXPECT_EQ(FailureOf([&] { (void)function_->TimeToTick(1150); }), kUndefined);
  EXPECT_EQ(function_->TickToTime(300), 1200u);
}

TEST_F(PiecewiseLinear, NegativeZeroRateIsUndefinedTooButNaNIsNot) {
  function_->AddSample(100, -0.0, 1000);
  function_->Publish();
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(150); }), kUndefined);
  function_->AddSample(200, std::numeric_limits<double>::quiet_NaN(), 2000);
  function_->Publish();
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(250); }), "");
}

TEST_F(PiecewiseLinear, SamplesAreInvisibleUntilPublished) {
  function_->AddSample(100, 1.0, 1000);
  EXPECT_EQ(function_->GetSampleCount(), 1u);
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(150); }), kNoSegment);
  function_->Publish();
  function_->AddSample(200, 2.0, 1100);
  // The writer's own evaluation sees only what it published.
  EXPECT_EQ(function_->TickToTime(250), 1150u);
  EXPECT_EQ(function_->GetRate(), 1.0);
  function_->Publish();
  EXPECT_EQ(function_->TickToTime(250), 1200u);
}

TEST_F(PiecewiseLinear, RemovingTheLatestSampleEmptiesTheFunctionUntilTheNextAppend) {
  function_->AddSample(100, 1.0, 1000);
  function_->AddSample(200, 1.0, 1100);
  function_->RemoveLastSample();
  EXPECT_EQ(FailureOf([&] { function_->RemoveLastSample(); }),
            "Can only remove one sample in a row");
  function_->Publish();
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(150); }), kNoSegment);
  EXPECT_EQ(function_->GetRate(), 0.0);
  EXPECT_EQ(function_->GetSampleCount(), 1u);
  // The next sample is compared with the last committed one, not the withdrawn one.
  function_->AddSample(150, 3.0, 1050);
  function_->Publish();
  EXPECT_EQ(function_->TickToTime(120), 1020u);
  EXPECT_EQ(function_->TickToTime(160), 1080u);
}

TEST_F(PiecewiseLinear, TicksAndTimesMustIncrease) {
  EXPECT_EQ(FailureOf([&] { function_->AddSample(0, 1.0, 10); }), "Ticks must be increasing");
  EXPECT_EQ(FailureOf([&] { function_->AddSample(10, 1.0, 0); }), "Time must be increasing");
  function_->AddSample(100, 1.0, 1000);
  EXPECT_EQ(FailureOf([&] { function_->AddSample(100, 1.0, 1000); }), "Ticks must be increasing");
  EXPECT_EQ(FailureOf([&] { function_->AddSample(101, 1.0, 1000); }), "Time must be increasing");
  // A refused sample changes nothing.
  EXPECT_EQ(function_->GetSampleCount(), 1u);
  function_->Publish();
  EXPECT_EQ(function_->TickToTime(101), 1001u);
}

TEST_F(PiecewiseLinear, FullRangeProductsConvertWithoutLosingTheTopBit) {
  function_->AddSample(1, 1.0, 1);
  function_->Publish();
  const std::uint64_t tick = (std::uint64_t{1} << 63) + 4096 + 1;
  EXPECT_EQ(function_->TickToTime(tick), (std::uint64_t{1} << 63) + 4096 + 1);
}

TEST_F(PiecewiseLinear, ResetEmptiesThePublishedFunction) {
  function_->AddSample(100, 1.0, 1000);
  function_->Publish();
  function_->Reset();
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(150); }), kNoSegment);
  EXPECT_EQ(function_->GetSampleCount(), 0u);
  // After a reset the first sample is again compared with the origin only.
  function_->AddSample(50, 1.0, 500);
  function_->Publish();
  EXPECT_EQ(function_->TickToTime(60), 510u);
}

// Appends `count` samples with tick = time = 10 * (start + i).
void AppendRun(Function& function, std::uint64_t start, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t key = 10 * (start + i);
    function.AddSample(key, 1.0, key);
  }
}

TEST_F(PiecewiseLinear, FullHistoryKeepsAMovingWindow) {
  // The 524,272nd append commits enough samples to set the full flag.
  AppendRun(*function_, 1, kFullThreshold);
  function_->Publish();
  EXPECT_EQ(function_->GetSampleCount(), kHistoryCapacity - 17 + 1);
  // Every appended sample is still readable: the oldest, the newest, and one in between.
  EXPECT_EQ(function_->TickToTime(10), 10u);
  EXPECT_EQ(function_->TickToTime(15), 15u);
  EXPECT_EQ(function_->TickToTime(10 * 300'000 + 7), 10u * 300'000 + 7);
  EXPECT_EQ(function_->TickToTime(10 * kFullThreshold + 3), 10u * kFullThreshold + 3);

  // Each further commit pushes the oldest sample out of the window.
  AppendRun(*function_, kFullThreshold + 1, 1);
  function_->Publish();
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(15); }), kUndefined);
  EXPECT_EQ(function_->TickToTime(25), 25u);
  AppendRun(*function_, kFullThreshold + 2, 40);
  function_->Publish();
  EXPECT_EQ(FailureOf([&] { (void)function_->TickToTime(10 * 41 + 5); }), kUndefined);
  EXPECT_EQ(function_->TickToTime(10 * 42 + 5), 10u * 42 + 5);
  EXPECT_EQ(function_->GetSampleCount(), kHistoryCapacity - 17 + 1);
}

TEST_F(PiecewiseLinear, WrappedHistoryStillEvaluatesAcrossTheSeam) {
  AppendRun(*function_, 1, kHistoryCapacity + 1000);
  function_->Publish();
  // Samples on both sides of the ring's wrap point.
  const std::uint64_t beforeSeam = 10 * (kHistoryCapacity - 2) + 4;
  const std::uint64_t afterSeam = 10 * (kHistoryCapacity + 3) + 4;
  EXPECT_EQ(function_->TickToTime(beforeSeam), beforeSeam);
  EXPECT_EQ(function_->TimeToTick(afterSeam), afterSeam);
  // Reset after a wrap: slot 0 now holds an old sample, yet a small first sample is taken.
  function_->Reset();
  function_->AddSample(5, 1.0, 5);
  function_->Publish();
  EXPECT_EQ(function_->TickToTime(6), 6u);
}

// The lookup estimates where a key lies before it searches; on every store a writer can leave
// (gaps even, random or wildly uneven, undefined segments, a wrapped window) it must give
// what a plain binary search over the readable samples gives.
TEST_F(PiecewiseLinear, LookupAgreesWithBinarySearchOverRandomStores) {
  std::mt19937_64 random(2024);
  struct Shape {
    const char* name;
    std::uint64_t samples;
    std::function<std::uint64_t()> gap;
  };
  const std::vector<Shape> shapes = {
      {"even", kHistoryCapacity + 100, [] { return std::uint64_t{10'000}; }},
      {"random", 70'000, [&] { return 1 + random() % 20'000; }},
      {"clustered", 9'000,
       [&] { return random() % 8 == 0 ? 1 + random() % 1'000'000 : 1 + random() % 3; }},
      {"short", 1 + random() % 6, [&] { return 1 + random() % 100; }},
  };
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.name);
    function_->Reset();
    std::vector<VolmTime::CorrectionSample> samples;
    std::uint64_t tick = 1'000;
    std::uint64_t time = 5'000;
    for (std::uint64_t i = 0; i < shape.samples; ++i) {
      const double rate = random() % 50 == 0 ? 0.0 : 0.5 + static_cast<double>(random() % 100) / 64;
      samples.push_back({tick, time, rate});
      function_->AddSample(tick, rate, time);
      tick += shape.gap();
      time += 1 + random() % 30'000;
    }
    function_->Publish();
    // What a reader sees: the full window's worth of the newest samples.
    const std::size_t window = kHistoryCapacity - 17 + 1;
    if (samples.size() > window) samples.erase(samples.begin(), samples.end() - window);

    const auto expect = [&](bool byTick, std::uint64_t key) {
      const auto above = std::upper_bound(samples.begin(), samples.end(), key,
                                          [byTick](std::uint64_t value, const auto& sample) {
                                            return value < (byTick ? sample.tick : sample.time);
                                          });
      std::string expected = kUndefined;
      if (above != samples.begin() && std::prev(above)->rate != 0.0) {
        const VolmTime::CorrectionSample& s = *std::prev(above);
        expected =
            std::to_string(byTick ? s.time + VolmTime::Core::TruncateToUint64(
                                                 static_cast<double>(key - s.tick) * s.rate)
                                  : s.tick + VolmTime::Core::TruncateToUint64(
                                                 static_cast<double>(key - s.time) / s.rate));
      }
      std::string actual;
      try {
        actual = std::to_string(byTick ? function_->TickToTime(key) : function_->TimeToTick(key));
      } catch (const CException& failure) {
        actual = failure.what();
      }
      ASSERT_EQ(actual, expected) << (byTick ? "tick " : "time ") << key;
    };
    for (int query = 0; query < 3'000; ++query) {
      const VolmTime::CorrectionSample& near = samples[random() % samples.size()];
      const bool byTick = query % 2 == 0;
      const std::uint64_t at = byTick ? near.tick : near.time;
      // On a sample, just before it, or anywhere from the first sample to past the latest.
      const std::uint64_t first = byTick ? samples.front().tick : samples.front().time;
      const std::uint64_t last = byTick ? samples.back().tick : samples.back().time;
      const std::uint64_t keys[] = {at, at - 1, first - 1 + random() % (last - first + 3)};
      for (const std::uint64_t key : keys) expect(byTick, key);
      if (HasFatalFailure()) return;
    }
  }
}

// Stores that no writer following the rules leaves behind, or that one leaves for a moment,
// still get an answer from the slots as they stand, never a retry that can be made to last.
class StoreAsItStands : public ::testing::Test {
 protected:
  // A reader over a store this test writes byte by byte.
  class Reader
      : public VolmTime::Core::PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t> {
   public:
    explicit Reader(VolmTime::SampleStore* store) : PiecewiseLinearCorrectionFunction(false) {
      AttachStore(store);
    }
  };
  std::unique_ptr<VolmTime::SampleStore> store_ = std::make_unique<VolmTime::SampleStore>();
};

TEST_F(PiecewiseLinear, SixteenOrMoreUnpublishedAppendsAnswerFromTheSlotsAsTheyAre) {
  function_->AddSample(100, 1.0, 1000);
  function_->AddSample(200, 1.0, 2000);
  function_->Publish();  // history slot 1 and ring slot 2
  for (std::uint64_t i = 1; i <= 20; ++i) function_->AddSample(200 + 10 * i, 3.0, 2000 + 10 * i);
  // Ring slot 2 now holds the 16th new sample, (360, 2160, 3.0); history slot 1 is as it was.
  EXPECT_EQ(function_->TickToTime(150), 1050u);
  EXPECT_EQ(function_->TickToTime(400), 2160u + 120u);
  EXPECT_EQ(function_->GetRate(), 3.0);
}

TEST_F(StoreAsItStands, FrozenHostileHeaderAnswersAtOnceEveryTime) {
  std::memset(store_.get(), 0xA5, sizeof(VolmTime::SampleStore));
  store_->header.countAndFlags = ~std::uint64_t{0};  // every flag and reserved bit set
  store_->header.latestSlot = ~std::uint32_t{0};
  store_->header.reserved = ~std::uint32_t{0};
  Reader reader(store_.get());
  // Thousands of calls in a bound no call that retried or waited could meet; the bound is
  // generous because the machine may be busy.
  const auto start = std::chrono::steady_clock::now();
  for (int call = 0; call < 10'000; ++call) {
    try {
      (void)reader.TickToTime(static_cast<std::uint64_t>(call) << 40);
    } catch (const CException& failure) {
      ASSERT_STRNE(failure.what(), "Correction Function changes too fast to be read.");
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(StoreAsItStands, ReservedHeaderBitsAreIgnored) {
  std::memset(store_.get(), 0, sizeof(VolmTime::SampleStore));
  store_->history[1] = {100, 1000, 2.0};
  store_->latestRing[3] = {200, 1300, 0.5};
  store_->header.countAndFlags = 2 | (std::uint64_t{0xFFFFFFFC | VolmTime::kFlagLatestValid} << 32);
  store_->header.latestSlot = 0xABCDEF03;
  store_->header.reserved = 0x12345678;
  Reader reader(store_.get());
  EXPECT_EQ(reader.TickToTime(150), 1100u);
  EXPECT_EQ(reader.TickToTime(1000), 1700u);
}

}  // namespace
