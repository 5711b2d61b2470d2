// The store's bytes are the same on every build: little-endian at fixed offsets. A Windows
// writer and a Linux writer that publish the same samples leave the same bytes.
#include "VolmTime/Core/PiecewiseLinearCorrectionFunction.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {

class StoreWriter
    : public VolmTime::Core::PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t> {
 public:
  explicit StoreWriter(VolmTime::SampleStore* store) : PiecewiseLinearCorrectionFunction(true) {
    AttachStore(store);
    Reset();
  }
};

std::uint64_t BytesAt(const std::uint8_t* store, std::size_t offset, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i)
    value |= static_cast<std::uint64_t>(store[offset + i]) << (8 * i);
  return value;
}

TEST(StoreLayout, PublishedSamplesStandAtTheirOffsets) {
  auto store = std::make_unique<VolmTime::SampleStore>();
  std::memset(store.get(), 0, sizeof(VolmTime::SampleStore));
  StoreWriter writer(store.get());
  writer.AddSample(100, 2.0, 1000);
  writer.AddSample(200, 0.5, 1300);
  writer.Publish();
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(store.get());
  EXPECT_EQ(BytesAt(bytes, 0, 4), 2u);         // version
  EXPECT_EQ(BytesAt(bytes, 4, 4), 524'288u);   // capacity
  EXPECT_EQ(BytesAt(bytes, 8, 4), 2u);         // count: sentinel and one committed
  EXPECT_EQ(BytesAt(bytes, 12, 4) & 3u, 2u);   // latest valid, not full
  EXPECT_EQ(BytesAt(bytes, 16, 4) & 15u, 2u);  // latest slot
  // The committed sample in history slot 1: offset 408 + 24.
  EXPECT_EQ(BytesAt(bytes, 432, 8), 100u);
  EXPECT_EQ(BytesAt(bytes, 440, 8), 1000u);
  EXPECT_EQ(BytesAt(bytes, 448, 8), 0x4000000000000000u);  // 2.0
  // The latest sample in ring slot 2: offset 24 + 2 * 24.
  EXPECT_EQ(BytesAt(bytes, 72, 8), 200u);
  EXPECT_EQ(BytesAt(bytes, 80, 8), 1300u);
  EXPECT_EQ(BytesAt(bytes, 88, 8), 0x3FE0000000000000u);  // 0.5
}

}  // namespace
