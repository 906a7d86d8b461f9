// The array of pointers and its typed forms.
#include "ktarray.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <climits>
#include <cstdint>
#include <functional>
#include <string>

#include "support/allocation.h"
#include "support/output.h"
#include "support/sum.h"

namespace {

char sThings[26];

/// What the tests put into slots: a thing for each letter, null for '-'.
void* Thing(char aLetter) { return aLetter == '-' ? nullptr : sThings + (aLetter - 'a'); }

void* const sX = Thing('x');

std::string LettersOf(ktArray const& aArray)
{
    std::string letters;
    for (int i = 0; i < aArray.GetNumElements(); ++i) {
        char const* const thing = static_cast<char const*>(aArray.GetElement(i));
        letters += thing != nullptr ? static_cast<char>('a' + (thing - sThings)) : '-';
    }
    return letters;
}

/// The last thing first, null behind all.
int CompareThings(void const* aFirst, void const* aSecond, void* aContext)
{
    EXPECT_EQ(aContext, sThings);
    const auto first = reinterpret_cast<std::uintptr_t>(aFirst);
    const auto second = reinterpret_cast<std::uintptr_t>(aSecond);
    return (first < second) - (first > second);
}

void Sort(ktArray& aArray, kt::Core::Range const& aRange) { aArray.SortElements(aRange, CompareThings, sThings); }

// Each change is made to an array of "abcd", and to "abc---" of which two slots are missing because SetElement() found
// no memory for them; once with memory and once without, when a change either needs none or leaves every element alone.
TEST(Array, ChangesItsElementsOrLeavesThem)
{
    const struct {
        std::function<bool(ktArray&)> mDo;
        char const* mOfFull;
        char const* mOfShort;
    } changes[] = {
        {[](ktArray& aA) { return aA.Append(sX) == 0; }, "abcdx", "abc---x"},
        {[](ktArray& aA) { return aA.InsertAt(1, sX) == 0; }, "axbcd", "axbc---"},
        {[](ktArray& aA) { return aA.InsertAt(aA.GetNumElements(), sX) == 0; }, "abcdx", "abc---x"},
        {[](ktArray& aA) { return aA.SetElement(4, sX) == 0; }, "abcdx", "abc-x-"},
        {[](ktArray& aA) { return aA.SetElement(7, sX) == 0; }, "abcd---x", "abc----x"},
        {[](ktArray& aA) { return aA.SetElement(3, sX) == 0 && aA.RemoveAt(0) == Thing('a'); }, "bcx", "bcx--"},
        {[](ktArray& aA) { return aA.RemoveAt(aA.GetNumElements()) == aA.RemoveAt(-1); }, "abcd", "abc---"},
        {[](ktArray& aA) { return aA.RemoveFromEnd() == Thing(aA.GetNumElements() == 3 ? 'd' : '-'); }, "abc", "abc--"},
        {[](ktArray& aA) { return aA[3] = sX, aA.FindElement(nullptr) == (aA.GetNumElements() == 4 ? -1 : 4); }, "abcx",
         "abcx--"},
        {[](ktArray& aA) { return aA.MoveElementToBeginning(aA.GetNumElements() - 1), true; }, "dabc", "-abc--"},
        {[](ktArray& aA) { return aA.MoveElementToBeginning(0), aA.MoveElementToBeginning(9), true; }, "abcd",
         "abc---"},
        {[](ktArray& aA) { return aA.SortElements(CompareThings, sThings), true; }, "dcba", "cba---"},
        {[](ktArray& aA) { return Sort(aA, kt::Core::Range(1, 2)), true; }, "acbd", "acb---"},
        {[](ktArray& aA) { return aA[1] = sX, aA.Copy(aA) == 0; }, "axcd", "axc---"},
        {[](ktArray& aA) { return aA.GrowArray(1) == 0; }, "a", "a"},
        {[](ktArray& aA) { return aA.GrowArray(0) + aA.GrowArray(0) == 0; }, "", ""},
    };
    for (auto const& change : changes) {
        for (int round = 0; round < 4; ++round) {
            OutputTap tap;
            const bool isShort = round % 2 != 0;
            ktArray array;
            ktArray copy;
            for (int i = 0; i < 9; ++i)  // what was in a slot before must not come back
                EXPECT_EQ(copy.Append(Thing('z')) + (i < (isShort ? 4 : 6) ? array.Append(Thing('z')) : 0), 0);
            array.Clear();
            for (int i = 0; i < (isShort ? 3 : 4); ++i)
                EXPECT_EQ(array.Append(sThings + i), 0);
            FailNthAllocation failBefore(isShort ? 1 : 0);
            EXPECT_EQ(isShort ? array.SetElement(5, Thing('x')) : -2, -2);
            FailNthAllocation fail(round < 2 ? 0 : 1);
            const bool isDone = change.mDo(array);
            const bool hasFailed = fail.Fired();
            EXPECT_EQ(tap.mWrites, (isShort ? 1 : 0) + (hasFailed ? 1 : 0)) << tap.mText;
            std::string expected = isShort ? change.mOfShort : change.mOfFull;
            if (hasFailed)  // what SetElement() could not fill counts all the same
                expected = std::string(isShort ? "abc-----" : "abcd----", LettersOf(array).size());
            EXPECT_TRUE(isDone || hasFailed) << expected;
            EXPECT_EQ(LettersOf(array), expected);
            EXPECT_EQ(copy.Copy(array), 0);
            EXPECT_EQ(LettersOf(copy), expected);
        }
    }
}

TEST(Array, RefusesWhatIsOutOfRangeInItsOwnWords)
{
    OutputTap tap;
    ktArray array;
    EXPECT_EQ(Sum({array.Append(Thing('a')), array.Append(Thing('b'))}), 0);
    EXPECT_TRUE(array.GetElement(-1) == nullptr && array.GetElement(2) == nullptr);
    EXPECT_TRUE(array.SetElement(-1, nullptr) == -6 && array.SetElement(INT_MAX, nullptr) == -6);
    EXPECT_TRUE(array.InsertAt(-1, nullptr) == -6 && array.InsertAt(3, nullptr) == -6 && array.GrowArray(-1) == -2);
    Sort(array, kt::Core::Range(1, 2));
    array.SortElements(nullptr, nullptr);
    for (char const* line :
         {"ktarray: attempt to GetElement(-1)", "ktarray: attempt to GetElement(2)",
          "ktarray: attempt to SetElement(-1, 0)", "ktarray: attempt to SetElement(2147483647, 0)",
          "ASSERT: : aIndex >= 0, file: ktarray, line: 188", "ktarray: failed to allocate -1 array elements",
          "ASSERT: : aRange.mBase + aRange.mLength <= static_cast<size_t>(mNumElements), file: ktarray, line: 285",
          "ASSERT: : aComparator != __null, file: ktarray, line: 286"})
        EXPECT_TRUE(tap.Has(std::string("(4) ") + line + "\n")) << line << " in " << tap.mText;
    EXPECT_EQ(tap.mWrites, 8) << "an index behind the end is refused without a word";
    Sort(array, kt::Core::Range(SIZE_MAX, 2));
    EXPECT_EQ(LettersOf(array) + std::to_string(tap.mWrites), "ab9");
    FailNthAllocation fail(1);
    EXPECT_EQ(array.SetElement(INT_MAX - 1, nullptr), -2);
    EXPECT_EQ(Sum({array.Append(nullptr), array.GetNumElements()}), INT_MAX - 6);
}

TEST(Array, GrowsByTheOneSlotThatItNeeds)
{
    ktArray array;
    for (int i = 0; i < 100; ++i) {
        OutputTap tap;
        FailNthAllocation fail(1);
        EXPECT_EQ(i % 2 != 0 ? array.Append(nullptr) : array.InsertAt(0, nullptr), -2);
        EXPECT_TRUE(tap.Has("(4) ktarray: failed to allocate " + std::to_string(i + 1) + " array elements\n"));
        EXPECT_EQ(i % 2 != 0 ? array.Append(nullptr) : array.InsertAt(0, nullptr), 0);
    }
    EXPECT_LE(malloc_usable_size(&array[0]), 100 * sizeof(void*) + 16);
}

TEST(IntArray, KeepsIntegersInItsSlots)
{
    OutputTap tap;
    ktIntArray array;
    ktIntArray copy;
    EXPECT_EQ(Sum({array.Append(INT_MIN), array.Append(-1), array.InsertAt(1, INT_MAX), array.SetElement(2, 7)}), 0);
    EXPECT_EQ(copy.Copy(array), 0);
    for (int value : {INT_MIN, INT_MAX})
        EXPECT_TRUE(copy.FindElement(value) == 0 && copy.GetElement(0) == value && copy.RemoveAt(0) == value) << value;
    EXPECT_TRUE(copy.RemoveFromEnd() == 7 && copy.RemoveFromEnd() == 0 && copy.GetElement(0) == 0);
    EXPECT_EQ(tap.mWrites, 1) << "GetElement() alone speaks";
}

int sDeaths = 0;

/// Counts the deaths of its kind.
template <typename String>
struct Mortal : String {
    ~Mortal() override { ++sDeaths; }
};
using Text = Mortal<ktString>;
using RefText = Mortal<ktRefString>;

std::string TextsOf(ktStringArray const& aArray)
{
    ktString all(",");
    EXPECT_EQ(aArray.JoinWithSeparator(all.GetAsUTFArray(), all), 0) << "the separator may be what is replaced";
    return all.GetAsUTFArray();
}

TEST(StringArray, OwnsWhatWentInAndNothingElse)
{
    OutputTap tap;
    sDeaths = 0;
    Text refused;
    Text* const a = new Text;
    Text* const b = new Text;
    {
        ktStringArray array;
        array.Clear();
        EXPECT_EQ(Sum({array.Append(a), array.Append(b), array.InsertAt(1, new Text)}), 0);
        EXPECT_EQ(Sum({array.SetElement(1, new Text), array.SetElement(0, a), sDeaths}), 1)
            << "setting it again is none";
        EXPECT_EQ(Sum({array.SetElement(3, &refused), array.SetElement(-1, nullptr), array.InsertAt(4, &refused)}),
                  -18);
        FailNthAllocation fail(1);
        EXPECT_EQ(Sum({array.Append(&refused), tap.mWrites}), -2 + 2)
            << "one line for a negative index, one for memory";
        EXPECT_TRUE(array.RemoveFromEnd() == b && array.RemoveAt(0) == a && array.RemoveAt(1) == nullptr);
        ktString* const last = array.GetElement(0);
        array.ClearNoDelete();
        EXPECT_TRUE(sDeaths == 1 && array.RemoveFromEnd() == nullptr);
        EXPECT_EQ(Sum({array.Append(a), array.Append(nullptr), array.Append(last)}), 0);
    }
    delete b;
    EXPECT_EQ(sDeaths, 4);
}

TEST(StringArray, JoinsFindsAndSortsTexts)
{
    OutputTap tap;
    ktStringArray array;
    EXPECT_EQ(TextsOf(array), "");
    EXPECT_EQ(array.AppendAndCopy("zeta"), 0);
    EXPECT_EQ(TextsOf(array), "zeta");
    for (char const* text : {"\u00c9clair", "apple", "\uff22AN", "eclat", "\u1100\u1161b", "\uac00a"})
        EXPECT_EQ(array.AppendAndCopy(text), 0);
    EXPECT_EQ(array.Append(nullptr), 0);
    array.SortByAlpha();
    // Without case, accents, width and the way characters are composed; null first.
    EXPECT_EQ(TextsOf(array), ",apple,\uff22AN,\u00c9clair,eclat,zeta,\uac00a,\u1100\u1161b");
    const ktString upper("APPLE");
    const ktString lower("apple");
    EXPECT_TRUE(array.FindElement(&lower) == 1 && array.FindElement(&upper) == -1 && array.FindElement(nullptr) == -1);
    ktString& own = *array.GetElement(2);
    own = "-";
    FailNthAllocation fail(1, FailNthAllocation::kFromThenOn);
    EXPECT_TRUE(array.JoinWithSeparator("x", own) == -2 && fail.Fired()) << "and keeps what it has";
    EXPECT_EQ(array.JoinWithSeparator(own.GetAsUTFArray(), own), 0) << "into an element, and with its text";
    EXPECT_STREQ(own.GetAsUTFArray(), "-apple---\u00c9clair-eclat-zeta-\uac00a-\u1100\u1161b");
}

TEST(StringArray, CopiesTextsOrSaysThatItCannot)
{
    ktStringArray source;
    const ktString text("a text");
    EXPECT_EQ(Sum({source.AppendAndCopy(&text), source.AppendAndCopy("\u00fcber"), source.Append(nullptr)}), 0);
    EXPECT_EQ(source.AppendAndCopy(static_cast<char const*>(nullptr)), -5);
    EXPECT_EQ(Sum({source.AppendAndCopy(static_cast<ktString const*>(nullptr)), source.Copy(source)}), -5);
    ktError copied = kErrNoMemory;
    for (int n = 1; copied != kErrNone || n < 9; ++n) {
        OutputTap tap;
        ktStringArray array;
        EXPECT_EQ(array.AppendAndCopy("old"), 0);
        FailNthAllocation fail(n);
        copied = array.Copy(source);
        const bool hasFailed = fail.Fired();
        EXPECT_TRUE(copied == 0 || (copied == -2 && hasFailed)) << "allocation " << n;
        EXPECT_EQ(TextsOf(array), copied == 0 ? "a text,\u00fcber," : array.IsEmpty() ? "" : "a text");
    }
    ktStringArray none;
    EXPECT_EQ(Sum({source.Copy(none), source.GetNumElements()}), 0);
}

TEST(IndexedStringArray, FindsItsStringsByTheirIndex)
{
    OutputTap tap;
    ktIndexedStringArray array;
    EXPECT_EQ(Sum({array.AppendAndCopyWithIndex(5, CFSTR("b")), array.Append(new ktIndexedString(7, CFSTR("a")))}), 0);
    EXPECT_EQ(Sum({array.InsertAt(1, new ktIndexedString(5, CFSTR("c"))), array.AppendAndCopyWithIndex(1, nullptr)}),
              -5);
    EXPECT_TRUE(array.GetPositionByIndex(5) == 0 && *array.GetElementByIndex(7) == "a");
    ktIndexedStringArray copy;
    EXPECT_TRUE(copy.Copy(array) == 0 && copy.GetPositionByIndex(7) == 2) << "the indices go along";
    static_cast<ktStringArray&>(array).SortByAlpha();
    EXPECT_EQ(array.ktStringArray::AppendAndCopy("plain") + array.ktStringArray::InsertAt(0, nullptr), 0);
    EXPECT_TRUE(array.GetElement(4) == nullptr && array.RemoveAt(4) == nullptr && array.GetPositionByIndex(0) == -1);
    EXPECT_EQ(array.RemoveAt(0), nullptr);
    EXPECT_EQ(TextsOf(array), "a,b,c,plain") << "what has no index stays where it is";
    delete array.RemoveAt(2);
    EXPECT_TRUE(tap.mWrites == 0 && array.GetElementByIndex(6) == nullptr && tap.mWrites == 1);
    EXPECT_TRUE(tap.Has("(4) ktarray: attempt to GetElement(-1)\n")) << tap.mText;
}

TEST(RefStringArray, HoldsOneReferenceForEachElement)
{
    OutputTap tap;
    sDeaths = 0;
    RefText* const a = new RefText;
    RefText* const b = new RefText;
    RefText* const c = new RefText;
    a->AddRef();
    const auto counts = [&] { return a->GetRefCount() * 100 + b->GetRefCount() * 10 + c->GetRefCount(); };
    ktRefStringArray array;
    array.Clear();
    EXPECT_EQ(Sum({array.Append(a), array.InsertAt(0, b), array.Append(a), counts()}), 310);
    EXPECT_TRUE(array.GetElement(0) == b && counts() == 320) << "one is the caller's";
    b->Release();
    EXPECT_EQ(Sum({array.SetElement(0, b), counts()}), 310) << "it had the only reference on what is set";
    EXPECT_EQ(Sum({array.SetElement(1, b), counts()}), 220);
    EXPECT_TRUE(array.FindElement(b) == 0 && array.FindElement(a) == 2 && array.FindElement(c) == -1);
    FailNthAllocation fail(1, FailNthAllocation::kFromThenOn);
    EXPECT_EQ(Sum({array.Append(c), array.InsertAt(0, c), array.SetElement(INT_MAX - 1, c), counts()}), 220 - 6);
    EXPECT_EQ(Sum({array.InsertAt(-1, c), array.SetElement(-1, c), counts()}), 220 - 12);
    EXPECT_TRUE(fail.Fired() && array.GetNumElements() == INT_MAX && array.GetElement(5) == nullptr);
    array.Clear();
    EXPECT_TRUE(sDeaths == 1 && a->GetRefCount() == 1) << "b died with its last reference";

    ktRefStringArray copy;
    EXPECT_EQ(Sum({array.Append(a), array.Append(c), copy.Copy(array), copy.Copy(copy)}), 0);
    EXPECT_TRUE(copy.GetNumElements() == 2 && a->GetRefCount() == 3 && c->GetRefCount() == 2);
    EXPECT_TRUE(array.InsertAt(1, nullptr) == 0 && copy.Copy(array) == -1) << "null ends it";
    EXPECT_TRUE(copy.GetNumElements() == 1 && a->GetRefCount() == 3 && c->GetRefCount() == 1);
    FailNthAllocation failCopy(1);
    EXPECT_TRUE(copy.Copy(array) == -2 && copy.IsEmpty() && a->GetRefCount() == 2);
    EXPECT_TRUE(array.RemoveFromEnd() == c && array.RemoveAt(0) == a && array.RemoveAt(1) == nullptr);
    EXPECT_EQ(Sum({a->Release(), a->Release(), c->Release()}), 1) << "the array's references went to the caller";
    EXPECT_EQ(sDeaths, 3);
}

}  // namespace
