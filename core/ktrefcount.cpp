#include "ktrefcount.h"

#include <pratom.h>

#include <type_traits>

#include "kttsan.h"

static_assert(std::is_same<PRInt32, int>::value, "NSPR's atomics must work on the reference count");

ktRefCount::ktRefCount() : mRefCount(0)
{
}

ktRefCount::~ktRefCount() = default;

int ktRefCount::AddRef() const
{
    return PR_AtomicIncrement(&mRefCount);
}

int ktRefCount::Release() const
{
    KT_TSAN_RELEASE(&mRefCount);
    const int count = PR_AtomicDecrement(&mRefCount);
    if (count == 0) {
        KT_TSAN_ACQUIRE(&mRefCount);
        const_cast<ktRefCount*>(this)->Destroy();
    }
    return count;
}

int ktRefCount::GetRefCount() const
{
    return __atomic_load_n(&mRefCount, __ATOMIC_RELAXED);
}

ktRefCountSharedPtr::ktRefCountSharedPtr() : mObject(nullptr)
{
}

ktRefCountSharedPtr::ktRefCountSharedPtr(ktRefCount* aObject) : mObject(aObject)
{
    if (mObject != nullptr)
        mObject->AddRef();
}

ktRefCountSharedPtr::ktRefCountSharedPtr(ktRefCountSharedPtr const& aOther) : ktRefCountSharedPtr(aOther.mObject)
{
}

ktRefCountSharedPtr::~ktRefCountSharedPtr()
{
    Reset();
}

void ktRefCountSharedPtr::Set(ktRefCount* aObject)
{
    if (aObject != nullptr)
        aObject->AddRef();
    if (mObject != nullptr)
        mObject->Release();
    mObject = aObject;
}

void ktRefCountSharedPtr::Reset()
{
    Set(nullptr);
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Set() is safe for the object that is held
ktRefCountSharedPtr& ktRefCountSharedPtr::operator=(ktRefCountSharedPtr const& aOther)
{
    Set(aOther.Get());
    return *this;
}

ktRefCount* ktRefCountSharedPtr::Get() const
{
    return mObject;
}

ktRefCount* ktRefCountSharedPtr::operator->() const
{
    return mObject;
}

ktRefCount* ktRefCountSharedPtr::operator*() const
{
    return mObject;
}

bool ktRefCountSharedPtr::operator==(ktRefCount const* aObject) const
{
    return mObject == aObject;
}

bool ktRefCountSharedPtr::operator!=(ktRefCount const* aObject) const
{
    return mObject != aObject;
}

bool ktRefCountSharedPtr::operator==(ktRefCountSharedPtr const& aOther) const
{
    return mObject == aOther.mObject;
}

bool ktRefCountSharedPtr::operator!=(ktRefCountSharedPtr const& aOther) const
{
    return mObject != aOther.mObject;
}
