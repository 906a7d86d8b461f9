/// @file
/// Text: the string of the whole system, the same as a shared object, and the same with a number.
#pragma once

#include <CFUtilities/CFUSharedRef.h>
#include <CoreFoundation/CoreFoundation.h>

#include "ktrefcount.h"
#include "kttypes.h"

class ktStringArray;

/// Text that can change, on a CoreFoundation string of its own, with views of it as UTF-8, UTF-16 and UTF-32.
///
/// Lengths, counts and indices are UTF-16 units. `char const*` text is UTF-8; what is not UTF-8 is tried once more as
/// ASCII and else refused. `wchar_t` text is code points, one each. Text with a count may hold zeros.
///
/// The views are built when they are asked for and kept until the text changes. A pointer into one is valid until the
/// string changes or the view is built anew. Copying a string copies its text, never its views.
///
/// One thread at a time; no operation waits for anything but the allocator and, when it logs, the log. It does not keep
/// surrogates in pairs when a count or an index cuts between them, and it does not normalise. Arguments may be the
/// string itself, its CoreFoundation string or pointers into its views: they mean the text before the call.
///
/// Results, where nothing else is said: 0; -2 when there is no memory or no CoreFoundation string, or the text is
/// refused; -5 for a null pointer or a negative count. On failure the text is as before, except that what replaces the
/// text leaves it empty. Operations without a result leave the text as it was when they cannot do their work.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): the order of the fields is what programs were built against
class KT_EXPORT ktString {
public:
    // Life cycle. A text that cannot be copied leaves the string empty; without memory it has no CoreFoundation string,
    // and then every operation says so until the text is next replaced.

    ktString();
    ktString(char const* aText);
    /// @param aCount bytes.
    ktString(char const* aText, int aCount);
    ktString(wchar_t const* aText);
    /// @param aCount code points.
    ktString(wchar_t const* aText, int aCount);
    ktString(ktString const& aOther);
    ktString(ktString const* aOther);
    ktString(CFStringRef aText);
    ktString(CFUSharedRef<CFStringRef> const& aText);
    virtual ~ktString();

    // Replacing the text: Clear(), then Append(), whose result it is.

    ktError Copy(char const* aText);
    ktError Copy(char const* aText, int aCount);
    ktError Copy(wchar_t aChar);
    ktError Copy(wchar_t const* aText);
    ktError Copy(wchar_t const* aText, int aCount);
    ktError Copy(ktString const& aOther);
    ktError Copy(ktString const* aOther);
    ktError Copy(CFStringRef aText);
    ktError Copy(CFUSharedRef<CFStringRef> const& aText);

    // Copy(), but null, or a holder of nothing, leaves the string as it is.

    ktString& operator=(char const* aText);
    ktString& operator=(wchar_t aChar);
    ktString& operator=(wchar_t const* aText);
    ktString& operator=(ktString const& aOther);
    ktString& operator=(ktString const* aOther);
    ktString& operator=(CFStringRef aText);
    ktString& operator=(CFUSharedRef<CFStringRef> const& aText);

    // Appending. Null `char const*` text appends nothing and is no failure.

    /// Appends one character of ISO Latin-1, other than text, which is UTF-8. @return also -5 for the zero character.
    ktError Append(char aChar);
    /// Logs when there is no CoreFoundation string.
    ktError Append(char const* aText);
    /// The same for `aCount` bytes.
    ktError Append(char const* aText, int aCount);
    /// Zero is a character like others here. An unsigned `char` that is passed as this is a code point, a negative one
    /// is refused.
    ktError Append(wchar_t aChar);
    ktError Append(wchar_t const* aText);
    /// @param aCount code points.
    ktError Append(wchar_t const* aText, int aCount);
    ktError Append(CFStringRef aText);
    ktError Append(ktString const& aOther);
    ktError Append(ktString const* aOther);
    ktError Append(CFUSharedRef<CFStringRef> const& aText);

    // As Append(), whose result is lost.

    ktString& operator+=(char aChar);
    ktString& operator+=(char const* aText);
    ktString& operator+=(wchar_t aChar);
    ktString& operator+=(wchar_t const* aText);
    ktString& operator+=(CFStringRef aText);
    ktString& operator+=(ktString const& aOther);
    ktString& operator+=(ktString const* aOther);
    ktString& operator+=(CFUSharedRef<CFStringRef> const& aText);

    /// Appends the first `aCount` characters of `aOther`, or all when it has no more; the name notwithstanding it does
    /// not clear the string first.
    ktError Copy(ktString const& aOther, int aCount);
    /// Appends `aOther` from the character at `aStart` on, again without clearing the string first.
    /// @return also -2 when `aStart` is not in `aOther` or its end.
    ktError CopyFrom(ktString const& aOther, int aStart);
    /// Replaces the text by that part of `aOther`.
    /// @return also -2 when the part is not inside of `aOther`, and then the text is as before.
    ktError CopyFrom(ktString const& aOther, int aStart, int aLength);
    /// Lets go of the CoreFoundation string, which others may still hold, and takes a new empty one.
    void Clear();

