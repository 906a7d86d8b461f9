/// @file
/// Values by key.
#pragma once

#include "CFBase.h"

typedef struct __CFDictionary const* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;

typedef void const* (*CFDictionaryRetainCallBack)(CFAllocatorRef aAllocator, void const* aValue);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef aAllocator, void const* aValue);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(void const* aValue);
typedef Boolean (*CFDictionaryEqualCallBack)(void const* aFirst, void const* aSecond);
typedef CFHashCode (*CFDictionaryHashCallBack)(void const* aValue);

/// What a dictionary does with its keys; a null function does nothing, and compares and hashes by identity. What
/// `retain` gives back is what the dictionary keeps; when that is null for a key that is not, there was no memory for
/// it. None of the functions may change the dictionary, and a key must not change while it is in one.
struct CFDictionaryKeyCallBacks {
    CFIndex version;  ///< 0
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
};

/// What a dictionary does with its values, in the same way.
struct CFDictionaryValueCallBacks {
    CFIndex version;  ///< 0
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
};

/// For keys and values that are objects.
CF_EXPORT CFDictionaryKeyCallBacks const kCFTypeDictionaryKeyCallBacks;
CF_EXPORT CFDictionaryValueCallBacks const kCFTypeDictionaryValueCallBacks;
/// For keys that are strings, of which the dictionary keeps copies.
CF_EXPORT CFDictionaryKeyCallBacks const kCFCopyStringDictionaryKeyCallBacks;

CF_EXPORT CFTypeID CFDictionaryGetTypeID();
/// Of equal keys the first one counts. @param aKeyCallBacks, aValueCallBacks copied; null for what is not an object.
/// @return null also for a negative count.
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef aAllocator, void const** aKeys, void const** aValues,
                                             CFIndex aCount, CFDictionaryKeyCallBacks const* aKeyCallBacks,
                                             CFDictionaryValueCallBacks const* aValueCallBacks);
/// The pairs as they are now, which may be the same object when it cannot change. Values are never copied.
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef aAllocator, CFDictionaryRef aDictionary);
/// @param aCapacity how many pairs to make room for; more may be added.
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef aAllocator, CFIndex aCapacity,
                                                           CFDictionaryKeyCallBacks const* aKeyCallBacks,
                                                           CFDictionaryValueCallBacks const* aValueCallBacks);

CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef aDictionary);
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef aDictionary, void const* aKey);
/// Null when there is no such key, or null is its value.
CF_EXPORT void const* CFDictionaryGetValue(CFDictionaryRef aDictionary, void const* aKey);
/// @param aValue receives the value; may be null; untouched when there is no such key.
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef aDictionary, void const* aKey, void const** aValue);
/// All pairs in no particular order, which is the same for both arrays; either may be null.
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef aDictionary, void const** aKeys, void const** aValues);

// Changing. A dictionary that cannot change is left as it is, and so is one for whose new pair there is no memory.

/// Adds the pair unless the key is there.
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef aDictionary, void const* aKey, void const* aValue);
/// Adds the pair, or replaces the value when the key is there.
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef aDictionary, void const* aKey, void const* aValue);
/// Replaces the value when the key is there.
CF_EXPORT void CFDictionaryReplaceValue(CFMutableDictionaryRef aDictionary, void const* aKey, void const* aValue);
/// Nothing happens when the key is not there.
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef aDictionary, void const* aKey);
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef aDictionary);
