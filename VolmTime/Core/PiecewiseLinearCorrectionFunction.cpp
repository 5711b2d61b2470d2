// SPDX-License-Identifier: MIT
#include "VolmTime/Core/PiecewiseLinearCorrectionFunction.h"

#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/LookupSeam.h"

#include <algorithm>
#include <cmath>

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

  [[nodiscard]] std::uint32_t Length() const noexcept { return historyLength + 1; }
  [[nodiscard]] CorrectionSample At(std::uint32_t position) const noexcept {
    if (position == historyLength) return LoadSample(store->latestRing[latestSlot]);
    return LoadSample(store->history[HistoryIndex(std::uint64_t{first} + position)]);
  }
  [[nodiscard]] CorrectionSample Latest() const noexcept { return At(historyLength); }
};

// Every header a store can hold describes a sequence whose slots lie inside the store.
ReadableSequence SequenceOf(const SampleStore& store, const PublishedHeader& header) noexcept {
  const std::uint32_t count = CountOf(header.countAndFlags);
  const std::uint32_t flags = FlagsOf(header.countAndFlags);
  ReadableSequence sequence{&store, 0, 0, header.latestSlot & kLatestSlotMask,
                            (flags & kFlagLatestValid) == 0};
  if (sequence.empty) return sequence;
  const std::uint32_t last = HistoryIndex(std::uint64_t{count} + kHistoryCapacity - 1);
  if ((flags & kFlagFull) != 0) {
    sequence.first = HistoryIndex(std::uint64_t{count} + kExcludedHistorySlots);
    sequence.historyLength = kHistoryCapacity - kExcludedHistorySlots;
  } else {
    sequence.first = 1;
    sequence.historyLength = last;
  }
  return sequence;
}

// A reader that keeps finding a view overwritten faces a writer that appends samples faster
// than a lookup runs. It tries a few times and then says so, rather than spin: one lookup
// is about 20 probes, so the attempts together stay within some microseconds.
constexpr int kMaximumReadAttempts = 8;

// Runs `evaluate` on a published view and answers from the first view that the writer
// cannot have overwritten while it was read; an answer never mixes samples of two states.
template <typename Evaluate>
auto ReadConsistently(const SampleStore& store, Evaluate&& evaluate) {
  for (int attempt = 1;; ++attempt) {
    const PublishedHeader before = ReadHeader(store);
    NotifyAfterHeaderRead();
    const ReadableSequence sequence = SequenceOf(store, before);
    try {
      auto result = evaluate(sequence);
      if (ViewSurvived(before, ReadHeader(store))) return result;
    } catch (const CException&) {
      // A failure read from an overwritten view is as torn as a value.
      if (ViewSurvived(before, ReadHeader(store))) throw;
    }
    if (attempt == kMaximumReadAttempts) {
      Fail(VOLM_TEXT("Correction Function changes too fast to be read."));
    }
  }
}

std::uint64_t KeyOf(const CorrectionSample& sample, bool byTick) noexcept {
  return byTick ? sample.tick : sample.time;
}

// Rounds of estimate-and-check before bisection takes over, and how much a round from the
// second on must narrow the bracket for the estimates to go on.
constexpr int kInterpolationRounds = 4;
constexpr std::uint32_t kNarrowingWorthARound = 16;

// Where `value` would sit between two bracketing samples if the samples between them were
// evenly spaced; strictly between the two positions.
std::uint32_t EstimatePosition(std::uint32_t low, std::uint64_t lowKey, std::uint32_t high,
                               std::uint64_t highKey, std::uint64_t value) noexcept {
  const double fraction = ToDouble(value - lowKey) / ToDouble(highKey - lowKey);
  const auto offset = static_cast<std::uint32_t>(fraction * ToDouble(high - low));
  return std::clamp(low + offset, low + 1, high - 1);
}

// How far from an estimate to look for the other end of the bracket: the typical error of an
// estimate over `width` randomly spaced samples is about its square root.
std::uint32_t GuardDistance(std::uint32_t width) noexcept {
  return std::max(std::uint32_t{1}, static_cast<std::uint32_t>(std::sqrt(ToDouble(width))));
}

