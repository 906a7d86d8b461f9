// The string, its views, and what it counts.
#include "ktstring.h"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <cwchar>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "ktarray.h"
#include "ktbundle.h"
#include "support/allocation.h"
#include "support/output.h"

namespace {

char const* const kMixed = "Grün 𝄞 \"1\"@x";
wchar_t const* const kMixedWide = L"Grün 𝄞 \"1\"@x";

std::u16string UnitsOf(ktString const& aText)
{
    std::u16string units(static_cast<std::size_t>(aText.GetLength()), u'\0');
    CFStringGetCharacters(aText.GetAsCFString(), CFRangeMake(0, aText.GetLength()),
                          reinterpret_cast<UniChar*>(units.data()));
    return units;
}

/// The elements, with a bar behind each.
std::string TextOf(ktStringArray const& aArray)
{
    std::string text;
    for (int i = 0; i < aArray.GetNumElements(); ++i)
        text.append(aArray.GetElement(i)->GetAsUTFArray()).append("|");
    return text;
}

/// A string that found no memory for its text. It is there again for what comes next.
struct Bare {
    Bare() { EXPECT_TRUE(mFail.Fired() && mString.GetAsCFString() == nullptr); }
    FailNthAllocation mFail{1};
    ktString mString;
};

// Texts in and out.

TEST(String, TakesEveryKindOfText)
{
    const ktString other(kMixed);
    CFStringRef const text = other.GetAsCFString();
    const CFUSharedRef<CFStringRef> holder(text);
    const int bytes = static_cast<int>(std::strlen(kMixed));
    const int points = static_cast<int>(std::wcslen(kMixedWide));
    const ktString built[] = {kMixed, {kMixed, bytes}, kMixedWide, {kMixedWide, points}, other, &other, text, holder};
    ktString given[6];
    given[0] = kMixed, given[1] = kMixedWide, given[2] = other, given[3] = &other, given[4] = text, given[5] = holder;
    ktString copied[8];
    EXPECT_EQ(copied[0].Copy(kMixed) | copied[1].Copy(kMixed, bytes) | copied[2].Copy(kMixedWide) |
                  copied[3].Copy(kMixedWide, points) | copied[4].Copy(other) | copied[5].Copy(&other) |
                  copied[6].Copy(text) | copied[7].Copy(holder),
              0);
    const auto isMixed = [&](ktString const& aString) { return aString == other; };
    EXPECT_TRUE(UnitsOf(other) == u"Grün 𝄞 \"1\"@x");
    EXPECT_TRUE(std::all_of(std::begin(built), std::end(built), isMixed));
    EXPECT_TRUE(std::all_of(std::begin(given), std::end(given), isMixed));
    EXPECT_TRUE(std::all_of(std::begin(copied), std::end(copied), isMixed));
    ktString all;
    (((((((all += 'a') += "ä") += L'😀') += L"ж") += text) += other) += &other) += holder;
    EXPECT_EQ(all.GetAsUTFArray(), std::string("aä😀ж") + kMixed + kMixed + kMixed + kMixed);
    EXPECT_TRUE((all = L'é') == "é" && all.Copy(L'ж') == 0 && all == "ж");
    EXPECT_EQ(all.Copy("a\0b", 3) | all.Append(L"\0c", 2), 0);
    EXPECT_TRUE(UnitsOf(all) == std::u16string(u"a\0b\0c", 5)) << "text with a count may hold zeros";
    EXPECT_TRUE(all.Copy("\u00fc") == 0 && all.Append('\xfc') == 0 && all == "\u00fc\u00fc")
        << "a single character is Latin-1, though text is UTF-8";
}

void ExpectAll(ktError aExpected, std::vector<ktError> const& aResults)
{
    EXPECT_EQ(aResults, std::vector<ktError>(aResults.size(), aExpected));
}

TEST(String, RefusesWhatIsNoTextAndStaysAsItWas)
{
    ktString string("kept");
    const Bare bare;
    ktString const* const noString = nullptr;
    char const* const noText = nullptr;
    wchar_t const* const noWide = nullptr;
    CFStringRef const noRef = nullptr;
    const wchar_t broken[] = {0xD800, 0};
    const wchar_t beyond[] = {0x110000, 0};
    ExpectAll(0, {string.Append(noText), string.Append(noText, 3), string.Append(""), string.Append("", 0),
                  string.Append(L""), string.Append(ktString()), string.CopyFrom(string, 4), string.Replace("", "x")});
    ExpectAll(-1, {string.InsertAt(noString, 4), string.InsertAt(noText, 0), string.InsertAt(noWide, 1, 0),
                   string.InsertAt(&bare.mString, 0), string.ToBytes(nullptr, nullptr)});
    ExpectAll(-2, {string.Append("\xC3"), string.Append("a\xFF", 2), string.Append(broken), string.Append(beyond),
                   string.Append(L"x", INT_MAX), string.Append(bare.mString), string.CopyFrom(string, 5),
                   string.CopyFrom(string, -1), string.CopyFrom(string, INT_MIN), string.CopyFrom(string, 2, 3),
                   string.CopyFrom(string, -1, 1), string.CopyFrom(string, 0, -1),
                   string.CopyFrom(string, INT_MAX, INT_MAX), string.InsertAt("\xFF", 0), string.InsertAt(broken, 0),
                   string.Replace("e", "\xFF"), string.Replace(string, bare.mString)});
    ExpectAll(-5, {string.Append('\0'), string.Append(noWide), string.Append(noWide, 1), string.Append(noString),
                   string.Append(noRef), string.Append(CFUSharedRef<CFStringRef>()), string.Append("x", -1),
                   string.Append(L"x", -1), string.Copy(string, -1), string.Substitute(noString)});
    ExpectAll(-5, {string.InsertAt("x", 5), string.InsertAt("x", -1), string.InsertAt(noString, 5),
                   string.InsertAt("x", -1, 0), string.InsertAt(L"x", -1, 0), string.Replace(noText, "x"),
                   string.Replace("e", noText), string.AppendFormatted(noRef), ktString::UnloadStringArray(nullptr),
                   ktString::UnloadStringArray(nullptr, 1)});
    string.Delete(4, 1), string.Delete(-1, 9), string.Delete(0, -1), string.Delete(0, 0), string.Trim(4);
    string.Trim(-1), string.TrimTo(nullptr), string.TrimTo(""), string.TrimTo("E"), string.TrimTo("\xFF");
    string = noText, string = noWide, string = noString, string = noRef, string = CFUSharedRef<CFStringRef>();
    EXPECT_STREQ(string.GetAsUTFArray(), "kept");
    EXPECT_TRUE(!string.Find(noText, ktBOOL{0}) && !string.Equals(noText, 0) && !string.Equals(noString, 0));
    EXPECT_TRUE(string != noText && string != "\xFF" && !string.Find("", 0));
    EXPECT_TRUE(!ktString::CreateStringFromString(nullptr) && !ktString::CreateStringFromString("\xFF"));
    EXPECT_TRUE(!ktString::CreateStringFromBuffer(nullptr, 1) && !ktString::CreateStringFromBuffer("x", -1));
    EXPECT_EQ(string.Copy("\xFF"), -2);
    EXPECT_TRUE(string.IsEmpty() && string.GetAsCFString() != nullptr) << "what replaces the text leaves it empty";
}

/// What ICU makes of UTF-8; nothing when it refuses.
std::optional<std::u16string> DecodedByICU(std::string const& aBytes)
{
    UErrorCode error = U_ZERO_ERROR;
    UConverter* const converter = ucnv_open("UTF-8", &error);
    ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    std::u16string units(aBytes.size() + 1, u'\0');
    const int length = ucnv_toUChars(converter, units.data(), static_cast<int>(units.size()), aBytes.data(),
                                     static_cast<int>(aBytes.size()), &error);
    ucnv_close(converter);
    return U_SUCCESS(error) ? std::make_optional(units.substr(0, static_cast<std::size_t>(length))) : std::nullopt;
}

TEST(String, ConvertsAsICUDoes)
{
    std::wstring points;
    for (wchar_t point = 1; point <= 0x10FFFF; ++point) {
        if (point < 0xD800 || point > 0xDFFF)
            points += point;
    }
    const ktString wide(points.c_str());
    const std::string utf8 = wide.GetAsUTFArray();
    const ktString narrow(utf8.data(), static_cast<int>(utf8.size()));
    EXPECT_EQ(wide.GetUTFByteLength(), 0x7F + 2 * 0x780 + 3 * (0xF800 - 0x800) + 4 * 0x100000);
    EXPECT_TRUE(UnitsOf(narrow) == *DecodedByICU(utf8) && narrow == wide);
    EXPECT_TRUE(std::equal(points.begin(), points.end(), narrow.GetAsUniChar32Array()));
    EXPECT_EQ(narrow.GetUniChar32At(static_cast<int>(points.size())), 0U) << "terminated";

    std::mt19937 random(1);
    const std::string_view alphabet("ab\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF3\xF4\xF5\xFF");
    int refused = 0;
    for (int n = 0; n < 50000; ++n) {
        std::string bytes(random() % 7, '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return alphabet[random() % alphabet.size()]; });
        const auto expected = DecodedByICU(bytes);
        ktString counted("x");
        ktString terminated("x");
        const ktError result = expected ? 0 : -2;
        EXPECT_EQ(counted.Append(bytes.data(), static_cast<int>(bytes.size())), result)
            << testing::PrintToString(bytes);
        EXPECT_EQ(terminated.Append(bytes.c_str()), result) << testing::PrintToString(bytes);
        EXPECT_TRUE(UnitsOf(counted) == u"x" + expected.value_or(u"") && terminated == counted);
        refused += expected ? 0 : 1;
    }
    EXPECT_TRUE(refused > 5000 && refused < 45000) << refused;
}

TEST(String, WritesAsMuchAsFits)
{
    const ktString string("aü𝄞");
    char const* const fitting[] = {"", "a", "a", "aü", "aü", "aü", "aü", "aü𝄞", "aü𝄞"};
    for (int room = 1; room <= 9; ++room) {
        char buffer[] = "##########";
        int size = room;
        EXPECT_EQ(string.ToBytes(buffer, &size), 0);
        EXPECT_STREQ(buffer, fitting[room - 1]);
        EXPECT_TRUE(size == static_cast<int>(std::strlen(buffer)) + 1 && buffer[size] == '#') << "nothing behind";
    }
    int none = 0;
    char untouched = '#';
    EXPECT_TRUE(string.ToBytes(&untouched, &none) == -1 && untouched == '#' && none == 0);
}

// Every operation, its views and its failures.

constexpr void (*kViews[])(ktString const& aString) = {
    [](ktString const& aS) { aS.GetAsUTFArray(); },
    [](ktString const& aS) { aS.BeginSequenceAccessForUniChar16(); },
    [](ktString const& aS) { aS.BeginSequenceAccessForUniChar32(); },
};

enum Effect {
    kReads,     ///< leaves the text and its views alone
    kEdits,     ///< leaves the text alone when it fails
    kReplaces,  ///< leaves it empty then, or alone
};

struct Operation {
    char const* mName;
    ktError (*mRun)(ktString& aString);
    Effect mEffect;
    std::vector<ktError> mFailures;  ///< how it may end without memory
};

char const* const kSample = "\"ä,b𝄞, and more than a string keeps without a block of its own\"";

unsigned Level() { return ktString::GetMemoryWaterLevel(); }

/// Where results go that nobody looks at.
struct Spare {
    ktStringArray& Array() { return mArray; }
    ktString& String() { return mString; }
    ktError ReadBytes() { return ktString("1:2").BytesSeparatedByString(":", 0, mBytes, 2, mCount); }

    ktStringArray mArray;
    ktString mString;
    unsigned char mBytes[2] = {};
    unsigned mCount = 0;
};

std::vector<Operation> Operations()
{
    static const ktString sForm("$$1$$2");
    static const std::string sLong(999, 'x');
    return {
        {"Append(char)", [](ktString& aS) { return aS.Append('\xFC'); }, kEdits, {-2}},
        {"Append(char*)", [](ktString& aS) { return aS.Append(kMixed); }, kEdits, {-2}},
        {"Append(char*) long", [](ktString& aS) { return aS.Append(sLong.c_str()); }, kEdits, {-2}},
        {"Append(char*, int)", [](ktString& aS) { return aS.Append(kMixed, 10); }, kEdits, {-2}},
        {"Append(wchar_t)", [](ktString& aS) { return aS.Append(L'ж'); }, kEdits, {-2}},
        {"Append(wchar_t*)", [](ktString& aS) { return aS.Append(kMixedWide); }, kEdits, {-2}},
        {"Append(itself)", [](ktString& aS) { return aS.Append(aS); }, kEdits, {-2}},
        {"Copy(char*)", [](ktString& aS) { return aS.Copy(kMixed); }, kReplaces, {-2}},
        {"Copy(itself)", [](ktString& aS) { return aS.Copy(aS); }, kReplaces, {-2}},
        {"Copy(count)", [](ktString& aS) { return aS.Copy(aS, 3); }, kEdits, {-2}},
        {"CopyFrom", [](ktString& aS) { return aS.CopyFrom(aS, 1); }, kEdits, {-2}},
        {"CopyFrom(length)", [](ktString& aS) { return aS.CopyFrom(aS, 1, 3); }, kReplaces, {-2}},
        {"Clear", [](ktString& aS) { return aS.Clear(), 0; }, kReplaces, {}},
        {"InsertAt(char*)", [](ktString& aS) { return aS.InsertAt(kMixed, 3, 1); }, kEdits, {-2}},
        {"InsertAt(wchar_t*)", [](ktString& aS) { return aS.InsertAt(kMixedWide, 3, 1); }, kEdits, {-2}},
        {"InsertAt(itself)", [](ktString& aS) { return aS.InsertAt(&aS, 1); }, kEdits, {-2}},
        {"Delete", [](ktString& aS) { return aS.Delete(1, 1), 0; }, kEdits, {}},
        {"Trim", [](ktString& aS) { return aS.Trim(3), 0; }, kEdits, {}},
        {"TrimTo", [](ktString& aS) { return aS.TrimTo(","), 0; }, kEdits, {}},
        {"TrimWhitespace", [](ktString& aS) { return aS.TrimWhitespace(), 0; }, kEdits, {}},
        {"RemoveOuterQuotes", [](ktString& aS) { return aS.RemoveOuterQuotes(), 0; }, kEdits, {}},
        {"Replace", [](ktString& aS) { return aS.Replace(",", kMixed); }, kEdits, {-2}},
        {"Replace(itself)", [](ktString& aS) { return aS.Replace(aS, aS); }, kEdits, {-2}},
        {"Capitalize", [](ktString& aS) { return aS.Capitalize(), 0; }, kEdits, {}},
        {"Uppercase", [](ktString& aS) { return aS.Uppercase(), 0; }, kEdits, {}},
        {"Lowercase", [](ktString& aS) { return aS.Lowercase(), 0; }, kEdits, {}},
        {"Substitute", [](ktString& aS) { return aS.Substitute(&sForm, &aS, &sForm); }, kEdits, {-2}},
        {"Print", [](ktString& aS) { return aS.Print("%s %d", kMixed, 1); }, kReplaces, {-1, -2}},
        {"AppendFormatted", [](ktString& aS) { return aS.AppendFormatted("%s %d", kMixed, 1); }, kEdits, {-1, -2}},
        {"AppendFormatted(CF)", [](ktString& aS) { return aS.AppendFormatted(sForm.GetAsCFString()); }, kEdits, {-2}},
        {"SetInteger", [](ktString& aS) { return aS.SetInteger(1); }, kReplaces, {-1, -2}},
        {"SetUnsignedInteger", [](ktString& aS) { return aS.SetUnsignedInteger(1); }, kReplaces, {-1, -2}},
        {"SetFloat", [](ktString& aS) { return aS.SetFloat(1); }, kReplaces, {-1, -2}},
        {"SetBoolean", [](ktString& aS) { return aS.SetBoolean(1); }, kReplaces, {-2}},
        {"LastLineOnly", [](ktString& aS) { return aS.LastLineOnly(); }, kReplaces, {3, -2}},
        {"SplitEmail",
         [](ktString& aS) { return ktString::SplitEmailAddress("a@ü", aS, Spare().String()); },
         kReplaces,
         {3, -2}},
        {"CreateGUID", [](ktString& aS) { return ktString::CreateGUID(aS) != 0 ? -2 : aS.Copy("x"); }, kReplaces, {-2}},
        {"EndSequenceAccess16", [](ktString& aS) { return aS.EndSequenceAccessUniChar16(), 0; }, kEdits, {}},
        {"EndSequenceAccess32", [](ktString& aS) { return aS.EndSequenceAccessUniChar32(), 0; }, kEdits, {}},
        {"GetAsUTFArray", [](ktString& aS) { return *aS.GetAsUTFArray() != 0 ? 0 : -2; }, kReads, {-2}},
        {"Begin16", [](ktString& aS) { return aS.BeginSequenceAccessForUniChar16() % -22; }, kReads, {-2}},
        {"GetAsUniChar32Array", [](ktString& aS) { return *aS.GetAsUniChar32Array() != 0 ? 0 : -2; }, kReads, {-2}},
        {"Equals", [](ktString& aS) { return aS.Equals(kSample, 1) ? 0 : -2; }, kReads, {-2}},
        {"Find", [](ktString& aS) { return aS.Find("B𝄞", ktBOOL{1}) ? 0 : -2; }, kReads, {-2}},
        {"reading", [](ktString& aS) { return aS.GetBoolean() + aS.IsUrl() + aS.GetInteger(); }, kReads, {}},
        {"holding", [](ktString& aS) { return aS.GetAsCFUSharedStringRef().Get() != nullptr ? 0 : -2; }, kReads, {}},
        {"Split", [](ktString& aS) { return aS.ComponentsSeparatedByString(",", Spare().Array()); }, kReads, {3, -2}},
        {"Words", [](ktString& aS) { return aS.ComponentsSeparatedByWords(Spare().Array(), 1); }, kReads, {3, -2}},
        {"Bytes", [](ktString&) { return Spare().ReadBytes(); }, kReads, {3, -2, -5}},
        {"nothing to do", [](ktString& aS) { return aS.Delete(99, 1), aS.Trim(99), aS.TrimTo("none"), 0; }, kReads, {}},
        {"copying it", [](ktString& aS) { return ktString(aS) == aS ? 0 : -2; }, kReads, {-2}},
        {"ktIndexedString", [](ktString& aS) { return ktIndexedString().Set(2, aS.GetAsCFString()); }, kReads, {-2}},
        {"ktBundle", [](ktString&) { return ktBundle::GetCurrentLocale() == "NOLOCALE" ? 0 : -2; }, kReads, {-2}},
    };
}

TEST(String, DropsItsViewsWhenTheTextChangesAndNeverElse)
{
    for (Operation const& operation : Operations()) {
        ktString warm(kSample);
        operation.mRun(warm);  // what is made once is made
        for (auto const& view : kViews) {
            const unsigned base = Level();
            ktString string(kSample);
            view(string);
            operation.mRun(string);
            const unsigned after = Level();
            const unsigned text = base + 2 * static_cast<unsigned>(string.GetLength());
            view(string);  // builds nothing when it is still there
            EXPECT_TRUE(operation.mEffect == kReads ? Level() == after : after == text)
                << operation.mName << ", view " << (&view - kViews);
        }
    }
}

TEST(String, SaysWhenItHasNoStringBehindIt)
{
    OutputTap tap;
    const ktString other("x");
    {
        Bare bare;
        ktString& string = bare.mString;
        ktStringArray array;
        unsigned count = 9;
        unsigned char byte = 0;
        char room = 0;
        int size = 1;
        ExpectAll(-2, {string.Append("x"), string.Append("x", 1), string.Append('x'), string.Append(L"x"),
                       string.Append(other), string.Append(string), string.Copy(other, 1), string.CopyFrom(other, 0)});
        EXPECT_TRUE(tap.mWrites == 2 && tap.Has("(4) ktString: backing string not valid\n")) << tap.mText;
        ExpectAll(-1, {string.InsertAt(&other, 0), string.InsertAt("x", 0), string.ToBytes(&room, &size)});
        ExpectAll(-22, {string.BeginSequenceAccessForUniChar16(), string.BeginSequenceAccessForUniChar32()});
        ExpectAll(3, {string.ComponentsSeparatedByString("x", array), string.LastLineOnly(),
                      string.BytesSeparatedByString(other, 0, &byte, 1, count)});
        ExpectAll(0,
                  {string.GetInteger(), string.GetBoolean(), string.IsUrl(), string.GetLength(), string.GetHash() != 0,
                   string.GetUTFByteLength(), string.GetUniChar16At(0), string.Compare(ktString(), 0)});
        EXPECT_TRUE(string.Replace("x", "y") == -6 && string.Substitute(&other) == -5 && count == 0);
        EXPECT_TRUE(string.Compare(other, 0) == -1 && other.Compare(string, 0) == 1 && string.IsEmpty());
    }
    for (Operation const& operation : Operations()) {
        Bare bare;
        operation.mRun(bare.mString);
        EXPECT_TRUE(bare.mString.Copy("x") == 0 && bare.mString == other) << operation.mName << ", then healed";
    }
}

TEST(String, SurvivesFailureOfEveryAllocation)
{
    OutputTap tap;
    for (Operation const& operation : Operations()) {
        ktString done(kSample);
        ASSERT_EQ(operation.mRun(done), 0) << operation.mName;
        const unsigned base = Level();
        for (int n = 1;; ++n) {
            tap.mText.clear();
            ktString string(kSample);
            FailNthAllocation fail(n);
            const ktError result = operation.mRun(string);
            if (!fail.Fired())
                break;
            auto const& failures = operation.mFailures;
            const bool isListed = std::count(failures.begin(), failures.end(), result) != 0;
            const bool isLeft = string == kSample || (operation.mEffect == kReplaces && string.IsEmpty());
            EXPECT_TRUE(result != 0 ? isListed && isLeft : string == done || (failures.empty() && isLeft))
                << operation.mName << ", allocation " << n << ", result " << result << ": " << string.GetAsUTFArray();
        }
        EXPECT_EQ(Level(), base) << operation.mName;
    }
}

TEST(String, CountsExactly)
{
    OutputTap tap;  // what has been cut between surrogates cannot be converted, and says so
    const std::vector<Operation> operations = Operations();
    const unsigned base = Level();
    {
        std::mt19937 random(20240501);
        ktString strings[3];
        for (int n = 0; n < 20000; ++n) {
            ktString& string = strings[random() % 3];
            Operation const& operation = operations[random() % operations.size()];
            operation.mRun(string);
            string.Trim(200);
            if (random() % 4 != 0)
                continue;
            unsigned text = base;
            for (ktString const& each : strings) {
                each.EndSequenceAccessUniChar32();
                text += 2 * static_cast<unsigned>(each.GetLength());
            }
            ASSERT_EQ(Level(), text) << "step " << n << ", " << operation.mName;
        }
        kViews[0](strings[0]), kViews[1](strings[1]), kViews[2](strings[2]);
    }
    EXPECT_EQ(Level(), base) << "nothing is left, views included";
    const ktString string("aü𝄞");
    auto grown = [level = Level()]() mutable { return Level() - std::exchange(level, Level()); };
    EXPECT_TRUE(*string.GetAsUTFArray() == 'a' && grown() == 8) << "bytes and a zero";
    EXPECT_TRUE(string.GetAsUniChar32Array()[2] == U'𝄞' && grown() == 16) << "code points and a zero";
    EXPECT_TRUE(string.BeginSequenceAccessForUniChar16() == 0 && grown() == sizeof(CFStringInlineBuffer));
    EXPECT_TRUE(string.GetUniChar16At(2) == 0xD834 && string.GetUniChar16At(4) == 0 && string.GetUniChar16At(-1) == 0);
    EXPECT_TRUE(string.BeginSequenceAccessForUniChar16() == -22 && string.BeginSequenceAccessForUniChar32() == -22);
    EXPECT_TRUE(string.GetAsUTFArray() == string.GetAsUTFArray() && grown() == 0) << "views are kept";
    ktString ascii("abc");
    ascii.BeginSequenceAccessForUniChar16();
    EXPECT_STREQ(ascii.GetAsUTFArray(), "abc");
    EXPECT_EQ(ascii.BeginSequenceAccessForUniChar16(), 0) << "text that needs no view takes the others with it";
    const ktString empty;
    EXPECT_TRUE(*empty.GetAsUTFArray() == 0 && empty.GetHash() == 0 && empty.BeginSequenceAccessForUniChar32() == -22);
    EXPECT_EQ(*empty.GetAsUniChar32Array(), 0U);
}

TEST(String, DoesNotCountWhatCaseMappingsAddToTheLength)
{
    const unsigned base = Level();
    {
        ktString string("Straße");
        string.Uppercase();
        EXPECT_TRUE(string == "STRASSE");
        EXPECT_EQ(Level(), base + 12);
        string.Lowercase();
        EXPECT_TRUE(string == "strasse");
    }
    EXPECT_EQ(Level(), base - 2);
    ktString string("ßa bC");
    string.Capitalize();
    EXPECT_TRUE(string == "Ssa Bc");
    EXPECT_EQ(Level(), base - 2 + 12) << "this one does";
}

// What is in the string already may come back in.

TEST(String, TakesItself)
{
    static const ktString sForm("<$$1$$2>");
    static ktString sRest;
    struct {
        void (*mRun)(ktString& aS);
        char const* mExpected;  ///< with a dollar for the text
    } const cases[] = {
        {[](ktString& aS) { aS.operator=(aS); }, "$"},
        {[](ktString& aS) { aS = aS.GetAsUTFArray(); }, "$"},
        {[](ktString& aS) { aS.Copy(aS.GetAsUTFArray(), aS.GetUTFByteLength()); }, "$"},
        {[](ktString& aS) { aS = reinterpret_cast<wchar_t const*>(aS.GetAsUniChar32Array()); }, "$"},
        {[](ktString& aS) { aS = aS.GetAsCFString(); }, "$"},
        {[](ktString& aS) { aS = aS.GetAsCFUSharedStringRef(); }, "$"},
        {[](ktString& aS) { aS += aS; }, "$$"},
        {[](ktString& aS) { aS += aS.GetAsUTFArray(); }, "$$"},
        {[](ktString& aS) { aS.Append(aS.GetAsUTFArray(), aS.GetUTFByteLength()); }, "$$"},
        {[](ktString& aS) { aS += reinterpret_cast<wchar_t const*>(aS.GetAsUniChar32Array()); }, "$$"},
        {[](ktString& aS) { aS += aS.GetAsCFString(); }, "$$"},
        {[](ktString& aS) { aS.Copy(aS, 3); }, "$$"},
        {[](ktString& aS) { aS.CopyFrom(aS, 0); }, "$$"},
        {[](ktString& aS) { aS.InsertAt(&aS, 3); }, "$$"},
        {[](ktString& aS) { aS.InsertAt(aS.GetAsUTFArray(), 0); }, "$$"},
        {[](ktString& aS) { aS.TrimTo(aS.GetAsUTFArray()); }, ""},
        {[](ktString& aS) { aS.Replace(aS, "x"); }, "x"},
        {[](ktString& aS) { aS += ",", aS.Replace(",", aS), aS.Trim(6); }, "$$"},
        {[](ktString& aS) { aS.Replace(aS, aS); }, "$"},
        {[](ktString& aS) { aS.Replace(aS.GetAsUTFArray(), aS.GetAsUTFArray()); }, "$"},
        {[](ktString& aS) { aS.Substitute(&sForm, &aS, &aS); }, "<$$>"},
        {[](ktString& aS) { aS += "$$1", aS.Substitute(&aS, &aS), aS.Replace("$$1", "!"); }, "$$!"},
        {[](ktString& aS) { aS.Print("%s!", aS.GetAsUTFArray()); }, "$!"},
        {[](ktString& aS) { aS.AppendFormatted("%s!", aS.GetAsUTFArray()); }, "$$!"},
        {[](ktString& aS) { aS.AppendFormatted(CFSTR("%@"), aS.GetAsCFString()); }, "$$"},
        {[](ktString& aS) { aS += "@x", ktString::SplitEmailAddress(aS, aS, sRest); }, "$@"},
        {[](ktString& aS) { aS.InsertAt("x@", 0), ktString::SplitEmailAddress(aS, sRest, aS); }, "$"},
    };
    for (auto const& entry : cases) {
        for (char const* text : {"abc", "äbc"}) {
            ktString string(text);
            entry.mRun(string);
            std::string expected = entry.mExpected;
            for (std::size_t at = 0; (at = expected.find('$', at)) != std::string::npos; at += std::strlen(text))
                expected.replace(at, 1, text);
            EXPECT_EQ(string.GetAsUTFArray(), expected) << "case " << (&entry - cases);
        }
    }
    ktStringArray array;
    array.AppendAndCopy("a b");
    array.AppendAndCopy(" ");
    EXPECT_EQ(array.GetElement(0)->ComponentsSeparatedByString(*array.GetElement(1), array), 0);
    EXPECT_EQ(TextOf(array), "a|b|") << "an array may be split into itself";
}

TEST(String, LeavesItsOldTextToOtherHolders)
{
    ktString string("old");
    const ktString holder(string);
    const CFUSharedRef<CFStringRef> held = string.GetAsCFUSharedStringRef();
    string.Clear();
    EXPECT_TRUE(string.IsEmpty() && ktString(held) == holder && string.GetAsCFString() != held.Get());
}

// Numbers, words, parts.

TEST(String, ReadsAndWritesValues)
{
    struct {
        char const* mText;
        ktBOOL mBoolean;
        int mInteger;
    } const cases[] = {{"1", 1, 1},         {"10", 1, 10},     {"untrue", 1, 0}, {"0", 0, 0},
                       {"FALSE", 0, 0},     {"", 0, 0},        {"false1", 0, 0}, {"0 yes", 0, 0},
                       {"noyes", 1, 0},     {" -12x", 1, -12}, {"+7", 0, 7},     {"99999999999", 0, INT_MAX},
                       {"falsetrue", 1, 0}, {"nothing", 0, 0}, {"tru", 0, 0},    {"-99999999999", 0, INT_MIN}};
    for (auto const& entry : cases) {
        const ktString string(entry.mText);
        EXPECT_EQ(string.GetBoolean(), entry.mBoolean) << entry.mText;
        EXPECT_EQ(string.GetInteger(), entry.mInteger) << entry.mText;
        EXPECT_EQ(string.GetUnsignedInteger(), static_cast<unsigned>(entry.mInteger)) << entry.mText;
    }
    ktString string("old");
    EXPECT_TRUE(string.SetInteger(INT_MIN) == 0 && string == "-2147483648");
    EXPECT_TRUE(string.SetUnsignedInteger(UINT_MAX) == 0 && string == "4294967295");
    EXPECT_TRUE(string.SetFloat(-1.5F) == 0 && string == "-1.500000" && string.GetFloat() == -1.5F);
    EXPECT_TRUE(string.SetBoolean(2) == 0 && string == "yes" && string.SetBoolean(0) == 0 && string == "no");
    EXPECT_TRUE(string.AppendFormatted("%d%s", 7, "ü") == 0 && string.AppendFormatted(CFSTR("%@"), CFSTR("!")) == 0);
    EXPECT_STREQ(string.GetAsUTFArray(), "no7ü!");
    EXPECT_TRUE(string.AppendFormatted("%s", "") == 0 && string.Print("%s", "\xFF") == -2 && string.IsEmpty());
    char const* const noFormat = nullptr;
    string = "x";
    EXPECT_TRUE(string.AppendFormatted(noFormat) == -1 && string == "x");
    EXPECT_TRUE(string.Print(noFormat) == -1 && string.IsEmpty()) << "it clears first";
}

TEST(String, Edits)
{
    ktString string("üäßx,xä,");
    string.Delete(2, 1);
    EXPECT_TRUE(string == "üäx,xä," && string.Replace("ä", "aä") == 0 && string == "üaäx,xaä,");
    string.TrimTo(",");
    EXPECT_TRUE(string == "xaä," && string.InsertAt("öö", 4) == 0 && string == "xaä,öö");
    string.Delete(4, INT_MAX);
    EXPECT_TRUE(string == "xaä," && string.InsertAt(L"😀", 0) == 0 && string.Replace("a", "") == 0 && string == "😀xä,");
    string.Trim(3);
    EXPECT_TRUE(string == "😀x" && string.InsertAt("😀x", 2, 1) == 0 && string.GetLength() == 5 && string.Find("x", 0));
    string = " \t\näb \u00a0";
    string.TrimWhitespace();
    EXPECT_TRUE(string == "äb" && string.InsertAt(L"cde", 2, 1) == 0 && string == "äcdb");
    const std::vector<char> unterminated = {'\xC3', '\xB6', 'x'};
    ktString counted;
    EXPECT_TRUE(counted.InsertAt(unterminated.data(), 2, 0) == 0 && counted == "öx");
    EXPECT_TRUE(string.InsertAt("f", 9, 4) == 0 && string.InsertAt(L"g", 9, 0) == 0 && string == "gäcdbf");
}

TEST(String, KeepsItsOddWays)
{
    ktString string("x");
    EXPECT_TRUE(string.Copy(ktString("abcdef"), 3) == 0 && string == "xabc") << "with a count it appends";
    EXPECT_TRUE(string.CopyFrom(ktString("abcdef"), 4) == 0 && string == "xabcef") << "from a start it appends";
    EXPECT_TRUE(string.CopyFrom(ktString("abcdef"), 4, 1) == 0 && string == "e") << "but not with both";
    EXPECT_TRUE(string.Copy(ktString("ab"), INT_MAX) == 0 && string == "eab");
    for (auto const& [quoted, plain] :
         {std::pair{"\"abc\"", "abc"}, {"\"", ""}, {"abc\"", "abc"}, {"\"\"a\"\"", "\"a\""}}) {
        string = quoted;
        string.RemoveOuterQuotes();
        EXPECT_STREQ(string.GetAsUTFArray(), plain);
    }
    const ktString first("1$$2");
    const ktString second("two");
    const ktString form("$$1-$$2-$$1 $$4");
    EXPECT_TRUE(string.Substitute(&form, &first, &second) == 0 && string == "1two-two-1two $$4");
    const ktString alone("$$1 $$10");
    EXPECT_TRUE(string.Substitute(&alone, &first) == 0 && string == "1$$2 1$$20") << "no argument that was not passed";
    EXPECT_TRUE(string.Substitute(&alone, nullptr) == -5 && string == "1$$2 1$$20");
    for (char const* url : {"https://x", "www.x", "tamarind.example/x"})
        EXPECT_TRUE(ktString(url).IsUrl()) << url;
    for (char const* text : {"HTTP", "htt", " http", ""})
        EXPECT_FALSE(ktString(text).IsUrl()) << text;
    struct {
        char const* mAddress;
        char const* mLocal;
        char const* mDomain;
    } const addresses[] = {{"p@q", "p@", "q"}, {"p@q@r", "p@q@r", ""}, {"p", "p", ""}, {"@", "@", ""}, {"", "", ""}};
    for (auto const& entry : addresses) {
        ktString domain("old");
        EXPECT_EQ(ktString::SplitEmailAddress(entry.mAddress, string, domain), 0);
        EXPECT_TRUE(string == entry.mLocal && domain == entry.mDomain) << entry.mAddress;
    }
    char const* const noAddress = nullptr;
    ktString domain("old");
    EXPECT_TRUE(ktString::SplitEmailAddress(noAddress, string, domain) == -5 && string.IsEmpty() && domain.IsEmpty());
}

TEST(String, ComparesByUnitUnlessAskedOtherwise)
{
    const ktString lower("straße");
    EXPECT_TRUE(lower == "straße" && lower != "STRASSE" && !lower.Equals("STRASSE", 0) && lower.Equals("STRASSE", 1));
    EXPECT_TRUE(ktString("B") < ktString("a") && !(lower < lower) && ktString() < lower);
    EXPECT_TRUE(lower.Compare(ktString("a"), 0) == 1 && lower.Equals(&lower, 0) &&
                lower.GetHash() == ktString("straße").GetHash());
    EXPECT_TRUE(lower.Find("aß", 0) && lower.Find("ASS", true) && lower.Find(ktString("ASS"), ktBOOL{1}));
    EXPECT_TRUE(!lower.Find("ASS", ktBOOL{0}) && lower.Find(ktString("st"), int{kCFCompareAnchored}));
    EXPECT_FALSE(lower.Find("tr", int{kCFCompareAnchored}));
}

TEST(String, Splits)
{
    ktStringArray parts;
    parts.AppendAndCopy("old");
    EXPECT_TRUE(ktString(",a,,b").ComponentsSeparatedByString(",", parts) == 0 && TextOf(parts) == "|a||b|");
    EXPECT_TRUE(ktString("aßßb").ComponentsSeparatedByString(L"ßß", parts) == 0 && TextOf(parts) == "a|b|");
    EXPECT_TRUE(ktString().ComponentsSeparatedByString(ktString(","), parts) == 0 && TextOf(parts) == "|");
    wchar_t const* const noSeparator = nullptr;
    EXPECT_TRUE(ktString("a").ComponentsSeparatedByString(noSeparator, parts) == -5 && parts.IsEmpty());
    parts.AppendAndCopy("old");
    EXPECT_TRUE(ktString("a").ComponentsSeparatedByString("\xFF", parts) == -2 && parts.IsEmpty());
    const ktString lines(" a b\n\nc ");
    EXPECT_TRUE(lines.ComponentsSeparatedByWords(parts, 1) == 0 && TextOf(parts) == "a|b|\n||\n|c|");
    EXPECT_TRUE(lines.ComponentsSeparatedByWords(parts, 0) == 0 && TextOf(parts) == "|a|b|\n||\n|c||");
    for (auto const& [text, last] : {std::pair{"a\nb", "b"}, {"a\n\n", "a"}, {"\n\n", ""}, {"", ""}, {"a\n ", " "}}) {
        ktString string(text);
        EXPECT_TRUE(string.LastLineOnly() == 0 && string == last) << text;
    }
    struct {
        char const* mText;
        ktError mResult;
        std::vector<unsigned char> mBytes;
    } const cases[] = {
        {"0a:ff:100", -5, {0x0A, 0xFF}}, {"1:2:3", 0, {1, 2, 3}}, {"1:2:3:x", -6, {1, 2, 3}}, {"", -5, {}},
        {" 0x1Fg:-1", -5, {0x1F}},       {"100000001", -5, {}},   {"fß::2", -5, {0x0F}},      {"g", -5, {}}};
    for (auto const& entry : cases) {
        unsigned char bytes[3];
        unsigned count = 9;
        EXPECT_EQ(ktString(entry.mText).BytesSeparatedByString(":", 0, bytes, 3, count), entry.mResult) << entry.mText;
        EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + count), entry.mBytes) << entry.mText;
    }
    unsigned char byte = 0;
    unsigned count = 9;
    EXPECT_TRUE(lines.BytesSeparatedByString(ktString(), 0, &byte, 1, count) == -5 && count == 0);
    EXPECT_EQ(lines.BytesSeparatedByString(ktString(" "), 0, nullptr, 1, count), -5);
}

