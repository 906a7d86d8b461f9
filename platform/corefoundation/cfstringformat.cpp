// Formatting. A format is read once, which tells the types of the arguments; then they are fetched in their order and
// the conversions are written in theirs.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <iterator>

#include "cfstringcodec.h"
#include "cfstringobject.h"

using cf::Text;

namespace {

/// What an argument is fetched from the list as.
enum class Fetched : UInt8 {
    kNothing,
    kInt,
    kLong,
    kLongLong,
    kMax,
    kSize,
    kDifference,
    kDouble,
    kLongDouble,
    kPointer
};

union Argument {
    int mAsInt;
    long mAsLong;
    long long mAsLongLong;
    std::intmax_t mAsMax;
    std::size_t mAsSize;
    std::ptrdiff_t mAsDifference;
    double mAsDouble;
    long double mAsLongDouble;
    void const* mAsPointer;
};

/// The lengths that conversions go with; anything else is no conversion.
struct Conversion {
    char const* mTypes;
    char const* mLength;
    Fetched mFetched;
};

constexpr Conversion kConversions[] = {
    {"diouxX", "", Fetched::kInt},
    {"diouxX", "hh", Fetched::kInt},
    {"diouxX", "h", Fetched::kInt},
    {"diouxX", "l", Fetched::kLong},
    {"diouxX", "ll", Fetched::kLongLong},
    {"diouxX", "q", Fetched::kLongLong},
    {"diouxX", "L", Fetched::kLongLong},
    {"diouxX", "j", Fetched::kMax},
    {"diouxX", "z", Fetched::kSize},
    {"diouxX", "t", Fetched::kDifference},
    {"aAeEfFgG", "", Fetched::kDouble},
    {"aAeEfFgG", "l", Fetched::kDouble},
    {"aAeEfFgG", "L", Fetched::kLongDouble},
    {"cC", "", Fetched::kInt},
    {"c", "l", Fetched::kInt},
    {"sSp@", "", Fetched::kPointer},
    {"s", "l", Fetched::kPointer},
    {"%", "", Fetched::kNothing},
};

Conversion const* FindConversion(UniChar aType, char const* aLength)
{
    auto const* const found =
        std::find_if(std::begin(kConversions), std::end(kConversions), [=](Conversion const& aConversion) {
            return std::strchr(aConversion.mTypes, aType) != nullptr && std::strcmp(aConversion.mLength, aLength) == 0;
        });
    return aType != 0 && aType < 0x80 && found != std::end(kConversions) ? found : nullptr;
}

/// A part of the format: a conversion, or text when `type` is 0.
struct Piece {
    CFRange mSource;  ///< in the format
    char mType;       ///< the conversion's letter
    char mLength[3];  ///< "hh", "l", …
    char mFlags[8];
    int mWidth;          ///< kNone, or
    int mWidthArgument;  ///< the position that gives it, from 0; -1 when none does
    int mPrecision;
    int mPrecisionArgument;
    int mArgument;
    Fetched mFetched;  ///< what the argument is
};

constexpr int kNone = -1;
/// Far more than a sentence has; a conversion behind them is left as it stands.
constexpr int kMaxArguments = 64;
/// Of width or precision; more is a mistake, and would only cost memory.
constexpr int kMostWidth = 1000000;

/// Reads the conversions of a format one after another.
class FormatReader {
public:
    explicit FormatReader(Text const& aFormat) : mFormat(aFormat), mAt(0), mNextArgument(0)
    {
    }

    /// @return false at the end.
    bool Next(Piece& aPiece);

private:
    UniChar Peek() const
    {
        return mAt < mFormat.mLength ? mFormat.At(mAt) : UniChar{0};
    }
    bool Skip(UniChar aUnit);
    int ReadNumber();
    int ReadPosition();
    int ReadStarOrNumber(int& aArgument);
    void ReadFlags(Piece& aPiece);
    void ReadLength(Piece& aPiece);
    bool ReadConversion(Piece& aPiece);

