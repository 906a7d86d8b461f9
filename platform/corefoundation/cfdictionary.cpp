#include "cfdictionary.h"

#include <algorithm>

using Policy = __CFDictionary::Policy;

namespace {

constexpr UInt64 kMinCapacity = 4;

void const* CopyString(CFAllocatorRef aAllocator, void const* aString)
{
    return CFStringCreateCopy(aAllocator, static_cast<CFStringRef>(aString));
}

bool CanChange(CFDictionaryRef aDictionary)
{
    return aDictionary != nullptr && aDictionary->IsMutable();
}

void Put(CFMutableDictionaryRef aDictionary, void const* aKey, void const* aValue, Policy aPolicy)
{
    if (CanChange(aDictionary))
        aDictionary->Put(aKey, aValue, aPolicy);
}

}  // namespace

CFDictionaryKeyCallBacks const kCFTypeDictionaryKeyCallBacks = {
    0, cf::RetainObject, cf::ReleaseObject, CFCopyDescription, CFEqual, CFHash};
CFDictionaryValueCallBacks const kCFTypeDictionaryValueCallBacks = {0, cf::RetainObject, cf::ReleaseObject,
                                                                    CFCopyDescription, CFEqual};
CFDictionaryKeyCallBacks const kCFCopyStringDictionaryKeyCallBacks = {
    0, CopyString, cf::ReleaseObject, CFCopyDescription, CFEqual, CFHash};

// The stored dictionary.

__CFDictionary::__CFDictionary(cf::KeyRules const& aKeyRules, cf::ValueRules const& aValueRules)
    : Object(cf::kDictionary), mKeyRules(aKeyRules), mValueRules(aValueRules), mIsMutable(true), mShift(0), mCount(0),
      mCapacity(0), mPairs(nullptr)
{
}

__CFDictionary* __CFDictionary::Create(cf::KeyRules const& aKeyRules, cf::ValueRules const& aValueRules,
                                       CFIndex aCapacity)
{
    cf::Owned<__CFDictionary*> dictionary(cf::New<__CFDictionary>(aKeyRules, aValueRules));
    if (!dictionary || !dictionary.Get()->Reserve(static_cast<UInt64>(std::max<CFIndex>(aCapacity, 0))))
        return nullptr;
    return dictionary.Detach();
}

__CFDictionary* __CFDictionary::CreateForObjects()
{
    return Create(cf::KeyRules(&kCFTypeDictionaryKeyCallBacks), cf::ValueRules(&kCFTypeDictionaryValueCallBacks), 0);
}

__CFDictionary* __CFDictionary::CreateMutableCopy() const
{
    cf::Owned<__CFDictionary*> copy(Create(mKeyRules, mValueRules, Count()));
    for (Pair const& pair : *this) {
        if (!copy || !copy.Get()->Append(pair.mKey, pair.mValue, pair.mHash))
            return nullptr;
    }
    return copy.Detach();
}

__CFDictionary::Pair const* __CFDictionary::Find(void const* aKey) const
{
    return mCount != 0 ? Find(aKey, mKeyRules.Hash(aKey)) : nullptr;
}

bool __CFDictionary::Put(void const* aKey, void const* aValue, Policy aPolicy)
{
    const UInt32 hash = mKeyRules.Hash(aKey);
    Pair* const pair = Find(aKey, hash);
    if (pair != nullptr)
        return aPolicy == Policy::kAdd || ReplaceValue(*pair, aValue);
    return aPolicy == Policy::kReplace || Append(aKey, aValue, hash);
}

void __CFDictionary::Remove(void const* aKey)
{
    Pair const* const found = Find(aKey);
    if (found == nullptr)
        return;
    const Pair removed = *found;
    const UInt32 index = static_cast<UInt32>(found - mPairs);
    LinkTo(index) = removed.mNext;
    const UInt32 last = mCount - 1;
    if (index != last) {
        LinkTo(last) = index;
        mPairs[index] = mPairs[last];
    }
    mCount = last;
    mKeyRules.Drop(removed.mKey);  // last: it may run code that looks at this dictionary
    mValueRules.Drop(removed.mValue);
}

