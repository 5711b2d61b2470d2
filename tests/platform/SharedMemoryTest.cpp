// Named shared memory: created by one process, opened by others, gone with its last holder.
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/Platform/SharedMemory.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

namespace {

using namespace VolmTime::Core::Platform;

constexpr std::size_t kSize = 1 << 20;

std::string ReasonOfOpening(const std::string& name) {
  try {
    SharedMemoryMapping::OpenReadOnly(name);
  } catch (const SharedMemoryError& failure) {
    return failure.what();
  }
  return "";
}

// Waits until another process has made the store.
bool WaitUntilOpenable(const std::string& name) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline) {
    if (ReasonOfOpening(name).empty()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

TEST(SharedMemory, ReaderInTheSameProcessSeesTheWritersBytes) {
  const std::string name = UniqueName("volm-shm");
  SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  ASSERT_GE(writer.Size(), kSize);
  EXPECT_TRUE(writer.IsWritable());
  const auto* fresh = static_cast<const unsigned char*>(writer.Address());
  EXPECT_EQ(fresh[0], 0);
  EXPECT_EQ(fresh[kSize - 1], 0);
  std::memset(writer.Address(), 0x5A, kSize);
  const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
  EXPECT_FALSE(reader.IsWritable());
  EXPECT_EQ(reader.Name(), name);
  ASSERT_GE(reader.Size(), kSize);
  EXPECT_EQ(static_cast<const unsigned char*>(reader.Address())[kSize / 2], 0x5A);
}

TEST(SharedMemory, OpeningAMissingNameFailsWithTheSystemsReason) {
  const std::string reason = ReasonOfOpening(UniqueName("volm-missing"));
  EXPECT_FALSE(reason.empty());
  EXPECT_NE(reason.back(), '\n');
}

TEST(SharedMemory, SecondOpenerSharesTheExistingStore) {
  const std::string name = UniqueName("volm-shm");
  SharedMemoryMapping first = SharedMemoryMapping::CreateOrOpen(name, kSize);
  static_cast<unsigned char*>(first.Address())[7] = 42;
  SharedMemoryMapping second = SharedMemoryMapping::CreateOrOpen(name, kSize);
  EXPECT_EQ(static_cast<unsigned char*>(second.Address())[7], 42);
}

TEST(SharedMemory, StoreIsGoneWithItsLastHolder) {
  const std::string name = UniqueName("volm-shm");
  {
    SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    { const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name); }
    // The writer still holds it.
    EXPECT_TRUE(ReasonOfOpening(name).empty());
  }
  EXPECT_FALSE(ReasonOfOpening(name).empty());
}

TEST(SharedMemory, MappingCanBeMadeToFail) {
  Faults().failMappings = 1;
  EXPECT_THROW(SharedMemoryMapping::CreateOrOpen(UniqueName("volm-shm"), kSize), SharedMemoryError);
}

TEST(SharedMemoryAcrossProcesses, SecondProcessSeesTheFirstOnesBytes) {
  const std::string name = UniqueName("volm-xproc");
  ChildProcess creator(SiblingProgram("volm_test_helper"),
                       {"create-store", name, std::to_string(kSize), "99", "3000"});
  ASSERT_TRUE(WaitUntilOpenable(name));
  // Give the creator time to fill the store after creating it.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  ChildProcess reader(SiblingProgram("volm_test_helper"), {"read-store", name, "99"});
  EXPECT_EQ(reader.Wait(20'000), 0);
  EXPECT_EQ(creator.Wait(20'000), 0);
}

TEST(SharedMemoryAcrossProcesses, StoreEndsWithTheProcessThatHeldIt) {
  const std::string name = UniqueName("volm-xproc");
  ChildProcess creator(SiblingProgram("volm_test_helper"),
                       {"create-store", name, std::to_string(kSize), "7", "100"});
  ASSERT_EQ(creator.Wait(20'000), 0);
  ChildProcess reader(SiblingProgram("volm_test_helper"), {"read-store", name, "7"});
  EXPECT_EQ(reader.Wait(20'000), 2);
}

// A holder that dies without closing, as in a crash.
TEST(SharedMemoryAcrossProcesses, StoreOfAKilledHolderIsNotOpenedAsLive) {
  const std::string name = UniqueName("volm-xproc");
  ChildProcess creator(SiblingProgram("volm_test_helper"),
                       {"create-store", name, std::to_string(kSize), "3", "60000"});
  ASSERT_TRUE(WaitUntilOpenable(name));
  creator.Kill();
  ASSERT_TRUE(creator.Wait(20'000).has_value());
  EXPECT_FALSE(ReasonOfOpening(name).empty());
  // A writer that comes next starts from a zero-filled store.
  SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  EXPECT_EQ(static_cast<const unsigned char*>(writer.Address())[100], 0);
}

}  // namespace