    const Text mFormat;
    CFIndex mAt;
    int mNextArgument;
};

bool FormatReader::Skip(UniChar aUnit)
{
    const bool isThere = Peek() == aUnit && mAt < mFormat.mLength;
    mAt += isThere ? 1 : 0;
    return isThere;
}

/// Digits; kNone when there are none.
int FormatReader::ReadNumber()
{
    int number = kNone;
    for (; Peek() >= '0' && Peek() <= '9'; ++mAt)
        number = std::min(std::max(number, 0) * 10 + (Peek() - '0'), kMostWidth);
    return number;
}

/// "n$", counted from 0; kNone when it is not there.
int FormatReader::ReadPosition()
{
    const CFIndex start = mAt;
    const int number = ReadNumber();
    if (number > 0 && Skip('$'))
        return number - 1;
    mAt = start;
    return kNone;
}

int FormatReader::ReadStarOrNumber(int& aArgument)
{
    if (!Skip('*'))
        return ReadNumber();
    aArgument = ReadPosition();
    if (aArgument == kNone)
        aArgument = mNextArgument++;
    return kNone;
}

void FormatReader::ReadFlags(Piece& aPiece)
{
    std::size_t count = 0;
    for (; Peek() != 0 && Peek() < 0x80 && std::strchr("-+ #0", Peek()) != nullptr; ++mAt)
        if (count + 1 < sizeof aPiece.mFlags)
            aPiece.mFlags[count++] = static_cast<char>(Peek());
}

void FormatReader::ReadLength(Piece& aPiece)
{
    std::size_t count = 0;
    for (; count < 2 && Peek() != 0 && Peek() < 0x80 && std::strchr("hlqjztL", Peek()) != nullptr; ++mAt)
        aPiece.mLength[count++] = static_cast<char>(Peek());
}

/// @return whether it is one; what follows the percent sign is text if not.
bool FormatReader::ReadConversion(Piece& aPiece)
{
    const int position = ReadPosition();
    ReadFlags(aPiece);
    aPiece.mWidth = ReadStarOrNumber(aPiece.mWidthArgument);
    if (Skip('.'))
        aPiece.mPrecision =
            std::max(ReadStarOrNumber(aPiece.mPrecisionArgument), aPiece.mPrecisionArgument != kNone ? kNone : 0);
    ReadLength(aPiece);
    Conversion const* const conversion = FindConversion(Peek(), aPiece.mLength);
    if (conversion == nullptr)
        return false;
    aPiece.mType = static_cast<char>(Peek());
    aPiece.mFetched = conversion->mFetched;
    ++mAt;
    if (aPiece.mType != '%')
        aPiece.mArgument = position != kNone ? position : mNextArgument++;
    return std::max({aPiece.mArgument, aPiece.mWidthArgument, aPiece.mPrecisionArgument}) < kMaxArguments;
}

bool FormatReader::Next(Piece& aPiece)
{
    aPiece = Piece{CFRangeMake(mAt, 0), 0, {}, {}, kNone, kNone, kNone, kNone, kNone, Fetched::kNothing};
    if (mAt >= mFormat.mLength)
        return false;
    const int saved = mNextArgument;
    if (Skip('%') && !ReadConversion(aPiece)) {
        aPiece = Piece{aPiece.mSource, 0, {}, {}, kNone, kNone, kNone, kNone, kNone, Fetched::kNothing};
        mNextArgument = saved;
        mAt = aPiece.mSource.location + 1;
    }
    while (aPiece.mType == 0 && mAt < mFormat.mLength && Peek() != '%')
        ++mAt;
    aPiece.mSource.length = mAt - aPiece.mSource.location;
    return true;
}

/// The arguments of a call, in their order.
class Arguments {
public:
    Arguments(Text const& aFormat, va_list aList);
    Argument const& At(int aPosition) const
    {
        return mValues[aPosition];
    }
    /// Whether the argument was fetched as what a conversion takes it for; two that disagree cannot both be right.
    bool Is(int aPosition, Fetched aFetch) const
    {
        return mFetches[aPosition] == aFetch;
    }

private:
    void Note(int aPosition, Fetched aFetch);

