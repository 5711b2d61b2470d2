// Appending, publishing and evaluating piecewise-linear functions: in process memory, over
// a store written byte by byte, and in named shared memory. Answers are rows: the value at a
// tick (or time), or the failure's message.
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionSharedMemory.h"

#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <limits>
#include <memory>

namespace {

using VolmTime::kFullThreshold;
using VolmTime::kHistoryCapacity;
using Core = VolmTime::Core::PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t>;
using Function = VolmTime::Core::PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>;
using Shared = VolmTime::Core::PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;

constexpr const char* kNoSegment = "Correction Function does not contain any segment.";
constexpr const char* kUndefined = "Correction Function is not defined at this point.";

struct Row {
  std::uint64_t key;
  std::string answer;
};

// Evaluates every row, by tick or by time, and compares the value or the failure's text.
void ExpectAnswers(const Core& function, std::initializer_list<Row> rows, bool byTime = false) {
  for (const Row& row : rows) {
    std::string value;
    const std::string failure = FailureOf([&] {
      value = std::to_string(byTime ? function.TimeToTick(row.key) : function.TickToTime(row.key));
    });
    EXPECT_EQ(failure.empty() ? value : failure, row.answer) << (byTime ? "time " : "tick ") << row.key;
  }
}

class PiecewiseLinear : public ::testing::Test {
 protected:
  std::unique_ptr<Function> function_ = std::make_unique<Function>();
};

TEST_F(PiecewiseLinear, SegmentsEvaluateBothWaysFromTheirSampleOn) {
  ExpectAnswers(*function_, {{5, kNoSegment}});
  EXPECT_EQ(function_->GetRate(), 0.0);
  function_->AddSample(100, 2.0, 1000);
  function_->AddSample(200, 0.5, 1300);
  function_->AddSample(400, 0.0, 1400);  // a rate of 0, and of -0, is no rate; NaN is one
  function_->AddSample(500, 1.0, 1500);
  function_->AddSample(600, -0.0, 1600);
  function_->AddSample(700, std::numeric_limits<double>::quiet_NaN(), 1700);
  function_->Publish();
  ExpectAnswers(*function_, {{99, kUndefined}, {100, "1000"}, {150, "1100"}, {200, "1300"},
                             {399, "1399"}, {400, kUndefined}, {499, kUndefined}, {500, "1500"},
                             {650, kUndefined}, {800, "1700"}});
  ExpectAnswers(*function_, {{999, kUndefined}, {1150, "175"}, {1300, "200"}}, true);
  EXPECT_EQ(function_->GetSampleCount(), 6u);
}

TEST_F(PiecewiseLinear, SamplesCountFromTheirPublishAndRefusedOnesChangeNothing) {
  function_->AddSample(100, 1.0, 1000);
  ExpectAnswers(*function_, {{150, kNoSegment}});
  function_->Publish();
  function_->AddSample(200, 2.0, 1100);
  ExpectAnswers(*function_, {{250, "1150"}});  // the writer reads what it published
  EXPECT_EQ(function_->GetRate(), 1.0);
  EXPECT_EQ(FailureOf([&] { function_->AddSample(200, 1.0, 1200); }), "Ticks must be increasing");
  EXPECT_EQ(FailureOf([&] { function_->AddSample(201, 1.0, 1100); }), "Time must be increasing");
  EXPECT_EQ(function_->GetSampleCount(), 2u);
  function_->Publish();
  ExpectAnswers(*function_, {{250, "1200"}});
}

TEST_F(PiecewiseLinear, RemovingTheLatestSampleAndResettingEmptyTheFunction) {
  function_->AddSample(100, 1.0, 1000);
  function_->AddSample(200, 1.0, 1100);
  function_->RemoveLastSample();
  EXPECT_EQ(FailureOf([&] { function_->RemoveLastSample(); }), "Can only remove one sample in a row");
  function_->Publish();
  ExpectAnswers(*function_, {{150, kNoSegment}});
  EXPECT_EQ(function_->GetSampleCount(), 1u);
  // The next sample is compared with the last committed one, not the withdrawn one.
  function_->AddSample(150, 3.0, 1050);
  function_->Publish();
  ExpectAnswers(*function_, {{120, "1020"}, {160, "1080"}});
  function_->Reset();
  ExpectAnswers(*function_, {{160, kNoSegment}});
  EXPECT_EQ(function_->GetSampleCount(), 0u);
  function_->AddSample(50, 1.0, 500);  // after a reset only the origin comes before
  function_->Publish();
  ExpectAnswers(*function_, {{60, "510"}});
}

// Appends `count` samples with tick = time = 10 * (start + i).
void AppendRun(Function& function, std::uint64_t start, std::uint64_t count) {
  for (std::uint64_t key = 10 * start; key < 10 * (start + count); key += 10) {
    function.AddSample(key, 1.0, key);
  }
}

TEST_F(PiecewiseLinear, FullHistoryKeepsAMovingWindowAcrossTheSeam) {
  AppendRun(*function_, 1, kFullThreshold);  // the 524,272nd append sets the full flag
  function_->Publish();
  EXPECT_EQ(function_->GetSampleCount(), kHistoryCapacity - 16);
  ExpectAnswers(*function_, {{15, "15"}, {3'000'007, "3000007"}});
  AppendRun(*function_, kFullThreshold + 1, 1);  // each commit pushes the oldest out
  function_->Publish();
  ExpectAnswers(*function_, {{15, kUndefined}, {25, "25"}});
  AppendRun(*function_, kFullThreshold + 2, 1000);
  function_->Publish();
  EXPECT_EQ(function_->GetSampleCount(), kHistoryCapacity - 16);
  const std::uint64_t beforeSeam = 10 * (kHistoryCapacity - 2) + 4;
  const std::uint64_t afterSeam = 10 * (kHistoryCapacity + 3) + 4;
  ExpectAnswers(*function_, {{10 * 1001 + 5, kUndefined}, {10 * 1002 + 5, "10025"},
                             {beforeSeam, std::to_string(beforeSeam)}});
  ExpectAnswers(*function_, {{afterSeam, std::to_string(afterSeam)}}, true);
  function_->Reset();  // slot 0 now holds an old sample, yet a small first sample is taken
  function_->AddSample(5, 1.0, 5);
  function_->Publish();
  ExpectAnswers(*function_, {{6, "6"}});
}

TEST_F(PiecewiseLinear, SixteenOrMoreUnpublishedAppendsAnswerFromTheSlotsAsTheyAre) {
  function_->AddSample(100, 1.0, 1000);
  function_->AddSample(200, 1.0, 2000);
  function_->Publish();  // history slot 1 and ring slot 2
  for (std::uint64_t i = 1; i <= 20; ++i) function_->AddSample(200 + 10 * i, 3.0, 2000 + 10 * i);
  // Ring slot 2 now holds the 16th new sample, (360, 2160, 3.0); history slot 1 is as it was.
  ExpectAnswers(*function_, {{150, "1050"}, {400, "2280"}});
  EXPECT_EQ(function_->GetRate(), 3.0);
}

// Stores that no writer following the rules leaves behind, or that one leaves for a moment,
// still get an answer from the slots as they stand, never a retry that can be made to last.
class StoreAsItStands : public ::testing::Test {
 protected:
  class Reader : public Core {
   public:
    explicit Reader(VolmTime::SampleStore* store) : Core(false) { AttachStore(store); }
  };
  std::unique_ptr<VolmTime::SampleStore> store_ = std::make_unique<VolmTime::SampleStore>();
};

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
    ASSERT_NE(FailureOf([&] { (void)reader.TickToTime(static_cast<std::uint64_t>(call) << 40); }),
              "Correction Function changes too fast to be read.");
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
  ExpectAnswers(Reader(store_.get()), {{150, "1100"}, {1000, "1700"}});
}

