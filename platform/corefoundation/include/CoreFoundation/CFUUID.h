/// @file
/// Identifiers that are unique by chance.
#pragma once

#include "CFBase.h"

typedef struct __CFUUID const* CFUUIDRef;

/// The bytes in the order in which they are written.
struct CFUUIDBytes {
    UInt8 byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7;
    UInt8 byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15;
};

CF_EXPORT CFTypeID CFUUIDGetTypeID();
/// A new random one: version 4 of RFC 4122. Asks the kernel for the random bytes, and may block while there are none.
CF_EXPORT CFUUIDRef CFUUIDCreate(CFAllocatorRef aAllocator);
CF_EXPORT CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef aAllocator, CFUUIDBytes aBytes);
/// Reads what CFUUIDCreateString() writes, in either case. @return null for anything else.
CF_EXPORT CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef aAllocator, CFStringRef aText);
/// 36 characters: upper-case hexadecimal in groups of 8, 4, 4, 4 and 12, with hyphens between.
CF_EXPORT CFStringRef CFUUIDCreateString(CFAllocatorRef aAllocator, CFUUIDRef aUuid);
/// All zero for null.
CF_EXPORT CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef aUuid);
