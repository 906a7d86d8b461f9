#include "preferences.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include "printable.h"

namespace {

/// What the user may change, by the end of the key.
struct Range {
    char const* mKeyEnd;
    double mLeast;
    double mMost;
};

constexpr Range kRanges[] = {{"hysteresis", 0.1, 5}, {".heat_to", 5, 35}, {".cool_to", 5, 35}};

Range const* RangeOf(std::string const& aKey)
{
    for (Range const& range : kRanges) {
        const std::size_t length = std::strlen(range.mKeyEnd);
        if (aKey.size() >= length && aKey.compare(aKey.size() - length, length, range.mKeyEnd) == 0)
            return &range;
    }
    return nullptr;
}

bool ParseNumber(char const* aText, double& aValue)
{
    char const* const end = aText + std::strlen(aText);
    const auto parsed = std::from_chars(aText, end, aValue);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

/// @return false with a fault when the text is no number that the key can have.
bool ParseInRange(std::string const& aKey, char const* aText, double& aValue, std::string& aFault)
{
    Range const* const range = RangeOf(aKey);
    if (range != nullptr && ParseNumber(aText, aValue) && aValue >= range->mLeast && aValue <= range->mMost)
        return true;
    char fault[200];
    if (range == nullptr)
        std::snprintf(fault, sizeof fault, "'%.60s' is not for the user to change", aKey.c_str());
    else
        std::snprintf(fault, sizeof fault, "'%.60s' wants a number from %g to %g, not '%.40s'", aKey.c_str(),
                      range->mLeast, range->mMost, aText);
    aFault = Printable(fault);
    return false;
}

}  // namespace

bool Preferences::Load(Options const& aOptions, std::string& aFault)
{
    ktError result = mConfig.Init();
    if (result == kErrNone)
        result = mConfig.AddConfig(aOptions.mConfig.c_str());
    if (result != kErrNone) {
        aFault =
            Printable(aOptions.mConfig) + ": cannot be read as a configuration (error " + std::to_string(result) + ")";
        return false;
    }
    mSettings.Init((aOptions.mState + "/settings.xml").c_str());  // which says what it cannot read
    for (std::string const& change : aOptions.mChanges) {
        if (!Change(change, aFault))
            return false;
    }
    return true;
}

bool Preferences::Save(std::string& aFault)
{
    const ktError result = mSettings.Write();
    if (result != kErrNone)
        aFault = "cannot keep the settings (error " + std::to_string(result) + ")";
    return result == kErrNone;
}

char const* Preferences::Text(std::string const& aKey) const
{
    char const* const changed = mSettings.GetValue(aKey.c_str());
    return changed != nullptr ? changed : mConfig.GetValue(aKey.c_str());
}

bool Preferences::Number(std::string const& aKey, double& aValue, std::string& aFault) const
{
    char const* const text = Text(aKey);
    if (text != nullptr)
        return ParseInRange(aKey, text, aValue, aFault);
    aFault = "nothing says what '" + Printable(aKey) + "' is";
    return false;
}

bool Preferences::Change(std::string const& aChange, std::string& aFault)
{
    const std::size_t equals = aChange.find('=');
    const std::string key = aChange.substr(0, equals);
    if (equals == std::string::npos || !mConfig.HasValue(key.c_str())) {
        aFault = "--set wants KEY=VALUE with a key of the configuration, not '" + Printable(aChange) + "'";
        return false;
    }
    char const* const text = aChange.c_str() + equals + 1;
    double value = 0;
    if (!ParseInRange(key, text, value, aFault))
        return false;
    if (mSettings.SetValue(key.c_str(), text) == kErrNone)
        return true;
    aFault = "cannot change '" + Printable(key) + "'";
    return false;
}
