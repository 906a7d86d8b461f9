#include "ktlogbuffer.h"

#include <prprf.h>
#include <prtime.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <climits>
#include <cstring>

#include "ktcore/os.h"

namespace {

constexpr unsigned int kMaxNameLength = 64;  // of host and process in a prefix
constexpr int kMicrosecondsPerSecond = 1000000;
constexpr int kMicrosecondDigits = 6;

/// Prints the six parts of a time, in UTC, from the year down. @return the length.
int PrintTime(char* aField, std::size_t aSize, char const* aFormat, long long aTime)
{
    PRExplodedTime parts = {};
    PR_ExplodeTime(aTime, PR_GMTParameters, &parts);
    return static_cast<int>(PR_snprintf(aField, static_cast<PRUint32>(aSize), aFormat, parts.tm_year,
                                        parts.tm_month + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec));
}

std::atomic<pid_t> sProcessId{0};  // 0: not known

void ForgetProcessId()
{
    sProcessId.store(0, std::memory_order_relaxed);
}

/// The process id without a system call per line; a forked child asks again.
pid_t ProcessId()
{
    static const bool isForgottenOnFork = pthread_atfork(nullptr, nullptr, ForgetProcessId) == 0;
    pid_t id = sProcessId.load(std::memory_order_relaxed);
    if (id != 0)
        return id;
    id = getpid();
    if (isForgottenOnFork)
        sProcessId.store(id, std::memory_order_relaxed);
    return id;
}

/// The parts of a text prefix that rarely change, printed once per thread and change: printing them anew for each line
/// would cost more than all the rest of a line but the write.
struct PrefixParts {
    bool mIsPrinted;
    long long mSecond;  ///< what mDate shows
    int mDateLength;
    char mDate[40];  ///< up to the point before the microseconds

    pid_t mProcessId;  ///< what mOrigin shows
    char mThread[16];
    char mHost[kMaxNameLength + 1];
    int mOriginLength;
    char mOrigin[176];  ///< from the host to the parenthesis before the priority
};

/// The calling thread's, looked up once per line: not inlined, or each use would be a look-up.
__attribute__((noinline)) PrefixParts& ThreadParts()
{
    thread_local PrefixParts tParts;
    return tParts;
}

void PrintOrigin(PrefixParts& aParts, char const* aHost, pid_t aProcessId, char const* aThread)
{
    aParts.mProcessId = aProcessId;
    std::memcpy(aParts.mThread, aThread, sizeof aParts.mThread);
    std::strncpy(aParts.mHost, aHost, kMaxNameLength);
    aParts.mOriginLength =
        static_cast<int>(PR_snprintf(aParts.mOrigin, sizeof aParts.mOrigin, " %.64s %.64s[%d:%6.6s] (", aHost,
                                     kt::Core::Os::GetProcessName(), aProcessId, aThread));
}

/// The calling thread's parts, up to date. The thread's name is asked for each time, as anybody may have changed it.
PrefixParts const& CurrentParts(long long aTime, long long aSecond, char const* aHost)
{
    PrefixParts& parts = ThreadParts();
    if (!parts.mIsPrinted || parts.mSecond != aSecond)
        parts.mDateLength = PrintTime(parts.mDate, sizeof parts.mDate, "%04d-%02d-%02d %02d:%02d:%02d.", aTime);
    parts.mSecond = aSecond;
    char thread[sizeof parts.mThread] = {};
    prctl(PR_GET_NAME, thread);
    const pid_t processId = ProcessId();
    if (!parts.mIsPrinted || parts.mProcessId != processId || std::memcmp(parts.mThread, thread, sizeof thread) != 0 ||
        std::strncmp(parts.mHost, aHost, kMaxNameLength) != 0)
        PrintOrigin(parts, aHost, processId, thread);
    parts.mIsPrinted = true;
    return parts;
}

/// Puts a text together in a field of fixed size, cut to fit.
class FieldWriter {
public:
    FieldWriter(char* aField, std::size_t aSize) : mBegin(aField), mAt(aField), mEnd(aField + aSize - 1)
    {
    }