// The sample whose segment holds `value`, for a value before the latest sample. On keys in
// increasing order (as every writer appends them) the answer is the last sample whose key is
// at most the value, exactly as a binary search over the whole sequence finds it: the search
// keeps a bracket key(low) <= value < key(high) and ends when it is one sample wide.
// Each round probes where the value would lie if the samples in the bracket were evenly
// spaced, then a guard on the value's side of that estimate: the next sample in the first
// round (samples a publisher appends at a steady pace then close the bracket in two probes
// instead of about twenty), and the estimate's typical error for random gaps after that
// (which narrows a bracket of n samples to about sqrt(n)). Once a round stops narrowing the
// bracket well, the samples are spaced too unevenly for estimates and bisection of the
// bracket finishes, so uneven stores cost about what a binary search costs.
CorrectionSample SegmentBeforeLatest(const ReadableSequence& sequence, bool byTick,
                                     std::uint64_t latestKey, std::uint64_t value) {
  std::uint32_t low = 0;
  std::uint32_t high = sequence.historyLength;
  if (high == 0) Fail(VOLM_TEXT("Correction Function is not defined at this point."));
  std::uint64_t lowKey = KeyOf(sequence.At(0), byTick);
  if (value < lowKey) Fail(VOLM_TEXT("Correction Function is not defined at this point."));
  std::uint64_t highKey = latestKey;
  const auto probe = [&](std::uint32_t position) {
    const std::uint64_t key = KeyOf(sequence.At(position), byTick);
    if (value < key) {
      high = position;
      highKey = key;
      return false;
    }
    low = position;
    lowKey = key;
    return true;
  };
  std::uint32_t guard = 1;
  for (int round = 0; round < kInterpolationRounds && high - low > 1; ++round) {
    const std::uint32_t width = high - low;
    if (probe(EstimatePosition(low, lowKey, high, highKey, value))) {
      if (high - low > 1) probe(low + std::min(guard, high - low - 1));
    } else if (high - low > 1) {
      probe(high - std::min(guard, high - low - 1));
    }
    if (high - low <= 1 || (round > 0 && (high - low) * kNarrowingWorthARound > width)) break;
    guard = GuardDistance(high - low);
  }
  // Bisection of what is left; the key decides between two positions without a branch.
  for (std::uint32_t width = high - low; width > 1;) {
    const std::uint32_t half = width / 2;
    low = KeyOf(sequence.At(low + half), byTick) <= value ? low + half : low;
    width -= half;
  }
  return sequence.At(low);
}

CorrectionSample FindSegmentIn(const ReadableSequence& sequence, bool byTick, std::uint64_t value) {
  if (sequence.empty) Fail(VOLM_TEXT("Correction Function does not contain any segment."));
  // Clock readings land in the latest segment almost always; answering them without the
  // search gives what the search would.
  CorrectionSample found = sequence.Latest();
  const std::uint64_t latestKey = KeyOf(found, byTick);
  if (value < latestKey) found = SegmentBeforeLatest(sequence, byTick, latestKey, value);
  if (found.rate == 0.0) Fail(VOLM_TEXT("Correction Function is not defined at this point."));
  return found;
}

}  // namespace

template <typename Tick, typename Time>
Time PiecewiseLinearCorrectionFunction<Tick, Time>::TickToTime(Tick tick) const {
  const CorrectionSample segment = ReadConsistently(*store_, [&](const ReadableSequence& sequence) {
    return FindSegmentIn(sequence, true, tick);
  });
  return segment.time + TruncateToUint64(ToDouble(tick - segment.tick) * segment.rate);
}

template <typename Tick, typename Time>
Tick PiecewiseLinearCorrectionFunction<Tick, Time>::TimeToTick(Time time) const {
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
  // Release stores: a reader that loads an overwritten sample also sees every Publish
  // made before it, and so finds its view outdated.
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
  const std::uint32_t flags = (full_ ? kFlagFull : 0u) | (hasLatest_ ? kFlagLatestValid : 0u);
  StoreShared(store_->header.countAndFlags,
              PackCountAndFlags(static_cast<std::uint32_t>(committedCount_), flags),
              std::memory_order_release);
  StoreShared(store_->header.latestSlot, static_cast<std::uint32_t>(latestSlot_),
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
