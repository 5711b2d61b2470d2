// SPDX-License-Identifier: MIT
#include "VolmTime/WaitForEvents.h"

#include "platform/Wait.h"

namespace VolmTime {

VolmResult WaitForEvents::Wait(const VolmHandle* handles, std::uint32_t count, bool waitAll,
                               std::uint32_t timeoutMs, std::uint32_t* outcome) {
  if (outcome == nullptr) return VOLM_E_POINTER;
  *outcome = Platform::WaitForMany(handles, count, waitAll, timeoutMs);
  return VOLM_S_OK;
}

VolmResult WaitForEvents::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().waitForEvents) return HandOutInterface(PrimaryUnknown(), object);
  return NoInterface(object);
}

}  // namespace VolmTime
