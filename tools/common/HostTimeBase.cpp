// SPDX-License-Identifier: MIT
#include "tools/common/HostTimeBase.h"

#include "tools/common/Ref.h"

#include <cstdio>

HostTimeBase::HostTimeBase(const std::vector<LibraryCandidate>& candidates) {
  VolmCreateInstanceFunction createInstance = nullptr;
  try {
    library_.emplace(candidates);
    createInstance = library_->Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName);
  } catch (const LibraryLoadError& failure) {
    error_ = failure.what();
    return;
  }
  void* object = nullptr;
  const VolmResult result = createInstance(CLSID_VolmTimeFactory, &object);
  if (result != VOLM_S_OK || object == nullptr) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
    error_ = std::string(kVolmCreateInstanceName) + " gave no time factory (" + code + ")";
    return;
  }
  // CreateInstance lends the factory; the host's own reference keeps it.
  factory_ = static_cast<IVolmTimeFactory*>(object);
  factory_->AddRef();
}

HostTimeBase::~HostTimeBase() {
  if (factory_ != nullptr) factory_->Release();
}

std::string LastErrorText(IVolmUnknown* source) {
  Ref<IGetVolmError> errors;
  Ref<IVolmError> error;
  Ref<IVolmWideCharString> text;
  const VolmWideChar* buffer = nullptr;
  if (source == nullptr ||
      source->QueryInterface(IID_IGetVolmError, errors.OutVoid()) != VOLM_S_OK ||
      errors->GetError(error.Out()) != VOLM_S_OK || error.Get() == nullptr ||
      error->GetText(text.Out()) != VOLM_S_OK || text.Get() == nullptr ||
      text->GetBuffer(&buffer) != VOLM_S_OK || buffer == nullptr) {
    return "";
  }
  std::string narrow;
  for (; *buffer != 0; ++buffer) {
    const auto unit = static_cast<unsigned>(*buffer);
    narrow.push_back(unit < 0x80 ? static_cast<char>(unit) : '?');
  }
  return narrow;
}
