/// @file
/// Takes what the process would write to a descriptor and to syslog.
#pragma once

#include <string>
#include <vector>

/// Stands in front of `write` and `syslog` while it lives. One at a time; any thread may write.
struct OutputTap {
    OutputTap();
    ~OutputTap();
    bool Has(std::string const& aText) const;

    int mDescriptor = 2;                ///< which one
    std::string mText;                  ///< everything that was taken from it
    int mWrites = 0;                    ///< writes to it, failed ones too
    std::vector<std::string> mReports;  ///< the messages that went to syslog
    /// How the next writes to it end: 0 or more takes that many bytes, less fails with that error number,
    /// negated. Writes behind the last take everything.
    std::vector<int> mPlan;
};
