/// @file
/// The thread that switches the equipment.
#pragma once

#include "worker.h"

/// Subscribes to the controller and puts each change of mode into effect, on a thread of its own, since a relay takes
/// its time.
class Equipment : public EventWorker, public ktIEventHandler {
public:
    Equipment();
    /// @return 0; -27 for an event that is no change of mode.
    ktError HandleEvent(ktEvent const* aEvent) override;

    /// How often a relay was switched. After Stop().
    int SwitchCount() const;

private:
    int mSwitchCount = 0;
};
