// The controller as its users run it: a process with arguments, a trace, an exit status and what it prints.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

namespace {

/// A folder and a running controller for the length of a test.
class Controller : public testing::Test {
protected:
    Controller()
    {
        char name[] = "/tmp/ktcontroller.XXXXXX";
        mFolder = mkdtemp(name);
    }
    ~Controller() override
    {
        unlink((mFolder + "/trace.csv").c_str());
        rmdir(mFolder.c_str());
    }

    std::string WriteTrace(std::string const& aText)
    {
        std::ofstream(mFolder + "/trace.csv", std::ios::binary) << aText;
        return mFolder + "/trace.csv";
    }

    void Start(std::vector<std::string> aArguments)
    {
        aArguments.insert(aArguments.begin(), HVAC_CONTROLLER);
        std::vector<char*> arguments;
        for (std::string& argument : aArguments)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        int out[2] = {};
        int err[2] = {};
        ASSERT_EQ(pipe2(out, O_CLOEXEC) + pipe2(err, O_CLOEXEC), 0);
        mChild = fork();
        if (mChild == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        close(out[1]);
        close(err[1]);
        mOutPipe = out[0];
        mErrPipe = err[0];
        mOut.clear();
        mErr.clear();
    }

    /// Reads what comes until it holds this text. @return whether it does; if not, that was all.
    static bool ReadUntil(int aPipe, std::string& aText, char const* aWanted)
    {
        char piece[4096];
        ssize_t length = 0;
        while (aText.find(aWanted) == std::string::npos && (length = read(aPipe, piece, sizeof piece)) > 0)
            aText.append(piece, static_cast<std::size_t>(length));
        return aText.find(aWanted) != std::string::npos;
    }

    bool WaitForLog(char const* aText)
    {
        return ReadUntil(mErrPipe, mErr, aText);
    }

    /// Signals the controller unless the number is 0, and waits for its end.
    /// @return its exit status, or what killed it, negated.
    int End(int aSignal)
    {
        kill(mChild, aSignal);
        constexpr char kNever[] = "a text that nobody prints";
        ReadUntil(mErrPipe, mErr, kNever);
        ReadUntil(mOutPipe, mOut, kNever);
        close(mErrPipe);
        close(mOutPipe);
        int status = 0;
        EXPECT_EQ(waitpid(mChild, &status, 0), mChild);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    int Run(std::vector<std::string> aArguments)
    {
        Start(std::move(aArguments));
        return End(0);
    }

    /// How often the controller's threads have gone to sleep; empty while one of them runs.
    std::string SleepCounts() const
    {
        const std::string folder = "/proc/" + std::to_string(mChild) + "/task";
        std::string counts;
        DIR* const tasks = opendir(folder.c_str());
        while (dirent const* const task = readdir(tasks)) {
            std::ostringstream text;
            text << std::ifstream(folder + "/" + task->d_name + "/status").rdbuf();
            const std::string status = text.str();
            if (task->d_name[0] != '.' && status.find("State:\tS") == std::string::npos)
                counts = "running ";
            const std::size_t at = status.find("voluntary_ctxt_switches");
            counts += at != std::string::npos ? status.substr(at) : "";
        }
        closedir(tasks);
        return counts.find("running") == std::string::npos ? counts : "";
    }

    /// Whether the controller is seen asleep, without a wake-up, many times in a row.
    bool FallsAsleep() const
    {
        std::string last;
        int same = 0;
        for (int tries = 0; tries < 100000 && same < 500; ++tries) {
            const std::string now = SleepCounts();
            same = !now.empty() && now == last ? same + 1 : 0;
            last = now;
        }
        return same == 500;
    }

    std::string mFolder;
    std::string mOut;  ///< what it printed
    std::string mErr;

private:
    pid_t mChild = 0;
    int mOutPipe = -1;
    int mErrPipe = -1;
};

constexpr char kHeader[] = "# made for a test\ntime,indoor_c,outdoor_c\n";

TEST_F(Controller, DecidesWithHysteresisAndReports)
{
    EXPECT_EQ(Run({"--speed", "100000000"}), 0);
    EXPECT_EQ(mOut, "samples           2016\nhours heated      86.7\nhours cooled      18.8\nswitches            13\n");
    EXPECT_NE(mErr.find("(2) hvac: idle -> heating at indoor 19.5 C, outdoor 9.5 C\n"), std::string::npos) << mErr;
    const std::string trace =
        WriteTrace(std::string(kHeader) + "2026-05-04T00:00:00Z,20.0,10\r\n"  // idle: neither too cold nor too warm
                                          "2026-05-04T01:00:00Z,19.4,10\r\n"  // heating
                                          "2026-05-04T02:00:00Z,20.4,10\r\n"  // still heating
                                          "2026-05-04T03:00:00Z,20.5,10\r\n"  // idle
                                          "2026-05-04T04:00:00Z,19.5,10\r\n"  // still idle
                                          "2026-05-04T05:00:00Z,25.6,10\r\n"  // cooling
                                          "2026-05-04T06:30:00Z,24.6,10\r\n"  // still cooling
                                          "2026-05-04T07:00:00Z,24.5,10\r\n"  // idle
                                          "2026-05-04T08:00:00Z,26,10\r\n"    // cooling
                                          "2026-05-04T09:00:00Z,-5,10");      // heating, without an idle between
    EXPECT_EQ(Run({"--input", trace, "--speed", "1e9"}), 0);
    EXPECT_EQ(mOut, "samples             10\nhours heated       2.0\nhours cooled       3.0\nswitches             6\n");
}

TEST_F(Controller, NamesFileLineAndFaultOfATraceThatItCannotUse)
{
    const std::string header = kHeader;
    const std::string sample = "2026-05-04T00:05:00Z,20,10\n";
    const std::string time = "the time is not like '2026-05-04T00:05:00Z' but ";
    const std::string indoor = "the indoor temperature is no temperature: ";
    struct {
        std::string mText;
        int mLine;
        std::string mFault;
    } const cases[] = {
        {"", 1, "the file ends without a sample"},
        {header, 3, "the file ends without a sample"},
        {sample, 1, "expected the columns 'time,indoor_c,outdoor_c', found '2026-05-04T00:05:00Z,20,10'"},
        {header + sample + "\n", 4, "expected 3 fields, found 1"},
        {header + sample + "2026-05-04T00:10:00Z,20,10,", 4, "expected 3 fields, found 4"},
        {header + "yesterday,20,10", 3, time + "'yesterday'"},
        {header + "2026-02-30T00:05:00Z,20,10", 3, time + "'2026-02-30T00:05:00Z'"},
        {header + "2026-02-03T00:05:60Z,20,10", 3, time + "'2026-02-03T00:05:60Z'"},
        {header + " 2026-2-3T0:5:0Z,20,10", 3, time + "' 2026-2-3T0:5:0Z'"},
        {header + sample + sample, 4, "the time does not rise: '2026-05-04T00:05:00Z'"},
        {header + "2026-05-04T00:05:00Z,20x,10", 3, indoor + "'20x'"},
        {header + "2026-05-04T00:05:00Z,,10", 3, indoor + "''"},
        {header + "2026-05-04T00:05:00Z,nan,10", 3, indoor + "'nan'"},
        {header + std::string("2026-05-04T00:05:00Z,\x1b[1m\0,20", 29), 3, indoor + "'?[1m?'"},
        {header + "2026-05-04T00:05:00Z,20,1e3", 3, "the outdoor temperature is no temperature: '1e3'"},
        {header + std::string(100000, 'x'), 3, "longer than 200 characters"},
    };
    for (auto const& aCase : cases) {
        const std::string trace = WriteTrace(aCase.mText);
        EXPECT_EQ(Run({"--input", trace}), 2);
        EXPECT_EQ(mErr,
                  "hvac_controller: " + trace + ", line " + std::to_string(aCase.mLine) + ": " + aCase.mFault + "\n");
        EXPECT_EQ(mOut, "");
    }
    EXPECT_EQ(Run({"--input", "/now\nhere.csv"}), 2);
    EXPECT_EQ(mErr, "hvac_controller: /now?here.csv, line 0: cannot be opened (No such file or directory)\n");
    EXPECT_EQ(Run({"--input", mFolder}), 2);
    EXPECT_EQ(mErr, "hvac_controller: " + mFolder + ", line 1: cannot be read (Is a directory)\n");
}

TEST_F(Controller, RefusesACommandLineThatItCannotFollow)
{
    struct {
        std::vector<std::string> mArguments;
        char const* mFault;
    } const cases[] = {
        {{"--speed", "0"}, "--speed wants a number above 0, not '0'"},
        {{"--speed", "fast"}, "--speed wants a number above 0, not 'fast'"},
        {{"--speed", "inf"}, "--speed wants a number above 0, not 'inf'"},
        {{"--input"}, "cannot use '--input', see --help"},
        {{"--cold"}, "cannot use '--cold', see --help"},
        {{"-xy"}, "cannot use '-x', see --help"},
        {{"week.csv"}, "cannot use 'week.csv', see --help"},
    };
    for (auto const& aCase : cases) {
        EXPECT_EQ(Run(aCase.mArguments), 2);
        EXPECT_EQ(mErr, std::string("hvac_controller: ") + aCase.mFault + "\n");
    }
    EXPECT_EQ(Run({"--help"}), 0);
    EXPECT_EQ(mOut.find("Usage: hvac_controller "), 0U) << mOut;
}

TEST_F(Controller, SleepsUntilASignalComesAndThenLeavesInOrder)
{
    for (int number : {SIGINT, SIGTERM}) {
        Start({"--speed", "1e9", "--hold"});
        EXPECT_TRUE(WaitForLog("holding\n") && WaitForLog("day 6: ")) << mErr;
        EXPECT_TRUE(FallsAsleep()) << "whatever the thread, nothing stirs any more";
        EXPECT_EQ(End(number), 0);
        EXPECT_EQ(mOut.find("samples           2016\n"), 0U) << mOut;
        EXPECT_NE(mErr.find(":signal] (2) app: signal " + std::to_string(number) + ": leaving\n"), std::string::npos)
            << mErr;
    }
    const std::string trace =
        WriteTrace(std::string(kHeader) + "2026-05-04T00:00:00Z,15,10\n2026-05-04T01:00:00Z,15,10\n");
    Start({"--speed", "1e-300", "--input", trace});
    EXPECT_TRUE(WaitForLog("idle -> heating")) << "in the middle of the trace";
    EXPECT_TRUE(FallsAsleep()) << "until the next sample";
    EXPECT_EQ(End(SIGINT), 0);
    EXPECT_EQ(mOut.find("samples              1\n"), 0U) << mOut;
}

}  // namespace
