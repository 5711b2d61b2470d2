// Named shared memory between processes, with a helper program as the other process.
#include "platform/SharedMemory.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

namespace {

using namespace VolmTime::Platform;

constexpr std::size_t kSize = 1 << 20;
constexpr std::uint32_t kProcessTimeoutMs = 20'000;

bool CanOpen(const std::string& name) {
  try {
    (void)SharedMemoryMapping::OpenReadOnly(name);
    return true;
  } catch (const SharedMemoryError&) {
    return false;
  }
}

std::unique_ptr<ChildProcess> Helper(const std::vector<std::string>& arguments) {
  return std::make_unique<ChildProcess>(SiblingProgram("volm_test_helper"), arguments);
}

// Starts a helper that creates `name`, fills it with `byte` and holds it until released;
// returns once the store is set up.
std::unique_ptr<ChildProcess> StartCreator(const std::string& name, int byte) {
  auto creator =
      Helper({"create-store", name, std::to_string(kSize), std::to_string(byte), "60000"});
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

TEST(SharedMemoryAcrossProcesses, SecondProcessSeesTheFirstOnesBytesUntilTheFirstLetsGo) {
  const std::string name = UniqueName("volm-xproc");
  auto creator = StartCreator(name, 99);
  EXPECT_EQ(Helper({"read-store", name, "99"})->Wait(kProcessTimeoutMs), 0);
  EXPECT_EQ(Helper({"read-store", name, "98"})->Wait(kProcessTimeoutMs), 1);
  {
    const SharedMemoryMapping release = SharedMemoryMapping::CreateOrOpen(name + "-release", 1);
    EXPECT_EQ(creator->Wait(kProcessTimeoutMs), 0);
  }
  // The creator was its only holder.
  EXPECT_EQ(Helper({"read-store", name, "99"})->Wait(kProcessTimeoutMs), 2);
  EXPECT_FALSE(CanOpen(name));
}

TEST(SharedMemoryAcrossProcesses, StoreOutlivesItsCreatorWhileAnotherProcessHoldsIt) {
  const std::string name = UniqueName("volm-xproc");
  auto creator = StartCreator(name, 7);
  std::optional<SharedMemoryMapping> reader = SharedMemoryMapping::OpenReadOnly(name);
  {
    const SharedMemoryMapping release = SharedMemoryMapping::CreateOrOpen(name + "-release", 1);
    ASSERT_EQ(creator->Wait(kProcessTimeoutMs), 0);
  }
  EXPECT_EQ(static_cast<const unsigned char*>(reader->Address())[kSize - 1], 7);
  EXPECT_EQ(Helper({"read-store", name, "7"})->Wait(kProcessTimeoutMs), 0);
  reader.reset();
  EXPECT_FALSE(CanOpen(name));
}

// A holder that ends without closing anything, as a crash does. The system drops its hold
// (Windows closes its handles, Linux drops its locks), so the store is not found live.
TEST(SharedMemoryAcrossProcesses, StoreOfAKilledHolderIsNotOpenedAsLive) {
  const std::string name = UniqueName("volm-xproc");
  auto creator = StartCreator(name, 3);
  creator->Kill();
  ASSERT_TRUE(creator->Wait(kProcessTimeoutMs).has_value());
  EXPECT_FALSE(CanOpen(name));
  EXPECT_FALSE(CanOpen(name + "-ready"));
  EXPECT_EQ(Helper({"read-store", name, "3"})->Wait(kProcessTimeoutMs), 2);
  // A writer that comes next starts from a zero-filled store.
  const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  EXPECT_EQ(static_cast<const unsigned char*>(writer.Address())[kSize - 1], 0);
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
