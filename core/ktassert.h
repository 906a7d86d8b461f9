/// @file
/// The one way to report that a sanity condition does not hold.
#pragma once

/// Logs a failed condition at critical priority. Nothing is aborted: the caller goes on with its fallback.
///
/// `aFile` and `aLine` name the place by which the field knows the report; they stay the same when code moves.
/// @param aComponent the source's component, such as "event publisher"; null for sources that have none.
/// @param aCondition the condition as it reads in the report. @param aFile base name of the source, no extension.
void ktReportAssertion(char const* aComponent, char const* aCondition, char const* aFile, int aLine);

/// Reports a condition that does not hold. @return whether it holds.
inline bool ktCheck(bool aHolds, char const* aComponent, char const* aCondition, char const* aFile, int aLine)
{
    if (!aHolds)
        ktReportAssertion(aComponent, aCondition, aFile, aLine);
    return aHolds;
}
