/// @file
/// The events that the application's threads post to each other: family 0x40.
#pragma once

#include <ktevent.h>

#include "schedule.h"
#include "trace.h"

constexpr unsigned int kEventSample = 0x30400001;          ///< SampleEvent, from the sensor to the controller
constexpr unsigned int kEventTraceEnded = 0x30400002;      ///< ktEvent, from the sensor to the main loop
constexpr unsigned int kEventStatusWanted = 0x30400003;    ///< ktEvent, value: the day, from 1; to the main loop
constexpr unsigned int kEventModeChanged = 0x30400004;     ///< ModeEvent, published by the controller
constexpr unsigned int kEventComfortChanged = 0x30400005;  ///< ComfortEvent, published by the controller

/// What the sensor has measured.
class SampleEvent : public ktEvent {
public:
    void Init(Sample const& aSample)
    {
        ktEvent::Init(kEventSample, 0);
        mSample = aSample;
    }
    Sample const& GetSample() const
    {
        return mSample;
    }

private:
    Sample mSample = {};
};

/// The equipment is to do something else.
class ModeEvent : public ktEvent {
public:
    void Init(Mode aFrom, Mode aTo, Sample const& aSample)
    {
        ktEvent::Init(kEventModeChanged, 0);
        mFrom = aFrom;
        mTo = aTo;
        mSample = aSample;
    }
    Mode From() const
    {
        return mFrom;
    }
    Mode To() const
    {
        return mTo;
    }
    Sample const& At() const
    {
        return mSample;
    }

private:
    Mode mFrom = Mode::kIdle;
    Mode mTo = Mode::kIdle;
    Sample mSample = {};
};

/// The house is to be otherwise.
class ComfortEvent : public ktEvent {
public:
    /// @param aUntil when it next changes, in seconds since 1970.
    void Init(Comfort const& aComfort, long long aUntil)
    {
        ktEvent::Init(kEventComfortChanged, 0);
        mComfort = aComfort;
        mUntil = aUntil;
    }
    Comfort const& What() const
    {
        return mComfort;
    }
    long long Until() const
    {
        return mUntil;
    }

private:
    Comfort mComfort;
    long long mUntil = 0;
};
