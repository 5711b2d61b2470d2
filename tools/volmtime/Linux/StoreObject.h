// SPDX-License-Identifier: MIT
// Named stores on Linux are POSIX shared memory objects.
#ifndef TOOLS_VOLMTIME_LINUX_STOREOBJECT_H
#define TOOLS_VOLMTIME_LINUX_STOREOBJECT_H

#include <boost/interprocess/shared_memory_object.hpp>

using StoreObject = boost::interprocess::shared_memory_object;

#endif  // TOOLS_VOLMTIME_LINUX_STOREOBJECT_H
