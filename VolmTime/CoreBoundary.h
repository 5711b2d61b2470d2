// SPDX-License-Identifier: MIT
// The boundary of a component operation that calls a core object: a core exception becomes
// VOLM_E_FAIL with the core's message as the last error; success leaves the last error alone.
#ifndef VOLMTIME_COREBOUNDARY_H
#define VOLMTIME_COREBOUNDARY_H

#include "VolmTime/Core/CException.h"
#include "framework/ComponentBoundary.h"

#include <utility>

namespace VolmTime {

// Runs `body`; returns VOLM_S_OK, or VOLM_E_FAIL with the error stored. Exceptions other
// than the core's (an allocation failure) are reported as "Unknown exception".
template <typename Object, typename Body>
VolmResult CoreBoundary(Object& object, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
    return VOLM_S_OK;
  } catch (const Core::CException& failure) {
    return StoreNewError(object, VOLM_E_FAIL, failure.Message());
  } catch (...) {
    return StoreNewError(object, VOLM_E_FAIL, kUnknownExceptionText);
  }
}

// A core query under the core boundary: the value is written to `out` only when the query
// succeeded; a null `out` is refused with VOLM_E_POINTER before the core is asked.
template <typename Object, typename Value, typename Query>
VolmResult ReadThroughCore(Object& object, Value* out, Query&& query) noexcept {
  if (out == nullptr) return VOLM_E_POINTER;
  Value value{};
  const VolmResult result = CoreBoundary(object, [&] { value = query(); });
  if (VolmSucceeded(result)) *out = value;
  return result;
}

}  // namespace VolmTime

#endif  // VOLMTIME_COREBOUNDARY_H
