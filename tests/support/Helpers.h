// SPDX-License-Identifier: MIT
// Small helpers every suite shares: texts of failures and last errors, reference counts and
// a fixture that finds leaked objects.
#ifndef TESTS_SUPPORT_HELPERS_H
#define TESTS_SUPPORT_HELPERS_H

#include "VolmTime/Core/CException.h"
#include "framework/CVolmPtr.h"
#include "framework/LiveObjects.h"
#include "framework/WideText.h"

#include <VolmTime/IVolmUnknown.h>

#include <gtest/gtest.h>

#include <string>

inline std::string Utf8(WideStringView text) { return EncodeUtf8PerUnit(text); }

inline std::string TextOf(IVolmError* error) {
  CVolmPtr<IVolmWideCharString> text;
  if (error->GetText(text.Put()) != VOLM_S_OK || !text) return "<no text>";
  const VolmWideChar* buffer = nullptr;
  text->GetBuffer(&buffer);
  return Utf8(buffer);
}

// The text of the object's last error, "<none>" without one.
inline std::string LastErrorText(IGetVolmError* source) {
  CVolmPtr<IVolmError> error;
  source->GetError(error.Put());
  return error ? TextOf(error.Get()) : "<none>";
}

// Runs `call` and returns the message of the CException it throws ("" if none).
template <typename Call>
std::string FailureOf(Call&& call) {
  try {
    call();
  } catch (const VolmTime::Core::CException& failure) {
    return failure.what();
  }
  return "";
}

template <typename T>
std::uint32_t RefCountOf(T* object) {
  object->AddRef();
  return object->Release();
}

// Every component object a test makes is gone again when it ends, counted after the members
// of a derived fixture are gone too.
class LeakChecked : public ::testing::Test {
 protected:
  ~LeakChecked() override { EXPECT_EQ(GetLiveObjectCount(), liveBefore_); }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
};

#endif  // TESTS_SUPPORT_HELPERS_H
