// SPDX-License-Identifier: MIT
#include "platform/SystemMessage.h"

#include <iterator>

namespace VolmTime::Platform {

namespace {

struct MessageText {
  std::uint32_t id;
  const VolmWideChar* text;
};

// The texts of the system message table for the codes the module can meet, as the table
// holds them, line breaks included.
constexpr MessageText kMessages[] = {
    {0x00000000u, u"The operation completed successfully.\r\n"},
    {0x00000002u, u"The system cannot find the file specified.\r\n"},
    {0x00000005u, u"Access is denied.\r\n"},
    {0x00000006u, u"The handle is invalid.\r\n"},
    {0x00000008u, u"Not enough memory resources are available to process this command.\r\n"},
    {0x00000057u, u"The parameter is incorrect.\r\n"},
    {0x80004001u, u"Not implemented\r\n"},
    {0x80004002u, u"No such interface supported\r\n"},
    {0x80004003u, u"Invalid pointer\r\n"},
    {0x80004004u, u"Operation aborted\r\n"},
    {0x80004005u, u"Unspecified error\r\n"},
    {0x8000FFFFu, u"Catastrophic failure\r\n"},
    {0x80040111u, u"ClassFactory cannot supply requested class\r\n"},
    {0x80070002u, u"The system cannot find the file specified.\r\n"},
    {0x80070005u, u"Access is denied.\r\n"},
    {0x80070006u, u"The handle is invalid.\r\n"},
    {0x8007000Eu, u"Not enough memory resources are available to complete this operation.\r\n"},
    {0x80070057u, u"The parameter is incorrect.\r\n"},
};

}  // namespace

bool SystemMessageText(std::uint32_t messageId, WideString& text) {
  for (const MessageText& message : kMessages) {
    if (message.id == messageId) {
      text = message.text;
      return true;
    }
  }
  return false;
}

}  // namespace VolmTime::Platform
