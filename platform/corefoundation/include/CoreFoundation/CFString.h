/// @file
/// Text as UTF-16 units. Lengths, indices and ranges count those units.
#pragma once

#include <cstdarg>

#include "CFBase.h"

typedef struct __CFArray const* CFArrayRef;
typedef struct __CFDictionary const* CFDictionaryRef;
typedef struct __CFLocale const* CFLocaleRef;

typedef UInt32 CFStringEncoding;

enum : CFStringEncoding {
    kCFStringEncodingISOLatin1 = 0x0201,
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUnicode = 0x0100,  ///< the same as kCFStringEncodingUTF16
    kCFStringEncodingUTF16 = 0x0100,    ///< a byte-order mark decides, else the processor's order
    kCFStringEncodingUTF8 = 0x08000100,
    kCFStringEncodingUTF32 = 0x0c000100,  ///< as kCFStringEncodingUTF16
    kCFStringEncodingUTF16BE = 0x10000100,
    kCFStringEncodingUTF16LE = 0x14000100,
    kCFStringEncodingUTF32BE = 0x18000100,
    kCFStringEncodingUTF32LE = 0x1c000100,
    kCFStringEncodingInvalidId = 0xffffffff,
};

/// How texts are compared and found; the values may be added up.
///
/// Without an option texts are compared unit by unit.
enum CFStringCompareFlags : CFOptionFlags {
    kCFCompareCaseInsensitive = 1,         ///< full case folding: "ß" equals "SS"
    kCFCompareBackwards = 4,               ///< find only: the last occurrence
    kCFCompareAnchored = 8,                ///< find only: at the start of the range, or its end with Backwards
    kCFCompareNonliteral = 16,             ///< canonically equivalent texts are equal
    kCFCompareDiacriticInsensitive = 128,  ///< ignores the marks on Latin, Greek and Cyrillic letters
    kCFCompareWidthInsensitive = 256,      ///< fullwidth and halfwidth forms equal the ordinary ones
};

CF_EXPORT CFTypeID CFStringGetTypeID();

// Creation. Bytes that the encoding does not allow are refused: the result is null.

/// An empty string that can change. `aMaxLength` limits its length; 0 does not.
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef aAllocator, CFIndex aMaxLength);
/// A string that can change, with the text of `aString`. `aMaxLength` as above. @return null also for a longer text.
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef aAllocator, CFIndex aMaxLength,
                                                       CFStringRef aString);
/// The text of `aString` as it is now, which may be the same object when it cannot change.
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef aAllocator, CFStringRef aString);
/// @param aEncoding one of bytes; any other is refused, as its text may have zero bytes.
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef aAllocator, char const* aText,
                                                CFStringEncoding aEncoding);
/// @param aIsExternal whether a byte-order mark in front belongs to the encoding, and is left out, rather than to the
///        text.
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef aAllocator, UInt8 const* aBytes, CFIndex aCount,
                                              CFStringEncoding aEncoding, Boolean aIsExternal);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef aAllocator, UniChar const* aCharacters,
                                                   CFIndex aCount);
/// @return null when the range is not inside the string.
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef aAllocator, CFStringRef aString, CFRange aRange);

/// printf's conversions with their flags, widths, precisions, lengths and positions, in the "C" locale; and %@ for the
/// description of an object, %C for a UniChar, %S for a UniChar string that ends with 0. %s is UTF-8, or else ISO
/// Latin-1. `aOptions` is unused: pass null. A conversion that is none of these is left as it stands.
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef aAllocator, CFDictionaryRef aOptions, CFStringRef aFormat,
                                               ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef aAllocator, CFDictionaryRef aOptions,
                                                           CFStringRef aFormat, va_list aArguments);

/// A constant string for an ASCII literal, which it refers to: made once for each text, never destroyed. Null only when
/// there was no memory.
#define CFSTR(aText) __CFStringMakeConstantString("" aText "")
CF_EXPORT CFStringRef __CFStringMakeConstantString(char const* aText);

// Reading.

