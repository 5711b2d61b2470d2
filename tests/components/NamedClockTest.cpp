// Named synchronized clocks: one reader function per name and process, forgotten when its
// last holder lets go, and never handed out while it is being destroyed.
#include "VolmTime/Module/ModuleState.h"
#include "VolmTime/PiecewiseLinearCorrectionFunctionSharedMemory.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/CVolmPtr.h"
#include "framework/LiveObjects.h"

#include "tests/support/UniqueName.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using VolmTime::PiecewiseLinearCorrectionFunctionSharedMemory;
using VolmTime::VolmTimeFactory;

WideString Wide(const std::string& ascii) { return WidenBytes(ascii); }

class NamedClocks : public ::testing::Test {
 protected:
  void SetUp() override {
    factory_ = new VolmTimeFactory;
    CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
    ASSERT_EQ(factory_->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid()),
              VOLM_S_OK);
    ASSERT_EQ(advanced->CreateSharedMemoryCorrection(Wide(name_).c_str(), writer_.Put()),
              VOLM_S_OK);
    writer_->AddSample(1, 1.0, 1);
    writer_->Publish();
  }
  void TearDown() override {
    writer_.Reset();
    factory_.Reset();
    EXPECT_EQ(GetLiveObjectCount(), liveBefore_);
  }

  CVolmPtr<ICorrectionFunction> CorrectionOf(IClock* clock) {
    CVolmPtr<ICorrectionFunction> correction;
    EXPECT_EQ(clock->GetCorrectionFunction(correction.Put()), VOLM_S_OK);
    return correction;
  }

  std::uint32_t liveBefore_ = GetLiveObjectCount();
  std::string name_ = UniqueName("volm-named");
  CVolmPtr<VolmTimeFactory> factory_;
  CVolmPtr<IPiecewiseLinearCorrection> writer_;
};

TEST_F(NamedClocks, ClocksOfOneNameShareOneFunction) {
  CVolmPtr<IClock> first;
  CVolmPtr<IClock> second;
  ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), first.Put()), VOLM_S_OK);
  ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), second.Put()), VOLM_S_OK);
  EXPECT_NE(first.Get(), second.Get());
  EXPECT_EQ(CorrectionOf(first.Get()).Get(), CorrectionOf(second.Get()).Get());
  std::uint64_t time = 0;
  EXPECT_EQ(first->GetTime(&time), VOLM_S_OK);
  bool isSystem = true;
  first->IsSystemTime(&isSystem);
  EXPECT_FALSE(isSystem);
}

TEST_F(NamedClocks, NameIsForgottenWhenTheLastHolderLetsGo) {
  const std::uint32_t liveWithoutClocks = GetLiveObjectCount();
  {
    CVolmPtr<IClock> clock;
    ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), clock.Put()), VOLM_S_OK);
    EXPECT_GT(GetLiveObjectCount(), liveWithoutClocks);
  }
  // Clock and reader function are both gone, and so is the map entry: a new request opens
  // the store again and works.
  EXPECT_EQ(GetLiveObjectCount(), liveWithoutClocks);
  CVolmPtr<IClock> again;
  ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), again.Put()), VOLM_S_OK);
  std::uint64_t time = 0;
  EXPECT_EQ(again->GetTime(&time), VOLM_S_OK);
}

TEST_F(NamedClocks, NullOutParameterMakesAndDropsEverything) {
  const std::uint32_t live = GetLiveObjectCount();
  EXPECT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), nullptr), VOLM_S_OK);
  EXPECT_EQ(GetLiveObjectCount(), live);
}

TEST_F(NamedClocks, MissingStoreFailsAndLeavesTheOutParameter) {
  const std::string missing = UniqueName("volm-nobody");
  IClock* clock = reinterpret_cast<IClock*>(0x1);
  EXPECT_EQ(factory_->CreateSynchronizedClock(Wide(missing).c_str(), &clock), VOLM_E_FAIL);
  EXPECT_EQ(clock, reinterpret_cast<IClock*>(0x1));
  EXPECT_EQ(LastErrorText(factory_.Get())
                .rfind("The shared memory >" + missing + "< is not available (", 0),
            0u);
  // A success afterwards clears the factory's error.
  CVolmPtr<IClock> good;
  EXPECT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), good.Put()), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(factory_.Get()), "<none>");
}

