#include "cfdate.h"

#include <cmath>
#include <cstdio>

#include "cfnumber.h"
#include "cfobject.h"
#include "cfstringobject.h"

namespace {

constexpr SInt64 kDay = 86400;
/// The calendar repeats itself after so many years and days.
constexpr SInt64 kEraYears = 400, kEraDays = 146097;
/// From 1 March 2000, with which an era begins, to 1 January 2001. March begins the year here, so that a leap day ends
/// it.
constexpr SInt64 kEpoch = 306;
/// Beyond it, either way, seconds say more than years.
constexpr double kMaxPrinted = 1e14;

bool IsLeap(SInt64 aYear)
{
    return aYear % 4 == 0 && (aYear % 100 != 0 || aYear % kEraYears == 0);
}

int DaysIn(int aMonth, SInt64 aYear)
{
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[aMonth - 1] + (aMonth == 2 && IsLeap(aYear) ? 1 : 0);
}

SInt64 FloorDivide(SInt64 aValue, SInt64 aDivisor)
{
    return aValue / aDivisor - (aValue % aDivisor < 0 ? 1 : 0);
}

/// Days before the year in its era.
SInt64 DaysBeforeYear(SInt64 aYearOfEra)
{
    return aYearOfEra * 365 + aYearOfEra / 4 - aYearOfEra / 100;
}

/// Days before the month, counted from March as 0: the lengths follow a straight line.
SInt64 DaysBeforeMonth(SInt64 aMonth)
{
    return (153 * aMonth + 2) / 5;
}

}  // namespace

bool cf::IsValid(Calendar const& aCalendar)
{
    return aCalendar.mMonth >= 1 && aCalendar.mMonth <= 12 && aCalendar.mDay >= 1 &&
           aCalendar.mDay <= DaysIn(aCalendar.mMonth, aCalendar.mYear) && aCalendar.mHour < 24 &&
           aCalendar.mMinute < 60 && aCalendar.mSecond < 60;
}

CFAbsoluteTime cf::ToAbsoluteTime(Calendar const& aCalendar)
{
    const SInt64 month = (aCalendar.mMonth + 9) % 12;
    const SInt64 year = aCalendar.mYear - 2000 - (aCalendar.mMonth <= 2 ? 1 : 0);
    const SInt64 era = FloorDivide(year, kEraYears);
    const SInt64 day =
        era * kEraDays + DaysBeforeYear(year - era * kEraYears) + DaysBeforeMonth(month) + aCalendar.mDay - 1 - kEpoch;
    return static_cast<CFAbsoluteTime>(((day * 24 + aCalendar.mHour) * 60 + aCalendar.mMinute) * 60 +
                                       aCalendar.mSecond);
}

cf::Calendar cf::ToCalendar(SInt64 aSeconds)
{
    const SInt64 days = FloorDivide(aSeconds, kDay) + kEpoch;
    const int second = static_cast<int>(aSeconds - FloorDivide(aSeconds, kDay) * kDay);
    const SInt64 era = FloorDivide(days, kEraDays);
    const SInt64 dayOfEra = days - era * kEraDays;
    SInt64 year = dayOfEra / 365;  // at most one too many
    if (DaysBeforeYear(year) > dayOfEra || year == kEraYears)
        --year;
    const SInt64 dayOfYear = dayOfEra - DaysBeforeYear(year);
    const SInt64 month = (5 * dayOfYear + 2) / 153;
    return {year + era * kEraYears + 2000 + (month >= 10 ? 1 : 0),
            static_cast<int>((month + 2) % 12 + 1),
            static_cast<int>(dayOfYear - DaysBeforeMonth(month) + 1),
            second / 3600,
            second / 60 % 60,
            second % 60};
}

struct __CFDate final : cf::Object {
    explicit __CFDate(CFAbsoluteTime aTime) : Object(cf::kDate), mTime(aTime)
    {
    }

    bool Equals(Object const& aOther) const override
    {
        return mTime == static_cast<__CFDate const&>(aOther).mTime;
    }
    CFHashCode Hash() const override
    {
        return cf::HashNumber(mTime);
    }
    CFStringRef CopyDescription() const override;

    const CFAbsoluteTime mTime;
};

CFStringRef __CFDate::CopyDescription() const
{
    char text[64];
    if (std::fabs(mTime) < kMaxPrinted) {
        const cf::Calendar calendar = cf::ToCalendar(static_cast<SInt64>(std::floor(mTime)));
        std::snprintf(text, sizeof text, "%04lld-%02d-%02d %02d:%02d:%02d +0000",
                      static_cast<long long>(calendar.mYear), calendar.mMonth, calendar.mDay, calendar.mHour,
                      calendar.mMinute, calendar.mSecond);
    } else
        cf::PrintNumber(mTime, text);
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingASCII);
}

CFTypeID CFDateGetTypeID()
{
    return cf::kDate;
}

CFDateRef CFDateCreate(CFAllocatorRef /*aAllocator*/, CFAbsoluteTime aTime)
{
    return cf::New<__CFDate>(aTime);
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef aDate)
{
    return aDate != nullptr ? aDate->mTime : 0;
}
