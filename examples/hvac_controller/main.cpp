// Controls a house from a recorded trace of its temperatures: a device application on libktappcore.
#include <cstdio>

#include "app.h"

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitBadInput = 2;

int Refuse(std::string const& aFault)
{
    std::fprintf(stderr, "hvac_controller: %s\n", aFault.c_str());
    return kExitBadInput;
}

}  // namespace

int main(int aCount, char* aArguments[])
{
    Options options;
    options.mInput = HVAC_DEFAULT_TRACE;
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
    App app(trace, options);
    if (app.Run() != kErrNone)
        return kExitFailed;
    app.PrintReport();
    if (std::fflush(stdout) != 0) {
        std::perror("hvac_controller: cannot print the report");
        return kExitFailed;
    }
    return 0;
}