    // Reading.

    /// The CoreFoundation string itself, without a reference for the caller; null when there is none. It must not be
    /// changed but through this object.
    CFStringRef GetAsCFString() const;
    /// The same with a reference.
    CFUSharedRef<CFStringRef> GetAsCFUSharedStringRef() const;
    /// The text as UTF-8, terminated, never null. Text that lies ready in CoreFoundation is not copied, and then the
    /// other views are discarded. It ends in front of the first surrogate without its other half.
    /// @return empty text when there is none, or no memory, or nothing can be converted; the last two are logged.
    char const* GetAsUTFArray() const;
    /// Bytes of GetAsUTFArray() up to its first zero.
    int GetUTFByteLength() const;
    int GetLength() const;
    ktBOOL IsEmpty() const;
    /// Writes as many whole characters as fit as UTF-8, and a zero behind them.
    /// @param aInOutSize the room in bytes; receives how many were written, the zero included.
    /// @return 0, also when not everything fits; -1 for a null argument, a room below 1 (nothing is written then) or
    ///         without a CoreFoundation string.
    ktError ToBytes(char* aBuffer, int* aInOutSize) const;

    /// A new CoreFoundation string, which the caller releases; null for null, for text that is refused and without
    /// memory.
    static CFStringRef CreateStringFromString(char const* aText);
    /// The same for `aCount` bytes; null also for a negative count.
    static CFStringRef CreateStringFromBuffer(char const* aText, int aCount);

    /// Bytes that the strings of the process hold: two for each unit of text, and the views. A statistic: threads that
    /// change strings at the same time may spoil it, and so do case mappings that change a length.
    static unsigned GetMemoryWaterLevel();

    // Access by unit and by code point. Any change of the text ends it.

    /// @return 0; -2 when there is no memory; -22 when it has begun already or there is no CoreFoundation string.
    ktError BeginSequenceAccessForUniChar16() const;
    /// The unit at `aIndex`; 0 outside of the text and without access.
    UniChar GetUniChar16At(int aIndex) const;
    /// Discards all views.
    void EndSequenceAccessUniChar16() const;
    /// @return 0; -22 when it has begun already, when there is no CoreFoundation string or no text in it, and when the
    ///         text cannot be converted or there is no memory; these two are logged.
    ktError BeginSequenceAccessForUniChar32() const;
    /// The code point at `aIndex`, which is not checked; 0 without access.
    UTF32Char GetUniChar32At(int aIndex) const;
    /// The code points with a zero behind them, never null; begins the access when it has not begun. Empty when that
    /// fails.
    UTF32Char const* GetAsUniChar32Array() const;
    /// Discards all views.
    void EndSequenceAccessUniChar32() const;

    // Comparing. A string without a CoreFoundation string is like an empty one. `char const*` text that there is no
    // memory for equals nothing, and is not found.

    /// @param aOptions CFStringCompareFlags. @return -1, 0 or 1.
    int Compare(ktString const& aOther, int aOptions) const;
    ktBOOL Equals(ktString const& aOther, ktBOOL aCaseInsensitive) const;
    /// False for null and for text that is refused.
    ktBOOL Equals(char const* aText, ktBOOL aCaseInsensitive) const;
    /// False for null.
    ktBOOL Equals(ktString const* aOther, ktBOOL aCaseInsensitive) const;
    bool operator==(ktString const& aOther) const;
    bool operator==(char const* aText) const;
    bool operator!=(ktString const& aOther) const;
    bool operator!=(char const* aText) const;
    /// By unit, so that upper case comes first.
    bool operator<(ktString const& aOther) const;
    /// 0 for empty text; equal texts have equal hashes in every process.
    CFHashCode GetHash() const;

    // Finding. Empty text is never found, nor is null.

    /// @param aOptions CFStringCompareFlags.
    ktBOOL Find(ktString const& aWhat, int aOptions) const;
    ktBOOL Find(ktString const& aWhat, ktBOOL aCaseInsensitive) const;
    ktBOOL Find(char const* aWhat, ktBOOL aCaseInsensitive) const;
    /// With options, so that a literal goes with `true` and with 1, for which this is the same.
    ktBOOL Find(char const* aWhat, int aOptions) const;

    // Inserting in front of the character at `aIndex`, or at the end. Results: 0; -1 for null or without a
    // CoreFoundation string; -2 when there is no memory or the text is refused; -5 when the index is negative or
    // greater than the length, or the count negative. On failure the text is as before.

