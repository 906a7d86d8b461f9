/// @file
/// The one way to guard a lock, to own an open file, to destroy an NSPR object, and to keep NSPR from failing without a
/// word.
#pragma once

#include <prio.h>
#include <prlock.h>
#include <prthread.h>

/// Holds a lock for the length of a scope.
class ktLockGuard {
public:
    explicit ktLockGuard(PRLock* aLock) : mLock(aLock)
    {
        PR_Lock(mLock);
    }
    ~ktLockGuard()
    {
        PR_Unlock(mLock);
    }
    ktLockGuard(ktLockGuard const&) = delete;
    ktLockGuard& operator=(ktLockGuard const&) = delete;

private:
    PRLock* mLock;
};

/// Owns an open file and closes it.
class ktFileHandle {
public:
    /// Opens the file, close-on-exec: NSPR itself leaves its files to the programs that a process starts.
    ktFileHandle(char const* aPath, PRIntn aFlags, PRIntn aMode) : mFile(PR_Open(aPath, aFlags, aMode))
    {
        if (mFile != nullptr)
            PR_SetFDInheritable(mFile, PR_FALSE);
    }
    ~ktFileHandle()
    {
        Close();
    }
    ktFileHandle(ktFileHandle const&) = delete;
    ktFileHandle& operator=(ktFileHandle const&) = delete;

    /// Null when the file could not be opened, or was closed.
    PRFileDesc* Get() const
    {
        return mFile;
    }
    /// For whoever must know whether closing succeeded. @return true also when there was nothing to close.
    bool Close()
    {
        PRFileDesc* const file = mFile;
        mFile = nullptr;
        return file == nullptr || PR_Close(file) == PR_SUCCESS;
    }

private:
    PRFileDesc* mFile;
};

/// Makes NSPR know the calling thread. Its functions on descriptors do so when first called, and crash when there is no
/// memory for it. @return false when there is none.
inline bool ktAttachThread()
{
    return PR_GetCurrentThread() != nullptr;
}

/// Destroys what a member owns, if anything, and nulls the member first: whatever the destruction calls finds it gone.
template <typename Object, typename Result>
void ktDestroyHandle(Object*& aMember, Result (*aDestroy)(Object*))
{
    Object* const object = aMember;
    aMember = nullptr;
    if (object != nullptr)
        aDestroy(object);
}
