/// @file
/// A run of positions.
#pragma once

#include <cstddef>

namespace kt::Core {

/// The `mLength` positions from `mBase` on.
struct Range {
    std::size_t mBase;
    std::size_t mLength;
};

}  // namespace kt::Core
