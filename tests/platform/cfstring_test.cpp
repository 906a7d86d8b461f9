// The strings of CoreFoundation.
#define UCHAR_TYPE std::uint16_t
#include <gtest/gtest.h>
#include <iconv.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <climits>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "cfheld.h"
#include "support/allocation.h"

namespace {

using String = Held<CFStringRef>;
using Mutable = Held<CFMutableStringRef>;

CFMutableStringRef MakeMutable(std::string const& aText)
{
    return CFStringCreateMutableCopy(nullptr, 0, String(Make(aText)));
}

CFRange All(CFStringRef aString) { return CFRangeMake(0, CFStringGetLength(aString)); }

/// The text as bytes in an encoding, as far as it converts.
std::string Bytes(CFStringRef aString, CFStringEncoding aEncoding = kCFStringEncodingUTF8, UInt8 aLoss = 0)
{
    CFIndex used = 0;
    CFStringGetBytes(aString, All(aString), aEncoding, aLoss, false, nullptr, 0, &used);
    std::string bytes(static_cast<std::size_t>(used), '?');
    CFStringGetBytes(aString, All(aString), aEncoding, aLoss, false, reinterpret_cast<UInt8*>(bytes.data()), used,
                     &used);
    return bytes;
}

std::u16string Units(CFStringRef aString)
{
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(aString)), u'?');
    CFStringGetCharacters(aString, All(aString), reinterpret_cast<UniChar*>(units.data()));
    return units;
}

// Random edits, held against the C++ library's string. Some texts are ASCII, some are not, some are the string itself.
TEST(CFString, EditsAsAPlainStringDoes)
{
    std::mt19937 random(1);
    const auto below = [&](CFIndex aEnd) {
        return aEnd > 0 ? static_cast<CFIndex>(random() % static_cast<unsigned>(aEnd)) : 0;
    };
    std::u16string const texts[] = {u"",
                                    u"a",
                                    u"abc",
                                    u"living room",
                                    u"ä",
                                    u"Küche",
                                    u"\U0001F525",
                                    std::u16string(70, u'x'),
                                    std::u16string(70, u'ö')};
    for (int round = 0; round < 300; ++round) {
        Mutable string(CFStringCreateMutable(nullptr, 0));
        std::u16string model;
        for (int step = 0; step < 40; ++step) {
            const bool isOwn = random() % 8 == 0 && model.size() < 2000;
            std::u16string const text = isOwn ? model : texts[random() % std::size(texts)];
            String fresh(Make(text));
            CFStringRef const other = isOwn ? static_cast<CFStringRef>(string.Get()) : fresh.Get();
            const CFIndex start = below(CFStringGetLength(string) + 1);
            const CFIndex count = below(CFStringGetLength(string) - start + 1);
            const std::size_t at = static_cast<std::size_t>(start), n = static_cast<std::size_t>(count);
            switch (random() % 7) {
            case 0:
                CFStringAppend(string, other), model += text;
                break;
            case 1:
                CFStringInsert(string, start, other), model.insert(at, text);
                break;
            case 2:
                CFStringDelete(string, CFRangeMake(start, count)), model.erase(at, n);
                break;
            case 3:
                CFStringReplace(string, CFRangeMake(start, count), other), model.replace(at, n, text);
                break;
            case 4:
                CFStringPad(string, nullptr, start, 0), model.resize(at);
                break;
            case 5: {
                String what(Make(u"o")), none(Make(u"zz"));
                const CFIndex hits = std::count(model.begin(), model.end(), u'o');
                EXPECT_EQ(CFStringFindAndReplace(string, what, other, All(string), 0), hits);
                EXPECT_EQ(CFStringFindAndReplace(string, none, other, All(string), 0), 0);
                std::u16string result;
                for (char16_t unit : model)
                    result += unit == u'o' ? text : std::u16string(1, unit);
                model = result;
                break;
            }
            default:
                CFStringReplaceAll(string, other), model = text;
                break;
            }
            ASSERT_EQ(Units(string), model) << round << " " << step;
            String copy(CFStringCreateCopy(nullptr, string)), again(Make(model));
            ASSERT_TRUE(CFEqual(copy, again) && CFHash(copy) == CFHash(string) && CFHash(again) == CFHash(copy));
            char const* const direct = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
            ASSERT_TRUE(direct == nullptr || Bytes(string) == direct) << "the terminator moves with the end";
        }
    }
}

