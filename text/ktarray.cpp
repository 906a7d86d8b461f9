#include "ktarray.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "ktappendnew.h"
#include "ktassert.h"
#include "ktlog.h"
#include "ktmemory.h"

namespace {

bool Check(bool aHolds, char const* aCondition, int aLine)
{
    return ktCheck(aHolds, nullptr, aCondition, "ktarray", aLine);
}

void* ToSlot(int aValue)
{
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(aValue));
}

int ToInt(void* aSlot)
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(aSlot));
}

int CompareAlphabetically(void const* aFirst, void const* aSecond, void* /*aContext*/)
{
    constexpr auto options = static_cast<int>(kCFCompareCaseInsensitive | kCFCompareNonliteral |
                                              kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive);
    if (aFirst == nullptr || aSecond == nullptr)
        return (aFirst != nullptr) - (aSecond != nullptr);
    return static_cast<ktString const*>(aFirst)->Compare(*static_cast<ktString const*>(aSecond), options);
}

/// The base class lets plain strings in, which have no index.
ktIndexedString* AsIndexed(void* aElement)
{
    return dynamic_cast<ktIndexedString*>(static_cast<ktString*>(aElement));
}

/// Takes the array's reference on what was stored.
ktError Hold(ktRefString const* aString, ktError aStored)
{
    if (aStored == kErrNone && aString != nullptr)
        aString->AddRef();
    return aStored;
}

}  // namespace

ktArray::ktArray() : mElements(nullptr), mNumElements(0), mCapacity(0)
{
}

ktArray::~ktArray()
{
    ktFREE(mElements);
}

void ktArray::Clear()
{
    mNumElements = 0;
}

void ktArray::SortElements(int (*aComparator)(void const*, void const*, void*), void* aContext)
{
    SortElements(kt::Core::Range(0, static_cast<std::size_t>(mNumElements)), aComparator, aContext);
}

void ktArray::SortElements(kt::Core::Range const& aRange, int (*aComparator)(void const*, void const*, void*),
                           void* aContext)
{
    const auto count = static_cast<std::size_t>(mNumElements);
    const bool isInside = aRange.mBase <= count && aRange.mLength <= count - aRange.mBase;  // a sum could wrap around
    if (!Check(mNumElements >= 0, "mNumElements >= 0", 284) ||
        !Check(isInside, "aRange.mBase + aRange.mLength <= static_cast<size_t>(mNumElements)", 285) ||
        !Check(aComparator != nullptr, "aComparator != __null", 286) || !ProvideSlots(aRange.mBase + aRange.mLength))
        return;
    void** const first = mElements + aRange.mBase;
    std::sort(first, first + aRange.mLength, [aComparator, aContext](void const* aFirst, void const* aSecond) {
        return aComparator(aFirst, aSecond, aContext) < 0;
    });
}

void* ktArray::GetElement(int aIndex) const
{
    if (aIndex < 0 || aIndex >= mNumElements)
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktarray: attempt to GetElement(%d)", aIndex);
    return At(aIndex);
}

void*& ktArray::operator[](int aIndex)
{
    return mElements[aIndex];
}

int ktArray::GetNumElements() const
{
    return mNumElements;
}

ktBOOL ktArray::IsEmpty() const
{
    return mNumElements == 0;
}

ktError ktArray::Append(void* aElement)
{
    const ktError result = MakeRoom();
    if (result != kErrNone)
        return result;
    mElements[mNumElements++] = aElement;  // NOLINT(clang-analyzer-core.NullDereference): no count is below 0
    return kErrNone;
}

ktError ktArray::InsertAt(int aIndex, void* aElement)
{
    if (!Check(aIndex >= 0, "aIndex >= 0", 188) || aIndex > mNumElements)
        return kErrNoRoom;
    const ktError result = MakeRoom();
    if (result != kErrNone)
        return result;
    void** const slot = mElements + aIndex;
    std::copy_backward(slot, mElements + mNumElements, mElements + mNumElements + 1);
    *slot = aElement;
    ++mNumElements;
    return kErrNone;
}

