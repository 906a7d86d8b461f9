#include "sensor.h"

#include <ktlog.h>

#include <new>

#include "post.h"

Sensor::Sensor(Trace const& aTrace, Pace const& aPace, ktEventQueue& aTarget, ktIEventHandler& aHandler)
    : EventWorker("sensor"), mTrace(aTrace), mPace(aPace), mTarget(aTarget), mHandler(aHandler)
{
}

PRIntervalTime Sensor::BeforeSleep()
{
    std::vector<Sample> const& samples = mTrace.Samples();
    while (mNext < samples.size()) {
        const PRIntervalTime wait = mPace.Until(samples[mNext].mTime);
        if (wait != 0)
            return wait;
        PostSample(samples[mNext++]);
        if (mNext == samples.size())
            PostPlain(mTarget, kEventTraceEnded, 0);
    }
    return PR_INTERVAL_NO_TIMEOUT;
}

void Sensor::PostSample(Sample const& aSample)
{
    SampleEvent* const event = new (std::nothrow) SampleEvent;
    if (event == nullptr) {
        ktLogWithComponent(kLogPriorityCritical, "sensor", "no memory for a sample");
        return;
    }
    event->Init(aSample);
    mTarget.Enqueue(event, &mHandler);
}