    void Put(char const* aText, std::size_t aLength)
    {
        const std::size_t length = std::min(aLength, static_cast<std::size_t>(mEnd - mAt));
        std::memcpy(mAt, aText, length);
        mAt += length;
    }

    void Put(char aCharacter)
    {
        if (mAt != mEnd)
            *mAt++ = aCharacter;
    }

    void PutMicroseconds(int aMicroseconds)
    {
        if (mEnd - mAt < kMicrosecondDigits)
            return;
        for (int i = kMicrosecondDigits; i-- > 0; aMicroseconds /= 10)
            mAt[i] = static_cast<char>('0' + aMicroseconds % 10);
        mAt += kMicrosecondDigits;
    }

    void PutNumber(int aNumber)
    {
        char digits[16];
        char* const end = std::to_chars(digits, digits + sizeof digits, aNumber).ptr;
        Put(digits, static_cast<std::size_t>(end - digits));
    }

    /// Ends the text. @return its length.
    int Finish()
    {
        *mAt = '\0';
        return static_cast<int>(mAt - mBegin);
    }

private:
    char* mBegin;
    char* mAt;
    char* mEnd;  ///< where the zero byte goes at the latest
};

/// What the formatter prints for a text that is missing.
char const* OrNull(char const* aText)
{
    return aText != nullptr ? aText : "(null)";
}

/// Whether a character may stand between the percent sign of a conversion and its letter.
bool IsModifier(char aCharacter)
{
    switch (aCharacter) {
    case '-':
    case '+':
    case ' ':
    case '#':
    case '.':
    case '*':
    case '$':
    case 'h':
    case 'l':
    case 'L':
        return true;
    default:
        return aCharacter >= '0' && aCharacter <= '9';
    }
}

/// Whether a format, which has a percent sign, ends before its last conversion does, as "at 100%" does. The formatter
/// reads on behind the end of such a format.
bool EndsInsideConversion(char const* aFormat)
{
    char const* const last = std::strrchr(aFormat, '%');
    char const* first = last;
    while (first != aFormat && first[-1] == '%')
        --first;
    if ((last - first) % 2 != 0)
        return false;  // it stands for a percent sign
    char const* letter = last + 1;
    while (IsModifier(*letter))
        ++letter;
    return *letter == '\0';
}

/// The next power of two, so that a record that grows piece by piece is moved a few times only.
int RoundUp(unsigned long long aSize)
{
    unsigned long long size = 4096;
    while (size < aSize)
        size *= 2;
    return static_cast<int>(std::min<unsigned long long>(size, INT_MAX));
}

}  // namespace

// The record's bytes are written before they are read; clearing them would cost each line more than its prefix.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
ktLogBuffer::ktLogBuffer() : mLength(0), mPrefixLength(0)
{
    mPrefix[0] = '\0';
}

ktLogBuffer::~ktLogBuffer() = default;

void ktLogBuffer::Clear()
{
    mLength = 0;
    mOverflow.Clear();
    mPrefixLength = 0;
}

unsigned int ktLogBuffer::GetLength()
{
    return mLength;
}

char const* ktLogBuffer::GetBufferPtr()
{
    return IsInline() ? mInline : mOverflow.GetBuffer();
}

bool ktLogBuffer::LastCharIsNewline()
{
    return mLength != 0 && GetBufferPtr()[mLength - 1] == '\n';
}

int ktLogBuffer::WriteToFile(int aFD)
{
    return mLength != 0 ? static_cast<int>(write(aFD, GetBufferPtr(), mLength)) : 0;
}

