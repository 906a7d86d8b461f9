/// @file
/// Dictionaries, arrays, strings, numbers, dates and data as files.
#pragma once

#include "CFBase.h"
#include "CFData.h"
#include "CFError.h"

/// Any of the objects that a property list is made of.
typedef CFTypeRef CFPropertyListRef;

enum CFPropertyListFormat : CFIndex {
    kCFPropertyListOpenStepFormat = 1,  ///< the old style: "key" = "value"; and, for lists, { … } and ( … )
    kCFPropertyListXMLFormat_v1_0 = 100
};
/// The code of the error for a text that is no property list.
enum : CFIndex { kCFPropertyListReadCorruptError = 3840 };
/// Whether containers of the result can change.
enum CFPropertyListMutabilityOptions : CFOptionFlags { kCFPropertyListImmutable = 0 };

/// Reads a property list: XML, or the old style in UTF-8 or, behind a byte-order mark, UTF-16. Of equal keys the last
/// one counts. Lists nested deeper than 512 levels are refused; down to there it takes less than 128 KiB of the stack.
///
/// The old style is a string, `{ "key" = value; }`, `( value, value )` or `< hexadecimal bytes >`. Around a strings
/// table there are no braces, and no text at all is an empty one; `"key";` stands for `"key" = "key";`. Strings are in
/// double or single quotes, or without when they consist of ASCII letters, digits and `_ $ / : . -` only. In quotes,
/// behind a backslash, the letters `a b f n r t v` mean what they do in C, one to three octal digits and `U` with four
/// hexadecimal ones give a UTF-16 unit, and any other character means itself. Comments are those of C and C++.
///
/// Of XML no file, network address or entity beyond the five of XML itself is ever read. libxml2 keeps what it sets up
/// for the first one: when it has no memory for that, it can go on refusing UTF-16 until the process ends.
/// @param aFormat receives what it was; may be null; untouched on failure.
/// @param aError receives, on failure, why and in which line, as in "line 3: a semicolon is missing", or null when
///        there was no memory; the caller releases it; may be null; untouched otherwise.
/// @return null on failure. Lists in it do not change.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef aAllocator, CFDataRef aData,
                                                         CFOptionFlags aOptions, CFPropertyListFormat* aFormat,
                                                         CFErrorRef* aError);
