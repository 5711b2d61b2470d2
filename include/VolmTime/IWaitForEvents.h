// SPDX-License-Identifier: MIT
// Waiting on several platform handles at once.
#ifndef VOLMTIME_IWAITFOREVENTS_H
#define VOLMTIME_IWAITFOREVENTS_H

#include <VolmTime/IVolmUnknown.h>

// The outcomes of Wait, VOLM_INFINITE and VOLM_MAXIMUM_WAIT_OBJECTS are in VolmTypes.h.

class IWaitForEvents : public IVolmUnknown {
 public:
  // Waits for any one (waitAll false) or all of `count` handles. *outcome gets
  // VOLM_WAIT_OBJECT_0 + index, VOLM_WAIT_TIMEOUT or VOLM_WAIT_FAILED.
  virtual VolmResult Wait(const VolmHandle* handles, std::uint32_t count, bool waitAll,
                          std::uint32_t timeoutMs, std::uint32_t* outcome) = 0;

 protected:
  ~IWaitForEvents() = default;
};

#endif  // VOLMTIME_IWAITFOREVENTS_H
