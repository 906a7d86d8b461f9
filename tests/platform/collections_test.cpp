// Arrays, dictionaries and the small objects of CoreFoundation.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "cfheld.h"
#include "support/allocation.h"

namespace {

using Array = Held<CFMutableArrayRef>;
using Dictionary = Held<CFMutableDictionaryRef>;

Array MakeArray(std::vector<CFIndex> const& aNumbers, CFArrayCallBacks const* aCallBacks = &kCFTypeArrayCallBacks)
{
    Array array(CFArrayCreateMutable(nullptr, 0, aCallBacks));
    for (CFIndex number : aNumbers)
        CFArrayAppendValue(array, Number(number));
    return array;
}

Dictionary MakeDictionary()
{
    return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

void const* Token(std::intptr_t aValue) { return reinterpret_cast<void const*>(aValue); }

CFRange Whole(CFArrayRef aArray) { return CFRangeMake(0, CFArrayGetCount(aArray)); }

CFComparisonResult ByValue(void const* aFirst, void const* aSecond, void* aCalls)
{
    if (aCalls != nullptr)
        ++*static_cast<int*>(aCalls);
    const auto first = reinterpret_cast<std::intptr_t>(aFirst), second = reinterpret_cast<std::intptr_t>(aSecond);
    return first < second ? kCFCompareLessThan : first > second ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

/// Runs `aMake` with every allocation failing once, until none fails. What it makes then is what it should.
/// @param aMake returns what it made, null when it could not.
void SurvivesEveryFailure(std::function<Held<>()> const& aMake)
{
    Held<> const wanted = aMake();
    ASSERT_NE(static_cast<CFTypeRef>(wanted), nullptr);
    for (int n = 1;; ++n) {
        FailNthAllocation fail(n);
        Held<> const made = aMake();
        const bool fired = fail.Fired();
        if (!fired || made != nullptr) {
            EXPECT_TRUE(CFEqual(made, wanted)) << "allocation " << n;
        }
        if (!fired)
            return;
        ASSERT_LT(n, 1000);
    }
}

TEST(Array, KeepsItsValuesInOrderAndCutsWhatLiesOutside)
{
    const Array array = MakeArray({});
    struct {
        char const* mWhat;
        std::function<void()> mChange;
        char const* mResult;
    } const kSteps[] = {
        {"append", [&] { CFArrayAppendValue(array, Number(2)); }, "(2)"},
        {"insert in front", [&] { CFArrayInsertValueAtIndex(array, 0, Number(1)); }, "(1, 2)"},
        {"insert far behind", [&] { CFArrayInsertValueAtIndex(array, LONG_MAX, Number(4)); }, "(1, 2, 4)"},
        {"insert far in front", [&] { CFArrayInsertValueAtIndex(array, LONG_MIN, Number(0)); }, "(0, 1, 2, 4)"},
        {"set", [&] { CFArraySetValueAtIndex(array, 3, Number(3)); }, "(0, 1, 2, 3)"},
        {"set behind the last", [&] { CFArraySetValueAtIndex(array, 4, Number(5)); }, "(0, 1, 2, 3, 5)"},
        {"set outside", [&] { CFArraySetValueAtIndex(array, 6, Number(9)); }, "(0, 1, 2, 3, 5)"},
        {"remove", [&] { CFArrayRemoveValueAtIndex(array, 1); }, "(0, 2, 3, 5)"},
        {"remove outside", [&] { CFArrayRemoveValueAtIndex(array, 4); }, "(0, 2, 3, 5)"},
        {"set to itself", [&] { CFArraySetValueAtIndex(array, 0, CFArrayGetValueAtIndex(array, 0)); }, "(0, 2, 3, 5)"},
    };
    for (auto const& step : kSteps) {
        step.mChange();
        EXPECT_EQ(DescriptionOf(array), step.mResult) << step.mWhat;
    }
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 4), nullptr);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, -1), nullptr);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, Whole(array), Number(3)), 2);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 2), Number(3)), kCFNotFound);
    EXPECT_TRUE(CFArrayContainsValue(array, CFRangeMake(-5, LONG_MAX), Number(5)));
    void const* values[4] = {};
    CFArrayGetValues(array, CFRangeMake(2, 99), values);
    EXPECT_TRUE(values[0] == CFArrayGetValueAtIndex(array, 2) && values[1] == CFArrayGetValueAtIndex(array, 3));
    EXPECT_EQ(values[2], nullptr);

    const Held<CFArrayRef> copy(CFArrayCreateCopy(nullptr, array));
    const Held<CFArrayRef> same(CFArrayCreateCopy(nullptr, copy));
    EXPECT_TRUE(CFEqual(copy, array) && copy == same) << "what cannot change is its own copy";
    CFArrayRemoveAllValues(const_cast<CFMutableArrayRef>(static_cast<CFArrayRef>(copy)));
    CFArrayAppendValue(const_cast<CFMutableArrayRef>(static_cast<CFArrayRef>(copy)), Number(1));
    EXPECT_TRUE(CFEqual(copy, array)) << "it does not change";
    CFArrayRemoveAllValues(array);
    EXPECT_EQ(DescriptionOf(array), "()");
    EXPECT_FALSE(CFEqual(copy, array));
}

