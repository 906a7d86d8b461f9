// Property lists, strings tables and the bundles that hold them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "cfheld.h"
#include "support/allocation.h"
#include "support/filefault.h"

namespace {

std::vector<ssize_t> sReads;  ///< how the next reads end: at most that many bytes, or an error number, negated
int sOpens = 0;

}  // namespace

// These stand in front of the C library's, for this program and for the libraries that it uses.
extern "C" {
ssize_t read(int aDescriptor, void* aBuffer, std::size_t aSize)
{
    if (FileCallFails(FailNthCall::kRead))
        return -1;
    if (!sReads.empty()) {
        const ssize_t plan = sReads.front();
        sReads.erase(sReads.begin());
        if (plan < 0) {
            errno = static_cast<int>(-plan);
            return -1;
        }
        aSize = std::min(aSize, static_cast<std::size_t>(plan));
    }
    return syscall(SYS_read, aDescriptor, aBuffer, aSize);
}

int open(char const* aPath, int aFlags, ...)
{
    ++sOpens;
    EXPECT_TRUE((aFlags & O_CLOEXEC) != 0) << aPath;
    return FileCallFails(FailNthCall::kOpen) ? -1 : static_cast<int>(syscall(SYS_openat, AT_FDCWD, aPath, aFlags, 0));
}
}

namespace {

using namespace std::string_literals;

/// What became of a text.
struct Parsed {
    explicit Parsed(std::string_view aText)
    {
        const Held<CFDataRef> data(
            CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(aText.data()), static_cast<CFIndex>(aText.size())));
        mList = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, &mFormat, mError.Receive());
    }
    std::string Text() const { return DescriptionOf(mList); }
    std::string Problem() const { return mError != nullptr ? DescriptionOf(mError) : "no error"; }

    CFPropertyListFormat mFormat = CFPropertyListFormat{0};
    Held<CFErrorRef> mError;
    Held<> mList;
};

std::string Xml(std::string const& aValue)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist SYSTEM \"plist.dtd\">\n"
           "<plist version=\"1.0\">\n" +
           aValue + "\n</plist>\n";
}

std::string Utf16(std::string const& aUtf8, bool aIsBigEndian)
{
    const Held<CFStringRef> text = Make(aUtf8);
    std::string bytes = aIsBigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (CFIndex i = 0; i < CFStringGetLength(text); ++i) {
        const UniChar unit = CFStringGetCharacterAtIndex(text, i);
        const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit);
        bytes += aIsBigEndian ? high : low;
        bytes += aIsBigEndian ? low : high;
    }
    return bytes;
}

std::string Repeat(std::string const& aText, int aCount)
{
    std::string text;
    while (aCount-- > 0)
        text += aText;
    return text;
}

TEST(PropertyList, ReadsTheOldStyle)
{
    struct {
        std::string mText;
        char const* mResult;
    } const kCases[] = {
        {"", "{}"},
        {" \r\n/* nothing */ // at all", "{}"},
        {"\"a\" = \"b\";", "{a = b}"},
        {"\xEF\xBB\xBF\"a\"=\"b\";\n'c' = 'd';", "{a = b; c = d}"},
        {"/* one */ \"a\" /* two */ = // three\n \"b\" /**/;//", "{a = b}"},
        {"a = 1; a = 2; \"a\" = 3;", "{a = 3}"},
        {"a; \"b c\";", "{a = a; b c = b c}"},
        {"path=/usr/lib:x.y-z_$1;", "{path = /usr/lib:x.y-z_$1}"},
        {"url=http://x//y;", "{url = http://x//y}"},
        {R"("a" = "\"\\\n\t\a\b\f\r\v\'\q";)", "{a = \"\\\n\t\a\b\f\r\v'q}"},
        {R"("a" = "\101\0601\7\351";)", "{a = A01\a\u00e9}"},
        {R"("a" = "\U00e9\U20acz\UD83D\UDE00";)", "{a = \u00e9\u20acz\U0001F600}"},
        {"\"a\" = \"\\\u00e9\U0001F600\\n\u00e9\";", "{a = \u00e9\U0001F600\n\u00e9}"},
        {"\"a\nb\" = \"\u20ac /* no comment */\";", "{a\nb = \u20ac /* no comment */}"},
        {"\"word\"", "word"},
        {"{ a = { b = (1, 2, (3), {}); }; }", "{a = {b = (1, 2, (3), {})}}"},
        {"(a,b,)", "(a, b)"},
        {"<48 65\n6c6C 6f>", "<48656c6c 6f>"},
    };
    for (auto const& test : kCases) {
        const Parsed parsed(test.mText);
        EXPECT_EQ(parsed.Text(), test.mResult) << test.mText << ": " << parsed.Problem();
        EXPECT_EQ(parsed.mFormat, kCFPropertyListOpenStepFormat);
        EXPECT_EQ(parsed.mError.operator CFErrorRef(), nullptr);
    }
}

