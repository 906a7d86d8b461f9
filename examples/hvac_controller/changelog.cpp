#include "changelog.h"

#include <ktlog.h>

#include "events.h"
#include "printable.h"

ChangeLog::ChangeLog(Names const& aNames) : mNames(aNames)
{
}

ktError ChangeLog::HandleEvent(ktEvent const* aEvent)
{
    if (aEvent->GetType() == kEventModeChanged) {
        ModeEvent const& change = *static_cast<ModeEvent const*>(aEvent);
        ktLogWithComponent(kLogPriorityInfo, "hvac", "%s -> %s at %s %.1f C, %s %.1f C", mNames.Of(change.From()),
                           mNames.Of(change.To()), mNames.Of(kIndoorSensor), change.At().mIndoor,
                           mNames.Of(kOutdoorSensor), change.At().mOutdoor);
        return kErrNone;
    }
    if (aEvent->GetType() == kEventComfortChanged) {
        ComfortEvent const& change = *static_cast<ComfortEvent const*>(aEvent);
        Comfort const& comfort = change.What();
        ktLogWithComponent(kLogPriorityInfo, "hvac", "%s, %.1f to %.1f C, until %s", comfort.mName.c_str(),
                           comfort.mSetPoints.mHeatTo, comfort.mSetPoints.mCoolTo, LocalTime(change.Until()).c_str());
        return kErrNone;
    }
    return kErrNotHandled;
}
