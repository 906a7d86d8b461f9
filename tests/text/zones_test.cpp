// Every change of every zone of the system's database: day stepping and weekly occurrences on both sides of it, against
// the C library's calendar.
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>

#include "ktlog.h"
#include "kttime.h"
#include "place.h"
#include "support/output.h"

namespace {

constexpr char kDatabase[] = "/usr/share/zoneinfo";
constexpr long long kDay = 86400;
int sChanges = 0;  ///< that were checked

tm FieldsOf(time_t aTime)
{
    tm fields = {};
    localtime_r(&aTime, &fields);
    return fields;
}

/// A moment, what clocks show then, and how NSPR splits the difference.
struct Moment {
    explicit Moment(long long aTime) : mFields(FieldsOf(static_cast<time_t>(aTime))), mClock(aTime + mFields.tm_gmtoff)
    {
        if (mFields.tm_isdst > 0)
            mSaved = FieldsOf(kDay).tm_isdst > 0 ? 3600 : mFields.tm_gmtoff - FieldsOf(kDay).tm_gmtoff;
        mOwn = mFields.tm_gmtoff - mSaved;
    }
    long long SavedHours() const { return mSaved > -3600 && mSaved < 3600 ? 0 : mSaved; }
    bool IsLike(Moment const& aOther) const { return mOwn == aOther.mOwn && mSaved == aOther.mSaved; }

    tm mFields;
    long long mClock, mOwn = 0, mSaved = 0;
};

long long DayOf(long long aClock) { return (aClock - (aClock % kDay + kDay) % kDay) / kDay; }
int WeekdayOf(long long aClock) { return static_cast<int>((DayOf(aClock) + 70003) % 7); }  // 1970 began on a Thursday

/// Both sides of one change in one zone.
struct Change {
    Change(std::string const& aZone, long long aTime) : mTime(aTime), mWhere(aZone + " " + std::to_string(aTime) + " ")
    {
        for (int month : {5, 0}) {
            tm date = mAfter.mFields;
            date.tm_mon = month;
            date.tm_mday = 2;
            date.tm_hour = 18;
            date.tm_min = date.tm_sec = 0;
            date.tm_isdst = -1;
            mHasDst = mHasDst || Moment(mktime(&date)).mSaved != 0;
        }
    }

    void Check() const
    {
        ASSERT_EQ(IsDSTSupportedInCurrentTimeZone(), mHasDst) << mWhere;
        for (long long time : {mTime - 1, mTime}) {
            ASSERT_EQ(ReturnGMTOffsetInSecondsForTime(time), Moment(time).mOwn) << mWhere;
            ASSERT_EQ(ReturnDSTOffsetInSecondsForTime(time), Moment(time).mSaved) << mWhere;
            ASSERT_EQ(GetDstOrStdForTime(time), Moment(time).SavedHours() != 0) << mWhere;
        }
        for (int days : {-7, -1, 1}) {
            for (long long time : {mTime - kDay / 2, mTime - 1, mTime + kDay / 4})
                CheckStep(time, days);
        }
        const long long seam = mBefore.mClock + 1;
        for (long long clock : {seam, seam + 1207, seam - 600, 0LL, kDay - 1500}) {
            for (long long time : {mTime - 72000, mTime - 1, mTime + 600}) {
                CheckOccurrence(time, clock - DayOf(clock) * kDay, -1);
                CheckOccurrence(time, clock - DayOf(clock) * kDay, WeekdayOf(seam));
            }
        }
    }

    bool Skips(long long aClock) const { return mBefore.mClock < aClock && aClock < mAfter.mClock; }

    void CheckStep(long long aTime, int aDays) const
    {
        const long long target = aTime + aDays * kDay, answer = AdjustEpochOfGregorianDays(aTime, aDays);
        const Moment from(aTime), to(target);
        const bool isCorrected = mHasDst && (from.SavedHours() == 0) != (to.SavedHours() == 0);
        const long long correction = isCorrected ? from.SavedHours() - to.SavedHours() : 0;
        ASSERT_EQ(answer, target + correction) << mWhere << aTime << " " << aDays;
        const long long wanted = from.mClock + aDays * kDay;
        const bool isAsByLaw = from.mOwn == to.mOwn && from.mSaved - to.mSaved == correction;
        ASSERT_TRUE(!isAsByLaw || Skips(wanted) || Moment(answer).mClock == wanted) << mWhere << aTime << " " << aDays;
    }

