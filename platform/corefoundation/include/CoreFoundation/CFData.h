/// @file
/// Bytes that do not change.
#pragma once

#include "CFBase.h"

typedef struct __CFData const* CFDataRef;

CF_EXPORT CFTypeID CFDataGetTypeID();
/// A copy of the bytes. @return null also for a negative count, and for null bytes unless there are none.
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef aAllocator, UInt8 const* aBytes, CFIndex aCount);
CF_EXPORT CFIndex CFDataGetLength(CFDataRef aData);
/// The data's own bytes, valid as long as it is; never null for data.
CF_EXPORT UInt8 const* CFDataGetBytePtr(CFDataRef aData);
