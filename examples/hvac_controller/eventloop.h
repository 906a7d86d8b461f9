/// @file
/// The loop of an event-handling thread.
#pragma once

#include <kteventqueue.h>
#include <prinrval.h>

/// A queue and the loop that drains it. Whoever runs the loop owns the queue; any thread may post to it.
class EventLoop {
public:
    virtual ~EventLoop() = default;

    /// @return 0, or what the queue's Init() returns.
    ktError Init();
    ktEventQueue& Queue();

    /// Sleeps, dispatches events, and returns after the exit event was taken.
    void Run();

protected:
    /// Called before each sleep. @return how long to sleep at most, in interval ticks.
    virtual PRIntervalTime BeforeSleep();
    /// An event without a handler, other than the exit event. The loop releases it.
    virtual void OnEvent(ktEvent const& aEvent);

private:
    void Drain();

    ktEventQueue mQueue;
    bool mIsRunning = false;
};