TEST(CFString, RefusesWhatIsOutsideOrUnchangeable)
{
    String text(Make("abc"));
    Mutable limited(CFStringCreateMutable(nullptr, 4)), copy(MakeMutable("abc"));
    for (int i = 0; i < 3; ++i)
        CFStringAppend(limited, text);
    EXPECT_EQ(Bytes(limited), "abc");
    CFStringAppend(const_cast<CFMutableStringRef>(text.Get()), text);
    EXPECT_EQ(Bytes(text), "abc");
    const CFRange outside[] = {{-1, 1}, {0, 4}, {4, 0}, {1, LONG_MAX}, {LONG_MAX, 1}, {1, -1}};
    for (CFRange range : outside)
        EXPECT_TRUE(CFStringCreateWithSubstring(nullptr, text, range) == nullptr);
    CFStringDelete(copy, CFRangeMake(-2, 3));
    CFStringInsert(copy, 99, text);
    EXPECT_EQ(Bytes(copy), "bcabc") << "ranges are cut to the string";
    EXPECT_EQ(CFStringGetCharacterAtIndex(text, 3) + CFStringGetCharacterAtIndex(text, -1) + CFStringGetLength(nullptr),
              0);
    CFRelease(nullptr);
    CFStringAppend(nullptr, text);
    EXPECT_TRUE(CFStringCreateCopy(nullptr, nullptr) == nullptr && CFSTR("one") == CFSTR("one"));
    String pad(Make("12"));
    CFStringPad(copy, pad, 10, LONG_MAX);
    EXPECT_EQ(Bytes(copy), "bcabc21212");
    char const* const bytes = CFStringGetCStringPtr(copy, kCFStringEncodingUTF8);
    CFStringAppendCString(copy, "k\xFFk", kCFStringEncodingUTF8);
    EXPECT_EQ(CFStringGetCStringPtr(copy, kCFStringEncodingUTF8), bytes) << "what is refused changes nothing";
    EXPECT_TRUE(CFStringCreateWithCString(nullptr, "a", kCFStringEncodingUTF16) == nullptr);
    for (int i = 0; i < 3; ++i)
        CFRelease(CFSTR("one"));
    String made(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("one")));
    CFStringAppend(const_cast<CFMutableStringRef>(made.Get()), text);
    EXPECT_TRUE(CFEqual(CFSTR("one"), made)) << "neither is destroyed or changed";
}

/// What glibc's converter makes of UTF-8; empty when it refuses.
std::string Converted(char const* aTo, char const* aFrom, std::string aText)
{
    iconv_t converter = iconv_open(aTo, aFrom);
    std::string out(aText.size() * 4 + 8, '\0');
    char *from = aText.data(), *to = out.data();
    std::size_t left = aText.size(), room = out.size();
    const bool isDone = iconv(converter, &from, &left, &to, &room) != static_cast<std::size_t>(-1);
    iconv_close(converter);
    return isDone ? out.substr(0, out.size() - room) : "";
}

struct Encoding {
    CFStringEncoding mValue;
    char const* mName;
};

constexpr Encoding kEncodings[] = {{kCFStringEncodingUTF8, "UTF-8"},       {kCFStringEncodingISOLatin1, "ISO-8859-1"},
                                   {kCFStringEncodingASCII, "ASCII"},      {kCFStringEncodingUTF16LE, "UTF-16LE"},
                                   {kCFStringEncodingUTF16BE, "UTF-16BE"}, {kCFStringEncodingUTF32LE, "UTF-32LE"},
                                   {kCFStringEncodingUTF32BE, "UTF-32BE"}};

TEST(CFString, ConvertsEveryCodePointAsTheSystemDoes)
{
    for (Encoding const& encoding : kEncodings)
        for (UInt32 block = 0; block <= 0x10FFFF; block += 0x80) {
            if (block >= 0xD800 && block < 0xE000)
                continue;
            std::string points;
            for (UInt32 point = block; point < block + 0x80; ++point)
                for (int shift = 0; shift < 32; shift += 8)
                    points += static_cast<char>(point >> shift);
            String string(CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(points.data()), 0x200,
                                                  kCFStringEncodingUTF32LE, false));
            const std::string expected = Converted(encoding.mName, "UTF-32LE", points);
            const std::string bytes = Bytes(string, encoding.mValue);
            if (expected.empty()) {
                ASSERT_EQ(bytes.empty(), block >= 0x80) << "conversion ends at the first that is not there";
                continue;
            }
            ASSERT_EQ(bytes, expected) << encoding.mName << std::hex << block;
            String back(CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(bytes.data()),
                                                static_cast<CFIndex>(bytes.size()), encoding.mValue, false));
            ASSERT_TRUE(CFEqual(back, string)) << encoding.mName << std::hex << block;
        }
}

