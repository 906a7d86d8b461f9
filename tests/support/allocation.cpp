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

extern "C" {
void* REAL(malloc)(std::size_t aSize);
void* REAL(calloc)(std::size_t aCount, std::size_t aSize);
void* REAL(realloc)(void* aPointer, std::size_t aSize);
}

namespace {

thread_local int tUntilFailure = 0;  // allocations up to the one that fails; 0: none does

bool Fails()
{
    if (tUntilFailure == 0 || --tUntilFailure != 0)
        return false;
    errno = ENOMEM;
    return true;
}

}  // namespace

// These stand in front of the C library's, for this program and for the libraries that it uses.
extern "C" {

void* malloc(std::size_t aSize) noexcept
{
    return Fails() ? nullptr : REAL(malloc)(aSize);
}

void* calloc(std::size_t aCount, std::size_t aSize) noexcept
{
    return Fails() ? nullptr : REAL(calloc)(aCount, aSize);
}

void* realloc(void* aPointer, std::size_t aSize) noexcept
{
    return Fails() ? nullptr : REAL(realloc)(aPointer, aSize);
}
}

// The sanitizers bring operators of their own that do not come by here.
void* operator new(std::size_t aSize)
{
    void* const block = std::malloc(aSize);
    if (block == nullptr)
        std::abort();
    return block;
}

void* operator new(std::size_t aSize, std::nothrow_t const& /*aTag*/) noexcept
{
    return std::malloc(aSize);
}

void operator delete(void* aBlock) noexcept
{
    std::free(aBlock);
}

void operator delete(void* aBlock, std::size_t /*aSize*/) noexcept
{
    std::free(aBlock);
}

FailNthAllocation::FailNthAllocation(int aNth)
{
    tUntilFailure = aNth;
}

FailNthAllocation::~FailNthAllocation()
{
    tUntilFailure = 0;
}

bool FailNthAllocation::Fired() const
{
    return tUntilFailure == 0;
}
