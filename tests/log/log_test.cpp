// The log functions while no log is open.
#include "ktlog.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "ktcore/os.h"
#include "ktcore/range.h"
#include "ktlogmanager.h"
#include "support/output.h"

namespace {

constexpr long long kMay2024 = 1714558830000123;  // 2024-05-01 10:20:30.000123

/// A known clock and identifier; every threshold at its beginning.
class Log : public testing::Test {
protected:
    Log()
    {
        ktLogManagerNS::SetInternalNow(kMay2024);
        ktLogManager::SetLogIdentifier("myhost");
    }
    ~Log() override
    {
        ktLogManagerNS::SetInternalNow(0);
        for (unsigned int type = 0; type < 4; ++type)
            ktSetLogPriority(static_cast<ktLogFileType>(type), static_cast<ktLogPriority>(0));
    }

    /// The beginning of the line that is stamped this many microseconds after the first.
    static std::string Line(int aMicroseconds)
    {
        char micro[16];
        std::snprintf(micro, sizeof micro, "%06d", 123 + aMicroseconds);
        return std::string("2024-05-01 10:20:30.") + micro + " myhost log_test[" + std::to_string(getpid()) +
               ":log_te] ";
    }

    OutputTap mTap;
};

TEST_F(Log, WritesEachKindOfRecordWithOneWrite)
{
    errno = EDOM;
    ktLog(kLogPriorityInfo, "plain %d", 1);
    ktLogWithComponent(kLogPriorityWarning, "net", "two\nlines\n");
    ktLogSpecial(kLogPriorityCritical, kLogFileTypeKestrelEvent, "%s", "special");
    ktLogSpecial(kLogPriorityDebug, static_cast<ktLogFileType>(9), "no such log");
    ktLogEvent(kLogPriorityCritical, "WakeUp", "{}", "%d", 5);
    ktLogEventAndSetPreamble("Boot", "{}", "body");
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(mTap.Writes(), 6);
    EXPECT_EQ(mTap.Text(), Line(0) + "(2) plain 1\n" + Line(1) + "(3) net: two\n" + Line(1) + "(3) net: lines\n" +
                               Line(2) + "(4) special\n" + Line(3) + "(1) no such log\n" +
                               "2024-05-01T10:20:30 WakeUp 5\n2024-05-01T10:20:30 Boot body\n");
    const std::string tenLines = std::string(199, 'x') + '\n';
    std::string text;
    for (int i = 0; i < 10; ++i)
        text += tenLines;
    ktLog(kLogPriorityInfo, "%s", text.c_str());
    EXPECT_EQ(mTap.Writes(), 7) << "one write, whatever its length";
}

TEST_F(Log, DropsWhatIsBelowTheThresholdUnformatted)
{
    char const* const poison = reinterpret_cast<char const*>(1);
    for (unsigned int type = 0; type < 4; ++type)
        EXPECT_EQ(ktGetLogPriority(static_cast<ktLogFileType>(type)), 0);
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityWarning);
    ktLog(kLogPriorityInfo, "%s", poison);
    ktLogWithComponent(kLogPriorityInfo, poison, "%s", poison);
    ktLogMemory(poison);
    EXPECT_EQ(mTap.Writes(), 0);
    ktLog(kLogPriorityWarning, "x");
    ktLogSpecial(kLogPriorityDebug, kLogFileTypeSystem, "another log, another threshold");
    EXPECT_EQ(mTap.Writes(), 2);
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityNone);
    ktSetLogPriority(kLogFileTypeEvent, kLogPriorityNone);
    ktLog(kLogPriorityCritical, "%s", poison);
    ktLogEvent(kLogPriorityCritical, poison, poison, "%s", poison);
    EXPECT_EQ(mTap.Writes(), 2);
    ktLogEventAndSetPreamble("Boot", "{}", "");
    EXPECT_EQ(mTap.Writes(), 3) << "which has no threshold";
    ktSetLogPriority(static_cast<ktLogFileType>(4), kLogPriorityDebug);
    EXPECT_EQ(ktGetLogPriority(static_cast<ktLogFileType>(4)), -1);
    EXPECT_EQ(ktGetLogPriority(kLogFileTypeEvent), 100);
    EXPECT_EQ(ktGetDefaultLogPriorityByBuildType(0), 2);
    EXPECT_EQ(ktGetDefaultLogPriorityByBuildType(-1), 1);
    EXPECT_EQ(ktGetLogFDForCrashReporting(kLogFileTypeGeneric), 2);
    EXPECT_EQ(ktGetLogFDForCrashReporting(static_cast<ktLogFileType>(4)), 2);
}

TEST_F(Log, LosesNoTailToInterruptionsAndShortWrites)
{
    mTap.Plan({-EINTR, 5, -EINTR, 1});
    ktLog(kLogPriorityInfo, "whole");
    EXPECT_EQ(mTap.Text(), Line(0) + "(2) whole\n");
    EXPECT_EQ(mTap.Writes(), 5);
    EXPECT_TRUE(mTap.Reports().empty());
}

TEST_F(Log, ReportsWhatItCannotWriteOncePerEpisode)
{
    for (int episode = 1; episode <= 2; ++episode) {
        mTap.Plan({-EIO, 7, -ENOSPC, 0});
        for (int i = 0; i < 3; ++i)
            ktLog(kLogPriorityInfo, "lost");
        ASSERT_EQ(mTap.Reports().size(), static_cast<std::size_t>(episode));
        EXPECT_EQ(mTap.Reports().back(), "log manager: Unable to write to descriptor 2 (errno 5)");
        ktLog(kLogPriorityInfo, "written");
    }
}