ktError ktArray::SetElement(int aIndex, void* aElement)
{
    if (aIndex < 0 || aIndex == INT_MAX) {
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktarray: attempt to SetElement(%d, %p)", aIndex, aElement);
        return kErrNoRoom;
    }
    if (aIndex >= CountSlots()) {
        const int oldSlots = CountSlots();
        const int count = std::max(aIndex + 1, mNumElements);
        const ktError result = GrowArray(count);
        if (result != kErrNone)  // slots that were there all along hold what was removed from them
            std::fill(mElements + oldSlots, mElements + std::min(count, mCapacity), nullptr);
        mNumElements = count;  // whatever came of it: programs size what goes with the array by it
        if (result != kErrNone)
            return result;
    }
    mElements[aIndex] = aElement;
    return kErrNone;
}

void* ktArray::RemoveAt(int aIndex)
{
    if (aIndex < 0 || aIndex >= mNumElements)
        return nullptr;
    void* const element = At(aIndex);
    const int slots = CountSlots();
    if (aIndex < slots) {
        std::copy(mElements + aIndex + 1, mElements + slots, mElements + aIndex);
        mElements[slots - 1] = nullptr;  // where slots are missing behind it, a missing one has moved here
    }
    --mNumElements;
    return element;
}

void* ktArray::RemoveFromEnd()
{
    return RemoveAt(mNumElements - 1);
}

int ktArray::FindElement(void* aElement) const
{
    const int slots = CountSlots();
    void** const end = mElements + slots;
    void** const found = std::find(mElements, end, aElement);
    if (found != end)
        return static_cast<int>(found - mElements);
    return aElement == nullptr && slots < mNumElements ? slots : -1;
}

void ktArray::MoveElementToBeginning(int aIndex)
{
    if (aIndex < 1 || aIndex >= mNumElements || !ProvideSlots(static_cast<std::size_t>(aIndex) + 1))
        return;
    std::rotate(mElements, mElements + aIndex, mElements + aIndex + 1);
}

ktError ktArray::Copy(ktArray& aOther)
{
    if (&aOther == this)
        return kErrNone;
    const ktError result = aOther.mNumElements > mCapacity ? GrowArray(aOther.mNumElements) : kErrNone;
    if (result != kErrNone)
        return result;
    void** const end = std::copy(aOther.mElements, aOther.mElements + aOther.CountSlots(), mElements);
    mNumElements = aOther.mNumElements;
    std::fill(end, mElements + mNumElements, nullptr);
    return kErrNone;
}

ktError ktArray::GrowArray(int aCount)
{
    const auto count = static_cast<std::size_t>(aCount);
    const bool isPossible = aCount > 0 && count <= SIZE_MAX / sizeof *mElements;
    void* const block = isPossible ? ktREALLOC(mElements, count * sizeof *mElements) : nullptr;
    if (block == nullptr && aCount != 0) {
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktarray: failed to allocate %d array elements", aCount);
        return kErrNoMemory;
    }
    if (aCount == 0)
        ktFREE(mElements);  // a realloc to nothing frees as well, but looks like one that failed
    mElements = static_cast<void**>(block);
    std::fill(mElements + std::min(CountSlots(), aCount), mElements + aCount, nullptr);
    mNumElements = std::min(mNumElements, aCount);
    mCapacity = aCount;
    return kErrNone;
}

/// The element; null, and no log line, where there is none.
void* ktArray::At(int aIndex) const
{
    return aIndex >= 0 && aIndex < CountSlots() ? mElements[aIndex] : nullptr;
}

/// Before what owns its elements goes through them one by one: the missing ones can be very many.
void ktArray::ForgetMissingSlots()
{
    mNumElements = CountSlots();
}

/// The elements that have a slot.
int ktArray::CountSlots() const
{
    return std::min(mNumElements, mCapacity);
}

/// @return false when the first `aCount` elements have no slots, and there is still no memory for those that are
///        missing.
bool ktArray::ProvideSlots(std::size_t aCount)
{
    return aCount <= static_cast<std::size_t>(mCapacity) || GrowArray(mNumElements) == kErrNone;
}

/// Room for one more. By one slot only: the device has more time than memory.
ktError ktArray::MakeRoom()
{
    if (mNumElements < mCapacity)
        return kErrNone;
    return mNumElements < INT_MAX ? GrowArray(mNumElements + 1) : kErrNoRoom;
}

ktIntArray::ktIntArray() = default;

ktIntArray::~ktIntArray() = default;

int ktIntArray::GetElement(int aIndex) const
{
    return ToInt(ktArray::GetElement(aIndex));
}

