// SPDX-License-Identifier: MIT
#include "framework/LiveObjects.h"

#include <atomic>

namespace {
constinit std::atomic<std::uint32_t> gLiveObjects{0};
}  // namespace

void IncrementLiveObjects() noexcept { gLiveObjects.fetch_add(1, std::memory_order_seq_cst); }

void DecrementLiveObjects() noexcept { gLiveObjects.fetch_sub(1, std::memory_order_seq_cst); }

std::uint32_t GetLiveObjectCount() noexcept { return gLiveObjects.load(std::memory_order_seq_cst); }
