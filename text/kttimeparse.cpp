// Dates and times out of text.
#include <cstdio>
#include <cstring>

#include "kttime.h"
#include "kttimecore.h"

namespace {

constexpr std::size_t kLongest = 127;   ///< no date is longer
constexpr std::size_t kMostDigits = 9;  ///< in one number: more than any field has, and an `int` holds them

/// The numbers as they stand in a text, 0 where they do not.
struct ScannedDate {
    int mYear;
    int mMonth;
    int mDay;
    int mHour;
    int mMinute;
    int mSecond;
    char mZone[kLongest + 1];  ///< empty without zone
};

/// Whether scanning stays within the fields and their room.
bool CanScan(char const* aText)
{
    constexpr char kDigits[] = "0123456789";
    if (strnlen(aText, kLongest + 1) > kLongest)
        return false;
    for (char const* at = aText + std::strcspn(aText, kDigits); *at != '\0'; at += std::strcspn(at, kDigits)) {
        const std::size_t digits = std::strspn(at, kDigits);
        if (digits > kMostDigits)
            return false;
        at += digits;
    }
    return true;
}

bool Scan(char const* aText, ScannedDate& aDate)
{
    const auto scan = [&](char const* aFormat) {
        aDate = {};
        return std::sscanf(aText, aFormat, &aDate.mYear, &aDate.mMonth, &aDate.mDay, &aDate.mHour, &aDate.mMinute,
                           &aDate.mSecond, aDate.mZone);
    };
    return CanScan(aText) &&
           (scan("%d-%d-%d %d:%d:%d %s") >= 6 || scan("%d-%d-%dT%d:%d:%d") >= 5 || scan("%d.%d.%d-%d:%d:%d") == 6);
}

bool IsDate(ScannedDate const& aDate)
{
    const auto isWithin = [](int aValue, int aFirst, int aLast) { return aValue >= aFirst && aValue <= aLast; };
    return isWithin(aDate.mYear, 1, SHRT_MAX) && isWithin(aDate.mMonth, 1, 12) && isWithin(aDate.mDay, 1, 31) &&
           isWithin(aDate.mHour, 0, 23) && isWithin(aDate.mMinute, 0, 59) && isWithin(aDate.mSecond, 0, 59);
}

/// What the clock shows, counted as if it were UTC. The 31st of a shorter month runs over into the next.
long long WallClockOf(ScannedDate const& aDate)
{
    PRExplodedTime fields = {};
    fields.tm_year = static_cast<PRInt16>(aDate.mYear);
    fields.tm_month = aDate.mMonth - 1;
    fields.tm_mday = aDate.mDay;
    fields.tm_hour = aDate.mHour;
    fields.tm_min = aDate.mMinute;
    fields.tm_sec = aDate.mSecond;
    return ktWallClock(fields);
}

constexpr char const* kNamesOfUTC[] = {"UTC", "GMT", "Z"};

/// Whoever writes "EST" or "+01:30" would get a wrong time without a word if it were passed over.
bool ReadZone(char const* aZone, int& aOffset)
{
    for (char const* name : kNamesOfUTC) {
        if (std::strcmp(aZone, name) == 0)
            return true;
    }
    if ((*aZone != '+' && *aZone != '-') || std::strspn(aZone + 1, "0123456789") != 4 || aZone[5] != '\0')
        return false;
    const auto number = [](char const* aDigits) { return (aDigits[0] - '0') * 10 + aDigits[1] - '0'; };
    aOffset = number(aZone + 1) * kSecondsPerHour + number(aZone + 3) * 60;
    if (*aZone == '-')
        aOffset = -aOffset;
    return true;
}

/// The zone's own offset is that of now, as people know no other. It alone tells about when that is, and so whether it
/// is in daylight-saving time.
int LocalOffset(long long aWallClock)
{
    const int offset = ReturnGMTOffsetInSecondsForTime(ktGetNowInSeconds());
    return GetDstOrStdForTime(aWallClock - offset) != 0 ? offset + kSecondsPerHour : offset;
}

}  // namespace

long long GetDateStringToUTC(char const* aText)
{
    if (aText == nullptr)
        return 0;
    PRTime time = 0;
    if (PR_ParseTimeString(aText, PR_FALSE, &time) == PR_SUCCESS)
        return ktConvertMicroSecondsToSeconds(time);
    ScannedDate date = {};
    if (!Scan(aText, date) || !IsDate(date))
        return 0;
    const long long wallClock = WallClockOf(date);
    if (date.mZone[0] == '\0')
        return wallClock - LocalOffset(wallClock);
    int offset = 0;
    return ReadZone(date.mZone, offset) ? wallClock - offset : 0;
}
