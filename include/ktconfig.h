/// @file
/// The reader of configuration files.
#pragma once

#include <plhash.h>

#include "kttypes.h"

class ktIntArray;
class ktString;
typedef struct _xmlNode xmlNode;  // NOLINT(bugprone-reserved-identifier): libxml2's, which programs need not know

/// Appends " ('key', 'value')" to the `ktString` that `aString` points at, for an entry that has both. Text that is not
/// UTF-8 is taken as ISO Latin-1.
/// @return 0: the enumeration goes on.
KT_EXPORT int config_logger(PLHashEntry* aEntry, int aIndex, void* aString);

/// Keys and values from configuration files, read once and then asked.
///
/// The owner fills it; once no more files are added any number of threads may ask it at the same time. docs/formats.md
/// describes the files. Keys and values are bytes that end with a zero: values in ISO Latin-1, keys as they stand in
/// the file when that is UTF-8 or ISO Latin-1, else in UTF-8. Asking neither allocates nor waits, unless it says so.
///
/// Reading is made for files that nobody vouches for. No other file and no network is read; nothing is printed;
/// entities that a document declares are replaced in attributes, up to 4,100 bytes in each and five million steps in a
/// file, and elements that hide in entities are not looked for. A file that libxml2 refuses (attributes of 10 MB, 256
/// levels of elements, entities that multiply) is refused as a whole, and so is one with more than 6,000 quotes, equals
/// signs and bars in one tag or in all declarations: attributes cost libxml2 the square of their number, a hundred
/// thousand take minutes. In encodings that are not based on ASCII they are not found. libxml2 sets itself up when the
/// library is loaded, and does not survive a lack of memory while it does.
///
/// Numbers are read in the width that they have on the device, in the same way in every locale: what `int` and
/// `unsigned int` cannot hold gives their nearest limit, and then `errno` is set. Base 0 means that 0x reads
/// hexadecimal, a leading 0 octal and anything else decimal, behind white space and a sign. Every failure of Init() and
/// of what adds entries is logged.
class KT_EXPORT ktConfig {
public:
    /// Without a store: every key is absent, and nothing can be added before Init().
    ktConfig();
    ktConfig(ktConfig const&) = delete;
    ktConfig& operator=(ktConfig const&) = delete;
    /// Frees every key and value.
    virtual ~ktConfig();

    /// Creates the store; called again, starts over with an empty one.
    /// @return 0; -2 when there is no memory, and then there is no store.
    ktError Init();

    // Adding entries. The later value of a key replaces the earlier one, whose pointer is then invalid. What was added
    // before a failure stays.

    /// Reads a file: every element that has attributes named "key" and "value", an element before its children. A
    /// value is cut behind 2,047 bytes, and empty when it has a character outside of ISO Latin-1. Blocks for the file
    /// system, and for as long as it takes to open what is no plain file.
    /// @return 0; -100 when the file cannot be opened, -107 when nothing is known about it; -2 when it cannot be read
    ///         whole (yes, that too), when there is no memory and before Init(); -8 when it is not XML, or
    ///         libxml2 finds no memory; -7 when it has no element.
    ktError AddConfig(char const* aPath);
    /// Adds what an element, what is below it, and the siblings behind it have.
    /// @return 0, also for null; -2 when an entry cannot be added, which ends it.
    ktError GetConfigData(xmlNode* aNode);
    /// Adds copies of the two. They may be texts of the store; adding a key's stored value to it changes nothing.
    /// @return 0; -2 when there is no memory, and for null; -9 before Init(). On failure the store is as before.
    ktError AddEntry(char const* aKey, char const* aValue);

    // Asking. Null is an absent key; what has a result and an output leaves the output as it is when the key is absent.

    /// @return the value, which stays the store's, valid until its key is next added; null when the key is absent.
    char const* GetValue(char const* aKey) const;
    bool HasValue(char const* aKey) const;
    /// @return the number that the value begins with, in base 0; 0 when the key is absent or there is no number.
    int GetIntValue(char const* aKey) const;
    /// @param aOut receives the number, 0 for none, whatever follows it.
    /// @return 0, also for an empty value; -4 when the key is absent; -5 when something follows the number or it does
    ///         not fit.
    ktError GetIntValue(char const* aKey, int& aOut) const;
    /// The same. A minus sign wraps around, as it does in `strtoul`.
    ktError GetUIntValue(char const* aKey, unsigned int& aOut) const;
    /// The same with 64 bits.
    ktError GetUInt64Value(char const* aKey, unsigned long long& aOut) const;
    /// @return the number that the value begins with, with a period; 0.0 when the key is absent or there is none.
    float GetFloatValue(char const* aKey) const;
    /// @return the number that the value begins with, in decimal whatever it looks like; 0 when the key is absent or
    ///         there is none.
    long long GetTimeValue(char const* aKey) const;
    /// Appends the value, which must be UTF-8, to `aOut`.
    /// @return 0; -4 when the key is absent; else what appending gave, which is logged, and then `aOut` is as before.
    ktError GetPathValue(char const* aKey, ktString& aOut) const;
    /// Appends the numbers between the delimiters, each as GetIntValue() gives it; empty fields are skipped. Allocates
    /// for a value of 512 bytes or more.
    /// @return how many were appended, which is not all of them when the array finds no memory; 0 when the key is
    ///         absent or there is no memory.
    int GetIntValues(char const* aKey, char aDelimiter, ktIntArray& aOut) const;
    /// Decodes base64, of which the low 16 bits of the length count.
    /// @param aLength the room in bytes; receives the bytes written, and 65535 when decoding fails.
    /// @return 0; -4 when the key is absent; -5 when there is less room than the text needs, and then nothing is
    ///         written; -13 when it is not base64 or the buffer is null.
    ktError GetBinaryBlobValue(char const* aKey, char* aBuffer, unsigned int& aLength) const;

    // Logging the store, as one line at priority 2 and of any length. The order of the entries means nothing.

    /// The same with `config_logger`.
    void Log(char const* aPrefix);
    /// "prefix: store (...)", with what the enumerator appends to the `ktString` that it gets.
    void Log(char const* aPrefix, int (*aEnumerator)(PLHashEntry*, int, void*));
    /// The same with "prefix <name> " as the prefix.
    void Log(char const* aPrefix, char const* aName, int (*aEnumerator)(PLHashEntry*, int, void*));

private:
    friend class ktSettings;  // reads a form of its own out of the files, and writes the store

    KT_HIDDEN static ktError ReadFile(char const* aPath, char*& aText, int& aSize);
    KT_HIDDEN ktError AddDocument(char const* aText, int aSize, char const* aPath);
    KT_HIDDEN bool PutEntry(char const* aKey, char const* aValue);

    PLHashTable* mStore;  ///< owns its keys and values, each a block of its own
};
