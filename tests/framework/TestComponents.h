// Small component classes built on the implementation templates, for testing the frame.
#ifndef TESTS_FRAMEWORK_TESTCOMPONENTS_H
#define TESTS_FRAMEWORK_TESTCOMPONENTS_H

#include "framework/CVolmUnknownImpl.h"

#include <functional>
#include <utility>

class ITestFirst : public IVolmUnknown {
 public:
  virtual VolmResult First() = 0;

 protected:
  ~ITestFirst() = default;
};

class ITestSecond : public IVolmUnknown {
 public:
  virtual VolmResult Second() = 0;

 protected:
  ~ITestSecond() = default;
};

inline const VolmId kTestFirstId = ParseVolmId("11111111-2222-3333-4444-555555555555");
inline const VolmId kTestSecondId = ParseVolmId("AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE");

template <>
struct VolmInterfaceId<ITestFirst> {
  static const VolmId& Get() noexcept { return kTestFirstId; }
};
template <>
struct VolmInterfaceId<ITestSecond> {
  static const VolmId& Get() noexcept { return kTestSecondId; }
};

// One interface; First() runs whatever the test gives it.
class TestSingle : public CVolmUnknownImpl1<ITestFirst> {
 public:
  explicit TestSingle(std::function<VolmResult(TestSingle&)> action = {})
      : action_(std::move(action)) {}
  VolmResult First() override { return action_ ? action_(*this) : VOLM_S_OK; }
  VolmResult QueryOwnInterface(const VolmId& id, void** object) override {
    if (id == kTestFirstId) return HandOutInterface(PrimaryUnknown(), object);
    return NoInterface(object);
  }

 private:
  std::function<VolmResult(TestSingle&)> action_;
};

class TestDouble : public CVolmUnknownImpl2<ITestFirst, ITestSecond> {
 public:
  VolmResult First() override { return VOLM_S_OK; }
  VolmResult Second() override { return VOLM_S_FALSE; }
};

// Reference count of an object, read by adding and dropping one reference.
template <typename T>
std::uint32_t RefCountOf(T* object) {
  object->AddRef();
  return object->Release();
}

#endif  // TESTS_FRAMEWORK_TESTCOMPONENTS_H
