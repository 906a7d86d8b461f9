/// @file
/// How a string is made for an array.
#pragma once

#include <new>

#include "ktarray.h"

/// Appends a new string, which `aFill` gives its text; what cannot be appended is deleted again.
template <typename String, typename Fill>
ktError ktAppendNew(ktStringArray& aArray, Fill aFill)
{
    String* const string = new (std::nothrow) String;
    if (string == nullptr)
        return kErrNoMemory;
    ktError result = aFill(*string);
    if (result == kErrNone)
        result = aArray.Append(string);
    if (result != kErrNone)
        delete string;
    return result;
}
