/// @file
/// The old style of property lists, which is also that of strings tables.
#pragma once

#include "cfplist.h"

namespace cf {

/// @param aText well-formed UTF-8. @return null with `aProblem` set.
Owned<CFTypeRef> ReadOldPlist(std::string_view aText, PlistProblem& aProblem);

}  // namespace cf
