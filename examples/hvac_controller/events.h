/// @file
/// The events that the application's threads post to each other: family 0x40.
#pragma once

#include <ktevent.h>

#include "trace.h"

constexpr unsigned int kEventSample = 0x30400001;        ///< SampleEvent, from the sensor to the controller
constexpr unsigned int kEventTraceEnded = 0x30400002;    ///< ktEvent, from the sensor to the main loop
constexpr unsigned int kEventStatusWanted = 0x30400003;  ///< ktEvent, value: the day, from 1; to the main loop

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
