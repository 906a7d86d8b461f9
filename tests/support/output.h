/// @file
/// Takes what the process would write to descriptor 2 and to syslog.
#pragma once

#include <string>
#include <vector>

/// Stands in front of `write` and `syslog` while it lives. One at a time; any thread may write.
class OutputTap {
public:
    OutputTap();
    ~OutputTap();
    OutputTap(OutputTap const&) = delete;
    OutputTap& operator=(OutputTap const&) = delete;

    /// How the next writes to descriptor 2 end: 0 or more takes that many bytes, less fails with that error number,
    /// negated. Writes behind the last take everything.
    void Plan(std::vector<int> aOutcomes);

    /// Everything that was taken from descriptor 2.
    std::string Text() const;
    /// Writes to descriptor 2, failed ones too.
    int Writes() const;
    /// The messages that went to syslog.
    std::vector<std::string> Reports() const;
};
