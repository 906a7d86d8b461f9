/// @file
/// Moments.
#pragma once

#include "CFBase.h"

/// Seconds since 1 January 2001, 00:00 UTC.
typedef double CFAbsoluteTime;
typedef struct __CFDate const* CFDateRef;

/// From the Unix epoch to that of CFAbsoluteTime, in seconds.
constexpr double kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

CF_EXPORT CFTypeID CFDateGetTypeID();
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef aAllocator, CFAbsoluteTime aTime);
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef aDate);
