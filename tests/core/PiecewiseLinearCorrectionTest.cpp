// SPDX-License-Identifier: MIT
// Appending, publishing and evaluating piecewise-linear functions in process memory, and
// reading stores as they stand.
#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/LookupSeam.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"
#include "tests/support/Helpers.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <utility>
#include <string>
#include <vector>

namespace {

using Function =
    VolmTime::Core::PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>;
using VolmTime::kFullThreshold;
using VolmTime::kHistoryCapacity;

constexpr const char* kNoSegment = "Correction Function does not contain any segment.";
constexpr const char* kUndefined = "Correction Function is not defined at this point.";

// Counts the lookups of every reader in the process and runs `between` inside each, after
// its header read and before its sample reads: where a writer laps a reader.
class LookupSpy final : public VolmTime::Core::LookupObserver {
 public:
  explicit LookupSpy(std::function<void()> between = {}) : between_(std::move(between)) {
    VolmTime::Core::ObserveLookups(this);
  }
  ~LookupSpy() { VolmTime::Core::ObserveLookups(nullptr); }
  LookupSpy(const LookupSpy&) = delete;
  LookupSpy& operator=(const LookupSpy&) = delete;
  void AfterHeaderRead() override {
    ++lookups;
    if (between_) between_();
  }
  int lookups = 0;

 private:
  std::function<void()> between_;
};

class PiecewiseLinear : public ::testing::Test {
 protected:
  // TickToTime at `tick`, or the failure's message.
  std::string At(std::uint64_t tick) {
    std::string answer;
    const std::string failure = FailureOf([&] { answer = std::to_string(f_->TickToTime(tick)); });
    return failure.empty() ? answer : failure;
  }
  std::string TickOf(std::uint64_t time) {
    std::string answer;
    const std::string failure = FailureOf([&] { answer = std::to_string(f_->TimeToTick(time)); });
    return failure.empty() ? answer : failure;
  }
  // Appends `count` samples with tick = time = 10 * (start + i).
  void AppendRun(std::uint64_t start, std::uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i)
      f_->AddSample(10 * (start + i), 1.0, 10 * (start + i));
  }
  std::unique_ptr<Function> f_ = std::make_unique<Function>();
};

// Ordinary lookups both ways, before the first sample and on segments of rate 0, are checked
// against a plain search over random stores below; here what that search does not meet.
TEST_F(PiecewiseLinear, EmptyFunctionsSignedZeroAndNaNRatesAndProductsPastTwoTo63) {
  EXPECT_EQ(At(5), kNoSegment);
  EXPECT_EQ(TickOf(5), kNoSegment);
  EXPECT_EQ(f_->GetRate(), 0.0);
  f_->AddSample(100, 2.0, 1000);
  f_->AddSample(400, -0.0, 1400);  // -0 is a rate of 0 too; NaN is not
  f_->AddSample(500, std::numeric_limits<double>::quiet_NaN(), 1500);
  f_->Publish();
  EXPECT_EQ(f_->GetSampleCount(), 3u);
  EXPECT_EQ(At(450), kUndefined);
  EXPECT_EQ(TickOf(1450), kUndefined);
  EXPECT_NE(At(550), kUndefined);
  // Products from 2^63 on keep their top bit.
  const std::uint64_t far = (std::uint64_t{1} << 63) + 4096;
  f_->Reset();
  f_->AddSample(1, 1.0, 1);
  f_->Publish();
  EXPECT_EQ(f_->TickToTime(far + 1), far + 1);
}

TEST_F(PiecewiseLinear, OnlyPublishedSamplesAreSeen) {
  f_->AddSample(100, 1.0, 1000);
  EXPECT_EQ(f_->GetSampleCount(), 1u);
  EXPECT_EQ(At(150), kNoSegment);
  f_->Publish();
  f_->AddSample(200, 2.0, 1100);
  EXPECT_EQ(At(250), "1150");
  EXPECT_EQ(f_->GetRate(), 1.0);
  f_->Publish();
  EXPECT_EQ(At(250), "1200");
}

TEST_F(PiecewiseLinear, RemovingTheLatestSampleEmptiesTheFunctionUntilTheNextAppend) {
  f_->AddSample(100, 1.0, 1000);
  f_->AddSample(200, 1.0, 1100);
  f_->RemoveLastSample();
  EXPECT_EQ(FailureOf([&] { f_->RemoveLastSample(); }), "Can only remove one sample in a row");
  f_->Publish();
  EXPECT_EQ(At(150), kNoSegment);
  EXPECT_EQ(f_->GetRate(), 0.0);
  EXPECT_EQ(f_->GetSampleCount(), 1u);
  // The next sample is compared with the last committed one, not the withdrawn one: it must
  // come after (100, 1000), or time could go back.
  EXPECT_EQ(FailureOf([&] { f_->AddSample(100, 3.0, 1050); }), "Ticks must be increasing");
  EXPECT_EQ(FailureOf([&] { f_->AddSample(150, 3.0, 1000); }), "Time must be increasing");
  f_->AddSample(150, 3.0, 1050);
  f_->Publish();
  EXPECT_EQ(At(120), "1020");
  EXPECT_EQ(At(160), "1080");
}

