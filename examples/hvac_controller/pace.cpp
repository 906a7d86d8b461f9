#include "pace.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kLongestSleep = 3600;  // seconds

}  // namespace

Pace::Pace(long long aStart, double aSpeed) : mStart(aStart), mSpeed(aSpeed), mBegin(Clock::now())
{
}

PRIntervalTime Pace::Until(long long aMoment) const
{
    const std::chrono::duration<double> elapsed = Clock::now() - mBegin;
    const double seconds = static_cast<double>(aMoment - mStart) / mSpeed - elapsed.count();
    if (seconds <= 0)
        return 0;
    return PR_MillisecondsToInterval(static_cast<PRUint32>(std::ceil(std::min(seconds, kLongestSleep) * 1000)));
}