TEST(Array, HoldsAReferenceOnObjectsAndNoneOnOtherValues)
{
    const Held<CFNumberRef> number = Number(1);
    {
        const Array array = MakeArray({});
        for (int i = 0; i < 20; ++i)
            CFArrayAppendValue(array, number);
        EXPECT_EQ(CFGetRetainCount(number), 21);
        CFArraySetValueAtIndex(array, 0, CFArrayGetValueAtIndex(array, 1));
        CFArrayRemoveValueAtIndex(array, 5);
        const Array copy(CFArrayCreateMutableCopy(nullptr, 0, array));
        EXPECT_EQ(CFGetRetainCount(number), 39);
        CFArrayRemoveAllValues(copy);
        EXPECT_EQ(CFGetRetainCount(number), 20);
    }
    EXPECT_EQ(CFGetRetainCount(number), 1);
    void const* tokens[] = {Token(1), nullptr, Token(1)};
    const Held<CFArrayRef> array(CFArrayCreate(nullptr, tokens, 3, nullptr));
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, Whole(array), nullptr), 1);
    EXPECT_EQ(DescriptionOf(array), "(<0x1>, <(nil)>, <0x1>)");
    EXPECT_EQ(CFArrayCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreate(nullptr, tokens, -1, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreateMutable(nullptr, LONG_MAX, nullptr), nullptr);
}

TEST(Array, SortsWithinItsBoundsWhateverTheComparatorSays)
{
    std::mt19937 random(7);
    for (int count : {0, 1, 2, 3, 10, 1000}) {
        const Array array(CFArrayCreateMutable(nullptr, 0, nullptr));
        std::vector<void const*> wanted;
        for (int i = 0; i < count; ++i) {
            wanted.push_back(Token(static_cast<int>(random() % 100)));
            CFArrayAppendValue(array, wanted.back());
        }
        int calls = 0;
        if (count > 2) {  // the first and the last stay
            CFArraySortValues(array, CFRangeMake(1, count - 2), ByValue, &calls);
            std::sort(wanted.begin() + 1, wanted.end() - 1);
        }
        std::vector<void const*> sorted(wanted.size());
        CFArrayGetValues(array, Whole(array), sorted.data());
        EXPECT_EQ(sorted, wanted);
        EXPECT_EQ(calls != 0, count > 3);

        for (CFComparatorFunction wild : {+[](void const*, void const*, void*) { return kCFCompareLessThan; },
                                          +[](void const*, void const*, void*) { return kCFCompareGreaterThan; }})
            CFArraySortValues(array, CFRangeMake(LONG_MIN, LONG_MAX), wild, nullptr);
        CFArraySortValues(array, CFRangeMake(-1, LONG_MAX), nullptr, nullptr);
        CFArrayGetValues(array, Whole(array), sorted.data());
        EXPECT_TRUE(std::is_permutation(sorted.begin(), sorted.end(), wanted.begin()));
    }
}

