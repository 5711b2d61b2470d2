// One writer process publishes a shared function; reader processes and named clocks in other
// processes evaluate the same values, also after the writer has gone.
#include "HostFixture.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <thread>

namespace {

class SharedTimeAcrossProcesses : public FactoryHostTest {
 protected:
  void TearDown() override {
    // Helpers killed while holding the store leave it without a live holder; opening it once
    // more finds that out and removes it, so no store outlives the tests.
    Ref<IPiecewiseLinearCorrection> sweep;
    (void)advanced_->OpenSharedMemoryCorrection(WideOf(name_).c_str(), sweep.Out());
    sweep.Reset();
    FactoryHostTest::TearDown();
  }
  std::unique_ptr<ChildProcess> Helper(const std::vector<std::string>& arguments) {
    return std::make_unique<ChildProcess>(SiblingProgram("volm_host_helper"), arguments);
  }
  std::string name_ = UniqueName("volm-shared");
};

TEST_F(SharedTimeAcrossProcesses, ReadersInOtherProcessesEvaluateTheWritersFunction) {
  EXPECT_EQ(Helper({"expect", name_, "150", "1100"})->Wait(20'000), 2);  // nobody created it
  auto writer = Helper({"write", name_, "300"});
  // Opens a reader once the writer process has published (tick 150 maps to 1100).
  Ref<IPiecewiseLinearCorrection> reader;
  std::uint64_t time = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline &&
         (advanced_->OpenSharedMemoryCorrection(WideOf(name_).c_str(), reader.Out()) != VOLM_S_OK ||
          reader->TickToTime(150, &time) != VOLM_S_OK)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_EQ(time, 1100u);
  // The store stays with this reader after the writer exits.
  ASSERT_EQ(writer->Wait(20'000), 0);
  auto other = Helper({"expect", name_, "1000", "1700"});
  auto clock = Helper({"clock", name_});
  EXPECT_EQ(other->Wait(20'000), 0);
  EXPECT_EQ(clock->Wait(20'000), 0);
  std::uint64_t tick = 0;
  ASSERT_EQ(reader->TimeToTick(1150, &tick), VOLM_S_OK);
  EXPECT_EQ(tick, 175u);
  Ref<IClock> named;
  ASSERT_EQ(factory_->CreateSynchronizedClock(WideOf(name_).c_str(), named.Out()), VOLM_S_OK);
  EXPECT_EQ(named->GetTime(&time), VOLM_S_OK);
  EXPECT_GE(time, 1300u);
}

}  // namespace