TEST(PropertyList, ReadsXml)
{
    struct {
        char const *mValue, *mResult;
    } const kCases[] = {
        {"<string>a &lt;&amp;&#xe9;&gt; b</string>", "a <&\u00e9> b"},
        {"<string><![CDATA[<raw> &amp;]]> and</string>", "<raw> &amp; and"},
        {"<string> \n </string>", " \n "},
        {"<string/>", ""},
        {"<dict><key>k</key><string>v</string><!-- c --><key>k</key><string>w</string></dict>", "{k = w}"},
        {"<array><true/><false></false><integer> -12 </integer><integer>+0x1F</integer></array>",
         "(true, false, -12, 31)"},
        {"<integer>-9223372036854775808</integer>", "-9223372036854775808"},
        {"<array><real>1.5</real><real>+2e3</real><real>-inf</real></array>", "(1.5, 2000, -inf)"},
        {"<date>2026-02-28T23:59:58Z</date>", "2026-02-28 23:59:58 +0000"},
        {"<data>\n  SGVs bG8=\n</data>", "<48656c6c 6f>"},
        {"<array><data></data><data>AA==</data><data>AAEC</data></array>", "(<>, <00>, <000102>)"},
        {"<dict><key/><array><dict/></array></dict>", "{ = ({})}"},
    };
    for (auto const& test : kCases) {
        const Parsed parsed(Xml(test.mValue));
        EXPECT_EQ(parsed.Text(), test.mResult) << test.mValue << ": " << parsed.Problem();
        EXPECT_EQ(parsed.mFormat, kCFPropertyListXMLFormat_v1_0);
    }
    EXPECT_EQ(Parsed("<plist><string>short</string></plist>").Text(), "short");
    EXPECT_EQ(Parsed("\n<!-- c --><plist><string>a</string></plist>").Text(), "a");
    EXPECT_EQ(Parsed("<?xml version='1.0' encoding='ISO-8859-1'?><plist><string>\xE9</string></plist>").Text(),
              "\u00e9");
    EXPECT_EQ(CFGetTypeID(Parsed(Xml("<real>1</real>")).mList), CFNumberGetTypeID());
    EXPECT_TRUE(
        CFNumberIsFloatType(static_cast<CFNumberRef>(Parsed(Xml("<real>1</real>")).mList.operator CFTypeRef())));
}

