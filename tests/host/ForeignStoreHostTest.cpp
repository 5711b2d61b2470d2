// SPDX-License-Identifier: MIT
// A host that maps a store itself and follows the byte layout works with the library in
// both directions: as a reader of the library's writer, and as a writer that takes over a
// store the library's writer used before.
#include "HostFixture.h"

#include "tests/support/ForeignStore.h"
#include "tests/support/UniqueName.h"

#include <cstring>

namespace {

using ForeignStoreHost = FactoryHostTest;

TEST_F(ForeignStoreHost, ForeignReaderFindsWhatTheLibrarysWriterPublishedWhereTheLayoutSays) {
  const std::string name = UniqueName("volm-foreign");
  Ref<IPiecewiseLinearCorrection> writer;
  ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(WideOf(name).c_str(), writer.Out()), VOLM_S_OK);
  ASSERT_EQ(writer->AddSample(100, 2.0, 1000), VOLM_S_OK);
  ASSERT_EQ(writer->AddSample(200, 0.5, 1300), VOLM_S_OK);
  ASSERT_EQ(writer->Publish(), VOLM_S_OK);
  const ForeignStore foreign(name, false);
  VolmTime::SampleStoreHeader published{};
  std::memcpy(&published, &foreign.Store().header, sizeof published);
  // Appending without publishing leaves the header as it was.
  for (std::uint64_t i = 1; i <= 3; ++i) ASSERT_EQ(writer->AddSample(200 + i, 1.0, 1300 + i), 0u);
  EXPECT_EQ(std::memcmp(&published, &foreign.Store().header, sizeof published), 0);
  // The sentinel and one committed sample, the latest sample in its ring slot, and every
  // reserved word and bit zero.
  EXPECT_EQ(published.reserved, 0u);
  EXPECT_EQ(published.countAndFlags, 2 | std::uint64_t{VolmTime::kFlagLatestValid} << 32);
  ASSERT_LT(published.latestSlot, VolmTime::kLatestRingSize);
  const VolmTime::CorrectionSample committed{100, 1000, 2.0};
  const VolmTime::CorrectionSample latest{200, 1300, 0.5};
  EXPECT_EQ(std::memcmp(&foreign.Store().history[1], &committed, sizeof committed), 0);
  EXPECT_EQ(std::memcmp(&foreign.Store().latestRing[published.latestSlot], &latest, sizeof latest),
            0);
}

TEST_F(ForeignStoreHost, ForeignWriterTakesOverAStoreTheLibrarysWriterUsed) {
  const std::string name = UniqueName("volm-foreign");
  Ref<IPiecewiseLinearCorrection> writer;
  ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(WideOf(name).c_str(), writer.Out()), VOLM_S_OK);
  for (std::uint64_t i = 1; i <= 40; ++i) {
    ASSERT_EQ(writer->AddSample(i * 100, 1.0, i * 1000), VOLM_S_OK);
    ASSERT_EQ(writer->Publish(), VOLM_S_OK);
  }
  Ref<IPiecewiseLinearCorrection> reader;
  ASSERT_EQ(advanced_->OpenSharedMemoryCorrection(WideOf(name).c_str(), reader.Out()), VOLM_S_OK);
  // The foreign writer starts over as the layout describes, then appends two samples.
  const ForeignStore foreign(name, true);
  VolmTime::SampleStore& store = foreign.Store();
  foreign.Publish(1, 0, 0);
  store.latestRing[1] = {10, 50, 1.0};
  foreign.Publish(1, VolmTime::kFlagLatestValid, 1);
  store.history[1] = store.latestRing[1];
  store.latestRing[2] = {20, 60, 3.0};
  foreign.Publish(2, VolmTime::kFlagLatestValid, 2);
  // Readers opened before and after the takeover evaluate the foreign function.
  Ref<IPiecewiseLinearCorrection> later;
  ASSERT_EQ(advanced_->OpenSharedMemoryCorrection(WideOf(name).c_str(), later.Out()), VOLM_S_OK);
  for (IPiecewiseLinearCorrection* function : {reader.Get(), later.Get()}) {
    std::uint64_t time = 0;
    ASSERT_EQ(function->TickToTime(15, &time), VOLM_S_OK) << LastErrorText(function);
    EXPECT_EQ(time, 55u);
    ASSERT_EQ(function->TickToTime(30, &time), VOLM_S_OK) << LastErrorText(function);
    EXPECT_EQ(time, 90u);
  }
}

}  // namespace