TEST(Dictionary, AgreesWithAMapOverManyChanges)
{
    std::mt19937 random(11);
    for (bool areObjects : {true, false}) {
        const Dictionary dictionary(areObjects ? MakeDictionary()
                                               : Dictionary(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr)));
        std::map<int, int> map;
        const auto object = [&](int aValue) { return areObjects ? Held<>(CFRetain(Number(aValue))) : Held<>(); };
        for (int i = 0; i < 20000; ++i) {
            // Numbers that share their low bits.
            const int key = static_cast<int>(random() % 300) * 65536, value = i + 1;
            const Held<> keyObject = object(key), valueObject = object(value);
            void const* const k = areObjects ? static_cast<CFTypeRef>(keyObject) : Token(key);
            void const* const v = areObjects ? static_cast<CFTypeRef>(valueObject) : Token(value);
            switch (random() % (i % 2000 == 1999 ? 5 : 4)) {
            case 0:
                CFDictionaryAddValue(dictionary, k, v);
                map.insert({key, value});
                break;
            case 1:
                CFDictionarySetValue(dictionary, k, v);
                map[key] = value;
                break;
            case 2:
                CFDictionaryReplaceValue(dictionary, k, v);
                if (map.count(key) != 0)
                    map[key] = value;
                break;
            case 3:
                CFDictionaryRemoveValue(dictionary, k);
                map.erase(key);
                break;
            default:
                CFDictionaryRemoveAllValues(dictionary);
                map.clear();
            }
            void const* found = nullptr;
            ASSERT_EQ(CFDictionaryGetValueIfPresent(dictionary, k, &found), map.count(key) != 0);
            ASSERT_EQ(CFDictionaryContainsKey(dictionary, k), found != nullptr);
            if (found != nullptr) {
                ASSERT_TRUE(areObjects ? CFEqual(found, Number(map[key])) : found == Token(map[key]));
            }
            ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(map.size()));
        }
        std::vector<void const*> keys(map.size()), values(map.size());
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
        CFDictionaryGetKeysAndValues(dictionary, nullptr, values.data());
        for (std::size_t i = 0; i < keys.size(); ++i)
            EXPECT_EQ(CFDictionaryGetValue(dictionary, keys[i]), values[i]);
    }
}

