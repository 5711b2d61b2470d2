// SPDX-License-Identifier: MIT
#include "platform/linux/HandleRegistry.h"

#include <mutex>
#include <unordered_map>

namespace VolmTime::Platform::Linux {

namespace {

struct Registry {
  std::mutex lock;
  std::unordered_map<int, HandleEntry> entries;
};

// Destroyed with the module, so unloading the library leaves nothing behind. No static
// object of the module holds a handle that would need it later.
Registry& TheRegistry() {
  static Registry registry;
  return registry;
}

}  // namespace

void RegisterHandle(int handle, const HandleEntry& entry) {
  Registry& registry = TheRegistry();
  std::lock_guard guard(registry.lock);
  registry.entries.insert_or_assign(handle, entry);
}

std::optional<HandleEntry> LookUpHandle(int handle) {
  Registry& registry = TheRegistry();
  std::lock_guard guard(registry.lock);
  const auto found = registry.entries.find(handle);
  if (found == registry.entries.end()) return std::nullopt;
  return found->second;
}

std::optional<HandleEntry> UnregisterHandle(int handle) {
  Registry& registry = TheRegistry();
  std::lock_guard guard(registry.lock);
  const auto found = registry.entries.find(handle);
  if (found == registry.entries.end()) return std::nullopt;
  HandleEntry entry = found->second;
  registry.entries.erase(found);
  return entry;
}

}  // namespace VolmTime::Platform::Linux
