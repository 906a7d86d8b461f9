#include "controller.h"

#include <ktlog.h>

#include <new>

#include "events.h"

Controller::Controller(Schedule const& aSchedule, History& aHistory) : mSchedule(aSchedule), mHistory(aHistory)
{
}

ktError Controller::Init()
{
    return mChanges.Init("controller");
}

ktEventPublisher& Controller::Changes()
{
    return mChanges;
}

ktError Controller::HandleEvent(ktEvent const* aEvent)
{
    if (aEvent->GetType() != kEventSample)
        return kErrNotHandled;
    Sample const& sample = static_cast<SampleEvent const*>(aEvent)->GetSample();
    mHistory.Take(sample);
    FollowSchedule(sample.mTime);
    Decide(sample);
    return kErrNone;
}

Thermostat const& Controller::GetThermostat() const
{
    return mThermostat;
}

void Controller::FollowSchedule(long long aTime)
{
    if (!mSchedule.Advance(aTime))
        return;
    mThermostat.Use(mSchedule.Current().mSetPoints);
    Publish<ComfortEvent>(mSchedule.Current(), mSchedule.NextChange());
}

void Controller::Decide(Sample const& aSample)
{
    const Mode before = mThermostat.CurrentMode();
    const Mode after = mThermostat.TakeSample(aSample);
    if (after != before)
        Publish<ModeEvent>(before, after, aSample);
}

template <typename Event, typename... Arguments>
void Controller::Publish(Arguments const&... aArguments)
{
    Event* const event = new (std::nothrow) Event;
    if (event == nullptr) {
        ktLogWithComponent(kLogPriorityCritical, "hvac", "no memory to publish a change");
        return;
    }
    const ktRefCountSharedPtr holder(event);
    event->Init(aArguments...);
    mChanges.Publish(event);
}
