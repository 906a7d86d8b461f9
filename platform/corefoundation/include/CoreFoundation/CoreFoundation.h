/// @file
/// The whole of this CoreFoundation: a subset that is small and complete in what it declares.
///
/// Ownership follows the names: a function with Create or Copy in its name gives the caller a reference, which goes
/// back through CFRelease(); one with Get does not. Objects that do not change may be shared between threads; one that
/// is mutable belongs to one thread at a time. Reference counts are atomic.
///
/// When there is no memory, a function that creates returns null, and one that changes an object leaves it as it was,
/// which shows in its length or count. A null object is answered with null, 0 or false, never with a crash. Ranges and
/// indices outside of an object are cut to it.
#pragma once

#include "CFArray.h"
#include "CFBase.h"
#include "CFBundle.h"
#include "CFData.h"
#include "CFDate.h"
#include "CFDictionary.h"
#include "CFError.h"
#include "CFLocale.h"
#include "CFNumber.h"
#include "CFPropertyList.h"
#include "CFString.h"
#include "CFURL.h"
#include "CFUUID.h"
