// SPDX-License-Identifier: MIT
// The object model every component stands on: reference counts and identity, identifiers,
// error and string objects, the two kinds of boundary, and the texts of codes that come
// without an error object.
#include "VolmTime/CoreBoundary.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/CVolmException.h"
#include "framework/CVolmWideCharString.h"
#include "framework/ComponentBoundary.h"
#include "framework/ErrorText.h"
#include "framework/ThrowIfFailed.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <VolmTime/VolmIds.h>

#include <new>

namespace {

template <typename T, typename From>
T* Query(From* object, const VolmId& id) {
  void* out = nullptr;
  EXPECT_EQ(object->QueryInterface(id, &out), VOLM_S_OK);
  return static_cast<T*>(out);
}

using ObjectModel = LeakChecked;

// The factory is the component with two interfaces of its own.
TEST_F(ObjectModel, OneCountAndOneIdentityThroughEverySubObject) {
  auto* raw = new VolmTime::VolmTimeFactory;
  CVolmPtr<VolmTime::VolmTimeFactory> object(raw);
  auto* advanced = Query<IVolmTimeFactoryAdvanced>(object.Get(), VolmIds().timeFactoryAdvanced);
  auto* primary = Query<IVolmTimeFactory>(advanced, VolmIds().timeFactory);
  auto* errors = Query<IGetVolmError>(advanced, VolmIds().getVolmError);
  auto* identity = Query<IVolmUnknown>(errors, VolmIds().volmUnknown);
  EXPECT_EQ(static_cast<void*>(primary), static_cast<void*>(static_cast<IVolmTimeFactory*>(raw)));
  EXPECT_NE(static_cast<void*>(advanced), static_cast<void*>(primary));
  EXPECT_EQ(identity, static_cast<IVolmUnknown*>(primary));
  EXPECT_EQ(RefCountOf(raw), 5u);
  EXPECT_EQ(advanced->Release(), 4u);
  EXPECT_EQ(primary->Release(), 3u);
  EXPECT_EQ(errors->Release(), 2u);
  EXPECT_EQ(identity->Release(), 1u);
  void* out = raw;
  EXPECT_EQ(object->QueryInterface(VolmIds().clock, &out), VOLM_E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(object->QueryInterface(VolmIds().timeFactory, nullptr), VOLM_E_POINTER);
  // The pointer holds exactly one reference, across copies, moves and reassignment.
  CVolmPtr<VolmTime::VolmTimeFactory> copy = object;
  CVolmPtr<VolmTime::VolmTimeFactory> moved = std::move(copy);
  EXPECT_FALSE(copy);
  moved = raw;
  EXPECT_EQ(RefCountOf(raw), 2u);
  moved.Reset();
  EXPECT_EQ(RefCountOf(raw), 1u);
}

TEST(Identifiers, ParseAndMatchThePublicHeader) {
  EXPECT_THROW(ParseVolmId("E91C1F8CC2944d2A9551DAD72979BA3D"), std::exception);
  EXPECT_THROW(ParseVolmId("E91C1F8C-C294-4d2A-9551-DAD72979BA3G"), std::exception);
  const std::pair<VolmId, VolmId> pairs[] = {
      {VolmIds().volmUnknown, IID_IVolmUnknown},
      {VolmIds().getVolmError, IID_IGetVolmError},
      {VolmIds().timeFactoryClass, CLSID_VolmTimeFactory},
      {VolmIds().timeFactory, IID_IVolmTimeFactory},
      {VolmIds().timeFactoryAdvanced, IID_IVolmTimeFactoryAdvanced},
      {VolmIds().highResolutionCounter, IID_IHighResolutionCounter},
      {VolmIds().correctionFunction, IID_ICorrectionFunction},
      {VolmIds().piecewiseLinearCorrection, IID_IPiecewiseLinearCorrection},
      {VolmIds().clock, IID_IClock},
      {VolmIds().waitForEvents, IID_IWaitForEvents},
      {VolmIds().waitableTickTimer, IID_IWaitableTickTimer},
      {VolmIds().waitableTimer, IID_IWaitableTimer},
      {VolmIds().volmError, IID_IVolmError},
      {VolmIds().volmWideCharString, IID_IVolmWideCharString}};
  for (const auto& [parsed, published] : pairs) EXPECT_EQ(parsed, published);
}

TEST_F(ObjectModel, ErrorAndStringObjectsKeepTheirOwnCopies) {
  VolmWideChar source[] = {'a', 0xD83D, 0xDE00, 'z', 0};
  CVolmPtr<CVolmWideCharString> text(new CVolmWideCharString(source));
  source[0] = 'X';
  std::uint32_t length = 0;
  const VolmWideChar* buffer = nullptr;
  EXPECT_EQ(text->GetLength(&length), VOLM_S_OK);
  EXPECT_EQ(text->GetBuffer(&buffer), VOLM_S_OK);
  EXPECT_EQ(length, 4u);  // sixteen-bit units
  EXPECT_EQ(buffer[0], VolmWideChar{'a'});

  CVolmPtr<CVolmError> error(new CVolmError(0x8007000Eu, VOLM_TEXT("out of memory")));
  CVolmPtr<CVolmError> copy(new CVolmError(static_cast<IVolmError*>(error.Get())));
  EXPECT_EQ(copy->GetCode(), 0x8007000Eu);
  EXPECT_EQ(TextOf(copy.Get()), "out of memory");
  EXPECT_EQ(RefCountOf(error.Get()), 1u);
  CVolmPtr<CVolmError> ofNull(new CVolmError(static_cast<IVolmError*>(nullptr)));
  EXPECT_EQ(ofNull->GetCode(), VOLM_E_FAIL);
  EXPECT_EQ(TextOf(ofNull.Get()), "Undefined Error");
}

TEST_F(ObjectModel, LastErrorHoldsOneReferenceAndOutlivesItsObjectWhenFetched) {
  CVolmPtr<IVolmError> fetched;
  {
    CVolmPtr<ScriptedCorrection> object(new ScriptedCorrection);
    CVolmPtr<CVolmError> first(new CVolmError(0x80000001u, VOLM_TEXT("first")));
    EXPECT_EQ(object->SetError(first.Get()), 0x80000001u);
    EXPECT_EQ(object->SetError(first.Get()), 0x80000001u);
    EXPECT_EQ(RefCountOf(first.Get()), 2u);
    object->SetError(new CVolmError(0x80000002u, VOLM_TEXT("kept")));
    EXPECT_EQ(RefCountOf(first.Get()), 1u);
    EXPECT_EQ(object->GetError(nullptr), VOLM_S_OK);
    object->GetError(fetched.Put());
  }
  EXPECT_EQ(TextOf(fetched.Get()), "kept");
  fetched.Reset();
}

using Boundary = LeakChecked;

TEST_F(Boundary, ExceptionsBecomeCodesAndLastErrors) {
  CVolmPtr<ScriptedCorrection> object(new ScriptedCorrection);
  EXPECT_EQ(ComponentBoundary(*object, [] { throw CVolmException(0x80070057u, VOLM_TEXT("bad")); }),
            0x80070057u);
  EXPECT_EQ(LastErrorText(object.Get()), "bad");
  EXPECT_EQ(ComponentBoundary(*object, [] { throw 42; }), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(object.Get()), "Unknown exception");
  EXPECT_EQ(ComponentBoundary(*object, [] {}), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(object.Get()), "<none>");
  // The core boundary: a core exception is E_FAIL with its message; success keeps the error.
  EXPECT_EQ(VolmTime::CoreBoundary(
                *object, [] { throw VolmTime::Core::CException(VOLM_TEXT("core failed")); }),
            VOLM_E_FAIL);
  EXPECT_EQ(VolmTime::CoreBoundary(*object, [] {}), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(object.Get()), "core failed");
  EXPECT_EQ(VolmTime::CoreBoundary(*object, [] { throw std::bad_alloc(); }), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(object.Get()), "Unknown exception");
}

TEST_F(Boundary, InnerFailuresTravelOutwardWithTheInnermostCodeAndText) {
  CVolmPtr<ScriptedCorrection> deep(new ScriptedCorrection);
  deep->failure = 0x80000077u;  // with the error object "no segment here"
  CVolmPtr<ScriptedCorrection> middle(new ScriptedCorrection);
  CVolmPtr<ScriptedCorrection> outer(new ScriptedCorrection);
  std::uint64_t time = 0;
  // The returned code differs from the error object's: the error object wins.
  const VolmResult middleResult = ComponentBoundary(*middle, [&] {
    (void)deep->TickToTime(1, &time);
    ThrowIfFailed(deep.Get(), 0x80000001u, VolmCallSite{"Middle", 1});
  });
  EXPECT_EQ(ComponentBoundary(*outer,
                              [&] {
                                ThrowIfFailed(middle.Get(), middleResult, VolmCallSite{"Outer", 2});
                              }),
            0x80000077u);
  EXPECT_EQ(LastErrorText(outer.Get()), "no segment here");
  EXPECT_EQ(RefCountOf(deep.Get()), 1u);
  // S_FALSE passes. (A failure without an error object gets a text naming the call site: the
  // timer's own test.)
  EXPECT_NO_THROW(ThrowIfFailed(deep.Get(), VOLM_S_FALSE, VolmCallSite{"Outer", 3}));
}

TEST(ErrorTexts, MessagesAreOneLineSentencesWithTheirLocation) {
  const std::pair<const char*, const char*> collapsed[] = {
      {"The handle is invalid.\r\n", "The handle is invalid."},
      {" \r\nAccess\r\n  is \n\rdenied", " Access is denied"},
      {"a\t b\t", "a\t b\t"},
      {" \r\n \n", ""}};
  for (const auto& [raw, expected] : collapsed)
    EXPECT_EQ(Utf8(CollapseMessageBlanks(WidenBytes(raw))), expected) << raw;
  const std::pair<const char*, const char*> terminated[] = {{"Failed", "Failed. "},
                                                            {"Why?", "Why? "},
                                                            {"Comma,", "Comma, "},
                                                            {"Done.  ", "Done. "},
                                                            {"Failed ", "Failed. "},
                                                            {"   ", ""},
                                                            {"", ""}};
  for (const auto& [raw, expected] : terminated) {
    WideString text = WidenBytes(raw);
    TerminateSentence(text);
    EXPECT_EQ(Utf8(text), expected) << raw;
  }
  const std::pair<VolmResult, std::uint32_t> ids[] = {
      {0x80080005u, 5u}, {0x00080002u, 2u}, {0x80070005u, 0x80070005u}, {0x80004005u, 0x80004005u}};
  for (const auto& [code, id] : ids) EXPECT_EQ(SystemMessageId(code), id) << code;

  WideString text = WidenBytes("previous");
  GetSystemErrorText(0xA0BC1234u, text);
  EXPECT_EQ(Utf8(text), "Unknown error code");
  ComposeErrorText(0xA0BC1234u, "F", -3, text);
  EXPECT_EQ(Utf8(text), "Unknown error code. [F, line -3]");
  ComposeErrorText(0xA0BC1234u, nullptr, 7, text);
  EXPECT_EQ(Utf8(text), "Unknown error code");
  WideString known;
  GetSystemErrorText(VOLM_E_FAIL, known);
  EXPECT_NE(Utf8(known), "Unknown error code");
  EXPECT_EQ(known.find(VolmWideChar{'\n'}), WideString::npos);
  ComposeErrorText(VOLM_E_FAIL, "WaitableTimer", 69, text);
  TerminateSentence(known);
  EXPECT_EQ(Utf8(text), Utf8(known) + "[WaitableTimer, line 69]");
}

TEST(WideText, ConversionsKeepEveryUnit) {
  const VolmWideChar message[] = {'A', 0x00E9, 0x20AC, 0xD83D, 0xDE00, 0};
  const VolmTime::Core::CException failure(message);
  EXPECT_STREQ(failure.what(), "A\xC3\xA9\xE2\x82\xAC\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(failure.Message(), WideString(message));
  const VolmWideChar name[] = {'C', 'l', 0x0141, 0x00FF, 0};
  EXPECT_EQ(NarrowToLowBytes(name), std::string("Cl\x41\xFF"));
  EXPECT_EQ(WidenBytes("\xFF"), WideString(1, VolmWideChar{0xFF}));
}

}  // namespace
