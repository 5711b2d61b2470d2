// Piecewise-linear functions in named shared memory, writer and readers in one process.
// The same behaviour across processes is covered by the cross-process tests.
#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionSharedMemory.h"

#include "tests/support/UniqueName.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using SharedFunction =
    VolmTime::Core::PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;
using VolmTime::Core::CException;

class SharedMemoryCorrection : public ::testing::Test {
 protected:
  std::string name_ = UniqueName("volm-core");
};

TEST_F(SharedMemoryCorrection, ReaderSeesWhatTheWriterPublishes) {
  SharedFunction writer(name_, true);
  SharedFunction reader(name_, false);
  EXPECT_EQ(FailureOf([&] { (void)reader.TickToTime(150); }),
            "Correction Function does not contain any segment.");
  writer.AddSample(100, 2.0, 1000);
  writer.AddSample(200, 0.5, 1300);
  EXPECT_EQ(FailureOf([&] { (void)reader.TickToTime(150); }),
            "Correction Function does not contain any segment.");
  writer.Publish();
  EXPECT_EQ(reader.TickToTime(150), writer.TickToTime(150));
  EXPECT_EQ(reader.TickToTime(150), 1100u);
  EXPECT_EQ(reader.TimeToTick(1150), 175u);
  EXPECT_EQ(reader.GetRate(), 0.5);
}

TEST_F(SharedMemoryCorrection, ReaderCannotWrite) {
  SharedFunction writer(name_, true);
  writer.AddSample(100, 1.0, 1000);
  writer.Publish();
  SharedFunction reader(name_, false);
  EXPECT_EQ(FailureOf([&] { reader.AddSample(200, 1.0, 2000); }), "Can not write on reader.");
  EXPECT_EQ(FailureOf([&] { reader.RemoveLastSample(); }), "Can not write on reader.");
  EXPECT_EQ(FailureOf([&] { reader.Publish(); }), "Can not write on reader.");
  EXPECT_EQ(FailureOf([&] { reader.Reset(); }), "Can not write on reader.");
  EXPECT_EQ(FailureOf([&] { (void)reader.GetSampleCount(); }), "Only defined on writer.");
  EXPECT_EQ(reader.TickToTime(150), 1050u);
}

TEST_F(SharedMemoryCorrection, ReaderOfAMissingNameFailsWithTheSystemsReason) {
  const std::string message = FailureOf([&] { SharedFunction reader(name_, false); });
  const std::string prefix = "The shared memory >" + name_ + "< is not available (";
  ASSERT_EQ(message.rfind(prefix, 0), 0u) << message;
  EXPECT_GT(message.size(), prefix.size() + 3) << "no reason given: " << message;
  EXPECT_EQ(message.substr(message.size() - 2), ").");
}

TEST_F(SharedMemoryCorrection, SecondWriterResetsTheStoreForReaders) {
  SharedFunction first(name_, true);
  first.AddSample(100, 1.0, 1000);
  first.Publish();
  SharedFunction reader(name_, false);
  EXPECT_EQ(reader.TickToTime(150), 1050u);
  SharedFunction second(name_, true);
  EXPECT_EQ(FailureOf([&] { (void)reader.TickToTime(150); }),
            "Correction Function does not contain any segment.");
  second.AddSample(500, 2.0, 9000);
  second.Publish();
  EXPECT_EQ(reader.TickToTime(600), 9200u);
}

TEST_F(SharedMemoryCorrection, ReaderKeepsTheStoreAfterTheWriterIsGone) {
  auto writer = std::make_unique<SharedFunction>(name_, true);
  writer->AddSample(100, 1.0, 1000);
  writer->Publish();
  SharedFunction reader(name_, false);
  writer.reset();
  EXPECT_EQ(reader.TickToTime(200), 1100u);
  // A second reader can still open it while the first one holds it.
  SharedFunction another(name_, false);
  EXPECT_EQ(another.TickToTime(300), 1200u);
}

TEST_F(SharedMemoryCorrection, NamesEndAtTheirFirstNul) {
  EXPECT_EQ(FailureOf([&] { SharedFunction writer("", true); }),
            "The shared memory >< is not available (the name is empty).");
  SharedFunction writer(name_ + std::string("\0ignored", 8), true);
  EXPECT_EQ(writer.Name(), name_);
  writer.AddSample(100, 2.0, 1000);
  writer.Publish();
  EXPECT_EQ(SharedFunction(name_, false).TickToTime(150), 1100u);
  EXPECT_EQ(FailureOf([] { SharedFunction reader(std::string("\0x", 2), false); }),
            "The shared memory >< is not available (the name is empty).");
}

}  // namespace
