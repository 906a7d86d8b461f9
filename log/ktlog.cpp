#include "ktlog.h"

#include <libproc2/pids.h>
#include <unistd.h>

#include <cstdarg>

#include "kterrno.h"
#include "ktlogmanager.h"

void ktLog(ktLogPriority aPriority, char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    ktLogManager::WriteTextMessage(kLogFileTypeGeneric, aPriority, nullptr, aFormat, args);
    va_end(args);
}

void ktLogWithComponent(ktLogPriority aPriority, char const* aComponent, char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    ktLogManager::WriteTextMessage(kLogFileTypeGeneric, aPriority, aComponent, aFormat, args);
    va_end(args);
}

void ktLogSpecial(ktLogPriority aPriority, ktLogFileType aType, char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    ktLogManager::WriteTextMessage(aType, aPriority, nullptr, aFormat, args);
    va_end(args);
}

void ktLogEvent(ktLogPriority aPriority, char const* aEventName, char const* aSchema, char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    ktLogManager::WriteEvent(kLogFileTypeEvent, aPriority, aEventName, aSchema, aFormat, args);
    va_end(args);
}

void ktLogEventAndSetPreamble(char const* aEventName, char const* aSchema, char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    ktLogManager::WriteEventAndSetPreamble(kLogFileTypeEvent, aEventName, aSchema, aFormat, args);
    va_end(args);
}

void ktLogMemory(char const* aLabel)
{
    if (ktGetLogPriority(kLogFileTypeGeneric) > kLogPriorityInfo)
        return;
    const ktErrnoKeeper errnoKeeper;
    enum pids_item items[] = {PIDS_VM_SIZE, PIDS_VM_DATA};
    pids_info* info = nullptr;
    if (procps_pids_new(&info, items, 2) < 0)
        return;
    unsigned int self = static_cast<unsigned int>(getpid());
    pids_fetch const* const fetched = procps_pids_select(info, &self, 1, PIDS_SELECT_PID);
    if (fetched != nullptr && fetched->counts->total == 1) {
        pids_result const* const sizes = fetched->stacks[0]->head;
        // The formatter's %lu is 32 bits wide everywhere.
        ktLog(kLogPriorityInfo, "%s, MemoryUsage: VmSize: %lu kB, VmData: %lu kB", aLabel,
              static_cast<unsigned int>(sizes[0].result.ul_int), static_cast<unsigned int>(sizes[1].result.ul_int));
    }
    procps_pids_unref(&info);
}

void ktSetLogPriority(ktLogFileType aType, ktLogPriority aPriority)
{
    ktLogManager::SetLogPriority(aType, aPriority);
}

ktLogPriority ktGetLogPriority(ktLogFileType aType)
{
    return ktLogManager::GetLogPriority(aType);
}

ktLogPriority ktGetDefaultLogPriorityByBuildType(int aBuildType)
{
    return aBuildType == 0 ? kLogPriorityInfo : kLogPriorityDebug;
}

int ktGetLogFDForCrashReporting(ktLogFileType aType)
{
    return ktLogManager::GetLogFDForCrashReporting(aType);
}
