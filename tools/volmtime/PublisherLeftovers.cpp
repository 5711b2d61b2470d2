// SPDX-License-Identifier: MIT
#include "PublisherLeftovers.h"

#include "WriterLock.h"

void ClearPublisherLeftovers(const Library& library, const std::string& name) {
  WriterLock::ClearLeftovers(name);
  // The library's next opener removes a store whose holders all ended; one held stays.
  Ref<IPiecewiseLinearCorrection> sweep;
  (void)library.Advanced()->OpenSharedMemoryCorrection(Widen(name).c_str(), sweep.Out());
}

ChildPublisherGuard::~ChildPublisherGuard() {
  constexpr std::uint32_t kPatienceMs = 5'000;
  if (!publisher_.Wait(0)) {
    publisher_.Kill();
    publisher_.Wait(kPatienceMs);
  }
  try {
    ClearPublisherLeftovers(library_, name_);
  } catch (...) {
    // The private folder cannot be used: the publisher could not have kept files there.
  }
}
