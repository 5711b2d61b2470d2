// What component operations report when their body fails, at both kinds of boundary, and how
// failures of inner objects travel outward.
#include "TestComponents.h"
#include "WideTextHelpers.h"

#include "VolmTime/CoreBoundary.h"
#include "framework/ComponentBoundary.h"
#include "framework/ThrowIfFailed.h"

#include <gtest/gtest.h>

#include <new>

namespace {

std::string LastErrorText(TestSingle& object) {
  CVolmPtr<IVolmError> error;
  object.GetError(error.Put());
  return error ? TextOf(error.Get()) : "<none>";
}

VolmResult LastErrorCode(TestSingle& object) {
  CVolmPtr<IVolmError> error;
  object.GetError(error.Put());
  return error ? error->GetCode() : VOLM_S_OK;
}

TEST(ComponentBoundaryTest, VolmExceptionBecomesTheLastErrorWithItsOwnCode) {
  CVolmPtr<TestSingle> object(new TestSingle);
  const VolmResult result = ComponentBoundary(
      *object, [] { throw CVolmException(0x80070057u, VOLM_TEXT("bad parameter")); });
  EXPECT_EQ(result, 0x80070057u);
  EXPECT_EQ(LastErrorCode(*object), 0x80070057u);
  EXPECT_EQ(LastErrorText(*object), "bad parameter");
}

TEST(ComponentBoundaryTest, OtherExceptionsAreUnknown) {
  CVolmPtr<TestSingle> object(new TestSingle);
  EXPECT_EQ(ComponentBoundary(*object, [] { throw std::bad_alloc(); }), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(*object), "Unknown exception");
  EXPECT_EQ(ComponentBoundary(*object, [] { throw 42; }), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(*object), "Unknown exception");
}

TEST(ComponentBoundaryTest, SuccessClearsAnEarlierError) {
  CVolmPtr<TestSingle> object(new TestSingle);
  ComponentBoundary(*object, [] { throw CVolmException(VOLM_E_FAIL, VOLM_TEXT("x")); });
  EXPECT_EQ(ComponentBoundary(*object, [] {}), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(*object), "<none>");
}

TEST(CoreBoundaryTest, CoreExceptionBecomesEFailWithTheMessageUnchanged) {
  CVolmPtr<TestSingle> object(new TestSingle);
  const VolmResult result = VolmTime::CoreBoundary(
      *object, [] { throw VolmTime::Core::CException(VOLM_TEXT("CreateWaitableTimer failed!")); });
  EXPECT_EQ(result, VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(*object), "CreateWaitableTimer failed!");
}

TEST(CoreBoundaryTest, SuccessLeavesTheLastErrorAlone) {
  CVolmPtr<TestSingle> object(new TestSingle);
  VolmTime::CoreBoundary(*object, [] { throw VolmTime::Core::CException(VOLM_TEXT("first")); });
  EXPECT_EQ(VolmTime::CoreBoundary(*object, [] {}), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(*object), "first");
}

TEST(CoreBoundaryTest, AllocationFailureIsUnknown) {
  CVolmPtr<TestSingle> object(new TestSingle);
  EXPECT_EQ(VolmTime::CoreBoundary(*object, [] { throw std::bad_alloc(); }), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(*object), "Unknown exception");
}

// An inner object whose First() fails with `code`, with or without an error object.
CVolmPtr<TestSingle> FailingInner(VolmResult code, const char* text) {
  return CVolmPtr<TestSingle>(new TestSingle([code, text](TestSingle& self) {
    if (text == nullptr) return code;
    return self.SetError(new CVolmError(code, WidenBytes(text)));
  }));
}

constexpr VolmCallSite kOuterCall{"OuterComponent", 77};

TEST(Propagation, InnerErrorObjectIsCopiedNotTheReturnedCode) {
  CVolmPtr<TestSingle> inner = FailingInner(0x80000042u, "inner failed");
  CVolmPtr<TestSingle> outer(new TestSingle);
  const VolmResult result = ComponentBoundary(*outer, [&] {
    // The returned code differs from the error's: the error object wins.
    inner->First();
    ThrowIfFailed(inner.Get(), 0x80000001u, kOuterCall);
  });
  EXPECT_EQ(result, 0x80000042u);
  EXPECT_EQ(LastErrorText(*outer), "inner failed");
}

TEST(Propagation, CodeWithoutErrorObjectGetsAComposedText) {
  CVolmPtr<TestSingle> inner = FailingInner(0xA0BC1234u, nullptr);
  CVolmPtr<TestSingle> outer(new TestSingle);
  const VolmResult result =
      ComponentBoundary(*outer, [&] { ThrowIfFailed(inner.Get(), inner->First(), kOuterCall); });
  EXPECT_EQ(result, 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(*outer), "Unknown error code. [OuterComponent, line 77]");
}

TEST(Propagation, SuccessCodesPassIncludingSFalse) {
  CVolmPtr<TestSingle> inner = FailingInner(VOLM_S_FALSE, nullptr);
  EXPECT_NO_THROW(ThrowIfFailed(inner.Get(), inner->First(), kOuterCall));
}

TEST(Propagation, TwoBoundariesKeepTheInnermostCodeAndText) {
  CVolmPtr<TestSingle> innermost = FailingInner(0x80000077u, "deep failure");
  CVolmPtr<TestSingle> middle(new TestSingle([&](TestSingle& self) {
    return ComponentBoundary(self, [&] {
      ThrowIfFailed(innermost.Get(), innermost->First(), VolmCallSite{"Middle", 1});
    });
  }));
  CVolmPtr<TestSingle> outer(new TestSingle);
  const VolmResult result = ComponentBoundary(*outer, [&] {
    ThrowIfFailed(middle.Get(), middle->First(), VolmCallSite{"Outer", 2});
  });
  EXPECT_EQ(result, 0x80000077u);
  EXPECT_EQ(LastErrorText(*outer), "deep failure");
}

TEST(Propagation, NoReferencesAreLeftBehind) {
  const std::uint32_t before = GetLiveObjectCount();
  {
    CVolmPtr<TestSingle> inner = FailingInner(0x80000042u, "inner failed");
    CVolmPtr<TestSingle> outer(new TestSingle);
    ComponentBoundary(*outer, [&] { ThrowIfFailed(inner.Get(), inner->First(), kOuterCall); });
    EXPECT_EQ(RefCountOf(inner.Get()), 1u);
  }
  EXPECT_EQ(GetLiveObjectCount(), before);
}

}  // namespace
