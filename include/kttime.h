/// @file
/// Clocks, the device's clock and zone, the local calendar, times of day and of week.
///
/// Times are seconds since 1970 in UTC, before it negative; `PRTime` is the same in microseconds. A time of day is
/// seconds into the local day as its clock shows it, 0 to 86399; weekdays count from 0 for Monday to 6 for Sunday.
/// Plain functions that any thread may call. They keep no state but the earliest known device time, allocate nothing of
/// their own, and wait for nothing unless it is said; the first look at the zone reads its file.
///
/// The local calendar is NSPR's, in the zone of the process, and shares its limits:
/// - It knows the zone's changes from 13 December 1901 to 19 January 2038. Outside, the zone has the offset that it had
///   on 2 January 1970, and no daylight-saving time. A `time_t` of 64 bits does not change that.
/// - In daylight-saving time it takes the offset of 2 January 1970 for the zone's own and the rest for what is saved.
///   Where the zone's own has changed since, the split is not the law's; London, which was an hour ahead that day, has
///   two offsets but no daylight-saving time. Local times are right all the same; what follows from it is said where
///   the split counts.
/// - Years reach from 1 to 32767; a time outside is taken for the nearest inside.
///
/// Times so far out that 64 bits cannot hold the result give the nearest that they can.
#pragma once

#include <prtime.h>

#include <cstddef>

#include "kttypes.h"

/// How times are written; the bits add up.
enum ktTimeFormat : unsigned int {
    kTimeFormat24Hours = 1,
    kTimeFormatShortHour = 2,     ///< 12-hour clock only: whole hours without their minutes
    kTimeFormatDuration = 4,      ///< a number of seconds in place of a time of day; has no date
    kTimeFormatShortMonth = 8,    ///< abbreviated month name
    kTimeFormatSeconds = 16,      ///< seconds too
    kTimeFormatYear = 32,         ///< month name, day and year
    kTimeFormatNumericDate = 64,  ///< year.month.day; unless kTimeFormatYear is set
};