ktError ktIntArray::SetElement(int aIndex, int aValue)
{
    return ktArray::SetElement(aIndex, ToSlot(aValue));
}

ktError ktIntArray::Append(int aValue)
{
    return ktArray::Append(ToSlot(aValue));
}

ktError ktIntArray::InsertAt(int aIndex, int aValue)
{
    return ktArray::InsertAt(aIndex, ToSlot(aValue));
}

int ktIntArray::RemoveAt(int aIndex)
{
    return ToInt(ktArray::RemoveAt(aIndex));
}

int ktIntArray::RemoveFromEnd()
{
    return ToInt(ktArray::RemoveFromEnd());
}

int ktIntArray::FindElement(int aValue) const
{
    return ktArray::FindElement(ToSlot(aValue));
}

ktError ktIntArray::Copy(ktIntArray& aOther)
{
    return ktArray::Copy(aOther);
}

ktStringArray::ktStringArray() = default;

ktStringArray::~ktStringArray()
{
    ktStringArray::Clear();
}

void ktStringArray::Clear()
{
    ForgetMissingSlots();
    while (!IsEmpty())
        delete RemoveFromEnd();
}

void ktStringArray::SortByAlpha()
{
    SortElements(CompareAlphabetically, nullptr);
}

ktString* ktStringArray::GetElement(int aIndex) const
{
    return static_cast<ktString*>(ktArray::GetElement(aIndex));
}

ktError ktStringArray::Append(ktString* aString)
{
    return ktArray::Append(aString);
}

ktError ktStringArray::InsertAt(int aIndex, ktString* aString)
{
    return ktArray::InsertAt(aIndex, aString);
}

ktError ktStringArray::SetElement(int aIndex, ktString* aString)
{
    if (aIndex >= GetNumElements())
        return kErrNoRoom;
    ktString* const old = static_cast<ktString*>(At(aIndex));
    const ktError result = ktArray::SetElement(aIndex, aString);
    if (result == kErrNone && old != aString)
        delete old;
    return result;
}

ktString* ktStringArray::RemoveAt(int aIndex)
{
    return static_cast<ktString*>(ktArray::RemoveAt(aIndex));
}

ktString* ktStringArray::RemoveFromEnd()
{
    return static_cast<ktString*>(ktArray::RemoveFromEnd());
}

ktError ktStringArray::AppendAndCopy(ktString const* aString)
{
    if (aString == nullptr)
        return kErrBadValue;
    auto const* const indexed = dynamic_cast<ktIndexedString const*>(aString);
    if (indexed != nullptr)  // so that a copy of an indexed array is one too
        return ktAppendNew<ktIndexedString>(*this, [indexed](ktIndexedString& aCopy) {
            return aCopy.Set(indexed->GetIndex(), indexed->GetAsCFString());
        });
    return ktAppendNew<ktString>(*this, [aString](ktString& aCopy) { return aCopy.Copy(*aString); });
}

ktError ktStringArray::AppendAndCopy(char const* aText)
{
    if (aText == nullptr)
        return kErrBadValue;
    return ktAppendNew<ktString>(*this, [aText](ktString& aCopy) { return aCopy.Copy(aText); });
}

ktError ktStringArray::Copy(ktStringArray const& aOther)
{
    if (&aOther == this)
        return kErrNone;
    Clear();
    ktError result = GrowArray(aOther.GetNumElements());
    for (int i = 0; i < aOther.GetNumElements() && result == kErrNone; ++i) {
        ktString const* const string = static_cast<ktString*>(aOther.At(i));
        result = string != nullptr ? AppendAndCopy(string) : Append(nullptr);
    }
    return result;
}

void ktStringArray::ClearNoDelete()
{
    ktArray::Clear();
}

int ktStringArray::FindElement(ktString const* aString) const
{
    if (aString == nullptr)
        return -1;
    for (int i = 0; i < GetNumElements(); ++i) {
        ktString const* const string = static_cast<ktString*>(At(i));
        if (string != nullptr && string->Equals(*aString, ktBOOL{false}))
            return i;
    }
    return -1;
}

