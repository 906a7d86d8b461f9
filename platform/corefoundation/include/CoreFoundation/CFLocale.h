/// @file
/// Languages and countries, and what they are called.
#pragma once

#include "CFBase.h"

typedef struct __CFLocale const* CFLocaleRef;

/// A property of a locale.
typedef CFStringRef CFLocaleKey;

CF_EXPORT CFLocaleKey const kCFLocaleIdentifier;    ///< such as "en_US"
CF_EXPORT CFLocaleKey const kCFLocaleLanguageCode;  ///< such as "en"
CF_EXPORT CFLocaleKey const kCFLocaleCountryCode;   ///< such as "US"
CF_EXPORT CFLocaleKey const kCFLocaleScriptCode;    ///< such as "Hans"
CF_EXPORT CFLocaleKey const kCFLocaleVariantCode;   ///< such as "POSIX"

CF_EXPORT CFTypeID CFLocaleGetTypeID();
/// Any identifier makes a locale; one that nobody knows has the rules of no language. @return null without one.
CF_EXPORT CFLocaleRef CFLocaleCreate(CFAllocatorRef aAllocator, CFStringRef aIdentifier);
/// The identifier as it was given.
CF_EXPORT CFStringRef CFLocaleGetIdentifier(CFLocaleRef aLocale);
/// The value of a property, as long as the locale lives; null when it has none.
CF_EXPORT CFTypeRef CFLocaleGetValue(CFLocaleRef aLocale, CFLocaleKey aKey);
/// What the value of a property is called in the locale: for kCFLocaleLanguageCode and "de", "German" in "en". Names
/// come from ICU's data, which is mapped, not read: this may wait for pages of it.
///
/// ICU keeps what it sets up for the first name, and for the first name in each language. When it has no memory for
/// that, it may lose some bytes, and it can go on failing, and this on giving null, until the process ends.
/// @param aValue need not be a value of this locale.
/// @return null when there is no name for it in that language, or the property is none of the above.
CF_EXPORT CFStringRef CFLocaleCopyDisplayNameForPropertyValue(CFLocaleRef aLocale, CFLocaleKey aKey,
                                                              CFStringRef aValue);
