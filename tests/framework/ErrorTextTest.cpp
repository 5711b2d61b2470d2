// Texts for codes without an error object: the platform's sentence, its end, the location.
#include "WideTextHelpers.h"

#include "VolmTime/Core/CException.h"
#include "framework/ErrorText.h"

#include <gtest/gtest.h>

namespace {

WideString W(const char* ascii) { return WidenBytes(ascii); }

std::string Terminated(const char* ascii) {
  WideString text = W(ascii);
  TerminateSentence(text);
  return Utf8(text);
}

TEST(MessageBlanks, LineBreaksAtTheEndDisappear) {
  EXPECT_EQ(Utf8(CollapseMessageBlanks(W("The handle is invalid.\r\n"))), "The handle is invalid.");
}

TEST(MessageBlanks, EveryRunBeforeAWordBecomesOneBlank) {
  EXPECT_EQ(Utf8(CollapseMessageBlanks(W(" \r\nAccess\r\n  is \n\rdenied"))), " Access is denied");
}

TEST(MessageBlanks, TabsStay) { EXPECT_EQ(Utf8(CollapseMessageBlanks(W("a\t b\t"))), "a\t b\t"); }

TEST(MessageBlanks, OnlyBlanksAndBreaksGiveNothing) {
  EXPECT_TRUE(CollapseMessageBlanks(W(" \r\n \n")).empty());
}

TEST(SentenceEnd, LetterGetsAFullStopAndABlank) { EXPECT_EQ(Terminated("Failed"), "Failed. "); }

TEST(SentenceEnd, SentenceMarkGetsOnlyABlank) {
  for (const char* text : {"Done.", "Really!", "Why?", "List:", "Pause;", "Comma,"}) {
    EXPECT_EQ(Terminated(text), std::string(text) + " ");
  }
}

TEST(SentenceEnd, TrailingBlanksAreTrimmedFirst) {
  EXPECT_EQ(Terminated("Done.  "), "Done. ");
  EXPECT_EQ(Terminated("Failed "), "Failed. ");
}

TEST(SentenceEnd, EmptyAndBlankTextsStayEmpty) {
  EXPECT_EQ(Terminated(""), "");
  EXPECT_EQ(Terminated("   "), "");
}

TEST(SystemMessageIds, Win32FacilityGroupKeepsTheLowWord) {
  EXPECT_EQ(SystemMessageId(0x80080005u), 0x0005u);
  EXPECT_EQ(SystemMessageId(0x00080002u), 0x0002u);
  EXPECT_EQ(SystemMessageId(0x80070005u), 0x80070005u);
  EXPECT_EQ(SystemMessageId(0x80004005u), 0x80004005u);
}

TEST(SystemErrorText, KnownCodeGivesOneLineOfText) {
  WideString text;
  GetSystemErrorText(VOLM_E_FAIL, text);
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(text.find(VolmWideChar{'\r'}), WideString::npos);
  EXPECT_EQ(text.find(VolmWideChar{'\n'}), WideString::npos);
  EXPECT_NE(text.back(), VolmWideChar{' '});
  EXPECT_NE(Utf8(text), "Unknown error code");
}

TEST(SystemErrorText, CodeWithoutTextIsUnknown) {
  WideString text = W("previous content");
  GetSystemErrorText(0xA0BC1234u, text);
  EXPECT_EQ(Utf8(text), "Unknown error code");
}

TEST(ComposedText, NamesTheFileAndLineAfterTheSentence) {
  WideString text;
  ComposeErrorText(0xA0BC1234u, "HighResDriverCounterTimerWrapper", 42, text);
  EXPECT_EQ(Utf8(text), "Unknown error code. [HighResDriverCounterTimerWrapper, line 42]");
}

TEST(ComposedText, KnownCodeKeepsItsSentenceMark) {
  WideString sentence;
  GetSystemErrorText(VOLM_E_FAIL, sentence);
  WideString text;
  ComposeErrorText(VOLM_E_FAIL, "WaitableTimer", 69, text);
  const std::string composed = Utf8(text);
  EXPECT_EQ(composed.rfind(Utf8(sentence), 0), 0u) << composed;
  const std::string tail = composed.substr(sentence.size());
  const bool endsInMark = std::string("!,.:;?").find(Utf8(sentence).back()) != std::string::npos;
  EXPECT_EQ(tail, std::string(endsInMark ? " " : ". ") + "[WaitableTimer, line 69]");
}

TEST(ComposedText, WithoutFileItIsThePlainSentence) {
  WideString text;
  ComposeErrorText(0xA0BC1234u, nullptr, 7, text);
  EXPECT_EQ(Utf8(text), "Unknown error code");
}

TEST(ComposedText, NegativeLineIsWrittenWithItsSign) {
  WideString text;
  ComposeErrorText(0xA0BC1234u, "F", -3, text);
  EXPECT_EQ(Utf8(text), "Unknown error code. [F, line -3]");
}

TEST(CoreException, WhatIsUtf8OfEachUnit) {
  const VolmWideChar message[] = {'A', 0x00E9, 0x20AC, 0xD83D, 0xDE00, 0};
  const VolmTime::Core::CException failure(message);
  EXPECT_EQ(std::string(failure.what()), "A\xC3\xA9\xE2\x82\xAC\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(failure.Message(), WideString(message));
}

TEST(CoreException, IsAStandardExceptionAndCopiesBothTexts) {
  const VolmTime::Core::CException original(W("VolmTime::Core::WindowsCounter::GetTick failed."));
  const VolmTime::Core::CException copy =
      original;  // NOLINT(performance-unnecessary-copy-initialization)
  const std::exception& asStandard = copy;
  EXPECT_STREQ(asStandard.what(), "VolmTime::Core::WindowsCounter::GetTick failed.");
  EXPECT_EQ(copy.Message(), original.Message());
}

TEST(WideTextConversions, NarrowingKeepsTheLowByteAndWideningRestoresAscii) {
  const VolmWideChar name[] = {'C', 'l', 0x0141, 0x00FF, 0};
  EXPECT_EQ(NarrowToLowBytes(name), std::string("Cl\x41\xFF"));
  EXPECT_EQ(Utf8(WidenBytes("plain")), "plain");
  const WideString widened = WidenBytes("\xFF");
  ASSERT_EQ(widened.size(), 1u);
  EXPECT_EQ(widened[0], VolmWideChar{0xFF});
}

}  // namespace
