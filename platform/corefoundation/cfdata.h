/// @file
/// How data is stored.
#pragma once

#include "CoreFoundation/CFData.h"
#include "cfobject.h"

/// Data: its bytes behind the object.
struct __CFData final : cf::Object {
    explicit __CFData(CFIndex aCount);

    /// Bytes for the caller to write before anybody else sees them. Null when there is no memory.
    static __CFData* Create(CFIndex aCount);

    CFIndex Count() const
    {
        return mCount;
    }
    UInt8* Bytes() const
    {
        return const_cast<UInt8*>(reinterpret_cast<UInt8 const*>(this + 1));
    }

    bool Equals(cf::Object const& aOther) const override;
    CFHashCode Hash() const override;
    CFStringRef CopyDescription() const override;

private:
    const CFIndex mCount;
};