CF_EXPORT CFIndex CFStringGetLength(CFStringRef aString);
/// The unit at `aIndex`; 0 outside of the string.
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef aString, CFIndex aIndex);
CF_EXPORT void CFStringGetCharacters(CFStringRef aString, CFRange aRange, UniChar* aBuffer);
/// The string's own UTF-16 units, not terminated, valid until it changes; null when it does not hold any.
CF_EXPORT UniChar const* CFStringGetCharactersPtr(CFStringRef aString);
/// The string's own bytes, terminated, valid until it changes; null when it does not hold any in that encoding. A
/// string keeps bytes until it first holds something that is not ASCII; they serve ASCII, ISO Latin-1 and UTF-8.
CF_EXPORT char const* CFStringGetCStringPtr(CFStringRef aString, CFStringEncoding aEncoding);
/// The whole string, terminated. @return false when it does not fit or cannot be converted, or for an encoding that is
/// not one of bytes.
CF_EXPORT Boolean CFStringGetCString(CFStringRef aString, char* aBuffer, CFIndex aSize, CFStringEncoding aEncoding);
/// Converts as many characters as fit, never a part of one.
/// @param aLossByte stands for what the encoding does not have; with 0 conversion ends there.
/// @param aIsExternal puts a byte-order mark in front, for the UTF-16 and UTF-32 that do not name their order.
/// @param aBuffer null to learn `*aUsed` only, and then `aSize` is not looked at.
/// @param aUsed receives the bytes; may be null.
/// @return the UTF-16 units converted.
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef aString, CFRange aRange, CFStringEncoding aEncoding, UInt8 aLossByte,
                                   Boolean aIsExternal, UInt8* aBuffer, CFIndex aSize, CFIndex* aUsed);
/// An upper bound of the bytes for `aLength` units, without a terminator; kCFNotFound when it cannot be counted.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex aLength, CFStringEncoding aEncoding);
/// An upper bound of the bytes of the string as a file name, with the terminator.
CF_EXPORT CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef aString);
/// Leading white space, a sign, decimal digits; what follows is not looked at. 0 when there is no number; the nearest
/// value when it is too large.
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef aString);
/// The same for a decimal number with fraction and exponent, always with a period.
CF_EXPORT double CFStringGetDoubleValue(CFStringRef aString);

// Comparing and finding.

CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef aFirst, CFStringRef aSecond, CFOptionFlags aOptions);
/// Compares `aRange` of the first with the whole second.
CF_EXPORT CFComparisonResult CFStringCompareWithOptions(CFStringRef aFirst, CFStringRef aSecond, CFRange aRange,
                                                        CFOptionFlags aOptions);
/// @param aResult receives where the text was found; may be null; untouched when it was not found.
/// @return whether `aWhat` occurs in the range. Empty text never does.
CF_EXPORT Boolean CFStringFindWithOptions(CFStringRef aString, CFStringRef aWhat, CFRange aRange,
                                          CFOptionFlags aOptions, CFRange* aResult);
/// The same over the whole string. @return {kCFNotFound, 0} when it was not found.
CF_EXPORT CFRange CFStringFind(CFStringRef aString, CFStringRef aWhat, CFOptionFlags aOptions);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef aString, CFStringRef aPrefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef aString, CFStringRef aSuffix);

/// The pieces between the separators, empty ones too; one piece when there is no separator in it.
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef aAllocator, CFStringRef aString,
                                                            CFStringRef aSeparator);

// Changing. A string that cannot change is left as it is, and so is one that would outgrow its limit.

CF_EXPORT void CFStringAppend(CFMutableStringRef aString, CFStringRef aOther);
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef aString, UniChar const* aCharacters, CFIndex aCount);
/// Nothing is appended when the encoding refuses the text.
CF_EXPORT void CFStringAppendCString(CFMutableStringRef aString, char const* aText, CFStringEncoding aEncoding);
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef aString, CFDictionaryRef aOptions, CFStringRef aFormat, ...);
CF_EXPORT void CFStringAppendFormatAndArguments(CFMutableStringRef aString, CFDictionaryRef aOptions,
                                                CFStringRef aFormat, va_list aArguments);
