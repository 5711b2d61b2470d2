// Error and string objects, and the last-error slot of every component.
#include "TestComponents.h"
#include "WideTextHelpers.h"

#include "framework/CVolmError.h"
#include "framework/CVolmException.h"
#include "framework/CVolmWideCharString.h"

#include <gtest/gtest.h>

namespace {

TEST(StringObject, EmptyStringHasLengthZeroAndATerminator) {
  CVolmPtr<CVolmWideCharString> text(new CVolmWideCharString);
  std::uint32_t length = 99;
  EXPECT_EQ(text->GetLength(&length), VOLM_S_OK);
  EXPECT_EQ(length, 0u);
  const VolmWideChar* buffer = nullptr;
  EXPECT_EQ(text->GetBuffer(&buffer), VOLM_S_OK);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer[0], VolmWideChar{0});
}

TEST(StringObject, AssignCopiesAndCountsSixteenBitUnits) {
  VolmWideChar source[] = {'a', 0xD83D, 0xDE00, 'z', 0};
  CVolmPtr<CVolmWideCharString> text(
      new CVolmWideCharString(static_cast<const VolmWideChar*>(nullptr)));
  EXPECT_EQ(text->Assign(source), VOLM_S_OK);
  source[0] = 'X';  // the object keeps its own copy
  std::uint32_t length = 0;
  text->GetLength(&length);
  EXPECT_EQ(length, 4u);
  const VolmWideChar* buffer = nullptr;
  text->GetBuffer(&buffer);
  EXPECT_EQ(buffer[0], VolmWideChar{'a'});
  EXPECT_EQ(text->Assign(nullptr), VOLM_S_OK);
  text->GetLength(&length);
  EXPECT_EQ(length, 0u);
}

