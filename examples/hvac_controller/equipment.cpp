#include "equipment.h"

#include <ktlog.h>

#include "events.h"

Equipment::Equipment() : EventWorker("relays")
{
}

ktError Equipment::HandleEvent(ktEvent const* aEvent)
{
    if (aEvent->GetType() != kEventModeChanged)
        return kErrNotHandled;
    ModeEvent const& change = *static_cast<ModeEvent const*>(aEvent);
    // Off before on: a house that is heated and cooled at once pays for both.
    mSwitchCount += change.From() != Mode::kIdle ? 1 : 0;
    mSwitchCount += change.To() != Mode::kIdle ? 1 : 0;
    ktLogWithComponent(kLogPriorityDebug, "relays", "%d switched so far", mSwitchCount);
    return kErrNone;
}

int Equipment::SwitchCount() const
{
    return mSwitchCount;
}