    Fetched mFetches[kMaxArguments];
    Argument mValues[kMaxArguments];
    int mCount;
};

void Arguments::Note(int aPosition, Fetched aFetch)
{
    if (aPosition == kNone)
        return;
    mFetches[aPosition] = aFetch;
    mCount = std::max(mCount, aPosition + 1);
}

Arguments::Arguments(Text const& aFormat, va_list aList) : mFetches{}, mValues{}, mCount(0)
{
    FormatReader reader(aFormat);
    for (Piece piece = {}; reader.Next(piece);) {
        Note(piece.mWidthArgument, Fetched::kInt);
        Note(piece.mPrecisionArgument, Fetched::kInt);
        if (piece.mType != 0)
            Note(piece.mArgument, piece.mFetched);
    }
    va_list list;
    va_copy(list, aList);
    for (int i = 0; i < mCount; ++i) {
        Argument& value = mValues[i];
        switch (mFetches[i]) {
        case Fetched::kNothing:  // a position that is not used is passed over as the commonest kind
        case Fetched::kInt:
            value.mAsInt = va_arg(list, int);
            break;
        case Fetched::kLong:
            value.mAsLong = va_arg(list, long);
            break;
        case Fetched::kLongLong:
            value.mAsLongLong = va_arg(list, long long);
            break;
        case Fetched::kMax:
            value.mAsMax = va_arg(list, std::intmax_t);
            break;
        case Fetched::kSize:
            value.mAsSize = va_arg(list, std::size_t);
            break;
        case Fetched::kDifference:
            value.mAsDifference = va_arg(list, std::ptrdiff_t);
            break;
        case Fetched::kDouble:
            value.mAsDouble = va_arg(list, double);
            break;
        case Fetched::kLongDouble:
            value.mAsLongDouble = va_arg(list, long double);
            break;
        case Fetched::kPointer:
            value.mAsPointer = va_arg(list, void const*);
            break;
        }
    }
    va_end(list);
}

/// Makes the process's locale the plain one for this thread while it lives.
class PlainNumbers {
public:
    PlainNumbers() : mOld(uselocale(cf::PlainLocale()))
    {
    }
    ~PlainNumbers()
    {
        uselocale(mOld);
    }
    PlainNumbers(PlainNumbers const&) = delete;
    PlainNumbers& operator=(PlainNumbers const&) = delete;

private:
    const locale_t mOld;
};

/// The bytes without the part of a UTF-8 character that a precision has left at their end.
CFIndex WithoutCutCharacter(UInt8 const* aBytes, CFIndex aCount)
{
    CFIndex start = aCount;
    while (start > 0 && aCount - start < 4 && (aBytes[start - 1] & 0xC0) == 0x80)
        --start;
    const UInt8 first = start > 0 ? aBytes[start - 1] : UInt8{0};
    const CFIndex size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 0;
    return size > aCount - start + 1 ? start - 1 : aCount;
}

/// Writes the conversions at the end of a string.
class FormatWriter {
public:
    FormatWriter(CFMutableStringRef aOut, Arguments const& aArguments) : mOut(aOut), mArguments(aArguments)
    {
    }

    /// @return false when there was no memory.
    bool Write(Text const& aFormat, Piece const& aPiece);

private:
    bool Append(Text const& aText)
    {
        return mOut->Append(aText);
    }
    void SetWidths();
    bool AppendPadding(CFIndex aCount);
    bool AppendField(Text const& aText);
    bool AppendBytes(char const* aBytes);
    bool AppendWide(wchar_t const* aPoints);
    bool AppendUnits(UniChar const* aUnits);
    bool AppendObject(CFTypeRef aObject);
    bool AppendNumber(Argument const& aValue);
    template <typename Value>
    bool AppendPrinted(Value aValue);

