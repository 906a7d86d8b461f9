/// @file
/// One log record before it is written.
#pragma once

#include <cstdarg>

#include "ktbytebuffer.h"
#include "ktlog.h"

/// Assembles a record, perhaps of several lines, so that one `write` can write it and records of different threads
/// never interleave.
///
/// A local variable of about 1.6 KB for one thread; records of up to 1,279 bytes need no memory beyond it. When there
/// is no memory for a longer one, the record is cut where it stands, the operation that was appending stops, and the
/// record still ends in a newline.
/// The record is not terminated by a zero byte. Times are microseconds since 1970 and print in UTC.
class KT_EXPORT ktLogBuffer {
public:
    /// Empty record, empty prefix.
    ktLogBuffer();
    ~ktLogBuffer();
    ktLogBuffer(ktLogBuffer const&) = delete;
    ktLogBuffer& operator=(ktLogBuffer const&) = delete;

    /// Empty record, no prefix.
    void Clear();

    /// In bytes.
    unsigned int GetLength();
    /// The record; valid until it next changes.
    char const* GetBufferPtr();
    /// False for an empty record.
    bool LastCharIsNewline();

    /// Hands the record to the descriptor with one `write`; may block for it.
    /// @return what `write` returned; 0 for an empty record, which is not written.
    int WriteToFile(int aFD);

    /// Sets the prefix of text lines, cut to 255 characters:
    /// "%04d-%02d-%02d %02d:%02d:%02d.%06d %.64s %.64s[%d:%6.6s] (%d) %s: " with a component, or
    /// "%04d-%02d-%02d %02d:%02d:%02d.%06d %.64s %.64s[%d:%6.6s] (%d) %s" and an empty text when it is null. The fields
    /// are the date and time, host, process, process id, the calling thread's name, priority and component.
    /// @param aUnused not used.
    void SetTextLogPrefix(long long aTime, ktLogPriority aPriority, char const* aUnused, char const* aHostname,
                          char const* aComponent);
    /// Sets the prefix of event records: "%04d-%02d-%02dT%02d:%02d:%02d ".
    void SetEventLogPrefix(long long aTime);

    /// Appends bytes as they are.
    void AppendNoPrefix(char const* aData, unsigned int aLength);
    /// Appends bytes, with the prefix in front of each line that begins in them.
    void Append(char const* aData, unsigned int aLength);
    /// The same with another record's bytes.
    void Append(ktLogBuffer* aOther);
    /// The same with formatted text.
    void AppendFormatted(char const* aFormat, ...);
    void AppendFormattedV(char const* aFormat, va_list aArgs);

    /// Takes formatted text piece by piece from `PR_vsxprintf`, dropping the zero byte that ends it.
    /// @param aBuffer the ktLogBuffer. @return 0; -1, which stops the formatting, when the record had to be cut.
    static int formatted_print_func(void* aBuffer, char const* aData, unsigned int aLength);

    /// Splits the next line off, its newline included: moves `aData` behind it and lowers `aRemaining` by its length.
    /// @return true when there was one, of `aLineLength` bytes; false when nothing remains, and then its length is 0.
    static bool GetNextLine(char const*& aData, unsigned int& aRemaining, unsigned int& aLineLength);

    /// A whole text message: sets the prefix, appends it and the message, and ends the record with a newline.
    void AppendTextMessage(long long aTime, ktLogPriority aPriority, char const* aUnused, char const* aHostname,
                           char const* aComponent, char const* aFormat, va_list aArgs);
    void AppendTextMessage(long long aTime, ktLogPriority aPriority, char const* aUnused, char const* aHostname,
                           char const* aComponent, ktLogBuffer* aBody);

    /// A whole event record: time, name and body. Further lines of the body begin with the time, not the name.
    void AppendEvent(long long aTime, char const* aEventName, char const* aFormat, va_list aArgs);
    void AppendEvent(long long aTime, char const* aEventName, ktLogBuffer* aBody);
    /// The line that describes an event's fields: time, "%" and name, schema.
    void AppendEventSchema(long long aTime, char const* aEventName, char const* aSchema);

private:
    static constexpr unsigned int kPrefixSize = 256;
    static constexpr unsigned int kInlineSize = 1280;

    KT_HIDDEN bool IsInline() const;
    KT_HIDDEN bool IsInsideInlineLine() const;
    KT_HIDDEN bool AppendLines(char const* aData, unsigned int aLength);
    KT_HIDDEN void CutInline(char const* aData);
    KT_HIDDEN bool StorePrefix();
    KT_HIDDEN bool Store(char const* aData, unsigned int aLength);
    KT_HIDDEN bool StoreInOverflow(char const* aData, unsigned int aLength);
    KT_HIDDEN bool StartText(long long aTime, ktLogPriority aPriority, char const* aHostname, char const* aComponent);
    KT_HIDDEN bool StartEvent(long long aTime, char const* aEventName);
    KT_HIDDEN void EndRecord();

    char mPrefix[kPrefixSize];
    char mInline[kInlineSize];  ///< the record while it is shorter than this
    ktByteBuffer mOverflow;     ///< the whole record once it is not
    unsigned int mLength;
    int mPrefixLength;  ///< 0: no prefix
};
