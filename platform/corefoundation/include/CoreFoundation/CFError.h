/// @file
/// Why something could not be done.
#pragma once

#include "CFBase.h"
#include "CFDictionary.h"

typedef struct __CFError* CFErrorRef;

/// In the user information: what happened, as a sentence for people.
CF_EXPORT CFStringRef const kCFErrorLocalizedDescriptionKey;

CF_EXPORT CFTypeID CFErrorGetTypeID();
/// @param aUserInfo copied; may be null. @return null without a domain.
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef aAllocator, CFStringRef aDomain, CFIndex aCode,
                                   CFDictionaryRef aUserInfo);
CF_EXPORT CFStringRef CFErrorGetDomain(CFErrorRef aError);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef aError);
/// The description from the user information; without one, the domain and the code, such as "net error 5".
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef aError);
