// Times of day and of week across daylight-saving time.
#include <atomic>

#include "ktlog.h"
#include "kttime.h"
#include "kttimecore.h"

namespace {

constexpr int kAnyDay = -1;
constexpr int kStep = 900;

/// Relaxed: the value stands for itself.
std::atomic<long long> sEarliestKnownDeviceTime(0);

/// As in a calendar: never negative.
long long Modulo(long long aValue, int aModulus)
{
    return (aValue % aModulus + aModulus) % aModulus;
}

/// Days from today to the one that is asked for. Of this very second a daily request is over, a weekly one is not.
long long DaysAhead(PRExplodedTime const& aNow, long long aSecondsIntoDay, int aDayOfWeek)
{
    const int now = ktSecondsIntoDay(aNow);
    if (aDayOfWeek == kAnyDay)
        return now >= aSecondsIntoDay ? 1 : 0;
    const long long days = Modulo(static_cast<long long>(aDayOfWeek) - ktWeekday(aNow), kDaysPerWeek);
    return days == 0 && aSecondsIntoDay < now ? kDaysPerWeek : days;
}

/// Goes back, step by step, to the first time at which clocks show what is wanted or more. The day counts: what is
/// wanted late in the evening has come out behind midnight.
long long StepBack(long long aTime, long long aWanted)
{
    const auto wallClock = [](long long aMoment) {
        return ktAddTime(aMoment, ktOffset(ktExplodeLocal(aMoment).tm_params));
    };
    while (wallClock(aTime) >= aWanted)
        aTime -= kStep;
    return aTime + kStep;
}

}  // namespace

long long AdjustEpochOfGregorianDays(long long aTime, int aDays)
{
    const long long target = ktAddTime(aTime, static_cast<long long>(aDays) * kSecondsPerDay);
    const int isDst = GetDstOrStdForTime(aTime);
    if (!IsDSTSupportedInCurrentTimeZone() || isDst == GetDstOrStdForTime(target))
        return target;
    // The one of the two that saves tells how much, in either direction.
    return ktAddTime(target,
                     isDst != 0 ? ReturnDSTOffsetInSecondsForTime(aTime) : -ReturnDSTOffsetInSecondsForTime(target));
}

long long GetNextWeeklyOccurrence(long long aTime, long long aSecondsIntoDay, int aDayOfWeek)
{
    const PRExplodedTime now = ktExplodeLocal(aTime);
    const PRTimeParameters before = now.tm_params;
    const long long midnight = DaysAhead(now, aSecondsIntoDay, aDayOfWeek) * kSecondsPerDay - ktSecondsIntoDay(now);
    const long long target = ktAddTime(ktAddTime(aTime, midnight), aSecondsIntoDay);
    const PRTimeParameters after = ktExplodeLocal(target).tm_params;
    if (after.tp_gmt_offset != before.tp_gmt_offset) {
        ktLogWithComponent(kLogPriorityWarning, nullptr, "ktTime: GMT offset changed mid-operation (%d => %d)",
                           before.tp_gmt_offset, after.tp_gmt_offset);
        return target;
    }
    if (before.tp_dst_offset < after.tp_dst_offset)
        return StepBack(target, ktAddTime(target, ktOffset(before)));
    return ktAddTime(target, before.tp_dst_offset - after.tp_dst_offset);
}

ktBOOL ktIsBetweenSecondsIntoDay(long long aTime, int aStart, int aEnd)
{
    const int now = ktGetSecondsInDayFromKTTime(aTime);
    if (aStart < aEnd)
        return aStart <= now && now < aEnd;
    return now < aEnd || now >= aStart;  // from a time to itself: always
}

long long ktAdjustOutOfBlackoutSecondsIntoDay(long long aTime, int aStart, int aEnd)
{
    return ktIsBetweenSecondsIntoDay(aTime, aStart, aEnd) ? GetNextWeeklyOccurrence(aTime, aEnd, kAnyDay) : aTime;
}

int ktGetSecondsInWeek(int aDay, int aSecondsIntoDay)
{
    const long long seconds = Modulo(aDay, kDaysPerWeek) * kSecondsPerDay + aSecondsIntoDay;
    return static_cast<int>(std::min<long long>(seconds, INT_MAX));
}

int ktGetIntervalBetweenSecondsInWeek(int aFrom, int aTo)
{
    return static_cast<int>(Modulo(static_cast<long long>(aTo) - aFrom, kSecondsPerWeek));
}

int ktGetShortestIntervalBetweenSecondsInWeek(int aFirst, int aSecond)
{
    return std::min(ktGetIntervalBetweenSecondsInWeek(aFirst, aSecond),
                    ktGetIntervalBetweenSecondsInWeek(aSecond, aFirst));
}

ktBOOL ktIsDifferentDay(long long aFirst, long long aSecond)
{
    const PRExplodedTime first = ktExplodeLocal(aFirst);
    const PRExplodedTime second = ktExplodeLocal(aSecond);
    return first.tm_yday != second.tm_yday || first.tm_year != second.tm_year;
}

void ktSetEarliestKnownDeviceTime(long long aTime)
{
    sEarliestKnownDeviceTime.store(aTime, std::memory_order_relaxed);
}

long long ktGetEarliestKnownDeviceTime()
{
    return sEarliestKnownDeviceTime.load(std::memory_order_relaxed);
}

ktBOOL ktIsTimeBeforeEarliestKnownDeviceTime(long long aTime)
{
    return aTime < ktGetEarliestKnownDeviceTime();
}
