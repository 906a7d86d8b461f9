#include "cfdata.h"

#include <algorithm>
#include <climits>
#include <cstdio>

#include "cfdescription.h"

__CFData::__CFData(CFIndex aCount) : Object(cf::kData), mCount(aCount)
{
}

__CFData* __CFData::Create(CFIndex aCount)
{
    if (aCount < 0 || aCount > LONG_MAX / 2)
        return nullptr;
    return cf::NewWithExtra<__CFData>(static_cast<std::size_t>(aCount), aCount);
}

bool __CFData::Equals(Object const& aOther) const
{
    __CFData const& other = static_cast<__CFData const&>(aOther);
    return std::equal(Bytes(), Bytes() + mCount, other.Bytes(), other.Bytes() + other.mCount);
}

CFHashCode __CFData::Hash() const
{
    // The start tells most data apart, and a hash must not cost what a long one does.
    UInt32 hash = static_cast<UInt32>(mCount);
    std::for_each_n(Bytes(), std::min<CFIndex>(mCount, 64), [&hash](UInt8 aByte) { hash = hash * 31 + aByte; });
    return hash;
}

CFStringRef __CFData::CopyDescription() const
{
    cf::Description text;
    text.Add("<");
    for (CFIndex i = 0; i < mCount; ++i) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%s%02x", i != 0 && i % 4 == 0 ? " " : "", unsigned{Bytes()[i]});
        text.Add(digits);
    }
    text.Add(">");
    return text.Take();
}

CFTypeID CFDataGetTypeID()
{
    return cf::kData;
}

CFDataRef CFDataCreate(CFAllocatorRef /*aAllocator*/, UInt8 const* aBytes, CFIndex aCount)
{
    if (aBytes == nullptr && aCount != 0)
        return nullptr;
    __CFData* const data = __CFData::Create(aCount);
    if (data != nullptr)
        std::copy_n(aBytes, aCount, data->Bytes());
    return data;
}

CFIndex CFDataGetLength(CFDataRef aData)
{
    return aData != nullptr ? aData->Count() : 0;
}

UInt8 const* CFDataGetBytePtr(CFDataRef aData)
{
    return aData != nullptr ? aData->Bytes() : nullptr;
}