void ktLogBuffer::SetTextLogPrefix(long long aTime, ktLogPriority aPriority, char const* /*aUnused*/,
                                   char const* aHostname, char const* aComponent)
{
    long long second = aTime / kMicrosecondsPerSecond;
    int microseconds = static_cast<int>(aTime % kMicrosecondsPerSecond);
    if (microseconds < 0) {
        microseconds += kMicrosecondsPerSecond;
        --second;
    }
    PrefixParts const& parts = CurrentParts(aTime, second, OrNull(aHostname));
    FieldWriter prefix(mPrefix, sizeof mPrefix);
    prefix.Put(parts.mDate, static_cast<std::size_t>(parts.mDateLength));
    prefix.PutMicroseconds(microseconds);
    prefix.Put(parts.mOrigin, static_cast<std::size_t>(parts.mOriginLength));
    prefix.PutNumber(aPriority);
    prefix.Put(')');
    prefix.Put(' ');
    if (aComponent != nullptr) {
        prefix.Put(aComponent, std::strlen(aComponent));
        prefix.Put(':');
        prefix.Put(' ');
    }
    mPrefixLength = prefix.Finish();
}

void ktLogBuffer::SetEventLogPrefix(long long aTime)
{
    mPrefixLength = PrintTime(mPrefix, sizeof mPrefix, "%04d-%02d-%02dT%02d:%02d:%02d ", aTime);
}

void ktLogBuffer::AppendNoPrefix(char const* aData, unsigned int aLength)
{
    Store(aData, aLength);
}

void ktLogBuffer::Append(char const* aData, unsigned int aLength)
{
    AppendLines(aData, aLength);
}

void ktLogBuffer::Append(ktLogBuffer* aOther)
{
    if (aOther == nullptr)
        return;
    ktLogBuffer copy;
    if (aOther == this) {  // whose bytes move while it grows
        copy.AppendNoPrefix(GetBufferPtr(), mLength);
        aOther = &copy;
    }
    AppendLines(aOther->GetBufferPtr(), aOther->GetLength());
}

void ktLogBuffer::AppendFormatted(char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    AppendFormattedV(aFormat, args);
    va_end(args);
}

void ktLogBuffer::AppendFormattedV(char const* aFormat, va_list aArgs)
{
    // The formatter hands literal text over one character at a time; what stands before the first conversion need not
    // go through it, and stays even if the formatter then refuses the rest.
    char const* const format = OrNull(aFormat);
    char const* conversion = strchrnul(format, '%');
    if (*conversion != '\0' && EndsInsideConversion(conversion))
        conversion += std::strlen(conversion);
    if (AppendLines(format, static_cast<unsigned int>(conversion - format)) && *conversion != '\0')
        PR_vsxprintf(formatted_print_func, this, conversion, aArgs);
}

int ktLogBuffer::formatted_print_func(void* aBuffer, char const* aData, unsigned int aLength)
{
    ktLogBuffer& record = *static_cast<ktLogBuffer*>(aBuffer);
    if (aLength != 0 && aData[aLength - 1] == '\0')
        --aLength;
    if (aLength == 1 && record.IsInsideInlineLine()) {
        record.mInline[record.mLength++] = *aData;
        return 0;
    }
    return record.AppendLines(aData, aLength) ? 0 : -1;
}

bool ktLogBuffer::GetNextLine(char const*& aData, unsigned int& aRemaining, unsigned int& aLineLength)
{
    aLineLength = 0;
    if (aRemaining == 0)
        return false;
    void const* const newline = std::memchr(aData, '\n', aRemaining);
    aLineLength =
        newline != nullptr ? static_cast<unsigned int>(static_cast<char const*>(newline) - aData) + 1 : aRemaining;
    aData += aLineLength;
    aRemaining -= aLineLength;
    return true;
}

void ktLogBuffer::AppendTextMessage(long long aTime, ktLogPriority aPriority, char const* /*aUnused*/,
                                    char const* aHostname, char const* aComponent, char const* aFormat, va_list aArgs)
{
    if (StartText(aTime, aPriority, aHostname, aComponent))
        AppendFormattedV(aFormat, aArgs);
    EndRecord();
}

void ktLogBuffer::AppendTextMessage(long long aTime, ktLogPriority aPriority, char const* /*aUnused*/,
                                    char const* aHostname, char const* aComponent, ktLogBuffer* aBody)
{
    if (StartText(aTime, aPriority, aHostname, aComponent))
        Append(aBody);
    EndRecord();
}

