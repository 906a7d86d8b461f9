/// @file
/// Texts in messages.
#pragma once

#include <string>

/// A text without what would break a line or speak to a terminal.
std::string Printable(std::string aText);

/// A time, in seconds since 1970, as the people in the house know it: "May 4, 06:30".
std::string LocalTime(long long aTime);
