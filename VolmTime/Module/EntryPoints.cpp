// SPDX-License-Identifier: MIT
// The four functions the library exports. Everything else stays hidden.
#include <VolmTime/VolmTimeEntryPoints.h>

#include "VolmTime/Module/ModuleEntry.h"
#include "VolmTime/Module/ModuleState.h"

#if defined(_WIN32)
// The .def file names the exports; nothing needs decorating here.
#define VOLM_EXPORT
#else
#define VOLM_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

VOLM_EXPORT VolmResult CreateInstance(const VolmId& classId, void** object) {
  return VolmTime::CreateFactoryInstance(classId, object);
}

VOLM_EXPORT void Attach() { VolmTime::IncrementAttachCount(); }

VOLM_EXPORT void Detach() { VolmTime::DecrementAttachCount(); }

VOLM_EXPORT std::int32_t CanDllUnload() { return VolmTime::CanUnloadModule(); }

}  // extern "C"
