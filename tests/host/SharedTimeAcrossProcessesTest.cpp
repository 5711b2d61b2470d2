// One writer process publishes a shared function; reader processes and named clocks in
// other processes evaluate the same values.
#include "LoadedLibrary.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <thread>

namespace {

using Wide = std::basic_string<VolmWideChar>;

Wide WideOf(const std::string& text) { return Wide(text.begin(), text.end()); }

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

  // Opens a reader once the writer process has published (tick 150 maps to 1100).
  bool OpenWhenPublished(Ref<IPiecewiseLinearCorrection>& reader) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < deadline) {
      if (advanced_->OpenSharedMemoryCorrection(WideOf(name_).c_str(), reader.Out()) == VOLM_S_OK) {
        std::uint64_t time = 0;
        if (reader->TickToTime(150, &time) == VOLM_S_OK && time == 1100) return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  std::string name_ = UniqueName("volm-shared");
};

TEST_F(SharedTimeAcrossProcesses, ReadersInOtherProcessesEvaluateTheWritersFunction) {
  auto writer = Helper({"write", name_, "20000"});
  Ref<IPiecewiseLinearCorrection> reader;
  ASSERT_TRUE(OpenWhenPublished(reader));
  auto first = Helper({"expect", name_, "150", "1100"});
  auto second = Helper({"expect", name_, "1000", "1700"});
  auto clock = Helper({"clock", name_});
  EXPECT_EQ(first->Wait(20'000), 0);
  EXPECT_EQ(second->Wait(20'000), 0);
  EXPECT_EQ(clock->Wait(20'000), 0);
  std::uint64_t tick = 0;
  ASSERT_EQ(reader->TimeToTick(1150, &tick), VOLM_S_OK);
  EXPECT_EQ(tick, 175u);
  // A named clock here reads the same function.
  Ref<IClock> named;
  ASSERT_EQ(factory_->CreateSynchronizedClock(WideOf(name_).c_str(), named.Out()), VOLM_S_OK);
  std::uint64_t time = 0;
  EXPECT_EQ(named->GetTime(&time), VOLM_S_OK);
  EXPECT_GE(time, 1300u);
}

TEST_F(SharedTimeAcrossProcesses, ReadersKeepTheLastStateAfterTheWriterExits) {
  auto writer = Helper({"write", name_, "300"});
  Ref<IPiecewiseLinearCorrection> reader;
  ASSERT_TRUE(OpenWhenPublished(reader));
  ASSERT_EQ(writer->Wait(20'000), 0);
  std::uint64_t time = 0;
  ASSERT_EQ(reader->TickToTime(150, &time), VOLM_S_OK);
  EXPECT_EQ(time, 1100u);
  // Another process can still open it while this one holds it.
  auto later = Helper({"expect", name_, "150", "1100"});
  EXPECT_EQ(later->Wait(20'000), 0);
}

TEST_F(SharedTimeAcrossProcesses, SecondWriterResetsTheStoreForReaders) {
  auto writer = Helper({"write", name_, "300"});
  Ref<IPiecewiseLinearCorrection> reader;
  ASSERT_TRUE(OpenWhenPublished(reader));
  ASSERT_EQ(writer->Wait(20'000), 0);
  auto second = Helper({"reset", name_, "20000"});
  // Until the second writer publishes, readers see an empty function.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::uint64_t time = 0;
  while (reader->TickToTime(150, &time) == VOLM_S_OK &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(reader->TickToTime(150, &time), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(reader.Get()), "Correction Function does not contain any segment.");
  auto expecting = Helper({"expect", name_, "150", "1100"});
  EXPECT_EQ(expecting->Wait(20'000), 3);
}

TEST_F(SharedTimeAcrossProcesses, ReaderOfANameNobodyCreatedFailsWithTheReason) {
  auto reader = Helper({"expect", name_, "150", "1100"});
  EXPECT_EQ(reader->Wait(20'000), 2);
  Ref<IPiecewiseLinearCorrection> function;
  IPiecewiseLinearCorrection* untouched = function.Get();
  EXPECT_EQ(advanced_->OpenSharedMemoryCorrection(WideOf(name_).c_str(), function.Out()),
            VOLM_E_FAIL);
  EXPECT_EQ(function.Get(), untouched);
  const std::string text = LastErrorText(factory_.Get());
  const std::string prefix = "The shared memory >" + name_ + "< is not available (";
  EXPECT_EQ(text.rfind(prefix, 0), 0u) << text;
  EXPECT_GT(text.size(), prefix.size() + 3) << text;
  Ref<IClock> clock;
  EXPECT_EQ(factory_->CreateSynchronizedClock(WideOf(name_).c_str(), clock.Out()), VOLM_E_FAIL);
}

}  // namespace
