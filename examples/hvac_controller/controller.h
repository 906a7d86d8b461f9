/// @file
/// The handler that turns samples into decisions.
#pragma once

#include <kteventpublisher.h>

#include "history.h"
#include "schedule.h"
#include "thermostat.h"

/// Handles sample events on the thread that drains the queue they were posted to: keeps them, follows the schedule,
/// decides, and publishes each change to whoever has subscribed.
class Controller : public ktIEventHandler {
public:
    Controller(Schedule const& aSchedule, History& aHistory);

    /// @return 0, or why it cannot publish.
    ktError Init();
    ktEventPublisher& Changes();

    /// @return 0; -27 for an event that is no sample.
    ktError HandleEvent(ktEvent const* aEvent) override;

    Thermostat const& GetThermostat() const;

private:
    void FollowSchedule(long long aTime);
    void Decide(Sample const& aSample);
    template <typename Event, typename... Arguments>
    void Publish(Arguments const&... aArguments);

    Schedule mSchedule;
    History& mHistory;
    Thermostat mThermostat;
    ktEventPublisher mChanges;
};