TEST(Dictionary, CopiesAndComparesItsPairs)
{
    const Dictionary dictionary = MakeDictionary();
    const Held<CFNumberRef> value = Number(1);
    for (char const* key : {"a", "b", "c"})
        CFDictionarySetValue(dictionary, Make(key), value);
    {
        const Held<CFDictionaryRef> copy(CFDictionaryCreateCopy(nullptr, dictionary));
        EXPECT_TRUE(CFEqual(copy, dictionary) && CFHash(copy) == CFHash(dictionary));
        EXPECT_EQ(CFGetRetainCount(value), 7);
        auto* const fixed = const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(copy));
        CFDictionarySetValue(fixed, Make("d"), value);
        CFDictionaryRemoveValue(fixed, Make("a"));
        CFDictionaryRemoveAllValues(fixed);
        EXPECT_TRUE(CFEqual(copy, dictionary)) << "it does not change";
        CFDictionarySetValue(dictionary, Make("a"), Number(2));
        EXPECT_FALSE(CFEqual(copy, dictionary)) << "another value";
        CFDictionaryRemoveValue(dictionary, Make("a"));
        CFDictionarySetValue(dictionary, Make("d"), value);
        EXPECT_FALSE(CFEqual(copy, dictionary)) << "another key";
    }
    EXPECT_EQ(CFGetRetainCount(value), 4);

    const Held<CFMutableStringRef> key(CFStringCreateMutableCopy(nullptr, 0, Make("key")));
    void const* keys[] = {key, key};
    void const* values[] = {kCFBooleanTrue, kCFBooleanFalse};
    const Held<CFDictionaryRef> copying(CFDictionaryCreate(
        nullptr, keys, values, 2, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFStringAppend(key, Make("s"));
    EXPECT_EQ(DescriptionOf(copying), "{key = true}") << "it has the key as it was, and the first value";
    EXPECT_EQ(CFDictionaryCreate(nullptr, nullptr, values, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreate(nullptr, keys, values, -1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateMutable(nullptr, LONG_MAX, nullptr, nullptr), nullptr);
}

TEST(Number, IsReadAsTheNearestOfEachType)
{
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kTooLarge = 9223372036854775808.0;
    struct {
        Held<CFNumberRef> mNumber;
        char const* mText;
        SInt32 mInt32;
        SInt64 mInt64;
        double mDouble;
        char const* mExact;  ///< which of the three
    } const kCases[] = {
        {Number(0), "0", 0, 0, 0, "yyy"},
        {Number(-7), "-7", -7, -7, -7, "yyy"},
        {Number(INT32_MAX + 1LL), "2147483648", INT32_MAX, 2147483648, 2147483648.0, "nyy"},
        {Number(INT64_MIN), "-9223372036854775808", INT32_MIN, INT64_MIN, -kTooLarge, "nyy"},
        {Number(INT64_MAX), "9223372036854775807", INT32_MAX, INT64_MAX, kTooLarge, "nyn"},
        {Real(2.75), "2.75", 2, 2, 2.75, "nny"},
        {Real(100000), "100000", 100000, 100000, 1e5, "yyy"},
        {Real(0.1 + 0.2), "0.30000000000000004", 0, 0, 0.1 + 0.2, "nny"},
        {Real(1e300), "1e+300", INT32_MAX, INT64_MAX, 1e300, "nny"},
        {Real(-HUGE_VAL), "-inf", INT32_MIN, INT64_MIN, -HUGE_VAL, "nny"},
        {Real(kNaN), "nan", 0, 0, kNaN, "nny"},
    };
    ASSERT_TRUE(std::setlocale(LC_ALL, "") != nullptr) << "a decimal comma must not matter";
    for (auto const& test : kCases) {
        EXPECT_EQ(DescriptionOf(test.mNumber), test.mText);
        SInt32 small = 99;
        SInt64 large = 99;
        double real = 99;
        std::string exact;
        exact += CFNumberGetValue(test.mNumber, kCFNumberSInt32Type, &small) ? 'y' : 'n';
        exact += CFNumberGetValue(test.mNumber, kCFNumberSInt64Type, &large) ? 'y' : 'n';
        exact += CFNumberGetValue(test.mNumber, kCFNumberDoubleType, &real) ? 'y' : 'n';
        EXPECT_TRUE(small == test.mInt32 && large == test.mInt64) << test.mText;
        EXPECT_TRUE(real == test.mDouble || (std::isnan(real) && std::isnan(test.mDouble))) << test.mText;
        EXPECT_EQ(exact, test.mExact) << test.mText;
        for (auto const& other : kCases)
            EXPECT_EQ(CFEqual(test.mNumber, other.mNumber), &test == &other) << test.mText << " " << other.mText;
    }
    EXPECT_TRUE(CFEqual(Number(5), Real(5)) && CFHash(Number(5)) == CFHash(Real(5)));
    EXPECT_TRUE(CFEqual(Real(kNaN), Real(kNaN)) && CFEqual(Number(0), Real(-0.0)));
    EXPECT_FALSE(CFEqual(Number((1LL << 53) + 1), Real(9007199254740992.0))) << "they meet in double only";
    EXPECT_TRUE(CFNumberIsFloatType(Real(1)) && !CFNumberIsFloatType(Number(1)));
    EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), ""), nullptr);
    SInt64 untouched = 7;
    EXPECT_FALSE(CFNumberGetValue(Number(1), static_cast<CFNumberType>(99), &untouched) || untouched != 7);
    std::setlocale(LC_ALL, "C");
}

TEST(Data, KeepsItsBytes)
{
    UInt8 const bytes[] = {0x00, 0xff, 0x10, 0x7f, 0x80};
    const Held<CFDataRef> data(CFDataCreate(nullptr, bytes, 5)), same(CFDataCreate(nullptr, bytes, 5));
    const Held<CFDataRef> shorter(CFDataCreate(nullptr, bytes, 4)), empty(CFDataCreate(nullptr, nullptr, 0));
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(CFDataGetBytePtr(data)), 5),
              std::string("\0\xff\x10\x7f\x80", 5));
    EXPECT_TRUE(CFEqual(data, same) && CFHash(data) == CFHash(same));
    EXPECT_FALSE(CFEqual(data, shorter) || CFEqual(empty, shorter));
    EXPECT_EQ(DescriptionOf(data), "<00ff107f 80>");
    EXPECT_EQ(CFDataGetLength(empty), 0);
    EXPECT_EQ(CFDataCreate(nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFDataCreate(nullptr, bytes, -1), nullptr);
}