TEST(CFString, RefusesBrokenBytesAsTheSystemDoes)
{
    std::mt19937 random(2);
    for (Encoding const& encoding : kEncodings) {
        const bool isUtf16 = encoding.mName == std::string("UTF-16LE") || encoding.mName == std::string("UTF-16BE");
        for (int round = 0; round < 20000; ++round) {
            std::string bytes;
            for (std::size_t i = random() % 9; i > 0; --i) {
                constexpr UInt8 kTricky[] = {0,    'a',  0x7F, 0x80, 0xBF, 0xC1, 0xC3, 0xD8,
                                             0xDC, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0x10};
                bytes += static_cast<char>(kTricky[random() % std::size(kTricky)]);
            }
            String string(CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(bytes.data()),
                                                  static_cast<CFIndex>(bytes.size()), encoding.mValue, false));
            const std::string expected = Converted("UTF-32LE", encoding.mName, bytes);
            // Strings hold unpaired surrogates too.
            const bool isRefused = isUtf16 ? bytes.size() % 2 != 0 : expected.empty() && !bytes.empty();
            ASSERT_EQ(string.Get() == nullptr, isRefused) << encoding.mName << " " << round;
            ASSERT_TRUE(expected.empty() || Bytes(string, kCFStringEncodingUTF32LE) == expected)
                << encoding.mName << round;
        }
    }
}

TEST(CFString, ConvertsOnlyWholeCharactersThatFit)
{
    String string(Make(u"aä€\U0001F525\xD800z"));
    struct Case {
        CFIndex mSize, mConverted, mUsed;
        UInt8 mLoss;
    };
    constexpr Case kCases[] = {{0, 0, 0, 0},   {1, 1, 1, 0},     {2, 1, 1, 0},    {3, 2, 3, 0},
                               {5, 2, 3, 0},   {6, 3, 6, 0},     {9, 3, 6, 0},    {10, 5, 10, 0},
                               {99, 5, 10, 0}, {11, 6, 11, '?'}, {99, 7, 12, '?'}};
    for (Case const& c : kCases) {
        UInt8 buffer[100] = {};
        CFIndex used = -1;
        EXPECT_EQ(CFStringGetBytes(string, All(string), kCFStringEncodingUTF8, c.mLoss, false, buffer, c.mSize, &used),
                  c.mConverted);
        EXPECT_TRUE(used == c.mUsed && buffer[used] == 0) << c.mSize;
    }
    const std::string marked = Converted("UTF-16", "UTF-8", "hä");  // with a mark, in this machine's order
    for (CFStringEncoding encoding : {kCFStringEncodingUTF16, kCFStringEncodingUTF32, kCFStringEncodingUTF8}) {
        UInt8 buffer[32];
        CFIndex used = 0;
        String text(Make("hä")), withMark(Make("\uFEFFhä"));
        CFStringGetBytes(text, All(text), encoding, 0, true, buffer, sizeof buffer, &used);
        EXPECT_EQ(encoding == kCFStringEncodingUTF16,
                  marked == std::string(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(used)));
        String back(CFStringCreateWithBytes(nullptr, buffer, used, encoding, true));
        String raw(CFStringCreateWithBytes(nullptr, buffer, used, encoding, false));
        EXPECT_TRUE(CFEqual(back, text) && CFEqual(raw, encoding == kCFStringEncodingUTF8 ? text : withMark));
    }
    UInt8 const swapped[] = {0xFE, 0xFF, 0, 'h', 0, 0xE4};
    String big(CFStringCreateWithBytes(nullptr, swapped, sizeof swapped, kCFStringEncodingUTF16, true)),
        expected(Make("hä"));
    EXPECT_TRUE(CFEqual(big, expected));
}

int Sign(CFIndex aValue) { return (aValue > 0) - (aValue < 0); }

