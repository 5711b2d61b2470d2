#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionSharedMemory.h"

#include "VolmTime/Core/CException.h"

namespace VolmTime::Core {

namespace {

// The name byte by byte, except that a NUL byte is shown as "\0": hosts read messages as
// zero-terminated texts, which a real NUL would cut short.
WideString ShownName(const std::string& name) {
  WideString shown;
  for (const char byte : name) {
    if (byte == '\0') {
      shown += VOLM_TEXT("\\0");
    } else {
      shown.push_back(static_cast<VolmWideChar>(static_cast<unsigned char>(byte)));
    }
  }
  return shown;
}

[[noreturn]] void NotAvailable(const std::string& name, const std::string& reason) {
  WideString message = VOLM_TEXT("The shared memory >");
  message += ShownName(name);
  message += VOLM_TEXT("< is not available (");
  message += WidenBytes(reason);
  message += VOLM_TEXT(").");
  throw CException(message);
}

}  // namespace

template <typename Tick, typename Time>
Platform::SharedMemoryMapping PiecewiseLinearCorrectionFunctionSharedMemory<Tick, Time>::Map(
    const std::string& name, bool isWriter) {
  // Both platforms read a name only up to its first NUL, and an empty name means an
  // unnamed mapping: neither could be found by a second process.
  if (name.empty()) NotAvailable(name, "the name is empty");
  if (name.find('\0') != std::string::npos) NotAvailable(name, "the name contains a NUL character");
  try {
    Platform::SharedMemoryMapping mapping =
        isWriter ? Platform::SharedMemoryMapping::CreateOrOpen(name, kSampleStoreSize)
                 : Platform::SharedMemoryMapping::OpenReadOnly(name);
    // Another program may have made a smaller object of this name; reading past its end
    // would fault.
    if (mapping.Size() < kSampleStoreSize) {
      NotAvailable(name, "it holds " + std::to_string(mapping.Size()) + " bytes, a store needs " +
                             std::to_string(kSampleStoreSize));
    }
    return mapping;
  } catch (const Platform::SharedMemoryError& failure) {
    NotAvailable(name, failure.what());
  }
}

template <typename Tick, typename Time>
PiecewiseLinearCorrectionFunctionSharedMemory<
    Tick, Time>::PiecewiseLinearCorrectionFunctionSharedMemory(const std::string& name,
                                                               bool isWriter)
    : PiecewiseLinearCorrectionFunction<Tick, Time>(isWriter),
      mapping_(Map(name, isWriter)),
      name_(name) {
  auto* store = static_cast<SampleStore*>(mapping_.Address());
  if (!isWriter &&
      LoadShared(store->header.version, std::memory_order_acquire) != kSampleStoreVersion) {
    throw CException(VOLM_TEXT("Memory layout version mismatch."));
  }
  this->AttachStore(store);
  if (isWriter) this->Reset();
}

template <typename Tick, typename Time>
PiecewiseLinearCorrectionFunctionSharedMemory<
    Tick, Time>::~PiecewiseLinearCorrectionFunctionSharedMemory() {
  if (listener_ != nullptr) listener_->OnCorrectionFunctionDestroyed(this);
}

template class PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core
