// SPDX-License-Identifier: MIT
// Another program run as a child process: started with arguments, waited for with a time
// limit, killed when its owner is done with it or gives up early.
#ifndef TOOLS_COMMON_CHILDPROCESS_H
#define TOOLS_COMMON_CHILDPROCESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class ChildProcess {
 public:
  // Starts `program` (a path) with `arguments`; throws std::runtime_error if it cannot.
  ChildProcess(const std::string& program, const std::vector<std::string>& arguments);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  // Kills the process if it still runs.
  ~ChildProcess();

  // The exit code once the process has ended, or nothing if it still runs after `timeoutMs`.
  std::optional<int> Wait(std::uint32_t timeoutMs);
  // Ends the process at once, as a crash would (SIGKILL, TerminateProcess).
  void Kill();

 private:
  std::intptr_t process_ = -1;
  std::optional<int> exitCode_;
};

// The folder of the running program, where the build puts its sibling programs.
std::string ProgramDirectory();

// A program next to the running one: "name" on Linux, "name.exe" on Windows.
std::string SiblingProgram(const std::string& name);

#endif  // TOOLS_COMMON_CHILDPROCESS_H
