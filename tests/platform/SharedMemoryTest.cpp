// Named shared memory within one process: creating, opening, sharing bytes, lifetime.
#include "platform/FaultInjection.h"
#include "platform/SharedMemory.h"

#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

namespace {

using namespace VolmTime::Platform;

constexpr std::size_t kSize = 1 << 20;

// The reason an opening for reading fails, or nothing when it succeeds.
std::optional<std::string> FailureOfOpening(const std::string& name) {
  try {
    (void)SharedMemoryMapping::OpenReadOnly(name);
  } catch (const SharedMemoryError& failure) {
    return failure.what();
  }
  return std::nullopt;
}

unsigned char ByteAt(const SharedMemoryMapping& mapping, std::size_t offset) {
  return static_cast<const unsigned char*>(mapping.Address())[offset];
}

TEST(SharedMemory, NewStoreIsZeroFilledAndReadersSeeTheWritersBytes) {
  const std::string name = UniqueName("volm-shm");
  SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  ASSERT_GE(writer.Size(), kSize);
  EXPECT_TRUE(writer.IsWritable());
  EXPECT_EQ(writer.Name(), name);
  EXPECT_EQ(ByteAt(writer, 0), 0);
  EXPECT_EQ(ByteAt(writer, kSize - 1), 0);
  std::memset(writer.Address(), 0x5A, kSize);
  const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
  EXPECT_FALSE(reader.IsWritable());
  EXPECT_EQ(reader.Name(), name);
  ASSERT_GE(reader.Size(), kSize);
  EXPECT_EQ(ByteAt(reader, kSize / 2), 0x5A);
  static_cast<unsigned char*>(writer.Address())[kSize / 2] = 0x17;
  EXPECT_EQ(ByteAt(reader, kSize / 2), 0x17);
}

TEST(SharedMemory, OpeningANameThatDoesNotExistFailsWithTheSystemsReason) {
  const std::optional<std::string> reason = FailureOfOpening(UniqueName("volm-missing"));
  ASSERT_TRUE(reason.has_value());
  ASSERT_FALSE(reason->empty());
  EXPECT_NE(reason->back(), '\n');
  EXPECT_NE(reason->back(), '\r');
}

TEST(SharedMemory, SecondWriterOpensTheLiveStoreWithItsBytesAndSize) {
  const std::string name = UniqueName("volm-shm");
  SharedMemoryMapping first = SharedMemoryMapping::CreateOrOpen(name, kSize);
  static_cast<unsigned char*>(first.Address())[7] = 42;
  // A smaller size asked for does not shrink a store that exists.
  const SharedMemoryMapping second = SharedMemoryMapping::CreateOrOpen(name, kSize / 4);
  EXPECT_GE(second.Size(), kSize);
  EXPECT_EQ(ByteAt(second, 7), 42);
}

TEST(SharedMemory, ReaderKeepsTheStoreAliveAfterItsWriterCloses) {
  const std::string name = UniqueName("volm-shm");
  std::optional<SharedMemoryMapping> writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  static_cast<unsigned char*>(writer->Address())[100] = 9;
  const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
  writer.reset();
  EXPECT_EQ(ByteAt(reader, 100), 9);
  EXPECT_FALSE(FailureOfOpening(name).has_value());
  // A writer that comes back finds the live store as it was, not a new one.
  const SharedMemoryMapping again = SharedMemoryMapping::CreateOrOpen(name, kSize);
  EXPECT_EQ(ByteAt(again, 100), 9);
}

TEST(SharedMemory, StoreIsGoneWithItsLastHolder) {
  const std::string name = UniqueName("volm-shm");
  {
    SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    std::memset(writer.Address(), 0x33, kSize);
    { const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name); }
    EXPECT_FALSE(FailureOfOpening(name).has_value()) << "the writer still holds it";
  }
  EXPECT_TRUE(FailureOfOpening(name).has_value());
  // A writer under the same name starts a new, zero-filled store.
  const SharedMemoryMapping fresh = SharedMemoryMapping::CreateOrOpen(name, kSize);
  EXPECT_EQ(ByteAt(fresh, 0), 0);
  EXPECT_EQ(ByteAt(fresh, kSize - 1), 0);
}

TEST(SharedMemory, MovedMappingKeepsTheView) {
  const std::string name = UniqueName("volm-shm");
  SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  void* const address = writer.Address();
  SharedMemoryMapping moved = std::move(writer);
  EXPECT_EQ(moved.Address(), address);
  EXPECT_EQ(moved.Name(), name);
  EXPECT_FALSE(FailureOfOpening(name).has_value());
}

TEST(SharedMemory, MappingCanBeMadeToFail) {
  const std::string name = UniqueName("volm-shm");
  Faults().failMappings = 1;
  EXPECT_THROW((void)SharedMemoryMapping::CreateOrOpen(name, kSize), SharedMemoryError);
  const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  Faults().failMappings = 1;
  EXPECT_THROW((void)SharedMemoryMapping::OpenReadOnly(name), SharedMemoryError);
  EXPECT_NO_THROW((void)SharedMemoryMapping::OpenReadOnly(name));
}

}  // namespace
