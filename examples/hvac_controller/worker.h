/// @file
/// A thread of the application.
#pragma once

#include <prthread.h>

#include "eventloop.h"

/// Something that runs on a thread of its own. Its owner starts it once and stops it before destroying it.
class Worker {
public:
    /// @param aName shown in log lines: its first six characters. A literal.
    explicit Worker(char const* aName);
    virtual ~Worker() = default;

    /// Before Start(). @return 0, or why the worker cannot work.
    virtual ktError Init();
    /// @return 0; -1 when no thread can be had.
    ktError Start();
    /// Asks the thread to leave, and waits until it has. Does nothing when it was never started.
    void Stop();

protected:
    virtual void Body() = 0;
    /// Makes Body() return soon; called on the owner's thread.
    virtual void AskToLeave() = 0;

private:
    static void Entry(void* aWorker);

    char const* mName;
    PRThread* mThread = nullptr;
};

/// A worker that handles events.
class EventWorker : public Worker, public EventLoop {
public:
    using Worker::Worker;
    ktError Init() override;

protected:
    void Body() override;
    void AskToLeave() override;
};
