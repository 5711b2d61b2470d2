// SPDX-License-Identifier: MIT
// Compile-time facts about interfaces that the implementation templates need: the
// identifier that names an interface, and which sub-object is an object's primary
// IVolmUnknown.
#ifndef FRAMEWORK_VOLMINTERFACETRAITS_H
#define FRAMEWORK_VOLMINTERFACETRAITS_H

#include <VolmTime/IVolmUnknown.h>

// Specialised for every interface answered by identifier in framework/VolmInterfaceIds.h.
template <typename I>
struct VolmInterfaceId;

// The IVolmUnknown at the head of an object whose first base is I. An interface with two
// IVolmUnknown bases specialises this to name the first one.
template <typename I>
struct VolmPrimaryUnknown {
  static IVolmUnknown* Of(I* object) noexcept { return object; }
};

#endif  // FRAMEWORK_VOLMINTERFACETRAITS_H
