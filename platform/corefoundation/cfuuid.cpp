#include "CoreFoundation/CFUUID.h"

#include <uuid/uuid.h>

#include <cstring>

#include "cfstringobject.h"

namespace {

constexpr int kTextLength = 36;

bool HasHyphenAt(int aIndex)
{
    return aIndex == 8 || aIndex == 13 || aIndex == 18 || aIndex == 23;
}

/// -1 for what is not a hexadecimal digit.
int DigitOf(UniChar aUnit)
{
    if (aUnit >= '0' && aUnit <= '9')
        return aUnit - '0';
    const int letter = aUnit | 0x20;
    return aUnit < 0x80 && letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

}  // namespace

struct __CFUUID final : cf::Object {
    explicit __CFUUID(CFUUIDBytes const& aBytes) : Object(cf::kUuid), mBytes(aBytes)
    {
    }

    bool Equals(Object const& aOther) const override
    {
        return std::memcmp(&mBytes, &static_cast<__CFUUID const&>(aOther).mBytes, sizeof mBytes) == 0;
    }
    CFHashCode Hash() const override
    {
        CFHashCode hash = 0;
        for (std::size_t i = 0; i < sizeof mBytes; ++i)
            hash = hash * 31 + reinterpret_cast<UInt8 const*>(&mBytes)[i];
        return hash;
    }
    CFStringRef CopyDescription() const override
    {
        return CFUUIDCreateString(kCFAllocatorDefault, this);
    }

    const CFUUIDBytes mBytes;
};

CFTypeID CFUUIDGetTypeID()
{
    return cf::kUuid;
}

CFUUIDRef CFUUIDCreate(CFAllocatorRef aAllocator)
{
    CFUUIDBytes bytes = {};
    uuid_generate_random(reinterpret_cast<UInt8*>(&bytes));
    return CFUUIDCreateFromUUIDBytes(aAllocator, bytes);
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef /*aAllocator*/, CFUUIDBytes aBytes)
{
    return cf::New<__CFUUID>(aBytes);
}

CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef aAllocator, CFStringRef aText)
{
    const cf::Text text = cf::TextOf(aText);
    if (text.mLength != kTextLength)
        return nullptr;
    CFUUIDBytes bytes = {};
    int digits = 0;
    for (int i = 0; i < kTextLength; ++i) {
        if (HasHyphenAt(i) && text.At(i) == '-')
            continue;
        const int digit = HasHyphenAt(i) ? -1 : DigitOf(text.At(i));
        if (digit < 0)
            return nullptr;
        UInt8& byte = reinterpret_cast<UInt8*>(&bytes)[digits++ / 2];
        byte = static_cast<UInt8>(byte * 16 + digit);
    }
    return CFUUIDCreateFromUUIDBytes(aAllocator, bytes);
}

CFStringRef CFUUIDCreateString(CFAllocatorRef aAllocator, CFUUIDRef aUuid)
{
    if (aUuid == nullptr)
        return nullptr;
    char text[kTextLength + 1] = "";
    UInt8 const* const bytes = reinterpret_cast<UInt8 const*>(&aUuid->mBytes);
    int digits = 0;
    for (int i = 0; i < kTextLength; ++i) {
        const int byte = bytes[digits / 2];
        text[i] = HasHyphenAt(i) ? '-' : "0123456789ABCDEF"[digits++ % 2 == 0 ? byte / 16 : byte % 16];
    }
    return CFStringCreateWithCString(aAllocator, text, kCFStringEncodingASCII);
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef aUuid)
{
    return aUuid != nullptr ? aUuid->mBytes : CFUUIDBytes{};
}
