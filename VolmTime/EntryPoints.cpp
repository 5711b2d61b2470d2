// The four functions the library exports. Everything else stays hidden.
#include <VolmTime/VolmTimeEntryPoints.h>

#include "VolmTime/ModuleState.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/LiveObjects.h"
#include "framework/VolmIdentifiers.h"

#include <memory>
#include <mutex>

#if defined(_WIN32)
// The .def file names the exports; nothing needs decorating here.
#define VOLM_EXPORT
#else
#define VOLM_EXPORT __attribute__((visibility("default")))
#endif

namespace {

// Returns the factory to hand out, building it when there is none or when the one in the
// slot is already on its way out. Called under the module lock.
VolmTime::VolmTimeFactory* CurrentFactory() {
  VolmTime::VolmTimeFactory*& slot = VolmTime::FactorySlot();
  if (slot == nullptr || slot->IsDying()) {
    // The construction's exception leaves to the caller; the slot keeps its old value and
    // the lock guard releases the lock.
    auto made = std::make_unique<VolmTime::VolmTimeFactory>();
    slot = made.release();
  }
  return slot;
}

}  // namespace

extern "C" {

VOLM_EXPORT VolmResult CreateInstance(const VolmId& classId, void** object) {
  if (!(classId == VolmIds().timeFactoryClass)) return VOLM_CLASS_E_CLASSNOTAVAILABLE;
  if (object == nullptr) return VOLM_E_POINTER;
  VolmTime::VolmTimeFactory* factory = nullptr;
  {
    std::lock_guard lock(VolmTime::ModuleLock());
    factory = CurrentFactory();
  }
  *object = static_cast<IVolmTimeFactory*>(factory);
  return VOLM_S_OK;
}

VOLM_EXPORT void Attach() { VolmTime::IncrementAttachCount(); }

VOLM_EXPORT void Detach() { VolmTime::DecrementAttachCount(); }

VOLM_EXPORT std::int32_t CanDllUnload() { return GetLiveObjectCount() == 0 ? 1 : 0; }

}  // extern "C"
