// SPDX-License-Identifier: MIT
// The module's own view of a correction function component: the public interface plus its
// core function.
#ifndef VOLMTIME_ICORRECTIONFUNCTION2_H
#define VOLMTIME_ICORRECTIONFUNCTION2_H

#include <VolmTime/ICorrectionFunction.h>

#include "VolmTime/Core/ICorrectionFunction.h"
#include "framework/VolmIdentifiers.h"
#include "framework/VolmInterfaceIds.h"

#include <cstdint>

namespace VolmTime::Core {
using CorrectionFunction64 = ICorrectionFunction<std::uint64_t, std::uint64_t>;
}  // namespace VolmTime::Core

class ICorrectionFunction2 : public ICorrectionFunction {
 public:
  virtual ~ICorrectionFunction2() = default;
  // The core function, without a reference: valid while the component lives.
  virtual VolmResult GetCoreFunction(VolmTime::Core::CorrectionFunction64** core) = 0;
};

#endif  // VOLMTIME_ICORRECTIONFUNCTION2_H
