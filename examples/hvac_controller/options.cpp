#include "options.h"

#include <getopt.h>

#include <charconv>
#include <cmath>
#include <cstring>

char const kUsage[] = "Usage: hvac_controller [--input FILE] [--speed N] [--hold]\n"
                      "Controls a house from a recorded trace of its temperatures.\n"
                      "\n"
                      "  --input FILE  the trace (default: a week at five minutes, beside the program's source)\n"
                      "  --speed N     run N times faster than life (default: 20160, a week in half a minute)\n"
                      "  --hold        stay when the trace has ended, until SIGINT or SIGTERM\n"
                      "  --help        print this and leave\n";

namespace {

enum Option { kInput = 1, kSpeed, kHold, kHelp };

constexpr option kOptions[] = {
    {"input", required_argument, nullptr, kInput},
    {"speed", required_argument, nullptr, kSpeed},
    {"hold", no_argument, nullptr, kHold},
    {"help", no_argument, nullptr, kHelp},
    {nullptr, 0, nullptr, 0},
};

bool ParseSpeed(char const* aText, double& aSpeed)
{
    char const* const end = aText + std::strlen(aText);
    const auto parsed = std::from_chars(aText, end, aSpeed);
    return parsed.ec == std::errc() && parsed.ptr == end && std::isfinite(aSpeed) && aSpeed > 0;
}

}  // namespace

bool ParseOptions(int aCount, char* aArguments[], Options& aOptions, std::string& aFault)
{
    opterr = 0;
    int choice = 0;
    while ((choice = getopt_long(aCount, aArguments, "", kOptions, nullptr)) != -1) {
        if (choice == kInput) {
            aOptions.mInput = optarg;
        } else if (choice == kHold) {
            aOptions.mHold = true;
        } else if (choice == kHelp) {
            aOptions.mWantHelp = true;
        } else if (choice != kSpeed) {
            const std::string wrong =
                optopt > ' ' ? std::string("-") + static_cast<char>(optopt) : aArguments[optind - 1];
            aFault = "cannot use '" + wrong + "', see --help";
            return false;
        } else if (!ParseSpeed(optarg, aOptions.mSpeed)) {
            aFault = std::string("--speed wants a number above 0, not '") + optarg + "'";
            return false;
        }
    }
    if (optind < aCount)
        aFault = std::string("cannot use '") + aArguments[optind] + "', see --help";
    return optind == aCount;
}
