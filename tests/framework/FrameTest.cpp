// The component frame: reference counts, identity and queries, the last error, how the
// boundaries turn failures into codes and texts that travel outward, and the texts made for
// codes without an error object.
#include "VolmTime/CoreBoundary.h"
#include "framework/CVolmError.h"
#include "framework/ComponentBoundary.h"
#include "framework/ErrorText.h"
#include "framework/LiveObjects.h"
#include "framework/ThrowIfFailed.h"

#include "tests/support/Helpers.h"

#include <VolmTime/VolmIds.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <iterator>
#include <new>

namespace {

class ITestFirst : public IVolmUnknown {
 public:
  virtual VolmResult First() = 0;

 protected:
  ~ITestFirst() = default;
};

const VolmId kTestFirstId = ParseVolmId("11111111-2222-3333-4444-555555555555");

}  // namespace

template <>
struct VolmInterfaceId<ITestFirst> {
  static const VolmId& Get() noexcept { return kTestFirstId; }
};

namespace {

// Two interfaces (the string one borrowed, its members unused); First() runs what it is given.
class TestObject : public CVolmUnknownImpl2<ITestFirst, IVolmWideCharString> {
 public:
  explicit TestObject(std::function<VolmResult(TestObject&)> action = {})
      : action_(std::move(action)) {}
  VolmResult First() override { return action_ ? action_(*this) : VOLM_S_OK; }
  VolmResult GetBuffer(const VolmWideChar**) override { return VOLM_E_FAIL; }
  VolmResult GetLength(std::uint32_t*) override { return VOLM_E_FAIL; }
  VolmResult Assign(const VolmWideChar*) override { return VOLM_E_FAIL; }

