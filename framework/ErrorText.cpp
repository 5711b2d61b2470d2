// SPDX-License-Identifier: MIT
#include "framework/ErrorText.h"

#include "platform/SystemMessage.h"

#include <string_view>

namespace {
constexpr VolmWideChar kLineFeed = 0x0A;
constexpr VolmWideChar kCarriageReturn = 0x0D;
constexpr VolmWideChar kBlank = 0x20;
constexpr std::uint32_t kFacilityGroupMask = 0x1FFF0000u;
constexpr std::uint32_t kWin32FacilityGroup = 0x00080000u;
}  // namespace

std::uint32_t SystemMessageId(VolmResult code) noexcept {
  if ((code & kFacilityGroupMask) == kWin32FacilityGroup) return code & 0xFFFFu;
  return code;
}

WideString CollapseMessageBlanks(WideStringView raw) {
  WideString text;
  text.reserve(raw.size());
  std::size_t pendingBlanks = 0;
  for (const VolmWideChar character : raw) {
    if (character == kLineFeed || character == kCarriageReturn || character == kBlank) {
      ++pendingBlanks;
      continue;
    }
    if (pendingBlanks > 0) {
      text.push_back(kBlank);
      pendingBlanks = 0;
    }
    text.push_back(character);
  }
  return text;
}

void GetSystemErrorText(VolmResult code, WideString& text) {
  text.clear();
  WideString raw;
  if (VolmTime::Platform::SystemMessageText(SystemMessageId(code), raw)) {
    text = CollapseMessageBlanks(raw);
  }
  if (text.empty()) text = VOLM_TEXT("Unknown error code");
}

void TerminateSentence(WideString& text) {
  if (text.empty()) return;
  const std::size_t lastKept = text.find_last_not_of(kBlank);
  if (lastKept == WideString::npos) {
    text.clear();
    return;
  }
  text.erase(lastKept + 1);
  constexpr std::basic_string_view<VolmWideChar> kSentenceMarks = VOLM_TEXT("!,.:;?");
  if (kSentenceMarks.find(text.back()) == std::basic_string_view<VolmWideChar>::npos) {
    text.push_back(VolmWideChar{'.'});
  }
  text.push_back(kBlank);
}

void ComposeErrorText(VolmResult code, const char* sourceFile, std::int32_t line,
                      WideString& text) {
  GetSystemErrorText(code, text);
  if (sourceFile == nullptr) return;
  WideString location = VOLM_TEXT("[");
  location += WidenBytes(sourceFile);
  location += VOLM_TEXT(", line ");
  location += WideDecimal(line);
  location += VOLM_TEXT("]");
  TerminateSentence(text);
  text += location;
}
