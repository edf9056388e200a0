#include "workbench/session/heap.h"

#include <atomic>
#include <cstdlib>

namespace mervane::heap {

namespace {
// A host may free on another thread than the one that allocated.
std::atomic<std::size_t> live{0};
std::atomic<bool> limited{false};
std::atomic<std::size_t> left{0};

bool mayAllocate() {
    if (!limited.load(std::memory_order_relaxed))
        return true;
    // The count must not go below 0: it would wrap and be no limit any more.
    std::size_t now = left.load();
    while (now > 0)
        if (left.compare_exchange_weak(now, now - 1))
            return true;
    return false;
}
}  // namespace

void* allocate(std::size_t size) noexcept {
    if (!mayAllocate())
        return nullptr;
    void* block = std::malloc(size ? size : 1);
    if (block)
        live.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void* reallocate(void* block, std::size_t size) noexcept {
    if (!block)
        return allocate(size);
    return mayAllocate() ? std::realloc(block, size ? size : 1) : nullptr;
}

void release(void* block) noexcept {
    if (!block)
        return;
    live.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
}

std::size_t liveBlocks() noexcept {
    return live.load();
}

void failAfter(std::optional<std::size_t> allocations) noexcept {
    // The count comes first: another thread may allocate as soon as there is a limit.
    left = allocations.value_or(0);
    limited = allocations.has_value();
}

}  // namespace mervane::heap
