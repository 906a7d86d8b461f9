// The configuration reader.
#include "ktconfig.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <thread>

#include "ktarray.h"
#include "ktstring.h"
#include "support/allocation.h"
#include "support/output.h"

namespace {

using Pair = std::pair<std::string, std::string>;
using Pairs = std::initializer_list<Pair>;  // what is read, and what comes of it

const std::string kLatin1 = "<?xml version='1.0' encoding='ISO-8859-1'?>", kNone = "(none)";

std::string Repeat(std::string const& aText, int aCount)
{
    std::string text;
    for (int i = 0; i < aCount; ++i)
        text += aText;
    return text;
}

/// An element with this value for "k".
std::string Line(std::string const& aValue) { return "<a key='k' value='" + aValue + "'/>"; }

std::string Attributes(int aCount)
{
    std::string text;
    for (int i = 0; i < aCount; ++i)
        text += " a" + std::to_string(i) + "=''";
    return text;
}

/// A configuration and a folder for its files.
class Config : public testing::Test {
protected:
    Config() { mConfig.Init(); }
    ~Config() override { std::filesystem::remove_all(mFolder); }

    ktError Add(std::string const& aText)
    {
        std::ofstream(mPath, std::ios::binary) << aText;
        return mConfig.AddConfig(mPath.c_str());
    }
    ktError Set(std::string const& aValue) { return mConfig.AddEntry("k", aValue.c_str()); }
    std::string Value(std::string const& aKey = "k") const
    {
        return mConfig.HasValue(aKey.c_str()) ? mConfig.GetValue(aKey.c_str()) : kNone;
    }