TEST(Date, IsDescribedByTheCalendar)
{
    struct {
        CFAbsoluteTime mTime;
        char const* mText;
    } const kCases[] = {
        {0, "2001-01-01 00:00:00 +0000"},
        {-0.5, "2000-12-31 23:59:59 +0000"},
        {-kCFAbsoluteTimeIntervalSince1970, "1970-01-01 00:00:00 +0000"},
        {-26524800, "2000-02-29 00:00:00 +0000"},
        {3129235200, "2100-03-01 00:00:00 +0000"},
        {12596256000, "2400-02-29 00:00:00 +0000"},
        {-63113904000, "0001-01-01 00:00:00 +0000"},
        {1e300, "1e+300"},
    };
    for (auto const& test : kCases) {
        const Held<CFDateRef> date(CFDateCreate(nullptr, test.mTime));
        EXPECT_EQ(DescriptionOf(date), test.mText);
        EXPECT_EQ(CFDateGetAbsoluteTime(date), test.mTime);
        EXPECT_TRUE(CFEqual(date, Held<CFDateRef>(CFDateCreate(nullptr, test.mTime))));
    }
}

TEST(Uuid, IsWrittenAndReadBack)
{
    const Held<CFUUIDRef> first(CFUUIDCreate(nullptr)), second(CFUUIDCreate(nullptr));
    const Held<CFStringRef> text(CFUUIDCreateString(nullptr, first));
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(first);
    EXPECT_TRUE(bytes.byte6 >> 4 == 4 && bytes.byte8 >> 6 == 2) << TextOf(text);
    EXPECT_FALSE(CFEqual(first, second));
    const Held<CFUUIDRef> readBack(CFUUIDCreateFromString(nullptr, text));
    EXPECT_TRUE(CFEqual(readBack, first) && CFHash(readBack) == CFHash(first));
    const Held<CFUUIDRef> lower(CFUUIDCreateFromString(nullptr, Make("00112233-4455-6677-8899-aabbccddeeff")));
    EXPECT_EQ(DescriptionOf(lower), "00112233-4455-6677-8899-AABBCCDDEEFF");
    EXPECT_EQ(CFUUIDGetUUIDBytes(lower).byte15, 0xff);
    for (char const* wrong : {"", "00112233-4455-6677-8899-aabbccddeef", "00112233-4455-6677-8899-aabbccddeeff0",
                              "001122334-455-6677-8899-aabbccddeeff", "00112233-4455-6677-8899-aabbccddeefg",
                              "00112233-4455-6677-8899-aabbccddee\u0106f", "{0112233-4455-6677-8899-aabbccddeeff"})
        EXPECT_EQ(CFUUIDCreateFromString(nullptr, Make(wrong)), nullptr) << wrong;
}

TEST(Error, DescribesItself)
{
    const Dictionary information = MakeDictionary();
    const Held<CFErrorRef> bare(CFErrorCreate(nullptr, Make("domain"), -3, nullptr));
    EXPECT_EQ(DescriptionOf(bare), "domain error -3");
    CFDictionarySetValue(information, kCFErrorLocalizedDescriptionKey, Make("It broke."));
    const Held<CFErrorRef> error(CFErrorCreate(nullptr, Make("domain"), 5, information));
    CFDictionaryRemoveAllValues(information);
    EXPECT_EQ(TextOf(Held<CFStringRef>(CFErrorCopyDescription(error))), "It broke.");
    EXPECT_EQ(CFErrorGetCode(error), 5);
    EXPECT_EQ(TextOf(CFErrorGetDomain(error)), "domain");
    EXPECT_FALSE(CFEqual(error, bare));
    EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
}

Held<CFURLRef> MakeUrl(std::string_view aPath, bool aIsDirectory = false)
{
    return CFURLCreateWithFileSystemPath(nullptr, Make(aPath), kCFURLPOSIXPathStyle, aIsDirectory);
}

std::string PathOf(CFURLRef aUrl)
{
    return TextOf(Held<CFStringRef>(CFURLCopyFileSystemPath(aUrl, kCFURLPOSIXPathStyle)));
}

