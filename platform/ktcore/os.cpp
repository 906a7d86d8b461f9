#include "ktcore/os.h"

#include <cerrno>

char const* kt::Core::Os::GetProcessName()
{
    // Kept from the first call on: the C library's variable may be set anew by the program.
    static char const* const name = program_invocation_short_name != nullptr ? program_invocation_short_name : "";
    return name;
}