    ktError InsertAt(ktString const* aWhat, int aIndex);
    ktError InsertAt(char const* aText, int aIndex);
    ktError InsertAt(wchar_t const* aText, int aIndex);
    /// @param aCount UTF-16 units of the decoded text; all up to its zero when it has no more. The text need not have a
    ///        zero behind them.
    ktError InsertAt(char const* aText, int aCount, int aIndex);
    /// @param aCount code points; fewer when a zero comes before.
    ktError InsertAt(wchar_t const* aText, int aCount, int aIndex);

    // Editing.

    /// Nothing when `aStart` is not inside of the text or a number is negative; a count that is too large ends with
    /// the text.
    void Delete(int aStart, int aCount);
    /// Keeps the first `aLength` characters; nothing when it is negative.
    void Trim(int aLength);
    /// Deletes everything up to the end of the first `aMarker`; nothing when there is none, or for null.
    void TrimTo(char const* aMarker);
    /// At both ends, line breaks too.
    void TrimWhitespace();
    /// Takes a double quote off the beginning and, whether there was one or not, another off the end.
    void RemoveOuterQuotes();
    /// Replaces every occurrence; there is none of empty text.
    /// @return 0, also when nothing was found; -2 when there is no memory, a text is refused or an argument has no
    ///         CoreFoundation string; -5 for null; -6 when this string has none. On failure the text is as before.
    ktError Replace(ktString const& aWhat, ktString const& aWith);
    ktError Replace(char const* aWhat, char const* aWith);
    /// By the rules of the current locale, like the next two; nothing when there is no memory for the locale.
    void Capitalize();
    /// Does not count a changed length in the water level, which drifts then; so does Lowercase().
    void Uppercase();
    void Lowercase();

    /// Replaces the text by the template with its placeholders "$$1", "$$2" and so on, up to the first number that is
    /// missing, replaced by the arguments, which are `ktString const*` and at least as many as these placeholders.
    /// "$$1" is found in "$$10" too, and a later placeholder also in the text of an earlier argument.
    /// @return 0; -2; -5 also when there is no CoreFoundation string or an argument is null. On failure the text is as
    ///         before.
    ktError Substitute(ktString const* aTemplate, ...);
    /// Replaces the text by what `printf` makes of the arguments, which may point into this string's UTF-8.
    /// @return as Append(char const*); -1 for null and when formatting fails. On failure the text is empty.
    ktError Print(char const* aFormat, ...) __attribute__((format(printf, 2, 3)));
    /// The same, appended. On failure the text is as before.
    ktError AppendFormatted(char const* aFormat, ...) __attribute__((format(printf, 2, 3)));
    /// The same with CoreFoundation's conversions, "%@" for objects among them. @return 0; -2; -5 for null.
    ktError AppendFormatted(CFStringRef aFormat, ...);

    // Numbers and booleans.

    /// Leading white space, a sign, decimal digits; 0 when there is no number, the nearest value when it is too large.
    int GetInteger() const;
    /// GetInteger() as an unsigned number: it does not reach beyond 2147483647, and a sign wraps around.
    unsigned GetUnsignedInteger() const;
    /// A decimal number with fraction and exponent, always with a period; 0 when there is none.
    float GetFloat() const;
    /// These return what Print() does.
    ktError SetInteger(int aValue);
    ktError SetUnsignedInteger(unsigned aValue);
    /// With six digits behind the decimal mark.
    ktError SetFloat(float aValue);
    /// Contains, in this order and case-sensitively, "true" (true), "false" (false), "1" (true), "0" (false) or "yes"
    /// (true), and so 10 and untrue are true. Otherwise false.
    ktBOOL GetBoolean() const;
    /// "yes" or "no".
    ktError SetBoolean(ktBOOL aValue);

    // Splitting. Failure leaves the array empty: 3 when CoreFoundation cannot split, -5 when nothing comes of it, and
    // what the array answers to an element. The separator may be an element of the array, and so may this string,
    // which then is gone.

