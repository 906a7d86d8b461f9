// What was set and written is read back, and what was read from any file too.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "ktlog.h"
#include "ktsettings.h"

namespace {

using Entries = std::map<std::string, std::string>;

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

/// A folder of the process's own, in memory where there is some: writing waits for the disk.
struct Folder {
    Folder()
    {
        char path[] = "/dev/shm/settings_fuzz.XXXXXX";
        mPath = mkdtemp(path) != nullptr ? path : (std::filesystem::create_directory("settings_fuzz"), "settings_fuzz");
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder()
    {
        std::filesystem::remove_all(mPath);
    }
    std::string mPath;
};

Entries EntriesOf(ktConfig& aConfig)
{
    static Entries sEntries;
    sEntries.clear();
    aConfig.Log("", [](PLHashEntry* aEntry, int, void*) {
        sEntries[static_cast<char const*>(aEntry->key)] = static_cast<char const*>(aEntry->value);
        return 0;
    });
    return sEntries;
}

/// A key that looks like entries: the only kind that is not read back.
bool IsAmbiguous(std::string const& aKey)
{
    const std::size_t divider = aKey.find("\" value=\"");
    return (aKey + '"').find("\n  <s key=\"") != std::string::npos ||
           (divider != std::string::npos && (aKey.find("\"/>\n", divider) != std::string::npos ||
                                             aKey.find(" key=", aKey.find("\"/>", divider)) != std::string::npos));
}

/// Writes the settings and compares what is read with what they have.
void CheckWritten(ktSettings& aSettings, char const* aPath)
{
    Check(aSettings.SetValue("last", "change") == 0 && aSettings.Write() == 0);
    Entries expected = EntriesOf(aSettings);
    bool isPlain = true;
    for (auto& [key, value] : expected) {
        if (IsAmbiguous(key))
            return;
        value.resize(std::min<std::size_t>(value.size(), 2047));
        isPlain = isPlain && key.find_first_of("&\"\t\r\n") == std::string::npos;
    }
    ktSettings again;
    Check(again.Init(aPath) == 0 && EntriesOf(again) == expected);
    ktConfig config;
    Check(config.Init() == 0);
    if (config.AddConfig(aPath) == 0 && isPlain)
        Check(EntriesOf(config) == expected);
}

}  // namespace

/// Behind an even first byte: keys and values by turns, each with a zero behind it. Behind an odd one: a file.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    static const Folder sFolder;
    static const std::string sPath = sFolder.mPath + "/settings";
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityNone);
    if (aSize == 0)
        return 0;
    const std::string rest(reinterpret_cast<char const*>(aData) + 1, aSize - 1);
    unlink(sPath.c_str());
    ktSettings settings;
    if (aData[0] % 2 != 0) {
        std::ofstream(sPath, std::ios::binary) << rest;
        const ktError result = settings.Init(sPath.c_str());
        Check(result == 0 || result == -8);
        CheckWritten(settings, sPath.c_str());
        struct stat status = {};
        Check((stat((sPath + ".bad").c_str(), &status) == 0) == (result != 0));
        unlink((sPath + ".bad").c_str());
        return 0;
    }
    Check(settings.Init(sPath.c_str()) == -100);
    for (std::size_t key = 0, value = 0; (value = rest.find('\0', key)) != std::string::npos;) {
        Check(settings.SetValue(rest.c_str() + key, rest.c_str() + value + 1) == 0);
        key = rest.find('\0', value + 1);
        key = key == std::string::npos ? rest.size() : key + 1;
    }
    CheckWritten(settings, sPath.c_str());
    return 0;
}
