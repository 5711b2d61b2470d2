// SPDX-License-Identifier: MIT
// The boundary of a component operation that calls other component objects: no exception
// leaves it, a failure becomes the object's last error and the operation's result, and
// success clears the last error.
#ifndef FRAMEWORK_COMPONENTBOUNDARY_H
#define FRAMEWORK_COMPONENTBOUNDARY_H

#include "framework/CVolmError.h"
#include "framework/CVolmException.h"

#include <utility>

// Stores a new error object as `object`'s last error and returns its code. If even the
// error object cannot be made, the code is returned without one.
template <typename Object>
VolmResult StoreNewError(Object& object, VolmResult code, WideStringView text) noexcept {
  try {
    return object.SetError(new CVolmError(code, text));
  } catch (...) {
    return code;
  }
}

inline constexpr VolmWideChar kUnknownExceptionText[] = VOLM_TEXT("Unknown exception");

// Runs `body`; returns VOLM_S_OK (last error cleared), the code of a CVolmException (stored
// as the last error) or VOLM_E_FAIL with "Unknown exception" for anything else.
template <typename Object, typename Body>
VolmResult ComponentBoundary(Object& object, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
    return object.SetError(nullptr);
  } catch (const CVolmException& failure) {
    return StoreNewError(object, failure.Code(), failure.Message());
  } catch (...) {
    return StoreNewError(object, VOLM_E_FAIL, kUnknownExceptionText);
  }
}

#endif  // FRAMEWORK_COMPONENTBOUNDARY_H
