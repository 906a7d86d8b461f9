/// @file
/// A holder of one reference on a CoreFoundation object.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

/// Holds one reference on a `T`, such as a `CFStringRef`, or nothing.
///
/// One thread at a time. It does not take over a reference that the caller has from a Create function: the caller
/// releases that one.
template <typename T>
class CFUSharedRef {
public:
    /// Holds nothing.
    CFUSharedRef() : mRef(nullptr)
    {
    }
    /// Takes a reference on `aRef`; null holds nothing.
    CFUSharedRef(T aRef) : mRef(aRef)
    {
        Retain();
    }
    CFUSharedRef(CFUSharedRef const& aOther) : mRef(aOther.mRef)
    {
        Retain();
    }
    ~CFUSharedRef()
    {
        Release();
    }

    CFUSharedRef& operator=(CFUSharedRef const& aOther)
    {
        aOther.Retain();  // first, so that assigning to itself is safe
        Release();
        mRef = aOther.mRef;
        return *this;
    }

    /// What is held, without a reference for the caller; null when nothing is.
    T Get() const
    {
        return mRef;
    }

private:
    void Retain() const
    {
        if (mRef != nullptr)
            CFRetain(mRef);
    }
    void Release() const
    {
        if (mRef != nullptr)
            CFRelease(mRef);
    }

    T mRef;
};
