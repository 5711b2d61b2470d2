// SPDX-License-Identifier: MIT
#include "PrivateFolder.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

struct PrivateFolder::Impl {
  fs::path path = fs::temp_directory_path() / "volmtime";
};

namespace {

// A named mutex of the session: the system hands it to the next process when its holder ends
// in any way, and nothing of it stays on disk.
class MutexLock : public PrivateFolder::Lock {
 public:
  explicit MutexLock(HANDLE mutex) noexcept : mutex_(mutex) {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() override {
    ::ReleaseMutex(mutex_);
    ::CloseHandle(mutex_);
  }

 private:
  HANDLE mutex_;
};

}  // namespace

PrivateFolder::PrivateFolder() : impl_(std::make_unique<Impl>()) {}
PrivateFolder::~PrivateFolder() = default;

std::string PrivateFolder::Path() const { return impl_->path.string(); }
std::string PrivateFolder::PathOf(const std::string& file) const {
  return (impl_->path / file).string();
}

std::string PrivateFolder::Read(const std::string& file) const {
  std::ifstream source(impl_->path / file, std::ios::binary);
  std::stringstream text;
  text << source.rdbuf();
  return text.str();
}

void PrivateFolder::Write(const std::string& file, const std::string& text) const {
  std::error_code ignored;
  fs::create_directories(impl_->path, ignored);
  std::ofstream target(impl_->path / file, std::ios::binary | std::ios::trunc);
  target << text;
  target.close();
  if (!target) throw std::runtime_error("cannot write " + PathOf(file));
}

bool PrivateFolder::Exists(const std::string& file) const {
  std::error_code ignored;
  return fs::exists(impl_->path / file, ignored);
}

void PrivateFolder::Remove(const std::string& file) const noexcept {
  std::error_code ignored;
  fs::remove(impl_->path / file, ignored);
}

void PrivateFolder::RemoveIfEmpty() const noexcept {
  std::error_code ignored;
  fs::remove(impl_->path, ignored);  // the system does not remove a folder with files in it
}

std::unique_ptr<PrivateFolder::Lock> PrivateFolder::TryLock(const std::string& file) const {
  const std::wstring name = L"Local\\volmtime-" + fs::path(file).wstring();
  HANDLE mutex = ::CreateMutexW(nullptr, FALSE, name.c_str());
  if (mutex == nullptr)
    throw std::runtime_error("cannot use the lock " + file + " (error " +
                             std::to_string(::GetLastError()) + ")");
  const DWORD outcome = ::WaitForSingleObject(mutex, 0);
  if (outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED)
    return std::make_unique<MutexLock>(mutex);
  ::CloseHandle(mutex);
  return nullptr;
}
