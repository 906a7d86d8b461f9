#include "cfstringcodec.h"

#include <algorithm>
#include <iterator>

using cf::Text;

namespace {

constexpr UTF32Char kMark = 0xFEFF;  ///< the byte-order mark
constexpr UTF32Char kRefused = 0xFFFFFFFF;

bool IsSurrogate(UTF32Char aPoint)
{
    return aPoint >= 0xD800 && aPoint <= 0xDFFF;
}

bool IsLead(UTF32Char aUnit)
{
    return aUnit >= 0xD800 && aUnit <= 0xDBFF;
}

bool IsTrail(UTF32Char aUnit)
{
    return aUnit >= 0xDC00 && aUnit <= 0xDFFF;
}

UniChar* Put(UniChar* aOut, UTF32Char aPoint)
{
    if (aPoint < 0x10000) {
        *aOut = static_cast<UniChar>(aPoint);
        return aOut + 1;
    }
    aOut[0] = static_cast<UniChar>(0xD7C0 + (aPoint >> 10));
    aOut[1] = static_cast<UniChar>(0xDC00 + (aPoint & 0x3FF));
    return aOut + 2;
}

/// How many bytes in front are ASCII.
CFIndex CountAscii(UInt8 const* aBytes, CFIndex aCount)
{
    CFIndex i = 0;
    for (UInt64 block = 0; i + 8 <= aCount; i += 8) {
        std::memcpy(&block, aBytes + i, sizeof block);
        if ((block & 0x8080808080808080U) != 0)
            break;
    }
    while (i < aCount && aBytes[i] < 0x80)
        ++i;
    return i;
}

constexpr UInt64 kLowBits = 0x0101010101010101U;

/// The units of UTF-8 text: each character's first byte counts, and that of a pair twice.
CFIndex CountUtf8(UInt8 const* aBytes, CFIndex aCount)
{
    UInt64 block = 0;
    CFIndex units = aCount;
    CFIndex i = 0;
    for (; i + 8 <= aCount; i += 8) {
        std::memcpy(&block, aBytes + i, sizeof block);
        const UInt64 continuations = (block >> 7) & ~(block >> 6) & kLowBits;
        const UInt64 pairs = (block >> 7) & (block >> 6) & (block >> 5) & (block >> 4) & kLowBits;
        units +=
            static_cast<CFIndex>((pairs * kLowBits) >> 56) - static_cast<CFIndex>((continuations * kLowBits) >> 56);
    }
    for (; i < aCount; ++i)
        units += (aBytes[i] >= 0xF0 ? 1 : 0) - ((aBytes[i] & 0xC0) == 0x80 ? 1 : 0);
    return units;
}

// How each encoding reads the next code point, and moves on; kRefused for bytes that it does not allow, which it does
// not read past. There is at least one byte.

struct Ascii {
    static UTF32Char Next(UInt8 const*& aAt, UInt8 const* /*aEnd*/)
    {
        return *aAt < 0x80 ? *aAt++ : kRefused;
    }
};

struct Latin1 {
    static UTF32Char Next(UInt8 const*& aAt, UInt8 const* /*aEnd*/)
    {
        return *aAt++;
    }
};

struct Utf8 {
    /// The bounds of the second byte keep out what is too long, a surrogate or beyond Unicode.
    static UTF32Char Next(UInt8 const*& aAt, UInt8 const* aEnd)
    {
        const UInt8 first = *aAt;
        if (first < 0x80)
            return ++aAt, first;
        if (first < 0xC2 || first > 0xF4)
            return kRefused;
        const std::ptrdiff_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        if (aEnd - aAt < length)
            return kRefused;
        const UInt8 low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
        const UInt8 high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
        if (aAt[1] < low || aAt[1] > high)
            return kRefused;
        UTF32Char point = ((first & (0x7FU >> length)) << 6) | (aAt[1] & 0x3FU);
        for (std::ptrdiff_t i = 2; i < length; ++i) {
            if ((aAt[i] & 0xC0) != 0x80)
                return kRefused;
            point = (point << 6) | (aAt[i] & 0x3FU);
        }
        aAt += length;
        return point;
    }
};

template <bool kIsBig>
struct Utf16 {
    /// Unpaired surrogates are let through, as strings hold them too.
    static UTF32Char Next(UInt8 const*& aAt, UInt8 const* aEnd)
    {
        if (aEnd - aAt < 2)
            return kRefused;
        const UTF32Char unit = static_cast<UTF32Char>(kIsBig ? aAt[0] << 8 | aAt[1] : aAt[1] << 8 | aAt[0]);
        aAt += 2;
        return unit;
    }
};

template <bool kIsBig>
struct Utf32 {
    static UTF32Char Next(UInt8 const*& aAt, UInt8 const* aEnd)
    {
        if (aEnd - aAt < 4)
            return kRefused;
        UTF32Char point = 0;
        for (int i = 0; i < 4; ++i)
            point = point << 8 | aAt[kIsBig ? i : 3 - i];
        if (point > 0x10FFFF || IsSurrogate(point))
            return kRefused;
        aAt += 4;
        return point;
    }
};

/// Calls `aFunction` with the reader of the encoding; false for an encoding that there is none for.
template <typename Function>
bool WithReader(CFStringEncoding aEncoding, Function aFunction)
{
    switch (aEncoding) {
    case kCFStringEncodingASCII:
        return aFunction(Ascii());
    case kCFStringEncodingISOLatin1:
        return aFunction(Latin1());
    case kCFStringEncodingUTF8:
        return aFunction(Utf8());
    case kCFStringEncodingUTF16BE:
        return aFunction(Utf16<true>());
    case kCFStringEncodingUTF16LE:
        return aFunction(Utf16<false>());
    case kCFStringEncodingUTF32BE:
        return aFunction(Utf32<true>());
    case kCFStringEncodingUTF32LE:
        return aFunction(Utf32<false>());
    default:
        return false;
    }
}

bool IsByteEncoding(CFStringEncoding aEncoding)
{
    return aEncoding == kCFStringEncodingASCII || aEncoding == kCFStringEncodingISOLatin1 ||
           aEncoding == kCFStringEncodingUTF8;
}

constexpr bool kIsBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

/// An encoding that leaves the byte order to a mark, and what it comes to with either order.
struct OpenOrder {
    CFStringEncoding mEncoding;
    CFStringEncoding mBig;
    CFStringEncoding mLittle;
};

constexpr OpenOrder kOpenOrders[] = {
    {kCFStringEncodingUTF16, kCFStringEncodingUTF16BE, kCFStringEncodingUTF16LE},
    {kCFStringEncodingUTF32, kCFStringEncodingUTF32BE, kCFStringEncodingUTF32LE},
};

OpenOrder const* FindOpenOrder(CFStringEncoding aEncoding)
{
    auto const* const found =
        std::find_if(std::begin(kOpenOrders), std::end(kOpenOrders),
                     [aEncoding](OpenOrder const& aOrder) { return aOrder.mEncoding == aEncoding; });
    return found != std::end(kOpenOrders) ? found : nullptr;
}

/// The encoding with the processor's byte order, where it leaves that open.
CFStringEncoding WithNativeOrder(CFStringEncoding aEncoding)
{
    OpenOrder const* const order = FindOpenOrder(aEncoding);
    if (order == nullptr)
        return aEncoding;
    return kIsBigEndian ? order->mBig : order->mLittle;
}

/// The bytes of a byte-order mark in front; 0 when there is none.
CFIndex MarkSize(UInt8 const* aBytes, CFIndex aCount, CFStringEncoding aEncoding)
{
    UInt8 const* at = aBytes;
    WithReader(aEncoding, [&](auto aReader) {
        if (aCount == 0 || aReader.Next(at, aBytes + aCount) != kMark)
            at = aBytes;
        return true;
    });
    return at - aBytes;
}

// How each encoding writes a code point. A UTF-16 unit takes up to `kPerUnit` bytes.

struct ByteWriter {
    static constexpr CFIndex kPerUnit = 1;
    UTF32Char mLimit;  ///< the first code point that the encoding does not have
    CFIndex Size(UTF32Char aPoint) const
    {
        return aPoint < mLimit ? 1 : 0;
    }
    static void Put(UInt8* aOut, UTF32Char aPoint)
    {
        *aOut = static_cast<UInt8>(aPoint);
    }
};

struct Utf8Writer {
    static constexpr CFIndex kPerUnit = 3;
    static CFIndex Size(UTF32Char aPoint)
    {
        return aPoint < 0x80 ? 1 : aPoint < 0x800 ? 2 : IsSurrogate(aPoint) ? 0 : aPoint < 0x10000 ? 3 : 4;
    }
    static void Put(UInt8* aOut, UTF32Char aPoint)
    {
        if (aPoint < 0x80) {
            *aOut = static_cast<UInt8>(aPoint);
            return;
        }
        const CFIndex size = Size(aPoint);
        for (CFIndex i = size - 1; i > 0; --i, aPoint >>= 6)
            aOut[i] = static_cast<UInt8>(0x80 | (aPoint & 0x3F));
        aOut[0] = static_cast<UInt8>((0xF00 >> size) | aPoint);
    }
};

template <bool kIsBig>
struct Utf16Writer {
    static constexpr CFIndex kPerUnit = 2;
    static CFIndex Size(UTF32Char aPoint)
    {
        return aPoint < 0x10000 ? 2 : 4;
    }
    static void Put(UInt8* aOut, UTF32Char aPoint)
    {
        UniChar units[2];
        UniChar* const end = ::Put(units, aPoint);
        for (UniChar const* unit = units; unit != end; ++unit, aOut += 2) {
            aOut[kIsBig ? 0 : 1] = static_cast<UInt8>(*unit >> 8);
            aOut[kIsBig ? 1 : 0] = static_cast<UInt8>(*unit);
        }
    }
};

template <bool kIsBig>
struct Utf32Writer {
    static constexpr CFIndex kPerUnit = 4;
    static CFIndex Size(UTF32Char aPoint)
    {
        return IsSurrogate(aPoint) ? 0 : 4;
    }
    static void Put(UInt8* aOut, UTF32Char aPoint)
    {
        for (int i = 0; i < 4; ++i, aPoint >>= 8)
            aOut[kIsBig ? 3 - i : i] = static_cast<UInt8>(aPoint);
    }
};

/// Calls `aFunction` with the writer of the encoding; 0 for an encoding that there is none for.
template <typename Function>
CFIndex WithWriter(CFStringEncoding aEncoding, Function aFunction)
{
    switch (aEncoding) {
    case kCFStringEncodingASCII:
        return aFunction(ByteWriter{0x80});
    case kCFStringEncodingISOLatin1:
        return aFunction(ByteWriter{0x100});
    case kCFStringEncodingUTF8:
        return aFunction(Utf8Writer());
    case kCFStringEncodingUTF16BE:
        return aFunction(Utf16Writer<true>());
    case kCFStringEncodingUTF16LE:
        return aFunction(Utf16Writer<false>());
    case kCFStringEncodingUTF32BE:
        return aFunction(Utf32Writer<true>());
    case kCFStringEncodingUTF32LE:
        return aFunction(Utf32Writer<false>());
    default:
        return 0;
    }
}

/// The code point at `aIndex`, or the unpaired surrogate.
template <typename Unit>
UTF32Char PointAt(Unit const* aUnits, CFIndex aIndex, CFIndex aLength)
{
    const UTF32Char unit = aUnits[aIndex];
    if (!IsLead(unit) || aIndex + 1 == aLength || !IsTrail(aUnits[aIndex + 1]))
        return unit;
    return (unit << 10) + aUnits[aIndex + 1] - ((0xD800U << 10) + 0xDC00U - 0x10000U);
}

/// A place for bytes that may be there only to be counted.
struct Output {
    UInt8* mBytes;  ///< null to count
    CFIndex mSize;
    CFIndex mUsed;
};

/// Encodes units as long as they fit. @return how many.
template <typename Unit, typename Writer>
CFIndex Encode(Unit const* aUnits, CFIndex aLength, Writer aWriter, UInt8 aLossByte, Output& aOut)
{
    CFIndex i = 0;
    while (i < aLength) {
        UTF32Char point = PointAt(aUnits, i, aLength);
        const CFIndex taken = point < 0x10000 ? 1 : 2;
        CFIndex size = aWriter.Size(point);
        if (size == 0 && aLossByte != 0)
            size = aWriter.Size(point = aLossByte);
        if (size == 0 || (aOut.mBytes != nullptr && size > aOut.mSize - aOut.mUsed))
            break;
        if (aOut.mBytes != nullptr)
            aWriter.Put(aOut.mBytes + aOut.mUsed, point);
        aOut.mUsed += size;
        i += taken;
    }
    return i;
}

/// ASCII is the same bytes in every encoding of bytes.
CFIndex CopyAscii(Text const& aText, Output& aOut)
{
    const CFIndex count = aOut.mBytes != nullptr ? std::min(aText.mLength, aOut.mSize - aOut.mUsed) : aText.mLength;
    if (aOut.mBytes != nullptr)
        std::memcpy(aOut.mBytes + aOut.mUsed, aText.mData, static_cast<std::size_t>(count));
    aOut.mUsed += count;
    return count;
}

/// @return false when there was no memory or the encoding refused the bytes; nothing is appended then.
bool AppendDecoded(__CFString& aString, cf::Decoder const& aDecoder, CFIndex aCount)
{
    const CFIndex length = CFStringGetLength(&aString);
    // What is refused must not cost the string its bytes, to which others may have a pointer.
    if (aString.HoldsBytes() && !aDecoder.IsAllowed())
        return false;
    void* const gap = aCount >= 0 ? aString.MakeGap(CFRangeMake(length, 0), aCount, true) : nullptr;
    UniChar* end = static_cast<UniChar*>(gap);
    const bool isDone = gap != nullptr && aDecoder.Write(end);
    if (gap != nullptr)
        aString.SetLength(isDone ? length + (end - static_cast<UniChar*>(gap)) : length);
    return isDone;
}

}  // namespace

