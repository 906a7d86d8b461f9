/// @file
/// The allocator that every block of the library comes from.
///
/// Each function forwards to the C library's function of the same meaning and adds nothing: no header in front of the
/// block, no statistics, no log line, no handling of failure. A block from here goes back through `ktFREE`, an object
/// from `new` through `delete` or its `Destroy()`; the two are never mixed. Any thread; none of them waits for anything
/// but the allocator.
#pragma once

#include <cstddef>

#include "kttypes.h"

extern "C" {

/// `malloc`. @return the block, owned by the caller; null when there is no memory.
KT_EXPORT void* ktMALLOC(std::size_t aSize);

/// `calloc`: `aCount` items of `aSize` bytes, zero-filled. @return the block; null when there is no memory or the
/// product overflows.
KT_EXPORT void* ktCALLOC(std::size_t aCount, std::size_t aSize);

/// `ktCALLOC(1, aSize)`: a zero-filled block. @return the block; null when there is no memory.
KT_EXPORT void* ktZALLOC(std::size_t aSize);

/// `realloc`. @return the block, perhaps moved; null when there is no memory, and then the old block stays as it was.
/// As with `realloc`, size 0 frees the block.
KT_EXPORT void* ktREALLOC(void* aPointer, std::size_t aSize);

/// `free`; null is welcome.
KT_EXPORT void ktFREE(void* aPointer);
}
