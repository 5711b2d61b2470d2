// SPDX-License-Identifier: MIT
// Named stores on Windows are file mappings backed by the paging file.
#ifndef TOOLS_VOLMTIME_WINDOWS_STOREOBJECT_H
#define TOOLS_VOLMTIME_WINDOWS_STOREOBJECT_H

#include <boost/interprocess/windows_shared_memory.hpp>

using StoreObject = boost::interprocess::windows_shared_memory;

#endif  // TOOLS_VOLMTIME_WINDOWS_STOREOBJECT_H