namespace cf {

Decoder::Decoder(UInt8 const* aBytes, CFIndex aCount, CFStringEncoding aEncoding, bool aIsExternal)
    : mBytes(aBytes), mCount(aCount), mEncoding(WithNativeOrder(aEncoding)), mAscii(0)
{
    if (aIsExternal)
        SkipMark(aEncoding);
    mAscii = IsByteEncoding(mEncoding) ? CountAscii(mBytes, mCount) : 0;
}

void Decoder::SkipMark(CFStringEncoding aEncoding)
{
    OpenOrder const* const order = FindOpenOrder(aEncoding);
    if (order != nullptr && MarkSize(mBytes, mCount, order->mBig) != 0)
        mEncoding = order->mBig;
    else if (order != nullptr && MarkSize(mBytes, mCount, order->mLittle) != 0)
        mEncoding = order->mLittle;
    const CFIndex mark =
        order != nullptr || aEncoding == kCFStringEncodingUTF8 ? MarkSize(mBytes, mCount, mEncoding) : 0;
    mBytes += mark;
    mCount -= mark;
}

CFIndex Decoder::Count() const
{
    switch (mEncoding) {
    case kCFStringEncodingASCII:
        return IsAscii() ? mCount : -1;
    case kCFStringEncodingISOLatin1:
        return mCount;
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
        return mCount % 2 == 0 ? mCount / 2 : -1;
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
        return mCount % 4 == 0 ? mCount / 2 : -1;
    case kCFStringEncodingUTF8:
        return mAscii + CountUtf8(mBytes + mAscii, mCount - mAscii);
    default:
        return -1;
    }
}

CFIndex Decoder::CountAllowed() const
{
    UInt8 const* at = mBytes + mAscii;
    UInt8 const* const end = mBytes + mCount;
    WithReader(mEncoding, [&](auto aReader) {
        while (at < end && aReader.Next(at, end) != kRefused)
            if (IsByteEncoding(mEncoding))
                at += CountAscii(at, end - at);
        return true;
    });
    return at - mBytes;
}

bool Decoder::Write(UniChar*& aOut) const
{
    Text(reinterpret_cast<char const*>(mBytes), mAscii).CopyUnits(aOut);
    return WithReader(mEncoding, [this, &aOut](auto aReader) {
        UInt8 const* const end = mBytes + mCount;
        UniChar* out = aOut + mAscii;
        for (UInt8 const* at = mBytes + mAscii; at < end;) {
            const UTF32Char point = aReader.Next(at, end);
            if (point == kRefused)
                return false;
            out = Put(out, point);
        }
        aOut = out;
        return true;
    });
}

}  // namespace cf

