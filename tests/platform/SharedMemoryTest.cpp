// SPDX-License-Identifier: MIT
// Named shared memory within one process and between processes (a helper program is the
// other process): creating, opening, sharing bytes, lifetime.
#include "platform/SharedMemory.h"
#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>

namespace {

using namespace VolmTime::Platform;
constexpr std::size_t kSize = 1 << 20;
constexpr std::uint32_t kProcessTimeoutMs = 20'000;

bool CanOpen(const std::string& name) {
  try {
    (void)SharedMemoryMapping::OpenReadOnly(name);
  } catch (const SharedMemoryError&) {
    return false;
  }
  return true;
}
unsigned char ByteAt(const SharedMemoryMapping& mapping, std::size_t offset) {
  return static_cast<const unsigned char*>(mapping.Address())[offset];
}

TEST(SharedMemory, WritersAndReadersShareOneZeroFilledStoreThatGoesWithItsLastHolder) {
  const std::string name = UniqueName("volm-shm");
  {
    std::optional<SharedMemoryMapping> writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    ASSERT_GE(writer->Size(), kSize);
    EXPECT_EQ(ByteAt(*writer, kSize - 1), 0);
    std::memset(writer->Address(), 0x5A, kSize);
    const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
    static_cast<unsigned char*>(writer->Address())[7] = 0x17;
    EXPECT_EQ(ByteAt(reader, 7), 0x17);
    // A second writer opens the live store with its bytes and size, asked for less or not.
    EXPECT_GE(SharedMemoryMapping::CreateOrOpen(name, kSize / 4).Size(), kSize);
    SharedMemoryMapping moved = std::move(*writer);
    writer.reset();
    EXPECT_EQ(ByteAt(SharedMemoryMapping::CreateOrOpen(name, kSize), 7), 0x17);
  }
  // Gone with its last holder (the reason's text is the host suite's bad-input row); the name
  // starts afresh.
  EXPECT_FALSE(CanOpen(name));
  EXPECT_EQ(ByteAt(SharedMemoryMapping::CreateOrOpen(name, kSize), 0), 0);
}

std::unique_ptr<ChildProcess> Helper(const std::vector<std::string>& arguments) {
  return std::make_unique<ChildProcess>(SiblingProgram("volm_test_helper"), arguments);
}

// Starts a helper that creates `name`, fills it with `byte` and holds it until killed;
// returns once the store is set up.
std::unique_ptr<ChildProcess> StartCreator(const std::string& name, int byte) {
  auto creator = Helper({"create-store", name, std::to_string(kSize), std::to_string(byte)});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!CanOpen(name + "-ready")) {
    if (std::chrono::steady_clock::now() > deadline || creator->Wait(0).has_value()) {
      ADD_FAILURE() << "the helper did not set up " << name;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return creator;
}

// A holder that ends without closing anything, as a crash does, drops its hold (Windows
// closes its handles, Linux drops its locks): the store lives on while another process holds
// it, and is not found live once nobody does.
TEST(SharedMemoryAcrossProcesses, StoreLivesWhileAnyProcessHoldsItAndAKilledHolderLetsGo) {
  const std::string name = UniqueName("volm-xproc");
  auto creator = StartCreator(name, 7);
  std::optional<SharedMemoryMapping> reader = SharedMemoryMapping::OpenReadOnly(name);
  EXPECT_EQ(ByteAt(*reader, 0), 7);
  creator->Kill();
  ASSERT_TRUE(creator->Wait(kProcessTimeoutMs).has_value());
  EXPECT_EQ(ByteAt(*reader, kSize - 1), 7);
  EXPECT_TRUE(CanOpen(name));
  reader.reset();
  EXPECT_FALSE(CanOpen(name));
  creator = StartCreator(name, 3);
  creator->Kill();
  ASSERT_TRUE(creator->Wait(kProcessTimeoutMs).has_value());
  EXPECT_FALSE(CanOpen(name));
  EXPECT_EQ(ByteAt(SharedMemoryMapping::CreateOrOpen(name, kSize), kSize - 1), 0);
  // The killed helper's ready mark goes as the next holder of its name lets go.
  (void)SharedMemoryMapping::CreateOrOpen(name + "-ready", 1);
}

// Writers and readers in several processes open and close one name as fast as they can:
// none may meet a store that is half set up, too small, or zero-filled under it.
TEST(SharedMemoryAcrossProcesses, ConcurrentOpeningAndClosingIsSafe) {
  const std::string name = UniqueName("volm-churn");
  std::vector<std::unique_ptr<ChildProcess>> churners;
  for (int i = 0; i < 3; ++i)
    churners.push_back(Helper({"churn", name, std::to_string(kSize), "400"}));
  for (auto& churner : churners) EXPECT_EQ(churner->Wait(kProcessTimeoutMs), 0);
  EXPECT_FALSE(CanOpen(name));
}

}  // namespace
