#include "controller.h"

#include <ktlog.h>

#include "events.h"

Controller::Controller(SetPoints const& aSetPoints) : mThermostat(aSetPoints)
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
        ktLogWithComponent(kLogPriorityInfo, "hvac", "%s -> %s at indoor %.1f C, outdoor %.1f C", NameOf(before),
                           NameOf(after), sample.mIndoor, sample.mOutdoor);
    return kErrNone;
}

Thermostat const& Controller::GetThermostat() const
{
    return mThermostat;
}