    /// Looks for what the library reckons.
    void CheckOccurrence(long long aTime, long long aSeconds, int aDay) const
    {
        const Moment from(aTime);
        long long wanted = DayOf(from.mClock) * kDay + aSeconds;
        while (wanted < from.mClock || (aDay < 0 ? wanted == from.mClock : WeekdayOf(wanted) != aDay))
            wanted += kDay;
        long long expected = wanted - from.mOwn - from.mSaved;
        const Moment to(expected);
        const bool isCorrected = to.mOwn == from.mOwn;
        expected -= isCorrected ? to.mSaved - from.mSaved : 0;
        while (isCorrected && to.mSaved > from.mSaved && Moment(expected).mClock < wanted)
            expected += 900;
        ASSERT_EQ(GetNextWeeklyOccurrence(aTime, aSeconds, aDay), expected) << mWhere << aTime << " " << aSeconds;
        const long long clock = Moment(expected).mClock;
        const bool isOnDay = DayOf(clock) == DayOf(wanted) || DayOf(mAfter.mClock) > DayOf(wanted);  // none of it left
        const bool isRight = Skips(wanted) ? clock > wanted && isOnDay : clock == wanted;
        ASSERT_TRUE(!isCorrected || (expected >= aTime && isRight)) << mWhere << aTime << " " << aSeconds;
    }

    long long mTime;
    Moment mBefore{mTime - 1}, mAfter{mTime};
    std::string mWhere;
    bool mHasDst = false;
};

void CheckZone(std::string const& aZone, long long aFrom)
{
    Place place(aZone);
    Moment before(aFrom);
    for (long long last = aFrom + 2 * kDay; last < 2145916800 && !testing::Test::HasFatalFailure(); last += 2 * kDay) {
        if (Moment(last).IsLike(before))
            continue;
        for (long long first = last - 2 * kDay; last - first > 1;)
            (Moment((first + last) / 2).IsLike(before) ? first : last) = (first + last) / 2;
        place.SetNow(last);
        Change(aZone, last).Check();
        ++sChanges;
        before = Moment(last);
    }
}

/// Processes share the zones, because the C library looks through every name of a zone that it has met.
constexpr std::size_t kShares = 8;
class Zones : public testing::TestWithParam<std::size_t> { };
INSTANTIATE_TEST_SUITE_P(Share, Zones, testing::Range<std::size_t>(0, kShares));

TEST_P(Zones, FollowTheRulesAtEveryChange)
{
    if (!std::filesystem::exists(kDatabase))
        GTEST_SKIP() << "no zones in " << kDatabase << ": install tzdata";
    std::set<std::string> seen;                                   // many have several names
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityCritical);  // thousands of warnings
    for (auto const& entry : std::filesystem::recursive_directory_iterator(kDatabase)) {
        const std::string zone = entry.path().lexically_relative(kDatabase);
        std::ifstream file(entry.is_regular_file() && zone[0] < 'a' ? entry.path() : "");  // not posix/ or right/
        const std::string contents(std::istreambuf_iterator<char>(file), {});
        if (contents.compare(0, 4, "TZif") == 0 && seen.insert(contents).second && seen.size() % kShares == GetParam())
            CheckZone(zone, zone.rfind("Australia", 0) == 0 ? -2145916800 : 0);  // some since 1902
    }
    EXPECT_GT(sChanges, 1000) << "or the C library finds no zones";
    ktSetLogPriority(kLogFileTypeGeneric, ktLogPriority{0});
}

// What the rules make of zones whose own offset, in NSPR's eyes, changes with the season.
TEST_F(Zones, AreOffWhenTheirOffsetOf1970WasAnother)
{
    if (!std::filesystem::exists(kDatabase))
        GTEST_SKIP() << "no zones in " << kDatabase << ": install tzdata";
    const auto check = [](char const* aZone, long long aNoon, int aStepOff, int aNextOff, int aReadOff) {
        const Place place(aZone, 1720000000);
        const long long noon = Moment(aNoon).mClock;  // of the Saturday before a change
        EXPECT_EQ(Moment(AdjustEpochOfGregorianDays(aNoon, 1)).mClock - noon - kDay, aStepOff) << aZone;
        EXPECT_EQ(Moment(GetNextWeeklyOccurrence(aNoon, 28800, 6)).mClock - noon - 72000, aNextOff) << aZone;
        EXPECT_EQ(Moment(GetDateStringToUTC("2024-01-15 12:00:00")).mClock - 1705320000, aReadOff) << aZone;
    };
    const OutputTap tap;
    check("America/New_York", 1710003600, 0, 0, 0);
    check("Europe/Dublin", 1711800000, 0, 0, -7200);
    EXPECT_EQ(tap.mText, "");
    check("Europe/London", 1711800000, 3600, 3600, -3600);
    EXPECT_TRUE(tap.Has("(3) ktTime: GMT offset changed mid-operation (0 => 3600)\n")) << tap.mText;
    check("Australia/Lord_Howe", 1728091800, -1800, 1800, -1800);
}

}  // namespace
