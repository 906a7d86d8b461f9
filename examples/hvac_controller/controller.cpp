#include "controller.h"

#include <ktlog.h>

#include "events.h"

Controller::Controller(SetPoints const& aSetPoints, Names const& aNames) : mNames(aNames), mThermostat(aSetPoints)
{
}

ktError Controller::HandleEvent(ktEvent const* aEvent)
{
    if (aEvent->GetType() != kEventSample)
        return kErrNotHandled;
    Sample const& sample = static_cast<SampleEvent const*>(aEvent)->GetSample();
    const Mode before = mThermostat.CurrentMode();
    const Mode after = mThermostat.TakeSample(sample);
    if (after != before)
        ktLogWithComponent(kLogPriorityInfo, "hvac", "%s -> %s at %s %.1f C, %s %.1f C", mNames.Of(before),
                           mNames.Of(after), mNames.Of(kIndoorSensor), sample.mIndoor, mNames.Of(kOutdoorSensor),
                           sample.mOutdoor);
    return kErrNone;
}

Thermostat const& Controller::GetThermostat() const
{
    return mThermostat;
}
