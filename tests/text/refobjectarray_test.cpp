// The array of shared objects.
#include "ktrefobjectarray.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/allocation.h"
#include "support/output.h"

namespace {

std::string sDeaths;

ktRefCountArray const* sWatched = nullptr;

/// Tells when nobody holds it any more, and looks into an array then.
struct Object : ktRefCount {
    explicit Object(char aName) : mName(aName) { }
    void Destroy() override { sDeaths += sWatched != nullptr && sWatched->FindElement(this) >= 0 ? '?' : mName; }

    const char mName;
} sA('a'), sB('b'), sC('c');

char NameOf(void const* aElement)
{
    return aElement != nullptr ? static_cast<Object const*>(static_cast<ktRefCount const*>(aElement))->mName : '-';
}

int CompareNames(void const* aFirst, void const* aSecond, void* aContext)
{
    return NameOf(aFirst) > NameOf(aSecond) && aContext == &sDeaths ? -1 : 0;
}

void Fill(ktRefCountArray& aArray)
{
    for (Object* object : {&sA, &sB, &sC})
        EXPECT_EQ(aArray.Append(object), 0);
}

/// The elements, and the reference counts of the three objects.
std::string StateOf(ktRefCountArray const& aArray)
{
    std::string state;
    for (int i = 0; i < aArray.GetNumElements(); ++i)
        state += NameOf(aArray.Get(i));
    for (Object const* object : {&sA, &sB, &sC})
        state += std::to_string(object->GetRefCount());
    return state;
}

TEST(RefCountArray, HoldsOneReferenceForEachElement)
{
    OutputTap tap;
    ktRefCountSharedPtr held(&sA);
    ktRefCountArray array;
    ktRefCountArray other;
    Fill(array);
    const struct {
        std::function<bool()> mDo;
        char const* mState;
    } steps[] = {
        {[&] { return array.Append(held) == 0 && array.Append(&sB) == 0; }, "abcab321"},
        {[&] { return array.GetElement(1) == &sB && array[2] == &sC && array.Get(0) == &sA; }, "abcab321"},
        {[&] { return array.SetElement(3, &sB) + array.SetElement(1, held) == 0; }, "aacbb321"},
        {[&] { return array.InsertAt(5, held) == 0 && array.InsertAt(0, &sC) == 0; }, "caacbba422"},
        {[&] { return array.FindElement(&sB) == 4 && array.FindElement(held) == 1; }, "caacbba422"},
        {[&] { return array.RemoveAt(0) == &sC && array.RemoveFromEnd() == &sA; }, "aacbb321"},
        {[&] { return held = array.RemoveAt(2), held == &sC && array.RemoveAt(4) == array.RemoveAt(-1); }, "aabb221"},
        {[&] { return array.Copy(array) == 0 && other.Copy(array) == 0; }, "aabb441"},
        {[&] {
             return other.RemoveAt(0) == &sA && other.SetElement(1, other[1]) == 0 && other.SetElement(1, &sC) == 0;
         },
         "aabb332"},
        {[&] { return array.Erase(ktRefCountArray(other)), true; }, "ab222"},  // each once
        {[&] { return array = other, true; }, "acb223"},
        {[&] { return array.SortElements(CompareNames, &sDeaths), true; }, "cba223"},
        {[&] { return array.Erase(array), array.IsEmpty() && array.RemoveFromEnd().Get() == nullptr; }, "112"},
    };
    for (auto const& step : steps) {
        EXPECT_TRUE(step.mDo()) << step.mState;
        EXPECT_EQ(StateOf(array), step.mState);
    }
    EXPECT_EQ(tap.mWrites, 0) << tap.mText;
}

TEST(RefCountArray, ReportsWhatItRefusesUnderTheLineThatTheFieldKnows)
{
    const ktRefCountSharedPtr none;
    ktRefCountArray array;
    Fill(array);
    const struct {
        std::function<ktError()> mDo;
        ktError mResult;
        char const* mReport;
    } refusals[] = {
        {[&] { return array.SetElement(9, none); }, -5, "anElement != __null, file: ktrefobjectarray, line: 127"},
        {[&] { return array.SetElement(-1, &sA); }, -6, "anIndex >= 0, file: ktrefobjectarray, line: 130"},
        {[&] { return array.SetElement(3, &sA); }, -6, "anIndex < GetNumElements(), file: ktrefobjectarray, line: 131"},
        {[&] { return array.Append(none); }, -5, "anElement != __null, file: ktrefobjectarray, line: 164"},
        {[&] { return array.Append(&sA); }, -2, "retval == 0, file: ktrefobjectarray, line: 167"},
        {[&] { return array.InsertAt(-1, none); }, -5, "anElement != __null, file: ktrefobjectarray, line: 241"},
        {[&] { return array.InsertAt(-1, &sA); }, -6, "anIndex >= 0, file: ktrefobjectarray, line: 244"},
        {[&] { return array.InsertAt(4, &sA); }, -6, "anIndex <= GetNumElements(), file: ktrefobjectarray, line: 245"},
        {[&] { return array.InsertAt(3, &sA); }, -2, "retval == 0, file: ktrefobjectarray, line: 248"},
    };
    for (auto const& refusal : refusals) {
        OutputTap tap;
        FailNthAllocation fail(1);
        EXPECT_EQ(refusal.mDo(), refusal.mResult);
        EXPECT_EQ(tap.mWrites, fail.Fired() ? 2 : 1) << "the slots have a line of their own";
        EXPECT_TRUE(tap.Has("(4) ktRefObjectArray: ASSERT: : " + std::string(refusal.mReport) + "\n")) << tap.mText;
        EXPECT_EQ(StateOf(array), "abc111") << refusal.mReport;
    }
    OutputTap tap;
    ktRefCountArray copy;
    EXPECT_EQ(copy.Append(&sC), 0);
    FailNthAllocation fail(1);
    copy = array;
    EXPECT_TRUE(fail.Fired() && tap.Has("ASSERT: : retval == 0, file: ktrefobjectarray, line: 64\n")) << tap.mText;
    EXPECT_TRUE(tap.Has("ASSERT: : err == 0, file: ktrefobjectarray, line: 271\n")) << tap.mText;
    EXPECT_EQ(StateOf(copy), "111");
    EXPECT_TRUE(array[3].Get() == nullptr && tap.Has("(4) ktarray: attempt to GetElement(3)\n")) << tap.mText;
}

TEST(RefCountArray, SkipsNullSlotsWithALine)
{
    OutputTap tap;
    ktRefCountArray array;
    Fill(array);
    array.RemoveAt(1);
    // No operation lets a null in, but programs were built to find the slots behind the virtual table.
    void* const slots = reinterpret_cast<char*>(&array) + sizeof(void*);
    EXPECT_EQ(static_cast<ktArray*>(slots)->InsertAt(1, nullptr), 0);
    const std::string line = "() - NULL element found in ktRefCountArray (Index=1, numElements=3";
    ktRefCountArray copy(array);
    EXPECT_TRUE(tap.Has("(4) ktRefObjectArray: Copy" + line + ")\n")) << tap.mText;
    EXPECT_EQ(StateOf(copy), "a-c202");
    EXPECT_EQ(copy.SetElement(1, &sB), 0);
    EXPECT_TRUE(tap.Has("(4) ktRefObjectArray: SetElement" + line + "\n")) << "without its parenthesis";
    EXPECT_EQ(StateOf(copy), "abc212");
    copy.Erase(array);
    EXPECT_TRUE(tap.Has("(4) ktRefObjectArray: ASSERT: : elementToRemove != __null, file: ktrefobjectarray, line: "));
    EXPECT_EQ(StateOf(copy), "b111");
    sDeaths.clear();
    sWatched = &array;
    array.Clear();
    sWatched = nullptr;
    EXPECT_TRUE(tap.Has("(4) ktRefObjectArray: Clear" + line + ")\n") && tap.mWrites == 4) << tap.mText;
    EXPECT_EQ(sDeaths, "ac") << "the first first, and not in it any more";
}

}  // namespace
