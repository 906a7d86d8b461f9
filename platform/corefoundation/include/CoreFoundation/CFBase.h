/// @file
/// What every CoreFoundation object shares: types, references, equality, hashes.
#pragma once

#include <cstddef>
#include <cstdint>

/// Marks what programs outside the library may link to.
#define CF_EXPORT extern "C" __attribute__((visibility("default")))

typedef unsigned char Boolean;
typedef std::uint8_t UInt8;
typedef std::int8_t SInt8;
typedef std::uint16_t UInt16;
typedef std::int16_t SInt16;
typedef std::uint32_t UInt32;
typedef std::int32_t SInt32;
typedef std::uint64_t UInt64;
typedef std::int64_t SInt64;
/// One UTF-16 unit. An integer, not a character type, as everywhere in CoreFoundation.
typedef UInt16 UniChar;
/// One code point.
typedef UInt32 UTF32Char;

typedef signed long CFIndex;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef unsigned long CFTypeID;

/// Any object.
typedef void const* CFTypeRef;
typedef struct __CFAllocator const* CFAllocatorRef;
typedef struct __CFString const* CFStringRef;
typedef struct __CFString* CFMutableStringRef;

/// The C library's allocator. It is the only one: every function ignores which allocator it is given.
constexpr CFAllocatorRef kCFAllocatorDefault = nullptr;

/// "Nowhere", as an index.
constexpr CFIndex kCFNotFound = -1;

/// `length` positions from `location` on.
struct CFRange {
    CFIndex location;
    CFIndex length;
};

inline CFRange CFRangeMake(CFIndex aLocation, CFIndex aLength)
{
    return CFRange{aLocation, aLength};
}

enum CFComparisonResult : CFIndex { kCFCompareLessThan = -1, kCFCompareEqualTo = 0, kCFCompareGreaterThan = 1 };

/// Orders two values; `aContext` is the caller's own.
typedef CFComparisonResult (*CFComparatorFunction)(void const* aFirst, void const* aSecond, void* aContext);

/// Takes a reference. @return the same object.
CF_EXPORT CFTypeRef CFRetain(CFTypeRef aObject);
/// Drops a reference; the last one destroys the object. Constant objects stay.
CF_EXPORT void CFRelease(CFTypeRef aObject);
/// The references at this moment; 0 for null and for constant objects.
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef aObject);
/// What kind of object it is: one of the CF…GetTypeID() values; 0 for null.
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef aObject);
/// Whether both are the same object, or of one kind with equal contents. Two nulls are equal.
CF_EXPORT Boolean CFEqual(CFTypeRef aFirst, CFTypeRef aSecond);
/// Equal objects have equal hashes; those of strings are the same in every process; 0 for null.
CF_EXPORT CFHashCode CFHash(CFTypeRef aObject);
/// The object as text: the text of a string, number, URL or UUID; the elements of an array in parentheses, those of a
/// dictionary in braces.
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef aObject);
