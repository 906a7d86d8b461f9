/// @file
/// The short timer's queue.
#pragma once

#include "kteventqueue.h"

/// The queue that requests for short timeouts are posted to (ktEventUtils::SendTimeout()).
///
/// Initialised, polled, drained and destroyed like any other event queue. It does not answer requests by itself: the
/// thread that drains it does.
class KT_EXPORT ktTimer : public ktEventQueue {
public:
    ktTimer();
    ~ktTimer() override;
};
