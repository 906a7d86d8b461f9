#include "schedule.h"

#include <kttime.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <utility>

#include "printable.h"

namespace {

struct Days {
    char const* mName;
    int mFirst;
    int mLast;
};

constexpr Days kDays[] = {
    {"daily", -1, -1},   {"weekdays", 0, 4}, {"weekend", 5, 6}, {"monday", 0, 0},   {"tuesday", 1, 1},
    {"wednesday", 2, 2}, {"thursday", 3, 3}, {"friday", 4, 4},  {"saturday", 5, 5}, {"sunday", 6, 6},
};

constexpr int kHalfDay = 43200;                      // seconds
constexpr long long kLookBack = 9LL * 2 * kHalfDay;  // a week, and as long as a change may wait

Days const* FindDays(std::string const& aName)
{
    for (Days const& days : kDays) {
        if (aName == days.mName)
            return &days;
    }
    return nullptr;
}

/// @return the seconds into the day; -1 when it is none of its times.
int SecondsOf(int aHour, int aMinute)
{
    const bool isTime = aHour >= 0 && aHour < 24 && aMinute >= 0 && aMinute < 60;
    return isTime ? (aHour * 60 + aMinute) * 60 : -1;
}

std::string NotLike(std::string const& aKey, char const* aExample, char const* aText)
{
    return "'" + aKey + "' is not like '" + aExample + "' but '" + Printable(aText) + "'";
}

/// The next time behind `aTime` at which a change is due.
long long NextDue(long long aTime, int aDay, int aSeconds)
{
    // A weekly request for this very second gives it, a daily one the next day's.
    const long long next = GetNextWeeklyOccurrence(aDay < 0 ? aTime : aTime + 1, aSeconds, aDay);
    // Where the zone's own offset changes in between, the answer is off by that change.
    const int shown = ktGetSecondsInDayFromKTTime(next);
    const long long moved = next + (aSeconds - shown + 3 * kHalfDay) % (2 * kHalfDay) - kHalfDay;
    const bool isExact = moved > aTime && ktGetSecondsInDayFromKTTime(moved) == aSeconds;
    return isExact ? moved : std::max(next, aTime + 1);
}

}  // namespace

bool Schedule::Load(Preferences const& aPreferences, std::string& aFault)
{
    for (int number = 1;; ++number) {
        const std::string key = "schedule." + std::to_string(number);
        char const* const text = aPreferences.Text(key);
        if (text == nullptr)
            break;
        if (!TakeChange(aPreferences, key, text, aFault))
            return false;
    }
    for (int number = 1;; ++number) {
        const std::string key = "blackout." + std::to_string(number);
        char const* const text = aPreferences.Text(key);
        if (text == nullptr)
            break;
        if (!TakeBlackout(key, text, aFault))
            return false;
    }
    if (mChanges.empty())
        aFault = "nothing says what 'schedule.1' is";
    return !mChanges.empty();
}

bool Schedule::Advance(long long aTime)
{
    const int before = mCurrent;
    if (mCurrent >= 0 && aTime < mNextChange)
        return false;
    auto latest = std::make_pair(LLONG_MIN, LLONG_MIN);  // of two that wait for the same end the later one counts
    mNextChange = LLONG_MAX;
    for (Change const& change : mChanges) {
        long long due = aTime - kLookBack;
        for (long long moment = LLONG_MIN; moment <= aTime;) {
            due = NextDue(due, change.mDay, change.mSeconds);
            moment = OutOfBlackouts(due);
            if (moment > aTime) {
                mNextChange = std::min(mNextChange, moment);
            } else if (std::make_pair(moment, due) >= latest) {
                latest = {moment, due};
                mCurrent = change.mComfort;
            }
        }
    }
    return mCurrent != before;
}

Comfort const& Schedule::Current() const
{
    return mComforts[static_cast<std::size_t>(mCurrent)];
}

long long Schedule::NextChange() const
{
    return mNextChange;
}

bool Schedule::TakeChange(Preferences const& aPreferences, std::string const& aKey, char const* aText,
                          std::string& aFault)
{
    char day[16] = {};
    char comfort[32] = {};
    int hour = 0;
    int minute = 0;
    int length = 0;
    const int fields = std::sscanf(aText, "%15s %2d:%2d %31s%n", day, &hour, &minute, comfort, &length);
    const int seconds = fields == 4 && aText[length] == '\0' ? SecondsOf(hour, minute) : -1;
    Days const* const days = FindDays(day);
    if (seconds < 0 || days == nullptr) {
        aFault = NotLike(aKey, "weekdays 06:30 home", aText);
        return false;
    }
    const int index = FindComfort(aPreferences, comfort, aFault);
    for (int i = days->mFirst; index >= 0 && i <= days->mLast; ++i)
        mChanges.push_back({i, seconds, index});
    return index >= 0;
}

bool Schedule::TakeBlackout(std::string const& aKey, char const* aText, std::string& aFault)
{
    int hours[2] = {};
    int minutes[2] = {};
    int length = 0;
    const int fields = std::sscanf(aText, "%2d:%2d %2d:%2d%n", &hours[0], &minutes[0], &hours[1], &minutes[1], &length);
    const bool isWhole = fields == 4 && aText[length] == '\0';
    const Blackout blackout = {isWhole ? SecondsOf(hours[0], minutes[0]) : -1, SecondsOf(hours[1], minutes[1])};
    // From a time to itself would be the whole day, which no change could leave.
    const bool isWindow = blackout.mStart >= 0 && blackout.mEnd >= 0 && blackout.mStart != blackout.mEnd;
    if (isWindow)
        mBlackouts.push_back(blackout);
    else
        aFault = NotLike(aKey, "22:00 06:00", aText);
    return isWindow;
}

int Schedule::FindComfort(Preferences const& aPreferences, std::string const& aName, std::string& aFault)
{
    const auto found = std::find_if(mComforts.begin(), mComforts.end(),
                                    [&](Comfort const& aComfort) { return aComfort.mName == aName; });
    if (found != mComforts.end())
        return static_cast<int>(found - mComforts.begin());
    Comfort comfort = {aName, {}};
    if (!aPreferences.Number(aName + ".heat_to", comfort.mSetPoints.mHeatTo, aFault) ||
        !aPreferences.Number(aName + ".cool_to", comfort.mSetPoints.mCoolTo, aFault) ||
        !aPreferences.Number("hysteresis", comfort.mSetPoints.mHysteresis, aFault))
        return -1;
    if (comfort.mSetPoints.mHeatTo >= comfort.mSetPoints.mCoolTo) {
        aFault = "'" + Printable(aName) + "' would heat and cool at once";
        return -1;
    }
    mComforts.push_back(comfort);
    return static_cast<int>(mComforts.size()) - 1;
}

long long Schedule::OutOfBlackouts(long long aTime) const
{
    // A window's end may lie in another window. If the windows leave nothing of a day free, there is no way out.
    for (std::size_t tries = 0; tries < mBlackouts.size(); ++tries) {
        for (Blackout const& blackout : mBlackouts)
            aTime = ktAdjustOutOfBlackoutSecondsIntoDay(aTime, blackout.mStart, blackout.mEnd);
    }
    return aTime;
}
