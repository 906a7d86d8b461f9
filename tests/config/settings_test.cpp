// Settings, and their file.
#include "ktsettings.h"

#include <gtest/gtest.h>
#include <sanitizer/lsan_interface.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <clocale>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <set>
#include <thread>
#include <tuple>

#include "ktlog.h"
#include "support/allocation.h"
#include "support/filefault.h"
#include "support/output.h"
#include "support/sum.h"

#pragma weak __lsan_disable
#pragma weak __lsan_enable

namespace {

using Call = FailNthCall;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<settings>\n", kFooter = "</settings>\n";

std::string Line(std::string const& aKey, std::string const& aValue)
{
    return "  <s key=\"" + aKey + "\" value=\"" + aValue + "\"/>\n";
}

std::string Contents(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The entries of a store, sorted, as "key=value,".
std::string Entries(ktConfig& aConfig)
{
    static std::set<std::string> sEntries;
    sEntries.clear();
    aConfig.Log("", [](PLHashEntry* aEntry, int, void*) {
        const std::string key = static_cast<char const*>(aEntry->key);
        return sEntries.insert(key + '=' + static_cast<char const*>(aEntry->value) + ',').second ? 0 : 1;
    });
    return std::accumulate(sEntries.begin(), sEntries.end(), std::string());
}

/// Settings with a folder for their file, and what is logged.
class Settings : public testing::Test {
protected:
    ~Settings() override { std::filesystem::remove_all(mFolder); }

    ktError Init(std::string const& aText)
    {
        std::ofstream(mPath, std::ios::binary) << aText;
        return mSettings.Init(mPath.c_str());
    }
    std::string File() const { return Contents(mPath); }
    std::string Read() const
    {
        ktSettings settings;
        settings.Init(mPath.c_str());
        return Entries(settings);
    }
    bool Logged(std::string const& aText) const { return mTap.Has("(4) settings: " + aText + '\n'); }

    char mTemplate[32] = "/tmp/ktsettings.XXXXXX";
    const std::string mFolder = mkdtemp(mTemplate), mPath = mFolder + "/settings", mTemp = mPath + ".tmp";
    OutputTap mTap;
    ktSettings mSettings;
};

TEST_F(Settings, WritesEachTypeInItsForm)
{
    const std::string bytes(5121, '\xff');
    std::setlocale(LC_ALL, "de_DE.UTF-8");  // where there is one
    EXPECT_EQ(Sum({Init(kHeader + kFooter), mSettings.SetValue("int", -3), mSettings.SetValue("long", -5000000000LL),
                   mSettings.SetValue("natural", 18446744073709551615ULL), mSettings.SetValue("float", 0.1F),
                   mSettings.SetValue("huge", FLT_MAX), mSettings.SetValue("bool", ktBOOL{2}),
                   mSettings.SetValue("text", "a\"b&c<d\n\x1f \x7f\xe9'>"), mSettings.SetValue("none", "", 0),
                   mSettings.SetValue("blob", bytes.data(), 5120), mSettings.Write()}),
              0);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(mSettings.SetValue("blob", bytes.data(), 5121) + mSettings.SetValue("blob", nullptr, 1U), -10);
    const std::string file = File();
    std::size_t size = 0;
    for (std::string const& part :
         {kHeader, Line("int", "-3"), Line("long", "-5000000000"), Line("natural", "18446744073709551615"),
          Line("float", "0.100000"), Line("huge", "3402823466385288598117041834845"), Line("bool", "1"),
          Line("text", "a&#34;b&#38;c<d&#10;&#31; &#127;&#233;'>"), Line("none", ""),
          Line("blob", std::string(6826, '/') + "8="), kFooter}) {
        EXPECT_NE(file.find(part), std::string::npos) << part << " not in " << file;
        size += part.size();
    }
    EXPECT_TRUE(file.size() == size && file.find(kHeader) == 0 && file.rfind(kFooter) == size - kFooter.size());
    constexpr std::tuple<char const*, int, char const*> budgets[] = {
        {"", 9, ""},         {nullptr, 9, ""},      {"ab", 1, ""},          {"ab", -1, ""},
        {"abcd", 2, "abcd"}, {"a\"b", 6, "a&#34;"}, {"a\"b", 7, "a&#34;b"}, {"\xff\"", 9, "&#255;&#"}};
    for (auto const& [in, budget, expected] : budgets) {
        char out[64] = "untouched";
        escape_value(in, out, budget);
        EXPECT_STREQ(out, expected) << budget << ": copied bytes are not charged";
    }
}

TEST_F(Settings, ReadsBackWhateverItWrote)
{
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    constexpr char const* odd[] = {
        "",          "<",         "quote\"",       "amp&",     "&#65;&amp;",           "tab\tcr\r",
        "line\nend", "a\" b=\"c", "a\" value=\"7", "a\"/>\nb", "a\"/>\n</settings>\n", "a\" value=\"1\"/>"};
    EXPECT_EQ(mSettings.Init(mPath.c_str()), -100) << "no file yet";
    for (char const* const key : odd)
        mSettings.SetValue(key, key);
    for (int i = 0; i < 600; ++i)
        mSettings.SetValue((all + std::to_string(i)).c_str(), all.c_str());
    const std::string large(50000, 'x');
    mSettings.SetValue("large", large.c_str());
    EXPECT_TRUE(mSettings.Write() == 0 && File().find(Line("large", large)) != std::string::npos) << "written whole";
    mSettings.SetValue("large", large.substr(0, 2047).c_str());  // and cut when it is read
    EXPECT_EQ(Read(), Entries(mSettings));
    EXPECT_TRUE(mTap.Has("(2) settings: read all 613 entries of file (" + mPath + ") as they were written\n"));
    EXPECT_FALSE(std::filesystem::exists(mPath + ".bad") || std::filesystem::exists(mTemp));
}

TEST_F(Settings, ReadsWhatOthersWroteAsXmlAndOfWhatIsDamagedEveryWholeEntry)
{
    const std::string a = Line("a", "<"), b = Line("b", "2"), one = kHeader + Line("a", "1"), zeros(40, '\0');
    const std::string bad = Line("c", "&#0;") + Line("d", "&#256;") + Line("e", "&lt;") + Line("f", "&#1") +
                            Line("g", "\"") + Line(std::string("h\0", 2), "8");
    // The text, its entries, and where it is damaged.
    const std::tuple<std::string, char const*, char const*> files[] = {
        {kHeader + kFooter, "", ""},
        {kHeader + Line("a", "0") + Line("a", "&#49;") + kFooter, "a=1,", ""},
        {one + "\t<s key='b' value='2'/>\n" + kFooter, "a=1,b=2,", ""},
        {one + "<x key=\"b\" value=\"2\"/>\n" + kFooter, "a=1,b=2,", ""},
        {one + "  <s value=\"2\" key=\"b\"/>\n" + Line("c", "&#x32;") + kFooter, "a=1,b=2,c=2,", ""},
        {one + Line("b", "\t") + kFooter, "a=1,b= ,", ""},
        {kHeader + "  <s key=\"a\" value=\"1\"/><s key=\"b\" value=\"2\"/>\n" + kFooter, "a=1,b=2,", ""},
        {one + "x" + b + kFooter, "a=1,b=2,", ""},
        {kHeader, "", "damages: 1, the first in line 3"},
        {kHeader + a + b, "a=<,b=2,", "damages: 1, the first in line 5"},
        {kHeader + a + b.substr(0, 20), "a=<,", "damages: 2, the first in line 4"},
        {kHeader + a.substr(0, a.size() - 1) + "x" + b.substr(0, b.size() - 1) + "x" + kFooter, "a=<,b=2,",
         "damages: 2, the first in line 3"},
        {kHeader + Line("a", "&#10;<") + "x\n" + kFooter, "a=\n<,", "damages: 1, the first in line 4"},
        {kHeader + a + "</sett", "a=<,", "damages: 2, the first in line 4"},
        {kHeader + a.substr(0, 15) + "\n" + b + kFooter, "b=2,", "damages: 1, the first in line 3"},
        {kHeader + a + zeros + "\n" + b + kFooter, "a=<,b=2,", "damages: 1, the first in line 4"},
        {kHeader + a + bad + b + kFooter, "a=<,b=2,", "damages: 6, the first in line 4"},
        {kHeader + zeros + a + "x\n" + b + kFooter + "x", "b=2,", "damages: 3, the first in line 3"}};
    for (auto const& [text, entries, damage] : files) {
        EXPECT_EQ(Init(text), *damage == '\0' ? 0 : -8) << text;
        const std::string count = std::to_string(std::count(entries, entries + std::strlen(entries), '='));
        EXPECT_TRUE(Entries(mSettings) == entries &&
                    Logged("kept " + count + " whole entries of file (" + mPath + "), " + damage) == (*damage != '\0'))
            << text << mTap.mText;
    }
}

// The first write that replaces a file that could not be read keeps it, and only that one does.
TEST_F(Settings, KeepsTheFileThatItCouldNotRead)
{
    const std::string bad = mPath + ".bad", damaged = kHeader + Line("a", "<");
    for (const int round : {1, 2, 3}) {  // the second finds an older one, the third no links
        const std::string old = damaged + std::to_string(round);
        EXPECT_EQ(Init(old) + mSettings.SetValue("b", 1), -8);
        {
            Call fail(Call::kRename, 1, Call::kFromThenOn);
            EXPECT_TRUE(mSettings.Write() == -103 && File() == old);
        }
        Call fail(Call::kLink, round == 3 ? 1 : 9, Call::kFromThenOn, EPERM);
        EXPECT_TRUE(mSettings.Write() == 0 && Contents(bad) == old);
        EXPECT_TRUE(Logged("kept file (" + mPath + "), which could not be read whole, as (" + bad + ")"));
        EXPECT_TRUE(mSettings.SetValue("b", 2) + mSettings.Write() == 0 && Contents(bad) == old);
        EXPECT_EQ(Read(), "a=<,b=2,");
    }
    EXPECT_EQ(Init(damaged) + mSettings.SetValue("b", 1), -8);
    {
        Call fail(Call::kLink, 1, Call::kFromThenOn, EPERM), another(Call::kRename, 2);
        EXPECT_TRUE(mSettings.Write() == -103 && File() == damaged) << "moved, and put back";
    }
    std::filesystem::remove(bad);
    std::filesystem::create_directory(bad);
    EXPECT_EQ(Init(damaged) + mSettings.SetValue("b", 1), -8);
    EXPECT_TRUE(mSettings.Write() == -103 && File() == damaged) << "what cannot be kept is not replaced";
    EXPECT_TRUE(Logged("failed to keep file (" + mPath + "), File exists (17)")) << mTap.mText;
    std::filesystem::remove(mPath);
    std::filesystem::create_directory(mPath);
    EXPECT_TRUE(mSettings.Write() == -103 && Logged("failed to rename (" + mTemp + "), Is a directory (21)"));
    std::filesystem::remove(mPath);
    EXPECT_TRUE(mSettings.Write() == 0 && std::filesystem::is_empty(bad)) << "there is nothing to keep any more";
}

TEST_F(Settings, LeavesTheOldFileAndTriesAgainWhenACallFails)
{
    const std::string old = kHeader + kFooter, written = kHeader + Line("a\"&", "&#38;#60") + kFooter;
    const std::string rename = "failed to rename (" + mTemp + "), Input/output error (5)",
                      close = "failed to sync & close (";
    // What is logged when the first call of a kind fails, the second and so on; the last passes.
    const std::pair<Call::Function, std::vector<std::string>> faults[] = {
        {Call::kOpen, {"failed to open file (" + mTemp + ") for writing", "failed to open (" + mFolder + ")", ""}},
        {Call::kWrite,
         {"failed to write to " + mTemp, "failed to write key=a\"& value=&#38;#60", "failed to write to " + mTemp, ""}},
        {Call::kFsync, {"failed to sync " + mTemp, "failed to sync " + mFolder, ""}},
        {Call::kClose, {close + mTemp + ")", close + mFolder + ")", ""}},
        {Call::kRename, {rename, ""}}};
    if (__lsan_disable != nullptr)  // NSPR never frees what describes a file that could not be closed
        __lsan_disable();
    for (auto const& [function, reports] : faults)
        for (std::size_t i = 0; i < 2 * reports.size(); ++i) {
            std::string const& report = reports[i / 2];
            const bool fails = !report.empty(), isReplaced = !fails || (i / 2 == 1 && function != Call::kWrite);
            const bool isDone = !fails || (i / 2 == 1 && function == Call::kFsync);  // all but sure to be on the disk
            ASSERT_EQ(Init(old) + mSettings.SetValue("a\"&", "&#60"), 0);
            mTap.mText.clear();
            Call fail(function, static_cast<int>(i / 2) + 1, i % 2 == 0 ? Call::kOnce : Call::kFromThenOn);
            const ktError result = mSettings.Write();
            EXPECT_EQ(fail.Fired(), fails) << report;
            EXPECT_EQ(result, !fails ? 0 : function == Call::kOpen ? -100 : -103) << report;
            EXPECT_TRUE(Logged(fails ? report : "written settings to file (" + mPath + ")")) << report << mTap.mText;
            EXPECT_EQ(File(), isReplaced ? written : old) << report;
            std::ofstream(mPath) << "";
            EXPECT_TRUE(mSettings.Write() == 0 && File() == (isDone ? "" : written)) << report;
        }
    if (__lsan_enable != nullptr)
        __lsan_enable();
}

TEST_F(Settings, NamesTheLinesThatADiskHadNoRoomFor)
{
    Init(kHeader + kFooter);
    const auto key = [](int aNumber) { return "key" + std::to_string(aNumber); };
    for (int i = 0; i < 2000; ++i)
        mSettings.SetValue(key(i).c_str(), "\n");
    rlimit old = {};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit full = {36000, old.rlim_max};
    const auto action = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_EQ(mSettings.Write(), -103);
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, action);
    const std::string part = Contents(mTemp);
    EXPECT_TRUE(part.size() == full.rlim_cur && File() == kHeader + kFooter);
    for (int i = 0; i < 2000; ++i)
        EXPECT_NE(part.find(Line(key(i), "&#10;")) != std::string::npos,
                  Logged("failed to write key=" + key(i) + " value=&#10;"));
}

TEST_F(Settings, SurvivesFailureOfEveryAllocation)
{
    const std::string old = kHeader + Line("a", "<") + kFooter, large(40000, 'b');
    for (const bool isWriting : {false, true})
        for (int n = 1, hasFailed = 1; hasFailed != 0; ++n)
            for (const auto extent : {FailNthAllocation::kOnce, FailNthAllocation::kFromThenOn}) {
                EXPECT_EQ(Init(old) + mSettings.SetValue("b", large.c_str()), 0);
                mTap.mText.clear();
                ktSettings fresh;
                FailNthAllocation fail(n, extent);
                const ktError result = isWriting ? mSettings.Write() : fresh.Init(mPath.c_str());
                hasFailed = fail.Fired() ? 1 : 0;
                EXPECT_TRUE((result < 0) == (hasFailed != 0) && (result == 0 || mTap.Has(": failed to ")))
                    << mTap.mText;
                EXPECT_TRUE(File() == old || Read().size() == 2054) << n;
            }
}

struct Hooked : ktSettings {
    void DidSetValue(char const* aKey, char const* aValue) override
    {
        mCalls += std::string(aKey) + ' ' + (aValue != nullptr ? aValue : "-");
        mCalls += HasValue(aKey) ? " there, " : " gone, ";  // outside the lock, or it would wait for ever
    }
    std::string mCalls;
};

TEST_F(Settings, ChangesWhatItIsAskedTo)
{
    auto* const settings = new Hooked;
    int value = 5;
    EXPECT_TRUE(settings->GetValue("a") == nullptr && !settings->UpdateIntIfPresent(value, "a"));
    EXPECT_EQ(Sum({settings->SetValue("a", 1), settings->RemoveKey("a"), settings->Write()}), -26) << "before Init()";
    EXPECT_EQ(settings->Init(mPath.c_str()), -100);
    EXPECT_EQ(Sum({settings->SetValue("a", 7), settings->RemoveKey("b"), settings->SetValue("c", "2x")}), -17);
    EXPECT_TRUE(settings->UpdateIntIfPresent(value, "a") && value == 7);
    EXPECT_FALSE(settings->UpdateIntIfPresent(value, "a") || settings->UpdateIntIfPresent(value, "b"));
    EXPECT_TRUE(settings->GetLong64Value("c") == 2 && settings->GetLong64Value("b") == 0 &&
                settings->GetBoolValue("c"));
    EXPECT_TRUE(Logged("ktConfig::GetUInt64Value failed with -5") && Logged("ktConfig::GetUInt64Value failed with -4"));
    settings->SetWritability(0);
    EXPECT_TRUE(settings->Write() == 0 && !std::filesystem::exists(mPath));
    settings->SetWritability(1);
    EXPECT_TRUE(settings->Write() == 0 && Read() == "a=7,c=2x,");
    EXPECT_TRUE(settings->RemoveKey("c") + settings->Write() == 0 && Read() == "a=7,c=2x,") << "no change";
    EXPECT_EQ(settings->SetValue("c", static_cast<char const*>(nullptr)), -2);
    EXPECT_TRUE(settings->Write() == 0 && Read() == "a=7,") << "what failed counts as a change";
    EXPECT_EQ(settings->mCalls, "a 1 gone, a - gone, a 7 there, b - gone, c 2x there, c - gone, c - gone, ");
    EXPECT_TRUE(settings->SetValue("d", true) + settings->Destroy() == 0 && Read() == "a=7,d=1,");
    EXPECT_LT(Init(kHeader + kFooter) + mSettings.Init("\xe9"), 0)
        << "a name that is not UTF-8 could not be written to";
    EXPECT_EQ(mSettings.SetValue("a", 1) + mSettings.Write(), -9);
}

TEST_F(Settings, AreSharedByThreads)
{
    Init(kHeader + kFooter);
    std::atomic<int> bad{0};
    const auto work = [&](char const* aOwn) {
        for (int i = 0; i < 300; ++i) {
            bad += mSettings.SetValue(aOwn, i) + mSettings.SetValue("all", i) + (i % 50 == 0 ? mSettings.Write() : 0);
            bad += mSettings.GetIntValue(aOwn) != i || mSettings.GetIntValue("all") >= 300 ? 1 : 0;
        }
    };
    std::thread other(work, "a");
    work("b");
    other.join();
    EXPECT_TRUE(mSettings.Write() + bad == 0 && Read() == "a=299,all=299,b=299,");
}

/// What a process that is killed was doing.
struct Progress {
    std::atomic<int> mBegun, mDone;
};

[[noreturn]] void WriteForEver(std::string const& aPath, Progress& aProgress)
{
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityNone);
    ktSettings settings;
    settings.Init(aPath.c_str());
    for (int state = aProgress.mDone;; aProgress.mDone = state) {
        aProgress.mBegun = ++state;
        for (char const* const key : {"a", "b<", "c"})
            settings.SetValue(key, state);
        if (settings.Write() != 0)
            _exit(1);
    }
}

// One process after another writes on from where the last one was killed.
TEST_F(Settings, SurviveAThousandPowerCuts)
{
    auto& progress = *static_cast<Progress*>(
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::minstd_rand random(std::random_device{}());
    const auto entries = [](int aState) {
        const std::string state = std::to_string(aState) + ',';
        return aState == 0 ? "" : "a=" + state + "b<=" + state + "c=" + state;
    };
    for (int cut = 0; cut < 1000 && !HasFailure(); ++cut) {
        const pid_t child = fork();
        if (child == 0)
            WriteForEver(mPath, progress);
        const int wanted = progress.mDone + (cut % 4 == 0 ? 1 : 0);  // so that there is progress on a slow disk too
        while ((progress.mDone < wanted || progress.mBegun == progress.mDone) && waitpid(child, nullptr, WNOHANG) == 0)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const bool isNew = Read() == entries(progress.mBegun);
        EXPECT_TRUE(isNew || Read() == entries(progress.mDone)) << File();
        progress.mBegun = progress.mDone = (isNew ? progress.mBegun : progress.mDone).load();
        mTap.mText.clear();
    }
    EXPECT_GE(progress.mDone, 250);
    munmap(&progress, sizeof(Progress));
}

}  // namespace
