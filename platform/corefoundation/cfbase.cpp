#include "CoreFoundation/CFBase.h"

#include "cfobject.h"

namespace cf {

void Object::Retain() const
{
    if (mCount.load(std::memory_order_relaxed) != kConstant)
        mCount.fetch_add(1, std::memory_order_relaxed);
}

void Object::Release() const
{
    const int count = mCount.load(std::memory_order_acquire);
    if (count == kConstant)
        return;
    // Nobody else can take a reference from an owner's only one, so the last release needs no locked instruction.
    if (count != 1 && mCount.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    Object* const self = const_cast<Object*>(this);
    self->Finalize();
    std::free(self);
}

CFIndex Object::RetainCount() const
{
    return mCount.load(std::memory_order_relaxed);
}

bool Object::Equals(Object const& aOther) const
{
    return this == &aOther;
}

CFHashCode Object::Hash() const
{
    return reinterpret_cast<CFHashCode>(this);
}

}  // namespace cf

CFTypeRef CFRetain(CFTypeRef aObject)
{
    if (aObject != nullptr)
        cf::ToObject(aObject)->Retain();
    return aObject;
}

void CFRelease(CFTypeRef aObject)
{
    if (aObject != nullptr)
        cf::ToObject(aObject)->Release();
}

CFIndex CFGetRetainCount(CFTypeRef aObject)
{
    return aObject != nullptr ? cf::ToObject(aObject)->RetainCount() : 0;
}

CFTypeID CFGetTypeID(CFTypeRef aObject)
{
    return aObject != nullptr ? cf::ToObject(aObject)->GetKind() : cf::kNothing;
}

Boolean CFEqual(CFTypeRef aFirst, CFTypeRef aSecond)
{
    if (aFirst == aSecond)
        return true;
    return CFGetTypeID(aFirst) == CFGetTypeID(aSecond) && cf::ToObject(aFirst)->Equals(*cf::ToObject(aSecond));
}

CFHashCode CFHash(CFTypeRef aObject)
{
    return aObject != nullptr ? cf::ToObject(aObject)->Hash() : 0;
}

CFStringRef CFCopyDescription(CFTypeRef aObject)
{
    return aObject != nullptr ? cf::ToObject(aObject)->CopyDescription() : nullptr;
}
