// SPDX-License-Identifier: MIT
#include "BenchReport.h"
#include "Commands.h"
#include "DisciplineReport.h"
#include "Library.h"
#include "PublisherLeftovers.h"
#include "ReferenceClock.h"
#include "StoreMapping.h"
#include "StoreView.h"
#include "TimeFormat.h"

#include "tools/common/ChildProcess.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

namespace {

constexpr double kDefaultTrackingSeconds = 30;
// How often the function is compared with the reference.
constexpr double kCompareEverySeconds = 0.01;
// Owns what the measurement reads: the library's counter, the reference, the store's bytes
// and a named clock, which keeps the store alive as any reader does once the publisher is gone.
class Observer {
 public:
  Observer(const Library& library, const std::string& name, const std::string& reference)
      : reference_(OpenReferenceClock(reference)) {
    IVolmTimeFactory* factory = library.Factory();
    Check(factory->GetCounter(counter_.Out()), factory, "GetCounter");
    Check(counter_->GetFrequency(&frequency_), counter_.Get(), "GetFrequency");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (;;) {
      std::uint64_t time = 0;
      if (factory->CreateSynchronizedClock(Widen(name).c_str(), named_.Out()) == VOLM_S_OK &&
          named_->GetTime(&time) == VOLM_S_OK)
        break;
      named_.Reset();
      if (std::chrono::steady_clock::now() > deadline)
        throw CommandError("the publisher of \"" + name + "\" did not publish within 20 s");
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    mapping_ = std::make_unique<StoreMapping>(name);
  }

  [[nodiscard]] std::uint64_t Frequency() const { return frequency_; }
  [[nodiscard]] const ReferenceClock& Reference() const { return *reference_; }
  std::uint64_t Tick() {
    std::uint64_t tick = 0;
    Check(counter_->GetTick(&tick), counter_.Get(), "reading the counter");
    return tick;
  }

  // The function, from the store's bytes, against the reference: the narrowest of a few
  // (counter, reference, counter) readings, the function taken at its middle.
  std::optional<Comparison> Compare() {
    std::uint64_t bestWidth = UINT64_MAX;
    Comparison best{};
    StoreContents contents;
    if (!ReadStore(mapping_->Address(), 4, contents)) return std::nullopt;
    for (int attempt = 0; attempt < 8; ++attempt) {
      const std::uint64_t before = Tick();
      const std::uint64_t referenceNs = reference_->ReadNs();
      const std::uint64_t after = Tick();
      const std::uint64_t middle = before + (after - before) / 2;
      const std::optional<std::uint64_t> time = TimeOnSamples(contents.samples, middle);
      if (time && after - before < bestWidth) {
        bestWidth = after - before;
        best = {middle, Difference(*time * 100, referenceNs)};
      }
    }
    if (bestWidth == UINT64_MAX) return std::nullopt;
    return best;
  }

  std::vector<CorrectionSample> AllSamples() const {
    StoreContents contents;
    if (!ReadStore(mapping_->Address(), VolmTime::kHistoryCapacity, contents))
      throw CommandError("the store changed too fast to be read");
    return contents.samples;
  }

  void Sleep(double seconds) {
    Check(
        counter_->SleepTick(static_cast<std::uint64_t>(seconds * static_cast<double>(frequency_))),
        counter_.Get(), "sleeping");
  }

 private:
  std::unique_ptr<ReferenceClock> reference_;
  Ref<IHighResolutionCounter> counter_;
  Ref<IClock> named_;
  std::unique_ptr<StoreMapping> mapping_;
  std::uint64_t frequency_ = 0;
};

// Compares every kCompareEverySeconds until `seconds` have passed or a stop is requested.
bool CompareFor(Observer& observer, double seconds, std::vector<Comparison>& comparisons) {
  const std::uint64_t end =
      observer.Tick() +
      static_cast<std::uint64_t>(seconds * static_cast<double>(observer.Frequency()));
  while (observer.Tick() < end) {
    if (gStopRequested.load()) return false;
    if (const std::optional<Comparison> comparison = observer.Compare())
      comparisons.push_back(*comparison);
    observer.Sleep(kCompareEverySeconds);
  }
  return true;
}

}  // namespace

int RunPublishReport(const ToolOptions& options) {
  const double trackingS = options.durationS > 0 ? options.durationS : kDefaultTrackingSeconds;
  const std::string& name = options.name;
  char interval[32];
  char slew[32];
  char jump[32];
  std::snprintf(interval, sizeof interval, "%g", options.intervalMs);
  std::snprintf(slew, sizeof slew, "%g", options.maxSlewPpm);
  std::snprintf(jump, sizeof jump, "%g", options.jumpMs);
  const BenchConditions atStart = MeasuredConditions();
  Library library;
  ChildProcess publisher(SiblingProgram("volmtime"),
                         {"publish", name, "--interval-ms", interval, "--max-slew-ppm", slew,
                          "--jump-ms", jump, "--reference", options.reference, "--quiet"});
  const ChildPublisherGuard publisherLeavesNothing(library, publisher, name);
  Observer observer(library, name, options.reference);
  std::printf(
      "%s  measuring \"%s\" against %s: %g s published every %s ms, then %g s of "
      "holdover after the publisher is killed\n",
      Timestamp().c_str(), name.c_str(), observer.Reference().Name().c_str(), trackingS, interval,
      options.holdoverS);
  std::fflush(stdout);
  std::vector<Comparison> tracking;
  const std::uint64_t startTick = observer.Tick();
  if (!CompareFor(observer, trackingS, tracking)) return 130;
  publisher.Kill();
  const std::uint64_t killTick = observer.Tick();
  std::vector<Comparison> holdover;
  if (!CompareFor(observer, options.holdoverS, holdover)) return 130;
  const std::vector<CorrectionSample> samples = observer.AllSamples();
  const BenchConditions atEnd = MeasuredConditions();

  DisciplineMeasures measures =
      MeasureDiscipline(samples, tracking, holdover, startTick, killTick, observer.Frequency());
  measures.intervalMs = options.intervalMs;
  measures.holdoverS = options.holdoverS;

  std::printf("%s  %zu updates, %zu comparisons while published, %zu in holdover\n",
              Timestamp().c_str(), samples.size() / 2, tracking.size(), holdover.size());
  std::printf("load average at the start and end: ");
  for (const BenchConditions* c : {&atStart, &atEnd}) {
    if (c->loadAverage) {
      std::printf("%.2f%s", *c->loadAverage, c == &atStart ? ", " : "");
    } else {
      std::printf("unknown%s", c == &atStart ? ", " : "");
    }
  }
  std::printf(" on %u CPUs; volmtime built %s\n\n", atStart.cpus, atStart.buildType.c_str());
  std::printf("| measure | value | target | |\n|---|---:|---|---|\n");
  for (const ReportLine& line : JudgeDiscipline(measures))
    std::printf("| %s | %s | %s | %s |\n", line.measure.c_str(), line.value.c_str(),
                line.target.c_str(), line.held ? "held" : "MISSED");
  return 0;
}