TEST(StringObject, NullOutParametersAreRefused) {
  CVolmPtr<CVolmWideCharString> text(new CVolmWideCharString(VOLM_TEXT("x")));
  EXPECT_EQ(text->GetBuffer(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(text->GetLength(nullptr), VOLM_E_POINTER);
}

TEST(ErrorObject, CarriesCodeAndText) {
  CVolmPtr<CVolmError> error(new CVolmError(0x80070002u, VOLM_TEXT("gone")));
  EXPECT_EQ(error->GetCode(), 0x80070002u);
  EXPECT_EQ(TextOf(error.Get()), "gone");
}

TEST(ErrorObject, GetTextWithNullTakesNoReference) {
  const std::uint32_t before = GetLiveObjectCount();
  {
    CVolmPtr<CVolmError> error(new CVolmError(VOLM_E_FAIL, VOLM_TEXT("x")));
    EXPECT_EQ(error->GetText(nullptr), VOLM_S_OK);
    IVolmWideCharString* text = nullptr;
    ASSERT_EQ(error->GetText(&text), VOLM_S_OK);
    // The error's own reference plus ours.
    EXPECT_EQ(RefCountOf(text), 2u);
    text->Release();
  }
  EXPECT_EQ(GetLiveObjectCount(), before);
}

TEST(ErrorObject, CopyOfNullIsUndefinedError) {
  CVolmPtr<CVolmError> error(new CVolmError(static_cast<IVolmError*>(nullptr)));
  EXPECT_EQ(error->GetCode(), VOLM_E_FAIL);
  EXPECT_EQ(TextOf(error.Get()), "Undefined Error");
}

TEST(ErrorObject, CopyOfAnotherErrorKeepsCodeAndTextButNotIdentity) {
  CVolmPtr<CVolmError> source(new CVolmError(0x8007000Eu, VOLM_TEXT("out of memory")));
  CVolmPtr<CVolmError> copy(new CVolmError(static_cast<IVolmError*>(source.Get())));
  EXPECT_EQ(copy->GetCode(), 0x8007000Eu);
  EXPECT_EQ(TextOf(copy.Get()), "out of memory");
  EXPECT_EQ(RefCountOf(source.Get()), 1u);
}

TEST(ErrorObject, AnswersOnlyItsOwnInterfaces) {
  CVolmPtr<CVolmError> error(new CVolmError(VOLM_E_FAIL, VOLM_TEXT("x")));
  CVolmPtr<IVolmError> asError;
  EXPECT_EQ(error->QueryInterface(VolmIds().volmError, asError.PutVoid()), VOLM_S_OK);
  CVolmPtr<IVolmWideCharString> asString;
  EXPECT_EQ(error->QueryInterface(VolmIds().volmWideCharString, asString.PutVoid()),
            VOLM_E_NOINTERFACE);
  EXPECT_FALSE(asString);
}

TEST(LastError, SetErrorTwiceWithTheSameObjectTakesOneReference) {
  CVolmPtr<TestSingle> object(new TestSingle);
  CVolmPtr<CVolmError> error(new CVolmError(0x80001234u, VOLM_TEXT("x")));
  EXPECT_EQ(object->SetError(error.Get()), 0x80001234u);
  EXPECT_EQ(object->SetError(error.Get()), 0x80001234u);
  EXPECT_EQ(RefCountOf(error.Get()), 2u);
  EXPECT_EQ(object->SetError(nullptr), VOLM_S_OK);
  EXPECT_EQ(RefCountOf(error.Get()), 1u);
  IVolmError* fetched = reinterpret_cast<IVolmError*>(0x1);
  EXPECT_EQ(object->GetError(&fetched), VOLM_S_OK);
  EXPECT_EQ(fetched, nullptr);
}

TEST(LastError, ReplacingAnErrorReleasesTheOldOne) {
  const std::uint32_t before = GetLiveObjectCount();
  {
    CVolmPtr<TestSingle> object(new TestSingle);
    object->SetError(new CVolmError(0x80000001u, VOLM_TEXT("first")));
    object->SetError(new CVolmError(0x80000002u, VOLM_TEXT("second")));
    CVolmPtr<IVolmError> fetched;
    EXPECT_EQ(object->GetError(fetched.Put()), VOLM_S_OK);
    ASSERT_TRUE(fetched);
    EXPECT_EQ(fetched->GetCode(), 0x80000002u);
    // Fetching leaves the error in place.
    CVolmPtr<IVolmError> again;
    object->GetError(again.Put());
    EXPECT_EQ(again.Get(), fetched.Get());
  }
  EXPECT_EQ(GetLiveObjectCount(), before);
}

TEST(LastError, FetchedErrorOutlivesItsObject) {
  const std::uint32_t before = GetLiveObjectCount();
  CVolmPtr<IVolmError> fetched;
  {
    CVolmPtr<TestSingle> object(new TestSingle);
    object->SetError(new CVolmError(0x80000003u, VOLM_TEXT("kept")));
    object->GetError(fetched.Put());
  }
  ASSERT_TRUE(fetched);
  EXPECT_EQ(TextOf(fetched.Get()), "kept");
  EXPECT_EQ(GetLiveObjectCount(), before + 2);  // the error and its text
  fetched.Reset();
  EXPECT_EQ(GetLiveObjectCount(), before);
}

TEST(LastError, GetErrorWithNullChangesNothing) {
  CVolmPtr<TestSingle> object(new TestSingle);
  CVolmPtr<CVolmError> error(new CVolmError(VOLM_E_FAIL, VOLM_TEXT("x")));
  object->SetError(error.Get());
  EXPECT_EQ(object->GetError(nullptr), VOLM_S_OK);
  EXPECT_EQ(RefCountOf(error.Get()), 2u);
}

TEST(VolmException, CreatesAnErrorWithItsCodeAndMessage) {
  const CVolmException failure(0x80070005u, VOLM_TEXT("denied"));
  CVolmPtr<CVolmError> error(failure.CreateError());
  EXPECT_EQ(error->GetCode(), 0x80070005u);
  EXPECT_EQ(TextOf(error.Get()), "denied");
}

TEST(VolmException, CopiesAnErrorObject) {
  CVolmPtr<CVolmError> error(new CVolmError(0x80000009u, VOLM_TEXT("inner")));
  const CVolmException failure(error.Get());
  EXPECT_EQ(failure.Code(), 0x80000009u);
  EXPECT_EQ(Utf8(failure.Message()), "inner");
  EXPECT_EQ(RefCountOf(error.Get()), 1u);
}

}  // namespace
