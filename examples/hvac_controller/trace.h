/// @file
/// The recorded temperatures that stand in for a house's sensors.
#pragma once

#include <string>
#include <vector>

struct Sample {
    long long mTime;  ///< seconds since 1970, UTC
    double mIndoor;   ///< degrees Celsius
    double mOutdoor;  ///< degrees Celsius
};

/// A trace is a text file: comment lines that begin with '#', then the line "time,indoor_c,outdoor_c", then a line for
/// each sample, such as "2026-05-04T00:05:00Z,20.31,9.87", with rising times.
class Trace {
public:
    /// Reads the whole file.
    /// @return false when it is missing or malformed; `aFault` then names file, line and fault, in one line. What
    ///         cannot be opened fails in line 0.
    bool Load(std::string const& aPath, std::string& aFault);

    /// At least one, once Load() has succeeded.
    std::vector<Sample> const& Samples() const
    {
        return mSamples;
    }

    /// How the reading of a line has ended.
    enum class LineState { kRead, kEnd, kTooLong, kFailed };

private:
    /// These return what is wrong; an empty text when nothing is.
    std::string TakeLine(std::string const& aLine);
    std::string TakeSample(std::string const& aLine);
    std::string EndWith(LineState aState) const;

    bool mHasColumns = false;
    std::vector<Sample> mSamples;
};