TEST(Url, TakesPathsApart)
{
    struct {
        char const* mPath;
        bool mIsDirectory;
        char const *mWhole, *mName, *mParent, *mString;
    } const kCases[] = {
        {"/a/b", false, "/a/b", "b", "/a", "file:///a/b"},
        {"/a/b/", true, "/a/b", "b", "/a", "file:///a/b/"},
        {"//a//./b/.", true, "/a/b", "b", "/a", "file:///a/b/"},
        {"/a", false, "/a", "a", "/", "file:///a"},
        {"/", true, "/", "/", "/", "file:///"},
        {"/..//.", false, "/", "/", "/", "file:///"},
        {"/a/..", true, "/a/..", "..", "/a/../..", "file:///a/../"},
        {"/\u00e9 %?#;[\\", false, "/\u00e9 %?#;[\\", "\u00e9 %?#;[\\", "/", "file:///%C3%A9%20%25%3F%23%3B%5B%5C"},
    };
    for (auto const& test : kCases) {
        const Held<CFURLRef> url = MakeUrl(test.mPath, test.mIsDirectory);
        EXPECT_EQ(PathOf(url), test.mWhole);
        EXPECT_EQ(TextOf(Held<CFStringRef>(CFURLCopyLastPathComponent(url))), test.mName);
        const Held<CFURLRef> parent(CFURLCreateCopyDeletingLastPathComponent(nullptr, url));
        EXPECT_EQ(PathOf(parent), test.mParent);
        EXPECT_TRUE(CFURLHasDirectoryPath(parent));
        EXPECT_EQ(TextOf(CFURLGetString(url)), test.mString);
        EXPECT_EQ(DescriptionOf(url), test.mString);
        UInt8 buffer[32] = "untouched";
        const CFIndex size = static_cast<CFIndex>(std::string_view(test.mWhole).size());
        EXPECT_FALSE(CFURLGetFileSystemRepresentation(url, true, buffer, size));
        EXPECT_STREQ(reinterpret_cast<char*>(buffer), "untouched");
        EXPECT_TRUE(CFURLGetFileSystemRepresentation(url, true, buffer, size + 1));
        EXPECT_STREQ(reinterpret_cast<char*>(buffer), test.mWhole);
    }
    const Held<CFURLRef> directory = MakeUrl("/a/b", true);
    const auto append = [&](std::string_view aComponent, bool aIsDirectory) {
        return Held<CFURLRef>(
            CFURLCreateCopyAppendingPathComponent(nullptr, directory, Make(aComponent), aIsDirectory));
    };
    EXPECT_EQ(TextOf(CFURLGetString(append("/c//d/", true))), "file:///a/b/c/d/");
    EXPECT_EQ(PathOf(append(std::string_view("c\0d", 3), false)), "(null)") << "no file has such a name";
    EXPECT_FALSE(CFEqual(directory, MakeUrl("/a/b", false)));
    EXPECT_TRUE(CFEqual(directory, MakeUrl("/a/./b/", true)) && CFHash(directory) == CFHash(MakeUrl("/a/b/", true)));
    const Held<CFURLRef> here = MakeUrl(".", true), relative = MakeUrl("x/y");
    EXPECT_EQ(PathOf(relative), PathOf(here) + "/x/y");
    UInt8 const bytes[] = {'/', 'a', 0xff};
    EXPECT_EQ(PathOf(Held<CFURLRef>(CFURLCreateFromFileSystemRepresentation(nullptr, bytes, 2, false))), "/a");
    EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr, bytes, 3, false), nullptr);
    EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr, bytes, 0, false), nullptr);
    EXPECT_EQ(MakeUrl("").operator CFURLRef(), nullptr);
}

