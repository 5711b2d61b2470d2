// SPDX-License-Identifier: MIT
// The string object that carries texts across the interface, an error's text above all.
#ifndef FRAMEWORK_CVOLMWIDECHARSTRING_H
#define FRAMEWORK_CVOLMWIDECHARSTRING_H

#include "framework/CVolmUnknownImpl.h"
#include "framework/WideText.h"

class CVolmWideCharString : public CVolmUnknownImpl1<IVolmWideCharString> {
 public:
  CVolmWideCharString() = default;
  // A null text gives an empty string.
  explicit CVolmWideCharString(const VolmWideChar* text);
  explicit CVolmWideCharString(WideStringView text);

  // A null text empties the string, as the constructor does.
  VolmResult Assign(const VolmWideChar* text) override;
  VolmResult GetBuffer(const VolmWideChar** text) override;
  VolmResult GetLength(std::uint32_t* length) override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

  [[nodiscard]] const WideString& Text() const noexcept { return text_; }

 private:
  WideString text_;
};

#endif  // FRAMEWORK_CVOLMWIDECHARSTRING_H
