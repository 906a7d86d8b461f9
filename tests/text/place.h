/// @file
/// A process in a zone at a time.
#pragma once

#include <string>

/// Puts the process into a zone, and its clock to a time; both are put back. One at a time.
struct Place {
    explicit Place(std::string const& aZone, long long aNow = 1700000000);
    ~Place();
    void SetNow(long long aNow);
};
