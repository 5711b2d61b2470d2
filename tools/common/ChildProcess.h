// SPDX-License-Identifier: MIT
// Another program run as a child process: started with arguments, waited for with a time
// limit, killed when its owner is done with it or gives up early.
//
// Written by hand (posix_spawn and waitpid, CreateProcessW and WaitForSingleObject) rather
// than with Boost.Process, whose version here (1.74) does not do this job:
// - on Windows it needs Boost.Filesystem's compiled library (boost::filesystem::path's
//   operator/= and codecvt conversions), which the mingw cross build does not have;
// - on Linux its wait_for waits for a SIGCHLD and misses one that came before the wait began
//   (a child that had already ended was reported after the whole time limit), and its
//   terminate() sends SIGKILL and reaps only with WNOHANG, then reports the child as ended:
//   the caller cannot wait until a killed child is really gone, which tests of what a crash
//   leaves behind need.
#ifndef TOOLS_COMMON_CHILDPROCESS_H
#define TOOLS_COMMON_CHILDPROCESS_H

#include <cstdint>
#include <memory>
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

  // The exit code once the process has ended (128 + the signal's number for a process a
  // signal ended), or nothing if it still runs after `timeoutMs`.
  std::optional<int> Wait(std::uint32_t timeoutMs);
  // Ends the process at once, as a crash would (SIGKILL, TerminateProcess).
  void Kill();

 private:
  struct Running;  // the platform's process object
  std::unique_ptr<Running> running_;
  std::optional<int> exitCode_;
};

// A program next to the running one: "name" on Linux, "name.exe" on Windows.
std::string SiblingProgram(const std::string& name);

#endif  // TOOLS_COMMON_CHILDPROCESS_H
