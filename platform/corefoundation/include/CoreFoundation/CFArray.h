/// @file
/// Ordered values.
#pragma once

#include "CFBase.h"

typedef struct __CFArray const* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;

typedef void const* (*CFArrayRetainCallBack)(CFAllocatorRef aAllocator, void const* aValue);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef aAllocator, void const* aValue);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(void const* aValue);
typedef Boolean (*CFArrayEqualCallBack)(void const* aFirst, void const* aSecond);

/// What an array does with its values; a null function does nothing, and compares by identity. What `retain` gives back
/// is what the array keeps; when that is null for a value that is not, there was no memory for it. None of the
/// functions may change the array.
struct CFArrayCallBacks {
    CFIndex version;  ///< 0
    CFArrayRetainCallBack retain;
    CFArrayReleaseCallBack release;
    CFArrayCopyDescriptionCallBack copyDescription;
    CFArrayEqualCallBack equal;
};

/// For values that are objects: the array holds a reference on each.
CF_EXPORT CFArrayCallBacks const kCFTypeArrayCallBacks;

CF_EXPORT CFTypeID CFArrayGetTypeID();
/// @param aCallBacks copied; null for values that are not objects. @return null also for a negative count.
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef aAllocator, void const** aValues, CFIndex aCount,
                                   CFArrayCallBacks const* aCallBacks);
/// The values as they are now, which may be the same object when it cannot change. Values are never copied.
CF_EXPORT CFArrayRef CFArrayCreateCopy(CFAllocatorRef aAllocator, CFArrayRef aArray);
/// @param aCapacity how many values to make room for; more may be added.
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef aAllocator, CFIndex aCapacity,
                                                 CFArrayCallBacks const* aCallBacks);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef aAllocator, CFIndex aCapacity, CFArrayRef aArray);

CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef aArray);
/// Null outside of the array.
CF_EXPORT void const* CFArrayGetValueAtIndex(CFArrayRef aArray, CFIndex aIndex);
/// @param aValues receives the values in the range, and no more when the array ends before it.
CF_EXPORT void CFArrayGetValues(CFArrayRef aArray, CFRange aRange, void const** aValues);
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef aArray, CFRange aRange, void const* aValue);
/// kCFNotFound when no value in the range equals `aValue`.
CF_EXPORT CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef aArray, CFRange aRange, void const* aValue);

// Changing. An array that cannot change is left as it is, and so is one for whose new value there is no memory.

CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef aArray, void const* aValue);
/// Inserts in front of the value at `aIndex`; in front of all for an index below 0, behind all for one above the last.
CF_EXPORT void CFArrayInsertValueAtIndex(CFMutableArrayRef aArray, CFIndex aIndex, void const* aValue);
/// Replaces the value at `aIndex`, or appends when that is the count. Nothing happens for any other index outside.
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef aArray, CFIndex aIndex, void const* aValue);
/// Nothing happens for an index outside.
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef aArray, CFIndex aIndex);
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef aArray);
/// Sorts the range in place, from the least on; equal values keep no order. A comparator that contradicts itself gives
/// some order of the same values.
CF_EXPORT void CFArraySortValues(CFMutableArrayRef aArray, CFRange aRange, CFComparatorFunction aComparator,
                                 void* aContext);
