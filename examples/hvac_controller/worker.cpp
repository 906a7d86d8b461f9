#include "worker.h"

#include <sys/prctl.h>

Worker::Worker(char const* aName) : mName(aName)
{
}

ktError Worker::Init()
{
    return kErrNone;
}

ktError Worker::Start()
{
    mThread = PR_CreateThread(PR_USER_THREAD, Entry, this, PR_PRIORITY_NORMAL, PR_GLOBAL_THREAD, PR_JOINABLE_THREAD, 0);
    return mThread != nullptr ? kErrNone : kErrGeneric;
}

void Worker::Stop()
{
    if (mThread == nullptr)
        return;
    AskToLeave();
    PR_JoinThread(mThread);
    mThread = nullptr;
}

void Worker::Entry(void* aWorker)
{
    Worker& worker = *static_cast<Worker*>(aWorker);
    prctl(PR_SET_NAME, worker.mName);
    worker.Body();
}

ktError EventWorker::Init()
{
    return EventLoop::Init();
}

void EventWorker::Body()
{
    Run();
}

void EventWorker::AskToLeave()
{
    Queue().Exit();
}
