#include "ktsettings.h"

#include <libgen.h>
#include <plstr.h>
#include <prio.h>
#include <prprf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include "ktbase64.h"
#include "ktconfigcore.h"
#include "ktlog.h"
#include "ktmemory.h"
#include "ktnspr.h"
#include "ktsettingsreader.h"

namespace {

constexpr unsigned int kMaxBlob = 5120;
constexpr std::size_t kBlockSize = 32768;
constexpr int kLinesPerBlock = 512;
constexpr int kNumberSize = 32;

using Path = std::unique_ptr<char, decltype(&PR_smprintf_free)>;

/// Logs at critical priority. @return the result that it is given.
template <typename... Arguments>
ktError Report(ktError aResult, char const* aFormat, Arguments... aArguments)
{
    ktLogWithComponent(kLogPriorityCritical, nullptr, aFormat, aArguments...);
    return aResult;
}

/// Does what wants the lock. Before Init() there is none, and nothing that would want it.
template <typename Work>
auto Locked(PRLock* aLock, Work aWork)
{
    std::optional<ktLockGuard> guard;
    if (aLock != nullptr)
        guard.emplace(aLock);
    return aWork();
}

// Escaping.

/// The bytes that each byte of a value takes in the file.
struct Widths {
    constexpr Widths() : mWidths()
    {
        for (int byte = 0; byte < 256; ++byte) {
            const bool isPlain = byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '&';
            mWidths[byte] = static_cast<unsigned char>(isPlain ? 1 : byte < 10 ? 4 : byte < 100 ? 5 : 6);
        }
    }
    constexpr int operator[](char aByte) const
    {
        return mWidths[static_cast<unsigned char>(aByte)];
    }
    unsigned char mWidths[256];
};
constexpr Widths kWidths;

unsigned long long EscapedLength(std::string_view aText)
{
    unsigned long long length = 0;
    for (const char byte : aText)
        length += static_cast<unsigned long long>(kWidths[byte]);
    return length;
}

/// Writes "&#%d;" as far as there is room. @return the length.
int WriteEscape(char aByte, char* aOut, int aRoom)
{
    char escape[] = "&#000;";
    const int width = kWidths[aByte];
    int digits = static_cast<unsigned char>(aByte);
    for (int at = width - 2; at > 1; --at, digits /= 10)
        escape[at] = static_cast<char>('0' + digits % 10);
    escape[width - 1] = ';';
    const int length = std::min(width, aRoom);
    std::memcpy(aOut, escape, static_cast<std::size_t>(length));
    return length;
}

/// Writes the lines of a file, many with one call: a call for each line takes as long as the disk does.
class LineWriter {
public:
    explicit LineWriter(PRFileDesc* aFile);
    ~LineWriter();
    LineWriter(LineWriter const&) = delete;
    LineWriter& operator=(LineWriter const&) = delete;

    void Add(char const* aKey, char const* aValue);
    /// Writes what was added. @return 0; -2 or -103 when a line was lost on the way, which has been logged.
    ktError Flush();

private:
    /// Where in the block a line's parts are.
    struct Line {
        std::size_t mKey;
        std::size_t mValue;
        std::size_t mEnd;
    };

    bool MakeRoom(unsigned long long aSize);
    void Append(std::string_view aText);
    void LogLost(std::size_t aWritten);

