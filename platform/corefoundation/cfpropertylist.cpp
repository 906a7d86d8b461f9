#include "CoreFoundation/CFPropertyList.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "CoreFoundation/CFDictionary.h"
#include "cfoldplist.h"
#include "cfstringobject.h"

namespace {

CF_CONSTANT_STRING(kErrorDomain, "CFPropertyListErrorDomain");

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";

bool StartsWith(std::string_view aText, std::string_view aStart)
{
    return aText.substr(0, aStart.size()) == aStart;
}

/// Told from the data of an old-style list, which begins with an angle bracket too, by what no data has.
bool IsXml(std::string_view aText)
{
    aText.remove_prefix(std::min(aText.find_first_not_of(" \t\r\n"), aText.size()));
    return StartsWith(aText, "<?") || StartsWith(aText, "<!") || StartsWith(aText, "<plist");
}

/// Goes over ASCII, which most of a text is, a word at a time.
int32_t SkipAscii(UInt8 const* aBytes, int32_t aAt, int32_t aSize)
{
    UInt64 word = 0;
    for (; aSize - aAt >= static_cast<int32_t>(sizeof word); aAt += static_cast<int32_t>(sizeof word)) {
        std::memcpy(&word, aBytes + aAt, sizeof word);
        if ((word & 0x8080808080808080U) != 0)
            break;
    }
    return aAt;
}

/// Goes over the character at `aAt`. @return false when it is none.
bool SkipCharacter(UInt8 const* aBytes, int32_t& aAt, int32_t aSize)
{
    UChar32 character = 0;
    U8_NEXT(aBytes, aAt, aSize, character);
    return character >= 0;
}

/// The first byte that is not UTF-8; the end when all are.
char const* FindMalformed(std::string_view aText)
{
    UInt8 const* const bytes = reinterpret_cast<UInt8 const*>(aText.data());
    const int32_t size = static_cast<int32_t>(aText.size());
    int32_t start = SkipAscii(bytes, 0, size);
    for (int32_t at = start; start < size && SkipCharacter(bytes, at, size); at = start)
        start = SkipAscii(bytes, at, size);
    return aText.data() + start;
}

cf::Owned<CFTypeRef> ReadUtf8(std::string_view aText, cf::PlistProblem& aProblem)
{
    char const* const malformed = FindMalformed(aText);
    if (malformed == aText.data() + aText.size())
        return cf::ReadOldPlist(aText, aProblem);
    aProblem.Set(cf::LineOf(aText, malformed), "the text is not UTF-8");
    return cf::Owned<CFTypeRef>();
}

/// UTF-16 turned into UTF-8, which is what is read.
class Transcoded {
public:
    /// @param aBytes without the mark.
    Transcoded(std::string_view aBytes, bool aIsBigEndian, cf::PlistProblem& aProblem);
    ~Transcoded()
    {
        std::free(mText);
    }
    Transcoded(Transcoded const&) = delete;
    Transcoded& operator=(Transcoded const&) = delete;

    std::string_view Get() const
    {
        return {mText, mSize};
    }

private:
    bool Append(std::string_view aBytes, std::size_t& aAt, bool aIsBigEndian);

    char* mText;
    std::size_t mSize;
};

UChar32 UnitAt(std::string_view aBytes, std::size_t aAt, bool aIsBigEndian)
{
    const int first = static_cast<UInt8>(aBytes[aAt]);
    const int second = static_cast<UInt8>(aBytes[aAt + 1]);
    return aIsBigEndian ? first * 256 + second : second * 256 + first;
}

Transcoded::Transcoded(std::string_view aBytes, bool aIsBigEndian, cf::PlistProblem& aProblem)
    : mText(static_cast<char*>(std::malloc(aBytes.size() / 2 * 3 + 1))), mSize(0)
{
    if (mText == nullptr)
        aProblem.SetNoMemory();
    for (std::size_t at = 0; mText != nullptr && at < aBytes.size();) {
        if (Append(aBytes, at, aIsBigEndian))
            continue;
        aProblem.Set(cf::LineOf(Get(), mText + mSize), "the text is not UTF-16");
        return;
    }
}

/// Appends the character at `aAt` and goes behind it. @return false when it is not a whole one.
bool Transcoded::Append(std::string_view aBytes, std::size_t& aAt, bool aIsBigEndian)
{
    if (aBytes.size() - aAt < 2)
        return false;
    UChar32 character = UnitAt(aBytes, aAt, aIsBigEndian);
    aAt += 2;
    if (U16_IS_SURROGATE(character)) {
        const UChar32 trail = aBytes.size() - aAt >= 2 ? UnitAt(aBytes, aAt, aIsBigEndian) : 0;
        if (!U16_IS_SURROGATE_LEAD(character) || !U16_IS_TRAIL(trail))
            return false;
        character = U16_GET_SUPPLEMENTARY(character, trail);
        aAt += 2;
    }
    U8_APPEND_UNSAFE(mText, mSize, character);
    return true;
}

cf::Owned<CFTypeRef> ReadUtf16(std::string_view aBytes, CFPropertyListFormat& aFormat, cf::PlistProblem& aProblem)
{
    const Transcoded text(aBytes.substr(kUtf16BigMark.size()), StartsWith(aBytes, kUtf16BigMark), aProblem);
    if (aProblem.IsSet())
        return cf::Owned<CFTypeRef>();
    if (!IsXml(text.Get()))
        return cf::ReadOldPlist(text.Get(), aProblem);
    aFormat = kCFPropertyListXMLFormat_v1_0;
    return cf::ReadXmlPlist(aBytes, aProblem);  // as it came: it may say of itself that it is UTF-16
}

}  // namespace