void __CFDictionary::RemoveAll()
{
    Pair* const pairs = std::exchange(mPairs, nullptr);
    const UInt32 count = std::exchange(mCount, 0);
    mCapacity = 0;
    for (UInt32 i = 0; i < count; ++i) {
        mKeyRules.Drop(pairs[i].mKey);
        mValueRules.Drop(pairs[i].mValue);
    }
    std::free(pairs);
}

bool __CFDictionary::Equals(Object const& aOther) const
{
    __CFDictionary const& other = static_cast<__CFDictionary const&>(aOther);
    return mCount == other.mCount && std::all_of(begin(), end(), [&](Pair const& aPair) {
               Pair const* const found = other.Find(aPair.mKey);
               return found != nullptr && mValueRules.AreEqual(aPair.mValue, found->mValue);
           });
}

CFHashCode __CFDictionary::Hash() const
{
    return mCount;
}

CFStringRef __CFDictionary::CopyDescription() const
{
    cf::Description text;
    text.Add("{");
    for (Pair const& pair : *this) {
        text.Add(&pair != mPairs ? "; " : "");
        mKeyRules.Describe(pair.mKey, text);
        text.Add(" = ");
        mValueRules.Describe(pair.mValue, text);
    }
    text.Add("}");
    return text.Take();
}

void __CFDictionary::Finalize()
{
    RemoveAll();
}

/// There is a block.
UInt32& __CFDictionary::ChainOf(UInt32 aHash) const
{
    UInt32* const chains = reinterpret_cast<UInt32*>(mPairs + mCapacity);
    // Multiplied because hashes of pointers and small numbers differ in few bits only.
    return chains[(aHash * UInt32{0x9e3779b1}) >> mShift];
}

__CFDictionary::Pair* __CFDictionary::Find(void const* aKey, UInt32 aHash) const
{
    if (mCount == 0)
        return nullptr;
    for (UInt32 i = ChainOf(aHash); i != kEnd; i = mPairs[i].mNext) {
        if (mPairs[i].mHash == aHash && mKeyRules.AreEqual(mPairs[i].mKey, aKey))
            return &mPairs[i];
    }
    return nullptr;
}

bool __CFDictionary::Append(void const* aKey, void const* aValue, UInt32 aHash)
{
    if (!Reserve(UInt64{mCount} + 1) || !mKeyRules.Keep(aKey))
        return false;
    if (!mValueRules.Keep(aValue)) {
        mKeyRules.Drop(aKey);
        return false;
    }
    UInt32& chain = ChainOf(aHash);
    mPairs[mCount] = {aKey, aValue, aHash, chain};
    chain = mCount++;
    return true;
}

bool __CFDictionary::ReplaceValue(Pair& aPair, void const* aValue)
{
    if (!mValueRules.Keep(aValue))
        return false;
    mValueRules.Drop(std::exchange(aPair.mValue, aValue));
    return true;
}

/// What says that the pair at `aIndex` comes next.
UInt32& __CFDictionary::LinkTo(UInt32 aIndex)
{
    UInt32* link = &ChainOf(mPairs[aIndex].mHash);
    while (*link != aIndex)
        link = &mPairs[*link].mNext;
    return *link;
}

bool __CFDictionary::Reserve(UInt64 aCount)
{
    if (aCount <= mCapacity)
        return true;
    UInt64 capacity = kMinCapacity;
    UInt8 shift = 30;
    for (; capacity < aCount && shift != 1; capacity *= 2)
        --shift;
    const UInt64 size = capacity * (sizeof(Pair) + sizeof(UInt32));
    if (capacity < aCount || size > PTRDIFF_MAX)
        return false;
    void* const block = std::realloc(mPairs, static_cast<std::size_t>(size));
    if (block == nullptr)
        return false;
    mPairs = static_cast<Pair*>(block);
    mCapacity = static_cast<UInt32>(capacity);
    mShift = shift;
    Rechain();
    return true;
}