TEST(PropertyList, SaysWhyAndInWhichLineItIsRefused)
{
    struct {
        std::string mText;
        char const* mProblem;
    } const kCases[] = {
        {"\"a\" = \"b\";\n\"c\" = \"d\"\n\"e\" = \"f\";", "line 2: a semicolon is missing"},
        {"\n\n\"a\" \"b\";", "line 3: \"\"\" is not expected here"},
        {"a = 1;\r\nb c;", "line 2: a key has no value"},
        {"a = 1;\rb = ;", "line 2: \";\" stands where a value is expected"},
        {"a = 1;\n\n= 2;", "line 3: \"=\" is not expected here"},
        {"a = 1;\n}", "line 2: \"}\" is not expected here"},
        {"a =\n", "line 2: the text ends before its time"},
        {"\n{ a = 1;\n", "line 2: the brace is never closed"},
        {"\n(a,\n", "line 2: the parenthesis is never closed"},
        {"(a b)", "line 1: \"b\" stands where a comma is expected"},
        {"a = 1;\nb = \"c;\n\n", "line 2: the string has no end"},
        {"\na = 1; /* x\n\n", "line 2: the comment has no end"},
        {"\"a\" = \"\\U12G4\";", "line 1: \\U wants four hexadecimal digits"},
        {"\"a\" =\n \"\\UD83D\";", "line 2: the string has half of a surrogate pair in it"},
        {"\"a\" = \"\\UDE00\\UD83D\";", "line 1: the string has half of a surrogate pair in it"},
        {"a = \"\xFF\";", "line 1: the text is not UTF-8"},
        {"a = b;\n\"\xED\xA0\x80\";", "line 2: the text is not UTF-8"},
        {"<48\n6>", "line 1: the data has an odd number of digits"},
        {"<48\n6g>", "line 2: \"g\" is not a hexadecimal digit"},
        {"<48", "line 1: the data has no end"},
        {"\xFE\xFF\0a\0\n\xD8\x00"s, "line 2: the text is not UTF-16"},
        {"\xFF\xFE\x00\xDC"s, "line 1: the text is not UTF-16"},
        {Xml("<dict>\n<key>a</key>\n</dict>"), "line 6: a key has no value"},
        {Xml("<dict>\n<string>a</string></dict>"), "line 5: keys and values do not take turns: string"},
        {Xml("<dict><key>a</key><key>b</key></dict>"), "line 4: keys and values do not take turns: key"},
        {Xml("<string>a</string>\n<string>b</string>"), "line 5: more than one value"},
        {Xml("<string>a<true/></string>"), "line 4: an element that cannot stand here: true"},
        {Xml("<set/>"), "line 4: an element that cannot stand here: set"},
        {Xml("<array>\nx</array>"), "line 5: text that belongs to no value"},
        {Xml("<integer>12x</integer>"), "line 4: no integer that fits into 64 bits"},
        {Xml("<integer>9223372036854775808</integer>"), "line 4: no integer that fits into 64 bits"},
        {Xml("<real>1e999</real>"), "line 4: no real number that fits into 64 bits"},
        {Xml("<date>2026-02-29T00:00:00Z</date>"), "line 4: no date of the form 2001-12-31T23:59:59Z"},
        {Xml("<data>AA=A</data>"), "line 4: data that is not base64"},
        {Xml("<data>AA==AA==</data>"), "line 4: data that is not base64"},
        {Xml("<data>A*AA</data>"), "line 4: data that is not base64"},
        {Xml(""), "line 6: the property list has no value"},
        {Xml("<string>&unknown;</string>"), "line 4: Entity 'unknown' not defined"},
        {Xml("<array>\n<string>a</sting></array>"), "line 5: Opening and ending tag mismatch: string line 5 and sting"},
        {"<plist>\n<string>a", "line 2: "},
        {"<?xml version='1.0'?>\n", "line 2: "},
        {"<plist><string>\xFF</string></plist>", "line 1: Input is not proper UTF-8, indicate encoding !"},
        {"<?xml version='1.0'?>\n<!DOCTYPE p [<!ENTITY e \"x\">]>\n<plist><string>&e;</string></plist>",
         "line 2: entities are not read: &e"},
        {"<!DOCTYPE p [\n<!ATTLIST string a CDATA 'x'>]><plist><string/></plist>",
         "line 2: attributes are not declared here: a"},
        {"<?xml version='1.0'?><!DOCTYPE p [<!ENTITY % f SYSTEM \"/etc/passwd\">%f;]><plist><string>a</string></plist>",
         "line 1: entities are not read: &f"},
    };
    testing::internal::CaptureStderr();
    for (auto const& test : kCases) {
        const Parsed parsed(test.mText);
        EXPECT_EQ(parsed.mList.operator CFTypeRef(), nullptr) << test.mText;
        EXPECT_EQ(parsed.Problem().substr(0, std::max<std::size_t>(std::string_view(test.mProblem).size(), 8)),
                  test.mProblem)
            << test.mText;
        EXPECT_EQ(parsed.mFormat, 0);
        EXPECT_EQ(CFErrorGetCode(parsed.mError), kCFPropertyListReadCorruptError);
    }
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "nobody prints";
}

