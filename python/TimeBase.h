// SPDX-License-Identifier: MIT
// volmtime.TimeBase: the library's time factory, the one object a script opens and from
// which every other comes.
#ifndef PYTHON_TIMEBASE_H
#define PYTHON_TIMEBASE_H

#include "Clock.h"
#include "Correction.h"
#include "Counter.h"
#include "Object.h"

#include <optional>

namespace VolmPython {

class TimeBase : public Object {
 public:
  explicit TimeBase(const std::shared_ptr<Library>& library);
  ~TimeBase() override { Close(); }
  void Close() override;
  [[nodiscard]] bool Closed() const override { return factory_.Get() == nullptr; }
  [[nodiscard]] std::string LibraryFile() const { return TheLibrary()->File(); }
  [[nodiscard]] bool CanUnload() const { return TheLibrary()->CanUnload(); }

  [[nodiscard]] std::unique_ptr<Clock> RelativeClock() const;
  [[nodiscard]] std::unique_ptr<Clock> SystemClock() const;
  [[nodiscard]] std::unique_ptr<Clock> NamedClock(const pybind11::str& name) const;
  [[nodiscard]] std::unique_ptr<Counter> GetCounter() const;
  [[nodiscard]] bool CounterAvailable() const;
  [[nodiscard]] std::unique_ptr<Correction> CreateLocalCorrection() const;
  [[nodiscard]] std::unique_ptr<Correction> CreateSharedCorrection(const pybind11::str& name) const;
  [[nodiscard]] std::unique_ptr<Correction> OpenSharedCorrection(const pybind11::str& name) const;

  // The index of the handle that ended the wait (0 when all were waited for), or None after
  // the timeout. Waits in slices so that Ctrl-C ends it.
  [[nodiscard]] std::optional<std::uint32_t> WaitForEvents(const pybind11::object& handles,
                                                           bool waitAll,
                                                           const pybind11::object& timeout) const;

 private:
  [[nodiscard]] IVolmTimeFactory* Factory() const { return Open(factory_, "time base"); }
  [[nodiscard]] IVolmTimeFactoryAdvanced* Advanced() const { return Open(advanced_, "time base"); }
  Ref<IVolmTimeFactory> factory_;
  Ref<IVolmTimeFactoryAdvanced> advanced_;
};

}  // namespace VolmPython

#endif  // PYTHON_TIMEBASE_H
