// SPDX-License-Identifier: MIT
// Move-only owners of platform resources, made from one traits template.
#ifndef VOLMTIME_PLATFORM_SCOPEDHANDLE_H
#define VOLMTIME_PLATFORM_SCOPEDHANDLE_H

#include "platform/PlatformTypes.h"

#include <utility>

namespace VolmTime::Platform {

// Traits: `using Value = ...;`, `static Value Invalid() noexcept;`,
// `static bool IsValid(Value) noexcept;`, `static void Close(Value) noexcept;`.
template <typename Traits>
class ScopedHandle {
 public:
  using Value = typename Traits::Value;

  ScopedHandle() noexcept : value_(Traits::Invalid()) {}
  explicit ScopedHandle(Value value) noexcept : value_(value) {}
  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;
  ScopedHandle(ScopedHandle&& other) noexcept : value_(other.Take()) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    if (this != &other) Reset(other.Take());
    return *this;
  }
  ~ScopedHandle() { Reset(); }

  [[nodiscard]] Value Get() const noexcept { return value_; }
  [[nodiscard]] bool IsValid() const noexcept { return Traits::IsValid(value_); }
  explicit operator bool() const noexcept { return IsValid(); }

  // Gives up ownership without closing.
  [[nodiscard]] Value Take() noexcept { return std::exchange(value_, Traits::Invalid()); }

  void Reset(Value value = Traits::Invalid()) noexcept {
    Value old = std::exchange(value_, value);
    if (Traits::IsValid(old)) Traits::Close(old);
  }

 private:
  Value value_;
};

// Closes any handle that the platform layer hands out (timers, events).
void CloseNativeHandle(NativeHandle handle) noexcept;

struct NativeHandleTraits {
  using Value = NativeHandle;
  static Value Invalid() noexcept { return kNoHandle; }
  static bool IsValid(Value value) noexcept { return value != kNoHandle; }
  static void Close(Value value) noexcept { CloseNativeHandle(value); }
};

using UniqueHandle = ScopedHandle<NativeHandleTraits>;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_SCOPEDHANDLE_H