TEST(SharedMemoryCorrection, ReadersSeeWhatTheWriterPublishesAndWriteNothing) {
  const std::string name = UniqueName("volm-core");
  Shared first(name, true);
  first.AddSample(100, 1.0, 1000);
  first.Publish();
  Shared reader(name, false);
  ExpectAnswers(reader, {{150, "1050"}});
  EXPECT_EQ(FailureOf([&] { reader.AddSample(200, 1.0, 2000); }), "Can not write on reader.");
  EXPECT_EQ(FailureOf([&] { (void)reader.GetSampleCount(); }), "Only defined on writer.");
  Shared second(name, true);  // a second writer starts the store over
  ExpectAnswers(reader, {{150, kNoSegment}});
  second.AddSample(500, 2.0, 9000);
  second.Publish();
  ExpectAnswers(reader, {{600, "9200"}});
}

TEST(SharedMemoryCorrection, NamesEndAtTheirFirstNul) {
  const std::string name = UniqueName("volm-core");
  Shared writer(name + std::string("\0ignored", 8), true);
  EXPECT_EQ(writer.Name(), name);
  writer.AddSample(100, 2.0, 1000);
  writer.Publish();
  ExpectAnswers(Shared(name, false), {{150, "1100"}});
  for (const std::string& empty : {std::string(), std::string("\0x", 2)}) {
    EXPECT_EQ(FailureOf([&] { Shared reader(empty, false); }),
              "The shared memory >< is not available (the name is empty).");
  }
}

}  // namespace
