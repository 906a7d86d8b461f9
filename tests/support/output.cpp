#include "support/output.h"

#include <dlfcn.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "support/filefault.h"

namespace {

std::mutex sMutex;
OutputTap* sTap = nullptr;

ssize_t Take(OutputTap& aTap, char const* aData, std::size_t aLength)
{
    ++aTap.mWrites;
    auto outcome = static_cast<ssize_t>(aLength);
    if (!aTap.mPlan.empty()) {
        outcome = aTap.mPlan.front();
        aTap.mPlan.erase(aTap.mPlan.begin());
    }
    errno = outcome < 0 ? static_cast<int>(-outcome) : ERANGE;  // a success says nothing of errno
    if (outcome < 0)
        return -1;
    outcome = std::min(outcome, static_cast<ssize_t>(aLength));
    aTap.mText.append(aData, static_cast<std::size_t>(outcome));
    return outcome;
}

}  // namespace

// These stand in front of the C library's, for this program and for the libraries that it uses.
extern "C" {
ssize_t write(int aFD, void const* aData, std::size_t aLength)
{
    using Write = ssize_t (*)(int, void const*, std::size_t);
    static const Write next = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "write"));
    {
        const std::lock_guard<std::mutex> guard(sMutex);
        if (sTap != nullptr && sTap->mDescriptor == aFD)
            return Take(*sTap, static_cast<char const*>(aData), aLength);
    }
    if (aFD != 2 && FileCallFails(FailNthCall::kWrite))  // log lines are nobody's file here
        return -1;
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
    if (sTap != nullptr)
        sTap->mReports.emplace_back(text);
}
}

OutputTap::OutputTap()
{
    mText.reserve(65536);  // what is taken while allocations fail
    const std::lock_guard<std::mutex> guard(sMutex);
    sTap = this;
}

OutputTap::~OutputTap()
{
    const std::lock_guard<std::mutex> guard(sMutex);
    sTap = nullptr;
}

bool OutputTap::Has(std::string const& aText) const { return mText.find(aText) != std::string::npos; }
