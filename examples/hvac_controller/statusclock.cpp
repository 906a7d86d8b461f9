#include "statusclock.h"

#include "events.h"
#include "post.h"

namespace {

constexpr long long kSecondsPerDay = 86400;

}  // namespace

StatusClock::StatusClock(Trace const& aTrace, Pace const& aPace, ktEventQueue& aTarget)
    : EventWorker("status"), mPace(aPace), mTarget(aTarget), mFirst(aTrace.Samples().front().mTime),
      mLast(aTrace.Samples().back().mTime)
{
}

PRIntervalTime StatusClock::BeforeSleep()
{
    for (;; ++mNextDay) {
        const long long due = mFirst + mNextDay * kSecondsPerDay;
        if (due > mLast)
            return PR_INTERVAL_NO_TIMEOUT;
        const PRIntervalTime wait = mPace.Until(due);
        if (wait != 0)
            return wait;
        PostPlain(mTarget, kEventStatusWanted, mNextDay);
    }
}