/// Words with everything in them that has made comparisons go wrong elsewhere.
std::vector<std::u16string> TrickyTexts()
{
    std::mt19937 random(3);
    std::u16string const parts[] = {u"a",
                                    u"A",
                                    u"z",
                                    u"ß",
                                    u"SS",
                                    u"ss",
                                    u"ä",
                                    u"Ä",
                                    u"a\u0308",
                                    u"A\u0308",
                                    u"\u0308",
                                    u"é",
                                    u"e\u0301",
                                    u"e\u0323\u0301",
                                    u"e\u0301\u0323",
                                    u"σ",
                                    u"ς",
                                    u"Σ",
                                    u"İ",
                                    u"i\u0307",
                                    u"ﬁ",
                                    u"fi",
                                    u"ж",
                                    u"Ж",
                                    u"й",
                                    u"и\u0306",
                                    u"가",
                                    u"가",
                                    u"\U00010428",
                                    u"\U00010400",
                                    u"漢",
                                    u"ǆ",
                                    u"Ǆ",
                                    u"ΐ",
                                    u"1"};
    std::vector<std::u16string> texts = {u""};
    for (int i = 0; i < 400; ++i) {
        std::u16string text = i % 3 == 0 ? u"room" : u"";
        for (std::size_t n = random() % 4 + 1; n > 0; --n)
            text += parts[random() % std::size(parts)];
        texts.push_back(text);
    }
    return texts;
}

UniChar const* Raw(std::u16string const& aText) { return reinterpret_cast<UniChar const*>(aText.data()); }

TEST(CFString, ComparesAsUnicodeSays)
{
    std::vector<std::u16string> const texts = TrickyTexts();
    for (std::u16string const& first : texts)
        for (std::u16string const& second : texts) {
            UErrorCode status = U_ZERO_ERROR;
            const int n = static_cast<int>(first.size()), m = static_cast<int>(second.size());
            String a(Make(first)), b(Make(second));
            ASSERT_EQ(CFStringCompare(a, b, 0), Sign(first.compare(second)));
            ASSERT_EQ(CFStringCompare(a, b, kCFCompareCaseInsensitive),
                      Sign(u_strCaseCompare(Raw(first), n, Raw(second), m, U_COMPARE_CODE_POINT_ORDER, &status)));
            ASSERT_EQ(CFStringCompare(a, b, kCFCompareNonliteral) == 0,
                      unorm_compare(Raw(first), n, Raw(second), m, 0, &status) == 0);
            ASSERT_EQ(CFStringCompare(a, b, kCFCompareNonliteral | kCFCompareCaseInsensitive) == 0,
                      unorm_compare(Raw(first), n, Raw(second), m, U_COMPARE_IGNORE_CASE, &status) == 0);
        }
}

struct Pair {
    char const* mFirst;
    char const* mSecond;
    CFOptionFlags mOptions;
    int mResult;
};

TEST(CFString, IgnoresMarksAndWidthWhereAskedTo)
{
    constexpr CFOptionFlags kMarks = kCFCompareDiacriticInsensitive, kWidth = kCFCompareWidthInsensitive;
    constexpr Pair kPairs[] = {{"crème brûlée", "creme brulee", kMarks, 0},
                               {"crème", "CREME", kMarks, 1},
                               {"crème", "CREME", kMarks | kCFCompareCaseInsensitive, 0},
                               {"ελληνικά", "ελληνικα", kMarks, 0},
                               {"елка", "ёлка", kMarks, 0},
                               {"が", "か", kMarks, 1},
                               {"ＡＢＣ　１２", "ABC 12", kWidth, 0},
                               {"ｶﾞ", "ガ", kWidth | kCFCompareNonliteral, 0},
                               {"ｶﾞ", "ガ", kWidth, -1},
                               {"ａ", "b", kWidth, -1},
                               {"ÅNGSTRÖM Ｘ", "ångström x", 401, 0},
                               {"Zoë", "zoe", 401, 0},
                               {"zoe", "Zoëy", 401, -1}};
    for (Pair const& pair : kPairs) {
        String first(Make(pair.mFirst)), second(Make(pair.mSecond));
        EXPECT_EQ(CFStringCompare(first, second, pair.mOptions), pair.mResult) << pair.mFirst << " " << pair.mSecond;
        EXPECT_EQ(CFStringCompare(second, first, pair.mOptions), -pair.mResult) << pair.mFirst << " " << pair.mSecond;
    }
    UErrorCode status = U_ZERO_ERROR;
    UNormalizer2 const* const compatible = unorm2_getNFKCInstance(&status);
    for (UniChar unit = 0xFEFF; unit < 0xFFF1; ++unit) {
        UniChar ordinary[4] = {unit};
        const bool isForm = unorm2_getRawDecomposition(compatible, unit, ordinary, 4, &status) > 0;
        String form(CFStringCreateWithCharacters(nullptr, &unit, 1)),
            other(CFStringCreateWithCharacters(nullptr, ordinary, 1));
        EXPECT_TRUE(CFStringCompare(form, other, kWidth) == 0 && isForm == !CFEqual(form, other)) << unit;
    }
    String many(Make("a" + std::string(400, '\xCC'))), plain(Make("a"));
    std::string marks = "a";
    for (int i = 0; i < 200; ++i)
        marks += "\u0301";
    String piled(Make(marks));
    EXPECT_TRUE(many.Get() == nullptr && CFStringCompare(piled, plain, 401) > 0)
        << "what is left of a pile is no letter";
}

