// The log functions while no log is open.
#include "ktlog.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>
#include <thread>
#include <vector>

#include "ktcore/os.h"
#include "ktcore/range.h"
#include "ktlogmanager.h"
#include "support/allocation.h"
#include "support/output.h"

namespace {

constexpr long long kMay2024 = 1714558830000123;  // 2024-05-01 10:20:30.000123
constexpr auto kNoSuchLog = static_cast<ktLogFileType>(4);

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
        char text[100];
        std::snprintf(text, sizeof text, "2024-05-01 10:20:30.%06d myhost log_test[%d:log_te] ", 123 + aMicroseconds,
                      getpid());
        return text;
    }

    OutputTap mTap;
};

TEST_F(Log, WritesEachKindOfRecordWithOneWriteAndInUtc)
{
    setenv("TZ", "America/New_York", 1);
    tzset();
    errno = EDOM;
    ktLog(kLogPriorityInfo, "plain %d", 1);
    ktLogWithComponent(kLogPriorityWarning, "net", "two\nlines\n");
    ktLogSpecial(kLogPriorityCritical, kLogFileTypeKestrelEvent, "%s", "special");
    ktLogSpecial(kLogPriorityDebug, kNoSuchLog, "no such log");
    ktLogEvent(kLogPriorityCritical, "WakeUp", "{}", "%d", 5);
    ktLogEventAndSetPreamble("Boot", "{}", "body");
    EXPECT_EQ(mTap.mWrites, 6);
    std::string expected = Line(0) + "(2) plain 1\n" + Line(1) + "(3) net: two\n" + Line(1) + "(3) net: lines\n" +
                           Line(2) + "(4) special\n" + Line(3) + "(1) no such log\n" +
                           "2024-05-01T10:20:30 WakeUp 5\n2024-05-01T10:20:30 Boot body\n";
    std::string text;
    for (int i = 0; i < 10; ++i) {
        text += std::string(199, static_cast<char>('a' + i)) + '\n';
        expected += Line(6) + "(2) " + text.substr(text.size() - 200);
    }
    ktLog(kLogPriorityInfo, "%s", text.c_str());
    EXPECT_EQ(mTap.mText, expected);
    EXPECT_EQ(mTap.mWrites, 7) << "one write, whatever its length";
    ktLogMemory("start");
    EXPECT_EQ(errno, EDOM);
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
    EXPECT_EQ(mTap.mWrites, 0);
    ktLog(kLogPriorityWarning, "x");
    ktLogSpecial(kLogPriorityDebug, kLogFileTypeSystem, "another log, another threshold");
    ktLogEvent(kLogPriorityDebug, "Another", "{}", "");
    EXPECT_EQ(mTap.mWrites, 3);
    ktSetLogPriority(kLogFileTypeEvent, kLogPriorityNone);
    ktLogEvent(kLogPriorityCritical, poison, poison, "%s", poison);
    EXPECT_EQ(mTap.mWrites, 3);
    ktLogEventAndSetPreamble("Boot", "{}", "");
    EXPECT_EQ(mTap.mWrites, 4) << "which has no threshold";
    ktSetLogPriority(kNoSuchLog, kLogPriorityDebug);
    EXPECT_EQ(ktGetLogPriority(kNoSuchLog), -1);
    EXPECT_EQ(ktGetLogPriority(kLogFileTypeEvent), 100);
    EXPECT_EQ(ktGetDefaultLogPriorityByBuildType(0), 2);
    EXPECT_EQ(ktGetDefaultLogPriorityByBuildType(-1), 1);
    EXPECT_EQ(ktGetLogFDForCrashReporting(kLogFileTypeGeneric), 2);
    EXPECT_EQ(ktGetLogFDForCrashReporting(kNoSuchLog), 2);
}

TEST_F(Log, LosesNoTailAndReportsWhatItCannotWriteOncePerEpisode)
{
    mTap.mPlan = {-EINTR, 5, -EINTR, 1};
    ktLog(kLogPriorityInfo, "whole");
    EXPECT_EQ(mTap.mText, Line(0) + "(2) whole\n");
    EXPECT_EQ(mTap.mWrites, 5);
    for (std::size_t episode = 1; episode <= 2; ++episode) {
        mTap.mWrites = 0;
        mTap.mPlan = {-EIO, 7, -ENOSPC, 0};
        for (int i = 0; i < 3; ++i)
            ktLog(kLogPriorityInfo, "lost");
        EXPECT_EQ(mTap.mWrites, 4) << "nothing is tried again";
        ASSERT_EQ(mTap.mReports.size(), episode);
        EXPECT_EQ(mTap.mReports.back(), "log manager: Unable to write to descriptor 2 (errno 5)");
        ktLog(kLogPriorityInfo, "written");
    }
}

