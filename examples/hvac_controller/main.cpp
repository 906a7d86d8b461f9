// Controls a house from a recorded trace of its temperatures: a device application on libktappcore.
#include <ktfile.h>
#include <ktlogmanager.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "app.h"
#include "preferences.h"
#include "printable.h"

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitBadInput = 2;

int Refuse(std::string const& aFault)
{
    std::fprintf(stderr, "hvac_controller: %s\n", aFault.c_str());
    return kExitBadInput;
}

/// While there is one thread.
void SetUpProcess(Options const& aOptions)
{
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    ktLogManager::SetLogIdentifier(host);
    if (!aOptions.mZone.empty())
        setenv("TZ", aOptions.mZone.c_str(), 1);
    tzset();
}

}  // namespace

int main(int aCount, char* aArguments[])
{
    Options options;
    options.mInput = HVAC_DEFAULT_TRACE;
    options.mConfig = HVAC_DEFAULT_CONFIG;
    std::string fault;
    if (!ParseOptions(aCount, aArguments, options, fault))
        return Refuse(fault);
    if (options.mWantHelp) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    Trace trace;
    if (!trace.Load(options.mInput, fault))
        return Refuse(fault);
    SetUpProcess(options);
    if (ktMkdir(options.mState.c_str(), 0755) != 0)
        return Refuse("cannot keep anything in '" + Printable(options.mState) + "'");
    Preferences preferences;
    Schedule schedule;
    if (!preferences.Load(options, fault) || !schedule.Load(preferences, fault) || !preferences.Save(fault))
        return Refuse(fault);
    App app(trace, schedule, options);
    if (app.Run() != kErrNone)
        return kExitFailed;
    const bool isKept = app.Finish();
    if (std::fflush(stdout) != 0) {
        std::perror("hvac_controller: cannot print the report");
        return kExitFailed;
    }
    return isKept ? 0 : kExitFailed;
}