TEST(CFString, FindsForwardsBackwardsAndAnchored)
{
    constexpr CFOptionFlags kCase = kCFCompareCaseInsensitive, kBack = kCFCompareBackwards,
                            kAnchor = kCFCompareAnchored;
    struct Search {
        char const *mText, *mWhat;
        CFOptionFlags mOptions;
        CFIndex mLocation, mLength;
    };
    constexpr Search kSearches[] = {{"on and on", "on", 0, 0, 2},
                                    {"on and on", "on", kBack, 7, 2},
                                    {"on and on", "and", kAnchor, -1, 0},
                                    {"on and on", "on", kAnchor | kBack, 7, 2},
                                    {"aaab", "aab", 0, 1, 3},
                                    {"ab", "abc", 0, -1, 0},
                                    {"ab", "", 0, -1, 0},
                                    {"", "a", kCase, -1, 0},
                                    {"Straße", "STRASSE", kCase, 0, 6},
                                    {"Straße", "s", kCase | kBack, 0, 1},
                                    {"STRASSE", "ß", kCase, 4, 2},
                                    {"STRASSE", "sse", kCase | kAnchor | kBack, 4, 3},
                                    {"cafe\u0301!", "café", 16, 0, 5},
                                    {"cafe\u0301!", "cafe", 16, -1, 0},
                                    {"cafe\u0301!", "cafe", 128, 0, 5},
                                    {"cafe\u0301!", "cafe", 0, 0, 4},
                                    {"größer Ä", "ä", 0, -1, 0},
                                    {"größer Ä", "ä", kCase, 7, 1},
                                    {"größer", "o", 128, 2, 1},
                                    {"\U0001F525x", "x", kCase, 2, 1},
                                    {"plain", "Ünd", kCase, -1, 0},
                                    {"Ünd", "n", 0, 1, 1}};
    for (Search const& search : kSearches) {
        String text(Make(search.mText)), what(Make(search.mWhat));
        const CFRange hit = CFStringFind(text, what, search.mOptions);
        EXPECT_TRUE(hit.location == search.mLocation && hit.length == search.mLength)
            << search.mText << "/" << search.mWhat << " " << search.mOptions << ": " << hit.location << ","
            << hit.length;
    }
    String text(Make("ab:ab")), what(Make("ab"));
    CFRange hit = CFRangeMake(7, 7);
    EXPECT_TRUE(CFStringFindWithOptions(text, what, CFRangeMake(1, 99), 0, &hit) && hit.location == 3);
    EXPECT_FALSE(CFStringFindWithOptions(text, what, CFRangeMake(1, 3), 0, &hit));
    EXPECT_TRUE(hit.location == 3 && CFStringHasPrefix(text, what) && CFStringHasSuffix(text, what));
    EXPECT_EQ(CFStringCompareWithOptions(text, what, CFRangeMake(3, 2), 0), 0);
    Mutable folded(MakeMutable("Straße, STRASSE, strasse"));
    String whole(Make("strasse")), with(Make("way"));
    EXPECT_EQ(CFStringFindAndReplace(folded, whole, with, All(folded), kCase | kBack), 3);
    EXPECT_EQ(Bytes(folded), "way, way, way");
}

