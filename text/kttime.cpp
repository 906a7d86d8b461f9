#include "kttime.h"

#include <ctime>

long long ktGetUptimeInMicroseconds()
{
    timespec now = {};
    if (clock_gettime(CLOCK_BOOTTIME, &now) != 0)
        return 0;
    return static_cast<long long>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}
