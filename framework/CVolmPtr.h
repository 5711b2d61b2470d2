// SPDX-License-Identifier: MIT
// A reference-holding interface pointer: holds one reference to its pointee and gives it
// back when cleared, reassigned or destroyed.
#ifndef FRAMEWORK_CVOLMPTR_H
#define FRAMEWORK_CVOLMPTR_H

#include <utility>

template <typename T>
class CVolmPtr {
 public:
  CVolmPtr() noexcept = default;
  // Takes a new reference to `pointer`.
  explicit CVolmPtr(T* pointer) noexcept : pointer_(pointer) {
    if (pointer_) pointer_->AddRef();
  }
  CVolmPtr(const CVolmPtr& other) noexcept : CVolmPtr(other.pointer_) {}
  CVolmPtr(CVolmPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ~CVolmPtr() { Reset(); }

  CVolmPtr& operator=(const CVolmPtr& other) noexcept { return *this = other.pointer_; }
  CVolmPtr& operator=(CVolmPtr&& other) noexcept {
    if (this != &other) Attach(std::exchange(other.pointer_, nullptr));
    return *this;
  }
  // Assigning the pointer held already changes nothing; otherwise the old pointee is
  // detached and released before the new one gets its reference.
  CVolmPtr& operator=(T* pointer) noexcept {
    if (pointer != pointer_) {
      if (pointer) pointer->AddRef();
      Attach(pointer);
    }
    return *this;
  }

  // Adopts a reference the caller already owns.
  void Attach(T* pointer) noexcept {
    T* old = std::exchange(pointer_, pointer);
    if (old) old->Release();
  }
  // Hands the held reference to the caller.
  [[nodiscard]] T* Detach() noexcept { return std::exchange(pointer_, nullptr); }
  void Reset() noexcept { Attach(nullptr); }

  // Out-parameter for an operation that hands out a reference; releases what is held first.
  [[nodiscard]] T** Put() noexcept {
    Reset();
    return &pointer_;
  }
  // The same, typed as the void** of QueryInterface.
  [[nodiscard]] void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }

  [[nodiscard]] T* Get() const noexcept { return pointer_; }
  T* operator->() const noexcept { return pointer_; }
  T& operator*() const noexcept { return *pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

 private:
  T* pointer_ = nullptr;
};

#endif  // FRAMEWORK_CVOLMPTR_H