extern "C" {

// Setting the clock and the zone: process-wide or wider, for one caller at a time. They block for the file system, and
// need the right to set the clock and to write the device's zone file.

/// Makes a zone of the system's database, such as "Europe/Berlin", the device's. What is done is logged. A process
/// without `TZ`, whose `/etc/localtime` leads to the device's zone file, follows at once; others when they next start,
/// or when their C library next looks.
/// @return 0; -5 without a name; -103 when the file cannot be copied, and then the zone is as it was.
KT_EXPORT ktError ktSetTimeZoneFile(char const* aZoneName);

/// Sets the zone, then the clock.
/// @return 0; -5 or -103 as above, and then the clock is not touched; -1 when the clock cannot be set, or `time_t`
///         cannot hold the time (on the device: from 19 January 2038 on), and then only the zone has changed.
KT_EXPORT ktError ktSetEpoch(long long aSeconds, char const* aZoneName);

/// Sets the zone, then the clock to a local time of that zone, even when the zone could not be set. What is beyond a
/// field's range runs over into the next.
/// @param aMonth 0 for January. @param aGmtOffset about how many seconds the zone is ahead of UTC: it tells the moment
///        whose true offset is used, so it matters only near a change of the zone's.
/// @return 0; -1 when the clock cannot be set, as above, or year, month or day is beyond 16 bits, and then it is not
///         touched; else what ktSetTimeZoneFile() returned.
KT_EXPORT ktError ktSetTime(int aYear, int aMonth, int aDay, int aHour, int aMinute, int aSecond, char const* aZoneName,
                            int aGmtOffset);

// Clocks.

KT_EXPORT long long ktGetNowInSeconds();

/// Time since some point in the past, time spent suspended not included.
/// @return milliseconds; 0 when the clock cannot be read.
KT_EXPORT long long ktGetNowInMonotonicTime();

/// Time since the system started, time spent suspended included.
/// @return microseconds; 0 when the clock cannot be read.
KT_EXPORT long long ktGetUptimeInMicroseconds();

/// Drops the fraction: before 1970 that leads to the later second.
KT_EXPORT long long ktConvertMicroSecondsToSeconds(long long aMicroseconds);
KT_EXPORT long long ktConvertSecondsToMicroSeconds(long long aSeconds);

/// @return the seconds from now to a time, INT_MAX at most; 0 when it is not ahead.
KT_EXPORT int ktSecondsUntil(long long aSeconds);

// The local calendar.

KT_EXPORT ktBOOL ktIsLeapYear(int aYear);

/// Days from one local date to another. Each year between counts as many days as the first.
KT_EXPORT int ktGetDaysBetween(PRTime aFrom, PRTime aTo);

/// @param aDayOfWeek, aSecondsIntoDay receive what they say; may be null. @return the day of the week.
KT_EXPORT int ktGetAsDaySeconds(long long aSeconds, int* aDayOfWeek, int* aSecondsIntoDay);
/// The same for now.
KT_EXPORT int ktGetNowAsDaySeconds(int* aDayOfWeek, int* aSecondsIntoDay);

/// In the zone that NSPR's function tells, such as `PR_GMTParameters`; null for the local one.
KT_EXPORT int ktGetDayOfWeekFromPRTime(PRTime aTime, PRTimeParamFn aZone);
KT_EXPORT int ktGetSecondsInDayFromPRTime(PRTime aTime, PRTimeParamFn aZone);
/// In the local zone.
KT_EXPORT int ktGetSecondsInDayFromKTTime(long long aSeconds);

// Daylight-saving time, as the calendar splits it.

/// @return whether 2 June or 2 January of the current year has it.
KT_EXPORT ktBOOL IsDSTSupportedInCurrentTimeZone();

/// @return 1 when a whole hour or more is saved, or given away, at that time; else 0.
KT_EXPORT int GetDstOrStdForTime(long long aSeconds);

/// @return seconds; negative where winter time is what the law sees as the exception.
KT_EXPORT int ReturnDSTOffsetInSecondsForTime(long long aSeconds);

/// @return the seconds that the zone is ahead of UTC, daylight-saving time not included.
KT_EXPORT int ReturnGMTOffsetInSecondsForTime(long long aSeconds);

// Text, in fixed English. Nothing is written past a size, which counts the terminator; a text that is longer is cut.

/// Writes a time, such as "1:05 PM", and its date, such as "MAR 7".
/// @param aFlags of ktTimeFormat. @param aTimeBuffer, aDateBuffer may be null.
/// @return the length of what was written last, without its terminator.
KT_EXPORT unsigned int ktGetFormattedTime(long long aSeconds, unsigned int aFlags, char* aTimeBuffer,
                                          std::size_t aTimeSize, char* aDateBuffer, std::size_t aDateSize);

/// @return the name of a month, 0 for January, or with kTimeFormatShortMonth its abbreviation; "" for any other number.
KT_EXPORT char const* ktGetMonthString(int aMonth, unsigned int aFlags);

/// @return "TODAY" for today, else an abbreviation, such as "MON"; "" for a number that is no weekday.
KT_EXPORT char const* ktGetDayString(int aToday, int aDay);

/// Reads a date and time: what `PR_ParseTimeString` takes, and "2015-06-01 10:00:00" with or without an offset behind
/// it, such as "+0130", "UTC", "GMT" or "Z", "2015-06-01T10:00" with or without seconds, "2015.06.01-10:00:00". What
/// stands behind the last number is not looked at, except for the offset, which is to be like that. Days up to 31 are
/// taken in every month. Text of more than 127 characters, or with a number of more than nine digits, is no date.
///
/// A time without offset is local. In the forms given here it is read with the zone's offset of now, and one hour more
/// in daylight-saving time: wrong by the difference where the zone's own offset was another, or the calendar splits
/// otherwise. In its own forms NSPR reads a time without seconds up to a few minutes off, by the character behind it.
/// @return the time; 0 for null and for what is not understood, an offset of another form included.
KT_EXPORT long long GetDateStringToUTC(char const* aText);

// Times of day and of week.

/// The same time of day as many days later, or earlier. It is kept across a change when the zone has daylight-saving
/// time this year, in whole hours, and the calendar splits as the law does; else it moves by the change, or by what the
/// calendar takes for it. Where a change skips the time of day, the answer is as much earlier going forward,
/// and later going back.
KT_EXPORT long long AdjustEpochOfGregorianDays(long long aTime, int aDays);

/// The next time that the local clock shows a time of day: at or after `aTime` on a weekday, or for -1 on any day, and
/// then strictly after. Days beyond Sunday begin again with Monday, and
/// others below -1 end with Sunday.
///
/// A time that is skipped, as clocks are put forward, gives one of the first 15 minutes behind the gap: of the same day
/// unless the gap ends it. Of a time that comes twice, only the first may be found. When the zone's own offset changes
/// in between, the answer is off by that change, and a warning is logged.
KT_EXPORT long long GetNextWeeklyOccurrence(long long aTime, long long aSecondsIntoDay, int aDayOfWeek);

/// Whether the local time of day is in [start, end). A window may go across midnight; from a time to itself it is the
/// whole day.
KT_EXPORT ktBOOL ktIsBetweenSecondsIntoDay(long long aTime, int aStart, int aEnd);

/// @return the time itself when it is not in such a window, else the next end of it.
KT_EXPORT long long ktAdjustOutOfBlackoutSecondsIntoDay(long long aTime, int aStart, int aEnd);

/// @return a time of week, in seconds since Monday 00:00; days beyond Sunday begin again with Monday.
KT_EXPORT int ktGetSecondsInWeek(int aDay, int aSecondsIntoDay);

/// @return the seconds from a time of week forward to another, 0 to 604799.
KT_EXPORT int ktGetIntervalBetweenSecondsInWeek(int aFrom, int aTo);
/// The same in the direction in which it is shorter.
KT_EXPORT int ktGetShortestIntervalBetweenSecondsInWeek(int aFirst, int aSecond);

/// Whether two times have different local dates.
KT_EXPORT ktBOOL ktIsDifferentDay(long long aFirst, long long aSecond);

/// A time that the device knows to be past, 0 at first: a clock that shows less cannot be right. One value for the
/// process, written by one caller and read by any; it is always whole, but orders nothing else.
KT_EXPORT void ktSetEarliestKnownDeviceTime(long long aTime);
KT_EXPORT long long ktGetEarliestKnownDeviceTime();
/// @return whether a time is strictly earlier.
KT_EXPORT ktBOOL ktIsTimeBeforeEarliestKnownDeviceTime(long long aTime);
}
