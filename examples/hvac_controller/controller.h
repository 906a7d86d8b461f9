/// @file
/// The handler that turns samples into decisions.
#pragma once

#include <ktevent.h>

#include "names.h"
#include "thermostat.h"

/// Handles sample events on the thread that drains the queue they were posted to, and logs each change of mode.
class Controller : public ktIEventHandler {
public:
    /// `aNames` must outlive it.
    Controller(SetPoints const& aSetPoints, Names const& aNames);

    /// @return 0; -27 for an event that is no sample.
    ktError HandleEvent(ktEvent const* aEvent) override;

    Thermostat const& GetThermostat() const;

private:
    Names const& mNames;
    Thermostat mThermostat;
};
