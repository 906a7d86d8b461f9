#include "CoreFoundation/CFPropertyList.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "CoreFoundation/CFDictionary.h"
#include "cfoldplist.h"
#include "cfstringcodec.h"

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

cf::Owned<CFTypeRef> ReadUtf8(std::string_view aText, cf::PlistProblem& aProblem)
{
    const cf::Decoder decoder(reinterpret_cast<UInt8 const*>(aText.data()), static_cast<CFIndex>(aText.size()),
                              kCFStringEncodingUTF8, false);
    if (decoder.IsAllowed())
        return cf::ReadOldPlist(aText, aProblem);
    aProblem.Set(cf::LineOf(aText, aText.data() + decoder.CountAllowed()), "the text is not UTF-8");
    return cf::Owned<CFTypeRef>();
}

/// UTF-16 turned into UTF-8, which is what is read.
class Transcoded {
public:
    /// @param aBytes with the mark.
    Transcoded(std::string_view aBytes, cf::PlistProblem& aProblem);
    ~Transcoded()
    {
        std::free(mText);
    }
    Transcoded(Transcoded const&) = delete;
    Transcoded& operator=(Transcoded const&) = delete;

    std::string_view Get() const
    {
        return {static_cast<char const*>(mText), static_cast<std::size_t>(mSize)};
    }

private:
    void* mText;
    CFIndex mSize;
};

Transcoded::Transcoded(std::string_view aBytes, cf::PlistProblem& aProblem) : mText(nullptr), mSize(0)
{
    const CFIndex whole = static_cast<CFIndex>(aBytes.size()) / 2 * 2;
    const cf::Owned<CFStringRef> text(CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(aBytes.data()),
                                                              whole, kCFStringEncodingUTF16, true));
    const CFIndex length = CFStringGetLength(text.Get());
    const CFIndex room = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8);
    mText = text ? std::malloc(static_cast<std::size_t>(room) + 1) : nullptr;
    if (mText == nullptr) {
        aProblem.SetNoMemory();
        return;
    }
    const CFIndex converted = CFStringGetBytes(text.Get(), CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false,
                                               static_cast<UInt8*>(mText), room, &mSize);
    if (converted != length || whole != static_cast<CFIndex>(aBytes.size()))
        aProblem.Set(cf::LineOf(Get(), Get().data() + mSize), "the text is not UTF-16");
}

cf::Owned<CFTypeRef> ReadUtf16(std::string_view aBytes, CFPropertyListFormat& aFormat, cf::PlistProblem& aProblem)
{
    const Transcoded text(aBytes, aProblem);
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
