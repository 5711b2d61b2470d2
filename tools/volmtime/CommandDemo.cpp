// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Library.h"
#include "Segments.h"
#include "TimeFormat.h"

#include "tools/common/ChildProcess.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr double kAgreementUs = 500;

struct Watcher {
  std::string report;
  std::unique_ptr<ChildProcess> process;
  std::vector<double> offsetsUs;
};

std::vector<double> ReadOffsets(const std::string& path) {
  std::vector<double> offsets;
  std::ifstream file(path);
  std::uint64_t reference = 0;
  std::int64_t offset = 0;
  while (file >> reference >> offset) offsets.push_back(static_cast<double>(offset) / 10.0);
  return offsets;
}

double Median(std::vector<double> values) {
  if (values.empty()) return NAN;
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Waits until the publisher has made the store and published its first sample.
bool WaitForStore(const Library& library, const WideName& name) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline) {
    Ref<IClock> clock;
    if (library.Factory()->CreateSynchronizedClock(name.c_str(), clock.Out()) == VOLM_S_OK) {
      std::uint64_t time = 0;
      if (clock->GetTime(&time) == VOLM_S_OK) return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

}  // namespace

int RunDemo(const ToolOptions& options) {
  const double seconds = options.seconds;
  Library library;
  const std::string self = SiblingProgram("volmtime");
  const std::string name =
      "volmtime-demo-" +
      std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
  const WideName wideName = Widen(name);
  std::printf(
      "%s  VolmTime demo: one publisher and two watcher processes share \"%s\" for %.0f s\n",
      Timestamp().c_str(), name.c_str(), seconds);

  ChildProcess publisher(self, {"publish", name, "--interval-ms", "50", "--duration-s",
                                std::to_string(seconds + 3), "--quiet"});
  if (!WaitForStore(library, wideName)) {
    std::printf("verdict: FAILED, the publisher did not publish\n");
    return 1;
  }
  std::vector<Watcher> watchers(2);
  for (std::size_t i = 0; i < watchers.size(); ++i) {
    watchers[i].report = name + "-watcher-" + std::to_string(i + 1) + ".txt";
    watchers[i].process = std::make_unique<ChildProcess>(
        self, std::vector<std::string>{"watch", name, "--interval-ms", "50", "--duration-s",
                                       std::to_string(seconds), "--report", watchers[i].report,
                                       "--quiet"});
  }

  // Meanwhile a timer on the shared time axis, armed for one second ahead.
  Ref<IClock> clock;
  Check(library.Factory()->CreateSynchronizedClock(wideName.c_str(), clock.Out()),
        library.Factory(), "opening the named clock");
  Ref<IWaitableTimer> timer;
  Check(clock->CreateTimer(timer.Out()), clock.Get(), "CreateTimer");
  std::uint64_t armedAt = 0;
  Check(clock->GetTime(&armedAt), clock.Get(), "reading the named clock");
  const std::uint64_t due = armedAt + VOLM_TIME_UNITS_PER_SECOND;
  Check(timer->SetAbsolute(due), timer.Get(), "SetAbsolute");
  std::int32_t outcome = 1;
  Check(timer->Wait(10'000, &outcome), timer.Get(), "Wait");
  std::uint64_t firedAt = 0;
  Check(clock->GetTime(&firedAt), clock.Get(), "reading the named clock");
  const double lateMs = static_cast<double>(Difference(firedAt, due)) / 10'000.0;
  std::printf("%s  the timer fired; the watchers are watching", Timestamp().c_str());
  std::fflush(stdout);

  bool allHeld = outcome == 0 && lateMs >= -1.0 && lateMs < 100.0;
  // One dot a second while the watchers run, so that a long demo shows it is alive.
  const auto watchDeadline =
      std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds + 20);
  while (!gStopRequested.load() && std::chrono::steady_clock::now() < watchDeadline &&
         !watchers.back().process->Wait(1'000)) {
    std::printf(".");
    std::fflush(stdout);
  }
  std::printf("\n\n%-10s %8s %16s %16s %16s\n", "watcher", "samples", "median offset", "min offset",
              "max offset");
  std::vector<double> medians;
  for (std::size_t i = 0; i < watchers.size(); ++i) {
    const std::optional<int> exit = watchers[i].process->Wait(gStopRequested.load() ? 0 : 5'000);
    watchers[i].offsetsUs = ReadOffsets(watchers[i].report);
    std::remove(watchers[i].report.c_str());
    const auto& offsets = watchers[i].offsetsUs;
    if (!exit || *exit != 0 || offsets.empty()) {
      allHeld = false;
      std::printf("%-10zu failed (exit %d)\n", i + 1, exit ? *exit : -1);
      continue;
    }
    medians.push_back(Median(offsets));
    std::printf("%-10zu %8zu %13.1f us %13.1f us %13.1f us\n", i + 1, offsets.size(),
                medians.back(), *std::min_element(offsets.begin(), offsets.end()),
                *std::max_element(offsets.begin(), offsets.end()));
  }
  const double disagreement = medians.size() == 2 ? std::fabs(medians[0] - medians[1]) : INFINITY;
  allHeld = allHeld && disagreement <= kAgreementUs;
  std::printf("\nreaders' clocks differ by %.1f us (the limit is %.0f us)\n", disagreement,
              kAgreementUs);
  std::printf("timer armed for %s fired %+.4f ms from its time (outcome %d)\n",
              FormatSystemTime(due).c_str(), lateMs, outcome);
  const bool interrupted = gStopRequested.load();
  publisher.Kill();
  publisher.Wait(5'000);
  // The publisher was stopped abruptly; opening the name once more clears what it left.
  Ref<IPiecewiseLinearCorrection> sweep;
  clock.Reset();
  timer.Reset();
  (void)library.Advanced()->OpenSharedMemoryCorrection(wideName.c_str(), sweep.Out());
  if (interrupted) {
    std::printf("verdict: FAILED, interrupted before the watchers finished\n");
    return 130;
  }
  std::printf("verdict: %s\n", allHeld
                                   ? "PASS, the processes shared one time and the timer fired on it"
                                   : "FAILED, see above");
  return allHeld ? 0 : 1;
}
