// SPDX-License-Identifier: MIT
#include "TimeBase.h"

#include "Arguments.h"
#include "Failure.h"
#include "Text.h"

#include <algorithm>
#include <chrono>

namespace py = pybind11;

namespace VolmPython {

TimeBase::TimeBase(const std::shared_ptr<Library>& library)
    : Object(library), factory_(library->Factory()) {
  Check(factory_->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced_.OutVoid()), factory_.Get(),
        "asking the factory for its advanced interface");
}

void TimeBase::Close() {
  advanced_.Reset();
  factory_.Reset();
}

std::unique_ptr<Clock> TimeBase::RelativeClock() const {
  IVolmTimeFactory* factory = Factory();
  Ref<IClock> clock;
  Check(factory->GetRelativeClock(clock.Out()), factory, "GetRelativeClock");
  return std::make_unique<Clock>(TheLibrary(), std::move(clock), "relative");
}

std::unique_ptr<Clock> TimeBase::SystemClock() const {
  IVolmTimeFactory* factory = Factory();
  Ref<IClock> clock;
  Check(factory->GetSystemClock(clock.Out()), factory, "GetSystemClock");
  return std::make_unique<Clock>(TheLibrary(), std::move(clock), "system");
}

std::unique_ptr<Clock> TimeBase::NamedClock(const py::str& name) const {
  IVolmTimeFactory* factory = Factory();
  const std::u16string wide = ToUtf16(name);
  Ref<IClock> clock;
  Check(factory->CreateSynchronizedClock(wide.c_str(), clock.Out()), factory,
        "opening the named clock \"" + name.cast<std::string>() + "\"");
  return std::make_unique<Clock>(TheLibrary(), std::move(clock), "named");
}

std::unique_ptr<Counter> TimeBase::GetCounter() const {
  IVolmTimeFactory* factory = Factory();
  Ref<IHighResolutionCounter> counter;
  Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
  return std::make_unique<Counter>(TheLibrary(), std::move(counter));
}

bool TimeBase::CounterAvailable() const {
  IVolmTimeFactory* factory = Factory();
  bool available = false;
  Check(factory->IsCounterAvailable(&available), factory, "IsCounterAvailable");
  return available;
}

std::unique_ptr<Correction> TimeBase::CreateLocalCorrection() const {
  IVolmTimeFactoryAdvanced* advanced = Advanced();
  Ref<IPiecewiseLinearCorrection> function;
  Check(advanced->CreateLocalCorrection(function.Out()), advanced, "CreateLocalCorrection");
  return std::make_unique<Correction>(TheLibrary(), std::move(function));
}

std::unique_ptr<Correction> TimeBase::CreateSharedCorrection(const py::str& name) const {
  IVolmTimeFactoryAdvanced* advanced = Advanced();
  const std::u16string wide = ToUtf16(name);
  Ref<IPiecewiseLinearCorrection> function;
  Check(advanced->CreateSharedMemoryCorrection(wide.c_str(), function.Out()), advanced,
        "creating the shared correction function \"" + name.cast<std::string>() + "\"");
  return std::make_unique<Correction>(TheLibrary(), std::move(function));
}

std::unique_ptr<Correction> TimeBase::OpenSharedCorrection(const py::str& name) const {
  IVolmTimeFactoryAdvanced* advanced = Advanced();
  const std::u16string wide = ToUtf16(name);
  Ref<IPiecewiseLinearCorrection> function;
  Check(advanced->OpenSharedMemoryCorrection(wide.c_str(), function.Out()), advanced,
        "opening the shared correction function \"" + name.cast<std::string>() + "\"");
  return std::make_unique<Correction>(TheLibrary(), std::move(function));
}

std::optional<std::uint32_t> TimeBase::WaitForEvents(const py::object& handles, bool waitAll,
                                                     const py::object& timeout) const {
  const std::vector<VolmHandle> native = Handles(handles);
  const std::uint32_t timeoutMs = TimeoutMs(timeout);
  IVolmTimeFactory* factory = Factory();
  Ref<IWaitForEvents> waiter;
  Check(factory->CreateWaitForEvents(waiter.Out()), factory, "CreateWaitForEvents");
  const auto count = static_cast<std::uint32_t>(native.size());
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    std::uint32_t sliceMs = kSliceMs;
    if (timeoutMs != VOLM_INFINITE) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      sliceMs = static_cast<std::uint32_t>(
          std::clamp<std::int64_t>(left.count(), 0, static_cast<std::int64_t>(kSliceMs)));
    }
    std::uint32_t outcome = VOLM_WAIT_FAILED;
    VolmResult result = VOLM_S_OK;
    {
      const py::gil_scoped_release unlocked;
      result = waiter->Wait(native.data(), count, waitAll, sliceMs, &outcome);
    }
    Check(result, waiter.Get(), "waiting for events");
    if (outcome < VOLM_WAIT_OBJECT_0 + count) return outcome - VOLM_WAIT_OBJECT_0;
    if (outcome >= VOLM_WAIT_ABANDONED_0 && outcome < VOLM_WAIT_ABANDONED_0 + count)
      return outcome - VOLM_WAIT_ABANDONED_0;
    if (outcome != VOLM_WAIT_TIMEOUT)
      throw Failure(VOLM_E_FAIL, "waiting for events", u"the wait failed");
    if (sliceMs < kSliceMs) return std::nullopt;
    CheckSignals();
  }
}

}  // namespace VolmPython