TEST_F(Log, NamesTheChildAfterFork)
{
    ktLog(kLogPriorityInfo, "x");
    const pid_t child = fork();
    if (child == 0) {
        ktLog(kLogPriorityInfo, "y");
        _exit(mTap.Has(" myhost log_test[" + std::to_string(getpid()) + ":log_te] (2) y\n") ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Log, ReportsTheMemoryOfTheProcess)
{
    ktLogMemory("start");
    long size = 0;
    long data = 0;
    const std::string begin = Line(0) + "(2) start, MemoryUsage: ";
    ASSERT_EQ(mTap.mText.substr(0, begin.size()), begin);
    ASSERT_EQ(std::sscanf(mTap.mText.c_str() + begin.size(), "VmSize: %ld kB, VmData: %ld kB\n", &size, &data), 2);
    std::FILE* const file = std::fopen("/proc/self/statm", "re");
    long pages = 0;
    ASSERT_EQ(std::fscanf(file, "%ld", &pages), 1);
    std::fclose(file);
    const long drift = size - static_cast<long>(static_cast<unsigned int>(pages * (sysconf(_SC_PAGESIZE) / 1024)));
    EXPECT_LE(std::labs(drift), 4096) << mTap.mText;
    EXPECT_GT(data, 0);
    for (int n = 1;; ++n) {
        mTap.mText.clear();
        FailNthAllocation fail(n);
        ktLogMemory("poor");
        if (!fail.Fired())
            break;
        EXPECT_TRUE(mTap.mText.empty() || mTap.Has(" (2) poor, MemoryUsage: VmSize: ")) << mTap.mText;
    }
}

TEST_F(Log, CutsAndKeepsTheIdentifier)
{
    ktLogManager::SetLogIdentifier(nullptr);
    ktLog(kLogPriorityInfo, "x");
    ktLogManager::SetLogIdentifier(std::string(300, 'i').c_str());
    ktLog(kLogPriorityInfo, "y");
    ktLogManager::SetLogIdentifier("z");
    ktLog(kLogPriorityInfo, "z");
    EXPECT_TRUE(mTap.Has(".000123 myhost log_test[")) << mTap.mText;
    EXPECT_TRUE(mTap.Has(".000124 " + std::string(64, 'i') + " log_test[")) << mTap.mText;
    EXPECT_TRUE(mTap.Has(".000125 z log_test[")) << mTap.mText;
}

TEST_F(Log, KeepsLinesOfManyThreadsApart)
{
    constexpr int kEach = 500;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([thread] {
            for (int i = 0; i < kEach; ++i) {
                ktLogWithComponent(kLogPriorityCritical, "many", "thread %d line %d.", thread, i);
                ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityInfo);
                ktLogManager::SetLogIdentifier(i % 2 == 0 ? "myhost" : "another host");
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mTap.mWrites, 8 * kEach);
    for (int thread = 0; thread < 8; ++thread) {
        std::size_t at = 0;
        for (int i = 0; i < kEach; ++i) {
            at = mTap.mText.find("many: thread " + std::to_string(thread) + " line " + std::to_string(i) + ".\n", at);
            ASSERT_NE(at, std::string::npos) << thread << " " << i;
        }
    }
    std::set<std::string> stamps;
    for (std::size_t at = 0; at < mTap.mText.size(); at = mTap.mText.find('\n', at) + 1)
        stamps.insert(mTap.mText.substr(at, 26));
    EXPECT_EQ(stamps.size(), 8U * kEach) << "a manual clock gives every line its own time";
}

TEST(LogClock, MovesOnWhileItIsManual)
{
    ktLogManagerNS::SetInternalNow(-2);
    EXPECT_TRUE(ktLogManagerNS::IsInternalNowManual());
    EXPECT_EQ(ktLogManagerNS::GetInternalNow(), -2);
    EXPECT_EQ(ktLogManagerNS::GetInternalNow(), -1);
    EXPECT_FALSE(ktLogManagerNS::IsInternalNowManual()) << "0 is the system's clock, however it is reached";
    EXPECT_LE(std::llabs(ktLogManagerNS::GetInternalNow() / 1000000 - std::time(nullptr)), 1);
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

TEST(Platform, NamesTheProcessForGood)
{
    EXPECT_STREQ(kt::Core::Os::GetProcessName(), "log_test");
    char other[] = "other";
    char* const name = program_invocation_short_name;
    program_invocation_short_name = other;
    EXPECT_STREQ(kt::Core::Os::GetProcessName(), "log_test");
    program_invocation_short_name = name;
    EXPECT_EQ(sizeof(kt::Core::Range), 2 * sizeof(std::size_t));
}

}  // namespace
