// Linux only: the backend's own message table must give the texts that Windows' system
// message table gives, since error texts are made from them. (Wine's table has texts of its
// own and lacks some codes, so the Windows build run under Wine cannot check them.)
#if defined(__linux__)

#include "platform/SystemMessage.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace VolmTime::Platform;

std::string Narrow(const WideString& text) {
  std::string narrow;
  for (const VolmWideChar character : text) {
    narrow.push_back(character < 0x80 ? static_cast<char>(character) : '?');
  }
  return narrow;
}

struct KnownMessage {
  std::uint32_t id;
  const char* text;
};

constexpr KnownMessage kCodesTheModuleMeets[] = {
    {0x00000000u, "The operation completed successfully.\r\n"},
    {0x00000002u, "The system cannot find the file specified.\r\n"},
    {0x00000005u, "Access is denied.\r\n"},
    {0x00000006u, "The handle is invalid.\r\n"},
    {0x00000057u, "The parameter is incorrect.\r\n"},
    {0x80004001u, "Not implemented\r\n"},
    {0x80004002u, "No such interface supported\r\n"},
    {0x80004003u, "Invalid pointer\r\n"},
    {0x80004005u, "Unspecified error\r\n"},
    {0x80040111u, "ClassFactory cannot supply requested class\r\n"},
    {0x80070057u, "The parameter is incorrect.\r\n"},
    {0x8007000Eu, "Not enough memory resources are available to complete this operation.\r\n"},
};

TEST(SystemMessageTable, CodesTheModuleMeetsHaveTheWindowsTexts) {
  for (const KnownMessage& known : kCodesTheModuleMeets) {
    WideString text;
    EXPECT_TRUE(SystemMessageText(known.id, text)) << std::hex << known.id;
    EXPECT_EQ(Narrow(text), known.text) << std::hex << known.id;
  }
}

}  // namespace

#endif  // defined(__linux__)
