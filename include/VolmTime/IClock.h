// SPDX-License-Identifier: MIT
// A clock: a counter read through a correction function, or the system time.
#ifndef VOLMTIME_ICLOCK_H
#define VOLMTIME_ICLOCK_H

#include <VolmTime/ICorrectionFunction.h>
#include <VolmTime/IVolmUnknown.h>
#include <VolmTime/IWaitableTimer.h>

class IClock : public IVolmUnknown {
 public:
  virtual VolmResult CreateTimer(IWaitableTimer** timer) = 0;
  virtual VolmResult SleepTime(const std::uint64_t& duration) = 0;
  // The current time in 100-ns units from the clock's origin.
  virtual VolmResult GetTime(std::uint64_t* time) = 0;
  virtual VolmResult IsSystemTime(bool* isSystemTime) = 0;
  virtual VolmResult GetCorrectionFunction(ICorrectionFunction** function) = 0;
  // Always VOLM_S_OK; *valid tells whether *time holds the current time.
  virtual VolmResult TryGetTime(bool* valid, std::uint64_t* time) = 0;

 protected:
  ~IClock() = default;
};

#endif  // VOLMTIME_ICLOCK_H
