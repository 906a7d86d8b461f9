#include "support/allocation.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

// The sanitizers call the allocator before they are ready, so this source is built without them; the build file says
// whether the rest is built with one.
#if defined(KT_SANITIZED)
#define REAL(aName) __interceptor_##aName
#else
#define REAL(aName) __libc_##aName
#endif

namespace {

thread_local int tUntilFailure = 0;  // allocations up to the one that fails; 0: none does
thread_local bool tIsLasting = false;
thread_local bool tFired = false;

bool Fails()
{
    if (tUntilFailure != 1) {
        tUntilFailure -= tUntilFailure != 0 ? 1 : 0;
        return false;
    }
    tFired = true;
    if (!tIsLasting)
        tUntilFailure = 0;
    errno = ENOMEM;
    return true;
}

}  // namespace

// These stand in front of the C library's, for this program and for the libraries that it uses.
extern "C" {
void* REAL(malloc)(std::size_t aSize);
void* REAL(calloc)(std::size_t aCount, std::size_t aSize);
void* REAL(realloc)(void* aPointer, std::size_t aSize);

void* malloc(std::size_t aSize) noexcept { return Fails() ? nullptr : REAL(malloc)(aSize); }

void* calloc(std::size_t aCount, std::size_t aSize) noexcept { return Fails() ? nullptr : REAL(calloc)(aCount, aSize); }

void* realloc(void* aPointer, std::size_t aSize) noexcept { return Fails() ? nullptr : REAL(realloc)(aPointer, aSize); }
}

// The sanitizers bring operators of their own that do not come by here.
void* operator new(std::size_t aSize, std::nothrow_t const& /*aTag*/) noexcept { return std::malloc(aSize); }

void* operator new(std::size_t aSize)
{
    void* const block = std::malloc(aSize);
    return block != nullptr ? block : (std::abort(), nullptr);
}

void operator delete(void* aBlock) noexcept { std::free(aBlock); }

void operator delete(void* aBlock, std::size_t /*aSize*/) noexcept { std::free(aBlock); }

FailNthAllocation::FailNthAllocation(int aNth, Extent aExtent)
{
    tFired = false;
    tIsLasting = aExtent == kFromThenOn;
    tUntilFailure = aNth;
}

FailNthAllocation::~FailNthAllocation() { tUntilFailure = 0; }

bool FailNthAllocation::Fired()
{
    tUntilFailure = 0;
    return tFired;
}
