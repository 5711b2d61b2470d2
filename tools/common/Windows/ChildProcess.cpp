// SPDX-License-Identifier: MIT
#include "tools/common/ChildProcess.h"

#include <windows.h>

#include <stdexcept>

namespace {

std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// Quotes an argument the way the C runtime splits command lines.
std::wstring Quoted(const std::string& argument) {
  std::wstring quoted = L"\"";
  for (const char character : argument) {
    if (character == '"') quoted += L'\\';
    quoted += static_cast<wchar_t>(static_cast<unsigned char>(character));
  }
  return quoted + L"\"";
}

}  // namespace

struct ChildProcess::Running {
  HANDLE process = nullptr;
};

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) {
  std::wstring commandLine = Quoted(program);
  for (const std::string& argument : arguments) commandLine += L" " + Quoted(argument);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (!::CreateProcessW(Widen(program).c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0,
                        nullptr, nullptr, &startup, &started)) {
    throw std::runtime_error("cannot start " + program + ", error " +
                             std::to_string(::GetLastError()));
  }
  ::CloseHandle(started.hThread);
  running_ = std::make_unique<Running>(Running{started.hProcess});
}

ChildProcess::~ChildProcess() {
  if (!exitCode_) {
    Kill();
    Wait(5'000);
  }
  ::CloseHandle(running_->process);
}

std::optional<int> ChildProcess::Wait(std::uint32_t timeoutMs) {
  if (exitCode_) return exitCode_;
  const HANDLE process = running_->process;
  if (::WaitForSingleObject(process, timeoutMs) != WAIT_OBJECT_0) return std::nullopt;
  DWORD code = 0;
  ::GetExitCodeProcess(process, &code);
  exitCode_ = static_cast<int>(code);
  return exitCode_;
}

void ChildProcess::Kill() {
  if (!exitCode_) ::TerminateProcess(running_->process, 137);
}
