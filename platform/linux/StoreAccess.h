// SPDX-License-Identifier: MIT
// Who may do what with a store on Linux. A store is created with mode 0644: its owner's
// account writes it, every account reads it, and no other account can resize or write it.
// Private to the Linux backend.
#ifndef VOLMTIME_PLATFORM_LINUX_STOREACCESS_H
#define VOLMTIME_PLATFORM_LINUX_STOREACCESS_H

#include <sys/types.h>

#include <string>

namespace VolmTime::Platform::Linux {

inline constexpr unsigned kStoreMode = 0644;

// Whether the object behind `descriptor` belongs to this process's account (its effective
// user). False when that cannot be read.
[[nodiscard]] bool BelongsToThisAccount(int descriptor) noexcept;

// "NAME (uid N)", or "uid N" for an account without a name.
[[nodiscard]] std::string AccountOf(uid_t uid);

// Why this process may not write the store behind `descriptor` (empty when it may): a
// writer of another account's store could be cut short by that account at any time.
// Gives a store of this process's own account the store mode, whatever it had.
[[nodiscard]] std::string RefusalToWrite(int descriptor);

// Why this process may not read the store (empty when it may): a store that accounts other
// than its owner's can write could be resized under the reader.
[[nodiscard]] std::string RefusalToRead(int descriptor);

// Why the store of that name cannot be opened for writing after the system said no: whose
// it is, where that can be found out.
[[nodiscard]] std::string DeniedWriting(const std::string& name, const std::string& reason);

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_STOREACCESS_H
