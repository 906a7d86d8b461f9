/// @file
/// Changes of the controller's state, for people.
#pragma once

#include <ktevent.h>

#include "names.h"

/// Subscribes to the controller and logs each of its changes, on the thread that drains the subscribed queue.
class ChangeLog : public ktIEventHandler {
public:
    /// `aNames` must outlive it.
    explicit ChangeLog(Names const& aNames);
    /// @return 0; -27 for an event that is no change.
    ktError HandleEvent(ktEvent const* aEvent) override;

private:
    Names const& mNames;
};
