/// @file
/// What the sensors and the states are called.
#pragma once

#include <ktarray.h>

#include "thermostat.h"

/// Which temperature of a sample a sensor gives.
enum SensorIndex { kIndoorSensor, kOutdoorSensor, kSensorCount };

/// The names that log lines show. Filled once, then only read.
class Names {
public:
    Names() = default;

    /// @return 0, or why there are no names.
    ktError Init();

    /// "indoor" or "outdoor". Valid as long as the names.
    char const* Of(SensorIndex aSensor) const;
    /// "idle", "heating" or "cooling".
    char const* Of(Mode aMode) const;

private:
    ktStringArray mSensors;       ///< indexed by SensorIndex
    ktIndexedStringArray mModes;  ///< found by Mode
};
