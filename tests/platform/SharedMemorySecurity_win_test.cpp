// SPDX-License-Identifier: MIT
// Windows only: who may open a store, as the system itself reports it. The Linux side of the
// same promise is in SharedMemoryFiles_linux_test.cpp.
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

}  // namespace

#endif  // defined(_WIN32)
