/// @file
/// A guard for references that CoreFoundation's Create and Copy functions hand out.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

/// Owns one reference, or nothing, and releases it at the end of its scope.
template <typename Ref>
class ktCFOwned {
public:
    explicit ktCFOwned(Ref aRef) : mRef(aRef)
    {
    }
    ktCFOwned(ktCFOwned const&) = delete;
    ktCFOwned& operator=(ktCFOwned const&) = delete;
    ~ktCFOwned()
    {
        if (mRef != nullptr)
            CFRelease(mRef);
    }

    Ref Get() const
    {
        return mRef;
    }
    explicit operator bool() const
    {
        return mRef != nullptr;
    }

private:
    Ref mRef;
};