CF_EXPORT void CFStringInsert(CFMutableStringRef aString, CFIndex aIndex, CFStringRef aOther);
CF_EXPORT void CFStringDelete(CFMutableStringRef aString, CFRange aRange);
CF_EXPORT void CFStringReplace(CFMutableStringRef aString, CFRange aRange, CFStringRef aOther);
CF_EXPORT void CFStringReplaceAll(CFMutableStringRef aString, CFStringRef aOther);
/// Replaces every occurrence that begins and ends in the range. @return how many there were, 0 also when there was no
/// memory.
CF_EXPORT CFIndex CFStringFindAndReplace(CFMutableStringRef aString, CFStringRef aWhat, CFStringRef aWith,
                                         CFRange aRange, CFOptionFlags aOptions);
/// Cuts to `aLength`, or fills up to it with the units of `aPad` from `aIndexIntoPad` on, over and over. Without a pad
/// it only cuts, and so it does with a negative index.
CF_EXPORT void CFStringPad(CFMutableStringRef aString, CFStringRef aPad, CFIndex aLength, CFIndex aIndexIntoPad);
/// Takes white space and line breaks off both ends.
CF_EXPORT void CFStringTrimWhitespace(CFMutableStringRef aString);
/// Full case mappings, by the rules of the locale's language; a null locale has none of its own.
CF_EXPORT void CFStringUppercase(CFMutableStringRef aString, CFLocaleRef aLocale);
CF_EXPORT void CFStringLowercase(CFMutableStringRef aString, CFLocaleRef aLocale);
/// Each run of letters begins with its title case, the rest is lower case; an apostrophe does not end a run.
CF_EXPORT void CFStringCapitalize(CFMutableStringRef aString, CFLocaleRef aLocale);

/// Reads a string's units one after another without a call for each. Its fields are for the functions below.
struct CFStringInlineBuffer {
    UniChar buffer[64];
    CFStringRef theString;
    UniChar const* directUniCharBuffer;
    char const* directCStringBuffer;
    CFRange rangeToBuffer;
    CFIndex bufferedRangeStart;  ///< in the range, not in the string
    CFIndex bufferedRangeEnd;
};

/// Sets `aBuffer` up over `aRange`, which must lie in the string. Valid until the string changes.
inline void CFStringInitInlineBuffer(CFStringRef aString, CFStringInlineBuffer* aBuffer, CFRange aRange)
{
    aBuffer->theString = aString;
    aBuffer->rangeToBuffer = aRange;
    aBuffer->directUniCharBuffer = CFStringGetCharactersPtr(aString);
    aBuffer->directCStringBuffer =
        aBuffer->directUniCharBuffer != nullptr ? nullptr : CFStringGetCStringPtr(aString, kCFStringEncodingASCII);
    aBuffer->bufferedRangeStart = 0;
    aBuffer->bufferedRangeEnd = 0;
}

/// The unit at `aIndex` of the range; 0 outside of it.
inline UniChar CFStringGetCharacterFromInlineBuffer(CFStringInlineBuffer* aBuffer, CFIndex aIndex)
{
    CFRange const& range = aBuffer->rangeToBuffer;
    if (aIndex < 0 || aIndex >= range.length)
        return 0;
    if (aBuffer->directUniCharBuffer != nullptr)
        return aBuffer->directUniCharBuffer[range.location + aIndex];
    if (aBuffer->directCStringBuffer != nullptr)
        return static_cast<UInt8>(aBuffer->directCStringBuffer[range.location + aIndex]);
    if (aIndex < aBuffer->bufferedRangeStart || aIndex >= aBuffer->bufferedRangeEnd) {
        const CFIndex size = static_cast<CFIndex>(sizeof aBuffer->buffer / sizeof *aBuffer->buffer);
        const CFIndex start = aIndex < 4 ? 0 : aIndex - 4;  // a reader that goes back a little finds it still there
        const CFIndex end = range.length - start < size ? range.length : start + size;
        CFStringGetCharacters(aBuffer->theString, CFRangeMake(range.location + start, end - start), aBuffer->buffer);
        aBuffer->bufferedRangeStart = start;
        aBuffer->bufferedRangeEnd = end;
    }
    return aBuffer->buffer[aIndex - aBuffer->bufferedRangeStart];
}
