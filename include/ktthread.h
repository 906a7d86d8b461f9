/// @file
/// Scheduling of the calling thread.
#pragma once

#include "kttypes.h"

extern "C" {

/// Gives the calling thread a real-time policy: `SCHED_FIFO` at its highest priority when `aFifo` is not zero,
/// otherwise `SCHED_RR` halfway between its lowest and highest priority.
/// @return 0; -1 when the system refuses (usually for want of privilege), which is logged; the thread then keeps the
///         policy that it had.
KT_EXPORT ktError ktMakeThreadRealtime(int aFifo);
}
