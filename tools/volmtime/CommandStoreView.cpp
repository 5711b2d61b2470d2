#include "Commands.h"
#include "StoreMapping.h"
#include "Svg.h"

#include <VolmTime/VolmSampleStore.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

namespace {

using VolmTime::CorrectionSample;
using VolmTime::SampleStore;

// The samples a reader would evaluate, oldest first, as the header describes them.
std::vector<CorrectionSample> ReadableSamples(const SampleStore& store) {
  std::vector<CorrectionSample> samples;
  const std::uint32_t count = static_cast<std::uint32_t>(store.header.countAndFlags);
  const std::uint32_t flags = static_cast<std::uint32_t>(store.header.countAndFlags >> 32);
  if ((flags & VolmTime::kFlagLatestValid) == 0) return samples;
  const std::uint32_t capacity = VolmTime::kHistoryCapacity;
  const bool full = (flags & VolmTime::kFlagFull) != 0;
  const std::uint32_t first = full ? (count + VolmTime::kExcludedHistorySlots) % capacity : 1;
  const std::uint32_t length =
      full ? capacity - VolmTime::kExcludedHistorySlots : (count + capacity - 1) % capacity;
  samples.reserve(length + 1);
  for (std::uint32_t i = 0; i < length; ++i)
    samples.push_back(store.history[(first + i) % capacity]);
  samples.push_back(store.latestRing[store.header.latestSlot & VolmTime::kLatestSlotMask]);
  return samples;
}

}  // namespace

int RunInspect(const Arguments& arguments) {
  arguments.Allow({"--last", "--svg"});
  if (arguments.Positional().size() != 1) throw UsageError("inspect needs exactly one NAME");
  const std::string name = arguments.Positional()[0];
  const auto last = static_cast<std::size_t>(arguments.Number("--last", 10, 1, 1e7));
  StoreMapping mapping(name);
  if (mapping.Size() < sizeof(SampleStore)) {
    std::fprintf(stderr, "volmtime inspect: %s holds %zu bytes, a store needs %zu\n", name.c_str(),
                 mapping.Size(), sizeof(SampleStore));
    return 1;
  }
  // A copy, so the numbers shown belong together even while a writer works.
  auto store = std::make_unique<SampleStore>();
  std::memcpy(store.get(), mapping.Address(), sizeof(SampleStore));
  const std::uint32_t count = static_cast<std::uint32_t>(store->header.countAndFlags);
  const std::uint32_t flags = static_cast<std::uint32_t>(store->header.countAndFlags >> 32);
  std::printf(
      "store       %s\nversion     %u\ncapacity    %u\ncount       %u\nflags       0x%08X (%s%s)\n",
      name.c_str(), store->header.version, store->header.capacity, count, flags,
      (flags & VolmTime::kFlagFull) ? "full " : "",
      (flags & VolmTime::kFlagLatestValid) ? "latest valid" : "empty");
  const std::vector<CorrectionSample> samples = ReadableSamples(*store);
  if (samples.empty()) {
    std::printf("no readable samples\n");
    return 0;
  }
  const CorrectionSample& latest = samples.back();
  std::printf("latest      tick %llu  time %llu  rate %.12g\n\n",
              static_cast<unsigned long long>(latest.tick),
              static_cast<unsigned long long>(latest.time), latest.rate);
  std::printf("%22s %22s %20s\n", "tick", "time", "rate");
  const std::size_t from = samples.size() > last ? samples.size() - last : 0;
  for (std::size_t i = from; i < samples.size(); ++i) {
    std::printf("%22llu %22llu %20.12g\n", static_cast<unsigned long long>(samples[i].tick),
                static_cast<unsigned long long>(samples[i].time), samples[i].rate);
  }
  if (arguments.Has("--svg")) {
    // Offset from the straight line through the first and last sample, and each segment's
    // rate against that line's slope.
    const CorrectionSample& first = samples[from];
    const double slope = latest.tick > first.tick
                             ? static_cast<double>(latest.time - first.time) /
                                   static_cast<double>(latest.tick - first.tick)
                             : latest.rate;
    Series offsets{"offset from the mean line", "ms", {}};
    Series rates{"rate against the mean line", "ppm", {}};
    for (std::size_t i = from; i < samples.size(); ++i) {
      const double line = static_cast<double>(first.time) +
                          static_cast<double>(samples[i].tick - first.tick) * slope;
      offsets.values.push_back((static_cast<double>(samples[i].time) - line) / 10'000.0);
      rates.values.push_back((samples[i].rate / slope - 1.0) * 1e6);
    }
    std::ofstream file(arguments.Text("--svg", ""));
    file << DrawPanels("volmtime inspect " + name, {offsets, rates});
    if (!file) {
      std::fprintf(stderr, "volmtime inspect: cannot write %s\n",
                   arguments.Text("--svg", "").c_str());
      return 1;
    }
  }
  return 0;
}
