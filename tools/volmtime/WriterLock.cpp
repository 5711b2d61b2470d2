// SPDX-License-Identifier: MIT
#include "WriterLock.h"

#include "PrivateFolder.h"
#include "TimeFormat.h"
#include "ToolFiles.h"
#include "tools/common/Process.h"

#include <thread>

namespace {

std::string WithoutLineBreaks(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

std::string Me() { return "pid " + std::to_string(CurrentProcessId()) + " since " + Timestamp(); }

}  // namespace

struct WriterLock::Impl {
  explicit Impl(const std::string& name) : base("publish-" + FileBaseOf(name)) {}

  PrivateFolder folder;
  std::string base;
  std::string lockFile = base + ".lock";
  std::string holderFile = base + ".holder";
  std::string requestFile = base + ".take-over";
  std::unique_ptr<PrivateFolder::Lock> lock;  // declared after the folder: goes before it
  bool requested = false;
};

WriterLock::WriterLock(const std::string& name) : impl_(std::make_unique<Impl>(name)) {}

WriterLock::~WriterLock() {
  if (impl_->lock || impl_->requested) impl_->folder.Remove(impl_->requestFile);
  if (impl_->lock) {
    impl_->folder.Remove(impl_->holderFile);
    impl_->lock.reset();
  }
  impl_->folder.RemoveIfEmpty();
}

bool WriterLock::TryTake() {
  if (!impl_->lock) impl_->lock = impl_->folder.TryLock(impl_->lockFile);
  if (!impl_->lock) return false;
  // Requests made of an earlier holder are answered by its end.
  impl_->folder.Remove(impl_->requestFile);
  impl_->requested = false;
  impl_->folder.Write(impl_->holderFile, Me() + '\n');
  return true;
}

bool WriterLock::TakeOver(std::chrono::milliseconds patience, const std::atomic<bool>& stop) {
  impl_->folder.Write(impl_->requestFile, Me() + '\n');
  impl_->requested = true;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!TryTake()) {
    if (stop.load() || std::chrono::steady_clock::now() >= deadline) {
      impl_->folder.Remove(impl_->requestFile);
      impl_->requested = false;
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

std::string WriterLock::Holder() const {
  const std::string holder = WithoutLineBreaks(impl_->folder.Read(impl_->holderFile));
  return holder.empty() ? "another process" : holder;
}

bool WriterLock::TakeOverRequested(std::string& who) const {
  if (!impl_->folder.Exists(impl_->requestFile)) return false;
  who = WithoutLineBreaks(impl_->folder.Read(impl_->requestFile));
  return true;
}

void WriterLock::ClearLeftovers(const std::string& name) {
  WriterLock leftovers(name);
  (void)leftovers.TryTake();
}
