// SPDX-License-Identifier: MIT
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"

#include <limits>

namespace VolmTime::Core {

template <typename Tick, typename Time>
PiecewiseLinearCorrectionFunctionLocal<Tick, Time>::PiecewiseLinearCorrectionFunctionLocal()
    : PiecewiseLinearCorrectionFunction<Tick, Time>(true), ownedStore_(new SampleStore) {
  SampleStore& store = *ownedStore_;
  store.header = SampleStoreHeader{};
  const CorrectionSample unused{0, 0, std::numeric_limits<double>::infinity()};
  for (CorrectionSample& slot : store.latestRing) slot = unused;
  for (CorrectionSample& slot : store.history) slot = unused;
  this->AttachStore(&store);
  this->Reset();
}

template class PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core