    PRFileDesc* mFile;
    char* mBlock;
    std::size_t mRoom;
    std::size_t mUsed;
    int mCount;
    ktError mResult;
    Line mLines[kLinesPerBlock];
};

LineWriter::LineWriter(PRFileDesc* aFile)
    : mFile(aFile), mBlock(nullptr), mRoom(0), mUsed(0), mCount(0), mResult(kErrNone), mLines()
{
}

LineWriter::~LineWriter()
{
    ktFREE(mBlock);
}

void LineWriter::Add(char const* aKey, char const* aValue)
{
    const std::string_view key = aKey;
    const std::string_view value = aValue;
    const unsigned long long escaped = EscapedLength(value);
    const unsigned long long size = kSettingsOpening.size() + key.size() + kSettingsDivider.size() + escaped +
                                    kSettingsClosing.size() + 1;  // and escape_value's zero
    if (!MakeRoom(size)) {
        mResult = Report(kErrNoMemory, "settings: failed to allocate %llu bytes to write key=%s", size, aKey);
        return;
    }
    Line& line = mLines[mCount++];
    Append(kSettingsOpening);
    line.mKey = mUsed;
    Append(key);
    Append(kSettingsDivider);
    line.mValue = mUsed;
    if (escaped == value.size())
        Append(value);
    else {
        escape_value(aValue, mBlock + mUsed, static_cast<int>(escaped) + 2);  // more than all escapes together
        mUsed += static_cast<std::size_t>(escaped);
    }
    Append(kSettingsClosing);
    line.mEnd = mUsed;
}

ktError LineWriter::Flush()
{
    if (mUsed != 0) {
        const PROffset64 start = PR_Seek64(mFile, 0, PR_SEEK_CUR);
        const auto size = static_cast<PRInt32>(mUsed);
        if (PR_Write(mFile, mBlock, size) != size) {
            // A failure may come behind a part that was written: only the file knows how long that is.
            LogLost(static_cast<std::size_t>(std::max<PROffset64>(PR_Seek64(mFile, 0, PR_SEEK_CUR) - start, 0)));
            mResult = kErrWrite;
        }
    }
    mUsed = 0;
    mCount = 0;
    return mResult;
}

/// Room for a line, in one piece. @return false when there is no memory, or it is more than one call can write.
bool LineWriter::MakeRoom(unsigned long long aSize)
{
    if (mRoom - mUsed >= aSize && mCount < kLinesPerBlock)
        return true;
    Flush();
    if (aSize <= mRoom)
        return true;
    const auto room = static_cast<std::size_t>(std::max<unsigned long long>(aSize, kBlockSize));
    void* const block = aSize <= INT_MAX ? ktREALLOC(mBlock, room) : nullptr;
    if (block == nullptr)
        return false;
    mBlock = static_cast<char*>(block);
    mRoom = room;
    return true;
}

void LineWriter::Append(std::string_view aText)
{
    std::memcpy(mBlock + mUsed, aText.data(), aText.size());
    mUsed += aText.size();
}

/// Logs the lines that do not end in the part of the block that was written.
void LineWriter::LogLost(std::size_t aWritten)
{
    for (int i = 0; i < mCount; ++i) {
        Line const& line = mLines[i];
        if (line.mEnd <= aWritten)
            continue;
        mBlock[line.mValue - kSettingsDivider.size()] = '\0';
        mBlock[line.mEnd - kSettingsClosing.size()] = '\0';
        Report(kErrWrite, "settings: failed to write key=%s value=%s", mBlock + line.mKey, mBlock + line.mValue);
    }
}

/// The enumerator that writes the store's entries.
int settings_writer(PLHashEntry* aEntry, int /*aIndex*/, void* aWriter)
{
    if (aEntry->key != nullptr && aEntry->value != nullptr)
        static_cast<LineWriter*>(aWriter)->Add(static_cast<char const*>(aEntry->key),
                                               static_cast<char const*>(aEntry->value));
    return HT_ENUMERATE_NEXT;
}

// The steps of writing. Each logs why it fails.

ktError WriteText(PRFileDesc* aFile, std::string_view aText, char const* aTemp)
{
    const auto size = static_cast<PRInt32>(aText.size());
    return PR_Write(aFile, aText.data(), size) == size ? kErrNone
                                                       : Report(kErrWrite, "settings: failed to write to %s", aTemp);
}

ktError WriteStore(PRFileDesc* aFile, PLHashTable* aStore, char const* aTemp)
{
    const ktError begun = WriteText(aFile, kSettingsHeader, aTemp);
    if (begun != kErrNone)
        return begun;
    LineWriter writer(aFile);
    PL_HashTableEnumerateEntries(aStore, settings_writer, &writer);
    const ktError result = writer.Flush();
    const ktError ended = WriteText(aFile, kSettingsFooter, aTemp);
    return ended != kErrNone ? ended : result;
}

/// Brings the whole store to the disk under another name.
ktError WriteTemp(char const* aTemp, char const* aPath, PLHashTable* aStore)
{
    ktFileHandle file(aTemp, PR_WRONLY | PR_CREATE_FILE | PR_TRUNCATE, 0666);
    if (file.Get() == nullptr)
        return Report(kErrOpen, "settings: failed to open file (%s) for writing", aTemp);
    ktLogWithComponent(kLogPriorityInfo, nullptr, "settings: writing settings to file (%s)", aPath);
    ktError result = WriteStore(file.Get(), aStore, aTemp);
    if (PR_Sync(file.Get()) != PR_SUCCESS)
        result = Report(kErrWrite, "settings: failed to sync %s", aTemp);
    if (!file.Close() && result == kErrNone)
        result = Report(kErrWrite, "settings: failed to sync & close (%s)", aTemp);
    return result;
}

bool CannotLink(int aReason)
{
    return aReason == EPERM || aReason == EOPNOTSUPP || aReason == ENOSYS || aReason == EMLINK;
}

bool IsFolder(char const* aPath)
{
    struct stat status = {};
    return lstat(aPath, &status) == 0 && S_ISDIR(status.st_mode);
}

/// The file that could not be read whole, under a name of its own before another one takes its place.
class OldFile {
public:
    /// @return 0, also when there is no file to keep; -2 or -103 when it cannot be kept, which is logged.
    ktError Keep(char const* aPath);
    /// Where the file could only be moved, there is none under its name now, and no other has come.
    void PutBack(char const* aPath) const
    {
        if (mIsMoved)
            std::rename(mName.get(), aPath);
    }

private:
    bool TakeName(char const* aPath);

