/// @file
/// Conveniences for code that works with events.
#pragma once

#include "ktevent.h"

class ktTimer;

class KT_EXPORT ktEventUtils {
public:
    /// Arms, or arms anew, the one short timeout that the caller keeps in `aTimeout`.
    ///
    /// A request that `aTimeout` still holds is cancelled and released first. The new one runs from now; its answer, a
    /// ktEventTimedOut with the id `aID`, is posted to `aReturnQueue` for `aReturnHandler`. The caller owns the
    /// reference in `aTimeout`, and releases and nulls it when done with the timeout.
    ///
    /// The caller's thread, for `aTimeout` is not guarded; waits only for the lock of the timer's queue.
    /// @param aMilliseconds time until the answer.
    /// @return 0; -2 when there is no memory, and then no timeout is armed and `aTimeout` is null; -5 without a timer,
    ///         and then nothing has changed; -9 when the timer's queue was never initialised, as for -2.
    static ktError SendTimeout(ktEventTimeoutRequest*& aTimeout, unsigned int aID, unsigned int aMilliseconds,
                               ktEventQueue* aReturnQueue, ktIEventHandler* aReturnHandler, ktTimer* aTimer);
};