TEST_F(PiecewiseLinear, TicksAndTimesMustIncrease) {
  EXPECT_EQ(FailureOf([&] { f_->AddSample(0, 1.0, 10); }), "Ticks must be increasing");
  EXPECT_EQ(FailureOf([&] { f_->AddSample(10, 1.0, 0); }), "Time must be increasing");
  f_->AddSample(100, 1.0, 1000);
  EXPECT_EQ(FailureOf([&] { f_->AddSample(100, 1.0, 1001); }), "Ticks must be increasing");
  EXPECT_EQ(FailureOf([&] { f_->AddSample(101, 1.0, 1000); }), "Time must be increasing");
  EXPECT_EQ(f_->GetSampleCount(), 1u);  // a refused sample changes nothing
}

TEST_F(PiecewiseLinear, FullHistoryKeepsAMovingWindowAndResetsAfterAWrap) {
  AppendRun(1, kFullThreshold);  // the append that sets the full flag
  f_->Publish();
  EXPECT_EQ(f_->GetSampleCount(), kHistoryCapacity - 17 + 1);
  for (const std::uint64_t tick : {15ull, 10ull * 300'000 + 7, 10ull * kFullThreshold + 3})
    EXPECT_EQ(At(tick), std::to_string(tick));
  AppendRun(kFullThreshold + 1, 1);  // each further commit pushes the oldest sample out
  f_->Publish();
  EXPECT_EQ(At(15), kUndefined);
  EXPECT_EQ(At(25), "25");
  AppendRun(kFullThreshold + 2, 1000);  // past the ring's seam, as a random store below
  f_->Publish();
  // Reset after a wrap: slot 0 holds an old sample, yet a small first sample is taken.
  f_->Reset();
  EXPECT_EQ(At(6), kNoSegment);
  f_->AddSample(5, 1.0, 5);
  f_->Publish();
  EXPECT_EQ(At(6), "6");
}

TEST_F(PiecewiseLinear, SixteenOrMoreUnpublishedAppendsAnswerFromTheSlotsAsTheyAre) {
  f_->AddSample(100, 1.0, 1000);
  f_->AddSample(200, 1.0, 2000);
  f_->Publish();  // history slot 1 and ring slot 2
  for (std::uint64_t i = 1; i <= 20; ++i) f_->AddSample(200 + 10 * i, 3.0, 2000 + 10 * i);
  // Ring slot 2 now holds the 16th new sample, (360, 2160, 3.0); history slot 1 is as it was.
  EXPECT_EQ(At(150), "1050");
  EXPECT_EQ(At(400), "2280");
  EXPECT_EQ(f_->GetRate(), 3.0);
}

// A writer that appends 16 samples and publishes between a reader's header read and its
// sample reads overwrites the ring slot the reader's header points at. The reader must see
// that on its second look at the header and look up again; a writer that keeps doing so
// makes it give up after a few attempts rather than answer from a torn view.
TEST_F(PiecewiseLinear, AReaderLappedBetweenItsHeaderReadsLooksUpAgainOrGivesUp) {
  f_->AddSample(100, 1.0, 1000);
  f_->AddSample(200, 2.0, 1100);  // ring slot 2, which the 16th append below takes over
  f_->Publish();
  std::uint64_t tick = 1'000;
  int laps = 1;
  const auto lap = [&] {
    if (laps-- <= 0) return;
    for (int i = 0; i < 16; ++i, tick += 10) f_->AddSample(tick, 5.0, 10 * tick);
    f_->Publish();
  };
  {
    const LookupSpy spy(lap);
    // From the overwritten slot the reader would take the segment of (100, 1000): 1150.
    EXPECT_EQ(At(250), "1200");
    EXPECT_EQ(spy.lookups, 2);
  }
  laps = 100;
  const LookupSpy spy(lap);
  EXPECT_EQ(At(250), "Correction Function changes too fast to be read.");
  EXPECT_EQ(spy.lookups, 8);
}

// The lookup estimates where a key lies before it searches; on every store a writer can leave
// (gaps even, random or wildly uneven, undefined segments, a wrapped window) it must give
// what a plain binary search over the readable samples gives. Clock readings answer ticks in
// the last two segments inline: they answer every such tick that has an answer, and give it.
TEST_F(PiecewiseLinear, LookupAgreesWithBinarySearchOverRandomStores) {
  std::mt19937_64 random(2024);
  const auto upTo = [&](std::uint64_t most) { return 1 + random() % most; };
  // The lone sample comes first, while history slot 0 still holds the fresh store's sentinel.
  const std::pair<std::uint64_t, std::function<std::uint64_t()>> shapes[] = {
      {1, [] { return std::uint64_t{1}; }},
      {kHistoryCapacity + 100, [] { return std::uint64_t{10'000}; }},
      {70'000, [&] { return upTo(20'000); }},
      {9'000, [&] { return random() % 8 == 0 ? upTo(1'000'000) : upTo(3); }},
      {upTo(6), [&] { return upTo(100); }}};
  for (const auto& [count, gap] : shapes) {
    f_->Reset();
    std::vector<VolmTime::CorrectionSample> samples;
    for (std::uint64_t i = 0, tick = 1'000, time = 5'000; i < count; ++i) {
      // Small stores have undefined segments every other sample, where clocks read inline.
      const bool undefined = count <= 6 ? i % 2 == 0 : random() % 50 == 0;
      const double rate = undefined ? 0.0 : 0.5 + static_cast<double>(random() % 100) / 64;
      samples.push_back({tick, time, rate});
      f_->AddSample(tick, rate, time);
      tick += gap();
      time += upTo(30'000);
    }
    f_->Publish();
    // What a reader sees: the full window's worth of the newest samples.
    const std::size_t window = kHistoryCapacity - 17 + 1;
    if (samples.size() > window) samples.erase(samples.begin(), samples.end() - window);
    for (int query = 0; query < 3'000; ++query) {
      const bool byTick = query % 2 == 0;
      const auto key = [byTick](const VolmTime::CorrectionSample& s) {
        return byTick ? s.tick : s.time;
      };
      const std::uint64_t near = key(samples[random() % samples.size()]);
      const std::uint64_t first = key(samples.front());
      const std::uint64_t beforeLatest =
          key(samples[samples.size() - std::min<std::size_t>(2, samples.size())]);
      // On a sample, just before it, anywhere from the first sample to past the latest, or
      // around the last two.
      for (const std::uint64_t at :
           {near, near - 1, first - 1 + random() % (key(samples.back()) - first + 3),
            beforeLatest - 1 + random() % (key(samples.back()) - beforeLatest + 3)}) {
        const auto above =
            std::upper_bound(samples.begin(), samples.end(), at,
                             [&](std::uint64_t k, const auto& s) { return k < key(s); });
        std::string expected = kUndefined;
        if (above != samples.begin() && std::prev(above)->rate != 0.0) {
          const VolmTime::CorrectionSample& s = *std::prev(above);
          const double offset = static_cast<double>(at - key(s));
          expected =
              std::to_string(byTick ? s.time + VolmTime::Core::TruncateToUint64(offset * s.rate)
                                    : s.tick + VolmTime::Core::TruncateToUint64(offset / s.rate));
        }
        ASSERT_EQ(byTick ? At(at) : TickOf(at), expected) << (byTick ? "tick " : "time ") << at;
        std::uint64_t inlineTime = 0;
        if (byTick && f_->TickToTimeInLastSegments(at, inlineTime)) {
          ASSERT_EQ(std::to_string(inlineTime), expected) << "tick " << at;
        } else if (byTick) {
          ASSERT_TRUE(expected == kUndefined || std::distance(above, samples.end()) > 1) << at;
        }
      }
    }
  }
}

// Stores that no writer following the rules leaves behind, or that one leaves for a moment,
// still get an answer from the slots as they stand, never a retry that can be made to last.
class StoreAsItStands : public ::testing::Test {
 protected:
  class Reader
      : public VolmTime::Core::PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t> {
   public:
    explicit Reader(VolmTime::SampleStore* store) : PiecewiseLinearCorrectionFunction(false) {
      AttachStore(store);
    }
  };
  std::unique_ptr<VolmTime::SampleStore> store_ = std::make_unique<VolmTime::SampleStore>();
};

TEST_F(StoreAsItStands, FrozenHostileHeaderAnswersAtOnceEveryTime) {
  std::memset(store_.get(), 0xA5, sizeof(VolmTime::SampleStore));
  store_->header.countAndFlags = ~std::uint64_t{0};  // every flag and reserved bit set
  store_->header.latestSlot = ~std::uint32_t{0};
  store_->header.reserved = ~std::uint32_t{0};
  Reader reader(store_.get());
  const LookupSpy spy;
  for (int call = 0; call < 1'000; ++call)
    (void)FailureOf([&] { (void)reader.TickToTime(static_cast<std::uint64_t>(call) << 40); });
  EXPECT_EQ(spy.lookups, 1'000);  // one look at the store each, never a retry
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
