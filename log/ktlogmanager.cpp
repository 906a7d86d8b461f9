#include "ktlogmanager.h"

#include <prtime.h>
#include <strings.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "kterrno.h"
#include "ktlogbuffer.h"

namespace {

constexpr unsigned int kTypeCount = 4;
constexpr int kStandardError = 2;
constexpr std::size_t kHostnameSize = 256;

std::array<std::atomic<int>, kTypeCount> sPriorities = {};

/// The identifier in text lines. Every thread reads it for each line and any may set it, without a lock; its words are
/// atomic so that a reader sees old and new parts at worst, never anything else.
class SharedName {
    using Word = unsigned long;

public:
    /// As much as a line shows, and a terminator.
    using Text = std::array<char, 64 + sizeof(Word)>;

    void Set(char const* aText)
    {
        std::array<char, sizeof mWords> text = {};
        std::strncpy(text.data(), aText, text.size() - 1);
        for (std::size_t i = 0; i < mWords.size(); ++i) {
            Word word = 0;
            std::memcpy(&word, text.data() + i * sizeof word, sizeof word);
            mWords[i].store(word, std::memory_order_relaxed);
        }
    }

    void Get(Text& aText) const
    {
        for (std::size_t i = 0; i < aText.size() / sizeof(Word); ++i) {
            const Word word = mWords[i].load(std::memory_order_relaxed);
            std::memcpy(aText.data() + i * sizeof word, &word, sizeof word);
        }
        aText.back() = '\0';
    }

private:
    std::array<std::atomic<Word>, kHostnameSize / sizeof(Word)> mWords = {};
};

SharedName sHostname;

struct PriorityWord {
    char const* mWord;
    ktLogPriority mPriority;
};

constexpr PriorityWord kPriorityWords[] = {
    {"debug", kLogPriorityDebug},     {"debg", kLogPriorityDebug},    {"warn", kLogPriorityWarning},
    {"warning", kLogPriorityWarning}, {"crit", kLogPriorityCritical}, {"critical", kLogPriorityCritical},
    {"none", kLogPriorityNone},       {"off", kLogPriorityNone},
};

constexpr ktLogPriority kNoPriority = static_cast<ktLogPriority>(-1);

bool IsSuppressed(ktLogFileType aType, ktLogPriority aPriority)
{
    return aType < kTypeCount && sPriorities[aType].load(std::memory_order_relaxed) > aPriority;
}

/// One `write` for the record, and more only for what an interruption or a short write has left of it.
bool WriteWhole(int aFD, ktLogBuffer& aRecord)
{
    ssize_t written = aRecord.WriteToFile(aFD);
    std::size_t done = 0;
    for (;;) {
        if (written > 0)
            done += static_cast<std::size_t>(written);
        else if (written == 0 || errno != EINTR)
            return false;
        if (done == aRecord.GetLength())
            return true;
        written = write(aFD, aRecord.GetBufferPtr() + done, aRecord.GetLength() - done);
    }
}

void WriteToStandardError(ktLogBuffer& aRecord)
{
    static std::atomic<bool> sIsReported{false};
    if (WriteWhole(kStandardError, aRecord)) {
        if (sIsReported.load(std::memory_order_relaxed))
            sIsReported.store(false, std::memory_order_relaxed);
    } else if (!sIsReported.exchange(true, std::memory_order_relaxed)) {
        syslog(LOG_USER | LOG_ERR, "log manager: Unable to write to descriptor %d (errno %d)", kStandardError, errno);
    }
}

void WriteEventToStandardError(char const* aEventName, char const* aFormat, va_list aArgs)
{
    ktLogBuffer record;
    record.AppendEvent(ktLogManagerNS::GetInternalNow(), aEventName, aFormat, aArgs);
    WriteToStandardError(record);
}

std::atomic<long long> sManualNow{0};

}  // namespace

void ktLogManager::WriteTextMessage(ktLogFileType aType, ktLogPriority aPriority, char const* aComponent,
                                    char const* aFormat, va_list aArgs)
{
    if (IsSuppressed(aType, aPriority))
        return;
    const ktErrnoKeeper errnoKeeper;
    SharedName::Text hostname;
    sHostname.Get(hostname);
    ktLogBuffer record;
    record.AppendTextMessage(ktLogManagerNS::GetInternalNow(), aPriority, nullptr, hostname.data(), aComponent, aFormat,
                             aArgs);
    WriteToStandardError(record);
}

void ktLogManager::WriteEvent(ktLogFileType aType, ktLogPriority aPriority, char const* aEventName,
                              char const* /*aSchema*/, char const* aFormat, va_list aArgs)
{
    if (IsSuppressed(aType, aPriority))
        return;
    const ktErrnoKeeper errnoKeeper;
    WriteEventToStandardError(aEventName, aFormat, aArgs);
}

void ktLogManager::WriteEventAndSetPreamble(ktLogFileType /*aType*/, char const* aEventName, char const* /*aSchema*/,
                                            char const* aFormat, va_list aArgs)
{
    const ktErrnoKeeper errnoKeeper;
    WriteEventToStandardError(aEventName, aFormat, aArgs);
}

void ktLogManager::SetLogPriority(ktLogFileType aType, ktLogPriority aPriority)
{
    if (aType < kTypeCount)
        sPriorities[aType].store(aPriority, std::memory_order_relaxed);
}

ktLogPriority ktLogManager::GetLogPriority(ktLogFileType aType)
{
    return aType < kTypeCount ? static_cast<ktLogPriority>(sPriorities[aType].load(std::memory_order_relaxed))
                              : kNoPriority;
}

int ktLogManager::GetLogFDForCrashReporting(ktLogFileType /*aType*/)
{
    return kStandardError;
}

ktLogPriority ktLogManager::MapStringToLogPriority(char const* aWord)
{
    if (aWord == nullptr)
        return kNoPriority;
    const auto* const found =
        std::find_if(std::begin(kPriorityWords), std::end(kPriorityWords),
                     [=](PriorityWord const& aEntry) { return strcasecmp(aEntry.mWord, aWord) == 0; });
    return found != std::end(kPriorityWords) ? found->mPriority : kNoPriority;
}

void ktLogManager::SetLogIdentifier(char const* aIdentifier)
{
    if (aIdentifier != nullptr)
        sHostname.Set(aIdentifier);
}

long long ktLogManagerNS::GetInternalNow()
{
    long long now = sManualNow.load(std::memory_order_relaxed);
    while (now != 0) {
        if (sManualNow.compare_exchange_weak(now, now + 1, std::memory_order_relaxed))
            return now;
    }
    return PR_Now();
}

void ktLogManagerNS::SetInternalNow(long long aMicroseconds)
{
    sManualNow.store(aMicroseconds, std::memory_order_relaxed);
}

bool ktLogManagerNS::IsInternalNowManual()
{
    return sManualNow.load(std::memory_order_relaxed) != 0;
}
