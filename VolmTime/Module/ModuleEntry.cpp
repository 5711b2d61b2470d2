// SPDX-License-Identifier: MIT
#include "VolmTime/Module/ModuleEntry.h"

#include "VolmTime/Module/ModuleState.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/LiveObjects.h"

#include <memory>
#include <mutex>

namespace VolmTime {

namespace {

// The factory to hand out. Called under the module lock.
VolmTimeFactory* CurrentFactory() {
  VolmTimeFactory*& slot = FactorySlot();
  if (slot == nullptr || slot->IsDying()) {
    // A dying factory clears the slot in its destructor only if it still points to itself.
    auto made = std::make_unique<VolmTimeFactory>();
    slot = made.release();
  }
  return slot;
}

}  // namespace

VolmResult CreateFactoryInstance(const VolmId& classId, void** object) {
  if (!(classId == VolmIds().timeFactoryClass)) return VOLM_CLASS_E_CLASSNOTAVAILABLE;
  if (object == nullptr) return VOLM_E_POINTER;
  VolmTimeFactory* factory = nullptr;
  {
    std::lock_guard lock(ModuleLock());
    factory = CurrentFactory();
  }
  *object = static_cast<IVolmTimeFactory*>(factory);
  return VOLM_S_OK;
}

std::int32_t CanUnloadModule() noexcept { return GetLiveObjectCount() == 0 ? 1 : 0; }

}  // namespace VolmTime