    Path mName{nullptr, &PR_smprintf_free};
    bool mIsMoved = false;
};

ktError OldFile::Keep(char const* aPath)
{
    mName.reset(PR_smprintf("%s.bad", aPath));
    if (!mName)
        return Report(kErrNoMemory, "settings: failed to allocate the path of a file");
    if (IsFolder(aPath))  // is no settings file; renaming will say so
        return kErrNone;
    if (TakeName(aPath))
        return Report(kErrNone, "settings: kept file (%s), which could not be read whole, as (%s)", aPath, mName.get());
    const int reason = errno;
    if (reason == ENOENT)  // there is nothing to keep
        return kErrNone;
    return Report(kErrWrite, "settings: failed to keep file (%s), %s (%d)", aPath, std::strerror(reason), reason);
}

/// Gives the file a second name, which an older one loses, or where there are no links another one.
/// @return whether it has it; else `errno` says why not.
bool OldFile::TakeName(char const* aPath)
{
    if (link(aPath, mName.get()) == 0)
        return true;
    if (errno == EEXIST && (unlink(mName.get()), link(aPath, mName.get()) == 0))
        return true;
    mIsMoved = CannotLink(errno) && std::rename(aPath, mName.get()) == 0;
    return mIsMoved;
}

ktError Rename(char const* aTemp, char const* aPath)
{
    if (std::rename(aTemp, aPath) == 0)
        return kErrNone;
    const int reason = errno;
    return Report(kErrWrite, "settings: failed to rename (%s), %s (%d)", aTemp, std::strerror(reason), reason);
}

/// For its life numbers have periods on this thread: NSPR's formatter asks the C library's, which has a locale.
class PlainNumbers {
public:
    PlainNumbers() : mOld(uselocale(ktPlainLocale()))
    {
    }
    ~PlainNumbers()
    {
        uselocale(mOld);
    }
    PlainNumbers(PlainNumbers const&) = delete;
    PlainNumbers& operator=(PlainNumbers const&) = delete;

private:
    locale_t mOld;
};

template <typename Value>
ktError SetNumber(ktSettings& aSettings, char const* aKey, char const* aFormat, Value aValue)
{
    char text[kNumberSize];
    {
        const PlainNumbers plain;
        PR_snprintf(text, sizeof text, aFormat, aValue);
    }
    return aSettings.SetValue(aKey, text);
}

}  // namespace

void escape_value(char const* aIn, char* aOut, int aOutSize)
{
    if (aOut == nullptr)
        return;
    char* out = aOut;
    int budget = aOutSize;
    for (char const* in = aIn != nullptr ? aIn : ""; *in != '\0' && budget > 1; ++in) {
        if (kWidths[*in] == 1) {
            *out++ = *in;  // not charged: the rule that callers size their buffers by
            continue;
        }
        const int length = WriteEscape(*in, out, budget - 1);
        out += length;
        budget -= length;
    }
    *out = '\0';
}

ktSettings::ktSettings() : mLock(nullptr), mIsDirty(0), mWritable(1), mKeepsOld(0)
{
}

ktSettings::~ktSettings()
{
    ktDestroyHandle(mLock, PR_DestroyLock);
}

