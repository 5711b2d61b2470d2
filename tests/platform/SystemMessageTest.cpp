// The platform's message texts that error texts are made from.
#include "VolmTime/Core/Platform/SystemMessage.h"

#include <gtest/gtest.h>

namespace {

using namespace VolmTime::Core::Platform;

TEST(SystemMessage, KnownCodesHaveTextEndingInALineBreak) {
  for (const std::uint32_t id : {0x80004005u, 0x80070057u, 2u, 5u}) {
    WideString text;
    ASSERT_TRUE(SystemMessageText(id, text)) << std::hex << id;
    ASSERT_GE(text.size(), 3u);
    EXPECT_EQ(text.back(), VolmWideChar{'\n'}) << std::hex << id;
  }
}

TEST(SystemMessage, UnknownCodesHaveNone) {
  WideString text;
  EXPECT_FALSE(SystemMessageText(0xA0BC1234u, text));
}

}  // namespace
