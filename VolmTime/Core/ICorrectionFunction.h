// SPDX-License-Identifier: MIT
// The core view of a correction function: plain values, no reference counting.
#ifndef VOLMTIME_CORE_ICORRECTIONFUNCTION_H
#define VOLMTIME_CORE_ICORRECTIONFUNCTION_H

namespace VolmTime::Core {

template <typename Tick, typename Time>
class ICorrectionFunction {
 public:
  virtual ~ICorrectionFunction() = default;
  [[nodiscard]] virtual Time TickToTime(Tick tick) const = 0;
  [[nodiscard]] virtual Tick TimeToTick(Time time) const = 0;
  [[nodiscard]] virtual double GetRate() const = 0;
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_ICORRECTIONFUNCTION_H