void __CFDictionary::Rechain()
{
    std::fill_n(reinterpret_cast<UInt32*>(mPairs + mCapacity), mCapacity, kEnd);
    for (UInt32 i = 0; i < mCount; ++i) {
        UInt32& chain = ChainOf(mPairs[i].mHash);
        mPairs[i].mNext = std::exchange(chain, i);
    }
}

// Creation.

CFTypeID CFDictionaryGetTypeID()
{
    return cf::kDictionary;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef aAllocator, void const** aKeys, void const** aValues, CFIndex aCount,
                                   CFDictionaryKeyCallBacks const* aKeyCallBacks,
                                   CFDictionaryValueCallBacks const* aValueCallBacks)
{
    if (aCount < 0 || (aCount != 0 && (aKeys == nullptr || aValues == nullptr)))
        return nullptr;
    cf::Owned<CFMutableDictionaryRef> dictionary(
        CFDictionaryCreateMutable(aAllocator, aCount, aKeyCallBacks, aValueCallBacks));
    if (!dictionary)
        return nullptr;
    for (CFIndex i = 0; i < aCount; ++i) {
        if (!dictionary.Get()->Put(aKeys[i], aValues[i], Policy::kAdd))
            return nullptr;
    }
    dictionary.Get()->Freeze();
    return dictionary.Detach();
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef /*aAllocator*/, CFDictionaryRef aDictionary)
{
    if (!CanChange(aDictionary)) {
        CFRetain(aDictionary);
        return aDictionary;
    }
    __CFDictionary* const copy = aDictionary->CreateMutableCopy();
    if (copy != nullptr)
        copy->Freeze();
    return copy;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef /*aAllocator*/, CFIndex aCapacity,
                                                 CFDictionaryKeyCallBacks const* aKeyCallBacks,
                                                 CFDictionaryValueCallBacks const* aValueCallBacks)
{
    return __CFDictionary::Create(cf::KeyRules(aKeyCallBacks), cf::ValueRules(aValueCallBacks), aCapacity);
}

// Reading.

CFIndex CFDictionaryGetCount(CFDictionaryRef aDictionary)
{
    return aDictionary != nullptr ? aDictionary->Count() : 0;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef aDictionary, void const* aKey)
{
    return CFDictionaryGetValueIfPresent(aDictionary, aKey, nullptr);
}

void const* CFDictionaryGetValue(CFDictionaryRef aDictionary, void const* aKey)
{
    void const* value = nullptr;
    CFDictionaryGetValueIfPresent(aDictionary, aKey, &value);
    return value;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef aDictionary, void const* aKey, void const** aValue)
{
    __CFDictionary::Pair const* const pair = aDictionary != nullptr ? aDictionary->Find(aKey) : nullptr;
    if (pair != nullptr && aValue != nullptr)
        *aValue = pair->mValue;
    return pair != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef aDictionary, void const** aKeys, void const** aValues)
{
    if (aDictionary == nullptr)
        return;
    for (__CFDictionary::Pair const& pair : *aDictionary) {
        if (aKeys != nullptr)
            *aKeys++ = pair.mKey;
        if (aValues != nullptr)
            *aValues++ = pair.mValue;
    }
}

// Changing.

void CFDictionaryAddValue(CFMutableDictionaryRef aDictionary, void const* aKey, void const* aValue)
{
    Put(aDictionary, aKey, aValue, Policy::kAdd);
}

void CFDictionarySetValue(CFMutableDictionaryRef aDictionary, void const* aKey, void const* aValue)
{
    Put(aDictionary, aKey, aValue, Policy::kSet);
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef aDictionary, void const* aKey, void const* aValue)
{
    Put(aDictionary, aKey, aValue, Policy::kReplace);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef aDictionary, void const* aKey)
{
    if (CanChange(aDictionary))
        aDictionary->Remove(aKey);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef aDictionary)
{
    if (CanChange(aDictionary))
        aDictionary->RemoveAll();
}
