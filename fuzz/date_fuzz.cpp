// Texts as dates: a time, or 0, and a time that is written out and read again is the same.
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "kttime.h"

namespace {

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

std::string Written(long long aTime)
{
    char clock[16], date[24];
    ktGetFormattedTime(aTime, kTimeFormat24Hours | kTimeFormatSeconds | kTimeFormatNumericDate, clock, sizeof clock,
                       date, sizeof date);
    return std::string(date) + "-" + clock;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*aCount*/, char*** /*aArguments*/)
{
    setenv("TZ", "<+0530>-5:30", 1);  // one offset at all times
    tzset();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    const std::string text(reinterpret_cast<char const*>(aData), aSize);
    const long long time = GetDateStringToUTC(text.c_str());
    Check(GetDateStringToUTC(text.c_str()) == time);
    constexpr long long kFirst = -62135596800, kLast = 971890876800;  // the years 1 to 32767
    Check(time > kFirst - 400000 && time < kLast + 500000);
    if (time > kFirst + 86400 && time < kLast)
        Check(GetDateStringToUTC(Written(time).c_str()) == time);
    return 0;
}
