#include "kttime.h"

#include <sys/time.h>

#include <brackwater/copyfile.h>
#include <prprf.h>

#include <ctime>
#include <initializer_list>

#include "ktlog.h"
#include "kttimecore.h"

namespace {

constexpr char kZoneFolder[] = "/usr/share/zoneinfo/";
constexpr char kDeviceZoneFile[] = "/tamarind/etc/user/localtime";

/// A clock of the kernel's in parts of a second; 0 when it cannot be read.
long long ReadClock(clockid_t aClock, long aPartsPerSecond)
{
    timespec now = {};
    if (clock_gettime(aClock, &now) != 0)
        return 0;
    return static_cast<long long>(now.tv_sec) * aPartsPerSecond + now.tv_nsec / (1000000000 / aPartsPerSecond);
}

ktError SetClock(long long aSeconds)
{
    timeval now = {};
    now.tv_sec = static_cast<time_t>(aSeconds);
    const bool isSet = now.tv_sec == aSeconds && settimeofday(&now, nullptr) == 0;
    return isSet ? kErrNone : kErrGeneric;
}

/// NSPR has 16 bits for the year, and walks month by month through days that are too many.
bool FitsFields(std::initializer_list<int> aFields)
{
    return std::all_of(aFields.begin(), aFields.end(),
                       [](int aField) { return aField >= SHRT_MIN && aField <= SHRT_MAX; });
}

/// Whether the second of a month is in daylight-saving time, at 18:00.
bool HasDst(PRExplodedTime aDate, int aMonth)
{
    aDate.tm_month = aMonth;
    aDate.tm_mday = 2;
    aDate.tm_hour = 18;
    aDate.tm_min = aDate.tm_sec = aDate.tm_usec = 0;
    return ktExplode(PR_ImplodeTime(&aDate), PR_LocalTimeParameters).tm_params.tp_dst_offset != 0;
}

}  // namespace

ktError ktSetTimeZoneFile(char const* aZoneName)
{
    if (aZoneName == nullptr || *aZoneName == '\0')
        return kErrBadValue;
    char source[256];
    PR_snprintf(source, sizeof source, "%s%s", kZoneFolder, aZoneName);
    ktLogWithComponent(kLogPriorityCritical, nullptr, "ktTime: copying %s into %s", source, kDeviceZoneFile);
    if (BWCopyFile(source, kDeviceZoneFile, 1) == 0) {
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktTime: failure while copying %s into %s", source,
                           kDeviceZoneFile);
        return kErrWrite;
    }
    tzset();  // NSPR's calendar alone would stay in the zone that it found first
    return kErrNone;
}

ktError ktSetEpoch(long long aSeconds, char const* aZoneName)
{
    const ktError result = ktSetTimeZoneFile(aZoneName);
    return result == kErrNone ? SetClock(aSeconds) : result;
}

ktError ktSetTime(int aYear, int aMonth, int aDay, int aHour, int aMinute, int aSecond, char const* aZoneName,
                  int aGmtOffset)
{
    // A clock in the wrong zone is better than a wrong clock.
    const ktError zoneResult = ktSetTimeZoneFile(aZoneName);
    if (!FitsFields({aYear, aMonth, aDay}))
        return kErrGeneric;
    PRExplodedTime local = {};
    local.tm_year = static_cast<PRInt16>(aYear);
    local.tm_month = aMonth;
    local.tm_mday = aDay;
    const long long wallClock = ktWallClock(local) + aHour * 3600LL + aMinute * 60LL + aSecond;
    // About when that is tells the zone's true offset.
    const int offset = ktOffset(ktExplodeLocal(wallClock - aGmtOffset).tm_params);
    return SetClock(wallClock - offset) == kErrNone ? zoneResult : kErrGeneric;
}

long long ktGetNowInSeconds()
{
    return ktConvertMicroSecondsToSeconds(PR_Now());
}

long long ktGetNowInMonotonicTime()
{
    return ReadClock(CLOCK_MONOTONIC, 1000);
}

long long ktGetUptimeInMicroseconds()
{
    return ReadClock(CLOCK_BOOTTIME, 1000000);
}

long long ktConvertMicroSecondsToSeconds(long long aMicroseconds)
{
    return aMicroseconds / PR_USEC_PER_SEC;
}

long long ktConvertSecondsToMicroSeconds(long long aSeconds)
{
    constexpr long long kMicroseconds = PR_USEC_PER_SEC;
    return std::clamp(aSeconds, LLONG_MIN / kMicroseconds, LLONG_MAX / kMicroseconds) * kMicroseconds;
}

int ktSecondsUntil(long long aSeconds)
{
    const long long left = ktAddTime(aSeconds, -ktGetNowInSeconds());
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

ktBOOL ktIsLeapYear(int aYear)
{
    return aYear % 400 == 0 || (aYear % 4 == 0 && aYear % 100 != 0);
}

int ktGetDaysBetween(PRTime aFrom, PRTime aTo)
{
    const PRExplodedTime from = ktExplode(aFrom, PR_LocalTimeParameters);
    const PRExplodedTime to = ktExplode(aTo, PR_LocalTimeParameters);
    const int daysPerYear = ktIsLeapYear(from.tm_year) ? 366 : 365;
    return to.tm_yday - from.tm_yday + (to.tm_year - from.tm_year) * daysPerYear;
}

int ktGetAsDaySeconds(long long aSeconds, int* aDayOfWeek, int* aSecondsIntoDay)
{
    const PRExplodedTime local = ktExplodeLocal(aSeconds);
    if (aDayOfWeek != nullptr)
        *aDayOfWeek = ktWeekday(local);
    if (aSecondsIntoDay != nullptr)
        *aSecondsIntoDay = ktSecondsIntoDay(local);
    return ktWeekday(local);
}

int ktGetNowAsDaySeconds(int* aDayOfWeek, int* aSecondsIntoDay)
{
    return ktGetAsDaySeconds(ktGetNowInSeconds(), aDayOfWeek, aSecondsIntoDay);
}

int ktGetDayOfWeekFromPRTime(PRTime aTime, PRTimeParamFn aZone)
{
    return ktWeekday(ktExplode(aTime, aZone));
}

int ktGetSecondsInDayFromPRTime(PRTime aTime, PRTimeParamFn aZone)
{
    return ktSecondsIntoDay(ktExplode(aTime, aZone));
}

int ktGetSecondsInDayFromKTTime(long long aSeconds)
{
    return ktSecondsIntoDay(ktExplodeLocal(aSeconds));
}

ktBOOL IsDSTSupportedInCurrentTimeZone()
{
    const PRExplodedTime now = ktExplode(PR_Now(), PR_LocalTimeParameters);
    return HasDst(now, 5) || HasDst(now, 0);
}

int GetDstOrStdForTime(long long aSeconds)
{
    return ReturnDSTOffsetInSecondsForTime(aSeconds) / kSecondsPerHour != 0 ? 1 : 0;
}

int ReturnDSTOffsetInSecondsForTime(long long aSeconds)
{
    return ktExplodeLocal(aSeconds).tm_params.tp_dst_offset;
}

int ReturnGMTOffsetInSecondsForTime(long long aSeconds)
{
    return ktExplodeLocal(aSeconds).tm_params.tp_gmt_offset;
}