void ktLogBuffer::AppendEvent(long long aTime, char const* aEventName, char const* aFormat, va_list aArgs)
{
    if (StartEvent(aTime, aEventName))
        AppendFormattedV(aFormat, aArgs);
    EndRecord();
}

void ktLogBuffer::AppendEvent(long long aTime, char const* aEventName, ktLogBuffer* aBody)
{
    if (StartEvent(aTime, aEventName))
        Append(aBody);
    EndRecord();
}

void ktLogBuffer::AppendEventSchema(long long aTime, char const* aEventName, char const* aSchema)
{
    SetEventLogPrefix(aTime);
    if (StorePrefix())
        AppendFormatted("%%%s %s", aEventName, aSchema);
    EndRecord();
}

bool ktLogBuffer::IsInline() const
{
    return mLength < kInlineSize;
}

/// The next character, whatever it is, needs neither a prefix in front nor more than the inline area.
bool ktLogBuffer::IsInsideInlineLine() const
{
    return mLength != 0 && mLength < kInlineSize - 1 && mInline[mLength - 1] != '\n';
}

/// @return false when the record had to be cut.
bool ktLogBuffer::AppendLines(char const* aData, unsigned int aLength)
{
    char const* line = aData;
    char const* rest = aData;
    unsigned int lineLength = 0;
    while (GetNextLine(rest, aLength, lineLength)) {
        const bool startsLine = mLength == 0 || LastCharIsNewline();
        if ((startsLine && !StorePrefix()) || !Store(line, lineLength))
            return false;
        line = rest;
    }
    return true;
}

/// Fills the inline area with what fits of data that does not, but for the newline that ends the record.
void ktLogBuffer::CutInline(char const* aData)
{
    constexpr unsigned int kCutLength = kInlineSize - 2;
    if (mLength < kCutLength)
        std::memcpy(mInline + mLength, aData, kCutLength - mLength);
    mLength = kCutLength;
}

bool ktLogBuffer::StorePrefix()
{
    return mPrefixLength <= 0 || Store(mPrefix, static_cast<unsigned int>(mPrefixLength));
}

/// @return false when there is no memory and the record had to be cut.
bool ktLogBuffer::Store(char const* aData, unsigned int aLength)
{
    if (mLength >= kInlineSize || aLength >= kInlineSize - mLength)
        return StoreInOverflow(aData, aLength);
    std::memcpy(mInline + mLength, aData, aLength);
    mLength += aLength;
    return true;
}

bool ktLogBuffer::StoreInOverflow(char const* aData, unsigned int aLength)
{
    const unsigned long long length = static_cast<unsigned long long>(mLength) + aLength;
    // A byte more, so that the newline that ends the record never needs memory.
    if (length >= INT_MAX || mOverflow.GrowBuffer(RoundUp(length + 1)) != kErrNone) {
        if (IsInline())
            CutInline(aData);
        return false;
    }
    if (IsInline())
        mOverflow.Copy(mInline, static_cast<int>(mLength));
    mOverflow.Append(aData, static_cast<int>(aLength));
    mLength += aLength;
    return true;
}

/// @return false when the record had to be cut.
bool ktLogBuffer::StartText(long long aTime, ktLogPriority aPriority, char const* aHostname, char const* aComponent)
{
    SetTextLogPrefix(aTime, aPriority, nullptr, aHostname, aComponent);
    return StorePrefix();
}

/// @return false when the record had to be cut.
bool ktLogBuffer::StartEvent(long long aTime, char const* aEventName)
{
    SetEventLogPrefix(aTime);
    char const* const name = OrNull(aEventName);
    return StorePrefix() && AppendLines(name, static_cast<unsigned int>(std::strlen(name))) && AppendLines(" ", 1);
}

void ktLogBuffer::EndRecord()
{
    if (LastCharIsNewline())
        return;
    if (!IsInline())
        mLength += mOverflow.Append('\n') == kErrNone ? 1 : 0;  // StoreInOverflow() has left room for it
    else if (!Store("\n", 1))
        mInline[mLength++] = '\n';
}
