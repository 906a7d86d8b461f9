#include "thermostat.h"

void Thermostat::Use(SetPoints const& aSetPoints)
{
    mSetPoints = aSetPoints;
}

Mode Thermostat::TakeSample(Sample const& aSample)
{
    if (mSampleCount != 0)
        mSecondsIn[static_cast<int>(mMode)] += aSample.mTime - mLastTime;
    mLastTime = aSample.mTime;
    ++mSampleCount;
    const Mode mode = Decide(aSample);
    if (mode != mMode)
        ++mSwitchCount;
    mMode = mode;
    return mode;
}

Mode Thermostat::CurrentMode() const
{
    return mMode;
}

int Thermostat::SampleCount() const
{
    return mSampleCount;
}

int Thermostat::SwitchCount() const
{
    return mSwitchCount;
}

double Thermostat::HoursIn(Mode aMode) const
{
    return static_cast<double>(mSecondsIn[static_cast<int>(aMode)]) / 3600;
}

Mode Thermostat::Decide(Sample const& aSample) const
{
    const double indoor = aSample.mIndoor;
    const double margin = mSetPoints.mHysteresis;
    if (indoor < mSetPoints.mHeatTo - margin)
        return Mode::kHeating;
    if (indoor > mSetPoints.mCoolTo + margin)
        return Mode::kCooling;
    if (mMode == Mode::kHeating && indoor < mSetPoints.mHeatTo + margin)
        return Mode::kHeating;
    if (mMode == Mode::kCooling && indoor > mSetPoints.mCoolTo - margin)
        return Mode::kCooling;
    return Mode::kIdle;
}
