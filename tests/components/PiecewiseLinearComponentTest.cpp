// SPDX-License-Identifier: MIT
// Piecewise-linear functions as component objects: result codes, error objects and views.
#include "VolmTime/PiecewiseLinearCorrectionFunctionLocal.h"
#include "tests/support/Helpers.h"

namespace {

using VolmTime::PiecewiseLinearCorrectionFunctionLocal;
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
}

}  // namespace