TEST_F(NamedClocks, NamesDifferingInCaseAreDifferentStores) {
  const std::string upper = name_ + "X";
  const std::string lower = name_ + "x";
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
  factory_->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid());
  CVolmPtr<IPiecewiseLinearCorrection> upperWriter;
  ASSERT_EQ(advanced->CreateSharedMemoryCorrection(Wide(upper).c_str(), upperWriter.Put()),
            VOLM_S_OK);
  CVolmPtr<IClock> clock;
  EXPECT_EQ(factory_->CreateSynchronizedClock(Wide(lower).c_str(), clock.Put()), VOLM_E_FAIL);
  EXPECT_EQ(factory_->CreateSynchronizedClock(Wide(upper).c_str(), clock.Put()), VOLM_S_OK);
}

TEST_F(NamedClocks, WideNamesAreNarrowedToTheirLowBytes) {
  // U+0141 narrows to 0x41 ('A'): the clock opens the store named with 'A'.
  const std::string narrowName = name_ + "A";
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
  factory_->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid());
  CVolmPtr<IPiecewiseLinearCorrection> narrowWriter;
  ASSERT_EQ(advanced->CreateSharedMemoryCorrection(Wide(narrowName).c_str(), narrowWriter.Put()),
            VOLM_S_OK);
  WideString wideName = Wide(name_);
  wideName.push_back(static_cast<VolmWideChar>(0x0141));
  CVolmPtr<IClock> viaWide;
  CVolmPtr<IClock> viaNarrow;
  ASSERT_EQ(factory_->CreateSynchronizedClock(wideName.c_str(), viaWide.Put()), VOLM_S_OK);
  ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(narrowName).c_str(), viaNarrow.Put()),
            VOLM_S_OK);
  // Two map entries, two reader functions, one store.
  EXPECT_NE(CorrectionOf(viaWide.Get()).Get(), CorrectionOf(viaNarrow.Get()).Get());
}

TEST_F(NamedClocks, AdvancedReaderIsNotTheNamedClocksFunction) {
  CVolmPtr<IClock> clock;
  ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), clock.Put()), VOLM_S_OK);
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
  factory_->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid());
  CVolmPtr<IPiecewiseLinearCorrection> reader;
  ASSERT_EQ(advanced->OpenSharedMemoryCorrection(Wide(name_).c_str(), reader.Put()), VOLM_S_OK);
  CVolmPtr<ICorrectionFunction> readerView;
  reader->QueryInterface(VolmIds().correctionFunction, readerView.PutVoid());
  EXPECT_NE(readerView.Get(), CorrectionOf(clock.Get()).Get());
  reader.Reset();
  readerView.Reset();
  // Releasing the advanced reader leaves the named clock's function in place.
  CVolmPtr<IClock> second;
  ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), second.Put()), VOLM_S_OK);
  EXPECT_EQ(CorrectionOf(clock.Get()).Get(), CorrectionOf(second.Get()).Get());
}

TEST_F(NamedClocks, FunctionOutlivingTheFactoryDoesNotCallIntoIt) {
  CVolmPtr<IClock> clock;
  ASSERT_EQ(factory_->CreateSynchronizedClock(Wide(name_).c_str(), clock.Put()), VOLM_S_OK);
  factory_.Reset();  // the clock keeps its function; the factory is gone
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  clock.Reset();  // destroying the function must not reach the destroyed factory
}

TEST_F(NamedClocks, ConcurrentCreateAndReleaseNeverHandsOutADyingFunction) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 400;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      const WideString name = Wide(name_);
      for (int round = 0; round < kRounds; ++round) {
        IClock* clock = nullptr;
        if (factory_->CreateSynchronizedClock(name.c_str(), &clock) != VOLM_S_OK) {
          ++failures;
          continue;
        }
        std::uint64_t time = 0;
        if (clock->GetTime(&time) != VOLM_S_OK) ++failures;
        clock->Release();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
}

}  // namespace
