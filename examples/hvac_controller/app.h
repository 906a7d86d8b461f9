/// @file
/// The application: its main loop, its controller and its threads.
#pragma once

#include <string>
#include <vector>

#include "changelog.h"
#include "controller.h"
#include "equipment.h"
#include "history.h"
#include "names.h"
#include "options.h"
#include "sensor.h"
#include "signalwatcher.h"
#include "statusclock.h"

/// Built, run and destroyed on the main thread, which runs the controller's loop.
///
/// A new thread is a Worker among the members, listed in the constructor: it is then initialised, started and stopped
/// with the others, in that order and back.
class App : private EventLoop {
public:
    /// `aTrace` must outlive the application.
    App(Trace const& aTrace, Schedule const& aSchedule, Options const& aOptions);

    /// Runs until the trace has ended or a signal has come. @return 0, or why it cannot run.
    ktError Run();
    /// After Run(): prints what was done and keeps the history. @return whether it could be kept.
    bool Finish() const;

private:
    void PrintReport() const;
    ktError Start();
    ktError Subscribe();
    void Stop();
    void OnEvent(ktEvent const& aEvent) override;
    void OnTraceEnded();
    void TakeStatus(int aDay) const;

    const std::string mState;
    const bool mHold;
    Names mNames;
    History mHistory;
    Controller mController;
    ChangeLog mChangeLog;
    Equipment mEquipment;
    Pace mPace;
    SignalWatcher mSignalWatcher;
    Sensor mSensor;
    StatusClock mStatusClock;
    std::vector<Worker*> mWorkers;  ///< in the order in which they start
};
