/// @file
/// The log service of a process.
#pragma once

#include <cstdarg>

#include "ktlog.h"

/// Where the functions of ktlog.h lead. Every operation here may be called from any thread at any time.
///
/// No log of the process is open, so each record that passes its threshold goes to descriptor 2.
class KT_EXPORT ktLogManager {
public:
    /// @name Writing: see ktLog(), ktLogEvent() and ktLogEventAndSetPreamble()
    /// @{
    static void WriteTextMessage(ktLogFileType aType, ktLogPriority aPriority, char const* aComponent,
                                 char const* aFormat, va_list aArgs);
    static void WriteEvent(ktLogFileType aType, ktLogPriority aPriority, char const* aEventName, char const* aSchema,
                           char const* aFormat, va_list aArgs);
    static void WriteEventAndSetPreamble(ktLogFileType aType, char const* aEventName, char const* aSchema,
                                         char const* aFormat, va_list aArgs);
    /// @}

    /// @name Thresholds and descriptors: see the functions of the same names in ktlog.h
    /// @{
    static void SetLogPriority(ktLogFileType aType, ktLogPriority aPriority);
    static ktLogPriority GetLogPriority(ktLogFileType aType);
    static int GetLogFDForCrashReporting(ktLogFileType aType);
    /// @}

    /// The priority that a word of the configuration stands for; the match ignores case.
    /// @return -1 for an unknown word, or null.
    static ktLogPriority MapStringToLogPriority(char const* aWord);

    /// Sets the identifier that stands in each text line where a host's name would, at most 255 characters of it
    /// (lines show 64). Null is ignored. A line that is being formatted meanwhile may show parts of both.
    static void SetLogIdentifier(char const* aIdentifier);
};

/// The clock that stamps log records.
namespace ktLogManagerNS {

/// The time for the next record, in microseconds since 1970: the manual time if one is set, which then moves on by one
/// so that records stay distinct and ordered; otherwise the system's. Any thread.
KT_EXPORT long long GetInternalNow();
/// Sets the manual time; 0 returns to the system's clock. Any thread.
KT_EXPORT void SetInternalNow(long long aMicroseconds);
KT_EXPORT bool IsInternalNowManual();

}  // namespace ktLogManagerNS
