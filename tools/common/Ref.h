// SPDX-License-Identifier: MIT
// A host's owning holder of one reference to a library object.
#ifndef TOOLS_COMMON_REF_H
#define TOOLS_COMMON_REF_H

template <typename T>
class Ref {
 public:
  Ref() = default;
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  ~Ref() { Reset(); }

  // Out-parameter for an operation that hands out a reference; releases what is held first.
  T** Out() {
    Reset();
    return &pointer_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }
  void Reset() {
    if (pointer_ != nullptr) pointer_->Release();
    pointer_ = nullptr;
  }
  T* operator->() const { return pointer_; }
  T* Get() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

 private:
  T* pointer_ = nullptr;
};

#endif  // TOOLS_COMMON_REF_H