TEST(CFString, MapsCaseByTheRulesOfTheLanguage)
{
    struct Mapping {
        char const *mLocale, *mText, *mUpper, *mLower, *mTitle;
    };
    constexpr Mapping kMappings[] = {
        {"", "straße ﬁt ŉ", "STRASSE FIT ʼN", "straße ﬁt ŉ", "Straße Fit ʼN"},
        {"tr", "Iıİi istanbul", "IIİİ İSTANBUL", "ııii istanbul", "Iıii İstanbul"},
        {"az_AZ", "title", "TİTLE", "title", "Title"},
        {"lt", "Ì xi\u0307\u0300", "Ì XI\u0300", "i\u0307\u0300 xi\u0307\u0300", "Ì Xi\u0307\u0300"},
        {"el", "ΌΔΟΣ άλφα", "ΟΔΟΣ ΑΛΦΑ", "όδος άλφα", "Όδος Άλφα"},
        {"nl", "ijssel ij", "IJSSEL IJ", "ijssel ij", "IJssel IJ"},
        {"fr_FR", "français (canada)", "FRANÇAIS (CANADA)", "français (canada)", "Français (Canada)"},
        {"en_US", "guinea-bissau o'neil 3rd", "GUINEA-BISSAU O'NEIL 3RD", "guinea-bissau o'neil 3rd",
         "Guinea-Bissau O'neil 3Rd"},
        {"TUR", "i", "\u0130", "i", "\u0130"},
        {"xx_YY_ZZ", "plain", "PLAIN", "plain", "Plain"}};
    for (Mapping const& mapping : kMappings) {
        String name(Make(mapping.mLocale));
        Held<CFLocaleRef> locale(CFLocaleCreate(nullptr, name));
        Mutable upper(MakeMutable(mapping.mText)), lower(MakeMutable(mapping.mText)), title(MakeMutable(mapping.mText));
        CFStringUppercase(upper, locale), CFStringLowercase(lower, locale), CFStringCapitalize(title, locale);
        EXPECT_EQ(Bytes(upper), mapping.mUpper);
        EXPECT_EQ(Bytes(lower), mapping.mLower);
        EXPECT_EQ(Bytes(title), mapping.mTitle);
    }
    // Every character that has special mappings, and every other, alone.
    for (UInt32 point = 0; point <= 0x10FFFF; ++point) {
        if (point >= 0xD800 && point < 0xE000)
            continue;
        UniChar units[2], expected[8];
        int length = 0;
        UErrorCode status = U_ZERO_ERROR;
        U16_APPEND_UNSAFE(units, length, point);
        String text(CFStringCreateWithCharacters(nullptr, units, length));
        Mutable upper(CFStringCreateMutableCopy(nullptr, 0, text)), lower(CFStringCreateMutableCopy(nullptr, 0, text));
        CFStringUppercase(upper, nullptr), CFStringLowercase(lower, nullptr);
        int count = u_strToUpper(expected, 8, units, length, "", &status);
        String up(CFStringCreateWithCharacters(nullptr, expected, count));
        count = u_strToLower(expected, 8, units, length, "", &status);
        String low(CFStringCreateWithCharacters(nullptr, expected, count));
        ASSERT_TRUE(CFEqual(upper, up) && CFEqual(lower, low)) << std::hex << point;
    }
}

std::string Formatted(char const* aFormat, ...)
{
    va_list list;
    va_start(list, aFormat);
    String format(Make(aFormat)), text(CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, list));
    va_end(list);
    return text.Get() != nullptr ? Bytes(text) : "(no text)";
}

TEST(CFString, FormatsAsPrintfDoesAndObjects)
{
    String object(Make("Küche"));
    UniChar const units[] = {'a', 0xE4, 0};
    EXPECT_EQ(
        Formatted("%d|%5d|%-5d|%05d|%+d|% d|%x|%#X|%o|%u|%c", -7, 42, 42, 42, 42, 42, 255, 255, 8, 4000000000U, 'c'),
        "-7|   42|42   |00042|+42| 42|ff|0XFF|10|4000000000|c");
    EXPECT_EQ(Formatted("%hhd %hd %ld %lld %zu %jd %td %qd", 300, 70000, 1L << 30, 1LL << 40, sizeof(int), INTMAX_MAX,
                        static_cast<std::ptrdiff_t>(-3), 5LL),
              "44 4464 1073741824 1099511627776 4 9223372036854775807 -3 5");
    EXPECT_EQ(Formatted("%f %.2f %e %g %10.3f|%-8.1f| %Lf %a", 1.5, 2.345, 1e10, 0.0001, 3.14159, 2.5, 1.25L, 1.0),
              "1.500000 2.35 1.000000e+10 0.0001      3.142|2.5     | 1.250000 0x1p+0");
    EXPECT_EQ(Formatted("%s|%.3s|%8s|%-8s|%%|%S|%C|%@|%7@|%-7@|%.3@", "text", "Küche", "hä", "hä", units, 0xE4,
                        object.Get(), object.Get(), object.Get(), object.Get()),
              "text|Kü|      hä|hä      |%|aä|ä|Küche|  Küche|Küche  |Küc");
    EXPECT_EQ(Formatted("%2$s %1$d %2$s %3$*4$d", 7, "twice", 5, 3), "twice 7 twice   5");
    EXPECT_EQ(Formatted("%1$s %1$d", 7), "%1$s 7") << "an argument cannot be both";
    EXPECT_EQ(Formatted("%*d|%-*d|%*d|%.*f", 4, 1, 4, 2, -4, 3, 1, 2.55), "   1|2   |3   |2.5");
    EXPECT_EQ(Formatted("100%, %y %", 1), "100%, %y %") << "what is no conversion stays";
    EXPECT_EQ(Formatted("%s %@ %S", nullptr, nullptr, nullptr), "(null) (null) (null)");
    EXPECT_EQ(Formatted("%s", "\xE4\x80"), "ä\u0080") << "what is not UTF-8 still shows";
    EXPECT_EQ(Formatted("%Ld|%qd|%lf|%ls|%lc|%.2ls", 1LL << 40, -5LL, 0.5, L"w\u00EFde", 0x1F525, L"abc"),
              "1099511627776|-5|0.500000|w\u00EFde|\U0001F525|ab");
    EXPECT_EQ(Formatted("%lzd %llf %hs", 1), "%lzd %llf %hs") << "lengths that no conversion has";
    String fire(Make("\U0001F525"));
    EXPECT_EQ(Formatted("%.2s|%.3s|%.1@|", "K\u00FC", "K\u00FC", fire.Get()), "K|K\u00FC||")
        << "no half of a character";
    EXPECT_EQ(Formatted("%0300d", 1), std::string(299, '0') + "1");
    EXPECT_EQ(Formatted("%.200f", 0.5).size(), 202U);
}

