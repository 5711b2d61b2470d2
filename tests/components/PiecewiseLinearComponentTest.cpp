// Piecewise-linear functions as component objects: result codes, error objects, views.
#include "VolmTime/PiecewiseLinearCorrectionFunctionLocal.h"
#include "VolmTime/PiecewiseLinearCorrectionFunctionSharedMemory.h"
#include "framework/CVolmException.h"
#include "framework/CVolmPtr.h"
#include "framework/LiveObjects.h"

#include "tests/support/UniqueName.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using VolmTime::PiecewiseLinearCorrectionFunctionLocal;
using VolmTime::PiecewiseLinearCorrectionFunctionSharedMemory;

class PiecewiseLinearComponent : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(GetLiveObjectCount(), liveBefore_); }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
};

TEST_F(PiecewiseLinearComponent, FailureLeavesTheOutValueAndStoresTheCoreMessage) {
  CVolmPtr<PiecewiseLinearCorrectionFunctionLocal> function(
      new PiecewiseLinearCorrectionFunctionLocal);
  std::uint64_t time = 77;
  EXPECT_EQ(function->TickToTime(5, &time), VOLM_E_FAIL);
  EXPECT_EQ(time, 77u);
  EXPECT_EQ(LastErrorText(function.Get()), "Correction Function does not contain any segment.");
  // A later success keeps the earlier error.
  EXPECT_EQ(function->AddSample(100, 1.0, 1000), VOLM_S_OK);
  EXPECT_EQ(function->Publish(), VOLM_S_OK);
  EXPECT_EQ(function->TickToTime(150, &time), VOLM_S_OK);
  EXPECT_EQ(time, 1050u);
  EXPECT_EQ(LastErrorText(function.Get()), "Correction Function does not contain any segment.");
}

TEST_F(PiecewiseLinearComponent, CorrectionFunctionViewCarriesTheCore) {
  CVolmPtr<PiecewiseLinearCorrectionFunctionLocal> function(
      new PiecewiseLinearCorrectionFunctionLocal);
  function->AddSample(100, 2.0, 1000);
  function->Publish();
  void* asCorrection = nullptr;
  ASSERT_EQ(function->QueryInterface(VolmIds().correctionFunction, &asCorrection), VOLM_S_OK);
  CVolmPtr<ICorrectionFunction2> view;
  view.Attach(static_cast<ICorrectionFunction2*>(asCorrection));
  // Not the primary pointer: the view that also hands out the core.
  EXPECT_NE(asCorrection,
            static_cast<void*>(static_cast<IPiecewiseLinearCorrection*>(function.Get())));
  std::uint64_t viaView = 0;
  std::uint64_t viaPrimary = 0;
  EXPECT_EQ(view->TickToTime(130, &viaView), VOLM_S_OK);
  EXPECT_EQ(static_cast<IPiecewiseLinearCorrection*>(function.Get())->TickToTime(130, &viaPrimary),
            VOLM_S_OK);
  EXPECT_EQ(viaView, 1060u);
  EXPECT_EQ(viaView, viaPrimary);
  VolmTime::Core::CorrectionFunction64* core = nullptr;
  ASSERT_EQ(view->GetCoreFunction(&core), VOLM_S_OK);
  ASSERT_NE(core, nullptr);
  EXPECT_EQ(core->TickToTime(130), 1060u);
  // Identity is the same through both views.
  void* identityFromView = nullptr;
  view->QueryInterface(VolmIds().volmUnknown, &identityFromView);
  EXPECT_EQ(identityFromView, static_cast<void*>(function->PrimaryUnknown()));
  static_cast<IVolmUnknown*>(identityFromView)->Release();
}