CFStringRef CFStringCreateWithCString(CFAllocatorRef aAllocator, char const* aText, CFStringEncoding aEncoding)
{
    if (aText == nullptr || !IsByteEncoding(aEncoding))
        return nullptr;
    return CFStringCreateWithBytes(aAllocator, reinterpret_cast<UInt8 const*>(aText),
                                   static_cast<CFIndex>(std::strlen(aText)), aEncoding, false);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef aAllocator, UInt8 const* aBytes, CFIndex aCount,
                                    CFStringEncoding aEncoding, Boolean aIsExternal)
{
    if (aCount < 0 || (aBytes == nullptr && aCount != 0))
        return nullptr;
    if (aCount == 0)
        return __CFString::CreateImmutable(Text());
    const cf::Decoder decoder(aBytes, aCount, aEncoding, aIsExternal != 0);
    if (decoder.IsAscii())
        return __CFString::CreateImmutable(decoder.AsciiText());
    const CFIndex count = decoder.Count();
    cf::Owned<CFMutableStringRef> string(__CFString::CreateEmptyImmutable(count, true));
    if (!string || !AppendDecoded(*string.Get(), decoder, count))
        return nullptr;
    UniChar const* const units = string.Get()->GetText().Units();
    const bool isByteEncoding = IsByteEncoding(aEncoding);
    return isByteEncoding ? string.Detach()
                          : CFStringCreateWithCharacters(aAllocator, units, CFStringGetLength(string.Get()));
}

