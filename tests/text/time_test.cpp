// Time in zones that are written as rules, which need no database. zones_test.cpp is for those that have a history.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "brackwater/copyfile.h"
#include "kttime.h"
#include "place.h"
#include "support/output.h"

namespace {

constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3", kNewYork[] = "EST5EDT,M3.2.0,M11.1.0";
const std::string kSource = "/usr/share/zoneinfo/", kTarget = "/tamarind/etc/user/localtime";
constexpr long long kHour = 3600, kDay = 86400, kNoon = 1711281600;  // of Sunday 24 March 2024 in UTC; 13:00 in Berlin

char const* const kZoneAtStart = getenv("TZ");
std::optional<long long> sNow;
clockid_t sClock = -1;  ///< the one that is faked: two readings succeed, two fail
bool sIsSettable = true, sCanCopy = true;
std::string sTimesSet;
std::string sCopied;  ///< zone and third argument

}  // namespace

Place::Place(std::string const& aZone, long long aNow)
{
    setenv("TZ", aZone.c_str(), 1);
    tzset();
    SetNow(aNow);
    sCanCopy = sIsSettable = true;
    sTimesSet.clear();
}

Place::~Place()
{
    kZoneAtStart != nullptr ? setenv("TZ", kZoneAtStart, 1) : unsetenv("TZ");
    tzset();
    sNow.reset();
    sClock = -1;
}

void Place::SetNow(long long aNow) { sNow = aNow; }

// These stand in front of the libraries': no test sets the clock or copies a zone.
extern "C" {
int gettimeofday(timeval* aTime, void* aZone) noexcept
{
    if (!sNow)
        return static_cast<int>(syscall(SYS_gettimeofday, aTime, aZone));
    *aTime = {static_cast<time_t>(*sNow), 999999};
    return 0;
}

int settimeofday(timeval const* aTime, struct timezone const* aZone) noexcept
{
    EXPECT_TRUE(aTime->tv_usec == 0 && aZone == nullptr);
    sTimesSet += std::to_string(aTime->tv_sec) + " ";
    return sIsSettable ? 0 : -1;
}

int clock_gettime(clockid_t aClock, timespec* aTime) noexcept
{
    if (aClock != sClock)
        return static_cast<int>(syscall(SYS_clock_gettime, aClock, aTime));
    static int sReadings = 0;
    *aTime = {12, 345678901};
    return sReadings++ % 4 < 2 ? 0 : -1;
}

int BWCopyFile(char const* aSource, char const* aTarget, int aReplace)
{
    EXPECT_TRUE(std::string(aSource).rfind(kSource, 0) == 0 && aTarget == kTarget) << aSource << " " << aTarget;
    sCopied = aSource + kSource.size() + std::string(" ") + std::to_string(aReplace);
    if (sCanCopy)
        setenv("TZ", kNewYork, 1);  // a new file, which only those see who look again
    return sCanCopy ? 2 : 0;
}
}

