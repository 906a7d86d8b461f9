/// @file
/// Shared ownership: the base of every shared object, and a holder of one reference.
#pragma once

#include "kttypes.h"

/// Base of every object that several owners share, events above all.
///
/// A new object is owned by nobody: its count is 0 until its creator calls AddRef(), so a fresh object may be handed
/// straight to a queue, whose reference is then the only one. AddRef() and Release() may be called from any thread and
/// never wait. The class does not protect against resurrection: whoever passes the pointer on must hold a reference
/// while doing so.
class KT_EXPORT ktRefCount {
public:
    ktRefCount();
    ktRefCount(ktRefCount const&) = delete;
    ktRefCount& operator=(ktRefCount const&) = delete;
    virtual ~ktRefCount();

    /// How the object dies; Release() calls it once, on the thread that dropped the last reference.
    virtual void Destroy() = 0;

    /// Takes a reference. `const`, because holders of pointers to constant objects own references too.
    /// @return the new count.
    int AddRef() const;

    /// Drops a reference; the last one destroys the object, which must not be touched afterwards.
    /// Everything that any thread wrote to the object before its own Release() is visible to Destroy().
    /// @return the new count, 0 when the object was destroyed.
    int Release() const;

    /// The count at this moment; with other owners about it may already be another one.
    int GetRefCount() const;

private:
    mutable int mRefCount;  ///< changed with atomic operations only
};

/// Holds one reference, or nothing.
///
/// One thread at a time; holders of the same object on several threads are fine. It does not know the type of what it
/// holds beyond ktRefCount, and compares by identity only.
class KT_EXPORT ktRefCountSharedPtr {
public:
    /// Holds nothing.
    ktRefCountSharedPtr();
    /// Holds `aObject` and takes a reference on it; null holds nothing.
    ktRefCountSharedPtr(ktRefCount* aObject);
    /// Holds what `aOther` holds, with a reference of its own.
    ktRefCountSharedPtr(ktRefCountSharedPtr const& aOther);
    /// Releases what is held.
    virtual ~ktRefCountSharedPtr();

    /// Holds `aObject` from now on: takes the new reference first, so that setting the held object again is safe.
    void Set(ktRefCount* aObject);
    /// Releases what is held and holds nothing.
    void Reset();
    /// `Set(aOther.Get())`.
    ktRefCountSharedPtr& operator=(ktRefCountSharedPtr const& aOther);

    /// @return what is held, without a reference for the caller; null when nothing is.
    ktRefCount* Get() const;
    /// The same as Get().
    ktRefCount* operator->() const;
    /// The same as Get(): a pointer, not an object, so that it can be asked of an empty holder.
    ktRefCount* operator*() const;

    bool operator==(ktRefCount const* aObject) const;
    bool operator!=(ktRefCount const* aObject) const;
    bool operator==(ktRefCountSharedPtr const& aOther) const;
    bool operator!=(ktRefCountSharedPtr const& aOther) const;

private:
    ktRefCount* mObject;  ///< owns one reference when not null
};
