#include "app.h"

#include <ktlog.h>

#include <cstdio>

#include "printable.h"

App::App(Trace const& aTrace, Schedule const& aSchedule, Options const& aOptions)
    : mState(aOptions.mState), mHold(aOptions.mHold), mController(aSchedule, mHistory), mChangeLog(mNames),
      mPace(aTrace.Samples().front().mTime, aOptions.mSpeed), mSignalWatcher(Queue()),
      mSensor(aTrace, mPace, Queue(), mController), mStatusClock(aTrace, mPace, Queue()),
      mWorkers({&mSignalWatcher, &mEquipment, &mSensor, &mStatusClock})
{
}

ktError App::Run()
{
    const ktError result = Start();
    if (result == kErrNone)
        EventLoop::Run();
    else
        ktLogWithComponent(kLogPriorityCritical, "app", "cannot start (error %d)", result);
    Stop();
    return result;
}

bool App::Finish() const
{
    PrintReport();
    return mHistory.Save();
}

void App::PrintReport() const
{
    Thermostat const& thermostat = mController.GetThermostat();
    std::printf("samples       %8d\n", thermostat.SampleCount());
    std::printf("hours heated  %8.1f\n", thermostat.HoursIn(Mode::kHeating));
    std::printf("hours cooled  %8.1f\n", thermostat.HoursIn(Mode::kCooling));
    std::printf("switches      %8d\n", thermostat.SwitchCount());
    std::printf("relays        %8d\n", mEquipment.SwitchCount());
    std::printf("history       %8d samples", mHistory.Count());
    if (mHistory.Count() != 0)
        std::printf(", the oldest of %s", LocalTime(mHistory.Oldest()).c_str());
    std::printf("\n");
}

ktError App::Start()
{
    ktError result = mNames.Init();
    if (result == kErrNone)
        result = EventLoop::Init();
    if (result == kErrNone)
        result = mController.Init();
    if (result == kErrNone) {
        mHistory.Load(mState);
        result = mHistory.Save() ? kErrNone : kErrWrite;  // rather than after a day that is then lost
    }
    for (Worker* const worker : mWorkers) {
        if (result == kErrNone)
            result = worker->Init();
        if (result == kErrNone)
            result = worker->Start();
    }
    return result == kErrNone ? Subscribe() : result;
}

ktError App::Subscribe()
{
    const ktError result = mController.Changes().Subscribe(&Queue(), &mChangeLog, "change log");
    return result != kErrNone ? result : mController.Changes().Subscribe(&mEquipment.Queue(), &mEquipment, "equipment");
}

void App::Stop()
{
    for (auto worker = mWorkers.rbegin(); worker != mWorkers.rend(); ++worker)
        (*worker)->Stop();
}

void App::OnEvent(ktEvent const& aEvent)
{
    if (aEvent.GetType() == kEventStatusWanted)
        TakeStatus(aEvent.GetValue());
    if (aEvent.GetType() == kEventTraceEnded)
        OnTraceEnded();
}

void App::OnTraceEnded()
{
    ktLogWithComponent(kLogPriorityInfo, "app", mHold ? "the trace has ended: holding" : "the trace has ended");
    if (!mHold)
        Queue().Exit();
}

void App::TakeStatus(int aDay) const
{
    mHistory.Save();
    Thermostat const& thermostat = mController.GetThermostat();
    ktLogWithComponent(kLogPriorityInfo, "app", "day %d: %d samples, %.1f h heated, %.1f h cooled, now %s", aDay,
                       thermostat.SampleCount(), thermostat.HoursIn(Mode::kHeating), thermostat.HoursIn(Mode::kCooling),
                       mNames.Of(thermostat.CurrentMode()));
}
