#include "app.h"

#include <ktlog.h>
#include <ktlogmanager.h>
#include <unistd.h>

#include <cstdio>

App::App(Trace const& aTrace, Options const& aOptions)
    : mHold(aOptions.mHold), mController(SetPoints(), mNames), mPace(aTrace.Samples().front().mTime, aOptions.mSpeed),
      mSignalWatcher(Queue()), mSensor(aTrace, mPace, Queue(), mController), mStatusClock(aTrace, mPace, Queue()),
      mWorkers({&mSignalWatcher, &mSensor, &mStatusClock})
{
}

ktError App::Run()
{
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    ktLogManager::SetLogIdentifier(host);
    const ktError result = Start();
    if (result == kErrNone)
        EventLoop::Run();
    else
        ktLogWithComponent(kLogPriorityCritical, "app", "cannot start (error %d)", result);
    Stop();
    return result;
}

void App::PrintReport() const
{
    Thermostat const& thermostat = mController.GetThermostat();
    std::printf("samples       %8d\n", thermostat.SampleCount());
    std::printf("hours heated  %8.1f\n", thermostat.HoursIn(Mode::kHeating));
    std::printf("hours cooled  %8.1f\n", thermostat.HoursIn(Mode::kCooling));
    std::printf("switches      %8d\n", thermostat.SwitchCount());
}

ktError App::Start()
{
    ktError result = mNames.Init();
    if (result == kErrNone)
        result = EventLoop::Init();
    for (Worker* const worker : mWorkers) {
        if (result == kErrNone)
            result = worker->Init();
        if (result == kErrNone)
            result = worker->Start();
    }
    return result;
}

void App::Stop()
{
    for (auto worker = mWorkers.rbegin(); worker != mWorkers.rend(); ++worker)
        (*worker)->Stop();
}

void App::OnEvent(ktEvent const& aEvent)
{
    if (aEvent.GetType() == kEventStatusWanted)
        LogStatus(aEvent.GetValue());
    if (aEvent.GetType() == kEventTraceEnded)
        OnTraceEnded();
}

void App::OnTraceEnded()
{
    ktLogWithComponent(kLogPriorityInfo, "app", mHold ? "the trace has ended: holding" : "the trace has ended");
    if (!mHold)
        Queue().Exit();
}

void App::LogStatus(int aDay) const
{
    Thermostat const& thermostat = mController.GetThermostat();
    ktLogWithComponent(kLogPriorityInfo, "app", "day %d: %d samples, %.1f h heated, %.1f h cooled, now %s", aDay,
                       thermostat.SampleCount(), thermostat.HoursIn(Mode::kHeating), thermostat.HoursIn(Mode::kCooling),
                       mNames.Of(thermostat.CurrentMode()));
}
