#include "tools/common/HostTimeBase.h"

#include <cstdio>

HostTimeBase::HostTimeBase(const std::string& libraryFile) : library_(libraryFile) {
  if (!library_.IsLoaded()) {
    error_ = "cannot load " + libraryFile + ": " + library_.Error();
    return;
  }
  auto createInstance = library_.Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName);
  if (createInstance == nullptr) {
    error_ = libraryFile + " has no " + kVolmCreateInstanceName;
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
