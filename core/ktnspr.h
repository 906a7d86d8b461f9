/// @file
/// The one way to guard a lock, to destroy an NSPR object, and to keep NSPR from failing without a word.
#pragma once

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