TEST(PropertyList, ReadsUtf16InBothByteOrders)
{
    for (bool isBigEndian : {false, true}) {
        const Parsed table(Utf16("// \u20ac\n\"\u00e9\" = \"\U0001F600\\n\";\n", isBigEndian));
        EXPECT_EQ(table.Text(), "{\u00e9 = \U0001F600\n}") << table.Problem();
        EXPECT_EQ(Parsed(Utf16("a = 1;\n\u20ac", isBigEndian)).Problem(), "line 2: \"\u20ac\" is not expected here");
        const std::string xml =
            "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<plist><string>\U0001F600</string></plist>";
        const Parsed list(Utf16(xml, isBigEndian));
        EXPECT_EQ(list.Text(), "\U0001F600") << list.Problem();
        EXPECT_EQ(list.mFormat, kCFPropertyListXMLFormat_v1_0);
    }
}

TEST(PropertyList, RefusesToNestTooDeeply)
{
    struct {
        char const *mOpen, *mClose;
        bool mIsXml;
    } const kStyles[] = {{"(", ")", false},
                         {"{a=", ";}", false},
                         {"<array>", "</array>", true},
                         {"<dict><key>a</key>", "</dict>", true}};
    for (auto const& style : kStyles) {
        const std::string leaf = style.mIsXml ? "<true/>" : "x";
        const auto nested = [&](int aDepth, bool aIsClosed) {
            const std::string text =
                Repeat(style.mOpen, aDepth) + leaf + (aIsClosed ? Repeat(style.mClose, aDepth) : "");
            return Parsed(style.mIsXml ? Xml(text) : text);
        };
        EXPECT_EQ(nested(512, true).Problem(), "no error") << style.mOpen;
        for (int depth : {513, 200000})
            EXPECT_EQ(nested(depth, depth == 513).Problem().substr(8), "the lists are nested too deeply")
                << style.mOpen;
    }
}

TEST(PropertyList, GivesListsThatDoNotChange)
{
    const Parsed parsed("{ a = (1); }");
    auto* const dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(parsed.mList.operator CFTypeRef()));
    auto* const array = static_cast<CFMutableArrayRef>(const_cast<void*>(CFDictionaryGetValue(dictionary, Make("a"))));
    CFArrayRemoveAllValues(array);
    CFDictionaryRemoveAllValues(dictionary);
    EXPECT_EQ(parsed.Text(), "{a = (1)}");
}

