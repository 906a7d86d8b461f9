#include "eventloop.h"

#include <ktlog.h>
#include <prerror.h>

ktError EventLoop::Init()
{
    return mQueue.Init();
}

ktEventQueue& EventLoop::Queue()
{
    return mQueue;
}

void EventLoop::Run()
{
    PRPollDesc poll = {mQueue.GetPoller(), PR_POLL_READ, 0};
    mIsRunning = true;
    while (mIsRunning) {
        const PRInt32 ready = PR_Poll(&poll, 1, BeforeSleep());
        if (ready > 0) {
            PR_WaitForPollableEvent(mQueue.GetPoller());
            Drain();
        } else if (ready < 0) {
            ktLogWithComponent(kLogPriorityCritical, "app", "cannot poll (error %d), leaving", PR_GetError());
            mIsRunning = false;
        }
    }
}

PRIntervalTime EventLoop::BeforeSleep()
{
    return PR_INTERVAL_NO_TIMEOUT;
}

void EventLoop::OnEvent(ktEvent const& /*aEvent*/)
{
}

void EventLoop::Drain()
{
    while (ktEvent const* const event = mQueue.Dequeue()) {
        if (event->GetType() == ktEventTypeExit)
            mIsRunning = false;
        else
            OnEvent(*event);
        event->Release();
    }
}