TEST_F(Log, PrintsUtcInAnyZone)
{
    char const* const zone = std::getenv("TZ");
    const std::string before = zone != nullptr ? zone : "";
    setenv("TZ", "America/New_York", 1);
    tzset();
    ktLog(kLogPriorityInfo, "x");
    ktLogEvent(kLogPriorityInfo, "E", "{}", "y");
    EXPECT_EQ(mTap.Text(), Line(0) + "(2) x\n2024-05-01T10:20:30 E y\n");
    before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1);
    tzset();
}

TEST_F(Log, NamesTheChildAfterFork)
{
    ktLog(kLogPriorityInfo, "x");
    const pid_t child = fork();
    if (child == 0) {
        ktLog(kLogPriorityInfo, "y");
        const std::string text = mTap.Text();
        const std::string expected = "log_test[" + std::to_string(getpid()) + ":log_te] (2) y\n";
        const bool ends = text.size() > expected.size() && text.substr(text.size() - expected.size()) == expected;
        _exit(ends ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Log, ReportsTheMemoryOfTheProcess)
{
    ktLogMemory("start");
    const std::string text = mTap.Text();
    unsigned long size = 0;
    unsigned long data = 0;
    const std::string begin = Line(0) + "(2) start, MemoryUsage: ";
    ASSERT_EQ(text.substr(0, begin.size()), begin);
    ASSERT_EQ(std::sscanf(text.c_str() + begin.size(), "VmSize: %lu kB, VmData: %lu kB\n", &size, &data), 2) << text;
    std::FILE* const file = std::fopen("/proc/self/statm", "re");
    unsigned long pages = 0;
    ASSERT_EQ(std::fscanf(file, "%lu", &pages), 1);
    std::fclose(file);
    const unsigned long now = pages * static_cast<unsigned long>(sysconf(_SC_PAGESIZE)) / 1024;
    EXPECT_NEAR(static_cast<double>(static_cast<unsigned int>(now)), static_cast<double>(size), 4096.0);
    EXPECT_GT(data, 0U);
}

TEST_F(Log, CutsAndKeepsTheIdentifier)
{
    ktLogManager::SetLogIdentifier(nullptr);
    ktLog(kLogPriorityInfo, "x");
    ktLogManager::SetLogIdentifier(std::string(300, 'i').c_str());
    ktLog(kLogPriorityInfo, "y");
    ktLogManager::SetLogIdentifier("z");
    ktLog(kLogPriorityInfo, "z");
    EXPECT_NE(mTap.Text().find(" myhost log_test["), std::string::npos);
    EXPECT_NE(mTap.Text().find(".000124 " + std::string(64, 'i') + " log_test["), std::string::npos);
    EXPECT_NE(mTap.Text().find(".000125 z log_test["), std::string::npos) << mTap.Text();
}

TEST_F(Log, KeepsLinesOfManyThreadsApart)
{
    constexpr int kThreads = 8;
    constexpr int kEach = 500;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([thread] {
            for (int i = 0; i < kEach; ++i) {
                ktLogWithComponent(kLogPriorityCritical, "many", "thread %d line %d.", thread, i);
                ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityInfo);
                ktLogManager::SetLogIdentifier(i % 2 == 0 ? "myhost" : "another host");
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mTap.Writes(), kThreads * kEach);
    const std::string text = mTap.Text();
    for (int thread = 0; thread < kThreads; ++thread) {
        std::size_t at = 0;
        for (int i = 0; i < kEach; ++i) {
            at = text.find("many: thread " + std::to_string(thread) + " line " + std::to_string(i) + ".\n", at);
            ASSERT_NE(at, std::string::npos) << thread << " " << i;
        }
    }
}

TEST(LogClock, MovesOnWhileItIsManual)
{
    ktLogManagerNS::SetInternalNow(-2);
    EXPECT_TRUE(ktLogManagerNS::IsInternalNowManual());
    EXPECT_EQ(ktLogManagerNS::GetInternalNow(), -2);
    EXPECT_EQ(ktLogManagerNS::GetInternalNow(), -1);
    EXPECT_FALSE(ktLogManagerNS::IsInternalNowManual()) << "0 is the system's clock, however it is reached";
    const long long now = ktLogManagerNS::GetInternalNow();
    EXPECT_LE(std::llabs(now / 1000000 - std::time(nullptr)), 1);
}

TEST(LogPriority, KnowsItsWords)
{
    struct {
        char const* mWord;
        int mPriority;
    } const words[] = {{"debug", 1},  {"debg", 1},  {"WARN", 3},  {"Warning", 3}, {"crit", 4},      {"critical", 4},
                       {"none", 100}, {"oFF", 100}, {"info", -1}, {"", -1},       {"warnings", -1}, {nullptr, -1}};
    for (auto const& word : words)
        EXPECT_EQ(ktLogManager::MapStringToLogPriority(word.mWord), word.mPriority) << word.mPriority;
}

TEST(Platform, NamesTheProcess)
{
    EXPECT_STREQ(kt::Core::Os::GetProcessName(), "log_test");
    EXPECT_EQ(kt::Core::Os::GetProcessName(), kt::Core::Os::GetProcessName());
    const kt::Core::Range range = {3, 4};
    EXPECT_EQ(range.mBase + range.mLength, 7U);
}

}  // namespace
