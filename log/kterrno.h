/// @file
/// Keeps log functions from disturbing their callers.
#pragma once

#include <cerrno>

/// Leaves `errno` at the end of a scope as it was at its beginning.
class ktErrnoKeeper {
public:
    ktErrnoKeeper() : mErrno(errno)
    {
    }
    ~ktErrnoKeeper()
    {
        errno = mErrno;
    }
    ktErrnoKeeper(ktErrnoKeeper const&) = delete;
    ktErrnoKeeper& operator=(ktErrnoKeeper const&) = delete;

private:
    int mErrno;
};