 private:
  std::function<VolmResult(TestObject&)> action_;
};

template <typename T>
std::uint32_t RefCountOf(T* object) {
  object->AddRef();
  return object->Release();
}

TEST(ObjectModel, OneCountAndOneIdentityThroughEverySubObject) {
  const std::uint32_t before = GetLiveObjectCount();
  {
    CVolmPtr<TestObject> object(new TestObject);
    EXPECT_EQ(GetLiveObjectCount(), before + 1);
    CVolmPtr<IVolmWideCharString> second;
    CVolmPtr<ITestFirst> first;
    CVolmPtr<IVolmUnknown> identity;
    CVolmPtr<IGetVolmError> errors;
    ASSERT_EQ(object->QueryInterface(VolmIds().volmWideCharString, second.PutVoid()), VOLM_S_OK);
    ASSERT_EQ(second->QueryInterface(kTestFirstId, first.PutVoid()), VOLM_S_OK);
    ASSERT_EQ(second->QueryInterface(VolmIds().volmUnknown, identity.PutVoid()), VOLM_S_OK);
    ASSERT_EQ(first->QueryInterface(VolmIds().getVolmError, errors.PutVoid()), VOLM_S_OK);
    EXPECT_EQ(identity.Get(), static_cast<IVolmUnknown*>(first.Get()));
    EXPECT_EQ(RefCountOf(first.Get()), 5u);
    for (const VolmId& id : {VolmIds().clock, VolmIds().frameworkReserved1}) {
      void* out = reinterpret_cast<void*>(0x1);
      EXPECT_EQ(object->QueryInterface(id, &out), VOLM_E_NOINTERFACE);
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(object->QueryInterface(kTestFirstId, nullptr), VOLM_E_POINTER);
  }
  EXPECT_EQ(GetLiveObjectCount(), before);
}

TEST(ObjectModel, IdentifiersParseInTextOrderAndMatchThePublicHeader) {
  const VolmId id = ParseVolmId("e91c1f8c-c294-4D2A-9551-dad72979ba3d");
  const std::uint8_t expected[16] = {0xE9, 0x1C, 0x1F, 0x8C, 0xC2, 0x94, 0x4D, 0x2A,
                                     0x95, 0x51, 0xDA, 0xD7, 0x29, 0x79, 0xBA, 0x3D};
  EXPECT_EQ(std::memcmp(id.bytes, expected, 16), 0);
  EXPECT_THROW(ParseVolmId("E91C1F8CC2944d2A9551DAD72979BA3D"), std::exception);
  EXPECT_THROW(ParseVolmId("E91C1F8C-C294-4d2A-9551-DAD72979BA3G"), std::exception);
  const VolmIdentifierTable& ids = VolmIds();
  const VolmId parsed[] = {ids.volmUnknown, ids.getVolmError, ids.timeFactoryClass, ids.timeFactory,
                           ids.timeFactoryAdvanced, ids.highResolutionCounter, ids.correctionFunction,
                           ids.piecewiseLinearCorrection, ids.clock, ids.waitForEvents,
                           ids.waitableTickTimer, ids.waitableTimer, ids.volmError, ids.volmWideCharString};
  const VolmId published[] = {IID_IVolmUnknown, IID_IGetVolmError, CLSID_VolmTimeFactory, IID_IVolmTimeFactory,
                              IID_IVolmTimeFactoryAdvanced, IID_IHighResolutionCounter, IID_ICorrectionFunction,
                              IID_IPiecewiseLinearCorrection, IID_IClock, IID_IWaitForEvents,
                              IID_IWaitableTickTimer, IID_IWaitableTimer, IID_IVolmError, IID_IVolmWideCharString};
  for (std::size_t i = 0; i < std::size(parsed); ++i) EXPECT_EQ(parsed[i], published[i]) << i;
  EXPECT_EQ(id, IID_IVolmError);
}

TEST(LastError, IsKeptWithOneReferenceAndOutlivesItsObject) {
  CVolmPtr<IVolmError> fetched;
  CVolmPtr<CVolmError> first(new CVolmError(0x80000042u, VOLM_TEXT("first")));
  {
    CVolmPtr<TestObject> object(new TestObject);
    object->SetError(first.Get());
    object->SetError(first.Get());
    EXPECT_EQ(RefCountOf(first.Get()), 2u);
    EXPECT_EQ(object->SetError(new CVolmError(0x80000043u, VOLM_TEXT("second"))), 0x80000043u);
    EXPECT_EQ(RefCountOf(first.Get()), 1u);  // the replaced one was released
    EXPECT_EQ(object->GetError(nullptr), VOLM_S_OK);
    object->GetError(fetched.Put());
  }
  EXPECT_EQ(fetched->GetCode(), 0x80000043u);
  CVolmPtr<IVolmWideCharString> text;
  std::uint32_t length = 0;
  ASSERT_EQ(fetched->GetText(text.Put()), VOLM_S_OK);
  EXPECT_EQ(text->GetLength(&length), VOLM_S_OK);
  EXPECT_EQ(length, 6u);
  EXPECT_EQ(CVolmPtr<CVolmError>(new CVolmError(nullptr))->GetCode(), VOLM_E_FAIL);
}

TEST(Boundaries, ExceptionsBecomeCodesAndTexts) {
  CVolmPtr<TestObject> object(new TestObject);
  const struct {
    std::function<void()> body;
    VolmResult code;
    const char* text;
  } rows[] = {
      {[] { throw CVolmException(0x80070057u, VOLM_TEXT("bad parameter")); }, 0x80070057u,
       "bad parameter"},
      {[] { throw std::bad_alloc(); }, VOLM_E_FAIL, "Unknown exception"},
      {[] { throw 42; }, VOLM_E_FAIL, "Unknown exception"},
      {[] {}, VOLM_S_OK, "<none>"},  // success clears an earlier error
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ComponentBoundary(*object, row.body), row.code) << row.text;
    EXPECT_EQ(LastErrorText(object.Get()), row.text);
  }
  const auto coreFailure = [] { throw VolmTime::Core::CException(VOLM_TEXT("Timer failed!")); };
  EXPECT_EQ(VolmTime::CoreBoundary(*object, coreFailure), VOLM_E_FAIL);
  EXPECT_EQ(VolmTime::CoreBoundary(*object, [] {}), VOLM_S_OK);  // leaves the error alone
  EXPECT_EQ(LastErrorText(object.Get()), "Timer failed!");
}

// An inner object whose First() fails with `code`, with an error object when `text` is set.
CVolmPtr<TestObject> FailingInner(VolmResult code, const char* text) {
  return CVolmPtr<TestObject>(new TestObject([code, text](TestObject& self) {
    return text == nullptr ? code : self.SetError(new CVolmError(code, WidenBytes(text)));
  }));
}

TEST(Boundaries, InnerFailuresTravelOutwardWithTheInnermostCodeAndText) {
  CVolmPtr<TestObject> innermost = FailingInner(0x80000077u, "deep failure");
  CVolmPtr<TestObject> middle(new TestObject([&](TestObject& self) {
    return ComponentBoundary(self, [&] {
      innermost->First();  // its error object wins over the code returned here
      ThrowIfFailed(innermost.Get(), 0x80000001u, VolmCallSite{"Middle", 1});
    });
  }));
  CVolmPtr<TestObject> outer(new TestObject);
  const auto call = [&](TestObject* inner, VolmCallSite site) {
    return ComponentBoundary(*outer, [&] { ThrowIfFailed(inner, inner->First(), site); });
  };
  EXPECT_EQ(call(middle.Get(), VolmCallSite{"Outer", 2}), 0x80000077u);
  EXPECT_EQ(LastErrorText(outer.Get()), "deep failure");
  CVolmPtr<TestObject> silent = FailingInner(0xA0BC1234u, nullptr);
  EXPECT_EQ(call(silent.Get(), VolmCallSite{"OuterComponent", -3}), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(outer.Get()), "Unknown error code. [OuterComponent, line -3]");
  CVolmPtr<TestObject> quiet = FailingInner(VOLM_S_FALSE, nullptr);
  EXPECT_EQ(call(quiet.Get(), VolmCallSite{"Outer", 3}), VOLM_S_OK);
  EXPECT_EQ(RefCountOf(innermost.Get()), 1u);
}

TEST(ErrorText, BlanksCollapseSentencesEndOnceAndThePlaceFollows) {
  const std::pair<const char*, const char*> collapsed[] = {
      {"The handle is invalid.\r\n", "The handle is invalid."},
      {" \r\nAccess\r\n  is \n\rdenied", " Access is denied"}, {"a\t b\t", "a\t b\t"}, {" \r\n", ""}};
  for (const auto& [raw, expected] : collapsed) {
    EXPECT_EQ(EncodeUtf8PerUnit(CollapseMessageBlanks(WidenBytes(raw))), expected) << raw;
  }
  const std::pair<const char*, const char*> terminated[] = {
      {"Failed", "Failed. "}, {"Done.", "Done. "}, {"Why?", "Why? "}, {"List:", "List: "},
      {"Comma,", "Comma, "}, {"Done.  ", "Done. "}, {"Failed ", "Failed. "}, {"   ", ""}};
  for (const auto& [raw, expected] : terminated) {
    WideString text = WidenBytes(raw);
    TerminateSentence(text);
    EXPECT_EQ(EncodeUtf8PerUnit(text), expected) << raw;
  }
  const std::pair<VolmResult, std::uint32_t> ids[] = {
      {0x80080005u, 5}, {0x00080002u, 2}, {0x80070005u, 0x80070005u}, {0x80004005u, 0x80004005u}};
  for (const auto& [code, id] : ids) EXPECT_EQ(SystemMessageId(code), id) << code;
  WideString sentence;
  GetSystemErrorText(VOLM_E_FAIL, sentence);
  const std::string known = EncodeUtf8PerUnit(sentence);
  EXPECT_EQ(known.find_first_of("\r\n"), std::string::npos);
  WideString text;
  ComposeErrorText(VOLM_E_FAIL, "WaitableTimer", 69, text);
  const bool endsInMark = std::string("!,.:;?").find(known.back()) != std::string::npos;
  EXPECT_EQ(EncodeUtf8PerUnit(text), known + (endsInMark ? " " : ". ") + "[WaitableTimer, line 69]");
  ComposeErrorText(0xA0BC1234u, nullptr, 7, text);
  EXPECT_EQ(EncodeUtf8PerUnit(text), "Unknown error code");
}

TEST(WideText, CoreMessagesAreUtf8PerUnitAndNamesNarrowToLowBytes) {
  const VolmWideChar message[] = {'A', 0x00E9, 0x20AC, 0xD83D, 0xDE00, 0};
  const VolmTime::Core::CException failure(message);
  EXPECT_STREQ(static_cast<const std::exception&>(failure).what(),
               "A\xC3\xA9\xE2\x82\xAC\xED\xA0\xBD\xED\xB8\x80");
  const VolmWideChar name[] = {'C', 'l', 0x0141, 0x00FF, 0};
  EXPECT_EQ(NarrowToLowBytes(name), std::string("Cl\x41\xFF"));
  EXPECT_EQ(WidenBytes("\xFF"), WideString(1, VolmWideChar{0xFF}));
}

}  // namespace