TEST(String, ServesItsFamily)
{
    ktString guid;
    ktString another;
    EXPECT_TRUE(ktString::CreateGUID(guid) == 0 && ktString::CreateGUID(another) == 0 && guid != another);
    EXPECT_EQ(guid.GetLength(), 36);
    EXPECT_TRUE(ktBundle::GetCurrentLocale() == "NOLOCALE" && ktBundle::GetDefaultLocale() == "en_US");
    EXPECT_TRUE(!ktBundle::HasLocaleBeenSet() && ktString::GetLocalizedString("key", "default").IsEmpty());
    ktIndexedString indexed(5, CFSTR("five"));
    EXPECT_TRUE(indexed.GetIndex() == 5 && indexed == "five" && ktIndexedString().GetIndex() == 0);
    EXPECT_TRUE(indexed.Set(6, CFSTR("six")) == 0 && indexed.GetIndex() == 6 && indexed == "six");
    EXPECT_TRUE(indexed.Set(7, nullptr) == -5 && indexed.GetIndex() == 7 && indexed.IsEmpty());
    ktString const* strings[] = {new ktString("a"), new ktIndexedString, nullptr, &guid, new ktString, nullptr};
    EXPECT_TRUE(ktString::UnloadStringArray(strings) == 0 && strings[1] == nullptr && strings[3] == &guid);
    EXPECT_TRUE(ktString::UnloadStringArray(strings, 0) == 0 && ktString::UnloadStringArray(strings + 4, -1) == 0);
    EXPECT_TRUE(ktString::UnloadStringArray(strings + 4, 2) == 0 && strings[4] == nullptr);
}

