#include "ktrefobjectarray.h"

#include "ktassert.h"
#include "ktlog.h"

namespace {

bool Check(bool aHolds, char const* aCondition, int aLine)
{
    return ktCheck(aHolds, "ktRefObjectArray", aCondition, "ktrefobjectarray", aLine);
}

// The texts by which the field searches for slots that are null and must not be; the first one has lost its parenthesis.
constexpr char kNullReplaced[] =
    "ktRefObjectArray: SetElement() - NULL element found in ktRefCountArray (Index=%d, numElements=%d";
constexpr char kNullCleared[] =
    "ktRefObjectArray: Clear() - NULL element found in ktRefCountArray (Index=%d, numElements=%d)";
constexpr char kNullCopied[] =
    "ktRefObjectArray: Copy() - NULL element found in ktRefCountArray (Index=%d, numElements=%d)";

void LogNullElement(char const* aFormat, int aIndex, int aCount)
{
    ktLogWithComponent(kLogPriorityCritical, nullptr, aFormat, aIndex, aCount);
}

/// Slots are not constant, but holders of constant objects own references too.
void* ToSlot(ktRefCount const* aElement)
{
    return const_cast<ktRefCount*>(aElement);
}

/// Takes the array's reference on what was stored.
ktError Hold(ktRefCount const* aElement, ktError aStored, int aLine)
{
    if (Check(aStored == kErrNone, "retval == 0", aLine))
        aElement->AddRef();
    return aStored;
}

/// Passes the array's reference on what was taken out.
ktRefCountSharedPtr HandOver(void* aElement)
{
    ktRefCount* const element = static_cast<ktRefCount*>(aElement);
    ktRefCountSharedPtr holder(element);
    if (element != nullptr)
        element->Release();
    return holder;
}

}  // namespace

ktRefCountArray::ktRefCountArray() = default;

ktRefCountArray::ktRefCountArray(ktRefCountArray const& aOther)
{
    Copy(aOther);
}

ktRefCountArray& ktRefCountArray::operator=(ktRefCountArray const& aOther)
{
    Check(Copy(aOther) == kErrNone, "err == 0", 271);
    return *this;
}

ktRefCountArray::~ktRefCountArray()
{
    Clear();
}

int ktRefCountArray::GetNumElements() const
{
    return mArray.GetNumElements();
}

ktBOOL ktRefCountArray::IsEmpty() const
{
    return mArray.IsEmpty();
}

ktRefCount* ktRefCountArray::Get(int aIndex) const
{
    return static_cast<ktRefCount*>(mArray.GetElement(aIndex));
}

ktRefCountSharedPtr ktRefCountArray::GetElement(int aIndex) const
{
    return ktRefCountSharedPtr(Get(aIndex));
}

ktRefCountSharedPtr ktRefCountArray::operator[](int aIndex) const
{
    return GetElement(aIndex);
}

ktError ktRefCountArray::SetElement(int aIndex, ktRefCount const* aElement)
{
    if (!Check(aElement != nullptr, "anElement != __null", 127))
        return kErrBadValue;
    if (!Check(aIndex >= 0, "anIndex >= 0", 130) ||
        !Check(aIndex < GetNumElements(), "anIndex < GetNumElements()", 131))
        return kErrNoRoom;
    ktRefCount const* const old = Get(aIndex);
    const ktError result = Hold(aElement, mArray.SetElement(aIndex, ToSlot(aElement)), 136);
    if (result != kErrNone)
        return result;
    if (old != nullptr)
        old->Release();
    else
        LogNullElement(kNullReplaced, aIndex, GetNumElements());
    return kErrNone;
}

ktError ktRefCountArray::SetElement(int aIndex, ktRefCountSharedPtr const& aElement)
{
    return SetElement(aIndex, aElement.Get());
}

ktError ktRefCountArray::Append(ktRefCount const* aElement)
{
    if (!Check(aElement != nullptr, "anElement != __null", 164))
        return kErrBadValue;
    return Hold(aElement, mArray.Append(ToSlot(aElement)), 167);
}

ktError ktRefCountArray::Append(ktRefCountSharedPtr const& aElement)
{
    return Append(aElement.Get());
}

ktError ktRefCountArray::InsertAt(int aIndex, ktRefCount const* aElement)
{
    if (!Check(aElement != nullptr, "anElement != __null", 241))
        return kErrBadValue;
    if (!Check(aIndex >= 0, "anIndex >= 0", 244) ||
        !Check(aIndex <= GetNumElements(), "anIndex <= GetNumElements()", 245))
        return kErrNoRoom;
    return Hold(aElement, mArray.InsertAt(aIndex, ToSlot(aElement)), 248);
}

ktError ktRefCountArray::InsertAt(int aIndex, ktRefCountSharedPtr const& aElement)
{
    return InsertAt(aIndex, aElement.Get());
}

int ktRefCountArray::FindElement(ktRefCount const* aElement) const
{
    return mArray.FindElement(ToSlot(aElement));
}

int ktRefCountArray::FindElement(ktRefCountSharedPtr const& aElement) const
{
    return FindElement(aElement.Get());
}

ktRefCountSharedPtr ktRefCountArray::RemoveAt(int aIndex)
{
    return HandOver(mArray.RemoveAt(aIndex));
}

ktRefCountSharedPtr ktRefCountArray::RemoveFromEnd()
{
    return HandOver(mArray.RemoveFromEnd());
}

void ktRefCountArray::Clear()
{
    for (int i = 0; i < GetNumElements(); ++i) {
        ktRefCount const* const element = Get(i);
        mArray[i] = nullptr;  // first, because an object may look into this array when it goes
        if (element != nullptr)
            element->Release();
        else
            LogNullElement(kNullCleared, i, GetNumElements());
    }
    mArray.Clear();
}

ktError ktRefCountArray::Copy(ktRefCountArray const& aOther)
{
    if (&aOther == this)
        return kErrNone;
    Clear();
    const ktError result = mArray.Copy(const_cast<ktArray&>(aOther.mArray));  // which only reads it
    if (!Check(result == kErrNone, "retval == 0", 64))
        return result;
    for (int i = 0; i < GetNumElements(); ++i) {
        ktRefCount const* const element = Get(i);
        if (element != nullptr)
            element->AddRef();
        else
            LogNullElement(kNullCopied, i, GetNumElements());
    }
    return kErrNone;
}

void ktRefCountArray::Erase(ktRefCountArray const& aOther)
{
    if (&aOther == this) {
        Clear();
        return;
    }
    for (int i = 0; i < aOther.GetNumElements(); ++i) {
        ktRefCount const* const element = aOther.Get(i);
        if (Check(element != nullptr, "elementToRemove != __null", 290))
            RemoveAt(FindElement(element));  // -1 removes nothing
    }
}

void ktRefCountArray::SortElements(int (*aComparator)(void const*, void const*, void*), void* aContext)
{
    mArray.SortElements(aComparator, aContext);
}
