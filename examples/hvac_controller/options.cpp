#include "options.h"

#include <getopt.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "printable.h"

char const kUsage[] =
    "Usage: hvac_controller [OPTION...]\n"
    "Controls a house from a recorded trace of its temperatures.\n"
    "\n"
    "  --input FILE     the trace (default: a week at five minutes, beside the program's source)\n"
    "  --config FILE    set points and schedule (default: controller.xml, beside the source)\n"
    "  --state FOLDER   where settings and history are kept from run to run (default: hvac_state)\n"
    "  --set KEY=VALUE  change a set point of the configuration, for this run and those to come\n"
    "  --zone NAME      the time zone of the schedule, such as Europe/Berlin (default: the machine's)\n"
    "  --speed N        run N times faster than life (default: 20160, a week in half a minute)\n"
    "  --hold           stay when the trace has ended, until SIGINT or SIGTERM\n"
    "  --help           print this and leave\n";

namespace {

constexpr char kZones[] = "/usr/share/zoneinfo/";

enum Option { kInput = 1, kConfig, kState, kSet, kZone, kSpeed, kHold, kHelp };

constexpr option kOptions[] = {
    {"input", required_argument, nullptr, kInput},
    {"config", required_argument, nullptr, kConfig},
    {"state", required_argument, nullptr, kState},
    {"set", required_argument, nullptr, kSet},
    {"zone", required_argument, nullptr, kZone},
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

bool IsZone(std::string const& aName)
{
    if (aName.empty() || aName.front() == '/' || aName.find("..") != std::string::npos)
        return false;
    char magic[5] = "";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen((kZones + aName).c_str(), "re"),
                                                               &std::fclose);
    return file != nullptr && std::fread(magic, 1, 4, file.get()) == 4 && std::strcmp(magic, "TZif") == 0;
}

/// Takes an option over whose argument is any text. @return false when it is another option.
bool TakeText(int aChoice, Options& aOptions)
{
    if (aChoice == kSet)
        aOptions.mChanges.emplace_back(optarg);
    else if (aChoice == kInput)
        aOptions.mInput = optarg;
    else if (aChoice == kConfig)
        aOptions.mConfig = optarg;
    else if (aChoice == kState)
        aOptions.mState = optarg;
    else
        return false;
    return true;
}

bool TakeOption(int aChoice, Options& aOptions, std::string& aFault)
{
    if (TakeText(aChoice, aOptions))
        return true;
    if (aChoice == kHold) {
        aOptions.mHold = true;
    } else if (aChoice == kHelp) {
        aOptions.mWantHelp = true;
    } else if (aChoice == kZone) {
        aOptions.mZone = optarg;
        if (!IsZone(aOptions.mZone))
            aFault = std::string("--zone wants a zone below ") + kZones + ", not '" + Printable(optarg) + "'";
    } else if (aChoice == kSpeed) {
        if (!ParseSpeed(optarg, aOptions.mSpeed))
            aFault = "--speed wants a number above 0, not '" + Printable(optarg) + "'";
    }
    return aFault.empty();
}

}  // namespace

bool ParseOptions(int aCount, char* aArguments[], Options& aOptions, std::string& aFault)
{
    opterr = 0;
    int choice = 0;
    while ((choice = getopt_long(aCount, aArguments, "", kOptions, nullptr)) != -1) {
        if (choice == '?') {
            const std::string wrong =
                optopt > ' ' && optopt < 127 ? std::string("-") + static_cast<char>(optopt) : aArguments[optind - 1];
            aFault = "cannot use '" + Printable(wrong) + "', see --help";
            return false;
        }
        if (!TakeOption(choice, aOptions, aFault))
            return false;
    }
    if (optind < aCount)
        aFault = "cannot use '" + Printable(aArguments[optind]) + "', see --help";
    return optind == aCount;
}
