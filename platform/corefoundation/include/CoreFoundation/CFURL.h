/// @file
/// Places in the file system.
#pragma once

#include "CFBase.h"

typedef struct __CFURL const* CFURLRef;

/// How paths are written. POSIX paths are the only ones here.
enum CFURLPathStyle : CFIndex { kCFURLPOSIXPathStyle = 0 };

CF_EXPORT CFTypeID CFURLGetTypeID();
/// A relative path counts from the working directory of this moment. Repeated slashes, slashes at the end and "." are
/// left out; ".." stays, since what it leads to depends on links. The file need not exist.
/// @param aIsDirectory what the URL will say of itself; the root is a directory in any case.
/// @return null for an empty path, one with a zero character or half of a surrogate pair in it, and when the working
///         directory is not known.
CF_EXPORT CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef aAllocator, CFStringRef aPath, CFURLPathStyle aStyle,
                                                 Boolean aIsDirectory);
/// The same from the bytes of a path. @return null also when they are not UTF-8.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef aAllocator, UInt8 const* aBytes,
                                                           CFIndex aCount, Boolean aIsDirectory);
/// The directory that holds it; of the root, the root. Behind ".." another one is added.
CF_EXPORT CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef aAllocator, CFURLRef aUrl);
/// @param aComponent may be several, with slashes between. @return null for what no file can be called.
CF_EXPORT CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef aAllocator, CFURLRef aUrl,
                                                         CFStringRef aComponent, Boolean aIsDirectory);
CF_EXPORT Boolean CFURLHasDirectoryPath(CFURLRef aUrl);
/// The name without the directories; "/" for the root.
CF_EXPORT CFStringRef CFURLCopyLastPathComponent(CFURLRef aUrl);
/// The whole path, without a slash at its end unless it is the root's.
CF_EXPORT CFStringRef CFURLCopyFileSystemPath(CFURLRef aUrl, CFURLPathStyle aStyle);
/// The path's bytes, terminated. @param aResolve unused: the path is always a whole one.
/// @return false when `aSize` bytes are too few; the buffer is then untouched.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef aUrl, Boolean aResolve, UInt8* aBuffer, CFIndex aSize);
/// "file://" and the path, percent-encoded, with a slash behind a directory.
CF_EXPORT CFStringRef CFURLGetString(CFURLRef aUrl);