namespace {

TEST(Time, ReadsTheClocks)
{
    const Place place("UTC0", 1700000000);
    for (auto const& [time, left] : {std::pair(1700000001LL, 1), {1700000000, 0}, {LLONG_MIN, 0}, {LLONG_MAX, INT_MAX}})
        EXPECT_EQ(ktSecondsUntil(time), left) << time;
    for (bool isReadable : {true, false}) {
        sClock = CLOCK_MONOTONIC;
        EXPECT_EQ(ktGetNowInMonotonicTime(), isReadable ? 12345 : 0);
        sClock = CLOCK_BOOTTIME;
        EXPECT_EQ(ktGetUptimeInMicroseconds(), isReadable ? 12345678 : 0);
    }
    EXPECT_EQ(ktConvertMicroSecondsToSeconds(-999999), 0);
    EXPECT_EQ(ktConvertSecondsToMicroSeconds(LLONG_MAX), LLONG_MAX - 775807);
}

TEST(Time, SetsTheZone)
{
    const OutputTap tap;
    const Place place("UTC0");
    EXPECT_EQ(ktSetTimeZoneFile("America/New_York"), 0);
    EXPECT_EQ(ReturnGMTOffsetInSecondsForTime(kNoon), -18000) << "at once";
    EXPECT_TRUE(sCopied == "America/New_York 1" && tap.mWrites == 1) << sCopied;
    EXPECT_TRUE(ktSetTimeZoneFile(nullptr) == -5 && ktSetTimeZoneFile("") == -5);
    sCanCopy = false;
    EXPECT_EQ(ktSetTimeZoneFile("America/New_York"), -103);
    const std::string paths = kSource + "America/New_York into " + kTarget + "\n";
    EXPECT_TRUE(tap.Has("(4) ktTime: copying " + paths) && tap.Has("(4) ktTime: failure while copying " + paths));
    EXPECT_TRUE(ktSetTimeZoneFile(std::string(300, 'x').c_str()) == -103 && sCopied == std::string(235, 'x') + " 1");
}

TEST(Time, SetsTheClock)
{
    const OutputTap tap;
    for (int outcome = 0; outcome < 4; ++outcome) {
        const Place place("UTC0");
        sCanCopy = (outcome & 1) != 0;
        sIsSettable = (outcome & 2) != 0;
        EXPECT_EQ(ktSetEpoch(-7, "x"), !sCanCopy ? -103 : sIsSettable ? 0 : -1);
        EXPECT_EQ(ktSetTime(2024, 6, 1, 12, 0, 30, "x", -18000), !sIsSettable ? -1 : sCanCopy ? 0 : -103);
        // Without its zone the device stays in UTC, but gets its clock.
        EXPECT_EQ(sTimesSet, sCanCopy ? "-7 1719849630 " : "1719835230 ");
    }
    const Place place("UTC0");
    EXPECT_EQ(ktSetTime(2024, 11, 32, 24, -60, 0, "x", -18000), 0);
    EXPECT_EQ(ktSetTime(2024, 2, 10, 3, 0, 0, "x", -18000), 0) << "the first moment of daylight-saving time";
    EXPECT_EQ(ktSetTime(2024, 2, 10, 1, 0, 0, nullptr, INT_MIN), -5);
    EXPECT_EQ(ktSetTime(2024, 2, 10, 0, 0, 90000, "x", -18000), 0);
    EXPECT_TRUE(ktSetTime(40000, 0, 1, 0, 0, 0, "x", 0) == -1 && ktSetTime(2024, 0, INT_MIN, 0, 0, 0, "x", 0) == -1);
    EXPECT_EQ(sTimesSet, "1735790400 1710054000 1710050400 1710133200 ");
}

TEST(Time, KnowsTheCalendar)
{
    for (long long minutes : {15, 45}) {
        const Place place("AAA0BBB-1,J153/18:30,J300", kNoon + minutes * 60);
        EXPECT_FALSE(IsDSTSupportedInCurrentTimeZone()) << "asked at 18:00, whatever the minute is now";
    }
    EXPECT_TRUE(!ktIsLeapYear(1900) && ktIsLeapYear(2000) && ktIsLeapYear(2024) && !ktIsLeapYear(2023));
    const Place place(kBerlin, kNoon + 14 * kHour);
    EXPECT_EQ(ktGetDaysBetween(1735599600000000, 1735686000000000), 1) << "from the last day of a leap year";
    EXPECT_EQ(ktGetDaysBetween(1735686000000000, 1735599600000000), 0) << "each year has the days of the first";
    int day = -1, seconds = -1;
    EXPECT_TRUE(ktGetNowAsDaySeconds(&day, &seconds) == 0 && day == 0 && seconds == 3 * kHour) << day << seconds;
    EXPECT_EQ(ktGetAsDaySeconds(-3601, nullptr, nullptr), 2) << "New Year's Eve of 1969";
    EXPECT_TRUE(ktGetDayOfWeekFromPRTime(-1, nullptr) == 3 && ktGetDayOfWeekFromPRTime(-1, PR_GMTParameters) == 2);
    EXPECT_EQ(ktGetSecondsInDayFromPRTime(-1, PR_GMTParameters), 86399);
    EXPECT_TRUE(ktIsDifferentDay(kNoon + 39599, kNoon + 39600) && !ktIsDifferentDay(kNoon, kNoon + 39599));
    EXPECT_TRUE(ktIsDifferentDay(kNoon, kNoon + 366 * kDay)) << "the same day of another year";
    EXPECT_TRUE(ktGetSecondsInDayFromKTTime(LLONG_MAX) == 3600 && ktGetSecondsInDayFromKTTime(LLONG_MIN) == 3600);
}

TEST(Time, WritesTimesAndDates)
{
    const Place place("UTC0");
    const auto written = [](long long aTime, unsigned aFlags, std::size_t aTimeSize = 20, std::size_t aDateSize = 20) {
        char time[21] = "-", date[21] = "-";
        const unsigned length = ktGetFormattedTime(aTime, aFlags, time, aTimeSize, date, aDateSize);
        return time + std::string("|") + date + "|" + std::to_string(length);
    };
    EXPECT_EQ(written(kNoon + 3605, 1 | 16 | 64), "13:00:05|2024.03.24|10");
    EXPECT_EQ(written(kNoon - 14400, 1 | 16), "08:00:00|March 24|8");
    EXPECT_EQ(written(kNoon + 3605, 16 | 32 | 64), "1:00:05 PM|March 24, 2024|14");
    EXPECT_EQ(written(kNoon + 5, 2 | 8 | 16), "12 PM|MAR 24|6");
    EXPECT_EQ(written(kNoon - 42900, 2 | 8 | 32), "12:05 AM|MAR 24, 2024|12");
    EXPECT_EQ(written(-1, 16 | 64), "11:59:59 PM|1969.12.31|10");
    EXPECT_EQ(written(360065, 1 | 4 | 16 | 32), "100:01:05|-|9");
    EXPECT_EQ(written(LLONG_MAX, 4), "7:30 PM|-|7") << "after 2147483647 hours";
    EXPECT_EQ(written(kNoon, 1, 4, 6), "12:|March|5");
    EXPECT_EQ(written(kNoon, 0, 0, 0), "-|-|0") << "not even the terminator";
    char text[9];
    EXPECT_EQ(ktGetFormattedTime(kNoon, 0, nullptr, 9, text, 9), 8U);
    EXPECT_EQ(ktGetFormattedTime(kNoon, 0, text, 9, nullptr, 9), 8U);
    std::string names;
    for (int i = -1; i <= 12; ++i)
        names += ktGetMonthString(i, 8) + std::string(ktGetMonthString(i, 0)) + ktGetDayString(4, i);
    EXPECT_EQ(names,
              "JANJanuaryMONFEBFebruaryTUEMARMarchWEDAPRAprilTHUMAYMayTODAYJUNJuneSATJULJulySUNAUGAugustSEPSeptember"
              "OCTOctoberNOVNovemberDECDecember");
}

TEST(Time, ReadsDates)
{
    for (long long now : {1700000000, 1720000000}) {
        const Place place(kBerlin, now);
        for (char const* text :
             {"2015-06-01 10:00:00", "2015-06-01T10:00", "2015-06-01T10:00:00 -0800", " 2015.6.1-10:0:0",
              "2015-06-01 08:00:00 +0000", "2015-06-01 09:30:00 +0130", "2015-06-01 08:00:00 UTC",
              "2015-05-31 22:30:00-0930", "1 Jun 2015 10:00:00", "Mon Jun 1 09:30:00 +0130 2015"})
            EXPECT_EQ(GetDateStringToUTC(text), 1433145600) << text;
        EXPECT_EQ(GetDateStringToUTC("2015-03-29 03:00:00") - GetDateStringToUTC("2015-03-29 01:59:59"), 1);
        EXPECT_EQ(GetDateStringToUTC("1969-12-31 23:59:59 +0000"), -1);
        EXPECT_EQ(GetDateStringToUTC("2015-02-31 10:00:00"), GetDateStringToUTC("2015-03-03 10:00:00"));
    }
    for (char const* text : {"", "2015-06-01T10", "2015.06.01-10:00", "2015-13-01 10:00:00", "2015-00-01 10:00:00",
                             "2015-06-00 10:00:00", "2015-06-01 10:-1:00", "2015-06-32 10:00:00", "2015-06-01 24:00:00",
                             "2015-06-01 10:60:00", "2015-06-01 10:00:60", "2015-06-01 -1:00:00",
                             "40000-06-01 10:00:00", "2015-06-01 10:00:4294967296", "2015-06-01 10:00:00 EST",
                             "2015-06-01 10:00:00 +01:30", "2015-06-01 10:00:00 +013", "2015-06-01 10:00:00 +0130x"})
        EXPECT_EQ(GetDateStringToUTC(text), 0) << text;
    EXPECT_EQ(GetDateStringToUTC(nullptr), 0);
}

TEST(Time, ReckonsInDaysAndWeeks)
{
    const Place place(kBerlin, kNoon);
    const long long eight = kNoon + 19 * kHour;  // Monday
    EXPECT_EQ(GetNextWeeklyOccurrence(eight, 28800, 0), eight);
    EXPECT_EQ(GetNextWeeklyOccurrence(eight, 28800, -1), eight + kDay);
    EXPECT_EQ(GetNextWeeklyOccurrence(eight + 1, 28800, 0), eight + 7 * kDay - kHour);
    const long long sunday = eight + 6 * kDay;  // 09:00, when clocks have been put forward
    EXPECT_EQ(GetNextWeeklyOccurrence(eight, 85800, 6), sunday + 14 * kHour + 3000) << "not after midnight";
    EXPECT_EQ(GetNextWeeklyOccurrence(sunday - 8 * kHour, 9000, -1), sunday - 6 * kHour) << "02:30 is skipped";
    EXPECT_EQ(AdjustEpochOfGregorianDays(sunday - kDay, 1), sunday - kHour);
    for (auto const& [time, days] : {std::pair(LLONG_MIN, INT_MIN), {LLONG_MAX, INT_MAX}})
        EXPECT_TRUE(GetNextWeeklyOccurrence(time, time, days) == time &&
                    AdjustEpochOfGregorianDays(time, days) == time);
    for (long long time : {eight - 36000, eight - 7201})
        EXPECT_EQ(ktAdjustOutOfBlackoutSecondsIntoDay(time, 79200, 21600), eight - 7200);
    for (long long time : {eight - 7200, eight - 36001})
        EXPECT_EQ(ktAdjustOutOfBlackoutSecondsIntoDay(time, 79200, 21600), time);
    EXPECT_TRUE(ktIsBetweenSecondsIntoDay(eight, 28800, 28801) && !ktIsBetweenSecondsIntoDay(eight, 0, 28800));
    EXPECT_EQ(ktAdjustOutOfBlackoutSecondsIntoDay(eight, 28800, 28800), eight + kDay) << "the whole day";
    for (auto const& [day, seconds] : {std::pair(8, 86400), {-1, 518400}, {INT_MAX, 86400}})
        EXPECT_TRUE(ktGetSecondsInWeek(day, 5) == seconds + 5 && ktGetSecondsInWeek(day, INT_MAX) == INT_MAX);
    EXPECT_EQ(ktGetIntervalBetweenSecondsInWeek(604700, 100), 200);
    EXPECT_EQ(ktGetIntervalBetweenSecondsInWeek(INT_MAX, INT_MIN), 604800 - 4294967295LL % 604800);
    EXPECT_EQ(ktGetShortestIntervalBetweenSecondsInWeek(0, 400000), 204800);
    EXPECT_TRUE(ktGetEarliestKnownDeviceTime() == 0 && ktIsTimeBeforeEarliestKnownDeviceTime(-1));
    ktSetEarliestKnownDeviceTime(5);
    EXPECT_TRUE(ktIsTimeBeforeEarliestKnownDeviceTime(4) && !ktIsTimeBeforeEarliestKnownDeviceTime(5));
    ktSetEarliestKnownDeviceTime(0);
}

}  // namespace
