#include "VolmTime/Core/PiecewiseLinearCorrectionFunction.h"

#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/Platform/Thread.h"

#include <optional>

namespace VolmTime::Core {

namespace {

[[noreturn]] void Fail(const VolmWideChar* message) { throw CException(message); }

constexpr std::uint32_t HistoryIndex(std::uint64_t position) noexcept {
  return static_cast<std::uint32_t>(position % kHistoryCapacity);
}

// The published sequence as a reader sees it: history[first .. first+historyLength) in ring
// order, then the latest sample.
struct ReadableSequence {
  const SampleStore* store;
  std::uint32_t first;
  std::uint32_t historyLength;
  std::uint32_t latestSlot;
  bool empty;
  // The append generation of the Publish this view comes from.
  std::uint32_t stamp;

  [[nodiscard]] std::uint32_t Length() const noexcept { return historyLength + 1; }
  [[nodiscard]] CorrectionSample At(std::uint32_t position) const noexcept {
    if (position == historyLength) return LoadSample(store->latestRing[latestSlot]);
    return LoadSample(store->history[HistoryIndex(std::uint64_t{first} + position)]);
  }
  [[nodiscard]] CorrectionSample Latest() const noexcept { return At(historyLength); }
};

// The view of one Publish, or nothing while the header is caught between two of them.
std::optional<ReadableSequence> ReadSequence(const SampleStore& store) noexcept {
  const std::uint32_t latestSlot = LoadShared(store.header.latestSlot, std::memory_order_acquire);
  const std::uint64_t countAndFlags =
      LoadShared(store.header.countAndFlags, std::memory_order_acquire);
  const std::uint32_t count = CountOf(countAndFlags);
  const std::uint32_t flags = FlagsOf(countAndFlags);
  const std::uint32_t stamp = StampOfFlags(flags);
  if (StampOfLatestSlot(latestSlot) != stamp) return std::nullopt;
  ReadableSequence sequence{
      &store, 0, 0, latestSlot & kLatestSlotMask, (flags & kFlagLatestValid) == 0, stamp};
  if (sequence.empty) return sequence;
  const std::uint32_t last = HistoryIndex(std::uint64_t{count} + kHistoryCapacity - 1);
  if ((flags & kFlagFull) != 0) {
    sequence.first = HistoryIndex(std::uint64_t{count} + kExcludedHistorySlots);
    sequence.historyLength = kHistoryCapacity - kExcludedHistorySlots;
  } else {
    // Slots 1 to last. Whatever the header holds, both ends stay inside the history.
    sequence.first = 1;
    sequence.historyLength = last;
  }
  return sequence;
}

// A view stays intact while the writer has appended fewer than 16 samples since its Publish:
// the latest ring has 16 slots and a full window skips 17 history slots.
constexpr std::uint32_t kAppendsAViewSurvives = kLatestRingSize - 1;
// A reader that keeps finding the writer in its way yields after a few attempts, so that a
// writer preempted between its two header stores gets to finish them, and gives up after
// many rather than spin forever on a store that never reads consistently.
constexpr int kAttemptsBeforeYielding = 16;
constexpr int kMaximumReadAttempts = 2'000;

// Runs `evaluate` on a published view until it ran on one that no later append can have
// overwritten while it read; the answer never mixes samples of two states. Samples are
// loaded with acquire: a reader that saw an overwritten sample also sees the generation the
// writer raised before overwriting it.
template <typename Evaluate>
auto ReadConsistently(const SampleStore& store, Evaluate&& evaluate) {
  const auto intact = [&store](const ReadableSequence& sequence) {
    const std::uint32_t now = LoadShared(store.header.appendGeneration, std::memory_order_acquire);
    return ((now - sequence.stamp) & kPublishStampMask) <= kAppendsAViewSurvives;
  };
  for (int attempt = 1;; ++attempt) {
    if (const std::optional<ReadableSequence> sequence = ReadSequence(store)) {
      try {
        auto result = evaluate(*sequence);
        if (intact(*sequence)) return result;
      } catch (const CException&) {
        // A failure read from an overwritten view is as torn as a value.
        if (intact(*sequence)) throw;
      }
    }
    if (attempt == kMaximumReadAttempts) {
      Fail(VOLM_TEXT("Correction Function changes too fast to be read."));
    }
    if (attempt >= kAttemptsBeforeYielding) Platform::YieldTimeSlice();
  }
}

// Clock readings land in the latest segment almost always. Answering them from the header
// and the latest sample alone gives what the full lookup would, with a handful of loads;
// anything else (an earlier key, a header between two publishes, a lapping writer) is left
// to the full lookup.
[[gnu::always_inline]] inline bool LatestSegmentFor(const SampleStore& store, std::uint64_t key, bool byTick,
                                                   CorrectionSample& latest) noexcept {
  const std::uint32_t latestSlot = LoadShared(store.header.latestSlot, std::memory_order_acquire);
  const std::uint32_t flags =
      FlagsOf(LoadShared(store.header.countAndFlags, std::memory_order_acquire));
  const std::uint32_t stamp = StampOfFlags(flags);
  if ((flags & kFlagLatestValid) == 0 || StampOfLatestSlot(latestSlot) != stamp) return false;
  latest = LoadSample(store.latestRing[latestSlot & kLatestSlotMask]);
  if ((byTick ? latest.tick : latest.time) > key || latest.rate == 0.0) return false;
  const std::uint32_t now = LoadShared(store.header.appendGeneration, std::memory_order_acquire);
  return ((now - stamp) & kPublishStampMask) <= kAppendsAViewSurvives;
}

std::uint64_t KeyOf(const CorrectionSample& sample, bool byTick) noexcept {
  return byTick ? sample.tick : sample.time;
}

CorrectionSample FindSegmentIn(const ReadableSequence& sequence, bool byTick, std::uint64_t value) {
  if (sequence.empty) Fail(VOLM_TEXT("Correction Function does not contain any segment."));
  // Clock readings land in the latest segment almost always; answering them without the
  // search gives what the search would.
  CorrectionSample found = sequence.Latest();
  if (value < KeyOf(found, byTick)) {
    // Upper bound: the first sample whose key is greater than the value.
    std::uint32_t position = 0;
    std::uint32_t remaining = sequence.Length();
    while (remaining > 0) {
      const std::uint32_t half = remaining / 2;
      const std::uint32_t middle = position + half;
      if (value < KeyOf(sequence.At(middle), byTick)) {
        remaining = half;
      } else {
        position = middle + 1;
        remaining = remaining - half - 1;
      }
    }
    if (position == 0) Fail(VOLM_TEXT("Correction Function is not defined at this point."));
    found = sequence.At(position - 1);
  }
  if (found.rate == 0.0) Fail(VOLM_TEXT("Correction Function is not defined at this point."));
  return found;
}

}  // namespace

template <typename Tick, typename Time>
Time PiecewiseLinearCorrectionFunction<Tick, Time>::TickToTime(Tick tick) const {
  CorrectionSample latest;
  if (LatestSegmentFor(*store_, tick, true, latest)) {
    return latest.time + TruncateToUint64(ToDouble(tick - latest.tick) * latest.rate);
  }
  const CorrectionSample segment = ReadConsistently(*store_, [&](const ReadableSequence& sequence) {
    return FindSegmentIn(sequence, true, tick);
  });
  return segment.time + TruncateToUint64(ToDouble(tick - segment.tick) * segment.rate);
}

template <typename Tick, typename Time>
Tick PiecewiseLinearCorrectionFunction<Tick, Time>::TimeToTick(Time time) const {
  CorrectionSample latest;
  if (LatestSegmentFor(*store_, time, false, latest)) {
    return latest.tick + TruncateToUint64(ToDouble(time - latest.time) / latest.rate);
  }
  const CorrectionSample segment = ReadConsistently(*store_, [&](const ReadableSequence& sequence) {
    return FindSegmentIn(sequence, false, time);
  });
  return segment.tick + TruncateToUint64(ToDouble(time - segment.time) / segment.rate);
}

template <typename Tick, typename Time>
double PiecewiseLinearCorrectionFunction<Tick, Time>::GetRate() const {
  // Never throws: a store that cannot be read consistently has no rate to offer.
  try {
    return ReadConsistently(*store_, [](const ReadableSequence& sequence) {
      return sequence.empty ? 0.0 : sequence.Latest().rate;
    });
  } catch (const CException&) {
    return 0.0;
  }
}

template <typename Tick, typename Time>
void PiecewiseLinearCorrectionFunction<Tick, Time>::RequireWriter() const {
  if (!isWriter_) Fail(VOLM_TEXT("Can not write on reader."));
}

template <typename Tick, typename Time>
void PiecewiseLinearCorrectionFunction<Tick, Time>::AddSample(const CorrectionSample& sample) {
  RequireWriter();
  CorrectionSample previous{0, 0, 0.0};
  if (hasLatest_) {
    previous = LoadSample(store_->latestRing[latestSlot_]);
  } else if (committedCount_ > 1) {
    previous = LoadSample(store_->history[HistoryIndex(committedCount_ - 1)]);
  }
  // With nothing committed since the last reset the previous sample is the sentinel
  // {0, 0}, even where an old sample of a wrapped history now sits in slot 0.
  if (sample.tick <= previous.tick) Fail(VOLM_TEXT("Ticks must be increasing"));
  if (sample.time <= previous.time) Fail(VOLM_TEXT("Time must be increasing"));
  // Raised before the overwrites below, which are release stores: a reader that sees one
  // of them sees the new generation too.
  std::atomic_ref<std::uint32_t>(store_->header.appendGeneration)
      .fetch_add(1, std::memory_order_relaxed);
  if (hasLatest_) {
    StoreSample(store_->history[HistoryIndex(committedCount_)], previous);
    ++committedCount_;
    if (committedCount_ >= kFullThreshold) full_ = true;
  }
  latestSlot_ = (latestSlot_ + 1) % kLatestRingSize;
  StoreSample(store_->latestRing[latestSlot_], sample);
  hasLatest_ = true;
}

template <typename Tick, typename Time>
void PiecewiseLinearCorrectionFunction<Tick, Time>::AddSample(Tick tick, double rate, Time time) {
  // Through the virtual record form, so a subclass that overrides it is used.
  this->AddSample(CorrectionSample{tick, time, rate});
}

template <typename Tick, typename Time>
void PiecewiseLinearCorrectionFunction<Tick, Time>::RemoveLastSample() {
  RequireWriter();
  if (!hasLatest_) Fail(VOLM_TEXT("Can only remove one sample in a row"));
  hasLatest_ = false;
}

template <typename Tick, typename Time>
std::uint64_t PiecewiseLinearCorrectionFunction<Tick, Time>::GetSampleCount() const {
  if (!isWriter_) Fail(VOLM_TEXT("Only defined on writer."));
  const std::uint64_t committed = committedCount_ - 1;
  const std::uint64_t window = kHistoryCapacity - kExcludedHistorySlots;
  return (full_ && committed > window ? window : committed) + (hasLatest_ ? 1 : 0);
}

template <typename Tick, typename Time>
void PiecewiseLinearCorrectionFunction<Tick, Time>::Publish() {
  RequireWriter();
  const std::uint32_t stamp =
      LoadShared(store_->header.appendGeneration, std::memory_order_relaxed) & kPublishStampMask;
  const std::uint32_t flags =
      (full_ ? kFlagFull : 0u) | (hasLatest_ ? kFlagLatestValid : 0u) | (stamp << kFlagsStampShift);
  StoreShared(store_->header.countAndFlags,
              PackCountAndFlags(static_cast<std::uint32_t>(committedCount_), flags),
              std::memory_order_release);
  StoreShared(store_->header.latestSlot,
              static_cast<std::uint32_t>(latestSlot_) | (stamp << kLatestSlotStampShift),
              std::memory_order_release);
}

template <typename Tick, typename Time>
void PiecewiseLinearCorrectionFunction<Tick, Time>::Reset() {
  RequireWriter();
  StoreShared(store_->header.version, kSampleStoreVersion, std::memory_order_relaxed);
  StoreShared(store_->header.capacity, kHistoryCapacity, std::memory_order_relaxed);
  committedCount_ = 1;
  full_ = false;
  latestSlot_ = 0;
  hasLatest_ = false;
  Publish();
}

template class PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core
