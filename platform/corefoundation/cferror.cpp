#include "CoreFoundation/CFError.h"

#include <cstdio>

#include "cfdescription.h"

CF_CONSTANT_STRING(kCFErrorLocalizedDescriptionKey, "NSLocalizedDescription");

struct __CFError final : cf::Object {
    /// Takes both references over.
    __CFError(CFStringRef aDomain, CFIndex aCode, CFDictionaryRef aUserInfo)
        : Object(cf::kError), mDomain(aDomain), mCode(aCode), mUserInfo(aUserInfo)
    {
    }

    bool Equals(Object const& aOther) const override
    {
        __CFError const& other = static_cast<__CFError const&>(aOther);
        return mCode == other.mCode && CFEqual(mDomain, other.mDomain) && CFEqual(mUserInfo, other.mUserInfo);
    }
    CFHashCode Hash() const override
    {
        return CFHash(mDomain) + static_cast<CFHashCode>(mCode);
    }
    CFStringRef CopyDescription() const override;

    CFStringRef const mDomain;
    const CFIndex mCode;
    CFDictionaryRef const mUserInfo;  ///< null for none

private:
    void Finalize() override
    {
        CFRelease(mDomain);
        CFRelease(mUserInfo);
    }
};

CFStringRef __CFError::CopyDescription() const
{
    void const* const sentence = CFDictionaryGetValue(mUserInfo, kCFErrorLocalizedDescriptionKey);
    if (CFGetTypeID(sentence) == CFStringGetTypeID())
        return CFStringCreateCopy(kCFAllocatorDefault, static_cast<CFStringRef>(sentence));
    char code[32];
    std::snprintf(code, sizeof code, " error %ld", mCode);
    cf::Description text;
    text.Add(mDomain);
    text.Add(code);
    return text.Take();
}

CFTypeID CFErrorGetTypeID()
{
    return cf::kError;
}

CFErrorRef CFErrorCreate(CFAllocatorRef aAllocator, CFStringRef aDomain, CFIndex aCode, CFDictionaryRef aUserInfo)
{
    cf::Owned<CFStringRef> domain(CFStringCreateCopy(aAllocator, aDomain));
    cf::Owned<CFDictionaryRef> userInfo(CFDictionaryCreateCopy(aAllocator, aUserInfo));
    if (!domain || (aUserInfo != nullptr && !userInfo))
        return nullptr;
    __CFError* const error = cf::New<__CFError>(domain.Get(), aCode, userInfo.Get());
    if (error != nullptr) {
        domain.Detach();
        userInfo.Detach();
    }
    return error;
}

CFStringRef CFErrorGetDomain(CFErrorRef aError)
{
    return aError != nullptr ? aError->mDomain : nullptr;
}

CFIndex CFErrorGetCode(CFErrorRef aError)
{
    return aError != nullptr ? aError->mCode : 0;
}

CFStringRef CFErrorCopyDescription(CFErrorRef aError)
{
    return CFCopyDescription(aError);
}
