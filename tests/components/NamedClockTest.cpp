// The factory's shared functions: one reader function per name for its named clocks,
// forgotten when the last holder lets go and never handed out while it is being destroyed;
// advanced readers are readers of their own.
#include "VolmTime/VolmTimeFactory.h"
#include "framework/LiveObjects.h"

#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using VolmTime::VolmTimeFactory;

class NamedClocks : public ::testing::Test {
 protected:
  void SetUp() override {
    factory_ = new VolmTimeFactory;
    ASSERT_EQ(factory_->QueryInterface(VolmIds().timeFactoryAdvanced, advanced_.PutVoid()), 0u);
    ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(name_.c_str(), writer_.Put()), VOLM_S_OK);
    writer_->AddSample(1, 1.0, 1);
    writer_->Publish();
  }
  void TearDown() override {
    writer_.Reset();
    advanced_.Reset();
    factory_.Reset();
    EXPECT_EQ(GetLiveObjectCount(), liveBefore_);
  }
  CVolmPtr<IClock> Clock(const WideString& name) {
    CVolmPtr<IClock> clock;
    EXPECT_EQ(factory_->CreateSynchronizedClock(name.c_str(), clock.Put()), VOLM_S_OK);
    return clock;
  }
  static ICorrectionFunction* FunctionOf(IClock* clock) {
    CVolmPtr<ICorrectionFunction> correction;
    clock->GetCorrectionFunction(correction.Put());
    return correction.Get();
  }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
  WideString name_ = Wide(UniqueName("volm-named"));
  CVolmPtr<VolmTimeFactory> factory_;
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced_;
  CVolmPtr<IPiecewiseLinearCorrection> writer_;
};

TEST_F(NamedClocks, ClocksOfOneNameShareOneFunctionUntilTheLastLetsGo) {
  const std::uint32_t liveWithoutClocks = GetLiveObjectCount();
  {
    auto first = Clock(name_);
    auto second = Clock(name_);
    EXPECT_NE(first.Get(), second.Get());
    EXPECT_EQ(FunctionOf(first.Get()), FunctionOf(second.Get()));
    // A wide character stands for its low byte: U+0141 opens the store named with 'A'.
    CVolmPtr<IPiecewiseLinearCorrection> narrowWriter;
    ASSERT_EQ(advanced_->CreateSharedMemoryCorrection((name_ + VOLM_TEXT("A")).c_str(),
                                                      narrowWriter.Put()), VOLM_S_OK);
    EXPECT_NE(FunctionOf(Clock(name_ + static_cast<VolmWideChar>(0x0141)).Get()),
              FunctionOf(first.Get()));
  }
  EXPECT_EQ(GetLiveObjectCount(), liveWithoutClocks);
  EXPECT_EQ(factory_->CreateSynchronizedClock(name_.c_str(), nullptr), VOLM_S_OK);
  EXPECT_EQ(GetLiveObjectCount(), liveWithoutClocks);
  std::uint64_t time = 0;
  EXPECT_EQ(Clock(name_)->GetTime(&time), VOLM_S_OK);  // opened anew, and it works
}

TEST_F(NamedClocks, MissingStoreFailsAndLeavesTheOutParameter) {
  const std::string missing = UniqueName("volm-nobody");
  IClock* clock = reinterpret_cast<IClock*>(0x1);
  EXPECT_EQ(factory_->CreateSynchronizedClock(Wide(missing).c_str(), &clock), VOLM_E_FAIL);
  EXPECT_EQ(clock, reinterpret_cast<IClock*>(0x1));
  EXPECT_EQ(LastErrorText(factory_.Get()).rfind("The shared memory >" + missing + "< is not available (", 0), 0u);
  (void)Clock(name_);  // a success clears the factory's error
  EXPECT_EQ(LastErrorText(factory_.Get()), "<none>");
}

TEST_F(NamedClocks, AdvancedReaderReadsAndRefusesWritesBesideTheNamedClocksFunction) {
  auto clock = Clock(name_);
  writer_->AddSample(100, 2.0, 1000);
  writer_->Publish();
  CVolmPtr<IPiecewiseLinearCorrection> reader;
  ASSERT_EQ(advanced_->OpenSharedMemoryCorrection(name_.c_str(), reader.Put()), VOLM_S_OK);
  std::uint64_t time = 0;
  EXPECT_EQ(reader->TickToTime(150, &time), VOLM_S_OK);  // opening it changed nothing
  EXPECT_EQ(time, 1100u);
  EXPECT_EQ(reader->AddSample(200, 1.0, 2000), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(reader.Get()), "Can not write on reader.");
  CVolmPtr<ICorrectionFunction> view;
  reader->QueryInterface(VolmIds().correctionFunction, view.PutVoid());
  EXPECT_NE(view.Get(), FunctionOf(clock.Get()));
}

TEST_F(NamedClocks, FunctionOutlivingTheFactoryDoesNotCallIntoIt) {
  auto clock = Clock(name_);
  advanced_.Reset();
  factory_.Reset();
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  clock.Reset();  // destroying the function must not reach the destroyed factory
}

TEST_F(NamedClocks, ConcurrentCreateAndReleaseNeverHandsOutADyingFunction) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int round = 0; round < 400; ++round) {
        IClock* clock = nullptr;
        std::uint64_t time = 0;
        if (factory_->CreateSynchronizedClock(name_.c_str(), &clock) != VOLM_S_OK ||
            clock->GetTime(&time) != VOLM_S_OK) {
          ++failures;
        }
        if (clock != nullptr) clock->Release();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
}

}  // namespace
