#include "printable.h"

#include <kttime.h>

#include <cctype>

std::string Printable(std::string aText)
{
    for (char& character : aText) {
        if (std::iscntrl(static_cast<unsigned char>(character)) != 0)
            character = '?';
    }
    return aText;
}

std::string LocalTime(long long aTime)
{
    char time[16] = "";
    char date[32] = "";
    ktGetFormattedTime(aTime, kTimeFormat24Hours, time, sizeof time, date, sizeof date);
    return std::string(date) + ", " + time;
}
