// What a log call costs, beside other logging libraries that write each line with a write of its own.
//
// Every side writes the same line to a file of the same directory: time with microseconds in UTC, host, process,
// process id, thread, level, component, message.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <glog/logging.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "ktlog.h"
#include "ktlogmanager.h"

namespace {

constexpr char kHost[] = "hvac-0042";

/// A directory of this run's own, removed at the end with the files in it.
class Folder {
public:
    Folder()
    {
        char name[] = "/dev/shm/ktlogbench.XXXXXX";
        mPath = mkdtemp(name);
    }
    ~Folder()
    {
        const std::string command = "rm -rf " + mPath;
        if (std::system(command.c_str()) != 0)
            std::perror("log_bench");
    }
    std::string File(char const* aName) const
    {
        return mPath + "/" + aName;
    }

private:
    std::string mPath;
};

Folder& TheFolder()
{
    static Folder folder;
    return folder;
}

int OpenFile(char const* aName)
{
    return open(TheFolder().File(aName).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_TRUNC | O_CLOEXEC, 0644);
}

/// Descriptor 2 is a file while this lives: that is where lines go that have no log.
class StandardErrorToFile {
public:
    StandardErrorToFile() : mSaved(dup(2)), mFile(OpenFile("ktappcore.log"))
    {
        dup2(mFile, 2);
        ktLogManager::SetLogIdentifier(kHost);
    }
    ~StandardErrorToFile()
    {
        dup2(mSaved, 2);
        close(mSaved);
        close(mFile);
    }

private:
    int mSaved;
    int mFile;
};

std::string TenLines()
{
    std::string text;
    for (int line = 0; line < 10; ++line)
        text += std::string(199, static_cast<char>('a' + line)) + '\n';
    return text;
}

void BareWrite(benchmark::State& aState)
{
    const int file = OpenFile("bare.log");
    const std::string line(static_cast<std::size_t>(aState.range(0)), 'x');
    for (auto _ : aState)
        benchmark::DoNotOptimize(write(file, line.data(), line.size()));
    close(file);
}

void KtSuppressed(benchmark::State& aState)
{
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityWarning);
    int value = 0;
    for (auto _ : aState)
        ktLogWithComponent(kLogPriorityDebug, "net", "indoor %d of %s", ++value, "living");
    ktSetLogPriority(kLogFileTypeGeneric, static_cast<ktLogPriority>(0));
}

void KtLine(benchmark::State& aState)
{
    StandardErrorToFile file;
    int value = 0;
    for (auto _ : aState)
        ktLogWithComponent(kLogPriorityWarning, "net", "indoor %d of %s", ++value, "living");
}

void KtTenLines(benchmark::State& aState)
{
    StandardErrorToFile file;
    const std::string text = TenLines();
    for (auto _ : aState)
        ktLogWithComponent(kLogPriorityWarning, "net", "%s", text.c_str());
}

/// The thread's name in six characters, as the line asks for it; asked for each time, as it may change.
class ThreadNameFlag : public spdlog::custom_flag_formatter {
public:
    void format(spdlog::details::log_msg const& /*aMessage*/, std::tm const& /*aTime*/,
                spdlog::memory_buf_t& aOut) override
    {
        char name[16] = {};
        prctl(PR_GET_NAME, name);
        const std::size_t length = std::min<std::size_t>(std::strlen(name), 6);
        constexpr char kBlanks[] = "      ";
        aOut.append(kBlanks, kBlanks + (6 - length));
        aOut.append(name, name + length);
    }
    std::unique_ptr<custom_flag_formatter> clone() const override
    {
        return std::make_unique<ThreadNameFlag>();
    }
};

std::shared_ptr<spdlog::logger> MakeSpdlog()
{
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(TheFolder().File("spdlog.log"), true);
    auto logger = std::make_shared<spdlog::logger>("net", std::move(sink));
    auto formatter = std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::utc);
    formatter->add_flag<ThreadNameFlag>('*').set_pattern("%Y-%m-%d %H:%M:%S.%f hvac-0042 log_bench[%P:%*] (%l) %n: %v");
    logger->set_formatter(std::move(formatter));
    logger->flush_on(spdlog::level::trace);
    return logger;
}

void SpdlogSuppressed(benchmark::State& aState)
{
    const auto logger = MakeSpdlog();
    logger->set_level(spdlog::level::warn);
    int value = 0;
    for (auto _ : aState)
        logger->debug("indoor {} of {}", ++value, "living");
}

void SpdlogLine(benchmark::State& aState)
{
    const auto logger = MakeSpdlog();
    int value = 0;
    for (auto _ : aState)
        logger->warn("indoor {} of {}", ++value, "living");
}

void SpdlogTenLines(benchmark::State& aState)
{
    const auto logger = MakeSpdlog();
    const std::string text = TenLines();
    for (auto _ : aState)
        logger->warn("{}", text);
}

/// spdlog with the pattern that it comes with: shorter lines in local time, without host and process.
void SpdlogDefaultLine(benchmark::State& aState)
{
    const auto logger = MakeSpdlog();
    logger->set_pattern("%+");
    int value = 0;
    for (auto _ : aState)
        logger->warn("indoor {} of {}", ++value, "living");
}

void StartGlog()
{
    static const bool started = [] {
        FLAGS_logbuflevel = -1;  // one write for each line
        FLAGS_minloglevel = google::GLOG_INFO;
        google::SetLogDestination(google::GLOG_INFO, TheFolder().File("glog.").c_str());
        google::InitGoogleLogging("log_bench");
        return true;
    }();
    benchmark::DoNotOptimize(started);
}

void GlogSuppressed(benchmark::State& aState)
{
    StartGlog();
    int value = 0;
    for (auto _ : aState)
        VLOG(1) << "net: indoor " << ++value << " of "
                << "living";
}

void GlogLine(benchmark::State& aState)
{
    StartGlog();
    int value = 0;
    for (auto _ : aState)
        LOG(INFO) << "net: indoor " << ++value << " of "
                  << "living";
}

void GlogTenLines(benchmark::State& aState)
{
    StartGlog();
    const std::string text = TenLines();
    for (auto _ : aState)
        LOG(INFO) << text;
}

BENCHMARK(KtSuppressed);
BENCHMARK(SpdlogSuppressed);
BENCHMARK(GlogSuppressed);
BENCHMARK(BareWrite)->Arg(100)->Arg(2000)->Arg(2800);
BENCHMARK(KtLine);
BENCHMARK(SpdlogLine);
BENCHMARK(SpdlogDefaultLine);
BENCHMARK(GlogLine);
BENCHMARK(KtTenLines);
BENCHMARK(SpdlogTenLines);
BENCHMARK(GlogTenLines);

}  // namespace

int main(int argc, char** argv)
{
    std::thread([] {}).join();  // logs serve processes of many threads
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
