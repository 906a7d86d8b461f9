/// @file
/// The thread that asks for a status once a day.
#pragma once

#include "pace.h"
#include "trace.h"
#include "worker.h"

/// Posts an event without handler at the end of each day of the trace. When the trace is over it sleeps for good.
class StatusClock : public EventWorker {
public:
    StatusClock(Trace const& aTrace, Pace const& aPace, ktEventQueue& aTarget);

protected:
    PRIntervalTime BeforeSleep() override;

private:
    Pace mPace;
    ktEventQueue& mTarget;
    long long mFirst;
    long long mLast;
    int mNextDay = 1;
};
