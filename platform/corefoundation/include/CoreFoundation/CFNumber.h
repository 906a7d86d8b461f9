/// @file
/// Numbers and truth values as objects.
#pragma once

#include "CFBase.h"

typedef struct __CFNumber const* CFNumberRef;
typedef struct __CFBoolean const* CFBooleanRef;

/// What a number is made from or read as. Numbers are equal when they are the same number, whatever they were made
/// from.
enum CFNumberType : CFIndex { kCFNumberSInt32Type = 3, kCFNumberSInt64Type = 4, kCFNumberDoubleType = 13 };

CF_EXPORT CFBooleanRef const kCFBooleanTrue;
CF_EXPORT CFBooleanRef const kCFBooleanFalse;

CF_EXPORT CFTypeID CFBooleanGetTypeID();
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef aBoolean);

CF_EXPORT CFTypeID CFNumberGetTypeID();
/// @param aValue points to a value of that type. @return null for a type that is none of the above.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef aAllocator, CFNumberType aType, void const* aValue);
/// Whether it was made from a floating-point number.
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef aNumber);
/// @param aValue receives the number as that type has it: an integer without the fraction, the greatest or the least
///        for one that is beyond it, and 0 for what is not a number. Untouched for a type that is none of the above.
/// @return whether it is exactly the number.
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef aNumber, CFNumberType aType, void* aValue);
