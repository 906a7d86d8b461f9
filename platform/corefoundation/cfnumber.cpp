#include "cfnumber.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "cfobject.h"
#include "cfstringobject.h"

namespace {

/// 2^63: the first number above SInt64, which double has exactly.
constexpr double kAboveInt64 = 9223372036854775808.0;

/// The nearest integer towards zero; 0 for what is not a number.
SInt64 ToInt64(double aValue)
{
    if (std::isnan(aValue))
        return 0;
    if (aValue >= kAboveInt64)
        return INT64_MAX;
    return aValue >= -kAboveInt64 ? static_cast<SInt64>(aValue) : INT64_MIN;
}

/// Whether both are the same number. Through double alone large integers would equal their neighbours.
bool AreEqual(SInt64 aInteger, double aDouble)
{
    return aDouble < kAboveInt64 && static_cast<double>(aInteger) == aDouble && ToInt64(aDouble) == aInteger;
}

}  // namespace

CFHashCode cf::HashNumber(double aValue)
{
    const UInt64 integer = static_cast<UInt64>(ToInt64(aValue));
    return static_cast<CFHashCode>(integer ^ (integer >> 32));
}

void cf::PrintNumber(double aValue, char* aOut)
{
    for (int precision = 15; precision <= 17; ++precision) {
        char* const end =
            std::to_chars(aOut, aOut + kNumberSize - 1, aValue, std::chars_format::general, precision).ptr;
        *end = '\0';
        double readBack = 0;
        std::from_chars(aOut, end, readBack);
        if (readBack == aValue)
            return;
    }
}

struct __CFBoolean final : cf::Object {
    constexpr explicit __CFBoolean(bool aValue) : Object(cf::kBoolean, kConstant), mValue(aValue)
    {
    }

    CFHashCode Hash() const override
    {
        return mValue;
    }
    CFStringRef CopyDescription() const override
    {
        return CFStringCreateWithCString(kCFAllocatorDefault, mValue ? "true" : "false", kCFStringEncodingASCII);
    }

    const bool mValue;
};

/// A number, and what is nearest to it of the other kind.
struct __CFNumber final : cf::Object {
    explicit __CFNumber(SInt64 aValue)
        : Object(cf::kNumber), mIsFloat(false), mInteger(aValue), mDouble(static_cast<double>(aValue))
    {
    }
    explicit __CFNumber(double aValue) : Object(cf::kNumber), mIsFloat(true), mInteger(ToInt64(aValue)), mDouble(aValue)
    {
    }

    bool Is(SInt64 aValue) const
    {
        return mIsFloat ? AreEqual(aValue, mDouble) : mInteger == aValue;
    }
    bool Is(double aValue) const
    {
        if (!mIsFloat)
            return AreEqual(mInteger, aValue);
        return mDouble == aValue || (std::isnan(mDouble) && std::isnan(aValue));
    }

    bool Equals(Object const& aOther) const override
    {
        __CFNumber const& other = static_cast<__CFNumber const&>(aOther);
        return other.mIsFloat ? Is(other.mDouble) : Is(other.mInteger);
    }
    CFHashCode Hash() const override
    {
        return cf::HashNumber(mDouble);
    }
    CFStringRef CopyDescription() const override;

    const bool mIsFloat;
    const SInt64 mInteger;
    const double mDouble;
};

CFStringRef __CFNumber::CopyDescription() const
{
    char text[cf::kNumberSize];
    if (mIsFloat)
        cf::PrintNumber(mDouble, text);
    else
        std::snprintf(text, sizeof text, "%lld", static_cast<long long>(mInteger));
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingASCII);
}

static __CFBoolean sTrue(true);
static __CFBoolean sFalse(false);
CFBooleanRef const kCFBooleanTrue = &sTrue;
CFBooleanRef const kCFBooleanFalse = &sFalse;

CFTypeID CFBooleanGetTypeID()
{
    return cf::kBoolean;
}

Boolean CFBooleanGetValue(CFBooleanRef aBoolean)
{
    return aBoolean != nullptr && aBoolean->mValue;
}

CFTypeID CFNumberGetTypeID()
{
    return cf::kNumber;
}

CFNumberRef CFNumberCreate(CFAllocatorRef /*aAllocator*/, CFNumberType aType, void const* aValue)
{
    if (aValue == nullptr)
        return nullptr;
    switch (aType) {
    case kCFNumberSInt32Type:
        return cf::New<__CFNumber>(SInt64{*static_cast<SInt32 const*>(aValue)});
    case kCFNumberSInt64Type:
        return cf::New<__CFNumber>(*static_cast<SInt64 const*>(aValue));
    case kCFNumberDoubleType:
        return cf::New<__CFNumber>(*static_cast<double const*>(aValue));
    }
    return nullptr;
}

Boolean CFNumberIsFloatType(CFNumberRef aNumber)
{
    return aNumber != nullptr && aNumber->mIsFloat;
}

Boolean CFNumberGetValue(CFNumberRef aNumber, CFNumberType aType, void* aValue)
{
    if (aNumber == nullptr || aValue == nullptr)
        return false;
    if (aType == kCFNumberDoubleType) {
        *static_cast<double*>(aValue) = aNumber->mDouble;
        return aNumber->Is(aNumber->mDouble);
    }
    const SInt64 integer = aNumber->mInteger;
    if (aType == kCFNumberSInt64Type) {
        *static_cast<SInt64*>(aValue) = integer;
        return aNumber->Is(integer);
    }
    if (aType != kCFNumberSInt32Type)
        return false;
    const SInt64 narrowed = std::clamp<SInt64>(integer, INT32_MIN, INT32_MAX);
    *static_cast<SInt32*>(aValue) = static_cast<SInt32>(narrowed);
    return aNumber->Is(narrowed);
}
