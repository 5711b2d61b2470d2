// Clocks over the platform counter with the usual functions answer in GetTime itself; a
// reading that this cannot answer (a tick before the latest sample, a failed counter read)
// must end as the general path ends it.
#include "platform/Counter.h"
#include "platform/FaultInjection.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/CVolmPtr.h"
#include "framework/WideText.h"

#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using VolmTime::VolmTimeFactory;
using VolmTime::Platform::Faults;

std::uint64_t Tick() {
  std::uint64_t tick = 0;
  EXPECT_TRUE(VolmTime::Platform::ReadTick(tick));
  return tick;
}

class ClockOnPlatformCounter : public ::testing::Test {
 protected:
  void SetUp() override {
    factory_ = new VolmTimeFactory;
    ASSERT_EQ(factory_->QueryInterface(VolmIds().timeFactoryAdvanced, advanced_.PutVoid()),
              VOLM_S_OK);
    ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(name_.c_str(), writer_.Put()), VOLM_S_OK);
  }

  WideString name_ = WidenBytes(UniqueName("volm-inline"));
  CVolmPtr<VolmTimeFactory> factory_;
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced_;
  CVolmPtr<IPiecewiseLinearCorrection> writer_;
};

TEST_F(ClockOnPlatformCounter, ReadingBeforeTheLatestSampleUsesTheSegmentItLiesIn) {
  // Now lies in the first segment (time = tick), the latest sample is a day ahead.
  const std::uint64_t start = Tick();
  writer_->AddSample(start, 1.0, start);
  writer_->AddSample(start + 86'400'000'000'000, 3.0, start + 86'400'000'000'000);
  writer_->Publish();
  CVolmPtr<IClock> clock;
  ASSERT_EQ(factory_->CreateSynchronizedClock(name_.c_str(), clock.Put()), VOLM_S_OK);
  const std::uint64_t before = Tick();
  std::uint64_t time = 0;
  ASSERT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_GE(time, before);
  EXPECT_LE(time, Tick());
}

TEST_F(ClockOnPlatformCounter, FailedCounterReadsFailTheReadingAndLeaveTheTime) {
  writer_->AddSample(1, 1.0, 1);
  writer_->Publish();
  CVolmPtr<IClock> named;
  CVolmPtr<IClock> relative;
  ASSERT_EQ(factory_->CreateSynchronizedClock(name_.c_str(), named.Put()), VOLM_S_OK);
  ASSERT_EQ(factory_->GetRelativeClock(relative.Put()), VOLM_S_OK);
  for (IClock* clock : {named.Get(), relative.Get()}) {
    // The inline read, then the read through the components.
    Faults().failTickReads = 2;
    std::uint64_t time = 42;
    EXPECT_TRUE(VolmFailed(clock->GetTime(&time)));
    EXPECT_EQ(time, 42u);
    Faults().failTickReads = 0;
    EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
    EXPECT_NE(time, 42u);
  }
}

}  // namespace
