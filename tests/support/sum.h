/// @file
/// Results added up.
#pragma once

#include <initializer_list>

/// Asks for the results from left to right, which operands of a plus do not promise.
inline int Sum(std::initializer_list<int> aResults)
{
    int sum = 0;
    for (const int result : aResults)
        sum += result;
    return sum;
}
