#include "cfarray.h"

#include <algorithm>
#include <climits>

namespace {

constexpr CFIndex kMaxCount = LONG_MAX / 2 / static_cast<CFIndex>(sizeof(void*));

bool CanChange(CFArrayRef aArray)
{
    return aArray != nullptr && aArray->IsMutable();
}

bool Contains(CFArrayRef aArray, CFIndex aIndex)
{
    return aArray != nullptr && aIndex >= 0 && aIndex < aArray->Count();
}

CFArrayRef Frozen(__CFArray* aArray)
{
    if (aArray != nullptr)
        aArray->Freeze();
    return aArray;
}

}  // namespace

CFArrayCallBacks const kCFTypeArrayCallBacks = {0, cf::RetainObject, cf::ReleaseObject, CFCopyDescription, CFEqual};

// The stored array.

__CFArray::__CFArray(cf::ValueRules const& aRules)
    : Object(cf::kArray), mRules(aRules), mIsMutable(true), mValues(nullptr), mCount(0), mCapacity(0)
{
}

__CFArray* __CFArray::Create(cf::ValueRules const& aRules, CFIndex aCapacity, void const* const* aValues,
                             CFIndex aCount)
{
    if (aCount < 0 || (aValues == nullptr && aCount != 0))
        return nullptr;
    cf::Owned<__CFArray*> array(cf::New<__CFArray>(aRules));
    if (!array || !array.Get()->Reserve(std::max(aCapacity, aCount)) || !array.Get()->Append(aValues, aCount))
        return nullptr;
    return array.Detach();
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the last release frees it
}

bool __CFArray::Insert(CFIndex aIndex, void const* aValue)
{
    if (!Reserve(mCount + 1) || !mRules.Keep(aValue))
        return false;
    std::copy_backward(mValues + aIndex, mValues + mCount, mValues + mCount + 1);
    mValues[aIndex] = aValue;
    ++mCount;
    return true;
}

void __CFArray::Replace(CFIndex aIndex, void const* aValue)
{
    if (mRules.Keep(aValue))
        mRules.Drop(std::exchange(mValues[aIndex], aValue));
}

void __CFArray::Remove(CFIndex aIndex)
{
    void const* const value = mValues[aIndex];
    std::copy(mValues + aIndex + 1, mValues + mCount, mValues + aIndex);
    --mCount;
    mRules.Drop(value);  // last: it may run code that looks at this array
}

void __CFArray::RemoveAll()
{
    void const** const values = std::exchange(mValues, nullptr);
    const CFIndex count = std::exchange(mCount, 0);
    mCapacity = 0;
    for (CFIndex i = 0; i < count; ++i)
        mRules.Drop(values[i]);
    std::free(values);
}

bool __CFArray::Equals(Object const& aOther) const
{
    __CFArray const& other = static_cast<__CFArray const&>(aOther);
    return mCount == other.mCount && std::equal(mValues, mValues + mCount, other.mValues,
                                                [this](auto* aOne, auto* aTwo) { return mRules.AreEqual(aOne, aTwo); });
}

CFHashCode __CFArray::Hash() const
{
    return static_cast<CFHashCode>(mCount);
}

CFStringRef __CFArray::CopyDescription() const
{
    cf::Description text;
    text.Add("(");
    for (CFIndex i = 0; i < mCount; ++i) {
        text.Add(i != 0 ? ", " : "");
        mRules.Describe(mValues[i], text);
    }
    text.Add(")");
    return text.Take();
}

void __CFArray::Finalize()
{
    RemoveAll();
}

bool __CFArray::Reserve(CFIndex aCount)
{
    if (aCount <= mCapacity)
        return true;
    if (aCount > kMaxCount)
        return false;
    const CFIndex capacity = std::max(aCount, mCapacity + mCapacity / 2);
    void* const block = std::realloc(mValues, static_cast<std::size_t>(capacity) * sizeof *mValues);
    if (block == nullptr)
        return false;
    mValues = static_cast<void const**>(block);
    mCapacity = capacity;
    return true;
}

bool __CFArray::Append(void const* const* aValues, CFIndex aCount)
{
    for (CFIndex i = 0; i < aCount; ++i) {
        if (!Insert(mCount, aValues[i]))
            return false;
    }
    return true;
}

