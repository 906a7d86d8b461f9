#undef _FILE_OFFSET_BITS  // which would make `open` another name for `open64`: both are defined here
#include "support/filefault.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

struct Fault {
    int mUntilFailure;  ///< calls up to the one that fails; 0: none does
    bool mIsLasting;
    bool mFired;
    int mErrno;
};
thread_local Fault tFaults[FailNthCall::kUnlink + 1] = {};

template <typename Function>
Function Next(Function /*aSame*/, char const* aName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, aName));
}

}  // namespace

FailNthCall::FailNthCall(Function aFunction, int aNth, Extent aExtent, int aErrno) : mFunction(aFunction)
{
    tFaults[mFunction] = {aNth, aExtent == kFromThenOn, false, aErrno};
}

FailNthCall::~FailNthCall() { tFaults[mFunction].mUntilFailure = 0; }

bool FailNthCall::Fired()
{
    tFaults[mFunction].mUntilFailure = 0;
    return tFaults[mFunction].mFired;
}

bool FileCallFails(FailNthCall::Function aFunction)
{
    Fault& fault = tFaults[aFunction];
    if (fault.mUntilFailure != 1) {
        fault.mUntilFailure -= fault.mUntilFailure != 0 ? 1 : 0;
        return false;
    }
    fault.mFired = true;
    if (!fault.mIsLasting)
        fault.mUntilFailure = 0;
    errno = fault.mErrno;
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
