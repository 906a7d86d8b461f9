/// @file
/// The thread that measures.
#pragma once

#include "events.h"
#include "pace.h"
#include "worker.h"

/// Plays the trace: posts each sample when its time comes, and says when there are no more. Then it sleeps for good.
class Sensor : public EventWorker {
public:
    /// @param aTarget receives the samples for `aHandler`, and the end of the trace without handler.
    Sensor(Trace const& aTrace, Pace const& aPace, ktEventQueue& aTarget, ktIEventHandler& aHandler);

protected:
    PRIntervalTime BeforeSleep() override;

private:
    void PostSample(Sample const& aSample);

    Trace const& mTrace;
    Pace mPace;
    ktEventQueue& mTarget;
    ktIEventHandler& mHandler;
    std::size_t mNext = 0;  ///< index of the next sample
};
