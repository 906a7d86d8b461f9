/// @file
/// What the command line asks for.
#pragma once

#include <string>
#include <vector>

struct Options {
    std::string mInput;                 ///< the trace
    std::string mConfig;                ///< the configuration file
    std::string mState = "hvac_state";  ///< the folder of what is kept from run to run
    std::string mZone;                  ///< the time zone; empty for the machine's own
    std::vector<std::string> mChanges;  ///< KEY=VALUE, each a change of the user's
    double mSpeed = 20160;              ///< times faster than life: a week in half a minute
    bool mHold = false;                 ///< stay when the trace has ended, until a signal comes
    bool mWantHelp = false;             ///< print the usage and do nothing
};

extern char const kUsage[];

/// @return false when the command line cannot be followed; `aFault` then says why, in one line.
bool ParseOptions(int aCount, char* aArguments[], Options& aOptions, std::string& aFault);
