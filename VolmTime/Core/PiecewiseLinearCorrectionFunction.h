// SPDX-License-Identifier: MIT
// A piecewise-linear correction function over a SampleStore that a subclass provides. One
// writer appends samples privately and makes them visible with Publish; readers evaluate
// the published function without a lock.
#ifndef VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTION_H
#define VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTION_H

#include "VolmTime/Core/ExactScaling.h"
#include "VolmTime/Core/IPiecewiseLinearCorrection.h"
#include "VolmTime/Core/SampleStore.h"

#include <cstdint>

namespace VolmTime::Core {

template <typename Tick, typename Time>
class PiecewiseLinearCorrectionFunction : public IPiecewiseLinearCorrection<Tick, Time> {
 public:
  PiecewiseLinearCorrectionFunction(const PiecewiseLinearCorrectionFunction&) = delete;
  PiecewiseLinearCorrectionFunction& operator=(const PiecewiseLinearCorrectionFunction&) = delete;

  [[nodiscard]] Time TickToTime(Tick tick) const final;
  [[nodiscard]] Tick TimeToTick(Time time) const override;
  [[nodiscard]] double GetRate() const override;

  void AddSample(const CorrectionSample& sample) override;
  void AddSample(Tick tick, double rate, Time time) override;
  void RemoveLastSample() override;
  // While the history is not full: the samples committed since the last reset plus the
  // latest one. Once it is full, the count stays at what a reader can evaluate after the
  // next Publish: the committed samples of the readable window (524,271) plus the latest.
  [[nodiscard]] std::uint64_t GetSampleCount() const override;
  void Publish() override;
  void Reset() override;

  [[nodiscard]] bool IsWriter() const noexcept { return isWriter_; }

  // Answers a tick that lies in the latest published segment or in the one before it exactly
  // as TickToTime does on a store whose ticks increase, but inline and without a search, for
  // clock readings. A publisher that places its next sample ahead of the counter leaves
  // readers in the segment before the latest most of the time. False when the function is
  // empty, the tick lies before both samples, the segment is undefined, or the writer moved
  // on while it was read: TickToTime then gives the answer or the failure.
  [[nodiscard]] bool TickToTimeInLastSegments(Tick tick, Time& time) const noexcept {
    const PublishedHeader before = ReadHeader(*store_);
    const std::uint32_t flags = FlagsOf(before.countAndFlags);
    if ((flags & kFlagLatestValid) == 0) return false;
    // Only the tick decides which segment; the rest is loaded from the one that holds it.
    const CorrectionSample* slot = &store_->latestRing[before.latestSlot & kLatestSlotMask];
    if (tick < LoadShared(slot->tick, std::memory_order_acquire)) {
      // The last committed sample, where the readable history holds one: it is the last
      // history slot of the sequence that a lookup searches.
      const std::uint32_t last = (CountOf(before.countAndFlags) - 1) & (kHistoryCapacity - 1);
      if ((flags & kFlagFull) == 0 && last == 0) return false;
      slot = &store_->history[last];
      if (tick < LoadShared(slot->tick, std::memory_order_acquire)) return false;
    }
    const CorrectionSample segment = LoadSample(*slot);
    if (!ViewSurvived(before, ReadHeader(*store_))) return false;
    std::uint64_t scaled = 0;
    if (!ScaleExactly(tick - segment.tick, ToFixedPoint(segment.rate), scaled)) [[unlikely]] {
      // A rate of 0 has no fixed-point form, so it is looked at only here.
      if (segment.rate == 0.0) return false;
      scaled = TruncateToUint64(ToDouble(tick - segment.tick) * segment.rate);
    }
    time = segment.time + scaled;
    return true;
  }

 protected:
  explicit PiecewiseLinearCorrectionFunction(bool isWriter) noexcept : isWriter_(isWriter) {}

  // Called by the subclass once its store exists. A writer's store gets a fresh header and
  // an empty published function; the samples already there stay but drop out of reach.
  void AttachStore(SampleStore* store) noexcept { store_ = store; }

  [[nodiscard]] SampleStore* Store() const noexcept { return store_; }

 private:
  void RequireWriter() const;

  bool isWriter_;
  SampleStore* store_ = nullptr;
  std::uint64_t committedCount_ = 0;
  bool full_ = false;
  std::uint64_t latestSlot_ = 0;
  bool hasLatest_ = false;
};

extern template class PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTION_H
