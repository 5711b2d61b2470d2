// SPDX-License-Identifier: MIT
// Turns the failure code of a call on an inner component object into a CVolmException that
// carries the inner object's error, or a composed text naming the call site.
#ifndef FRAMEWORK_THROWIFFAILED_H
#define FRAMEWORK_THROWIFFAILED_H

#include <VolmTime/IVolmUnknown.h>

#include "framework/VolmIdentifiers.h"

#include <cstdint>

// Where a call on an inner object stands in the module's sources. Error texts cite it, so
// call sites keep it as a named constant.
struct VolmCallSite {
  const char* sourceFile;
  std::int32_t line;
};

// Throws CVolmException made from the last error of `errorSource` (may be null) or, when it
// has none, from `result` and the text composed for `site`.
[[noreturn]] void ThrowFailure(IGetVolmError* errorSource, VolmResult result,
                               const VolmCallSite& site);

// Returns when `result` denotes success; otherwise throws as ThrowFailure with the inner
// object's IGetVolmError.
template <typename Interface>
void ThrowIfFailed(Interface* inner, VolmResult result, const VolmCallSite& site) {
  if (VolmSucceeded(result)) return;
  void* errorSource = nullptr;
  if (inner == nullptr || VolmFailed(inner->QueryInterface(VolmIds().getVolmError, &errorSource))) {
    errorSource = nullptr;
  }
  ThrowFailure(static_cast<IGetVolmError*>(errorSource), result, site);
}

#endif  // FRAMEWORK_THROWIFFAILED_H
