// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Library.h"
#include "PrivateFolder.h"
#include "PublisherLeftovers.h"
#include "Segments.h"
#include "Statistics.h"
#include "TimeFormat.h"
#include "ToolFiles.h"
#include "WriterLock.h"

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
// As a shell reports a program that Ctrl-C ended.
constexpr int kInterruptedExitCode = 130;

struct Watcher {
  std::string report;
  std::unique_ptr<ChildProcess> process;
  std::vector<double> offsetsUs;
};

// The demo's other processes and their files. However the demo ends, they end and nothing of
// them is left: the publisher is asked to stop as a second publisher would ask it, the
// watchers are ended, and what a killed process left is cleared.
class DemoProcesses {
 public:
  DemoProcesses(const Library& library, std::string name)
      : library_(library), name_(std::move(name)) {}
  DemoProcesses(const DemoProcesses&) = delete;
  DemoProcesses& operator=(const DemoProcesses&) = delete;
  ~DemoProcesses() {
    try {
      Finish();
    } catch (...) {
      // The private folder cannot be used any more: nothing more can be cleared.
    }
  }

  void StartPublisher(double seconds) {
    publisher_ = std::make_unique<ChildProcess>(
        SiblingProgram("volmtime"),
        std::vector<std::string>{"publish", name_, "--interval-ms", "50", "--duration-s",
                                 std::to_string(seconds), "--quiet"});
  }

  void StartWatchers(std::size_t count, double seconds) {
    for (std::size_t i = 0; i < count; ++i) {
      Watcher& watcher = watchers_.emplace_back();
      watcher.report =
          folder_.PathOf("demo-" + FileBaseOf(name_) + "-watcher-" + std::to_string(i + 1));
      watcher.process = std::make_unique<ChildProcess>(
          SiblingProgram("volmtime"),
          std::vector<std::string>{"watch", name_, "--interval-ms", "50", "--duration-s",
                                   std::to_string(seconds), "--report", watcher.report, "--quiet"});
    }
  }

  [[nodiscard]] std::vector<Watcher>& Watchers() { return watchers_; }

  void Finish() {
    for (Watcher& watcher : watchers_) {
      if (!watcher.process->Wait(0)) {
        watcher.process->Kill();
        watcher.process->Wait(kPatienceMs);
      }
      std::remove(watcher.report.c_str());
    }
    if (publisher_ && !publisher_->Wait(0)) {
      const std::atomic<bool> never{false};
      WriterLock lock(name_);
      if (!lock.TakeOver(std::chrono::milliseconds(kPatienceMs), never)) publisher_->Kill();
      publisher_->Wait(kPatienceMs);
    }
    publisher_.reset();
    ClearPublisherLeftovers(library_, name_);
    folder_.RemoveIfEmpty();
  }

 private:
  static constexpr std::uint32_t kPatienceMs = 5'000;

  const Library& library_;
  std::string name_;
  PrivateFolder folder_;
  std::unique_ptr<ChildProcess> publisher_;
  std::vector<Watcher> watchers_;
};

std::vector<double> ReadOffsets(const std::string& path) {
  std::vector<double> offsets;
  std::ifstream file(path);
  std::uint64_t reference = 0;
  std::int64_t offset = 0;
  while (file >> reference >> offset) offsets.push_back(static_cast<double>(offset) / 10.0);
  return offsets;
}

// Waits until the publisher has made the store and published its first sample.
bool WaitForStore(const Library& library, const WideName& name) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!gStopRequested.load() && std::chrono::steady_clock::now() < deadline) {
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
  const std::string name =
      "volmtime-demo-" +
      std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
  const WideName wideName = Widen(name);
  std::printf(
      "%s  VolmTime demo: one publisher and two watcher processes share \"%s\" for %.0f s\n",
      Timestamp().c_str(), name.c_str(), seconds);
  std::fflush(stdout);

  DemoProcesses processes(library, name);
  processes.StartPublisher(seconds + 3);
  if (!WaitForStore(library, wideName)) {
    std::printf("verdict: FAILED, %s\n", gStopRequested.load()
                                             ? "interrupted before the publisher published"
                                             : "the publisher did not publish");
    return gStopRequested.load() ? kInterruptedExitCode : 1;
  }
  processes.StartWatchers(2, seconds);
  std::vector<Watcher>& watchers = processes.Watchers();

  // Meanwhile a timer on the shared time axis, armed for one second ahead.
  Ref<IClock> clock;
  Check(library.Factory()->CreateSynchronizedClock(wideName.c_str(), clock.Out()),
        library.Factory(), "opening the named clock");
  Ref<IWaitableTimer> timer;
  CreateCheckedTimer(clock.Get(), timer);
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
  if (gStopRequested.load()) {
    std::printf("verdict: FAILED, interrupted before the watchers finished\n");
    return kInterruptedExitCode;
  }
  std::printf("verdict: %s\n", allHeld
                                   ? "PASS, the processes shared one time and the timer fired on it"
                                   : "FAILED, see above");
  return allHeld ? 0 : 1;
}