TEST_F(PiecewiseLinearComponent, NullOutPointersAreRefused) {
  CVolmPtr<PiecewiseLinearCorrectionFunctionLocal> function(
      new PiecewiseLinearCorrectionFunctionLocal);
  EXPECT_EQ(function->GetRate(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(function->GetSampleCount(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(function->TickToTime(1, nullptr), VOLM_E_POINTER);
  EXPECT_EQ(function->GetCoreFunction(nullptr), VOLM_E_POINTER);
}

TEST_F(PiecewiseLinearComponent, ReaderRefusesWritesWithTheirMessages) {
  const std::string name = UniqueName("volm-component");
  CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> writer(
      new PiecewiseLinearCorrectionFunctionSharedMemory(name, true));
  writer->AddSample(100, 1.0, 1000);
  writer->Publish();
  CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> reader(
      new PiecewiseLinearCorrectionFunctionSharedMemory(name, false));
  EXPECT_EQ(reader->Reset(), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(reader.Get()), "Can not write on reader.");
  std::uint64_t count = 0;
  EXPECT_EQ(reader->GetSampleCount(&count), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(reader.Get()), "Only defined on writer.");
  // The shared store is untouched by the refused reset.
  std::uint64_t time = 0;
  EXPECT_EQ(reader->TickToTime(110, &time), VOLM_S_OK);
  EXPECT_EQ(time, 1010u);
}

TEST_F(PiecewiseLinearComponent, MissingStoreBecomesAVolmExceptionWithTheCoreMessage) {
  const std::string name = UniqueName("volm-missing");
  try {
    PiecewiseLinearCorrectionFunctionSharedMemory reader(name, false);
    FAIL() << "opened a store nobody created";
  } catch (const CVolmException& failure) {
    EXPECT_EQ(failure.Code(), VOLM_E_FAIL);
    EXPECT_EQ(EncodeUtf8PerUnit(failure.Message())
                  .rfind("The shared memory >" + name + "< is not available (", 0),
              0u);
  }
}

class RecordingCallback final : public IVolmTimeFactoryCallback {
 public:
  RecordingCallback() = default;
  RecordingCallback(const RecordingCallback&) = delete;
  RecordingCallback& operator=(const RecordingCallback&) = delete;
  virtual ~RecordingCallback() = default;
  void OnCorrectionFunctionDestroyed(IVolmUnknown* function) override {
    ++calls;
    last = function;
  }
  int calls = 0;
  IVolmUnknown* last = nullptr;
};

TEST_F(PiecewiseLinearComponent, BoundReaderTellsItsFactoryOnceWhenDestroyed) {
  const std::string name = UniqueName("volm-bound");
  CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> writer(
      new PiecewiseLinearCorrectionFunctionSharedMemory(name, true));
  RecordingCallback callback;
  auto* reader = new PiecewiseLinearCorrectionFunctionSharedMemory(name, false);
  reader->AddRef();
  reader->BindToFactory(&callback);
  IVolmUnknown* identity = reader->PrimaryUnknown();
  reader->Release();
  EXPECT_EQ(callback.calls, 1);
  EXPECT_EQ(callback.last, identity);

  // Unbound readers, and readers unbound again, call nothing.
  CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> unbound(
      new PiecewiseLinearCorrectionFunctionSharedMemory(name, false));
  unbound.Reset();
  auto* unboundAgain = new PiecewiseLinearCorrectionFunctionSharedMemory(name, false);
  unboundAgain->AddRef();
  unboundAgain->BindToFactory(&callback);
  unboundAgain->UnbindFromFactory();
  unboundAgain->Release();
  EXPECT_EQ(callback.calls, 1);
}

TEST_F(PiecewiseLinearComponent, DyingFunctionCannotBeRevived) {
  auto* function =
      new PiecewiseLinearCorrectionFunctionSharedMemory(UniqueName("volm-revive"), true);
  function->AddRef();
  EXPECT_TRUE(function->TryAddRef());
  EXPECT_EQ(function->Release(), 1u);
  EXPECT_EQ(function->Release(), 0u);
  // The object is gone; a fresh one with count 0 refuses too.
  auto* fresh = new PiecewiseLinearCorrectionFunctionSharedMemory(UniqueName("volm-revive"), true);
  EXPECT_FALSE(fresh->TryAddRef());
  fresh->AddRef();
  fresh->Release();
}

}  // namespace
