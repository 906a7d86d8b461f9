// Case mappings. ICU knows the languages' rules; what is here is when they matter and where words begin.
#define UCHAR_TYPE std::uint16_t  // so that ICU's units are ours

#include <algorithm>
#include <cstdint>

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include "CoreFoundation/CFLocale.h"
#include "cfstringobject.h"

using cf::Text;

namespace {

/// A mapping of ICU's: writes at most `aSize` units and returns how many there would be.
typedef int32_t (*Mapping)(UniChar* aOut, int32_t aSize, UniChar const* aUnits, int32_t aLength, char const* aLocale,
                           UErrorCode* aStatus);

/// The longest identifier that is looked at; what is longer names no language.
struct LocaleName {
    char mText[ULOC_FULLNAME_CAPACITY] = {};

    explicit LocaleName(CFLocaleRef aLocale)
    {
        if (!CFStringGetCString(CFLocaleGetIdentifier(aLocale), mText, sizeof mText, kCFStringEncodingASCII))
            mText[0] = '\0';
    }
    /// Whether "i" and "I" are letters of their own, so that even ASCII is not mapped as elsewhere.
    bool IsTurkic() const
    {
        char language[ULOC_LANG_CAPACITY] = {};
        UErrorCode status = U_ZERO_ERROR;
        uloc_getLanguage(mText, language, sizeof language, &status);
        return std::strcmp(language, "tr") == 0 || std::strcmp(language, "az") == 0;
    }
};

/// A block of units that is given back.
struct Units {
    UniChar* mData = nullptr;
    ~Units()
    {
        std::free(mData);
    }
    bool Resize(CFIndex aLength)
    {
        void* const block = std::realloc(mData, static_cast<std::size_t>(aLength) * sizeof(UniChar));
        mData = block != nullptr ? static_cast<UniChar*>(block) : mData;
        return block != nullptr;
    }
};

bool Replace(CFMutableStringRef aString, CFRange aRange, Mapping aMapping, char const* aLocale)
{
    Units source;
    Units result;
    const int32_t length = static_cast<int32_t>(aRange.length);
    int32_t needed = length;
    if (aRange.length > INT32_MAX / 4 || !source.Resize(aRange.length))
        return false;
    aString->GetText().Part(aRange).CopyUnits(source.mData);
    for (int attempt = 0; attempt < 2; ++attempt) {
        const int32_t size = needed;
        UErrorCode status = U_ZERO_ERROR;
        if (!result.Resize(std::max(size, 1)))
            return false;
        needed = aMapping(result.mData, size, source.mData, length, aLocale, &status);
        if (U_SUCCESS(status))
            return aString->Splice(aRange, Text(result.mData, needed));
        if (status != U_BUFFER_OVERFLOW_ERROR)
            return false;
    }
    return false;
}

/// Maps bytes that are ASCII in place.
template <typename Map>
void ReplaceAscii(CFMutableStringRef aString, Map aMap)
{
    const CFIndex length = CFStringGetLength(aString);
    char* const bytes = const_cast<char*>(aString->GetText().Bytes());
    std::transform(bytes, bytes + length, bytes, aMap);
}

char ToAsciiUpper(char aByte)
{
    return static_cast<char>(aByte >= 'a' && aByte <= 'z' ? aByte - 0x20 : aByte);
}

char ToAsciiLower(char aByte)
{
    return static_cast<char>(aByte >= 'A' && aByte <= 'Z' ? aByte + 0x20 : aByte);
}

void MapAll(CFMutableStringRef aString, CFLocaleRef aLocale, Mapping aMapping, char (*aAsciiMap)(char))
{
    if (aString == nullptr || !aString->IsMutable())
        return;
    const LocaleName locale(aLocale);
    if (!aString->GetText().mIsWide && !locale.IsTurkic())
        ReplaceAscii(aString, aAsciiMap);
    else if (CFStringGetLength(aString) != 0)
        Replace(aString, CFRangeMake(0, CFStringGetLength(aString)), aMapping, locale.mText);
}

/// Title case for one word.
int32_t ToTitle(UniChar* aOut, int32_t aSize, UniChar const* aUnits, int32_t aLength, char const* aLocale,
                UErrorCode* aStatus)
{
    UCaseMap* const map = ucasemap_open(aLocale, U_TITLECASE_WHOLE_STRING | U_TITLECASE_NO_BREAK_ADJUSTMENT, aStatus);
    const int32_t length = ucasemap_toTitle(map, aOut, aSize, aUnits, aLength, aStatus);
    ucasemap_close(map);
    return length;
}

SInt32 PointAt(Text const& aText, CFIndex aAt)
{
    const UniChar unit = aText.At(aAt);
    if (!U16_IS_LEAD(unit) || aAt + 1 == aText.mLength || !U16_IS_TRAIL(aText.At(aAt + 1)))
        return unit;
    return U16_GET_SUPPLEMENTARY(unit, aText.At(aAt + 1));
}

/// The next run of letters that have cases, from `aFrom` on, with what may stand inside of a word; empty behind the
/// last.
CFRange NextWord(Text const& aText, CFIndex aFrom)
{
    CFIndex start = kCFNotFound;
    CFIndex end = aFrom;
    for (CFIndex at = aFrom; at < aText.mLength;) {
        const SInt32 point = PointAt(aText, at);
        const bool isCased = u_hasBinaryProperty(point, UCHAR_CASED) != 0;
        if (start == kCFNotFound && isCased)
            start = at;
        else if (start != kCFNotFound && !isCased && u_hasBinaryProperty(point, UCHAR_CASE_IGNORABLE) == 0)
            break;
        at += U16_LENGTH(point);
        end = at;
    }
    return start != kCFNotFound ? CFRangeMake(start, end - start) : CFRangeMake(end, 0);
}

}  // namespace

void CFStringUppercase(CFMutableStringRef aString, CFLocaleRef aLocale)
{
    MapAll(aString, aLocale, u_strToUpper, ToAsciiUpper);
}

void CFStringLowercase(CFMutableStringRef aString, CFLocaleRef aLocale)
{
    MapAll(aString, aLocale, u_strToLower, ToAsciiLower);
}

void CFStringCapitalize(CFMutableStringRef aString, CFLocaleRef aLocale)
{
    if (aString == nullptr || !aString->IsMutable())
        return;
    const LocaleName locale(aLocale);
    const cf::Owned<CFMutableStringRef> result(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, aString));
    for (CFIndex at = 0; result && at < CFStringGetLength(result.Get());) {
        const CFRange word = NextWord(result.Get()->GetText(), at);
        const CFIndex behind = CFStringGetLength(result.Get()) - word.location - word.length;
        if (word.length != 0 && !Replace(result.Get(), word, ToTitle, locale.mText))
            return;
        at = CFStringGetLength(result.Get()) - behind;
    }
    if (result)
        aString->Adopt(*result.Get());
}
