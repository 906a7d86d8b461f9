/// @file
/// The words that every other header uses: the export mark, the boolean, the result type and its codes.
#pragma once

/// Marks what programs outside the library may link to; everything else stays hidden.
#define KT_EXPORT __attribute__((visibility("default")))
/// Takes a private function out of a class that is exported as a whole.
#define KT_HIDDEN __attribute__((visibility("hidden")))

/// Result of nearly every operation: 0 is success, a negative value names the failure.
typedef int ktError;

/// The system's boolean, 0 for false and anything else for true. A type of its own so that it overloads apart from
/// `int` and `bool`.
typedef unsigned char ktBOOL;

/// The result codes. Each operation's comment says which of them it can return.
enum : ktError {
    kErrNone = 0,                 ///< success
    kErrGeneric = -1,             ///< the operating system refused: file system, size, scheduling
    kErrNoMemory = -2,            ///< allocation failed, or an object that is needed is missing
    kErrAlreadyInitialised = -3,  ///< `Init` was called before; the object is left as it was
    kErrKeyNotFound = -4,         ///< no such key
    kErrBadValue = -5,            ///< value malformed, too large or missing; bad argument
    kErrNoRoom = -6,              ///< index out of range, or no room
    kErrRefused = -7,             ///< state or argument not acceptable; no lock to be had; registration refused
    kErrParse = -8,               ///< text could not be parsed
    kErrNotInitialised = -9,      ///< used before `Init`
    kErrWrongKind = -12,          ///< wrong kind of object or event for the operation
    kErrDecode = -13,             ///< encoded text could not be decoded
    kErrNotOpen = -15,            ///< not open; entry not found
    kErrEmpty = -17,              ///< not found, or nothing there
    kErrAlreadyPresent = -18,     ///< already there
    kErrInvalidState = -22,       ///< not possible in this state
    kErrNotHandled = -27,         ///< event or descriptor belongs to somebody else
    kErrOpen = -100,              ///< file could not be opened
    kErrRead = -102,              ///< file could not be read
    kErrWrite = -103,             ///< write, sync or copy failed
    kErrFileInfo = -107,          ///< no information about the file
    kErrUnknownObserver = -9999,  ///< the path observer failed in a way that has no code of ours
};
