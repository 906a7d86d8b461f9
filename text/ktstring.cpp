#include "ktstring.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

#include "ktcfowned.h"
#include "ktlog.h"
#include "ktmemory.h"
#include "ktstringcore.h"

static_assert(sizeof(wchar_t) == sizeof(UTF32Char), "wide characters are code points");

namespace {

// A statistic: neither locked nor summed up atomically, only free of torn values.
std::atomic<unsigned> sMemoryWaterLevel{0};

char const* const kEmptyUTF8 = "";
constexpr UTF32Char kEmptyUTF32[] = {0};

void LogCritical(char const* aMessage)
{
    ktLogWithComponent(kLogPriorityCritical, nullptr, "%s", aMessage);
}

ktError ReportNoString()
{
    LogCritical("ktString: backing string not valid");
    return kErrNoMemory;
}

/// Converts a whole text into a new block from ktMALLOC, with a zero of the type behind it.
/// @return null when the text cannot be converted or there is no memory, which is logged.
template <typename Unit>
Unit* Convert(CFStringRef aText, CFStringEncoding aEncoding, int& aSize)
{
    const CFRange whole = ktWholeOf(aText);
    CFIndex used = 0;
    if (CFStringGetBytes(aText, whole, aEncoding, 0, false, nullptr, 0, &used) == 0) {
        LogCritical("ktString: failed to convert backing store for string");
        return nullptr;
    }
    const std::size_t size = static_cast<std::size_t>(used) + sizeof(Unit);
    void* const block = ktMALLOC(size);
    if (block == nullptr) {
        LogCritical("ktString: failed to allocate backing store for string");
        return nullptr;
    }
    CFStringGetBytes(aText, whole, aEncoding, 0, false, static_cast<UInt8*>(block), used, &used);
    Unit* const units = static_cast<Unit*>(block);
    units[size / sizeof(Unit) - 1] = 0;
    aSize = static_cast<int>(size);
    ktCountStringBytes(aSize);
    return units;
}

CFStringRef CreateFromBytes(void const* aBytes, CFIndex aCount, CFStringEncoding aEncoding)
{
    return CFStringCreateWithBytes(kCFAllocatorDefault, static_cast<UInt8 const*>(aBytes), aCount, aEncoding, false);
}

/// @param aCount must not be negative.
CFStringRef CreateFromText(char const* aText, CFIndex aCount)
{
    CFStringRef const text = CreateFromBytes(aText, aCount, kCFStringEncodingUTF8);
    return text != nullptr ? text : CreateFromBytes(aText, aCount, kCFStringEncodingASCII);
}

}  // namespace

void ktCountStringBytes(CFIndex aBytes)
{
    const unsigned level = sMemoryWaterLevel.load(std::memory_order_relaxed);
    sMemoryWaterLevel.store(level + static_cast<unsigned>(aBytes), std::memory_order_relaxed);
}

CFStringRef ktCreateFromWide(wchar_t const* aText)
{
    return aText != nullptr ? ktCreateFromWide(aText, std::wcslen(aText)) : nullptr;
}

CFStringRef ktCreateFromWide(wchar_t const* aText, std::size_t aCount)
{
    if (aCount > INT_MAX / sizeof *aText)  // bytes are counted like everything else
        return nullptr;
    return CreateFromBytes(aText, static_cast<CFIndex>(aCount * sizeof *aText), kCFStringEncodingUTF32LE);
}

CFStringRef ktCreatePart(CFStringRef aText, CFIndex aStart, CFIndex aLength)
{
    if (aText == nullptr || aStart < 0 || aLength < 0 || aLength > CFStringGetLength(aText) - aStart)
        return nullptr;
    return CFStringCreateWithSubstring(kCFAllocatorDefault, aText, CFRangeMake(aStart, aLength));
}

// Life cycle.

ktString::ktString()
    : mString(CFStringCreateMutable(kCFAllocatorDefault, 0)), mAccess(nullptr), mUTF8(nullptr), mUTF8Size(0),
      mUTF32(nullptr), mUTF32Size(0)
{
}

ktString::ktString(char const* aText) : ktString()
{
    Append(aText);
}

ktString::ktString(char const* aText, int aCount) : ktString()
{
    Append(aText, aCount);
}

ktString::ktString(wchar_t const* aText) : ktString()
{
    Append(aText);
}

ktString::ktString(wchar_t const* aText, int aCount) : ktString()
{
    Append(aText, aCount);
}

ktString::ktString(ktString const& aOther) : ktString()
{
    Append(aOther);
}

ktString::ktString(ktString const* aOther) : ktString()
{
    Append(aOther);
}

ktString::ktString(CFStringRef aText) : ktString()
{
    Append(aText);
}

ktString::ktString(CFUSharedRef<CFStringRef> const& aText) : ktString()
{
    Append(aText);
}

