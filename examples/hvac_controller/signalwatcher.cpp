#include "signalwatcher.h"

#include <ktlog.h>
#include <pthread.h>
#include <unistd.h>

SignalWatcher::SignalWatcher(ktEventQueue& aTarget) : Worker("signal"), mTarget(aTarget), mSignals()
{
    sigemptyset(&mSignals);
    sigaddset(&mSignals, SIGINT);
    sigaddset(&mSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &mSignals, nullptr);
}

void SignalWatcher::Body()
{
    int number = 0;
    siginfo_t info = {};
    do {
        number = sigwaitinfo(&mSignals, &info);
    } while (number < 0);
    if (info.si_pid == getpid())
        return;  // AskToLeave()
    ktLogWithComponent(kLogPriorityInfo, "app", "signal %d: leaving", number);
    mTarget.Exit();
}

void SignalWatcher::AskToLeave()
{
    kill(getpid(), SIGTERM);
}