// Every allocation on the way fails once: there is no list then, and no leak, or the very list that there should be.
TEST(PropertyList, SurvivesFailureOfEveryAllocation)
{
    const std::string texts[] = {
        "{ a = (1, \"b\\n\", { c = <00>; }); \"\u00e9\" = x; }",
        Utf16("\"a\" = \"\\U20ac\";", true),
        "a = 1; b",
        Xml("<dict><key>a</key><array><integer>1</integer><real>2</real><true/><data>AAAA</data>"
            "<date>2026-01-01T00:00:00Z</date></array><key>\u00e9</key><string>&lt;</string></dict>"),
        Xml("<dict><key>a</key><string>b</string>"),
    };
    testing::internal::CaptureStderr();
    for (std::string const& text : texts) {
        const Held<CFDataRef> data(
            CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(text.data()), static_cast<CFIndex>(text.size())));
        const Parsed wanted(text);
        for (int n = 1;; ++n) {
            Held<CFErrorRef> error;
            FailNthAllocation fail(n);
            const Held<> list(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, error.Receive()));
            const bool fired = fail.Fired();
            EXPECT_TRUE(list == nullptr || CFEqual(list, wanted.mList)) << n;
            EXPECT_TRUE(error == nullptr || CFEqual(error, wanted.mError)) << n << DescriptionOf(error) << text;
            if (!fired) {
                EXPECT_TRUE(CFEqual(list, wanted.mList) && CFEqual(error, wanted.mError));
                break;
            }
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

/// A temporary directory with files in it.
class Tree {
public:
    Tree()
    {
        char path[] = "/tmp/bundle_test.XXXXXX";
        mPath = mkdtemp(path);
    }
    ~Tree() { std::filesystem::remove_all(mPath); }
    void Write(std::string const& aName, std::string const& aText) const
    {
        const std::filesystem::path path = mPath + "/" + aName;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << aText;
    }
    Held<CFURLRef> Url(std::string const& aName = "") const
    {
        return CFURLCreateWithFileSystemPath(nullptr, Make(mPath + "/" + aName), kCFURLPOSIXPathStyle, true);
    }
    Held<CFBundleRef> Open(std::string const& aName = "") const { return CFBundleCreate(nullptr, Url(aName)); }

    std::string mPath;
};

std::string Lookup(CFBundleRef aBundle, char const* aKey, char const* aDefault = "default",
                   char const* aTable = nullptr)
{
    const Held<CFStringRef> fallback(aDefault != nullptr ? Make(aDefault) : nullptr);
    const Held<CFStringRef> table(aTable != nullptr ? Make(aTable) : nullptr);
    return TextOf(Held<CFStringRef>(CFBundleCopyLocalizedString(aBundle, Make(aKey), fallback, table)));
}

TEST(Bundle, KnowsItsInformation)
{
    for (std::string const place : {"", "Resources/", "Contents/"}) {
        const Tree tree;
        tree.Write(place + "Info.plist",
                   Xml("<dict><key>CFBundleIdentifier</key><string>x.y</string>"
                       "<key>CFBundleLocalizations</key><array><string>en_US</string></array></dict>"));
        const Held<CFBundleRef> bundle = tree.Open();
        EXPECT_EQ(TextOf(CFBundleGetIdentifier(bundle)), "x.y");
        EXPECT_EQ(DescriptionOf(CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleLocalizationsKey)), "(en_US)");
        EXPECT_EQ(DescriptionOf(Held<CFURLRef>(CFBundleCopyBundleURL(bundle))), "file://" + tree.mPath + "/");
        EXPECT_EQ(DescriptionOf(bundle), "file://" + tree.mPath + "/");
    }
    for (char const* information : {"broken = ", "(no, dictionary)", "CFBundleIdentifier = (1);"}) {
        const Tree tree;
        tree.Write("Info.plist", information);
        const Held<CFBundleRef> bundle = tree.Open();
        EXPECT_NE(CFBundleGetInfoDictionary(bundle), nullptr) << information;
        EXPECT_EQ(CFBundleGetIdentifier(bundle), nullptr) << information;
    }
    const Tree tree;
    tree.Write("file", "");
    EXPECT_EQ(CFDictionaryGetCount(CFBundleGetInfoDictionary(tree.Open())), 0);
    EXPECT_EQ(tree.Open("file").operator CFBundleRef(), nullptr);
    EXPECT_EQ(tree.Open("none").operator CFBundleRef(), nullptr);
}

TEST(Bundle, IsMadeOnceForTheProgramAndStays)
{
    auto* const bundle = CFBundleGetMainBundle();
    ASSERT_NE(bundle, nullptr);
    for (int i = 0; i < 3; ++i)
        CFRelease(bundle);
    EXPECT_EQ(CFBundleGetMainBundle(), bundle);
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    EXPECT_EQ(DescriptionOf(Held<CFURLRef>(CFBundleCopyBundleURL(bundle))), "file://" + program + "/");
}