void CFStringAppendCString(CFMutableStringRef aString, char const* aText, CFStringEncoding aEncoding)
{
    if (aString == nullptr || !aString->IsMutable() || aText == nullptr || !IsByteEncoding(aEncoding))
        return;
    const cf::Decoder decoder(reinterpret_cast<UInt8 const*>(aText), static_cast<CFIndex>(std::strlen(aText)),
                              aEncoding, false);
    if (decoder.IsAscii())
        aString->Append(decoder.AsciiText());
    else
        AppendDecoded(*aString, decoder, decoder.Count());
}

CFIndex CFStringGetBytes(CFStringRef aString, CFRange aRange, CFStringEncoding aEncoding, UInt8 aLossByte,
                         // NOLINTNEXTLINE(readability-non-const-parameter): it is written by way of Output
                         Boolean aIsExternal, UInt8* aBuffer, CFIndex aSize, CFIndex* aUsed)
{
    const Text text = cf::TextOf(aString);
    const Text part = text.Part(cf::Clip(aRange, text.mLength));
    const CFStringEncoding encoding = WithNativeOrder(aEncoding);
    Output out{aBuffer, aBuffer != nullptr ? std::max<CFIndex>(aSize, 0) : 0, 0};
    const CFIndex converted = WithWriter(encoding, [&](auto aWriter) -> CFIndex {
        const UniChar mark = kMark;
        if (aIsExternal != 0 && encoding != aEncoding && Encode(&mark, 1, aWriter, 0, out) == 0)
            return 0;
        if (!part.mIsWide && IsByteEncoding(encoding))
            return CopyAscii(part, out);
        return cf::Visit(part,
                         [&](auto const* aUnits) { return Encode(aUnits, part.mLength, aWriter, aLossByte, out); });
    });
    if (aUsed != nullptr)
        *aUsed = out.mUsed;
    return converted;
}

Boolean CFStringGetCString(CFStringRef aString, char* aBuffer, CFIndex aSize, CFStringEncoding aEncoding)
{
    const CFIndex length = CFStringGetLength(aString);
    CFIndex used = 0;
    if (aString == nullptr || aBuffer == nullptr || aSize < 1 || !IsByteEncoding(aEncoding))
        return false;
    const bool isWhole = CFStringGetBytes(aString, CFRangeMake(0, length), aEncoding, 0, false,
                                          reinterpret_cast<UInt8*>(aBuffer), aSize - 1, &used) == length;
    aBuffer[isWhole ? used : 0] = '\0';
    return isWhole;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex aLength, CFStringEncoding aEncoding)
{
    const CFIndex perUnit = WithWriter(WithNativeOrder(aEncoding), [](auto aWriter) { return aWriter.kPerUnit; });
    return perUnit != 0 && aLength >= 0 && aLength <= __LONG_MAX__ / perUnit ? aLength * perUnit : kCFNotFound;
}
