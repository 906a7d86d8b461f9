// Any bytes are a configuration that can be asked, or are refused.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include "ktarray.h"
#include "ktconfig.h"
#include "ktlog.h"

namespace {

using Entries = std::map<std::string, std::string>;

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

/// The configuration's entries, each asked for as every type.
Entries Ask(ktConfig& aConfig)
{
    static Entries sEntries;
    sEntries.clear();
    aConfig.Log("", [](PLHashEntry* aEntry, int, void*) {
        sEntries[static_cast<char const*>(aEntry->key)] = static_cast<char const*>(aEntry->value);
        return 0;
    });
    for (auto const& [key, value] : sEntries) {
        Check(value.size() <= 2047 && aConfig.GetValue(key.c_str()) == value);
        int number = 0;
        aConfig.GetIntValue(key.c_str(), number);
        Check(number == aConfig.GetIntValue(key.c_str()));
        ktIntArray numbers;
        Check(aConfig.GetIntValues(key.c_str(), ',', numbers) == numbers.GetNumElements());
        std::string bytes(1024, '\0');
        unsigned length = 1024;
        Check(aConfig.GetBinaryBlobValue(key.c_str(), bytes.data(), length) != 0 || length <= 1024);
    }
    return sEntries;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    static const int sFile = memfd_create("config", MFD_CLOEXEC);
    static const std::string sPath = "/proc/self/fd/" + std::to_string(sFile);
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityNone);
    Check(ftruncate(sFile, 0) == 0 && pwrite(sFile, aData, aSize, 0) == static_cast<ssize_t>(aSize));
    ktConfig config;
    Check(config.Init() == 0);
    const ktError result = config.AddConfig(sPath.c_str());
    Check(result == 0 || result == -8);
    const Entries entries = Ask(config);
    Check(result == 0 || entries.empty());
    Check(config.AddConfig(sPath.c_str()) == result && Ask(config) == entries);
    return 0;
}