TEST(Locale, NamesLanguagesAndCountries)
{
    struct {
        char const* mLocale;
        CFLocaleKey mKey;
        char const *mValue, *mName;
    } const kCases[] = {
        {"en_US", kCFLocaleLanguageCode, "de", "German"},
        {"fr_FR", kCFLocaleLanguageCode, "fr", "fran\u00e7ais"},
        {"de_DE", kCFLocaleCountryCode, "DE", "Deutschland"},
        {"pt-BR", kCFLocaleCountryCode, "DE", "Alemanha"},
        {"en_US", kCFLocaleScriptCode, "Cyrl", "Cyrillic"},
        {"en_US", kCFLocaleVariantCode, "POSIX", "Computer"},
        {"en_US", kCFLocaleIdentifier, "de_CH", "German (Switzerland)"},
        {"en_US", kCFLocaleLanguageCode, "qx", "(null)"},
        {"en_US", kCFLocaleCountryCode, "", "(null)"},
        {"en_US", kCFLocaleLanguageCode, "\u00c4\u00d6", "(null)"},
        {"NOLOCALE", kCFLocaleLanguageCode, "de", "(null)"},
        {"", kCFLocaleLanguageCode, "de", "(null)"},
    };
    for (auto const& test : kCases) {
        const Held<CFLocaleRef> locale(CFLocaleCreate(nullptr, Make(test.mLocale)));
        const Held<CFStringRef> name(CFLocaleCopyDisplayNameForPropertyValue(locale, test.mKey, Make(test.mValue)));
        EXPECT_EQ(TextOf(name), test.mName) << test.mLocale << " " << test.mValue;
    }
    const Held<CFLocaleRef> locale(CFLocaleCreate(nullptr, Make("zh-Hans_CN")));
    EXPECT_EQ(CFLocaleCopyDisplayNameForPropertyValue(locale, Make("locale:no such"), Make("de")), nullptr);
    EXPECT_EQ(CFLocaleCopyDisplayNameForPropertyValue(locale, kCFLocaleLanguageCode, nullptr), nullptr);
    struct {
        CFLocaleKey mKey;
        char const* mValue;
    } const kValues[] = {{kCFLocaleLanguageCode, "zh"},       {kCFLocaleScriptCode, "Hans"},
                         {kCFLocaleCountryCode, "CN"},        {kCFLocaleVariantCode, "(null)"},
                         {kCFLocaleIdentifier, "zh-Hans_CN"}, {kCFErrorLocalizedDescriptionKey, "(null)"}};
    for (auto const& test : kValues) {
        CFTypeRef const value = CFLocaleGetValue(locale, test.mKey);
        EXPECT_EQ(TextOf(static_cast<CFStringRef>(value)), test.mValue);
        EXPECT_EQ(CFLocaleGetValue(locale, test.mKey), value) << "it is the locale's own";
    }
    EXPECT_TRUE(CFEqual(locale, Held<CFLocaleRef>(CFLocaleCreate(nullptr, Make("zh-Hans_CN")))));
    EXPECT_EQ(CFLocaleGetValue(Held<CFLocaleRef>(CFLocaleCreate(nullptr, Make(std::string(500, 'x')))),
                               kCFLocaleLanguageCode),
              nullptr);
}

TEST(Objects, AnswerForNullWithNothing)
{
    CFRange const range = CFRangeMake(0, 1);
    UInt8 byte = 7;
    EXPECT_TRUE(!CFArrayCreateCopy(nullptr, nullptr) && !CFArrayGetValueAtIndex(nullptr, 0) &&
                !CFDictionaryGetValue(nullptr, nullptr) && !CFDataGetBytePtr(nullptr) && !CFErrorGetDomain(nullptr));
    EXPECT_TRUE(!CFErrorCopyDescription(nullptr) && !CFUUIDCreateFromString(nullptr, nullptr) &&
                !CFURLCopyLastPathComponent(nullptr) && !CFLocaleCreate(nullptr, nullptr) &&
                !CFLocaleGetValue(nullptr, kCFLocaleIdentifier) && !CFBundleCreate(nullptr, nullptr));
    EXPECT_TRUE(!CFBundleGetInfoDictionary(nullptr) && !CFBundleCopyResourceURL(nullptr, nullptr, nullptr, nullptr) &&
                !CFBundleCopyLocalizedString(nullptr, kCFLocaleIdentifier, nullptr, nullptr) &&
                !CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(CFArrayGetCount(nullptr) + CFDictionaryGetCount(nullptr) + CFDataGetLength(nullptr), 0);
    EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberSInt32Type, &byte) ||
                 CFURLGetFileSystemRepresentation(nullptr, true, &byte, 1) || byte != 7);
    CFArrayGetValues(MakeArray({1}), range, nullptr);
    CFArrayAppendValue(nullptr, nullptr);
    CFArraySortValues(nullptr, range, ByValue, nullptr);
    CFDictionaryGetKeysAndValues(nullptr, nullptr, nullptr);
    CFDictionaryAddValue(nullptr, nullptr, nullptr);
}

