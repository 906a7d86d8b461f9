/// @file
/// The trace's time, which runs faster than life.
#pragma once

#include <prinrval.h>

#include <chrono>

/// Tells how long to sleep until a moment of the trace. Copies run alike; the threads that share a pace copy one.
class Pace {
public:
    /// @param aStart the moment of the trace that is now, in seconds since 1970. @param aSpeed times faster than life.
    Pace(long long aStart, double aSpeed);

    /// @return interval ticks until then, rounded up and an hour at most; 0 when it is due.
    PRIntervalTime Until(long long aMoment) const;

private:
    using Clock = std::chrono::steady_clock;

    long long mStart;
    double mSpeed;
    Clock::time_point mBegin;
};
