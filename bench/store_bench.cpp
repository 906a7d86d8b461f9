// What configurations and settings cost: reading beside libxml2's bare parse of the same bytes and GLib's key file of
// the same entries, durable writing beside the bare calls with the same bytes, on a disk and in memory.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <glib.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "ktconfig.h"
#include "ktlog.h"
#include "ktsettings.h"

namespace {

constexpr int kSettings = 1000;

/// A folder of its own in another one.
class Folder {
public:
    explicit Folder(std::string const& aParent) : mPath(aParent + "/store_bench.XXXXXX")
    {
        if (mkdtemp(mPath.data()) == nullptr)
            std::perror(mPath.c_str()), std::exit(1);
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder()
    {
        std::filesystem::remove_all(mPath);
    }

    std::string mPath;
};

std::string Key(int aNumber)
{
    return "zone" + std::to_string(aNumber % 16) + ".setting" + std::to_string(aNumber);
}

std::string Value(int aNumber)
{
    return "set point " + std::to_string(aNumber * 7919 % 100003);
}

std::string MakeDocument(long aEntries)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<config>\n";
    for (int i = 0; i < aEntries; ++i)
        text += "  <s key=\"" + Key(i) + "\" value=\"" + Value(i) + "\"/>\n";
    return text + "</config>\n";
}

std::string MakeKeyFile(long aEntries)
{
    std::string text = "[config]\n";
    for (int i = 0; i < aEntries; ++i)
        text += Key(i) + '=' + Value(i) + '\n';
    return text;
}

std::string Contents(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Times each run in a process of its own: a configuration is read once, at the start, and not into a heap that earlier
/// readings have left in pieces.
template <typename Work>
void RunInChildren(benchmark::State& aState, Work aWork)
{
    using Clock = std::chrono::steady_clock;
    for (auto _ : aState) {
        int ends[2] = {};
        double seconds = -1;
        if (pipe2(ends, O_CLOEXEC) != 0)
            break;
        const pid_t child = fork();
        if (child == 0) {
            const Clock::time_point start = Clock::now();
            const bool isGood = aWork();
            const std::chrono::duration<double> time = Clock::now() - start;
            const double result = isGood ? time.count() : -1;
            _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
        }
        close(ends[1]);
        if (read(ends[0], &seconds, sizeof seconds) != sizeof seconds || seconds < 0)
            aState.SkipWithError("not read");
        close(ends[0]);
        waitpid(child, nullptr, 0);
        aState.SetIterationTime(seconds);
    }
    aState.SetItemsProcessed(aState.iterations() * aState.range(0));
}

void ParseWithKt(benchmark::State& aState)
{
    const Folder folder("/dev/shm");
    const std::string path = folder.mPath + "/config";
    std::ofstream(path) << MakeDocument(aState.range(0));
    RunInChildren(aState, [&] {
        auto* const config = new ktConfig;  // lives as long as the process
        return config->Init() == 0 && config->AddConfig(path.c_str()) == 0;
    });
}

void ParseWithLibxml2(benchmark::State& aState)
{
    const std::string text = MakeDocument(aState.range(0));
    RunInChildren(aState, [&] {
        xmlDoc* const document = xmlParseMemory(text.data(), static_cast<int>(text.size()));
        xmlFreeDoc(document);
        return document != nullptr;
    });
}

void ParseWithGLib(benchmark::State& aState)
{
    const std::string text = MakeKeyFile(aState.range(0));
    RunInChildren(aState, [&] {
        GKeyFile* const file = g_key_file_new();  // lives as long as the process
        return g_key_file_load_from_data(file, text.data(), text.size(), G_KEY_FILE_NONE, nullptr) == TRUE;
    });
}

/// Fills a settings object.
void Fill(ktSettings& aSettings, std::string const& aPath)
{
    aSettings.Init(aPath.c_str());
    for (int i = 0; i < kSettings; ++i)
        aSettings.SetValue(Key(i).c_str(), Value(i).c_str());
}

void WriteWithKt(benchmark::State& aState, std::string const& aParent)
{
    const Folder folder(aParent);
    ktSettings settings;
    Fill(settings, folder.mPath + "/settings");
    for (auto _ : aState) {
        settings.SetValue("zone0.setting0", "changed");
        if (settings.Write() != 0)
            aState.SkipWithError("not written");
    }
}

/// Writes and syncs a file under one name and renames it.
bool WriteFile(std::string const& aText, std::string const& aTemp, std::string const& aPath, std::string const& aFolder)
{
    const int file = open(aTemp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    bool isGood = write(file, aText.data(), aText.size()) == static_cast<ssize_t>(aText.size());
    isGood = fsync(file) == 0 && close(file) == 0 && isGood;
    isGood = std::rename(aTemp.c_str(), aPath.c_str()) == 0 && isGood;
    const int folder = open(aFolder.c_str(), O_RDONLY | O_CLOEXEC);
    return fsync(folder) == 0 && close(folder) == 0 && isGood;
}

void WriteBare(benchmark::State& aState, std::string const& aParent)
{
    const Folder folder(aParent);
    const std::string path = folder.mPath + "/settings", temp = path + ".tmp";
    ktSettings settings;
    Fill(settings, path);
    settings.Write();
    const std::string text = Contents(path);
    for (auto _ : aState)
        if (!WriteFile(text, temp, path, folder.mPath))
            aState.SkipWithError("not written");
    aState.SetLabel(std::to_string(text.size()) + " bytes");
}

BENCHMARK(ParseWithKt)->Arg(1000)->Arg(100000)->UseManualTime();
BENCHMARK(ParseWithLibxml2)->Arg(1000)->Arg(100000)->UseManualTime();
BENCHMARK(ParseWithGLib)->Arg(1000)->Arg(100000)->UseManualTime();
BENCHMARK_CAPTURE(WriteWithKt, disk, "/var/tmp")->UseRealTime();
BENCHMARK_CAPTURE(WriteBare, disk, "/var/tmp")->UseRealTime();
BENCHMARK_CAPTURE(WriteWithKt, memory, "/dev/shm")->UseRealTime();
BENCHMARK_CAPTURE(WriteBare, memory, "/dev/shm")->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityNone);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
