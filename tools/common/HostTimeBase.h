// SPDX-License-Identifier: MIT
// How a host starts: load the library, ask CreateInstance for the time factory and hold the
// host's first reference to it. Shared by the tool, the benchmarks and the test hosts so that
// the sequence, and its error texts, exist once.
#ifndef TOOLS_COMMON_HOSTTIMEBASE_H
#define TOOLS_COMMON_HOSTTIMEBASE_H

#include <VolmTime/VolmTime.h>

#include "tools/common/LoadedLibrary.h"

#include <optional>
#include <string>
#include <vector>

class HostTimeBase {
 public:
  // Never throws: IsReady() tells whether the factory was obtained and Error() why not.
  explicit HostTimeBase(const std::vector<LibraryCandidate>& candidates);
  explicit HostTimeBase(const std::string& libraryFile)
      : HostTimeBase(std::vector<LibraryCandidate>{{libraryFile}}) {}
  HostTimeBase(const HostTimeBase&) = delete;
  HostTimeBase& operator=(const HostTimeBase&) = delete;
  // Releases the factory before the library is unloaded.
  ~HostTimeBase();

  [[nodiscard]] bool IsReady() const noexcept { return factory_ != nullptr; }
  [[nodiscard]] const std::string& Error() const noexcept { return error_; }
  // The factory, valid while this object lives; null when not ready.
  [[nodiscard]] IVolmTimeFactory* Factory() const noexcept { return factory_; }

 private:
  std::optional<LoadedLibrary> library_;
  IVolmTimeFactory* factory_ = nullptr;
  std::string error_;
};

// The text of `source`'s last error, non-ASCII units as '?'; empty when it has none.
[[nodiscard]] std::string LastErrorText(IVolmUnknown* source);

#endif  // TOOLS_COMMON_HOSTTIMEBASE_H
