// SPDX-License-Identifier: MIT
// Arms a timer on VolmTime's relative clock and waits for it together with an event of the
// host's own, in one wait: first the timer fires, then the host's event (signalled by another
// thread) ends a wait before a far-off timer would.
#include "HostEvent.h"
#include "LoadVolmTime.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <thread>

namespace {

constexpr std::uint64_t kMillisecond = 10'000;  // in 100-ns units
constexpr std::uint32_t kTimerIndex = 0;
constexpr std::uint32_t kHostEventIndex = 1;

}  // namespace

int main() {
  try {
    const LoadedVolmTime volm;
    IVolmTimeFactory* factory = volm.Factory();

    Held<IClock> clock;
    Check(factory->GetRelativeClock(clock.Out()), factory, "GetRelativeClock");
    Held<IWaitableTimer> timer;
    Check(clock->CreateTimer(timer.Out()), clock.Get(), "CreateTimer");
    // A timer is made even when the system gives it no platform timer (a process out of
    // descriptors, say); only its handle tells. Ask at once, before trusting it.
    VolmHandle handles[2] = {};
    Check(timer->GetHandle(&handles[kTimerIndex]), timer.Get(), "GetHandle");
    Held<IWaitForEvents> waiter;
    Check(factory->CreateWaitForEvents(waiter.Out()), factory, "CreateWaitForEvents");

    HostEvent hostEvent;
    handles[kHostEventIndex] = hostEvent.Handle();

    // The timer, 20 ms from now on the clock.
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint32_t outcome = VOLM_WAIT_FAILED;
    Check(clock->GetTime(&start), clock.Get(), "GetTime");
    Check(timer->SetRelative(20 * kMillisecond), timer.Get(), "arming the timer");
    Check(waiter->Wait(handles, 2, false, 10'000, &outcome), waiter.Get(), "waiting");
    Check(clock->GetTime(&end), clock.Get(), "GetTime");
    std::printf("timer armed for 20 ms: wait ended by %s after %.3f ms\n",
                outcome == VOLM_WAIT_OBJECT_0 + kTimerIndex ? "the timer" : "something else",
                static_cast<double>(end - start) / kMillisecond);
    if (outcome != VOLM_WAIT_OBJECT_0 + kTimerIndex) return 1;

    // The timer 10 s away; the host's event, signalled after 20 ms, comes first.
    Check(timer->SetRelative(10'000 * kMillisecond), timer.Get(), "arming the timer");
    Check(clock->GetTime(&start), clock.Get(), "GetTime");
    std::thread signaller([&hostEvent] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      hostEvent.Signal();
    });
    const VolmResult waited = waiter->Wait(handles, 2, false, 10'000, &outcome);
    signaller.join();
    Check(waited, waiter.Get(), "waiting");
    Check(clock->GetTime(&end), clock.Get(), "GetTime");
    Check(timer->Cancel(), timer.Get(), "Cancel");
    std::printf(
        "timer armed for 10 s, host event after 20 ms: wait ended by %s after %.3f ms\n",
        outcome == VOLM_WAIT_OBJECT_0 + kHostEventIndex ? "the host's event" : "something else",
        static_cast<double>(end - start) / kMillisecond);
    return outcome == VOLM_WAIT_OBJECT_0 + kHostEventIndex ? 0 : 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "timer_and_host_event: %s\n", failure.what());
    return 1;
  }
}
