// SPDX-License-Identifier: MIT
// How the tool names the files it keeps for a store in its private folder (PrivateFolder.h).
#ifndef TOOLS_VOLMTIME_TOOLFILES_H
#define TOOLS_VOLMTIME_TOOLFILES_H

#include <string>

// The part of a file name that stands for the store `name`: letters, digits, '-' and '.'
// stay, any other byte becomes '_' and its code, so that different names stay different and
// every name makes a file name on every system. A name whose form would be long is cut and
// followed by '~' and a digest of the whole name, so that the file names of the longest
// store names (255 bytes) stay well within what file systems and Windows paths take.
std::string FileBaseOf(const std::string& name);

#endif  // TOOLS_VOLMTIME_TOOLFILES_H
