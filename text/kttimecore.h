/// @file
/// What the sources on time share: arithmetic that cannot overflow, and a time taken apart.
#pragma once

#include <prtime.h>

#include <algorithm>
#include <climits>

#include "kttime.h"

constexpr int kSecondsPerHour = 3600;
constexpr int kSecondsPerDay = 86400;
constexpr int kDaysPerWeek = 7;
constexpr int kSecondsPerWeek = kDaysPerWeek * kSecondsPerDay;

/// What goes beyond 64 bits stops at their end.
inline long long ktAddTime(long long aTime, long long aSeconds)
{
    long long sum = 0;
    if (!__builtin_add_overflow(aTime, aSeconds, &sum))
        return sum;
    return aSeconds < 0 ? LLONG_MIN : LLONG_MAX;
}

/// A time as a calendar has it. Beyond its 16 bits of years NSPR answers with days such as -10, so times stop a day
/// before, which leaves room for the zone's offset.
inline PRExplodedTime ktExplode(PRTime aTime, PRTimeParamFn aZone)
{
    constexpr PRTime kFirst = -62135510400000000;  // 2 January of the year 1
    constexpr PRTime kLast = 971890876800000000;   // 31 December 32767, 00:00
    PRExplodedTime exploded = {};
    PR_ExplodeTime(std::clamp(aTime, kFirst, kLast), aZone != nullptr ? aZone : PR_LocalTimeParameters, &exploded);
    return exploded;
}

inline PRExplodedTime ktExplodeLocal(long long aSeconds)
{
    return ktExplode(ktConvertSecondsToMicroSeconds(aSeconds), PR_LocalTimeParameters);
}

/// How far a clock is ahead of UTC.
inline int ktOffset(PRTimeParameters const& aParameters)
{
    return aParameters.tp_gmt_offset + aParameters.tp_dst_offset;
}

/// What a clock with these fields shows, counted as if it were UTC. The fields' own offsets do not matter.
inline long long ktWallClock(PRExplodedTime aExploded)
{
    aExploded.tm_params = {};
    return PR_ImplodeTime(&aExploded) / PR_USEC_PER_SEC;
}

inline int ktSecondsIntoDay(PRExplodedTime const& aExploded)
{
    return (aExploded.tm_hour * 60 + aExploded.tm_min) * 60 + aExploded.tm_sec;
}

/// The weekday from Monday; NSPR's weeks begin on Sunday.
inline int ktWeekday(PRExplodedTime const& aExploded)
{
    return aExploded.tm_wday == 0 ? 6 : aExploded.tm_wday - 1;
}
