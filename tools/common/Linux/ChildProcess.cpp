// SPDX-License-Identifier: MIT
#include "tools/common/ChildProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

extern char** environ;

struct ChildProcess::Running {
  pid_t pid;
};

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<std::string> all{program};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& argument : all) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int error = ::posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv.data(), environ);
  if (error != 0) throw std::runtime_error("cannot start " + program);
  running_ = std::make_unique<Running>(Running{pid});
}

ChildProcess::~ChildProcess() {
  if (!exitCode_) {
    Kill();
    Wait(5'000);
  }
}

std::optional<int> ChildProcess::Wait(std::uint32_t timeoutMs) {
  if (exitCode_) return exitCode_;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    int status = 0;
    const pid_t ended = ::waitpid(running_->pid, &status, WNOHANG);
    if (ended == running_->pid) {
      exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      return exitCode_;
    }
    if (ended < 0 || std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

void ChildProcess::Kill() {
  if (!exitCode_) ::kill(running_->pid, SIGKILL);
}
