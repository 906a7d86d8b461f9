/// @file
/// Directories that hold a program's resources, and its texts in several languages.
///
/// Any thread may use a bundle. What has been read of it is kept: changes of its files are seen by bundles that are
/// opened later. Files of more than 16 MiB count as missing, and one that is there and could not be read this
/// time, for want of memory or descriptors, is tried again the next time.
#pragma once

#include "CFArray.h"
#include "CFBase.h"
#include "CFDictionary.h"
#include "CFURL.h"

typedef struct __CFBundle* CFBundleRef;

CF_EXPORT CFStringRef const kCFBundleIdentifierKey;         ///< "CFBundleIdentifier"
CF_EXPORT CFStringRef const kCFBundleNameKey;               ///< "CFBundleName"
CF_EXPORT CFStringRef const kCFBundleVersionKey;            ///< "CFBundleVersion"
CF_EXPORT CFStringRef const kCFBundleDevelopmentRegionKey;  ///< "CFBundleDevelopmentRegion"
CF_EXPORT CFStringRef const kCFBundleLocalizationsKey;      ///< "CFBundleLocalizations": an array of identifiers

CF_EXPORT CFTypeID CFBundleGetTypeID();
/// The bundle of the running program, in the directory of its file: made once, and not destroyed by any release. May
/// block for the file system the first time. Null when that directory is not known.
CF_EXPORT CFBundleRef CFBundleGetMainBundle();
/// Opens a directory as a bundle; its information comes from "Info.plist" there, in "Resources" or in "Contents". May
/// block for the file system. @return null when it is not a directory, and when its information could not be read this
/// time.
CF_EXPORT CFBundleRef CFBundleCreate(CFAllocatorRef aAllocator, CFURLRef aUrl);
CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef aBundle);
/// Empty when the bundle has no information, or none that is a dictionary. Values are of whatever kind the file says.
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef aBundle);
CF_EXPORT CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef aBundle, CFStringRef aKey);
/// Null when there is none, or it is no string.
CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef aBundle);

/// Looks for the file "aName.aType" in the bundle at `aUrl`: there, in "Resources" and in "Contents/Resources", and in
/// the subdirectory of those when one is given; nowhere else, so that localised resources are found by their directory
/// only. A name that has ".." in it leads where it leads: a bundle is no fence. May block for the file system.
/// @param aType, aSubdirectory may be null or empty.
/// @return null when there is none.
CF_EXPORT CFURLRef CFBundleCopyResourceURLInDirectory(CFURLRef aUrl, CFStringRef aName, CFStringRef aType,
                                                      CFStringRef aSubdirectory);
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef aBundle, CFStringRef aName, CFStringRef aType,
                                           CFStringRef aSubdirectory);
/// The text for `aKey` in a strings table of the bundle, which is read once and kept, even if there is none. May block
/// for the file system the first time, and then for another thread that reads a table. The table is the first file
/// "aTable.strings" where resources are looked for, else in the ".lproj" directory of the development region there; one
/// that is no property list counts as missing, and CFPropertyListCreateWithData() says why it is none.
/// @param aTable null or empty for "Localizable".
/// @return when the table or a string for the key is missing, `aValue`; when that is null or empty, the key. Null
///         without a key.
CF_EXPORT CFStringRef CFBundleCopyLocalizedString(CFBundleRef aBundle, CFStringRef aKey, CFStringRef aValue,
                                                  CFStringRef aTable);
