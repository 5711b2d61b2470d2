// SPDX-License-Identifier: MIT
#include "framework/CVolmWideCharString.h"

CVolmWideCharString::CVolmWideCharString(const VolmWideChar* text) {
  if (text != nullptr) text_ = text;
}

CVolmWideCharString::CVolmWideCharString(WideStringView text) : text_(text) {}

VolmResult CVolmWideCharString::Assign(const VolmWideChar* text) {
  try {
    if (text == nullptr) {
      text_.clear();
    } else {
      text_ = text;
    }
  } catch (...) {
    return VOLM_E_FAIL;
  }
  return VOLM_S_OK;
}

VolmResult CVolmWideCharString::GetBuffer(const VolmWideChar** text) {
  if (text == nullptr) return VOLM_E_POINTER;
  *text = text_.c_str();
  return VOLM_S_OK;
}

VolmResult CVolmWideCharString::GetLength(std::uint32_t* length) {
  if (length == nullptr) return VOLM_E_POINTER;
  *length = static_cast<std::uint32_t>(text_.size());
  return VOLM_S_OK;
}

VolmResult CVolmWideCharString::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().volmWideCharString) return HandOutInterface(PrimaryUnknown(), object);
  return NoInterface(object);
}
