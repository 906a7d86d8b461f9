/// @file
/// Facts about the running process.
#pragma once

namespace kt::Core::Os {

/// The base name that the program was started under. Any thread; never waits.
/// @return never null; stays valid and the same for the life of the process.
char const* GetProcessName();

}  // namespace kt::Core::Os
