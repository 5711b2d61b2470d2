// The platform's message texts from which error texts are made by normalising their blanks
// and line breaks.
#include "platform/SystemMessage.h"

#include <gtest/gtest.h>

namespace {

using namespace VolmTime::Platform;

// Codes for which every message table has a text, Wine's too.
constexpr std::uint32_t kCommonCodes[] = {0x00000000u, 0x00000002u, 0x00000005u,
                                          0x00000006u, 0x00000057u, 0x80004001u,
                                          0x80004005u, 0x80070057u, 0x8007000Eu};

// One line, ended by a carriage return and a line feed.
TEST(SystemMessage, TextsAreLinesAsTheMessageTableHoldsThem) {
  for (const std::uint32_t id : kCommonCodes) {
    WideString text;
    ASSERT_TRUE(SystemMessageText(id, text)) << std::hex << id;
    ASSERT_GE(text.size(), 3u) << std::hex << id;
    EXPECT_EQ(text.find(VolmWideChar{0x0D}), text.size() - 2) << std::hex << id;
    EXPECT_EQ(text.find(VolmWideChar{0x0A}), text.size() - 1) << std::hex << id;
  }
}

TEST(SystemMessage, CodesWithoutAMessageHaveNoText) {
  for (const std::uint32_t id : {0xA0BC1234u, 0x2000FFFFu}) {
    WideString text;
    EXPECT_FALSE(SystemMessageText(id, text)) << std::hex << id;
  }
}

}  // namespace
