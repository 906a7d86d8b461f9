#include "ktthread.h"

#include <sched.h>
#include <unistd.h>

#include "ktlog.h"

namespace {

int PriorityFor(int aPolicy)
{
    const int highest = sched_get_priority_max(aPolicy);
    return aPolicy == SCHED_FIFO ? highest : (highest + sched_get_priority_min(aPolicy)) >> 1;
}

}  // namespace

ktError ktMakeThreadRealtime(int aFifo)
{
    const int policy = aFifo != 0 ? SCHED_FIFO : SCHED_RR;
    sched_param parameters = {};
    parameters.sched_priority = PriorityFor(policy);
    if (sched_setscheduler(0, policy, &parameters) == 0)
        return kErrNone;
    ktLogWithComponent(kLogPriorityWarning, nullptr, "ktthread: failed to make thread %d realtime, policy (%d)",
                       getpid(), policy);
    return kErrGeneric;
}