TEST(CFString, ReadsNumbers)
{
    struct Number {
        char const* mText;
        int mInteger;
        double mReal;
    };
    constexpr Number kNumbers[] = {{"", 0, 0},
                                   {"42", 42, 42},
                                   {" \t\n-17x", -17, -17},
                                   {"+8", 8, 8},
                                   {"2147483647", INT_MAX, 2147483647.0},
                                   {"2147483648", INT_MAX, 2147483648.0},
                                   {"-2147483648", INT_MIN, -2147483648.0},
                                   {"-99999999999999999999", INT_MIN, -1e20},
                                   {"3.75e2", 3, 375},
                                   {".5", 0, 0.5},
                                   {"- 5", 0, 0},
                                   {"0x10", 0, 0},
                                   {"inf", 0, 0},
                                   {"nan", 0, 0},
                                   {"\u00A012,5", 12, 12},
                                   {"1e400", 1, HUGE_VAL},
                                   {"ä1", 0, 0},
                                   {"1-2", 1, 1}};
    for (Number const& number : kNumbers) {
        String text(Make(number.mText));
        EXPECT_EQ(CFStringGetIntValue(text), number.mInteger) << number.mText;
        EXPECT_EQ(CFStringGetDoubleValue(text), number.mReal) << number.mText;
    }
    String big(Make("1" + std::string(300, '0') + ".0e1"));
    EXPECT_EQ(CFStringGetDoubleValue(big), 1e301);
}

TEST(CFString, SplitsAndTrims)
{
    struct Split {
        char const *mText, *mSeparator;
        std::vector<std::string> mPieces;
    };
    const Split splits[] = {{"a:b::c:", ":", {"a", "b", "", "c", ""}},
                            {"", ":", {""}},
                            {"abc", "", {"abc"}},
                            {"aaa", "aa", {"", "a"}},
                            {"ä–b–", "–", {"ä", "b", ""}}};
    for (Split const& split : splits) {
        String text(Make(split.mText)), separator(Make(split.mSeparator));
        Held<CFArrayRef> array(CFStringCreateArrayBySeparatingStrings(nullptr, text, separator));
        std::vector<std::string> pieces;
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            pieces.push_back(Bytes(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))));
        EXPECT_EQ(pieces, split.mPieces) << split.mText;
    }
    Mutable text(MakeMutable("\u2003 \t\r\n a b \u00A0\u3000")), blank(MakeMutable(" \n "));
    CFStringTrimWhitespace(text), CFStringTrimWhitespace(blank);
    EXPECT_TRUE(Bytes(text) == "a b" && CFStringGetLength(blank) == 0);
    for (std::u16string const& units : {std::u16string(200, u'x'), std::u16string(200, u'ö')}) {
        String string(Make(units));
        CFStringInlineBuffer buffer;
        CFStringInitInlineBuffer(string, &buffer, CFRangeMake(50, 100));
        EXPECT_EQ(CFStringGetCharacterFromInlineBuffer(&buffer, 99), units[0]);
        EXPECT_EQ(
            CFStringGetCharacterFromInlineBuffer(&buffer, 100) + CFStringGetCharacterFromInlineBuffer(&buffer, -1), 0);
        buffer.directUniCharBuffer = nullptr, buffer.directCStringBuffer = nullptr;  // as for a string that has neither
        for (CFIndex i : {0, 99, 70, 3, 68})
            EXPECT_EQ(CFStringGetCharacterFromInlineBuffer(&buffer, i), units[0]);
    }
}