ktString::~ktString()
{
    Discard();
}

// Replacing the text.

ktError ktString::Copy(char const* aText)
{
    return Renew(aText);
}

ktError ktString::Copy(char const* aText, int aCount)
{
    return Renew(aText, aCount);
}

ktError ktString::Copy(wchar_t aChar)
{
    return Renew(aChar);
}

ktError ktString::Copy(wchar_t const* aText)
{
    return Renew(aText);
}

ktError ktString::Copy(wchar_t const* aText, int aCount)
{
    return Renew(aText, aCount);
}

ktError ktString::Copy(ktString const& aOther)
{
    return Renew(aOther);
}

ktError ktString::Copy(ktString const* aOther)
{
    return Renew(aOther);
}

ktError ktString::Copy(CFStringRef aText)
{
    return Renew(aText);
}

ktError ktString::Copy(CFUSharedRef<CFStringRef> const& aText)
{
    return Renew(aText);
}

ktString& ktString::operator=(char const* aText)
{
    CopyUnlessNull(aText);
    return *this;
}

ktString& ktString::operator=(wchar_t aChar)
{
    Copy(aChar);
    return *this;
}

ktString& ktString::operator=(wchar_t const* aText)
{
    CopyUnlessNull(aText);
    return *this;
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the old text goes last
ktString& ktString::operator=(ktString const& aOther)
{
    Copy(aOther);
    return *this;
}

ktString& ktString::operator=(ktString const* aOther)
{
    CopyUnlessNull(aOther);
    return *this;
}

ktString& ktString::operator=(CFStringRef aText)
{
    CopyUnlessNull(aText);
    return *this;
}

ktString& ktString::operator=(CFUSharedRef<CFStringRef> const& aText)
{
    CopyUnlessNull(aText.Get());
    return *this;
}

// Appending.

ktError ktString::Append(char aChar)
{
    if (aChar == '\0')
        return kErrBadValue;
    if (mString == nullptr)
        return kErrNoMemory;
    // Single characters come from sources that know no UTF-8, whose bytes are Latin-1.
    const char text[] = {aChar, '\0'};
    const Change change(*this);
    CFStringAppendCString(mString, text, kCFStringEncodingISOLatin1);
    return change.Growth() != 0 ? kErrNone : kErrNoMemory;
}

ktError ktString::Append(char const* aText)
{
    if (aText == nullptr)
        return kErrNone;
    if (mString == nullptr)
        return ReportNoString();
    if (HoldsBytes(aText))
        return AppendAndRelease(CreateStringFromString(aText));
    const Change change(*this);
    CFStringAppendCString(mString, aText, kCFStringEncodingUTF8);
    if (change.Growth() == 0 && *aText != '\0')
        CFStringAppendCString(mString, aText, kCFStringEncodingASCII);
    return change.Growth() != 0 || *aText == '\0' ? kErrNone : kErrNoMemory;
}

ktError ktString::Append(char const* aText, int aCount)
{
    if (aText == nullptr)
        return kErrNone;
    if (mString == nullptr)
        return ReportNoString();
    return aCount >= 0 ? AppendAndRelease(CreateFromText(aText, aCount)) : kErrBadValue;
}

ktError ktString::Append(wchar_t aChar)
{
    return Append(&aChar, 1);
}

ktError ktString::Append(wchar_t const* aText)
{
    return aText != nullptr ? AppendAndRelease(ktCreateFromWide(aText)) : kErrBadValue;
}

ktError ktString::Append(wchar_t const* aText, int aCount)
{
    if (aText == nullptr || aCount < 0)
        return kErrBadValue;
    return AppendAndRelease(ktCreateFromWide(aText, static_cast<std::size_t>(aCount)));
}

ktError ktString::Append(CFStringRef aText)
{
    if (aText == nullptr)
        return kErrBadValue;
    if (aText == mString)
        return AppendAndRelease(CFStringCreateCopy(kCFAllocatorDefault, aText));
    return AppendForeign(aText);
}

ktError ktString::Append(ktString const& aOther)
{
    return aOther.mString != nullptr ? Append(aOther.GetAsCFString()) : kErrNoMemory;
}

ktError ktString::Append(ktString const* aOther)
{
    return aOther != nullptr ? Append(*aOther) : kErrBadValue;
}

ktError ktString::Append(CFUSharedRef<CFStringRef> const& aText)
{
    return Append(aText.Get());
}

ktString& ktString::operator+=(char aChar)
{
    Append(aChar);
    return *this;
}

ktString& ktString::operator+=(char const* aText)
{
    Append(aText);
    return *this;
}

ktString& ktString::operator+=(wchar_t aChar)
{
    Append(aChar);
    return *this;
}

ktString& ktString::operator+=(wchar_t const* aText)
{
    Append(aText);
    return *this;
}

ktString& ktString::operator+=(CFStringRef aText)
{
    Append(aText);
    return *this;
}

ktString& ktString::operator+=(ktString const& aOther)
{
    Append(aOther);
    return *this;
}

ktString& ktString::operator+=(ktString const* aOther)
{
    Append(aOther);
    return *this;
}

ktString& ktString::operator+=(CFUSharedRef<CFStringRef> const& aText)
{
    Append(aText);
    return *this;
}

// Programs build texts piece by piece with this one, so it does not clear.
ktError ktString::Copy(ktString const& aOther, int aCount)
{
    if (aCount < 0)
        return kErrBadValue;
    return AppendAndRelease(ktCreatePart(aOther.mString, 0, std::min(aCount, aOther.GetLength())));
}

ktError ktString::CopyFrom(ktString const& aOther, int aStart)
{
    return AppendAndRelease(ktCreatePart(aOther.mString, aStart, aOther.GetLength() - std::max(aStart, 0)));
}

ktError ktString::CopyFrom(ktString const& aOther, int aStart, int aLength)
{
    const ktCFOwned<CFStringRef> part(ktCreatePart(aOther.mString, aStart, aLength));
    return part ? Copy(part.Get()) : kErrNoMemory;
}

void ktString::Clear()
{
    Discard();
    mString = CFStringCreateMutable(kCFAllocatorDefault, 0);  // the old one may have other holders
}

// Reading.

CFStringRef ktString::GetAsCFString() const
{
    return mString;
}

CFUSharedRef<CFStringRef> ktString::GetAsCFUSharedStringRef() const
{
    return CFUSharedRef<CFStringRef>(mString);
}

char const* ktString::GetAsUTFArray() const
{
    if (mString == nullptr)
        return kEmptyUTF8;
    char const* const direct = CFStringGetCStringPtr(mString, kCFStringEncodingUTF8);
    if (direct != nullptr) {
        ClearBackingStore();
        return direct;
    }
    if (mUTF8 == nullptr && CFStringGetLength(mString) > 0)
        mUTF8 = Convert<char>(mString, kCFStringEncodingUTF8, mUTF8Size);
    return mUTF8 != nullptr ? mUTF8 : kEmptyUTF8;
}

int ktString::GetUTFByteLength() const
{
    return static_cast<int>(std::strlen(GetAsUTFArray()));
}

int ktString::GetLength() const
{
    return mString != nullptr ? static_cast<int>(CFStringGetLength(mString)) : 0;
}

ktBOOL ktString::IsEmpty() const
{
    return GetLength() == 0;
}

ktError ktString::ToBytes(char* aBuffer, int* aInOutSize) const
{
    if (mString == nullptr || aBuffer == nullptr || aInOutSize == nullptr || *aInOutSize < 1)
        return kErrGeneric;
    CFIndex used = 0;
    CFStringGetBytes(mString, ktWholeOf(mString), kCFStringEncodingUTF8, 0, false, reinterpret_cast<UInt8*>(aBuffer),
                     *aInOutSize - 1, &used);
    aBuffer[used] = '\0';
    *aInOutSize = static_cast<int>(used) + 1;
    return kErrNone;
}

CFStringRef ktString::CreateStringFromString(char const* aText)
{
    return aText != nullptr ? CreateFromText(aText, static_cast<CFIndex>(std::strlen(aText))) : nullptr;
}

CFStringRef ktString::CreateStringFromBuffer(char const* aText, int aCount)
{
    return aText != nullptr && aCount >= 0 ? CreateFromText(aText, aCount) : nullptr;
}

unsigned ktString::GetMemoryWaterLevel()
{
    return sMemoryWaterLevel.load(std::memory_order_relaxed);
}

// Access by unit and by code point.

ktError ktString::BeginSequenceAccessForUniChar16() const
{
    if (mAccess != nullptr || mString == nullptr)
        return kErrInvalidState;
    mAccess = new (std::nothrow) CFStringInlineBuffer;
    if (mAccess == nullptr)
        return kErrNoMemory;
    CFStringInitInlineBuffer(mString, mAccess, ktWholeOf(mString));
    ktCountStringBytes(sizeof *mAccess);
    return kErrNone;
}

UniChar ktString::GetUniChar16At(int aIndex) const
{
    return mAccess != nullptr ? CFStringGetCharacterFromInlineBuffer(mAccess, aIndex) : UniChar{0};
}

void ktString::EndSequenceAccessUniChar16() const
{
    ClearBackingStore();
}

ktError ktString::BeginSequenceAccessForUniChar32() const
{
    if (mString == nullptr || mUTF32 != nullptr || CFStringGetLength(mString) < 1)
        return kErrInvalidState;
    mUTF32 = Convert<UTF32Char>(mString, kCFStringEncodingUTF32LE, mUTF32Size);
    return mUTF32 != nullptr ? kErrNone : kErrInvalidState;
}

UTF32Char ktString::GetUniChar32At(int aIndex) const
{
    return mUTF32 != nullptr ? mUTF32[aIndex] : UTF32Char{0};
}

UTF32Char const* ktString::GetAsUniChar32Array() const
{
    if (mUTF32 == nullptr)
        BeginSequenceAccessForUniChar32();
    return mUTF32 != nullptr ? mUTF32 : kEmptyUTF32;
}

void ktString::EndSequenceAccessUniChar32() const
{
    ClearBackingStore();
}

// Comparing.

int ktString::Compare(ktString const& aOther, int aOptions) const
{
    if (mString == nullptr || aOther.mString == nullptr)
        return aOther.IsEmpty() - IsEmpty();
    return static_cast<int>(CFStringCompare(mString, aOther.mString, static_cast<CFOptionFlags>(aOptions)));
}

ktBOOL ktString::Equals(ktString const& aOther, ktBOOL aCaseInsensitive) const
{
    return Compare(aOther, ktCaseOption(aCaseInsensitive)) == 0;
}

ktBOOL ktString::Equals(char const* aText, ktBOOL aCaseInsensitive) const
{
    ktString other;
    return aText != nullptr && other.Append(aText) == kErrNone && Equals(other, aCaseInsensitive);
}

ktBOOL ktString::Equals(ktString const* aOther, ktBOOL aCaseInsensitive) const
{
    return aOther != nullptr && Equals(*aOther, aCaseInsensitive);
}

bool ktString::operator==(ktString const& aOther) const
{
    return Equals(aOther, 0) != 0;
}

bool ktString::operator==(char const* aText) const
{
    return Equals(aText, 0) != 0;
}

bool ktString::operator!=(ktString const& aOther) const
{
    return Equals(aOther, 0) == 0;
}

bool ktString::operator!=(char const* aText) const
{
    return Equals(aText, 0) == 0;
}

bool ktString::operator<(ktString const& aOther) const
{
    return Compare(aOther, 0) == kCFCompareLessThan;
}

CFHashCode ktString::GetHash() const
{
    return IsEmpty() != 0 ? 0 : CFHash(mString);
}

// Private steps.

/// Puts a new text in the place of the old one, which goes last: what is appended may lie in it.
template <typename... Text>
ktError ktString::Renew(Text const&... aText)
{
    ktString fresh;
    const ktError result = fresh.Append(aText...);
    Swap(fresh);
    return result;
}

template <typename Pointer>
void ktString::CopyUnlessNull(Pointer aText)
{
    if (aText != nullptr)
        Copy(aText);
}

void ktString::Swap(ktString& aOther)
{
    std::swap(mString, aOther.mString);
    std::swap(mAccess, aOther.mAccess);
    std::swap(mUTF8, aOther.mUTF8);
    std::swap(mUTF8Size, aOther.mUTF8Size);
    std::swap(mUTF32, aOther.mUTF32);
    std::swap(mUTF32Size, aOther.mUTF32Size);
}

/// Gives up the text and its views; mString dangles afterwards.
void ktString::Discard()
{
    ClearBackingStore();
    if (mString == nullptr)
        return;
    ktCountStringBytes(-2 * CFStringGetLength(mString));
    CFRelease(mString);
}

void ktString::DropViews() const
{
    ktCountStringBytes(-mUTF8Size - mUTF32Size - (mAccess != nullptr ? CFIndex{sizeof *mAccess} : 0));
    delete mAccess;
    mAccess = nullptr;
    ktFREE(mUTF8);
    mUTF8 = nullptr;
    mUTF8Size = 0;
    ktFREE(mUTF32);
    mUTF32 = nullptr;
    mUTF32Size = 0;
}

/// Whether a text lies in this string, so that a change would pull it away from under the reader.
bool ktString::HoldsBytes(char const* aText) const
{
    char const* const direct = mUTF8 != nullptr ? mUTF8 : CFStringGetCStringPtr(mString, kCFStringEncodingUTF8);
    const CFIndex size = mUTF8 != nullptr ? mUTF8Size : CFStringGetLength(mString) + 1;
    return direct != nullptr && aText >= direct && aText < direct + size;
}

/// @param aText not this string's own.
ktError ktString::AppendForeign(CFStringRef aText)
{
    if (mString == nullptr)
        return kErrNoMemory;
    const Change change(*this);
    CFStringAppend(mString, aText);
    return change.Growth() == CFStringGetLength(aText) ? kErrNone : kErrNoMemory;
}

/// @param aText new, or null when it could not be created.
ktError ktString::AppendAndRelease(CFStringRef aText)
{
    const ktCFOwned<CFStringRef> text(aText);
    return text ? AppendForeign(text.Get()) : kErrNoMemory;
}
