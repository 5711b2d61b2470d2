// SPDX-License-Identifier: MIT
#include "framework/CVolmError.h"

CVolmError::CVolmError(VolmResult code, WideStringView text)
    : code_(code), text_(new CVolmWideCharString(text)) {}

CVolmError::CVolmError(IVolmError* source)
    : code_(VOLM_E_FAIL), text_(new CVolmWideCharString(VOLM_TEXT("Undefined Error"))) {
  if (source == nullptr) return;
  WideString text;
  ReadVolmError(source, code_, text);
  text_->Assign(text.c_str());
}

VolmResult CVolmError::GetCode() { return code_; }

VolmResult CVolmError::GetText(IVolmWideCharString** text) {
  if (text == nullptr) return VOLM_S_OK;
  text_->AddRef();
  *text = text_.Get();
  return VOLM_S_OK;
}

VolmResult CVolmError::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().volmError) return HandOutInterface(PrimaryUnknown(), object);
  return NoInterface(object);
}

void ReadVolmError(IVolmError* error, VolmResult& code, WideString& text) {
  code = error->GetCode();
  text.clear();
  CVolmPtr<IVolmWideCharString> textObject;
  if (VolmFailed(error->GetText(textObject.Put())) || !textObject) return;
  const VolmWideChar* buffer = nullptr;
  if (VolmSucceeded(textObject->GetBuffer(&buffer)) && buffer != nullptr) text = buffer;
}
