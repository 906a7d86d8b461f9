/// @file
/// What numbers and dates share.
#pragma once

#include "CoreFoundation/CFNumber.h"

namespace cf {

/// The same for an integer and for a floating-point number of the same value.
CFHashCode HashNumber(double aValue);

/// The fewest digits, of 15 to 17, that read back as the same number; in whatever locale the process has set.
/// @param aOut receives the terminated text, at least kNumberSize bytes.
void PrintNumber(double aValue, char* aOut);
constexpr int kNumberSize = 32;

}  // namespace cf