TEST(Bundle, FindsItsResources)
{
    const Tree tree;
    tree.Write("en_US.lproj/Localizable.strings", "");
    tree.Write("Resources/image.png", "");
    tree.Write("Resources/plain", "");
    tree.Write("Contents/Resources/sub/deep.txt", "");
    struct {
        char const *mName, *mType, *mFolder, *mFound;
    } const kCases[] = {
        {"Localizable", "strings", "en_US.lproj", "/en_US.lproj/Localizable.strings"},
        {"Localizable", "strings", nullptr, nullptr},
        {"Localizable", "strings", "de_DE.lproj", nullptr},
        {"image", "png", nullptr, "/Resources/image.png"},
        {"image.png", nullptr, nullptr, "/Resources/image.png"},
        {"image.png", "", "", "/Resources/image.png"},
        {"plain", nullptr, nullptr, "/Resources/plain"},
        {"deep", "txt", "sub", "/Contents/Resources/sub/deep.txt"},
        {"Resources", nullptr, nullptr, "/Resources/"},
        {"", "png", nullptr, nullptr},
    };
    const Held<CFBundleRef> bundle = tree.Open();
    for (auto const& test : kCases) {
        const Held<CFStringRef> name = Make(test.mName);
        const Held<CFStringRef> type(test.mType != nullptr ? Make(test.mType) : nullptr);
        const Held<CFStringRef> folder(test.mFolder != nullptr ? Make(test.mFolder) : nullptr);
        const Held<CFURLRef> url(CFBundleCopyResourceURL(bundle, name, type, folder));
        EXPECT_EQ(TextOf(CFURLGetString(url)), test.mFound != nullptr ? "file://" + tree.mPath + test.mFound : "(null)")
            << test.mName;
        EXPECT_TRUE(CFEqual(url, Held<CFURLRef>(CFBundleCopyResourceURLInDirectory(tree.Url(), name, type, folder))));
    }
    EXPECT_EQ(CFBundleCopyResourceURL(bundle, Make(std::string(5000, 'x')), nullptr, nullptr), nullptr);
    EXPECT_EQ(CFBundleCopyResourceURL(bundle, Make(std::string_view("plain\0", 6)), nullptr, nullptr), nullptr);
}

TEST(Bundle, LooksTextsUpInItsTables)
{
    const Tree tree;
    tree.Write("en_US.lproj/Localizable.strings", "\"cool\" = \"Cooling\"; empty = \"\"; list = (1);");
    tree.Write("en_US.lproj/Other.strings", Utf16("\"cool\" = \"\u2744\";", true));
    tree.Write("en_US.lproj/Xml.strings", Xml("<dict><key>cool</key><string>X</string></dict>"));
    tree.Write("en_US.lproj/Broken.strings", "\"cool\" = \"Cooling\"");
    tree.Write("en_US.lproj/\u00e9.strings", "cool = accent;");
    ASSERT_EQ(mkfifo((tree.mPath + "/en_US.lproj/Pipe.strings").c_str(), 0600), 0);
    tree.Write("Info.plist", "CFBundleDevelopmentRegion = en_US;");
    tree.Write("Resources/Shared.strings", "cool = shared;");
    const Held<CFBundleRef> bundle = tree.Open("en_US.lproj"), root = tree.Open();
    struct {
        CFBundleRef mBundle;
        char const *mKey, *mDefault, *mTable, *mText;
    } const kCases[] = {
        {bundle, "cool", "default", nullptr, "Cooling"},
        {bundle, "cool", "default", "", "Cooling"},
        {bundle, "cool", "default", "Localizable", "Cooling"},
        {bundle, "cool", nullptr, "Other", "\u2744"},
        {bundle, "cool", nullptr, "Xml", "X"},
        {bundle, "cool", nullptr, "\u00e9", "accent"},
        {bundle, "empty", "default", nullptr, ""},
        {bundle, "heat", "default", nullptr, "default"},
        {bundle, "heat", "", nullptr, "heat"},
        {bundle, "heat", nullptr, nullptr, "heat"},
        {bundle, "list", "default", nullptr, "default"},
        {bundle, "cool", "default", "Broken", "default"},
        {bundle, "cool", "default", "Missing", "default"},
        {bundle, "cool", "default", "Pipe", "default"},
        {root, "cool", "default", "Shared", "shared"},
        {root, "cool", "default", nullptr, "Cooling"},
    };
    for (int round : {1, 2}) {
        for (auto const& test : kCases)
            EXPECT_EQ(Lookup(test.mBundle, test.mKey, test.mDefault, test.mTable), test.mText) << test.mKey << round;
        std::filesystem::remove_all(tree.mPath);  // the second time nothing is read
        sOpens = 0;
    }
    EXPECT_EQ(sOpens, 0);
    EXPECT_EQ(CFBundleCopyLocalizedString(bundle, nullptr, Make("default"), nullptr), nullptr);
}

