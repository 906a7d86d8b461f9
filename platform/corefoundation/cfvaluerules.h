/// @file
/// What collections do with what they hold.
#pragma once

#include <cstdio>

#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFDictionary.h"
#include "cfdescription.h"

namespace cf {

/// The callbacks that every kind of collection has, as one type.
class ValueRules {
public:
    /// @param aCallBacks null for values that are not objects.
    template <typename CallBacks>
    explicit ValueRules(CallBacks const* aCallBacks)
    {
        if (aCallBacks == nullptr)
            return;
        mRetain = aCallBacks->retain;
        mRelease = aCallBacks->release;
        mCopyDescription = aCallBacks->copyDescription;
        mEqual = aCallBacks->equal;
    }

    /// Puts what the collection keeps for `aValue` in its place. @return false when that could not be had.
    bool Keep(void const*& aValue) const
    {
        if (mRetain == nullptr || aValue == nullptr)
            return true;
        aValue = mRetain(kCFAllocatorDefault, aValue);
        return aValue != nullptr;
    }

    void Drop(void const* aValue) const
    {
        if (mRelease != nullptr && aValue != nullptr)
            mRelease(kCFAllocatorDefault, aValue);
    }

    bool AreEqual(void const* aFirst, void const* aSecond) const
    {
        return aFirst == aSecond || (mEqual != nullptr && mEqual(aFirst, aSecond));
    }

    void Describe(void const* aValue, Description& aDescription) const
    {
        if (mCopyDescription != nullptr && aValue != nullptr) {
            const Owned<CFStringRef> text(mCopyDescription(aValue));
            aDescription.Add(text.Get());
            return;
        }
        char address[32];
        std::snprintf(address, sizeof address, "<%p>", aValue);
        aDescription.Add(address);
    }

private:
    CFArrayRetainCallBack mRetain = nullptr;
    CFArrayReleaseCallBack mRelease = nullptr;
    CFArrayCopyDescriptionCallBack mCopyDescription = nullptr;
    CFArrayEqualCallBack mEqual = nullptr;
};

/// The same for the keys of a dictionary, with a hash that fits into a pair.
class KeyRules : public ValueRules {
public:
    explicit KeyRules(CFDictionaryKeyCallBacks const* aCallBacks)
        : ValueRules(aCallBacks), mHash(aCallBacks != nullptr ? aCallBacks->hash : nullptr)
    {
    }

    UInt32 Hash(void const* aKey) const
    {
        const UInt64 hash = mHash != nullptr ? mHash(aKey) : reinterpret_cast<CFHashCode>(aKey);
        return static_cast<UInt32>(hash ^ (hash >> 32));
    }

private:
    CFDictionaryHashCallBack mHash;
};

/// The callbacks for values that are objects.
inline void const* RetainObject(CFAllocatorRef /*aAllocator*/, void const* aObject)
{
    return CFRetain(aObject);
}

inline void ReleaseObject(CFAllocatorRef /*aAllocator*/, void const* aObject)
{
    CFRelease(aObject);
}

}  // namespace cf
