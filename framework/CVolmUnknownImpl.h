// SPDX-License-Identifier: MIT
// The implementation of reference counting, interface queries and the last error that every
// component class of the module derives from.
#ifndef FRAMEWORK_CVOLMUNKNOWNIMPL_H
#define FRAMEWORK_CVOLMUNKNOWNIMPL_H

#include <VolmTime/IVolmUnknown.h>

#include "framework/LiveObjects.h"
#include "framework/VolmIdentifiers.h"
#include "framework/VolmInterfaceIds.h"

#include <atomic>
#include <cstdint>
#include <mutex>

// Writes `pointer` with a new reference to *object and returns VOLM_S_OK.
inline VolmResult HandOutInterface(IVolmUnknown* pointer, void** object) noexcept {
  pointer->AddRef();
  *object = pointer;
  return VOLM_S_OK;
}

// Writes null to *object and returns VOLM_E_NOINTERFACE.
inline VolmResult NoInterface(void** object) noexcept {
  *object = nullptr;
  return VOLM_E_NOINTERFACE;
}

// Over one interface I: I first, then IGetVolmError, then the common members.
template <typename I>
class CVolmUnknownImpl1 : public I, public IGetVolmError {
 public:
  CVolmUnknownImpl1(const CVolmUnknownImpl1&) = delete;
  CVolmUnknownImpl1& operator=(const CVolmUnknownImpl1&) = delete;

  std::uint32_t AddRef() override { return refCount_.fetch_add(1, std::memory_order_seq_cst) + 1; }

  std::uint32_t Release() override {
    const std::uint32_t left = refCount_.fetch_sub(1, std::memory_order_seq_cst) - 1;
    if (left == 0) delete this;
    return left;
  }

  VolmResult QueryInterface(const VolmId& id, void** object) override {
    if (object == nullptr) return VOLM_E_POINTER;
    const VolmResult own = QueryOwnInterface(id, object);
    if (VolmSucceeded(own)) return own;
    if (id == VolmIds().volmUnknown) return HandOutInterface(PrimaryUnknown(), object);
    if (id == VolmIds().getVolmError) {
      return HandOutInterface(static_cast<IGetVolmError*>(this), object);
    }
    return NoInterface(object);
  }

  VolmResult GetError(IVolmError** error) override {
    if (error == nullptr) return VOLM_S_OK;
    std::lock_guard lock(errorLock_);
    *error = lastError_;
    if (lastError_ != nullptr) lastError_->AddRef();
    return VOLM_S_OK;
  }

  virtual ~CVolmUnknownImpl1() {
    DecrementLiveObjects();
    if (lastError_ != nullptr) lastError_->Release();
  }

  // Answers the class's own interfaces: a new reference and VOLM_S_OK, or null and
  // VOLM_E_NOINTERFACE.
  virtual VolmResult QueryOwnInterface(const VolmId& id, void** object) = 0;

  // Stores `error` (may be null) as the last error. Returns the stored error's code, or
  // VOLM_S_OK when the slot was cleared.
  VolmResult SetError(IVolmError* error) noexcept {
    IVolmError* replaced = nullptr;
    VolmResult result = VOLM_S_OK;
    {
      std::lock_guard lock(errorLock_);
      if (error != lastError_) {
        replaced = lastError_;
        lastError_ = error;
        if (error != nullptr) error->AddRef();
      }
      if (lastError_ != nullptr) result = lastError_->GetCode();
      if (replaced != nullptr) replaced->Release();
    }
    return result;
  }

  // The object's identity: the first sub-object, whichever interface it is reached through.
  IVolmUnknown* PrimaryUnknown() noexcept {
    return VolmPrimaryUnknown<I>::Of(static_cast<I*>(this));
  }

 protected:
  CVolmUnknownImpl1() noexcept { IncrementLiveObjects(); }

  // Adds a reference unless the count has reached 0, for classes found through tables that
  // hold no references: an object whose count reached 0 is being destroyed and stays so.
  [[nodiscard]] bool TryAddReference() noexcept {
    std::uint32_t count = refCount_.load(std::memory_order_seq_cst);
    while (count != 0) {
      if (refCount_.compare_exchange_weak(count, count + 1, std::memory_order_seq_cst)) return true;
    }
    return false;
  }

  // The current count, for classes that must tell a fresh object from a dying one.
  [[nodiscard]] std::uint32_t ReferenceCount() const noexcept {
    return refCount_.load(std::memory_order_seq_cst);
  }

 private:
  std::atomic<std::uint32_t> refCount_{0};
  IVolmError* lastError_ = nullptr;
  std::mutex errorLock_;
};

// Over two interfaces: everything of CVolmUnknownImpl1<I1>, then the I2 sub-object, whose
// IVolmUnknown operations act on the same object.
template <typename I1, typename I2>
class CVolmUnknownImpl2 : public CVolmUnknownImpl1<I1>, public I2 {
 public:
  std::uint32_t AddRef() override { return CVolmUnknownImpl1<I1>::AddRef(); }
  std::uint32_t Release() override { return CVolmUnknownImpl1<I1>::Release(); }
  VolmResult QueryInterface(const VolmId& id, void** object) override {
    return CVolmUnknownImpl1<I1>::QueryInterface(id, object);
  }

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override {
    if (id == VolmInterfaceId<I1>::Get()) return HandOutInterface(this->PrimaryUnknown(), object);
    if (id == VolmInterfaceId<I2>::Get()) return HandOutInterface(static_cast<I2*>(this), object);
    return NoInterface(object);
  }

 protected:
  CVolmUnknownImpl2() noexcept = default;
};

#endif  // FRAMEWORK_CVOLMUNKNOWNIMPL_H
