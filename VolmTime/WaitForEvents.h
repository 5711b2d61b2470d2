// SPDX-License-Identifier: MIT
// Waiting on several platform handles at once: the host's own next to the library's.
#ifndef VOLMTIME_WAITFOREVENTS_H
#define VOLMTIME_WAITFOREVENTS_H

#include <VolmTime/IWaitForEvents.h>

#include "framework/CVolmUnknownImpl.h"

namespace VolmTime {

class WaitForEvents : public CVolmUnknownImpl1<IWaitForEvents> {
 public:
  // Always VOLM_S_OK with a non-null outcome: a failed wait shows as VOLM_WAIT_FAILED.
  VolmResult Wait(const VolmHandle* handles, std::uint32_t count, bool waitAll,
                  std::uint32_t timeoutMs, std::uint32_t* outcome) override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;
};

}  // namespace VolmTime

#endif  // VOLMTIME_WAITFOREVENTS_H
