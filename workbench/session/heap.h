#pragma once

// The heap of the interface: everything that a function hands out comes from here. It counts its
// live blocks and can be made to run dry, so that tests see what a failure leaves allocated.

#include <cstddef>
#include <optional>

namespace mervane::heap {

// Null if there is no memory. A size of 0 gives a block too.
void* allocate(std::size_t size) noexcept;
// A null pointer: as allocate. A null result leaves the old block.
void* reallocate(void* block, std::size_t size) noexcept;
// Null is allowed.
void release(void* block) noexcept;

std::size_t liveBlocks() noexcept;
// Let this many allocations succeed and every later one fail; none: no limit.
void failAfter(std::optional<std::size_t> allocations) noexcept;

}  // namespace mervane::heap
