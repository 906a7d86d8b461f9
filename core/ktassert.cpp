#include "ktassert.h"

#include "ktlog.h"

void ktReportAssertion(char const* aComponent, char const* aCondition, char const* aFile, int aLine)
{
    // The empty slots are a prefix in front of the condition and a message, with its separator, behind it.
    ktLogWithComponent(kLogPriorityCritical, aComponent, "%s%s%s%s, %s%sfile: %s, line: %d\n", "ASSERT: ", "", ": ",
                       aCondition, "", "", aFile, aLine);
}
