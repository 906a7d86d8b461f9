/// @file
/// Copies a file so that nobody ever sees half of it.
#pragma once

/// Copies the contents and the permissions of a regular file, as a whole or not at all. Any thread; blocks for the file
/// systems, and for nothing that is behind a pipe or a device. Prints nothing.
///
/// The copy is written beside the target, under the name ".bwcopy-" with six more characters, brought to the disk, and
/// only then given the target's name: readers and power cuts find the old file or the new one, whole. What a power cut
/// can leave behind is a file of that other name. A target that is a symbolic link is itself replaced: what it leads to
/// is not touched, since that may be the master that others copy from. Copying a file onto itself does no harm. The
/// owner, the times and extended attributes are not copied, nor is it noticed when somebody changes the source
/// meanwhile. The target's folder must be readable, to be brought to the disk; without `aReplace` its file system must
/// have hard links.
/// @param aSource a link is followed. @param aReplace 0 leaves a target that exists alone, and fails.
/// @return 1 when the target is the copy, on the disk; 0 when not, and then `errno` says why (EINVAL for a null path or
///         a source that is no file, EISDIR for a folder), the target is as it was, and nothing is left beside it. Only
///         when the folder cannot be brought to the disk, which is the last step, is the target new all the same, and a
///         power cut may bring the old one back.
extern "C" int BWCopyFile(char const* aSource, char const* aTarget, int aReplace);
