/// @file
/// The decision between heating, cooling and leaving the house alone.
#pragma once

#include "trace.h"

enum class Mode { kIdle, kHeating, kCooling };

/// Temperatures in degrees Celsius.
struct SetPoints {
    double mHeatTo = 0;
    double mCoolTo = 0;
    double mHysteresis = 0;  ///< how far past a set point before equipment starts or stops
};

/// Decides with hysteresis, and keeps account of what was decided.
class Thermostat {
public:
    /// What the decisions are made by from now on.
    void Use(SetPoints const& aSetPoints);

    /// Counts the time since the last sample for the mode that was in force, then decides anew. @return the new mode.
    Mode TakeSample(Sample const& aSample);

    Mode CurrentMode() const;
    int SampleCount() const;
    /// Times that the mode changed.
    int SwitchCount() const;
    double HoursIn(Mode aMode) const;

private:
    Mode Decide(Sample const& aSample) const;

    SetPoints mSetPoints;
    Mode mMode = Mode::kIdle;
    int mSampleCount = 0;
    int mSwitchCount = 0;
    long long mLastTime = 0;
    long long mSecondsIn[3] = {};  ///< indexed by Mode
};
