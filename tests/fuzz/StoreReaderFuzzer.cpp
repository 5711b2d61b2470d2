// SPDX-License-Identifier: MIT
// Arbitrary bytes as a store and arbitrary keys: evaluation must never crash, never read
// outside the store and always end. Built with clang's libFuzzer by scripts/fuzz.sh.
//
// Input: 16 bytes of keys (a tick and a time), then bytes laid over the store from its
// start (header, latest ring, history); the rest of the store stays zero. A few bytes more
// choose where in the history a second run of bytes lands, so full, wrapped windows are
// reached too.
#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunction.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace {

using Base = VolmTime::Core::PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t>;

// A reader over a store the fuzzer filled.
class FuzzedReader : public Base {
 public:
  explicit FuzzedReader(VolmTime::SampleStore* store) : Base(false) { AttachStore(store); }
};

std::uint64_t Take64(const std::uint8_t*& data, std::size_t& size) {
  std::uint64_t value = 0;
  const std::size_t used = size < 8 ? size : 8;
  std::memcpy(&value, data, used);
  data += used;
  size -= used;
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // One zeroed store for the whole run; each input clears what the previous one wrote, as
  // zeroing 12 MB per input would slow the fuzzer down a hundredfold.
  static const auto store = std::make_unique<VolmTime::SampleStore>();
  static std::size_t dirtyHead = sizeof(VolmTime::SampleStore);
  static std::size_t dirtyTailOffset = 0;
  static std::size_t dirtyTailSize = 0;
  auto* storeBytes = reinterpret_cast<std::uint8_t*>(store.get());
  std::memset(storeBytes, 0, dirtyHead);
  std::memset(reinterpret_cast<std::uint8_t*>(store->history) + dirtyTailOffset, 0, dirtyTailSize);
  const std::uint64_t tick = Take64(data, size);
  const std::uint64_t time = Take64(data, size);
  const std::uint64_t placement = Take64(data, size);
  const std::size_t head = size / 2;
  dirtyHead = head < sizeof(VolmTime::SampleStore) ? head : sizeof(VolmTime::SampleStore);
  std::memcpy(storeBytes, data, dirtyHead);
  // The second half lands somewhere in the history, whole samples apart.
  const std::size_t tail = size - head;
  const std::size_t historyBytes = sizeof(store->history);
  const std::size_t offset =
      (placement % VolmTime::kHistoryCapacity) * sizeof(VolmTime::CorrectionSample);
  const std::size_t room = historyBytes - offset;
  dirtyTailOffset = offset;
  dirtyTailSize = tail < room ? tail : room;
  std::memcpy(reinterpret_cast<std::uint8_t*>(store->history) + offset, data + head, dirtyTailSize);

  FuzzedReader reader(store.get());
  try {
    (void)reader.TickToTime(tick);
  } catch (const VolmTime::Core::CException&) {
  }
  try {
    (void)reader.TimeToTick(time);
  } catch (const VolmTime::Core::CException&) {
  }
  (void)reader.GetRate();
  std::uint64_t inlineTime = 0;
  (void)reader.TickToTimeInLastSegments(tick, inlineTime);
  return 0;
}