    __CFString* const mOut;
    Arguments const& mArguments;
    Piece mPiece{};
};

bool FormatWriter::Write(Text const& aFormat, Piece const& aPiece)
{
    mPiece = aPiece;
    if (mPiece.mType == '%')
        return Append(Text("%", 1));
    if (mPiece.mType == 0 || !mArguments.Is(mPiece.mArgument, mPiece.mFetched))
        return Append(aFormat.Part(mPiece.mSource));
    SetWidths();
    Argument const& value = mArguments.At(mPiece.mArgument);
    const bool isWide = mPiece.mLength[0] == 'l';
    const wchar_t points[] = {static_cast<wchar_t>(value.mAsInt), L'\0'};
    const UniChar unit = static_cast<UniChar>(value.mAsInt);
    switch (mPiece.mType) {
    case '@':
        return AppendObject(value.mAsPointer);
    case 's':
        return isWide ? AppendWide(static_cast<wchar_t const*>(value.mAsPointer))
                      : AppendBytes(static_cast<char const*>(value.mAsPointer));
    case 'S':
        return AppendUnits(static_cast<UniChar const*>(value.mAsPointer));
    case 'C':
    case 'c':
        return isWide ? AppendWide(points) : AppendField(Text(&unit, 1));
    default:
        return AppendNumber(value);
    }
}

/// Takes width and precision from the arguments, where they are given there.
void FormatWriter::SetWidths()
{
    if (mPiece.mWidthArgument != kNone && mArguments.Is(mPiece.mWidthArgument, Fetched::kInt)) {
        const int width = mArguments.At(mPiece.mWidthArgument).mAsInt;
        mPiece.mWidth = std::min(std::abs(std::max(width, -INT32_MAX)), kMostWidth);
        if (width < 0)
            std::strcpy(mPiece.mFlags, "-");  // as printf does; "0" has no meaning then
    }
    if (mPiece.mPrecisionArgument != kNone && mArguments.Is(mPiece.mPrecisionArgument, Fetched::kInt))
        mPiece.mPrecision = std::clamp(mArguments.At(mPiece.mPrecisionArgument).mAsInt, kNone, kMostWidth);
}

bool FormatWriter::AppendPadding(CFIndex aCount)
{
    static __CFString sSpace(" ", 1);
    const CFIndex length = CFStringGetLength(mOut) + std::max<CFIndex>(aCount, 0);
    CFStringPad(mOut, &sSpace, length, 0);
    return CFStringGetLength(mOut) == length;
}

/// A text within its precision and width.
bool FormatWriter::AppendField(Text const& aText)
{
    CFIndex length = mPiece.mPrecision != kNone ? std::min<CFIndex>(mPiece.mPrecision, aText.mLength) : aText.mLength;
    if (length != 0 && length != aText.mLength && (aText.At(length - 1) & 0xFC00) == 0xD800)
        --length;  // half of a character is none
    const CFIndex padding = mPiece.mWidth - length;
    const bool isLeft = std::strchr(mPiece.mFlags, '-') != nullptr;
    return (isLeft || AppendPadding(padding)) && Append(aText.Part(CFRangeMake(0, length))) &&
           (!isLeft || AppendPadding(padding));
}

bool FormatWriter::AppendBytes(char const* aBytes)
{
    char const* const bytes = aBytes != nullptr ? aBytes : "(null)";
    const std::size_t count =
        mPiece.mPrecision != kNone ? strnlen(bytes, static_cast<std::size_t>(mPiece.mPrecision)) : std::strlen(bytes);
    UInt8 const* const start = reinterpret_cast<UInt8 const*>(bytes);
    CFIndex length = static_cast<CFIndex>(count);
    if (mPiece.mPrecision == length)
        length = WithoutCutCharacter(start, length);
    const bool isUtf8 = cf::Decoder(start, length, kCFStringEncodingUTF8, false).IsAllowed();
    const CFStringEncoding encoding = isUtf8 ? kCFStringEncodingUTF8 : kCFStringEncodingISOLatin1;  // so that it shows
    const cf::Owned<CFStringRef> text(CFStringCreateWithBytes(nullptr, start, length, encoding, false));
    return text && AppendField(text.Get()->GetText());
}

bool FormatWriter::AppendWide(wchar_t const* aPoints)
{
    if (aPoints == nullptr)
        return AppendBytes(nullptr);
    const std::size_t count =
        mPiece.mPrecision != kNone ? wcsnlen(aPoints, static_cast<std::size_t>(mPiece.mPrecision)) : wcslen(aPoints);
    const cf::Owned<CFStringRef> text(CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(aPoints),
                                                              static_cast<CFIndex>(count * sizeof *aPoints),
                                                              kCFStringEncodingUTF32, false));
    return text && AppendField(text.Get()->GetText());
}

