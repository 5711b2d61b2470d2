// Windows only: what the system itself says about a store. The Linux side of the same
// promises is in SharedMemoryFiles_linux_test.cpp.
#if defined(_WIN32)

#include "platform/SharedMemory.h"

#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <aclapi.h>
#include <windows.h>

namespace {

using namespace VolmTime::Platform;

constexpr std::size_t kSize = 1 << 16;

// Services and desktop programs that share a clock run under different accounts.
TEST(SharedMemorySecurity, StoreHasANullAccessControlList) {
  const std::string name = UniqueName("volm-dacl");
  const SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, kSize);
  const HANDLE mapping = ::OpenFileMappingA(READ_CONTROL, FALSE, name.c_str());
  ASSERT_NE(mapping, nullptr) << ::GetLastError();
  PACL dacl = reinterpret_cast<PACL>(&dacl);
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD result = ::GetSecurityInfo(mapping, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION,
                                         nullptr, nullptr, &dacl, nullptr, &descriptor);
  EXPECT_EQ(result, static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(dacl, nullptr);
  ::LocalFree(descriptor);
  ::CloseHandle(mapping);
}

// The reason is the system's own text for "file not found", without its line break.
TEST(SharedMemorySecurity, MissingStoreFailsWithTheSystemsTextForFileNotFound) {
  wchar_t buffer[256] = {};
  const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, ERROR_FILE_NOT_FOUND, 0, buffer, 256, nullptr);
  ASSERT_GT(length, 2u);
  const std::string expected(buffer, buffer + length - 2);  // the text is ASCII
  try {
    (void)SharedMemoryMapping::OpenReadOnly(UniqueName("volm-missing"));
    ADD_FAILURE() << "opened a store that does not exist";
  } catch (const SharedMemoryError& failure) {
    EXPECT_EQ(failure.what(), expected);
  }
}

}  // namespace

#endif  // defined(_WIN32)
