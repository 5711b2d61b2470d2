// A second process for tests that cross process boundaries: started with arguments, waited
// for with a time limit, killed when a test is done with it or fails early.
#ifndef TESTS_SUPPORT_CHILDPROCESS_H
#define TESTS_SUPPORT_CHILDPROCESS_H

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

// The folder of the running test program, where the build puts the helper programs.
std::string ProgramDirectory();

// A program that the build puts next to the test programs: "name" on Linux, "name.exe" on
// Windows.
std::string SiblingProgram(const std::string& name);

#endif  // TESTS_SUPPORT_CHILDPROCESS_H
