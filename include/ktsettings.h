/// @file
/// Settings that outlive the process.
#pragma once

#include <prlock.h>

#include "ktconfig.h"
#include "ktstring.h"

/// Writes a value in the form that it has in a settings file: a quote, an ampersand and every byte below 0x20 or above
/// 0x7E become "&#N;" with their decimal value, the others stay as they are. Any thread; neither allocates nor waits.
///
/// Only the escapes are charged against `aOutSize`: the last one is cut, and the value ends, when less than two bytes
/// of it are left. So `aOut` needs room for `aOutSize` bytes and, besides, one for each byte that is copied as it is.
/// @param aIn null is an empty value. @param aOut null is left alone, else it gets a zero whatever `aOutSize` is.
KT_EXPORT void escape_value(char const* aIn, char* aOut, int aOutSize);

/// Keys and values that the user changes, kept in a file.
///
/// Values are text, bytes that end with a zero; docs/formats.md describes the file and the forms of the other types.
/// Init() belongs to the owner; then any thread may read, set and write. All of it takes one lock, which Write() holds
/// until the file is on the disk: until then others wait. Nothing is written but by Write(). What ktConfig has and is
/// not repeated here takes no lock, and is for the owner while nobody else sets.
///
/// A power cut at any moment leaves the old file or the new one. A file that was there but could not be read whole is
/// never lost: the first write that replaces it keeps it under its name with ".bad" behind it. Where no hard link can
/// be made that is a move, and for the moment between the two there is no file under the name itself. The folder must
/// be the program's own: whatever has the file's name with ".tmp" behind it is written over.
///
/// What was written is read back, whatever bytes are in keys and values, but for values of more than 2,047 bytes, which
/// reading cuts, and for keys that look like entries: with a line that begins with `  <s key=`, or with `" value="` and
/// later `"/>` and then the end of a line or ` key=`. A file that has this form in every line is read in it and not as
/// XML, so that a key is what stands between the quotes, entities and all. It does not merge what two processes write
/// to one file.
class KT_EXPORT ktSettings : public ktConfig {
public:
    /// Empty and writable; before Init() every key is absent and nothing can be set.
    ktSettings();
    /// Writes nothing. The owner, when every call of another thread has returned.
    ~ktSettings() override;

    /// Reads the file that Write() will write; called again, starts over with another one. Any configuration file will
    /// do. What Write() wrote is read in its own form, also where XML would refuse it; so is what is left of it when it
    /// was damaged, and the log says how many entries that is. Blocks for the file system.
    /// @return as ktConfig::AddConfig(), which also tells what is logged: -100 when there is no file, and then the
    ///         store is empty and usable; -8 also for a damaged file, whose whole entries are in the store. Besides: -7
    ///         when no lock can be had; -2 when there is no memory for the path, or it is not UTF-8. Both are logged,
    ///         and then nothing can be set. A path that is null or empty gives -100, and a store that is never written.
    virtual ktError Init(char const* aPath);
    /// Called on the setting thread, without the lock, after each SetValue() and RemoveKey(), failed or not. Does
    /// nothing itself.
    /// @param aValue null for a key that was removed.
    virtual void DidSetValue(char const* aKey, char const* aValue);

    // Reading: the operations of ktConfig, under the lock.

    /// @return the value, which another thread frees when it sets the same key; null when the key is absent.
    char const* GetValue(char const* aKey) const;
    ktError GetPathValue(char const* aKey, ktString& aOut) const;
    int GetIntValue(char const* aKey) const;
    float GetFloatValue(char const* aKey) const;
    int GetIntValues(char const* aKey, char aDelimiter, ktIntArray& aOut) const;
    long long GetTimeValue(char const* aKey) const;
    ktError GetBinaryBlobValue(char const* aKey, char* aBuffer, unsigned int& aLength) const;
    bool HasValue(char const* aKey) const;
    /// @return the number that the value begins with, in base 0, and 0 when the key is absent. Logs when it is absent,
    ///         does not fit, or something follows it.
    long long GetLong64Value(char const* aKey) const;
    /// @return whether the value is a number other than 0.
    bool GetBoolValue(char const* aKey) const;
    /// @return true when the key is present and its number was not `aValue`, which is that number now.
    bool UpdateIntIfPresent(int& aValue, char const* aKey) const;

    // Setting. What fails counts as a change too, and is written.

    /// Keeps copies of the two. They may be values of the store, but no part of the value that is replaced.
    /// @return as ktConfig::AddEntry().
    ktError SetValue(char const* aKey, char const* aValue);
    ktError SetValue(char const* aKey, int aValue);
    ktError SetValue(char const* aKey, long long aValue);
    ktError SetValue(char const* aKey, unsigned long long aValue);
    /// With six decimals and a period in every locale, and cut behind 31 characters: only numbers from 1e31 on lose
    /// digits that count, and come back as smaller ones.
    ktError SetValue(char const* aKey, float aValue);
    /// As 1 or 0.
    ktError SetValue(char const* aKey, ktBOOL aValue);
    /// As base64. Of more than 1,535 bytes only so many are read back by another Init().
    /// @return 0, also when the text could not be stored; -5 for more than 5,120 bytes and for null data; -2 when there
    ///         is no memory to encode them. On these two nothing changes.
    ktError SetValue(char const* aKey, char const* aData, unsigned int aLength);
    /// Does not count as a change: the key leaves the file when a later one is written.
    /// @return 0; -17 when the key is absent.
    ktError RemoveKey(char const* aKey);

    // Writing.

    /// When this is off Write() does nothing, and changes wait for it to be on again.
    void SetWritability(ktBOOL aWritable);
    /// Replaces the file by the whole store if there was a change. Blocks for the disk, twice: for the file and for its
    /// folder. What cannot be written is logged.
    /// @return 0, also when there is nothing to do; -100 when the temporary file or the folder cannot be opened; -103
    ///         when writing, bringing to the disk, closing, keeping the old file or renaming fails; -2 when there is no
    ///         memory; -9 when Init() left no store. On failure the change still waits to be written; and the old file
    ///         is as before, unless it was the folder that failed: then the new one has its place, and there is nothing
    ///         left to write when it was only bringing the folder to the disk.
    ktError Write();
    /// Writes, and deletes the object, which must come from `new`. @return as Write().
    ktError Destroy();

private:
    KT_HIDDEN ktError ReadText(char* aText, int aSize, char const* aPath);
    KT_HIDDEN ktError Replace();
    KT_HIDDEN ktError MakeDurable(char const* aTemp, char const* aPath);

    // The order of the fields is the one that programs were built against.
    PRLock* mLock;     ///< guards the store and the fields below
    int mIsDirty;      ///< a change waits to be written
    ktBOOL mWritable;  ///< Write() may
    ktBOOL mKeepsOld;  ///< the file was not read whole: it must be kept when it is replaced
    ktString mFileName;
};
