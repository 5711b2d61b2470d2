// SPDX-License-Identifier: MIT
// A mapping from counter ticks to time (100-ns units from the function's origin) and back.
#ifndef VOLMTIME_ICORRECTIONFUNCTION_H
#define VOLMTIME_ICORRECTIONFUNCTION_H

#include <VolmTime/IVolmUnknown.h>

class ICorrectionFunction : public IVolmUnknown {
 public:
  virtual VolmResult TickToTime(std::uint64_t tick, std::uint64_t* time) = 0;
  virtual VolmResult TimeToTick(const std::uint64_t& time, std::uint64_t* tick) = 0;
  // Time units per tick.
  virtual VolmResult GetRate(double* rate) = 0;

 protected:
  ~ICorrectionFunction() = default;
};

#endif  // VOLMTIME_ICORRECTIONFUNCTION_H