// ICU keeps what it could not set up, so this is of use only as the first test of its process.
TEST(CFString, ComparesWithoutMemoryFromTheFirstTimeOn)
{
    String first(Make("Caf\u00E9 \uFF21\uFF22")), second(Make("cafe\u0301 ab")),
        long1(Make(std::u16string(100000, u'\u6F22')));
    Mutable long2(CFStringCreateMutableCopy(nullptr, 0, long1));
    CFStringAppend(long2, first);
    FailNthAllocation fail(1, FailNthAllocation::kFromThenOn);
    EXPECT_EQ(CFStringCompare(first, second, 401), 0);
    EXPECT_EQ(CFStringFind(first, second, 401).length, 7);
    EXPECT_EQ(CFStringCompare(long1, long2, 401), -1);
    EXPECT_FALSE(fail.Fired());
}

// Every allocation of every operation fails once: nothing is created, or the string is as it was.
TEST(CFString, SurvivesFailureOfEveryAllocation)
{
    const std::string longText(100, 'x');
    String ascii(Make(longText)), wide(Make(u"Küche und Bäder \u0391\u0399 straße, noch viel länger als gedacht")),
        what(Make("x")), colon(Make("ä"));
    String german(Make("de")), format(Make("%s %d %@ %.150f"));
    Held<CFLocaleRef> locale(CFLocaleCreate(nullptr, german));
    const std::vector<std::function<CFTypeRef()>> creations = {
        [&] { return CFStringCreateMutable(nullptr, 0); },
        [&] { return CFStringCreateMutableCopy(nullptr, 0, wide); },
        [&] { return CFStringCreateWithCString(nullptr, "Küche", kCFStringEncodingUTF8); },
        [&] {
            return CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>("a\0b\0"), 4,
                                           kCFStringEncodingUTF16LE, false);
        },
        [&] { return CFStringCreateWithSubstring(nullptr, wide, CFRangeMake(2, 9)); },
        [&] { return CFStringCreateWithFormat(nullptr, nullptr, format, longText.c_str(), 7, wide.Get(), 0.5); },
        [&] { return CFStringCreateArrayBySeparatingStrings(nullptr, wide, colon); }};
    for (std::size_t i = 0; i < creations.size(); ++i)
        for (int n = 1;; ++n) {
            FailNthAllocation fail(n);
            Held<CFTypeRef> object(creations[i]());
            if (!fail.Fired())
                break;
            EXPECT_TRUE(object.Get() == nullptr) << i << " " << n;
        }
    using Change = std::function<void(CFMutableStringRef)>;
    const std::vector<Change> changes = {
        [&](CFMutableStringRef aString) { CFStringAppend(aString, wide); },
        [&](CFMutableStringRef aString) { CFStringAppend(aString, aString); },
        [&](CFMutableStringRef aString) { CFStringAppendCString(aString, "Küche", kCFStringEncodingUTF8); },
        [&](CFMutableStringRef aString) { CFStringInsert(aString, 3, wide); },
        [&](CFMutableStringRef aString) { CFStringReplaceAll(aString, wide); },
        [&](CFMutableStringRef aString) { CFStringFindAndReplace(aString, what, wide, All(aString), 0); },
        [&](CFMutableStringRef aString) {
            CFStringAppendFormat(aString, nullptr, format, longText.c_str(), 7, wide.Get(), 0.5);
        },
        [&](CFMutableStringRef aString) { CFStringPad(aString, wide, 300, 0); },
        [&](CFMutableStringRef aString) { CFStringUppercase(aString, locale); },
        [&](CFMutableStringRef aString) { CFStringCapitalize(aString, locale); }};
    for (CFStringRef start : {ascii.Get(), wide.Get()})
        for (std::size_t i = 0; i < changes.size(); ++i) {
            Mutable done(CFStringCreateMutableCopy(nullptr, 0, start));
            changes[i](done);
            for (int n = 1;; ++n) {
                Mutable string(CFStringCreateMutableCopy(nullptr, 0, start));
                FailNthAllocation fail(n);
                changes[i](string);
                if (!fail.Fired())
                    break;
                EXPECT_TRUE(CFEqual(string, start) || CFEqual(string, done)) << i << " " << n;
            }
        }
}

}  // namespace
