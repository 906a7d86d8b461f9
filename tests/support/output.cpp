#include "support/output.h"

#include <dlfcn.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

struct Taken {
    std::string mText;
    int mWrites = 0;
    std::vector<int> mPlan;
    std::vector<std::string> mReports;
};

std::mutex sMutex;
bool sIsTapped = false;
Taken sTaken;

ssize_t Take(char const* aData, std::size_t aLength)
{
    ++sTaken.mWrites;
    int outcome = static_cast<int>(aLength);
    if (!sTaken.mPlan.empty()) {
        outcome = sTaken.mPlan.front();
        sTaken.mPlan.erase(sTaken.mPlan.begin());
    }
    if (outcome < 0) {
        errno = -outcome;
        return -1;
    }
    const std::size_t taken = std::min(aLength, static_cast<std::size_t>(outcome));
    sTaken.mText.append(aData, taken);
    return static_cast<ssize_t>(taken);
}

}  // namespace

// These stand in front of the C library's, for this program and for the libraries that it uses.
extern "C" {

ssize_t write(int aFD, void const* aData, std::size_t aLength)
{
    using Write = ssize_t (*)(int, void const*, std::size_t);
    static const Write next = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "write"));
    if (aFD == STDERR_FILENO) {
        const std::lock_guard<std::mutex> guard(sMutex);
        if (sIsTapped)
            return Take(static_cast<char const*>(aData), aLength);
    }
    return next(aFD, aData, aLength);
}

void syslog(int /*aPriority*/, char const* aFormat, ...)
{
    char text[512];
    va_list args;
    va_start(args, aFormat);
    std::vsnprintf(text, sizeof text, aFormat, args);
    va_end(args);
    const std::lock_guard<std::mutex> guard(sMutex);
    sTaken.mReports.emplace_back(text);
}
}

OutputTap::OutputTap()
{
    const std::lock_guard<std::mutex> guard(sMutex);
    sTaken = Taken();
    sIsTapped = true;
}

OutputTap::~OutputTap()
{
    const std::lock_guard<std::mutex> guard(sMutex);
    sIsTapped = false;
}

void OutputTap::Plan(std::vector<int> aOutcomes)
{
    const std::lock_guard<std::mutex> guard(sMutex);
    sTaken.mPlan = std::move(aOutcomes);
}

std::string OutputTap::Text() const
{
    const std::lock_guard<std::mutex> guard(sMutex);
    return sTaken.mText;
}

int OutputTap::Writes() const
{
    const std::lock_guard<std::mutex> guard(sMutex);
    return sTaken.mWrites;
}

std::vector<std::string> OutputTap::Reports() const
{
    const std::lock_guard<std::mutex> guard(sMutex);
    return sTaken.mReports;
}
