// SPDX-License-Identifier: MIT
// A high-resolution tick counter.
#ifndef VOLMTIME_IHIGHRESOLUTIONCOUNTER_H
#define VOLMTIME_IHIGHRESOLUTIONCOUNTER_H

#include <VolmTime/IVolmUnknown.h>
#include <VolmTime/IWaitableTickTimer.h>

class IHighResolutionCounter : public IVolmUnknown {
 public:
  virtual VolmResult GetName(IVolmWideCharString** name) = 0;
  virtual VolmResult CreateTickTimer(IWaitableTickTimer** timer) = 0;
  // Blocks until at least `ticks` ticks have passed: on a platform timer set to fire 200 us to
  // 1 ms early (the more, the later it has been waking this process's recent sleeps), then
  // yielding between readings of the counter for whatever is left.
  virtual VolmResult SleepTick(std::uint64_t ticks) = 0;
  virtual VolmResult GetFrequency(std::uint64_t* ticksPerSecond) = 0;
  virtual VolmResult GetTick(std::uint64_t* tick) = 0;
  virtual VolmResult IsAvailable(bool* available) = 0;
  virtual VolmResult HasTickTimer(bool* hasTickTimer) = 0;
  // Yields until more than `ticks` ticks have passed.
  virtual VolmResult SpinTick(std::uint64_t ticks) = 0;

 protected:
  ~IHighResolutionCounter() = default;
};

#endif  // VOLMTIME_IHIGHRESOLUTIONCOUNTER_H
