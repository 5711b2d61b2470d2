// A reader that opens a store while its writer is still setting it up.
#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionSharedMemory.h"
#include "platform/SharedMemory.h"

#include "tests/support/ErrorTexts.h"
#include "tests/support/UniqueName.h"

#include <VolmTime/VolmSampleStore.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using SharedFunction =
    VolmTime::Core::PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;
namespace Platform = VolmTime::Platform;
using VolmTime::SampleStore;
using VolmTime::kSampleStoreVersion;

// A store as a writer leaves it between creating the mapping and writing its version.
struct HalfMadeStore {
  std::string name = UniqueName("volm-setup");
  Platform::SharedMemoryMapping mapping =
      Platform::SharedMemoryMapping::CreateOrOpen(name, sizeof(SampleStore));
  std::atomic_ref<std::uint32_t> version{
      static_cast<SampleStore*>(mapping.Address())->header.version};
};

TEST(StoreSetup, AReaderWaitsForTheVersionOfAStoreBeingSetUp) {
  HalfMadeStore store;
  ASSERT_EQ(store.version.load(), 0u);
  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    store.version.store(kSampleStoreVersion, std::memory_order_release);
  });
  EXPECT_NO_THROW(SharedFunction reader(store.name, false));
  writer.join();
}

TEST(StoreSetup, AStoreThatStaysZeroIsAnotherLayout) {
  HalfMadeStore store;
  EXPECT_EQ(FailureOf([&] { SharedFunction reader(store.name, false); }),
            "Memory layout version mismatch.");
}

}  // namespace
