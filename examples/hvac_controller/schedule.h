/// @file
/// Which comfort the house is to have at which time.
#pragma once

#include <string>
#include <vector>

#include "preferences.h"
#include "thermostat.h"

/// A name and what it means in degrees.
struct Comfort {
    std::string mName;
    SetPoints mSetPoints;
};

/// A week of changes in local time, and the times of day at which none is made.
///
/// Weeks are those of the calendar: a change at 06:30 is at 06:30 before and after the clocks are put forward or back.
/// Times are seconds since 1970.
class Schedule {
public:
    /// @return false when there is no schedule, or it cannot be understood; `aFault` then says why, in one line.
    bool Load(Preferences const& aPreferences, std::string& aFault);

    /// Finds what is in force at a time, and until when. @return whether that is another comfort than before.
    bool Advance(long long aTime);

    /// After Advance().
    Comfort const& Current() const;
    /// When the next change is made.
    long long NextChange() const;

private:
    struct Change {
        int mDay;      ///< 0 to 6 from Monday; -1 is each day
        int mSeconds;  ///< into the day
        int mComfort;
    };
    struct Blackout {
        int mStart;  ///< seconds into the day
        int mEnd;
    };

    bool TakeChange(Preferences const& aPreferences, std::string const& aKey, char const* aText, std::string& aFault);
    bool TakeBlackout(std::string const& aKey, char const* aText, std::string& aFault);
    /// @return the index of a comfort, which is read when it is first named; -1 with a fault.
    int FindComfort(Preferences const& aPreferences, std::string const& aName, std::string& aFault);
    long long OutOfBlackouts(long long aTime) const;

    std::vector<Comfort> mComforts;
    std::vector<Change> mChanges;
    std::vector<Blackout> mBlackouts;
    int mCurrent = -1;  ///< index in mComforts
    long long mNextChange = 0;
};
