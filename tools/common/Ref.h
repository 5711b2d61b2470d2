// SPDX-License-Identifier: MIT
// A host's owning holder of one reference to a library object.
#ifndef TOOLS_COMMON_REF_H
#define TOOLS_COMMON_REF_H

#include <utility>

template <typename T>
class Ref {
 public:
  Ref() = default;
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  Ref(Ref&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  Ref& operator=(Ref&& other) noexcept {
    if (this != &other) {
      Reset();
      pointer_ = std::exchange(other.pointer_, nullptr);
    }
    return *this;
  }
  ~Ref() { Reset(); }

  // A second reference to the same object, for a caller that must outlive a concurrent
  // Reset of this one.
  [[nodiscard]] Ref Copy() const {
    Ref copy;
    if (pointer_ != nullptr) pointer_->AddRef();
    copy.pointer_ = pointer_;
    return copy;
  }

  // Out-parameter for an operation that hands out a reference; releases what is held first.
  T** Out() {
    Reset();
    return &pointer_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }
  void Reset() {
    if (T* pointer = std::exchange(pointer_, nullptr)) pointer->Release();
  }
  T* operator->() const { return pointer_; }
  T* Get() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

 private:
  T* pointer_ = nullptr;
};

#endif  // TOOLS_COMMON_REF_H