    char mTemplate[32] = "/tmp/ktconfig.XXXXXX";
    const std::string mFolder = mkdtemp(mTemplate), mPath = mFolder + "/config";
    OutputTap mTap;
    ktConfig mConfig;
};

TEST_F(Config, FindsEntriesWhereverTheyAre)
{
    EXPECT_EQ(
        Add("<a key='x' value='1'>text<b key='x' value='2'/><c><c><d k='' key='deep' value='3' value2='4'/></c></c>"
            "<e key='half'/><f value='5'/><g key='' value='6'/><i key='empty' value=''/>"
            "<h key='b&amp;&#65;&#10;' value=' &lt;&#9;&quot;'/></a><!-- -->"),
        0);
    EXPECT_EQ(Value("x") + Value("deep") + Value("half") + Value("") + Value("empty") + Value("b&A\n"),
              "23(none)6 <\t\"");
    EXPECT_TRUE(Add("<x><y key='later' value='7'/><y key='deep' value='8'/></x>") == 0 && Value("deep") == "8");
    EXPECT_TRUE(Value("x") == "2" && mConfig.Init() == 0 && Value("x") == kNone) << "starts over";
}

TEST_F(Config, KeepsValuesInLatin1AndKeysAsTheFileHasThem)
{
    const std::string e = "\xc3\xa9", euro = "\xe2\x82\xac", longKey = Repeat("\xe9", 700), most = Repeat("\xe9", 2047);
    EXPECT_EQ(Add(kLatin1 + "<a key='\xe9' value='\xe9&#255;'><b key='&#8364;' value='k'/></a>"), 0);
    EXPECT_EQ(Add(kLatin1 + "<a key='" + longKey + "' value='long'/>"), 0);
    EXPECT_EQ(Value("\xe9") + Value(euro) + Value(longKey), "\xe9\xffklong");
    EXPECT_TRUE(Add("<a key='" + e + "' value='" + e + "'/>") == 0 && Value(e) == "\xe9");
    const Pairs cuts = {Pair(Repeat("a", 2047), Repeat("a", 2047)), Pair(Repeat("a", 2048), Repeat("a", 2047)),
                        Pair(Repeat(e, 9000), most), Pair(Repeat(e, 2048) + euro, most),
                        Pair(Repeat(e, 2047) + euro, "")};
    for (auto const& [text, cut] : cuts) {
        const std::string entity = "<!DOCTYPE a [<!ENTITY e '" + text + "'>]>";
        EXPECT_TRUE(Add(entity + "<a key='k' value='&e;'/>") == 0 && Value() == cut) << text;
        EXPECT_TRUE(Add(Line(text)) == 0 && Value() == cut) << text;
    }
}

/// Entities that are each ten of the one before.
std::string Laughs(std::string const& aFirst, int aTimes)
{
    std::string text = "<!DOCTYPE a [<!ENTITY e0 '" + aFirst + "'>";
    for (int i = 1; i <= aTimes; ++i)
        text += "<!ENTITY e" + std::to_string(i) + " '" + Repeat("&e" + std::to_string(i - 1) + ";", 10) + "'>";
    return text + "]>" + Line("1&e" + std::to_string(aTimes) + ';');
}

// An application that lets libxml2 do everything does not make the reader do so.
TEST_F(Config, SurvivesHostileFiles)
{
    static int sCalls = 0;
    const xmlExternalEntityLoader loader = xmlGetExternalEntityLoader();
    xmlSetExternalEntityLoader([](auto...) -> xmlParserInputPtr { return ++sCalls, nullptr; });
    xmlSetStructuredErrorFunc(&sCalls, [](void*, xmlErrorPtr) { ++sCalls; });
    xmlLoadExtDtdDefaultValue = xmlDoValidityCheckingDefaultValue = xmlSubstituteEntitiesDefaultValue = 1;
    const std::string one = Line("1"), nine(9 << 20, 'x'), other = "SYSTEM '/etc/passwd'>";
    const std::string wide("\xff\xfe<\0a\0 \0k\0e\0y\0=\0'\0k\0'\0 \0v\0a\0l\0u\0e\0=\0'\0\xe9\0'\0/\0>\0", 46);
    const Pairs files = {Pair(Laughs(Repeat("ha", 104), 1), "1" + Repeat("ha", 1023)),
                         Pair(Laughs("h", 2), "1" + Repeat("h", 100)),
                         Pair(Laughs("ha", 12), kNone),
                         Pair(Line("\xe9"), kNone),
                         Pair(wide, "\xe9"),
                         Pair("<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]>" + Line("&e;"), kNone),
                         Pair("<!DOCTYPE a SYSTEM 'o.dtd' [<!ENTITY e " + other + "]><b>&e;" + one + "</b>", "1"),
                         Pair("<!DOCTYPE a [<!ENTITY e " + other + "]>" + Line("&e;"), kNone),
                         Pair("", kNone),
                         Pair("<!DOCTYPE a [<!ENTITY % p " + other + " %p;]>" + one, "1"),
                         Pair(Line(Repeat(nine, 12)), kNone),
                         Pair(Repeat("<a>", 10000) + one + Repeat("</a>", 10000), kNone),
                         Pair(Line(std::string("1\0", 2)), kNone),
                         Pair("<a key='" + nine + "' value='1'>" + one + "</a>", "1"),
                         Pair("<?xml version='1.0' encoding='UTF-16'?>" + one, kNone),
                         Pair("<a" + Attributes(2000) + "><b" + Attributes(2000) + "/>" + one + "</a>", "1"),
                         Pair("<a" + Attributes(100000) + "/>", kNone),
                         Pair("<!DOCTYPE a [<!ENTITY e '" + Repeat("|", 6000) + "'>]>" + one, kNone)};
    for (auto const& [text, value] : files) {
        mConfig.Init();
        EXPECT_EQ(Add(text), value == kNone ? -8 : 0) << text.substr(0, 200);
        EXPECT_EQ(Value(), value) << text.substr(0, 200);
    }
    EXPECT_TRUE(sCalls == 0 && xmlStructuredErrorContext == &sCalls) << "nothing was fetched or told to others";
    EXPECT_EQ(xmlLoadExtDtdDefaultValue + xmlDoValidityCheckingDefaultValue + xmlSubstituteEntitiesDefaultValue, 3);
    xmlLoadExtDtdDefaultValue = xmlDoValidityCheckingDefaultValue = xmlSubstituteEntitiesDefaultValue = 0;
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    xmlSetExternalEntityLoader(loader);
    EXPECT_TRUE(mTap.Has("(4) ktconfig: failed to parse config file: " + mPath + "\n") && !mTap.Has("error"));
}

TEST_F(Config, SaysWhatItCannotDo)
{
    const std::string none = mFolder + "/none", large = mFolder + "/large";
    std::ofstream(large).close();
    ASSERT_EQ(truncate(large.c_str(), 3LL << 30), 0);
    ASSERT_EQ(Add("<a key='k' value='1'><b key='k' value='2'/></a>") + mConfig.GetConfigData(nullptr), 0);
    ktConfig empty;
    EXPECT_EQ(mConfig.AddConfig(none.c_str()) + mConfig.AddConfig(nullptr), -200);
    EXPECT_TRUE(mConfig.AddConfig(large.c_str()) == -107 && mConfig.AddConfig(mFolder.c_str()) == -2)
        << "cannot be read";
    EXPECT_TRUE(empty.AddEntry("a", "b") == -9 && empty.AddConfig(mPath.c_str()) == -2 && !empty.HasValue("a"));
    EXPECT_EQ(mConfig.AddEntry(nullptr, "b") + mConfig.AddEntry("a", nullptr) + mConfig.GetIntValue(nullptr), -4);
    mConfig.Log("all");
    mConfig.Log("all", "name", [](PLHashEntry* aEntry, int, void* aText) {
        return static_cast<ktString*>(aText)->Append(static_cast<char const*>(aEntry->value));
    });
    const std::string open = "(4) ktconfig: failed to open config file: ",
                      pair = "failed to allocate key/value pair for: ";
    for (std::string const& line :
         {"(4) ktconfig: reading file (" + mPath + ")", open + none, open + "(null)", pair + "a, b", pair + "k, 1",
          "failed to get info for file: " + large, "read error in xml file: " + mFolder, pair + "(null), b",
          pair + "a, (null)", std::string("(2) ktconfig: all: store ( ('k', '2'))"),
          std::string("all <name> : store (2)")})
        EXPECT_TRUE(mTap.Has(line + '\n')) << line << " missing in\n" << mTap.mText;
    EXPECT_FALSE(mTap.Has("k, 2\n")) << "the first entry that fails ends it";
}

TEST_F(Config, ReadsNumbersAsTheDeviceDoesInAnyLocale)
{
    const Pairs numbers = {
        Pair("12abc", "-5 12, -5 12, -5 12, 12, 12"),
        Pair("010", "0 8, 0 8, 0 8, 10, 10"),
        Pair(" +0X1f", "0 31, 0 31, 0 31, 0, 31"),
        Pair("", "0 0, 0 0, 0 0, 0, 0"),
        Pair("-1", "0 -1, 0 4294967295, 0 18446744073709551615, -1, -1"),
        Pair("0.5e1", "-5 0, -5 0, -5 0, 0, 5"),
        Pair("4294967294", "-5 2147483647, 0 4294967294, 0 4294967294, 4294967294, 4.29497e+09"),
        Pair("-0x1ffffffff", "-5 -2147483648, -5 4294967295, 0 18446744065119617025, 0, -8.58993e+09")};
    for (auto const& [text, expected] : numbers) {
        Set(text);
        int number = 7;
        unsigned natural = 7;
        unsigned long long wide = 7;
        char found[200];
        errno = ERANGE;
        const int results[] = {mConfig.GetIntValue("k", number), mConfig.GetUIntValue("k", natural),
                               mConfig.GetUInt64Value("k", wide)};
        std::setlocale(LC_ALL, "de_DE.UTF-8");  // where there is one
        const float real = mConfig.GetFloatValue("k");
        std::setlocale(LC_ALL, "C");
        std::snprintf(found, sizeof found, "%d %d, %d %u, %d %llu, %lld, %g", results[0], number, results[1], natural,
                      results[2], wide, mConfig.GetTimeValue("k"), real);
        EXPECT_EQ(found, expected) << text;
        EXPECT_TRUE(mConfig.GetIntValue("no", number) == -4 && mConfig.GetIntValue("k") == number);
    }
}

TEST_F(Config, ReadsListsPathsAndBlobs)
{
    const Pairs lists = {Pair("1,,2, 3", "1 2 3 "), Pair(",x,-0x10,", "0 -16 "), Pair("", ""),
                         Pair(Repeat("7,", 300), Repeat("7 ", 300))};
    for (auto const& [text, expected] : lists) {
        ktIntArray numbers;
        std::string found;
        Set(text);
        for (int i = 0, count = mConfig.GetIntValues("k", ',', numbers); i < count; ++i)
            found += std::to_string(numbers.GetElement(i)) + ' ';
        EXPECT_EQ(found, expected);
    }
    ktString path("/var");
    EXPECT_TRUE(Set("/lib") == 0 && mConfig.GetPathValue("k", path) == 0 && path == "/var/lib");
    EXPECT_TRUE(Set("\xe9") == 0 && mConfig.GetPathValue("k", path) == -2 && path == "/var/lib");
    EXPECT_TRUE(mTap.Has("(4) ktconfig: failed to allocate path value\n"));
    const Pairs blobs = {Pair("AAAA2", "-5 2"),    Pair("AAAA3", "0 3"),   Pair("QUI=2", "0 2"),
                         Pair("QQ1", "0 1"),       Pair("QQ==1", "0 1"),   Pair("5", "0 0"),
                         Pair("!A9", "-13 65535"), Pair("=0", "-13 65535")};
    for (auto const& [text, expected] : blobs) {
        char bytes[16] = {};
        auto length = static_cast<unsigned>(text.back() - '0');  // the room
        Set(text.substr(0, text.size() - 1));
        const ktError result = mConfig.GetBinaryBlobValue("k", bytes, length);
        EXPECT_EQ(std::to_string(result) + ' ' + std::to_string(length), expected) << text;
    }
}

TEST_F(Config, NeverPassesPartOfAFileForTheWholeWhenMemoryFails)
{
    const auto key = [](int aNumber) { return "k\xe9" + Repeat(std::to_string(aNumber), aNumber == 20 ? 600 : 1); };
    std::string text = kLatin1 + "<a>";
    for (int i = 0; i < 40; ++i)
        text += "<b key='" + key(i) + "' value='v&#255;'/>";
    EXPECT_EQ(Add(text + "</a>"), 0);
    bool hasFailed = true;
    const auto read = [&](int aNth, FailNthAllocation::Extent aExtent) {
        ktConfig config;
        mTap.mText.clear();
        FailNthAllocation fail(aNth, aExtent);
        const ktError begun = config.Init(), result = begun == 0 ? config.AddConfig(mPath.c_str()) : begun;
        hasFailed = fail.Fired();
        int count = 0;
        while (count < 40 && config.HasValue(key(count).c_str()))
            ++count;
        EXPECT_TRUE((count < 40) == (result != 0) && (result == 0 || hasFailed)) << result << ' ' << count;
        EXPECT_TRUE(result == 0 || mTap.Has("(4) ktconfig: failed to ")) << result;
    };
    for (int n = 1; hasFailed; ++n)
        read(n, FailNthAllocation::kFromThenOn);
    hasFailed = true;
    for (int n = 1; hasFailed; ++n)  // on threads that libxml2 and NSPR have not met
        std::thread(read, n, FailNthAllocation::kOnce).join();
    Set("value");
    char const* const value = mConfig.GetValue("k");
    EXPECT_TRUE(mConfig.AddEntry("k", value) == 0 && mConfig.GetValue("k") == value) << "nothing to do";
    EXPECT_TRUE(mConfig.AddEntry("k", value + 2) == 0 && Value() == "lue") << "a part of what is replaced";
    const FailNthAllocation fail(1);
    EXPECT_TRUE(mConfig.AddEntry("k", "lost") == -2 && Value() == "lue") << "a failure leaves the old value";
}

}  // namespace
