// Named shared memory: bytes shared between holders, in this process and with a helper
// program as a second process, and a store's lifetime (while some process holds it).
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/Platform/SharedMemory.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace {

using namespace VolmTime::Core::Platform;
constexpr std::size_t kSize = 1 << 20;
constexpr std::uint32_t kProcessTimeoutMs = 20'000;

// The reason an opening for reading fails, or nothing when it succeeds.
std::optional<std::string> FailureOfOpening(const std::string& name) {
  try {
    (void)SharedMemoryMapping::OpenReadOnly(name);
  } catch (const SharedMemoryError& failure) {
    return failure.what();
  }
  return std::nullopt;
}

bool CanOpen(const std::string& name) { return !FailureOfOpening(name).has_value(); }

unsigned char& ByteAt(const SharedMemoryMapping& mapping, std::size_t offset) {
  return static_cast<unsigned char*>(mapping.Address())[offset];
}

std::unique_ptr<ChildProcess> Helper(const std::vector<std::string>& arguments) {
  return std::make_unique<ChildProcess>(SiblingProgram("volm_helper"), arguments);
}

// A second process that creates the store `name` through the library, publishes (100, 1000,
// 2.0) and (200, 1300, 0.5) and holds it; returned once the store can be opened.
std::unique_ptr<ChildProcess> StartHolder(const std::string& name) {
  auto holder = Helper({"hold", name, "60000"});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!CanOpen(name) || Helper({"expect", name, "150", "1100"})->Wait(kProcessTimeoutMs) != 0) {
    if (std::chrono::steady_clock::now() > deadline || holder->Wait(0).has_value()) {
      ADD_FAILURE() << "the helper did not set up " << name;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return holder;
}

TEST(SharedMemory, ReadersSeeTheWritersBytesUntilTheLastHolderLetsGo) {
  const std::string name = UniqueName("volm-shm");
  std::optional<SharedMemoryMapping> writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  ASSERT_GE(writer->Size(), kSize);
  EXPECT_TRUE(writer->IsWritable());
  EXPECT_EQ(ByteAt(*writer, kSize - 1), 0);  // new: zero-filled
  std::memset(writer->Address(), 0x5A, kSize);
  std::optional<SharedMemoryMapping> reader = SharedMemoryMapping::OpenReadOnly(name);
  EXPECT_FALSE(reader->IsWritable());
  EXPECT_EQ(reader->Name(), name);
  ByteAt(*writer, kSize / 2) = 0x17;
  EXPECT_EQ(ByteAt(*reader, kSize / 2), 0x17);
  // A second writer asking for less finds the live store as it is.
  EXPECT_EQ(ByteAt(SharedMemoryMapping::CreateOrOpen(name, kSize / 4), kSize - 1), 0x5A);
  writer.reset();
  EXPECT_TRUE(CanOpen(name));  // the reader still holds it
  reader.reset();
  EXPECT_FALSE(CanOpen(name));
  EXPECT_EQ(ByteAt(SharedMemoryMapping::CreateOrOpen(name, kSize), kSize - 1), 0);
}

TEST(SharedMemory, MissingNamesAndFailedMappingsThrowWithAReason) {
  const std::string name = UniqueName("volm-shm");
  const std::optional<std::string> reason = FailureOfOpening(name);
  ASSERT_TRUE(reason.has_value());
  ASSERT_FALSE(reason->empty());
  EXPECT_NE(reason->back(), '\n');
  Faults().failMappings = 1;
  EXPECT_THROW((void)SharedMemoryMapping::CreateOrOpen(name, kSize), SharedMemoryError);
  SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  const SharedMemoryMapping moved = std::move(writer);
  Faults().failMappings = 1;
  EXPECT_THROW((void)SharedMemoryMapping::OpenReadOnly(name), SharedMemoryError);
  EXPECT_TRUE(CanOpen(name));
}

// A holder that ends without closing anything, as a crash does: the system drops its hold.
// While this process holds the store it stays; after that it is not found live, and the next
// writer starts from zeros.
TEST(SharedMemoryAcrossProcesses, StoreLivesWhileAnyProcessHoldsIt) {
  const std::string name = UniqueName("volm-xproc");
  auto holder = StartHolder(name);
  EXPECT_EQ(Helper({"expect", name, "150", "1101"})->Wait(kProcessTimeoutMs), 1);
  std::optional<SharedMemoryMapping> reader = SharedMemoryMapping::OpenReadOnly(name);
  holder->Kill();
  ASSERT_TRUE(holder->Wait(kProcessTimeoutMs).has_value());
  EXPECT_EQ(Helper({"expect", name, "150", "1100"})->Wait(kProcessTimeoutMs), 0);
  reader.reset();
  EXPECT_FALSE(CanOpen(name));
  EXPECT_EQ(Helper({"expect", name, "150", "1100"})->Wait(kProcessTimeoutMs), 2);
  holder = StartHolder(name);
  holder->Kill();
  ASSERT_TRUE(holder->Wait(kProcessTimeoutMs).has_value());
  EXPECT_FALSE(CanOpen(name));
  const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  EXPECT_EQ(ByteAt(writer, 100), 0);
}

// Writers and readers in several processes open and close one name as fast as they can:
// none may meet a store that is half set up, too small, or emptied other than by a writer.
TEST(SharedMemoryAcrossProcesses, ConcurrentOpeningAndClosingIsSafe) {
  const std::string name = UniqueName("volm-churn");
  std::vector<std::unique_ptr<ChildProcess>> churners;
  for (int i = 0; i < 3; ++i) churners.push_back(Helper({"churn", name, "400"}));
  for (auto& churner : churners) EXPECT_EQ(churner->Wait(kProcessTimeoutMs), 0);
  EXPECT_FALSE(CanOpen(name));
}

}  // namespace
