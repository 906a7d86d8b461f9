/// @file
/// A run of positions.
#pragma once

#include <cstddef>

namespace kt::Core {

/// The `mLength` positions from `mBase` on.
struct Range {
    constexpr Range(std::size_t aBase, std::size_t aLength) : mBase(aBase), mLength(aLength)
    {
    }

    std::size_t mBase;
    std::size_t mLength;
};

}  // namespace kt::Core
