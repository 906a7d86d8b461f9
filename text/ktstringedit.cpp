// Finding, inserting and editing: the operations of the string that look into its text.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

#include "ktcfowned.h"
#include "ktstring.h"
#include "ktstringcore.h"

namespace {

constexpr UniChar kQuote = '"';

bool Contains(CFStringRef aText, CFStringRef aWhat, int aOptions)
{
    return aText != nullptr && aWhat != nullptr &&
           CFStringFindWithOptions(aText, aWhat, ktWholeOf(aText), static_cast<CFOptionFlags>(aOptions), nullptr) != 0;
}

/// The printed text, which the caller frees; null for a null format and when formatting fails.
char* Format(char const* aFormat, va_list aArguments)
{
    char* text = nullptr;
    return aFormat != nullptr && vasprintf(&text, aFormat, aArguments) >= 0 ? text : nullptr;
}

/// The bytes of the characters in front that come to `aUnits`, looking at none behind them: there may be no terminator.
int CountBytes(char const* aText, int aUnits)
{
    int i = 0;
    for (int units = 0; units < aUnits && aText[i] != '\0'; ++units) {
        const auto first = static_cast<unsigned char>(aText[i]);
        int more = first < 0xC0 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        units += more == 3 ? 1 : 0;
        for (++i; more > 0 && aText[i] != '\0'; --more)
            ++i;
    }
    return i;
}

CFStringRef CreatePlaceholder(int aNumber)
{
    char text[16];
    std::snprintf(text, sizeof text, "$$%d", aNumber);
    return ktString::CreateStringFromString(text);
}

}  // namespace

// Finding.

ktBOOL ktString::Find(ktString const& aWhat, int aOptions) const
{
    return Contains(mString, aWhat.mString, aOptions);
}

ktBOOL ktString::Find(ktString const& aWhat, ktBOOL aCaseInsensitive) const
{
    return Find(aWhat, ktCaseOption(aCaseInsensitive));
}

ktBOOL ktString::Find(char const* aWhat, ktBOOL aCaseInsensitive) const
{
    return Find(aWhat, ktCaseOption(aCaseInsensitive));
}

ktBOOL ktString::Find(char const* aWhat, int aOptions) const
{
    const ktCFOwned<CFStringRef> what(CreateStringFromString(aWhat));
    return Contains(mString, what.Get(), aOptions);
}

// Inserting.

ktError ktString::InsertAt(ktString const* aWhat, int aIndex)
{
    const ktError result = CheckInsertion(aWhat, aIndex);
    if (result != kErrNone)
        return result;
    if (aWhat->mString == nullptr)
        return kErrGeneric;
    if (aWhat == this)
        return InsertAndRelease(CFStringCreateCopy(kCFAllocatorDefault, mString), aIndex);
    return InsertForeign(aWhat->mString, aIndex);
}

ktError ktString::InsertAt(char const* aText, int aIndex)
{
    const ktError result = CheckInsertion(aText, aIndex);
    return result == kErrNone ? InsertAndRelease(CreateStringFromString(aText), aIndex) : result;
}

ktError ktString::InsertAt(wchar_t const* aText, int aIndex)
{
    const ktError result = CheckInsertion(aText, aIndex);
    return result == kErrNone ? InsertAndRelease(ktCreateFromWide(aText), aIndex) : result;
}

ktError ktString::InsertAt(char const* aText, int aCount, int aIndex)
{
    const ktError result = aCount >= 0 ? CheckInsertion(aText, aIndex) : kErrBadValue;
    if (result != kErrNone)
        return result;
    const ktCFOwned<CFStringRef> text(CreateStringFromBuffer(aText, CountBytes(aText, aCount)));
    const CFIndex count = text ? std::min<CFIndex>(aCount, CFStringGetLength(text.Get())) : 0;
    return InsertAndRelease(ktCreatePart(text.Get(), 0, count), aIndex);
}

ktError ktString::InsertAt(wchar_t const* aText, int aCount, int aIndex)
{
    const ktError result = aCount >= 0 ? CheckInsertion(aText, aIndex) : kErrBadValue;
    if (result != kErrNone)
        return result;
    return InsertAndRelease(ktCreateFromWide(aText, wcsnlen(aText, static_cast<std::size_t>(aCount))), aIndex);
}

// Editing.

void ktString::Delete(int aStart, int aCount)
{
    const int length = GetLength();
    if (aStart < 0 || aStart >= length || aCount <= 0)
        return;
    const Change change(*this);
    CFStringDelete(mString, CFRangeMake(aStart, std::min(aCount, length - aStart)));
}

void ktString::Trim(int aLength)
{
    if (aLength >= 0)
        Delete(aLength, GetLength());
}

void ktString::TrimTo(char const* aMarker)
{
    const ktCFOwned<CFStringRef> marker(CreateStringFromString(aMarker));
    CFRange found = CFRangeMake(0, 0);
    if (mString != nullptr && marker)
        CFStringFindWithOptions(mString, marker.Get(), ktWholeOf(mString), 0, &found);
    Delete(0, static_cast<int>(found.location + found.length));
}

void ktString::TrimWhitespace()
{
    if (mString == nullptr)
        return;
    const Change change(*this);
    CFStringTrimWhitespace(mString);
}

