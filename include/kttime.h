/// @file
/// Clocks.
#pragma once

#include "kttypes.h"

extern "C" {

/// Time since the system started, time spent suspended included. Any thread; never waits.
/// @return microseconds; 0 when the clock cannot be read.
KT_EXPORT long long ktGetUptimeInMicroseconds();
}
