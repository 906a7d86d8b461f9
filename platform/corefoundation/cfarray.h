/// @file
/// How arrays are stored.
#pragma once

#include "cfvaluerules.h"

/// An array: its values in one block of their own.
struct __CFArray final : cf::Object {
    explicit __CFArray(cf::ValueRules const& aRules);

    /// With `aCount` values, room for `aCapacity`, and still open to changes. Null when there is no memory.
    static __CFArray* Create(cf::ValueRules const& aRules, CFIndex aCapacity, void const* const* aValues,
                             CFIndex aCount);

    CFIndex Count() const
    {
        return mCount;
    }
    void const** Values() const
    {
        return mValues;
    }
    cf::ValueRules const& Rules() const
    {
        return mRules;
    }
    bool IsMutable() const
    {
        return mIsMutable;
    }
    /// From here on nothing changes it.
    void Freeze()
    {
        mIsMutable = false;
    }

    /// `aIndex` is at most the count. @return false when there is no memory; nothing has changed then.
    bool Insert(CFIndex aIndex, void const* aValue);
    /// `aIndex` is below the count, here and below.
    void Replace(CFIndex aIndex, void const* aValue);
    void Remove(CFIndex aIndex);
    void RemoveAll();

    bool Equals(cf::Object const& aOther) const override;
    CFHashCode Hash() const override;
    CFStringRef CopyDescription() const override;

private:
    void Finalize() override;
    bool Reserve(CFIndex aCount);
    bool Append(void const* const* aValues, CFIndex aCount);

    const cf::ValueRules mRules;
    bool mIsMutable;
    void const** mValues;
    CFIndex mCount;
    CFIndex mCapacity;
};
