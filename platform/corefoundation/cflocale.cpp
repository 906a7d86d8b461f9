#include "CoreFoundation/CFLocale.h"

#include <unicode/uloc.h>

#include <atomic>
#include <cstring>

#include "cfstringobject.h"

CF_CONSTANT_STRING(kCFLocaleIdentifier, "locale:id");
CF_CONSTANT_STRING(kCFLocaleLanguageCode, "locale:language code");
CF_CONSTANT_STRING(kCFLocaleCountryCode, "locale:country code");
CF_CONSTANT_STRING(kCFLocaleScriptCode, "locale:script code");
CF_CONSTANT_STRING(kCFLocaleVariantCode, "locale:variant code");

namespace {

constexpr int kMaxName = 512;  ///< units of the longest name that is asked for

/// How ICU takes a property out of an identifier, and what it calls a value that stands behind `mPrefix`.
struct Property {
    CFLocaleKey const& mKey;
    char const* mPrefix;
    int32_t (*mGet)(char const*, char*, int32_t, UErrorCode*);
    int32_t (*mGetName)(char const*, char const*, UChar*, int32_t, UErrorCode*);
};

const Property kProperties[] = {
    {kCFLocaleLanguageCode, "", uloc_getLanguage, uloc_getDisplayLanguage},
    {kCFLocaleCountryCode, "und_", uloc_getCountry, uloc_getDisplayCountry},
    {kCFLocaleScriptCode, "und_", uloc_getScript, uloc_getDisplayScript},
    {kCFLocaleVariantCode, "und__", uloc_getVariant, uloc_getDisplayVariant},
    {kCFLocaleIdentifier, "", nullptr, uloc_getDisplayName},
};
constexpr int kValues = 4;  ///< the properties that are a part of the identifier: the first ones

/// The index of a property; -1 for none.
int Find(CFLocaleKey aKey)
{
    int index = 0;
    for (Property const& property : kProperties) {
        if (CFEqual(property.mKey, aKey))
            return index;
        ++index;
    }
    return -1;
}

/// ICU settles the locale of the process before it names anything, and does not survive that there is no memory for it.
/// While the program is being loaded there is.
[[maybe_unused]] char const* const sProcessLocale = uloc_getDefault();

/// An identifier for ICU; empty without a name, and for one that ICU could not know anyway.
struct IcuName {
    IcuName(char const* aPrefix, CFStringRef aName) : mText{}
    {
        const std::size_t prefix = std::strlen(aPrefix);
        std::memcpy(mText, aPrefix, prefix);
        if (CFStringGetLength(aName) == 0 ||
            !CFStringGetCString(aName, mText + prefix, static_cast<CFIndex>(sizeof mText - prefix),
                                kCFStringEncodingASCII))
            mText[0] = '\0';
    }
    bool IsEmpty() const
    {
        return mText[0] == '\0';
    }

    char mText[ULOC_FULLNAME_CAPACITY];
};

}  // namespace

struct __CFLocale final : cf::Object {
    /// Takes the reference over.
    explicit __CFLocale(CFStringRef aIdentifier) : Object(cf::kLocale), mIdentifier(aIdentifier), mValues{}
    {
    }

    /// Of one of the first properties; null when the locale has none or there is no memory.
    CFStringRef GetValue(int aProperty) const;

    bool Equals(Object const& aOther) const override
    {
        return CFEqual(mIdentifier, static_cast<__CFLocale const&>(aOther).mIdentifier);
    }
    CFHashCode Hash() const override
    {
        return CFHash(mIdentifier);
    }
    CFStringRef CopyDescription() const override
    {
        return CFStringCreateCopy(kCFAllocatorDefault, mIdentifier);
    }

    CFStringRef const mIdentifier;

private:
    void Finalize() override
    {
        CFRelease(mIdentifier);
        for (auto const& value : mValues)
            CFRelease(value.load(std::memory_order_relaxed));
    }

    /// Made when they are first asked for: most locales only say how to change the case of letters.
    mutable std::atomic<CFStringRef> mValues[kValues];
};

CFStringRef __CFLocale::GetValue(int aProperty) const
{
    std::atomic<CFStringRef>& value = mValues[aProperty];
    CFStringRef known = value.load(std::memory_order_acquire);
    if (known != nullptr)
        return known;
    char text[ULOC_FULLNAME_CAPACITY] = "";
    UErrorCode status = U_ZERO_ERROR;
    const IcuName identifier("", mIdentifier);
    kProperties[aProperty].mGet(identifier.mText, text, static_cast<int32_t>(sizeof text), &status);
    if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING || text[0] == '\0')
        return nullptr;
    cf::Owned<CFStringRef> made(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingASCII));
    // Another thread may have been first: its value is then the one that has been given out.
    return value.compare_exchange_strong(known, made.Get(), std::memory_order_acq_rel) ? made.Detach() : known;
}

CFTypeID CFLocaleGetTypeID()
{
    return cf::kLocale;
}

CFLocaleRef CFLocaleCreate(CFAllocatorRef aAllocator, CFStringRef aIdentifier)
{
    cf::Owned<CFStringRef> identifier(CFStringCreateCopy(aAllocator, aIdentifier));
    __CFLocale* const locale = identifier ? cf::New<__CFLocale>(identifier.Get()) : nullptr;
    if (locale != nullptr)
        identifier.Detach();
    return locale;
}

CFStringRef CFLocaleGetIdentifier(CFLocaleRef aLocale)
{
    return aLocale != nullptr ? aLocale->mIdentifier : nullptr;
}

CFTypeRef CFLocaleGetValue(CFLocaleRef aLocale, CFLocaleKey aKey)
{
    const int property = Find(aKey);
    if (aLocale == nullptr || property < 0)
        return nullptr;
    return property < kValues ? aLocale->GetValue(property) : aLocale->mIdentifier;
}

CFStringRef CFLocaleCopyDisplayNameForPropertyValue(CFLocaleRef aLocale, CFLocaleKey aKey, CFStringRef aValue)
{
    const int property = Find(aKey);
    if (aLocale == nullptr || property < 0)
        return nullptr;
    const IcuName value(kProperties[property].mPrefix, aValue);
    if (value.IsEmpty())
        return nullptr;
    const IcuName locale("", aLocale->mIdentifier);
    UChar name[kMaxName];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = kProperties[property].mGetName(value.mText, locale.mText, name, kMaxName, &status);
    // ICU would rather give the value itself, or the name in the language of the process, than none.
    if (U_FAILURE(status) || status == U_USING_DEFAULT_WARNING || length <= 0)
        return nullptr;
    return CFStringCreateWithCharacters(kCFAllocatorDefault, reinterpret_cast<UniChar const*>(name), length);
}
