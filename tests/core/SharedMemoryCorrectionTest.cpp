// SPDX-License-Identifier: MIT
// Piecewise-linear functions in named shared memory, writer and readers in one process. The
// same behaviour across processes is covered by the cross-process tests.
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionSharedMemory.h"
#include "platform/SharedMemory.h"
#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace {

using SharedFunction =
    VolmTime::Core::PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;
constexpr const char* kNoSegment = "Correction Function does not contain any segment.";

class SharedMemoryCorrection : public ::testing::Test {
 protected:
  std::string name_ = UniqueName("volm-core");
};

TEST_F(SharedMemoryCorrection, ReadersSeeWhatTheWriterPublishedAndCannotWrite) {
  auto writer = std::make_unique<SharedFunction>(name_ + std::string("\0ig\0nored", 10), true);
  EXPECT_EQ(writer->Name(), name_);  // names end at their first NUL
  SharedFunction reader(name_, false);
  writer->AddSample(100, 2.0, 1000);
  writer->AddSample(200, 0.5, 1300);
  writer->Publish();
  EXPECT_EQ(reader.TickToTime(150), 1100u);
  EXPECT_EQ(reader.TimeToTick(1150), 175u);
  EXPECT_EQ(reader.GetRate(), 0.5);
  for (const auto& write : std::initializer_list<std::function<void()>>{
           [&] { reader.AddSample(300, 1.0, 2000); }, [&] { reader.RemoveLastSample(); },
           [&] { reader.Publish(); }, [&] { reader.Reset(); }})
    EXPECT_EQ(FailureOf(write), "Can not write on reader.");
  EXPECT_EQ(FailureOf([&] { (void)reader.GetSampleCount(); }), "Only defined on writer.");
  // The store lives on with its readers.
  writer.reset();
  EXPECT_EQ(SharedFunction(name_, false).TickToTime(250), 1325u);
}

TEST_F(SharedMemoryCorrection, SecondWriterResetsTheStoreForReaders) {
  SharedFunction first(name_, true);
  first.AddSample(100, 1.0, 1000);
  first.Publish();
  SharedFunction reader(name_, false);
  SharedFunction second(name_, true);
  EXPECT_EQ(FailureOf([&] { (void)reader.TickToTime(150); }), kNoSegment);
  second.AddSample(500, 2.0, 9000);
  second.Publish();
  EXPECT_EQ(reader.TickToTime(600), 9200u);
}

// Another program's object of the name that is too small for a store is refused, not read
// past its end.
TEST_F(SharedMemoryCorrection, SmallerObjectOfTheNameIsRefused) {
  const auto small = VolmTime::Platform::SharedMemoryMapping::CreateOrOpen(name_, 4096);
  const std::string expected = "The shared memory >" + name_ + "< is not available (it holds " +
                               std::to_string(small.Size()) + " bytes, a store needs 12583320).";
  EXPECT_EQ(FailureOf([&] { SharedFunction writer(name_, true); }), expected);
  EXPECT_EQ(FailureOf([&] { SharedFunction reader(name_, false); }), expected);
}

// A writer's store is open to readers as soon as its mapping exists, zero-filled, and gets
// its layout version a moment later. A reader that opens in between waits for the version;
// one that stays 0, and any other version, is another layout.
TEST_F(SharedMemoryCorrection, ReaderOpeningWhileTheWriterSetsUpWaitsForTheVersion) {
  const auto settingUp =
      VolmTime::Platform::SharedMemoryMapping::CreateOrOpen(name_, VolmTime::kSampleStoreSize);
  std::atomic_ref<std::uint32_t> version(
      static_cast<VolmTime::SampleStore*>(settingUp.Address())->header.version);
  for (const std::uint32_t other : {0u, 1u, VolmTime::kSampleStoreVersion + 1}) {
    version.store(other);
    EXPECT_EQ(FailureOf([&] { SharedFunction reader(name_, false); }),
              "Memory layout version mismatch.")
        << "version " << other;
  }
  version.store(0);
  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    version.store(VolmTime::kSampleStoreVersion, std::memory_order_release);
  });
  EXPECT_EQ(FailureOf([&] { (void)SharedFunction(name_, false).TickToTime(1); }), kNoSegment);
  writer.join();
}

}  // namespace