ktError ktSettings::Init(char const* aPath)
{
    if (mLock == nullptr)
        mLock = PR_NewLock();
    if (mLock == nullptr)
        return Report(kErrRefused, "settings: failed to NewLock");
    mIsDirty = 0;
    mKeepsOld = 0;
    ktDestroyHandle(mStore, PL_HashTableDestroy);  // nothing can be set for a file that has no name
    ktError result = mFileName.Copy(aPath);
    if (result != kErrNone)
        return Report(result, "settings: failed to keep the file name (%s)", aPath);
    result = ktConfig::Init();
    char* text = nullptr;
    int size = 0;
    if (result == kErrNone)
        result = ReadFile(aPath, text, size);
    const ktOwnedText owned(text, &ktFREE);
    if (result == kErrNone)
        result = ReadText(text, size, aPath);
    mKeepsOld = result != kErrNone;
    return result;
}

void ktSettings::DidSetValue(char const* /*aKey*/, char const* /*aValue*/)
{
}

char const* ktSettings::GetValue(char const* aKey) const
{
    return Locked(mLock, [&] { return ktConfig::GetValue(aKey); });
}

ktError ktSettings::GetPathValue(char const* aKey, ktString& aOut) const
{
    return Locked(mLock, [&] { return ktConfig::GetPathValue(aKey, aOut); });
}

int ktSettings::GetIntValue(char const* aKey) const
{
    return Locked(mLock, [&] { return ktConfig::GetIntValue(aKey); });
}

float ktSettings::GetFloatValue(char const* aKey) const
{
    return Locked(mLock, [&] { return ktConfig::GetFloatValue(aKey); });
}

int ktSettings::GetIntValues(char const* aKey, char aDelimiter, ktIntArray& aOut) const
{
    return Locked(mLock, [&] { return ktConfig::GetIntValues(aKey, aDelimiter, aOut); });
}

long long ktSettings::GetTimeValue(char const* aKey) const
{
    return Locked(mLock, [&] { return ktConfig::GetTimeValue(aKey); });
}

ktError ktSettings::GetBinaryBlobValue(char const* aKey, char* aBuffer, unsigned int& aLength) const
{
    return Locked(mLock, [&] { return ktConfig::GetBinaryBlobValue(aKey, aBuffer, aLength); });
}

bool ktSettings::HasValue(char const* aKey) const
{
    return Locked(mLock, [&] { return ktConfig::HasValue(aKey); });
}

long long ktSettings::GetLong64Value(char const* aKey) const
{
    unsigned long long value = 0;
    const ktError result = Locked(mLock, [&] { return GetUInt64Value(aKey, value); });
    if (result != kErrNone)
        Report(result, "settings: ktConfig::GetUInt64Value failed with %d", result);
    return static_cast<long long>(value);
}

bool ktSettings::GetBoolValue(char const* aKey) const
{
    return GetIntValue(aKey) != 0;
}

bool ktSettings::UpdateIntIfPresent(int& aValue, char const* aKey) const
{
    return Locked(mLock, [&] {
        const bool isPresent = ktConfig::HasValue(aKey);
        const int value = ktConfig::GetIntValue(aKey);
        if (!isPresent || value == aValue)
            return false;
        aValue = value;
        return true;
    });
}

ktError ktSettings::SetValue(char const* aKey, char const* aValue)
{
    const ktError result = Locked(mLock, [&] {
        mIsDirty = 1;
        return AddEntry(aKey, aValue);
    });
    DidSetValue(aKey, aValue);
    return result;
}

ktError ktSettings::SetValue(char const* aKey, int aValue)
{
    return SetNumber(*this, aKey, "%d", aValue);
}

ktError ktSettings::SetValue(char const* aKey, long long aValue)
{
    return SetNumber(*this, aKey, "%lld", aValue);
}

ktError ktSettings::SetValue(char const* aKey, unsigned long long aValue)
{
    return SetNumber(*this, aKey, "%llu", aValue);
}

ktError ktSettings::SetValue(char const* aKey, float aValue)
{
    return SetNumber(*this, aKey, "%f", static_cast<double>(aValue));
}

ktError ktSettings::SetValue(char const* aKey, ktBOOL aValue)
{
    return SetValue(aKey, aValue != 0 ? 1 : 0);
}

ktError ktSettings::SetValue(char const* aKey, char const* aData, unsigned int aLength)
{
    if (aLength > kMaxBlob || (aData == nullptr && aLength != 0))
        return kErrBadValue;
    const ktOwnedText text(static_cast<char*>(ktMALLOC((aLength + 3) * 4 / 3 + 1)), &ktFREE);
    if (!text)
        return kErrNoMemory;
    const unsigned short length =
        ktBase64Encode(reinterpret_cast<unsigned char const*>(aData), static_cast<unsigned short>(aLength), text.get());
    text.get()[length] = '\0';
    SetValue(aKey, text.get());
    return kErrNone;  // of blobs callers expect to hear only that they could not be encoded
}

