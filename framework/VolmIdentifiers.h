// SPDX-License-Identifier: MIT
// The identifiers the module knows, built from their text form during static
// initialisation, before any entry point can run.
#ifndef FRAMEWORK_VOLMIDENTIFIERS_H
#define FRAMEWORK_VOLMIDENTIFIERS_H

#include <VolmTime/VolmTypes.h>

#include <string_view>

struct VolmIdentifierTable {
  VolmId volmUnknown;
  VolmId getVolmError;
  VolmId timeFactoryClass;
  VolmId timeFactory;
  VolmId timeFactoryAdvanced;
  VolmId highResolutionCounter;
  VolmId correctionFunction;
  VolmId piecewiseLinearCorrection;
  VolmId clock;
  VolmId waitForEvents;
  VolmId waitableTickTimer;
  VolmId waitableTimer;
  VolmId volmError;
  VolmId volmWideCharString;
  // Reserved by the framework; parsed like the others, compared against by nothing.
  VolmId frameworkReserved1;
  VolmId frameworkReserved2;
};

// Parses "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" (either case) into its 16 bytes in text
// order. Throws std::runtime_error for text that is not an identifier.
VolmId ParseVolmId(std::string_view text);

// The table, complete before main() and before any entry point of the module runs.
const VolmIdentifierTable& VolmIds() noexcept;

#endif  // FRAMEWORK_VOLMIDENTIFIERS_H