// Creation.

CFTypeID CFArrayGetTypeID()
{
    return cf::kArray;
}

CFArrayRef CFArrayCreate(CFAllocatorRef /*aAllocator*/, void const** aValues, CFIndex aCount,
                         CFArrayCallBacks const* aCallBacks)
{
    return Frozen(__CFArray::Create(cf::ValueRules(aCallBacks), 0, aValues, aCount));
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef aAllocator, CFArrayRef aArray)
{
    if (aArray == nullptr || CanChange(aArray))
        return Frozen(CFArrayCreateMutableCopy(aAllocator, 0, aArray));
    CFRetain(aArray);
    return aArray;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef /*aAllocator*/, CFIndex aCapacity,
                                       CFArrayCallBacks const* aCallBacks)
{
    return __CFArray::Create(cf::ValueRules(aCallBacks), aCapacity, nullptr, 0);
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef /*aAllocator*/, CFIndex aCapacity, CFArrayRef aArray)
{
    return aArray != nullptr ? __CFArray::Create(aArray->Rules(), aCapacity, aArray->Values(), aArray->Count())
                             : nullptr;
}

// Reading.

CFIndex CFArrayGetCount(CFArrayRef aArray)
{
    return aArray != nullptr ? aArray->Count() : 0;
}

void const* CFArrayGetValueAtIndex(CFArrayRef aArray, CFIndex aIndex)
{
    return Contains(aArray, aIndex) ? aArray->Values()[aIndex] : nullptr;
}

void CFArrayGetValues(CFArrayRef aArray, CFRange aRange, void const** aValues)
{
    const CFRange range = cf::Clip(aRange, CFArrayGetCount(aArray));
    if (range.length != 0 && aValues != nullptr)
        std::copy_n(aArray->Values() + range.location, range.length, aValues);
}

Boolean CFArrayContainsValue(CFArrayRef aArray, CFRange aRange, void const* aValue)
{
    return CFArrayGetFirstIndexOfValue(aArray, aRange, aValue) != kCFNotFound;
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef aArray, CFRange aRange, void const* aValue)
{
    const CFRange range = cf::Clip(aRange, CFArrayGetCount(aArray));
    for (CFIndex i = range.location; i < range.location + range.length; ++i) {
        if (aArray->Rules().AreEqual(aArray->Values()[i], aValue))
            return i;
    }
    return kCFNotFound;
}

// Changing.

void CFArrayAppendValue(CFMutableArrayRef aArray, void const* aValue)
{
    CFArrayInsertValueAtIndex(aArray, CFArrayGetCount(aArray), aValue);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef aArray, CFIndex aIndex, void const* aValue)
{
    if (CanChange(aArray))
        aArray->Insert(std::clamp<CFIndex>(aIndex, 0, aArray->Count()), aValue);
}

void CFArraySetValueAtIndex(CFMutableArrayRef aArray, CFIndex aIndex, void const* aValue)
{
    if (!CanChange(aArray))
        return;
    if (Contains(aArray, aIndex))
        aArray->Replace(aIndex, aValue);
    else if (aIndex == aArray->Count())
        aArray->Insert(aIndex, aValue);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef aArray, CFIndex aIndex)
{
    if (CanChange(aArray) && Contains(aArray, aIndex))
        aArray->Remove(aIndex);
}

void CFArrayRemoveAllValues(CFMutableArrayRef aArray)
{
    if (CanChange(aArray))
        aArray->RemoveAll();
}

void CFArraySortValues(CFMutableArrayRef aArray, CFRange aRange, CFComparatorFunction aComparator, void* aContext)
{
    if (!CanChange(aArray) || aComparator == nullptr)
        return;
    const CFRange range = cf::Clip(aRange, aArray->Count());
    const auto isLess = [aComparator, aContext](void const* aFirst, void const* aSecond) {
        return aComparator(aFirst, aSecond, aContext) < kCFCompareEqualTo;
    };
    // A heap stays within its bounds whatever the comparator answers, which std::sort() does not.
    void const** const first = aArray->Values() + range.location;
    std::make_heap(first, first + range.length, isLess);
    std::sort_heap(first, first + range.length, isLess);
}