TEST(Objects, ComeWholeOrNotAtAllWhenMemoryRunsOut)
{
    const Held<CFNumberRef> numbers[] = {Number(1), Number(2), Number(3), Number(4), Number(5)};
    const Held<CFStringRef> text = Make("k\u00e9y"), path = Make("/\u00e9/b");
    void const* values[] = {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4]};
    void const* keys[] = {text};
    const Held<CFURLRef> url = MakeUrl("/\u00e9/b");
    const Held<CFLocaleRef> german(CFLocaleCreate(nullptr, Make("de_DE")));
    const Held<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
    const auto makeDictionary = [&] {
        return Held<CFDictionaryRef>(CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                                                        &kCFTypeDictionaryValueCallBacks));
    };
    const std::function<Held<>()> kMakers[] = {
        [&] { return Held<>(CFArrayCreate(nullptr, values, 5, &kCFTypeArrayCallBacks)); },
        [&] { return Held<>(CFArrayCreateMutable(nullptr, 9, nullptr)); },
        [&] { return Held<>(CFRetain(makeDictionary())); },
        [&] { return Held<>(CFCopyDescription(makeDictionary())); },
        [&] {
            const Held<CFMutableStringRef> key(CFStringCreateMutableCopy(nullptr, 0, text));
            const Dictionary copying(
                CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, nullptr));
            CFDictionarySetValue(copying, key, Token(5));
            return Held<>(key != nullptr && CFDictionaryGetCount(copying) == 1
                              ? CFDictionaryCreateCopy(nullptr, copying)
                              : nullptr);
        },
        [&] { return Held<>(CFDataCreate(nullptr, nullptr, 0)); },
        [&] { return Held<>(CFDateCreate(nullptr, 5)); },
        [&] { return Held<>(CFNumberCreate(nullptr, kCFNumberSInt64Type, values)); },
        [&] { return Held<>(CFCopyDescription(numbers[2])); },
        [&] {
            const Held<CFDictionaryRef> information = makeDictionary();
            const Held<CFStringRef> domain(CFStringCreateMutableCopy(nullptr, 0, text));
            return Held<>(information != nullptr ? CFErrorCreate(nullptr, domain, 1, information) : nullptr);
        },
        [&] { return Held<>(CFUUIDCreateString(nullptr, uuid)); },
        [&] { return Held<>(CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, true)); },
        [&] { return Held<>(CFURLCreateCopyDeletingLastPathComponent(nullptr, url)); },
        [&] { return Held<>(CFURLCreateCopyAppendingPathComponent(nullptr, url, text, true)); },
        [&] { return Held<>(CFLocaleCreate(nullptr, text)); },
        [&] { return Held<>(CFLocaleCopyDisplayNameForPropertyValue(german, kCFLocaleCountryCode, Make("DE"))); },
        [&] {
            const Held<CFLocaleRef> locale(CFLocaleCreate(nullptr, Make("de_DE")));
            CFTypeRef const value = CFLocaleGetValue(locale, kCFLocaleCountryCode);
            return Held<>(CFRetain(value));
        },
    };
    for (auto const& make : kMakers) {
        SCOPED_TRACE(&make - kMakers);
        SurvivesEveryFailure(make);
    }
}

// A collection that cannot grow is left as it was, and so is one whose key cannot be copied.
TEST(Objects, StayAsTheyWereWhenAChangeFails)
{
    const Array array = MakeArray({1, 2});
    const Dictionary dictionary(
        CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const Held<CFNumberRef> value = Number(1);
    for (int i = 0; i < 40; ++i) {
        const std::string digits = std::to_string(i);
        const Held<CFMutableStringRef> key(CFStringCreateMutableCopy(nullptr, 0, Make(digits)));
        const Held<CFArrayRef> before(CFArrayCreateCopy(nullptr, array));
        const Held<CFDictionaryRef> pairs(CFDictionaryCreateCopy(nullptr, dictionary));
        FailNthAllocation fail(1, FailNthAllocation::kFromThenOn);
        CFDictionarySetValue(dictionary, key, value);
        const bool isKept = CFDictionaryGetCount(dictionary) == i;
        CFArrayAppendValue(array, value);
        const bool hasGrown = CFArrayGetCount(array) != CFArrayGetCount(before);
        fail.Fired();
        EXPECT_TRUE(isKept && CFEqual(dictionary, pairs));
        EXPECT_TRUE(hasGrown || CFEqual(array, before));
        CFDictionarySetValue(dictionary, key, value);
        if (!hasGrown)
            CFArrayAppendValue(array, value);
    }
    EXPECT_EQ(CFGetRetainCount(value), 1 + 40 + 40);

    CFDictionaryValueCallBacks refusing = kCFTypeDictionaryValueCallBacks;
    refusing.retain = [](CFAllocatorRef, void const*) -> void const* { return nullptr; };
    const Dictionary empty(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &refusing));
    CFDictionarySetValue(empty, value, value);
    EXPECT_EQ(CFDictionaryGetCount(empty), 0);
    EXPECT_EQ(CFGetRetainCount(value), 1 + 40 + 40) << "the key went back";
}

}  // namespace