ktError ktSettings::RemoveKey(char const* aKey)
{
    const bool isRemoved = Locked(
        mLock, [&] { return mStore != nullptr && aKey != nullptr && PL_HashTableRemove(mStore, aKey) == PR_TRUE; });
    DidSetValue(aKey, nullptr);
    return isRemoved ? kErrNone : kErrEmpty;
}

void ktSettings::SetWritability(ktBOOL aWritable)
{
    Locked(mLock, [&] { mWritable = aWritable; });
}

ktError ktSettings::Write()
{
    return Locked(mLock, [&] {
        if (mIsDirty == 0 || mWritable == 0 || mFileName.IsEmpty())
            return ktError{kErrNone};
        return mStore != nullptr ? Replace() : ktError{kErrNotInitialised};  // an empty file would be a loss
    });
}

ktError ktSettings::Destroy()
{
    const ktError result = Write();
    delete this;
    return result;
}

/// Adds what a settings file has. A text that is whole in the written form is read in that form, which gives what XML
/// would, and more; XML comes first where somebody else has written, and what it refuses may be a damaged file.
ktError ktSettings::ReadText(char* aText, int aSize, char const* aPath)
{
    ktSettingsReader check(aText, aSize);
    if (!check.HasHeader())
        return AddDocument(aText, aSize, aPath);
    while (check.Next())
        continue;
    const int line = check.GetDamagedLine();  // before reading turns escapes into line ends
    ktError result = check.CountDamages() == 0 ? kErrParse : AddDocument(aText, aSize, aPath);
    if (result != kErrParse)
        return result;
    ktSettingsReader reader(aText, aSize);
    while (reader.Next()) {
        reader.Terminate();
        result = AddEntry(reader.GetKey(), reader.GetValue());
        if (result != kErrNone)
            return result;
    }
    if (reader.CountDamages() == 0) {
        ktLogWithComponent(kLogPriorityInfo, nullptr, "settings: read all %d entries of file (%s) as they were written",
                           reader.CountEntries(), aPath);
        return kErrNone;
    }
    return Report(kErrParse, "settings: kept %d whole entries of file (%s), damages: %d, the first in line %d",
                  reader.CountEntries(), aPath, reader.CountDamages(), line);
}

/// Replaces the file by the store. Under the lock.
ktError ktSettings::Replace()
{
    char const* const path = mFileName.GetAsUTFArray();  // empty when there is no memory
    const Path temp(*path != '\0' && ktAttachThread() ? PR_smprintf("%s.tmp", path) : nullptr, &PR_smprintf_free);
    if (!temp)
        return Report(kErrNoMemory, "settings: failed to allocate the path of a file");
    ktError result = WriteTemp(temp.get(), path, mStore);
    OldFile old;
    if (result == kErrNone && mKeepsOld != 0)
        result = old.Keep(path);
    if (result == kErrNone)
        result = Rename(temp.get(), path);
    if (result != kErrNone) {
        old.PutBack(path);
        return result;
    }
    mKeepsOld = 0;
    return MakeDurable(temp.get(), path);
}

/// Brings the renaming to the disk.
ktError ktSettings::MakeDurable(char const* aTemp, char const* aPath)
{
    const std::unique_ptr<char, decltype(&PL_strfree)> copy(PL_strdup(aTemp), &PL_strfree);
    if (!copy)
        return Report(kErrNoMemory, "settings: failed to duplicate string");
    char const* const folder = dirname(copy.get());
    ktFileHandle file(folder, PR_RDONLY, 0);
    if (file.Get() == nullptr)
        return Report(kErrOpen, "settings: failed to open (%s)", folder);
    ktError result = kErrNone;
    if (PR_Sync(file.Get()) != PR_SUCCESS)
        result = Report(kErrWrite, "settings: failed to sync %s", folder);
    if (!file.Close())
        return Report(kErrWrite, "settings: failed to sync & close (%s)", folder);
    mIsDirty = 0;  // also when the folder was not synced: the new file has the name
    ktLogWithComponent(kLogPriorityCritical, nullptr, "settings: written settings to file (%s)", aPath);
    return result;
}
