// Times, dates, months and days in fixed English.
#include <prprf.h>

#include "kttime.h"
#include "kttimecore.h"

namespace {

struct Month {
    char const* mName;
    char const* mShortName;
};

constexpr Month kMonths[] = {
    {"January", "JAN"},   {"February", "FEB"}, {"March", "MAR"},    {"April", "APR"},
    {"May", "MAY"},       {"June", "JUN"},     {"July", "JUL"},     {"August", "AUG"},
    {"September", "SEP"}, {"October", "OCT"},  {"November", "NOV"}, {"December", "DEC"},
};

constexpr char const* kDays[] = {"MON", "TUE", "WED", "THU", "FRI", "SAT", "SUN"};

/// A clock's hands; of a duration the hours may be any number.
struct Hands {
    int mHours;
    int mMinutes;
    int mSeconds;
};

/// Where a text goes to. Without a buffer, or without room for even the terminator, it goes nowhere.
class Room {
public:
    Room(char* aBuffer, std::size_t aSize)
        : mBuffer(aBuffer), mSize(aBuffer != nullptr ? static_cast<PRUint32>(std::min<std::size_t>(aSize, INT_MAX)) : 0)
    {
    }

    template <typename... Arguments>
    unsigned int Print(char const* aFormat, Arguments... aArguments) const
    {
        return mSize != 0 ? PR_snprintf(mBuffer, mSize, aFormat, aArguments...) : 0;
    }

private:
    char* mBuffer;
    PRUint32 mSize;
};

Hands HandsOfDuration(long long aSeconds)
{
    const long long hours = std::clamp<long long>(aSeconds / kSecondsPerHour, INT_MIN, INT_MAX);
    const int rest = static_cast<int>(aSeconds % kSecondsPerHour);
    return {static_cast<int>(hours), rest / 60, rest % 60};
}

unsigned int Print24Hours(Room const& aRoom, Hands const& aHands, unsigned int aFlags)
{
    if ((aFlags & kTimeFormatSeconds) != 0)
        return aRoom.Print("%02d:%02d:%02d", aHands.mHours, aHands.mMinutes, aHands.mSeconds);
    return aRoom.Print("%02d:%02d", aHands.mHours, aHands.mMinutes);
}

unsigned int Print12Hours(Room const& aRoom, Hands const& aHands, unsigned int aFlags)
{
    const int hour = aHands.mHours % 12 != 0 ? aHands.mHours % 12 : 12;
    char const* const meridiem = aHands.mHours < 12 ? "AM" : "PM";
    if ((aFlags & kTimeFormatShortHour) != 0 && aHands.mMinutes == 0)
        return aRoom.Print("%d %s", hour, meridiem);
    if ((aFlags & kTimeFormatSeconds) != 0)
        return aRoom.Print("%d:%02d:%02d %s", hour, aHands.mMinutes, aHands.mSeconds, meridiem);
    return aRoom.Print("%d:%02d %s", hour, aHands.mMinutes, meridiem);
}

unsigned int PrintTime(Room const& aRoom, Hands const& aHands, unsigned int aFlags)
{
    return (aFlags & kTimeFormat24Hours) != 0 ? Print24Hours(aRoom, aHands, aFlags)
                                              : Print12Hours(aRoom, aHands, aFlags);
}

unsigned int PrintDate(Room const& aRoom, PRExplodedTime const& aDate, unsigned int aFlags)
{
    char const* const month = ktGetMonthString(aDate.tm_month, aFlags);
    if ((aFlags & kTimeFormatYear) != 0)
        return aRoom.Print("%s %d, %d", month, aDate.tm_mday, aDate.tm_year);
    if ((aFlags & kTimeFormatNumericDate) == 0)
        return aRoom.Print("%s %d", month, aDate.tm_mday);
    return aRoom.Print("%04d.%02d.%02d", aDate.tm_year, aDate.tm_month + 1, aDate.tm_mday);
}

}  // namespace

unsigned int ktGetFormattedTime(long long aSeconds, unsigned int aFlags, char* aTimeBuffer, std::size_t aTimeSize,
                                char* aDateBuffer, std::size_t aDateSize)
{
    const Room timeRoom(aTimeBuffer, aTimeSize);
    if ((aFlags & kTimeFormatDuration) != 0)
        return PrintTime(timeRoom, HandsOfDuration(aSeconds), aFlags);
    const PRExplodedTime local = ktExplodeLocal(aSeconds);
    const unsigned int length = PrintTime(timeRoom, {local.tm_hour, local.tm_min, local.tm_sec}, aFlags);
    return aDateBuffer != nullptr ? PrintDate(Room(aDateBuffer, aDateSize), local, aFlags) : length;
}

char const* ktGetMonthString(int aMonth, unsigned int aFlags)
{
    if (aMonth < 0 || aMonth > 11)
        return "";
    return (aFlags & kTimeFormatShortMonth) != 0 ? kMonths[aMonth].mShortName : kMonths[aMonth].mName;
}

char const* ktGetDayString(int aToday, int aDay)
{
    if (aToday == aDay)
        return "TODAY";
    return aDay >= 0 && aDay < kDaysPerWeek ? kDays[aDay] : "";
}