    /// The pieces between the separators, empty ones too; one piece when there is no separator in the text.
    ktError ComponentsSeparatedByString(ktString const& aSeparator, ktStringArray& aComponents) const;
    ktError ComponentsSeparatedByString(wchar_t const* aSeparator, ktStringArray& aComponents) const;
    ktError ComponentsSeparatedByString(char const* aSeparator, ktStringArray& aComponents) const;
    /// The pieces between blanks, a line break being a piece of its own. @param aTrim off with the white space at both
    /// ends first.
    ktError ComponentsSeparatedByWords(ktStringArray& aWords, ktBOOL aTrim) const;
    /// Keeps the last line that is not empty, without its line break; nothing when all are empty. @return also 3 when
    /// CoreFoundation cannot split.
    ktError LastLineOnly();
    /// Reads bytes in hexadecimal, as `scanf` does with "%x". The second argument has no meaning.
    /// @param aCount receives how many were stored, on failure too.
    /// @return 0; -2; 3 when CoreFoundation cannot split; -5 for null, an empty separator or a piece that is not a
    ///         number of at most 255; -6 when there are more than `aCapacity`.
    ktError BytesSeparatedByString(ktString const& aSeparator, int aUnused, unsigned char* aBytes, unsigned aCapacity,
                                   unsigned& aCount) const;
    ktError BytesSeparatedByString(char const* aSeparator, int aUnused, unsigned char* aBytes, unsigned aCapacity,
                                   unsigned& aCount) const;
    /// Splits an address in front of and behind its only at-sign, which stays at the end of the local part. With none
    /// or with several, the whole address is the local part. Either output may be the address itself.
    /// @return 0; -2; 3 when CoreFoundation cannot split; -5 for null. On failure both outputs are empty.
    static ktError SplitEmailAddress(ktString const& aAddress, ktString& aLocal, ktString& aDomain);
    static ktError SplitEmailAddress(char const* aAddress, ktString& aLocal, ktString& aDomain);
    /// Begins, case-sensitively, with "http", "www" or the maker's web domain.
    ktBOOL IsUrl() const;
    /// Replaces the text of `aGuid` by a new random identifier of 36 characters.
    /// @return 0; -2 when there is no memory, and then the text is as before or empty.
    static ktError CreateGUID(ktString& aGuid);

    // Localisation.

    /// A new locale for the current identifier, which the caller releases; null when there is no memory.
    static CFLocaleRef GetCurrentLocale();
    /// The text for a key in the current language: ktBundle::GetLocalizedString().
    static ktString GetLocalizedString(char const* aKey, char const* aDefaultText);
    /// Deletes the strings in front of the first null and makes their slots null. @return 0; -5 for null.
    static ktError UnloadStringArray(ktString const** aStrings);
    /// The same for the first `aCount` slots, of which any may be null. @return 0, also for a count below 1; -5 for
    /// null.
    static ktError UnloadStringArray(ktString const** aStrings, int aCount);

private:
    class Change;

    template <typename... Text>
    KT_HIDDEN ktError Renew(Text const&... aText);
    template <typename Pointer>
    KT_HIDDEN void CopyUnlessNull(Pointer aText);
    KT_HIDDEN void Swap(ktString& aOther);
    KT_HIDDEN void Discard();
    KT_HIDDEN void ClearBackingStore() const;
    KT_HIDDEN void DropViews() const;
    KT_HIDDEN bool HoldsBytes(char const* aText) const;
    KT_HIDDEN ktError AppendForeign(CFStringRef aText);
    KT_HIDDEN ktError AppendAndRelease(CFStringRef aText);
    KT_HIDDEN ktError AppendAndFree(char* aText);
    KT_HIDDEN ktError CheckInsertion(void const* aWhat, int aIndex) const;
    KT_HIDDEN ktError InsertForeign(CFStringRef aText, int aIndex);
    KT_HIDDEN ktError InsertAndRelease(CFStringRef aText, int aIndex);
    KT_HIDDEN ktError ReplaceForeign(CFStringRef aWhat, CFStringRef aWith);
    KT_HIDDEN void MapCase(void (*aMapping)(CFMutableStringRef, CFLocaleRef));

    CFMutableStringRef mString;             ///< owned; null only when there was no memory
    mutable CFStringInlineBuffer* mAccess;  ///< UTF-16 access; null when not begun
    mutable char* mUTF8;                    ///< from ktMALLOC, terminated; null when not built
    mutable int mUTF8Size;                  ///< bytes, the terminator included
    mutable UTF32Char* mUTF32;              ///< from ktMALLOC, terminated; null when not built
    mutable int mUTF32Size;                 ///< bytes, the terminator included
};

/// A string that several owners share.
///
/// The text belongs to one thread at a time, whoever holds references.
class KT_EXPORT ktRefString : public virtual ktString, public virtual ktRefCount {
public:
    ktRefString();
    ~ktRefString() override;
    using ktString::operator=;
    /// Copies the text; the references stay with their objects. Copies cannot be constructed.
    ktRefString& operator=(ktRefString const& aOther);

    /// Deletes the string, which must come from `new`.
    void Destroy() override;
};

/// A string with a number by which its owner finds it. The number means nothing to the string.
class KT_EXPORT ktIndexedString : public ktString {
public:
    /// Empty, with index 0.
    ktIndexedString();
    ktIndexedString(int aIndex, CFStringRef aText);
    using ktString::operator=;

    /// Copies the text and sets the index, which succeeds whatever becomes of the text. @return Copy()'s result.
    ktError Set(int aIndex, CFStringRef aText);
    void SetIndex(int aIndex);
    int GetIndex() const;

private:
    int mIndex;
};
