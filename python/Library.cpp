// SPDX-License-Identifier: MIT
#include "Library.h"

#include "Failure.h"

#include <boost/dll/runtime_symbol_info.hpp>

#include <cstdlib>
#include <utility>
#include <vector>

namespace VolmPython {

std::shared_ptr<Library> Library::Load(const std::optional<std::string>& file) {
  std::vector<LibraryCandidate> candidates;
  const char* fromEnvironment = std::getenv("VOLMTIME_LIBRARY");
  if (file) {
    candidates.push_back({std::filesystem::absolute(*file)});
  } else if (fromEnvironment != nullptr && *fromEnvironment != 0) {
    candidates.push_back({fromEnvironment});
  } else {
    const std::filesystem::path here = boost::dll::this_line_location().parent_path();
    candidates.push_back({here / "volmtime.libs" / VOLMTIME_INSTALLED_LIBRARY_NAME});
    candidates.push_back(
        {(here / VOLMTIME_PYTHON_TO_LIBRARY / VOLMTIME_INSTALLED_LIBRARY_NAME).lexically_normal()});
#if defined(VOLMTIME_LIBRARY_FILE) && !defined(VOLMTIME_PYTHON_WHEEL)
    candidates.push_back({VOLMTIME_LIBRARY_FILE});
#endif
    candidates.push_back({VOLMTIME_INSTALLED_LIBRARY_NAME, true});
  }
  return std::shared_ptr<Library>(new Library(LoadedLibrary(candidates)));
}

Library::Library(LoadedLibrary library)
    : library_(std::move(library)),
      createInstance_(library_.Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName)),
      canUnload_(library_.Get<VolmCanDllUnloadFunction>(kVolmCanDllUnloadName)),
      detach_(library_.Get<VolmDetachFunction>(kVolmDetachName)) {
  library_.Get<VolmAttachFunction>(kVolmAttachName)();
}

Library::~Library() {
  detach_();
  // Unloaded only once nothing of it is alive; otherwise it stays for the process.
  if (canUnload_() != 1) library_.KeepForProcess();
}

Ref<IVolmTimeFactory> Library::Factory() const {
  void* object = nullptr;
  const VolmResult result = createInstance_(CLSID_VolmTimeFactory, &object);
  if (result != VOLM_S_OK || object == nullptr)
    throw Failure(result == VOLM_S_OK ? VOLM_E_POINTER : result, "CreateInstance", {});
  Ref<IVolmTimeFactory> factory;
  *factory.Out() = static_cast<IVolmTimeFactory*>(object);
  factory->AddRef();
  return factory;
}

}  // namespace VolmPython