// What the readers share.

void cf::PlistProblem::Set(CFIndex aLine, char const* aFormat, ...)
{
    if (IsSet())
        return;
    mLine = aLine;
    va_list arguments;
    va_start(arguments, aFormat);
    std::vsnprintf(mReason, sizeof mReason, aFormat, arguments);
    va_end(arguments);
}

void cf::PlistProblem::SetNoMemory()
{
    if (!IsSet())
        mLine = kNoMemory;
}

CFErrorRef cf::PlistProblem::CreateError() const
{
    if (mLine <= 0)
        return nullptr;
    char text[sizeof mReason + 32];
    std::snprintf(text, sizeof text, "line %ld: %s", mLine, mReason);
    void const* key = kCFErrorLocalizedDescriptionKey;
    Owned<CFStringRef> sentence(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8));
    if (!sentence)  // a character was cut in two to make it fit
        sentence = Owned<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingISOLatin1));
    void const* value = sentence.Get();
    const Owned<CFDictionaryRef> information(CFDictionaryCreate(
        kCFAllocatorDefault, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    if (!sentence || !information)
        return nullptr;
    return CFErrorCreate(kCFAllocatorDefault, kErrorDomain, kCFPropertyListReadCorruptError, information.Get());
}

CFIndex cf::LineOf(std::string_view aText, char const* aPosition)
{
    CFIndex line = 1;
    for (char const* at = aText.data(); at != aPosition; ++at) {
        const bool isHalf = *at == '\r' && at + 1 != aText.data() + aText.size() && at[1] == '\n';
        if (*at == '\n' || (*at == '\r' && !isHalf))
            ++line;
    }
    return line;
}

cf::Owned<CFTypeRef> cf::ReadPlist(std::string_view aBytes, CFPropertyListFormat* aFormat, PlistProblem& aProblem)
{
    CFPropertyListFormat format = kCFPropertyListOpenStepFormat;
    Owned<CFTypeRef> list;
    if (aBytes.size() > INT_MAX / 4)
        aProblem.Set(1, "the text is too long");
    else if (StartsWith(aBytes, kUtf16BigMark) || StartsWith(aBytes, kUtf16LittleMark))
        list = ReadUtf16(aBytes, format, aProblem);
    else {
        aBytes.remove_prefix(StartsWith(aBytes, kUtf8Mark) ? kUtf8Mark.size() : 0);
        const bool isXml = IsXml(aBytes);
        format = isXml ? kCFPropertyListXMLFormat_v1_0 : kCFPropertyListOpenStepFormat;
        list = isXml ? ReadXmlPlist(aBytes, aProblem) : ReadUtf8(aBytes, aProblem);
    }
    if (list && aFormat != nullptr)
        *aFormat = format;
    return list;
}

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef /*aAllocator*/, CFDataRef aData,
                                               CFOptionFlags /*aOptions*/, CFPropertyListFormat* aFormat,
                                               CFErrorRef* aError)
{
    cf::PlistProblem problem;
    cf::Owned<CFTypeRef> list;
    if (aData != nullptr)
        list = cf::ReadPlist(
            {reinterpret_cast<char const*>(CFDataGetBytePtr(aData)), static_cast<std::size_t>(CFDataGetLength(aData))},
            aFormat, problem);
    else
        problem.Set(1, "there is no data");
    if (!list && aError != nullptr)
        *aError = problem.CreateError();
    return list.Detach();
}
