/// @file
/// How dictionaries are stored.
#pragma once

#include "cfvaluerules.h"

/// A dictionary: a hash table whose pairs lie one behind the other, chained by their indices, with the first index of
/// each chain behind them in the same block. There are as many chains as the block has room for pairs.
struct __CFDictionary final : cf::Object {
    struct Pair {
        void const* mKey;
        void const* mValue;
        UInt32 mHash;  ///< of the key, so that growing asks nobody
        UInt32 mNext;  ///< in the chain
    };
    /// What Put() does with a key that is there, and with one that is not.
    enum class Policy { kAdd, kSet, kReplace };

    __CFDictionary(cf::KeyRules const& aKeyRules, cf::ValueRules const& aValueRules);

    /// Empty, with room for `aCapacity` pairs. Null when there is no memory.
    static __CFDictionary* Create(cf::KeyRules const& aKeyRules, cf::ValueRules const& aValueRules, CFIndex aCapacity);
    /// For keys and values that are objects.
    static __CFDictionary* CreateForObjects();
    __CFDictionary* CreateMutableCopy() const;

    CFIndex Count() const
    {
        return static_cast<CFIndex>(mCount);
    }
    Pair const* begin() const
    {
        return mPairs;
    }
    Pair const* end() const
    {
        return mPairs + mCount;
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

    /// Null when there is no such key.
    Pair const* Find(void const* aKey) const;
    /// @return false when there is no memory; nothing has changed then.
    bool Put(void const* aKey, void const* aValue, Policy aPolicy);
    void Remove(void const* aKey);
    void RemoveAll();

    bool Equals(cf::Object const& aOther) const override;
    CFHashCode Hash() const override;
    CFStringRef CopyDescription() const override;

private:
    static constexpr UInt32 kEnd = 0xffffffff;  ///< of a chain

    void Finalize() override;
    UInt32& ChainOf(UInt32 aHash) const;
    Pair* Find(void const* aKey, UInt32 aHash) const;
    bool Append(void const* aKey, void const* aValue, UInt32 aHash);
    bool ReplaceValue(Pair& aPair, void const* aValue);
    UInt32& LinkTo(UInt32 aIndex);
    bool Reserve(UInt64 aCount);
    void Rechain();

    const cf::KeyRules mKeyRules;
    const cf::ValueRules mValueRules;
    bool mIsMutable;
    UInt8 mShift;  ///< how far a scattered hash goes down to number a chain
    UInt32 mCount;
    UInt32 mCapacity;  ///< of the block: a power of two, or 0 without a block
    Pair* mPairs;
};
