/// @file
/// The functions through which every part of the system logs.
///
/// They work from the first moment of the process to its last, from any thread and also in the child of a `fork`, and
/// return no error: a line that cannot go to its log goes to descriptor 2, and what that refuses too is reported to
/// syslog, once until it takes lines again. A message below its log's threshold costs one comparison. Any other is
/// formatted on the caller's stack (memory is allocated only for records of 1,280 bytes and more) and written with one
/// `write`, which may block for the descriptor. `errno` stays as it was. They are not meant for signal handlers.
///
/// Formats follow NSPR's `PR_snprintf`, not `printf`: `%ld` and `%lu` are 32 bits wide, `%lld` and `%llu` 64, `%zu` is
/// unknown. A format that ends inside a conversion ("at 100%") is written as it stands. The lines that come of it are
/// described in docs/formats.md.
#pragma once

#include "kttypes.h"

/// How much a message matters; more is greater. Any value may be used, these are the system's.
enum ktLogPriority : int {
    kLogPriorityDebug = 1,
    kLogPriorityInfo = 2,
    kLogPriorityWarning = 3,
    kLogPriorityCritical = 4,
    kLogPriorityNone = 100,  ///< as a threshold: nothing of the above is written
};

/// The four logs of a device.
enum ktLogFileType : unsigned int {
    kLogFileTypeGeneric = 0,       ///< "generic": text
    kLogFileTypeSystem = 1,        ///< "system": text, through ktLogSpecial()
    kLogFileTypeEvent = 2,         ///< "event": structured records
    kLogFileTypeKestrelEvent = 3,  ///< "kestrelevent": through ktLogSpecial()
};

extern "C" {

/// Writes a text message to the generic log.
KT_EXPORT void ktLog(ktLogPriority aPriority, char const* aFormat, ...);

/// The same, tagged with the component that speaks; null means none.
KT_EXPORT void ktLogWithComponent(ktLogPriority aPriority, char const* aComponent, char const* aFormat, ...);

/// Writes a text message to any of the logs.
KT_EXPORT void ktLogSpecial(ktLogPriority aPriority, ktLogFileType aType, char const* aFormat, ...);

/// Writes a record to the event log.
/// @param aSchema JSON that describes the fields of the formatted body, such as
///                "{ \"fields\": [{\"name\":\"Type\",\"type\":\"string\"}]}" for an event whose body is "%s".
KT_EXPORT void ktLogEvent(ktLogPriority aPriority, char const* aEventName, char const* aSchema, char const* aFormat,
                          ...);

/// Writes a record to the event log, whatever its threshold, and makes it the record that opens each new file of it.
/// @param aEventName, aSchema kept by the log, not copied: they must outlive it.
KT_EXPORT void ktLogEventAndSetPreamble(char const* aEventName, char const* aSchema, char const* aFormat, ...);

/// Writes the process's virtual and data size to the generic log, at priority 2; nothing when they cannot be read.
/// Reads `/proc`, and so may block briefly.
KT_EXPORT void ktLogMemory(char const* aLabel);

/// Sets a log's threshold: messages of a lesser priority are dropped. At first it is 0 and everything is written.
/// A type of 4 or more is ignored.
KT_EXPORT void ktSetLogPriority(ktLogFileType aType, ktLogPriority aPriority);

/// @return the log's threshold; -1 for a type of 4 or more.
KT_EXPORT ktLogPriority ktGetLogPriority(ktLogFileType aType);

/// @return the threshold for a kind of build: 2 for 0, otherwise 1.
KT_EXPORT ktLogPriority ktGetDefaultLogPriorityByBuildType(int aBuildType);

/// @return the descriptor of the log's open file, for a handler that reports a crash; 2 when there is none.
KT_EXPORT int ktGetLogFDForCrashReporting(ktLogFileType aType);
}