bool FormatWriter::AppendUnits(UniChar const* aUnits)
{
    if (aUnits == nullptr)
        return AppendBytes(nullptr);
    CFIndex length = 0;
    while (aUnits[length] != 0 && (mPiece.mPrecision == kNone || length < mPiece.mPrecision))
        ++length;
    return AppendField(Text(aUnits, length));
}

bool FormatWriter::AppendObject(CFTypeRef aObject)
{
    if (aObject == nullptr)
        return AppendBytes(nullptr);
    const cf::Owned<CFStringRef> text(CFCopyDescription(aObject));
    return text && AppendField(text.Get()->GetText());
}

template <typename Value>
bool FormatWriter::AppendPrinted(Value aValue)
{
    char format[24];
    char buffer[128];
    char* at = format;
    *at++ = '%';
    at = stpcpy(at, mPiece.mFlags);
    at = stpcpy(at, "*.*");
    at = stpcpy(at, mPiece.mLength);
    *at++ = mPiece.mType;
    *at = '\0';
    const int width = std::max(mPiece.mWidth, 0);
    const PlainNumbers plain;
    const int count = std::snprintf(buffer, sizeof buffer, format, width, mPiece.mPrecision, aValue);
    if (count < static_cast<int>(sizeof buffer))
        return count >= 0 && Append(Text(buffer, count));
    const CFIndex start = CFStringGetLength(mOut);
    cf::Owned<CFMutableStringRef> text(__CFString::CreateEmptyImmutable(count, false));
    void* const room = text ? text.Get()->MakeGap(CFRangeMake(0, 0), count, false) : nullptr;
    if (room != nullptr)
        std::snprintf(static_cast<char*>(room), static_cast<std::size_t>(count) + 1, format, width, mPiece.mPrecision,
                      aValue);
    return room != nullptr && Append(text.Get()->GetText()) && CFStringGetLength(mOut) == start + count;
}

bool FormatWriter::AppendNumber(Argument const& aValue)
{
    if (mPiece.mType == 'p')
        return AppendPrinted(aValue.mAsPointer);
    switch (mPiece.mFetched) {
    case Fetched::kLong:
        return AppendPrinted(aValue.mAsLong);
    case Fetched::kLongLong:
        return AppendPrinted(aValue.mAsLongLong);
    case Fetched::kMax:
        return AppendPrinted(aValue.mAsMax);
    case Fetched::kSize:
        return AppendPrinted(aValue.mAsSize);
    case Fetched::kDifference:
        return AppendPrinted(aValue.mAsDifference);
    case Fetched::kDouble:
        return AppendPrinted(aValue.mAsDouble);
    case Fetched::kLongDouble:
        return AppendPrinted(aValue.mAsLongDouble);
    default:
        return AppendPrinted(aValue.mAsInt);
    }
}

}  // namespace

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef /*aAllocator*/, CFDictionaryRef /*aOptions*/,
                                                 CFStringRef aFormat, va_list aArguments)
{
    if (aFormat == nullptr)
        return nullptr;
    const Text format = aFormat->GetText();
    const Arguments arguments(format, aArguments);
    cf::Owned<CFMutableStringRef> result(__CFString::CreateMutable(0, Text()));
    FormatReader reader(format);
    FormatWriter writer(result.Get(), arguments);
    for (Piece piece = {}; result && reader.Next(piece);)
        if (!writer.Write(format, piece))
            return nullptr;
    if (result)
        result.Get()->Freeze();
    return result.Detach();
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef aAllocator, CFDictionaryRef aOptions, CFStringRef aFormat, ...)
{
    va_list arguments;
    va_start(arguments, aFormat);
    CFStringRef const result = CFStringCreateWithFormatAndArguments(aAllocator, aOptions, aFormat, arguments);
    va_end(arguments);
    return result;
}
