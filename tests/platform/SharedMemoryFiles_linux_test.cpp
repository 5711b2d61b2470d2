// Linux only: the files behind named shared memory in /dev/shm. Windows keeps its file
// mappings in the kernel's object namespace, where nothing is left to look at.
#if defined(__linux__)

#include "VolmTime/Core/Platform/SharedMemory.h"

#include "tests/support/UniqueName.h"
#include "tools/common/ChildProcess.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Core::Platform;

constexpr std::size_t kSize = 1 << 16;

std::string FileOf(const std::string& name) { return "/dev/shm/" + name; }

bool FileExists(const std::string& name) {
  struct stat status {};
  return ::stat(FileOf(name).c_str(), &status) == 0;
}

std::string ReasonOfOpening(const std::string& name) {
  try {
    (void)SharedMemoryMapping::OpenReadOnly(name);
  } catch (const SharedMemoryError& failure) {
    return failure.what();
  }
  return "";
}

TEST(SharedMemoryFiles, StoreIsOpenToEveryAccountWhateverTheUmask) {
  const std::string name = UniqueName("volm-mode");
  const mode_t previous = ::umask(077);
  const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  ::umask(previous);
  struct stat status {};
  ASSERT_EQ(::stat(FileOf(name).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666u);
}

TEST(SharedMemoryFiles, NothingIsLeftInDevShmAfterTheLastHolder) {
  const std::string name = UniqueName("volm-gone");
  {
    const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
    const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
    EXPECT_TRUE(FileExists(name));
  }
  EXPECT_FALSE(FileExists(name));
}

TEST(SharedMemoryFiles, MissingStoreFailsWithTheReasonForNoSuchFile) {
  EXPECT_EQ(ReasonOfOpening(UniqueName("volm-missing")), "No such file or directory");
}

// Only a holder killed outright leaves its file behind; the next opener finds nobody holding
// it, reports it missing and removes it.
TEST(SharedMemoryFiles, ReaderRemovesTheFileOfAKilledHolder) {
  const std::string name = UniqueName("volm-killed");
  ChildProcess creator(SiblingProgram("volm_test_helper"),
                       {"create-store", name, std::to_string(kSize), "5", "60000"});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!FileExists(name + "-ready") && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  creator.Kill();
  ASSERT_TRUE(creator.Wait(20'000).has_value());
  EXPECT_TRUE(FileExists(name));
  EXPECT_EQ(ReasonOfOpening(name), "No such file or directory");
  EXPECT_FALSE(FileExists(name));
  // The helper's readiness marker was left the same way; a writer takes it over as a new
  // store and, as its last holder, removes it.
  ASSERT_TRUE(FileExists(name + "-ready"));
  { const SharedMemoryMapping marker = SharedMemoryMapping::CreateOrOpen(name + "-ready", 1); }
  EXPECT_FALSE(FileExists(name + "-ready"));
}

}  // namespace

#endif  // defined(__linux__)
