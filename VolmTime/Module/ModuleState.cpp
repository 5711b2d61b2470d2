// SPDX-License-Identifier: MIT
#include "VolmTime/Module/ModuleState.h"

#include <atomic>

namespace VolmTime {

namespace {
std::recursive_mutex gModuleLock;
constinit VolmTimeFactory* gFactorySlot = nullptr;
constinit std::atomic<std::int32_t> gAttachCount{0};
}  // namespace

std::recursive_mutex& ModuleLock() noexcept { return gModuleLock; }

VolmTimeFactory*& FactorySlot() noexcept { return gFactorySlot; }

void IncrementAttachCount() noexcept { gAttachCount.fetch_add(1, std::memory_order_seq_cst); }

void DecrementAttachCount() noexcept { gAttachCount.fetch_sub(1, std::memory_order_seq_cst); }

std::int32_t GetAttachCount() noexcept { return gAttachCount.load(std::memory_order_seq_cst); }

}  // namespace VolmTime
