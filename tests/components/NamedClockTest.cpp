// SPDX-License-Identifier: MIT
// Named synchronized clocks: one reader function per name and process, forgotten when its
// last holder lets go. Creating and releasing them from many threads is left to the stress
// suite.
#include "VolmTime/VolmTimeFactory.h"
#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

namespace {

using VolmTime::VolmTimeFactory;

class NamedClocks : public LeakChecked {
 protected:
  void SetUp() override {
    factory_ = new VolmTimeFactory;
    ASSERT_EQ(factory_->QueryInterface(VolmIds().timeFactoryAdvanced, advanced_.PutVoid()),
              VOLM_S_OK);
    writer_ = Writer(name_);
  }
  CVolmPtr<IPiecewiseLinearCorrection> Writer(const std::string& name) {
    CVolmPtr<IPiecewiseLinearCorrection> writer;
    EXPECT_EQ(advanced_->CreateSharedMemoryCorrection(WidenBytes(name).c_str(), writer.Put()),
              VOLM_S_OK);
    writer->AddSample(1, 1.0, 1);
    writer->Publish();
    return writer;
  }
  CVolmPtr<IClock> Clock(const WideString& name, VolmResult expected = VOLM_S_OK) {
    CVolmPtr<IClock> clock;
    EXPECT_EQ(factory_->CreateSynchronizedClock(name.c_str(), clock.Put()), expected);
    return clock;
  }
  static ICorrectionFunction* CorrectionOf(IClock* clock) {
    CVolmPtr<ICorrectionFunction> correction;
    EXPECT_EQ(clock->GetCorrectionFunction(correction.Put()), VOLM_S_OK);
    return correction.Get();  // still held by the clock
  }
  std::string name_ = UniqueName("volm-named");
  WideString wide_ = WidenBytes(name_);
  CVolmPtr<VolmTimeFactory> factory_;
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced_;
  CVolmPtr<IPiecewiseLinearCorrection> writer_;
};

TEST_F(NamedClocks, ClocksOfOneNameShareOneFunctionUntilTheLastLetsGo) {
  const std::uint32_t liveWithoutClocks = GetLiveObjectCount();
  {
    CVolmPtr<IClock> first = Clock(wide_);
    CVolmPtr<IClock> second = Clock(wide_);
    EXPECT_NE(first.Get(), second.Get());
    EXPECT_EQ(CorrectionOf(first.Get()), CorrectionOf(second.Get()));
    std::uint64_t time = 0;
    EXPECT_EQ(first->GetTime(&time), VOLM_S_OK);
  }
  EXPECT_EQ(GetLiveObjectCount(), liveWithoutClocks);
  EXPECT_EQ(factory_->CreateSynchronizedClock(wide_.c_str(), nullptr), VOLM_S_OK);
  EXPECT_EQ(GetLiveObjectCount(), liveWithoutClocks);
  std::uint64_t time = 0;
  EXPECT_EQ(Clock(wide_)->GetTime(&time), VOLM_S_OK);  // the name is opened again
}

TEST_F(NamedClocks, NamesAreNarrowedToTheirLowBytesAndCaseMatters) {
  CVolmPtr<IPiecewiseLinearCorrection> upper = Writer(name_ + "A");
  WideString wideName = wide_;
  wideName.push_back(static_cast<VolmWideChar>(0x0141));  // narrows to 'A'
  CVolmPtr<IClock> viaWide = Clock(wideName);
  CVolmPtr<IClock> viaNarrow = Clock(WidenBytes(name_ + "A"));
  // Two map entries, two reader functions, one store.
  EXPECT_NE(CorrectionOf(viaWide.Get()), CorrectionOf(viaNarrow.Get()));
  IClock* missing = reinterpret_cast<IClock*>(0x1);
  EXPECT_EQ(factory_->CreateSynchronizedClock(WidenBytes(name_ + "a").c_str(), &missing),
            VOLM_E_FAIL);
  EXPECT_EQ(missing, reinterpret_cast<IClock*>(0x1));
  EXPECT_EQ(LastErrorText(factory_.Get()).rfind("The shared memory >" + name_ + "a<", 0), 0u);
}

TEST_F(NamedClocks, FunctionOutlivingTheFactoryDoesNotCallIntoIt) {
  CVolmPtr<IClock> clock = Clock(wide_);
  factory_.Reset();
  advanced_.Reset();
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  clock.Reset();  // destroying the function must not reach the destroyed factory
}

}  // namespace
