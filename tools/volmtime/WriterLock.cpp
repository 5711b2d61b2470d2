// SPDX-License-Identifier: MIT
#include "WriterLock.h"

#include "TimeFormat.h"
#include "tools/common/Process.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/sync/file_lock.hpp>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace bip = boost::interprocess;
namespace fs = std::filesystem;

namespace {

// A file name for any store name: letters, digits, '-' and '.' stay, anything else becomes
// '_' followed by its code, so that different names stay different.
std::string FileNameOf(const std::string& name) {
  std::string file = "volmtime-publish-";
  for (const char character : name) {
    const auto code = static_cast<unsigned char>(character);
    if ((code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ||
        (code >= '0' && code <= '9') || code == '-' || code == '.') {
      file += character;
    } else {
      file += '_' + std::to_string(code);
    }
  }
  return file;
}

std::string ReadAll(const fs::path& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  std::string content = text.str();
  while (!content.empty() && (content.back() == '\n' || content.back() == '\r')) content.pop_back();
  return content;
}

std::string Me() { return "pid " + std::to_string(CurrentProcessId()) + " since " + Timestamp(); }

}  // namespace

struct WriterLock::Impl {
  fs::path lockPath;
  fs::path holderPath;
  fs::path requestPath;
  bip::file_lock lock;
  bool held = false;
};

WriterLock::WriterLock(const std::string& name) : impl_(std::make_unique<Impl>()) {
  const fs::path folder = fs::temp_directory_path();
  const std::string base = FileNameOf(name);
  impl_->lockPath = folder / (base + ".lock");
  impl_->holderPath = folder / (base + ".holder");
  impl_->requestPath = folder / (base + ".take-over");
  std::ofstream(impl_->lockPath, std::ios::app);  // file_lock needs the file to exist
  try {
    impl_->lock = bip::file_lock(impl_->lockPath.string().c_str());
  } catch (const bip::interprocess_exception& failure) {
    throw std::runtime_error("cannot use the lock file " + impl_->lockPath.string() + ": " +
                             failure.what());
  }
}

WriterLock::~WriterLock() {
  if (impl_->held) {
    std::error_code ignored;
    fs::remove(impl_->holderPath, ignored);
    impl_->lock.unlock();
  }
}

bool WriterLock::TryTake() {
  if (!impl_->held) impl_->held = impl_->lock.try_lock();
  if (impl_->held) {
    // Requests made of an earlier holder are answered by its end.
    std::error_code ignored;
    fs::remove(impl_->requestPath, ignored);
    std::ofstream(impl_->holderPath, std::ios::trunc) << Me() << '\n';
  }
  return impl_->held;
}

bool WriterLock::TakeOver(std::chrono::milliseconds patience) {
  std::ofstream(impl_->requestPath, std::ios::trunc) << Me() << '\n';
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!TryTake()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      std::error_code ignored;
      fs::remove(impl_->requestPath, ignored);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

std::string WriterLock::Holder() const {
  const std::string holder = ReadAll(impl_->holderPath);
  return holder.empty() ? "another process" : holder;
}

bool WriterLock::TakeOverRequested(std::string& who) const {
  std::error_code missing;
  if (!fs::exists(impl_->requestPath, missing)) return false;
  who = ReadAll(impl_->requestPath);
  return true;
}
