/// @file
/// The one way to guard a lock, and the one way to destroy an NSPR object.
#pragma once

#include <prio.h>
#include <prlock.h>

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

/// Destroys what a member owns, if anything, and nulls the member first: whatever the destruction calls finds it gone.
template <typename Object, typename Result>
void ktDestroyHandle(Object*& aMember, Result (*aDestroy)(Object*))
{
    Object* const object = aMember;
    aMember = nullptr;
    if (object != nullptr)
        aDestroy(object);
}
