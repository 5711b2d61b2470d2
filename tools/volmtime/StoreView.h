// SPDX-License-Identifier: MIT
// The samples of a shared function's store as its readers see them, read from the store's
// bytes while its writer may be working.
#ifndef TOOLS_VOLMTIME_STOREVIEW_H
#define TOOLS_VOLMTIME_STOREVIEW_H

#include <VolmTime/VolmSampleStore.h>

#include <cstddef>
#include <cstdint>
#include <vector>

struct StoreContents {
  std::uint32_t version = 0;
  std::uint32_t capacity = 0;
  std::uint32_t count = 0;
  bool full = false;
  bool latestValid = false;
  // The newest samples a reader would evaluate, oldest first, at most as many as asked for.
  std::vector<VolmTime::CorrectionSample> samples;
};

// Reads the last `maxSamples` readable samples of the store at `store` (a mapping of at
// least sizeof(SampleStore) bytes). Only the layout's count, the full and latest-valid flags
// and the latest slot's index are used; every other bit of the header is reserved. Returns
// false if a writer kept changing the store during every attempt.
bool ReadStore(const void* store, std::size_t maxSamples, StoreContents& contents);

#endif  // TOOLS_VOLMTIME_STOREVIEW_H
