// SPDX-License-Identifier: MIT
// What a publisher that was killed outright leaves (its lock and note in the private folder,
// and its store when no other process holds it), and clearing it once the publisher is gone.
#ifndef TOOLS_VOLMTIME_PUBLISHERLEFTOVERS_H
#define TOOLS_VOLMTIME_PUBLISHERLEFTOVERS_H

#include "Library.h"

#include "tools/common/ChildProcess.h"

#include <string>

// Clears what a publisher of `name` that has ended left, unless another publisher holds the
// name by now; a store that other processes still hold stays theirs.
void ClearPublisherLeftovers(const Library& library, const std::string& name);

// A publisher of `name` run as a child process: however the scope that owns it ends, the
// child has ended when it goes (killed if it still runs) and nothing of it is left.
class ChildPublisherGuard {
 public:
  ChildPublisherGuard(const Library& library, ChildProcess& publisher, std::string name)
      : library_(library), publisher_(publisher), name_(std::move(name)) {}
  ChildPublisherGuard(const ChildPublisherGuard&) = delete;
  ChildPublisherGuard& operator=(const ChildPublisherGuard&) = delete;
  ~ChildPublisherGuard();

 private:
  const Library& library_;
  ChildProcess& publisher_;
  std::string name_;
};

#endif  // TOOLS_VOLMTIME_PUBLISHERLEFTOVERS_H
