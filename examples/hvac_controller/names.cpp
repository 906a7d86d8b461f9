#include "names.h"

namespace {

struct ModeName {
    Mode mMode;
    CFStringRef mName;
};

}  // namespace

ktError Names::Init()
{
    const ModeName modes[] = {
        {Mode::kIdle, CFSTR("idle")}, {Mode::kHeating, CFSTR("heating")}, {Mode::kCooling, CFSTR("cooling")}};
    const ktString sensors("indoor outdoor");
    ktError result = sensors.ComponentsSeparatedByWords(mSensors, false);
    if (result == kErrNone && mSensors.GetNumElements() != kSensorCount)
        result = kErrNoMemory;
    for (ModeName const& mode : modes) {
        if (result == kErrNone)
            result = mModes.AppendAndCopyWithIndex(static_cast<int>(mode.mMode), mode.mName);
    }
    return result;
}

char const* Names::Of(SensorIndex aSensor) const
{
    return mSensors.GetElement(aSensor)->GetAsUTFArray();
}

char const* Names::Of(Mode aMode) const
{
    return mModes.GetElementByIndex(static_cast<int>(aMode))->GetAsUTFArray();
}
