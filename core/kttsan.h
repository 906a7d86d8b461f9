/// @file
/// Tells the thread sanitizer about an ordering that it cannot see, because the atomic operation that makes it is
/// NSPR's and NSPR is not instrumented. Nothing in other builds.
#pragma once

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#define KT_TSAN_RELEASE(aAddress) __tsan_release(aAddress)
#define KT_TSAN_ACQUIRE(aAddress) __tsan_acquire(aAddress)
#else
#define KT_TSAN_RELEASE(aAddress) static_cast<void>(aAddress)
#define KT_TSAN_ACQUIRE(aAddress) static_cast<void>(aAddress)
#endif
