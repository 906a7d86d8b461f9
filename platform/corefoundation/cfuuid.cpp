#include "CoreFoundation/CFUUID.h"

#include <uuid/uuid.h>

#include <cstring>

#include "cfstringobject.h"

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
    char text[UUID_STR_LEN];
    CFUUIDBytes bytes = {};
    const bool isRead = CFStringGetCString(aText, text, sizeof text, kCFStringEncodingASCII) != 0 &&
                        uuid_parse(text, reinterpret_cast<UInt8*>(&bytes)) == 0;
    return isRead ? CFUUIDCreateFromUUIDBytes(aAllocator, bytes) : nullptr;
}

CFStringRef CFUUIDCreateString(CFAllocatorRef aAllocator, CFUUIDRef aUuid)
{
    char text[UUID_STR_LEN];
    if (aUuid == nullptr)
        return nullptr;
    uuid_unparse_upper(reinterpret_cast<UInt8 const*>(&aUuid->mBytes), text);
    return CFStringCreateWithCString(aAllocator, text, kCFStringEncodingASCII);
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef aUuid)
{
    return aUuid != nullptr ? aUuid->mBytes : CFUUIDBytes{};
}
