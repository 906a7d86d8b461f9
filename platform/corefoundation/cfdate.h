/// @file
/// The calendar behind dates: the Gregorian one, in UTC, without leap seconds.
#pragma once

#include "CoreFoundation/CFDate.h"

namespace cf {

struct Calendar {
    SInt64 mYear;
    int mMonth;  ///< from 1
    int mDay;    ///< from 1
    int mHour;
    int mMinute;
    int mSecond;
};

/// Whether there is such a day and such a time in it.
bool IsValid(Calendar const& aCalendar);
/// `aCalendar` is valid.
CFAbsoluteTime ToAbsoluteTime(Calendar const& aCalendar);
/// @param aSeconds whole seconds of CFAbsoluteTime.
Calendar ToCalendar(SInt64 aSeconds);

}  // namespace cf