TEST(Bundle, ReadsAWholeTableHoweverItComes)
{
    const Tree tree;
    tree.Write("Localizable.strings", "key = value;");
    struct {
        std::vector<ssize_t> mReads;
        char const* mText;
    } const kCases[] = {
        {{-EINTR, 1, -EINTR, 3, 2}, "value"},
        {{5, -EIO}, "default"},
    };
    for (auto const& test : kCases) {
        const Held<CFBundleRef> bundle = tree.Open();
        sReads = test.mReads;
        EXPECT_EQ(Lookup(bundle, "key"), test.mText);
        EXPECT_TRUE(sReads.empty());
        EXPECT_EQ(Lookup(bundle, "key"), "value") << "what failed once is tried again";
    }
    const Held<CFBundleRef> bundle = tree.Open();
    std::filesystem::resize_file(tree.mPath + "/Localizable.strings", (16 << 20) + 1);
    EXPECT_EQ(Lookup(bundle, "key"), "default") << "a file of that size is no table";
}

TEST(Bundle, HoldsFiftyThousandTexts)
{
    constexpr int kCount = 50000;
    std::string text;
    for (int i = 0; i < kCount; ++i)
        text += "\"key number " + std::to_string(i) + "\" = \"text \u00e9 of " + std::to_string(i) + "\";\n";
    const Tree tree;
    tree.Write("Localizable.strings", text);
    const Held<CFBundleRef> bundle = tree.Open();
    for (int i = 0; i < kCount; ++i)
        ASSERT_EQ(Lookup(bundle, ("key number " + std::to_string(i)).c_str()), "text \u00e9 of " + std::to_string(i));
    EXPECT_EQ(Lookup(bundle, "key number 50000"), "default");
}

TEST(Bundle, IsReadOnceForAllThreads)
{
    const Tree tree;
    tree.Write("Localizable.strings", "key = value;");
    for (int round = 0; round < 20; ++round) {
        const Held<CFBundleRef> bundle = tree.Open();
        const Held<CFStringRef> key = Make("key");
        std::atomic<CFStringRef> texts[4] = {};
        std::vector<std::thread> threads;
        for (auto& text : texts)
            threads.emplace_back([&] { text = CFBundleCopyLocalizedString(bundle, key, nullptr, nullptr); });
        for (std::thread& thread : threads)
            thread.join();
        for (auto const& text : texts) {
            EXPECT_EQ(text.load(), texts[0].load()) << "the same object";
            CFRelease(text.load());
        }
    }
}

TEST(Bundle, SurvivesFailureOfEveryAllocation)
{
    const Tree tree;
    tree.Write("Info.plist", Xml("<dict><key>CFBundleDevelopmentRegion</key><string>en</string></dict>"));
    tree.Write("en.lproj/\u00e9.strings", "key = \"v\\U20ac\";");
    const Held<CFURLRef> url = tree.Url();
    const Held<CFStringRef> key = Make("key"), table = Make("\u00e9"), folder = Make("en.lproj"),
                            type = Make("strings");
    for (int n = 1;; ++n) {
        FailNthAllocation fail(n);
        const Held<CFBundleRef> bundle(CFBundleCreate(nullptr, url));
        const Held<CFStringRef> text(CFBundleCopyLocalizedString(bundle, key, nullptr, table));
        const Held<CFURLRef> resource(CFBundleCopyResourceURL(bundle, table, type, folder));
        const bool fired = fail.Fired();
        if (bundle != nullptr) {
            EXPECT_EQ(Lookup(bundle, "key", nullptr, "\u00e9"), "v\u20ac") << "a failure is not kept: " << n;
        }
        if (!fired) {
            EXPECT_EQ(TextOf(text), "v\u20ac");
            EXPECT_NE(resource.operator CFURLRef(), nullptr);
            break;
        }
    }
}

}  // namespace