void ktString::RemoveOuterQuotes()
{
    if (GetLength() > 0 && CFStringGetCharacterAtIndex(mString, 0) == kQuote)
        Delete(0, 1);
    const int last = GetLength() - 1;
    if (last >= 0 && CFStringGetCharacterAtIndex(mString, last) == kQuote)
        Delete(last, 1);
}

ktError ktString::Replace(ktString const& aWhat, ktString const& aWith)
{
    const bool isOwn = &aWhat == this || &aWith == this;
    const ktCFOwned<CFStringRef> own(isOwn && mString != nullptr ? CFStringCreateCopy(kCFAllocatorDefault, mString)
                                                                 : nullptr);
    return ReplaceForeign(&aWhat == this ? own.Get() : aWhat.mString, &aWith == this ? own.Get() : aWith.mString);
}

ktError ktString::Replace(char const* aWhat, char const* aWith)
{
    if (aWhat == nullptr || aWith == nullptr)
        return kErrBadValue;
    const ktCFOwned<CFStringRef> what(CreateStringFromString(aWhat));
    const ktCFOwned<CFStringRef> with(CreateStringFromString(aWith));
    return ReplaceForeign(what.Get(), with.Get());
}

void ktString::Capitalize()
{
    const int length = GetLength();
    MapCase(CFStringCapitalize);
    ktCountStringBytes(CFIndex{2} * (GetLength() - length));
}

// The water level was never told of lengths that these two change, and readers of the statistic know it so.
void ktString::Uppercase()
{
    MapCase(CFStringUppercase);
}

void ktString::Lowercase()
{
    MapCase(CFStringLowercase);
}

ktError ktString::Substitute(ktString const* aTemplate, ...)
{
    if (aTemplate == nullptr || mString == nullptr)
        return kErrBadValue;
    ktString text;
    ktError result = text.Append(*aTemplate);
    va_list arguments;
    va_start(arguments, aTemplate);
    for (int n = 1; result == kErrNone; ++n) {
        const ktCFOwned<CFStringRef> placeholder(CreatePlaceholder(n));
        if (!placeholder)
            result = kErrNoMemory;
        // A text that was put in may look like a placeholder, but only the template says how many arguments there are.
        else if (!Contains(aTemplate->mString, placeholder.Get(), 0) || !Contains(text.mString, placeholder.Get(), 0))
            break;
        else if (ktString const* const argument = va_arg(arguments, ktString const*))
            result = text.ReplaceForeign(placeholder.Get(), argument->mString);
        else
            result = kErrBadValue;
    }
    va_end(arguments);
    if (result == kErrNone)
        Swap(text);
    return result;
}

ktError ktString::Print(char const* aFormat, ...)
{
    va_list arguments;
    va_start(arguments, aFormat);
    char* const text = Format(aFormat, arguments);  // before clearing: the arguments may be of this string
    va_end(arguments);
    Clear();
    return AppendAndFree(text);
}

ktError ktString::AppendFormatted(char const* aFormat, ...)
{
    va_list arguments;
    va_start(arguments, aFormat);
    char* const text = Format(aFormat, arguments);
    va_end(arguments);
    return AppendAndFree(text);
}

// Formats first and appends then, which tells an empty text from one that there is no memory for.
ktError ktString::AppendFormatted(CFStringRef aFormat, ...)
{
    if (aFormat == nullptr)
        return kErrBadValue;
    va_list arguments;
    va_start(arguments, aFormat);
    CFStringRef const text = CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, aFormat, arguments);
    va_end(arguments);
    return AppendAndRelease(text);
}

// Private steps.

ktError ktString::CheckInsertion(void const* aWhat, int aIndex) const
{
    if (aIndex < 0 || aIndex > GetLength())
        return kErrBadValue;
    return aWhat != nullptr && mString != nullptr ? kErrNone : kErrGeneric;
}

/// @param aText not this string's own.
ktError ktString::InsertForeign(CFStringRef aText, int aIndex)
{
    const Change change(*this);
    CFStringInsert(mString, aIndex, aText);
    return change.Growth() == CFStringGetLength(aText) ? kErrNone : kErrNoMemory;
}

/// @param aText new, or null when it could not be created.
ktError ktString::InsertAndRelease(CFStringRef aText, int aIndex)
{
    const ktCFOwned<CFStringRef> text(aText);
    return text ? InsertForeign(text.Get(), aIndex) : kErrNoMemory;
}

/// @param aText from the C library; null when formatting failed.
ktError ktString::AppendAndFree(char* aText)
{
    const ktError result = aText != nullptr ? Append(aText) : kErrGeneric;
    std::free(aText);
    return result;
}

/// @param aWhat, aWith not this string's own; null when they could not be created.
ktError ktString::ReplaceForeign(CFStringRef aWhat, CFStringRef aWith)
{
    if (mString == nullptr)
        return kErrNoRoom;
    if (aWhat == nullptr || aWith == nullptr)
        return kErrNoMemory;
    const Change change(*this);
    const CFIndex count = CFStringFindAndReplace(mString, aWhat, aWith, ktWholeOf(mString), 0);
    return count != 0 || !Contains(mString, aWhat, 0) ? kErrNone : kErrNoMemory;
}

/// Leaves the text as it is when no locale can be had, and does not count what it does to the length.
void ktString::MapCase(void (*aMapping)(CFMutableStringRef, CFLocaleRef))
{
    const ktCFOwned<CFLocaleRef> locale(GetCurrentLocale());
    if (mString == nullptr || !locale)
        return;
    ClearBackingStore();
    aMapping(mString, locale.Get());
}
