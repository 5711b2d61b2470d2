// SPDX-License-Identifier: MIT
// Constructors of components that are given the components they use refuse a missing one
// with a clear exception instead of keeping a null pointer to call later.
#ifndef FRAMEWORK_REQUIREDPART_H
#define FRAMEWORK_REQUIREDPART_H

#include "framework/CVolmException.h"

// Returns `part`; throws CVolmException(VOLM_E_POINTER, message) when it is null.
template <typename Part>
Part* RequiredPart(Part* part, const VolmWideChar* message) {
  if (part == nullptr) throw CVolmException(VOLM_E_POINTER, message);
  return part;
}

#endif  // FRAMEWORK_REQUIREDPART_H
