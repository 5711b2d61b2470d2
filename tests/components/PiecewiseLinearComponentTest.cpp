// Piecewise-linear functions as component objects: result codes, error objects, views, and
// the named reader's ties to its factory.
#include "VolmTime/PiecewiseLinearCorrectionFunctionLocal.h"
#include "VolmTime/PiecewiseLinearCorrectionFunctionSharedMemory.h"
#include "framework/CVolmException.h"
#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

namespace {

using VolmTime::PiecewiseLinearCorrectionFunctionLocal;
using VolmTime::PiecewiseLinearCorrectionFunctionSharedMemory;
using PiecewiseLinearComponent = LeakChecked;

TEST_F(PiecewiseLinearComponent, FailuresKeepTheOutValueAndStoreTheCoreMessage) {
  CVolmPtr<PiecewiseLinearCorrectionFunctionLocal> function(
      new PiecewiseLinearCorrectionFunctionLocal);
  std::uint64_t time = 77;
  EXPECT_EQ(function->TickToTime(5, &time), VOLM_E_FAIL);
  EXPECT_EQ(time, 77u);
  EXPECT_EQ(LastErrorText(function.Get()), "Correction Function does not contain any segment.");
  EXPECT_EQ(function->AddSample(100, 2.0, 1000), VOLM_S_OK);
  EXPECT_EQ(function->Publish(), VOLM_S_OK);
  // The correction function view is a second sub-object that also hands out the core.
  CVolmPtr<ICorrectionFunction2> view;
  ASSERT_EQ(function->QueryInterface(VolmIds().correctionFunction, view.PutVoid()), VOLM_S_OK);
  EXPECT_NE(static_cast<void*>(view.Get()),
            static_cast<void*>(static_cast<IPiecewiseLinearCorrection*>(function.Get())));
  EXPECT_EQ(view->TickToTime(130, &time), VOLM_S_OK);
  EXPECT_EQ(time, 1060u);
  VolmTime::Core::CorrectionFunction64* core = nullptr;
  ASSERT_EQ(view->GetCoreFunction(&core), VOLM_S_OK);
  EXPECT_EQ(core->TickToTime(140), 1080u);
  EXPECT_EQ(LastErrorText(function.Get()), "Correction Function does not contain any segment.");
}

TEST_F(PiecewiseLinearComponent, NamedReaderRefusesWritesAndMissingStores) {
  const std::string name = UniqueName("volm-component");
  CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> writer(
      new PiecewiseLinearCorrectionFunctionSharedMemory(name, true));
  CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> reader(
      new PiecewiseLinearCorrectionFunctionSharedMemory(name, false));
  EXPECT_EQ(reader->Reset(), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(reader.Get()), "Can not write on reader.");
  try {
    PiecewiseLinearCorrectionFunctionSharedMemory missing(name + "-missing", false);
    ADD_FAILURE() << "opened a store nobody created";
  } catch (const CVolmException& failure) {
    EXPECT_EQ(failure.Code(), VOLM_E_FAIL);
    EXPECT_EQ(Utf8(failure.Message()).rfind("The shared memory >" + name + "-missing<", 0), 0u);
  }
}

class RecordingCallback final : public IVolmTimeFactoryCallback {
 public:
  RecordingCallback() = default;
  RecordingCallback(const RecordingCallback&) = delete;
  RecordingCallback& operator=(const RecordingCallback&) = delete;
  virtual ~RecordingCallback() = default;
  void OnCorrectionFunctionDestroyed(IVolmUnknown* function) override { calls.push_back(function); }
  std::vector<IVolmUnknown*> calls;
};

TEST_F(PiecewiseLinearComponent, BoundReaderTellsItsFactoryOnceAndCannotBeRevived) {
  const std::string name = UniqueName("volm-bound");
  CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> writer(
      new PiecewiseLinearCorrectionFunctionSharedMemory(name, true));
  RecordingCallback callback;
  auto* reader = new PiecewiseLinearCorrectionFunctionSharedMemory(name, false);
  EXPECT_FALSE(reader->TryAddRef());  // a count of 0 is a dying object
  reader->AddRef();
  EXPECT_TRUE(reader->TryAddRef());
  reader->Release();
  reader->BindToFactory(&callback);
  IVolmUnknown* identity = reader->PrimaryUnknown();
  reader->Release();
  EXPECT_EQ(callback.calls, std::vector<IVolmUnknown*>{identity});
  auto* unbound = new PiecewiseLinearCorrectionFunctionSharedMemory(name, false);
  unbound->AddRef();
  unbound->BindToFactory(&callback);
  unbound->UnbindFromFactory();
  unbound->Release();
  EXPECT_EQ(callback.calls.size(), 1u);
}

}  // namespace