ktError ktStringArray::JoinWithSeparator(char const* aSeparator, ktString& aOut) const
{
    ktString joined;  // because aOut may be an element, or what the separator points into
    ktError result = kErrNone;
    for (int i = 0; i < GetNumElements() && result == kErrNone; ++i) {
        ktString const* const string = static_cast<ktString*>(At(i));
        if (i != 0)
            result = joined.Append(aSeparator);
        if (result == kErrNone && string != nullptr)
            result = joined.Append(*string);
    }
    return result == kErrNone ? aOut.Copy(joined) : result;
}

ktIndexedStringArray::ktIndexedStringArray() = default;

ktIndexedStringArray::~ktIndexedStringArray() = default;

void ktIndexedStringArray::SortByAlpha()
{
    ktStringArray::SortByAlpha();
}

ktIndexedString* ktIndexedStringArray::GetElement(int aPosition) const
{
    return AsIndexed(ktStringArray::GetElement(aPosition));
}

ktError ktIndexedStringArray::Append(ktIndexedString* aString)
{
    return ktStringArray::Append(aString);
}

ktError ktIndexedStringArray::InsertAt(int aPosition, ktIndexedString* aString)
{
    return ktStringArray::InsertAt(aPosition, aString);
}

ktIndexedString* ktIndexedStringArray::RemoveAt(int aPosition)
{
    void* const element = At(aPosition);
    ktIndexedString* const string = AsIndexed(element);
    if (string != nullptr || element == nullptr)
        ktStringArray::RemoveAt(aPosition);
    return string;
}

int ktIndexedStringArray::GetPositionByIndex(int aIndex) const
{
    for (int i = 0; i < GetNumElements(); ++i) {
        ktIndexedString const* const string = AsIndexed(At(i));
        if (string != nullptr && string->GetIndex() == aIndex)
            return i;
    }
    return -1;
}

ktIndexedString* ktIndexedStringArray::GetElementByIndex(int aIndex) const
{
    return GetElement(GetPositionByIndex(aIndex));  // -1 is let through: the field looks for its log line
}

ktError ktIndexedStringArray::AppendAndCopyWithIndex(int aIndex, CFStringRef aText)
{
    return ktAppendNew<ktIndexedString>(
        *this, [aIndex, aText](ktIndexedString& aString) { return aString.Set(aIndex, aText); });
}

ktRefStringArray::ktRefStringArray() = default;

ktRefStringArray::~ktRefStringArray()
{
    ktRefStringArray::Clear();
}

void ktRefStringArray::Clear()
{
    ForgetMissingSlots();
    while (!IsEmpty()) {
        ktRefString const* const string = RemoveFromEnd();
        if (string != nullptr)
            string->Release();
    }
}

ktRefString* ktRefStringArray::GetElement(int aIndex) const
{
    ktRefString* const string = static_cast<ktRefString*>(ktArray::GetElement(aIndex));
    if (string != nullptr)
        string->AddRef();
    return string;
}

ktError ktRefStringArray::Append(ktRefString* aString)
{
    return Hold(aString, ktArray::Append(aString));
}

ktError ktRefStringArray::InsertAt(int aIndex, ktRefString* aString)
{
    return Hold(aString, ktArray::InsertAt(aIndex, aString));
}

ktError ktRefStringArray::SetElement(int aIndex, ktRefString* aString)
{
    ktRefString const* const old = static_cast<ktRefString*>(At(aIndex));
    const ktError result = Hold(aString, ktArray::SetElement(aIndex, aString));
    // Last, because it may be the very one that was set, or what keeps that one alive.
    if (result == kErrNone && old != nullptr)
        old->Release();
    return result;
}

ktRefString* ktRefStringArray::RemoveAt(int aIndex)
{
    return static_cast<ktRefString*>(ktArray::RemoveAt(aIndex));
}

ktRefString* ktRefStringArray::RemoveFromEnd()
{
    return static_cast<ktRefString*>(ktArray::RemoveFromEnd());
}

int ktRefStringArray::FindElement(ktRefString* aString) const
{
    return ktArray::FindElement(aString);
}

ktError ktRefStringArray::Copy(ktRefStringArray& aOther)
{
    if (&aOther == this)
        return kErrNone;
    Clear();
    ktError result = GrowArray(aOther.GetNumElements());
    for (int i = 0; i < aOther.GetNumElements() && result == kErrNone; ++i) {
        ktRefString* const string = static_cast<ktRefString*>(aOther.At(i));
        result = string != nullptr ? Append(string) : kErrGeneric;
    }
    return result;
}
