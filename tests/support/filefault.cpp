#undef _FILE_OFFSET_BITS  // which would make `open` another name for `open64`: both are defined here
#include "support/filefault.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

thread_local FailNthCall::Function tFunction = FailNthCall::kOpen;
thread_local int tUntilFailure = 0;  // calls up to the one that fails; 0: none does
thread_local bool tIsLasting = false;
thread_local bool tFired = false;
thread_local int tErrno = 0;

template <typename Function>
Function Next(Function /*aSame*/, char const* aName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, aName));
}

}  // namespace

FailNthCall::FailNthCall(Function aFunction, int aNth, Extent aExtent, int aErrno)
{
    tFunction = aFunction;
    tIsLasting = aExtent == kFromThenOn;
    tErrno = aErrno;
    tFired = false;
    tUntilFailure = aNth;
}

FailNthCall::~FailNthCall() { tUntilFailure = 0; }

bool FailNthCall::Fired()
{
    tUntilFailure = 0;
    return tFired;
}

bool FileCallFails(FailNthCall::Function aFunction)
{
    if (tUntilFailure == 0 || tFunction != aFunction)
        return false;
    if (tUntilFailure > 1) {
        --tUntilFailure;
        return false;
    }
    tFired = true;
    if (!tIsLasting)
        tUntilFailure = 0;
    errno = tErrno;
    return true;
}

// These stand in front of the C library's, for this program and for the libraries that it uses. `write` is in
// output.cpp. A program that steers one of them in a way of its own defines it: these are weak.
extern "C" {
#define WEAK __attribute__((weak))

WEAK int open(char const* aPath, int aFlags, ...)
{
    static const auto next = Next(&open, "open");
    va_list args;
    va_start(args, aFlags);
    const mode_t mode = (aFlags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return FileCallFails(FailNthCall::kOpen) ? -1 : next(aPath, aFlags, mode);
}

WEAK int open64(char const* aPath, int aFlags, ...)
{
    va_list args;
    va_start(args, aFlags);
    const mode_t mode = (aFlags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return open(aPath, aFlags, mode);
}

WEAK ssize_t read(int aFD, void* aData, std::size_t aLength)
{
    static const auto next = Next(&read, "read");
    return FileCallFails(FailNthCall::kRead) ? -1 : next(aFD, aData, aLength);
}

WEAK int fsync(int aFD)
{
    static const auto next = Next(&fsync, "fsync");
    return FileCallFails(FailNthCall::kFsync) ? -1 : next(aFD);
}

WEAK int close(int aFD)
{
    static const auto next = Next(&close, "close");
    const int result = next(aFD);
    return FileCallFails(FailNthCall::kClose) ? -1 : result;
}

WEAK int rename(char const* aFrom, char const* aTo) noexcept
{
    static const auto next = Next(&rename, "rename");
    return FileCallFails(FailNthCall::kRename) ? -1 : next(aFrom, aTo);
}

WEAK int link(char const* aFrom, char const* aTo) noexcept
{
    static const auto next = Next(&link, "link");
    return FileCallFails(FailNthCall::kLink) ? -1 : next(aFrom, aTo);
}

WEAK int unlink(char const* aPath) noexcept
{
    static const auto next = Next(&unlink, "unlink");
    return FileCallFails(FailNthCall::kUnlink) ? -1 : next(aPath);
}
}