/// Notes the count of references when the text goes.
struct Witness : ktRefString {
    explicit Witness(int* aCount) : mCount(aCount) { }
    ~Witness() override { *mCount = GetRefCount() * 10 + GetLength(); }
    int* mCount;
};

__attribute__((noinline, no_sanitize("undefined"))) void DestroyNull()
{
    static ktRefString* volatile sString = nullptr;
    ktRefString* const string = sString;
    string->ktRefString::Destroy();  // NOLINT(clang-analyzer-core.CallAndMessage)
}

TEST(RefString, IsAStringThatDiesWithItsLastReference)
{
    int seen = -1;
    ktRefString* const string = new Witness(&seen);
    string->AddRef();
    ktRefString other;
    other = "abc";
    *string = other;
    ktString const& text = *string;
    EXPECT_TRUE(text == "abc" && string->AddRef() == 2 && string->Release() == 1 && seen == -1);
    EXPECT_TRUE(string->Release() == 0 && seen == 3);
    DestroyNull();
}

TEST(String, LogsWhenAViewCannotBeBuilt)
{
    OutputTap tap;
    ktString string("x𝄞x");
    string.Trim(2);
    EXPECT_STREQ(string.GetAsUTFArray(), "x") << "what can be converted is";
    string.Delete(0, 1);
    EXPECT_STREQ(string.GetAsUTFArray(), "");
    EXPECT_EQ(string.BeginSequenceAccessForUniChar32(), -22);
    EXPECT_TRUE(tap.mWrites == 2 && tap.Has("(4) ktString: failed to convert backing store for string\n")) << tap.mText;
    string = kMixed;
    FailNthAllocation fail(1);
    EXPECT_STREQ(string.GetAsUTFArray(), "");
    EXPECT_TRUE(fail.Fired());
    EXPECT_TRUE(tap.mWrites == 3 && tap.Has("(4) ktString: failed to allocate backing store for string\n"))
        << tap.mText;
    EXPECT_STREQ(string.GetAsUTFArray(), kMixed) << "and the next call tries again";
}

}  // namespace
