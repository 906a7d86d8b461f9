#include "CoreFoundation/CFString.h"

#include <algorithm>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <mutex>

#include "CoreFoundation/CFDictionary.h"
#include "cfstringobject.h"

using cf::Text;
using cf::TextOf;

namespace {

/// Bytes behind a mutable string: most texts of a device fit, and the object with them fills whole cache lines.
constexpr CFIndex kInlineSize = 64;
/// Keeps every size in bytes within CFIndex, with room for growth.
constexpr CFIndex kMaxLength = LONG_MAX / 8;

CFIndex SizeFor(CFIndex aLength, bool aIsWide)
{
    return aIsWide ? aLength * static_cast<CFIndex>(sizeof(UniChar)) : aLength + 1;
}

CFIndex SkipSpace(Text const& aText)
{
    CFIndex i = 0;
    while (i < aText.mLength && cf::IsSpace(aText.At(i)))
        ++i;
    return i;
}

/// What decimal numbers are written with; nothing else reaches the C library, which knows more kinds.
bool IsNumeric(UniChar aUnit)
{
    return (aUnit >= '0' && aUnit <= '9') || aUnit == '.' || aUnit == '-' || aUnit == '+' || aUnit == 'e' ||
           aUnit == 'E';
}

/// Adds a decimal digit to a number that stays within SInt32's magnitude and one.
SInt64 AddDigit(SInt64 aValue, int aDigit)
{
    return std::min<SInt64>(aValue * 10 + aDigit, SInt64{INT32_MAX} + 1);
}

}  // namespace

namespace cf {

void Text::CopyUnits(UniChar* aOut) const
{
    if (mIsWide)
        std::memmove(aOut, mData, static_cast<std::size_t>(mLength) * sizeof(UniChar));
    else
        std::copy_n(reinterpret_cast<UInt8 const*>(Bytes()), mLength, aOut);
}

void Text::CopyTo(void* aOut, bool aIsWide) const
{
    if (aIsWide)
        CopyUnits(static_cast<UniChar*>(aOut));
    else
        std::memmove(aOut, mData, static_cast<std::size_t>(mLength));
}

CFRange Clip(CFRange aRange, CFIndex aLength)
{
    const CFIndex inFront = std::min<CFIndex>(aRange.location, 0);  // of the text: negative
    const CFIndex length = std::max<CFIndex>(std::max<CFIndex>(aRange.length, 0) + inFront, 0);
    const CFIndex start = std::clamp<CFIndex>(aRange.location, 0, aLength);
    return CFRangeMake(start, std::min(length, aLength - start));
}

bool IsSpace(UniChar aUnit)
{
    return aUnit == ' ' || (aUnit >= '\t' && aUnit <= '\r') || aUnit == 0x85 || aUnit == 0xA0 || aUnit == 0x1680 ||
           (aUnit >= 0x2000 && aUnit <= 0x200B) || aUnit == 0x2028 || aUnit == 0x2029 || aUnit == 0x202F ||
           aUnit == 0x205F || aUnit == 0x3000;
}

locale_t PlainLocale()
{
    static const locale_t sLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    return sLocale;
}

}  // namespace cf

// The stored string.

__CFString::__CFString(bool aIsMutable, CFIndex aMaxLength, CFIndex aSize)
    : Object(cf::kString), mIsWide(false), mIsMutable(aIsMutable), mData(Inline()), mLength(0), mSize(aSize),
      mMaxLength(aMaxLength)
{
    *static_cast<char*>(mData) = '\0';
}

__CFString* __CFString::CreateMutable(CFIndex aMaxLength, Text const& aText)
{
    auto* const string = cf::NewWithExtra<__CFString>(kInlineSize, true, std::max<CFIndex>(aMaxLength, 0), kInlineSize);
    if (string != nullptr && aText.mLength != 0 && !string->Splice(CFRangeMake(0, 0), aText)) {
        string->Release();
        return nullptr;
    }
    return string;
}

__CFString* __CFString::CreateEmptyImmutable(CFIndex aLength, bool aIsWide)
{
    if (aLength < 0 || aLength > kMaxLength)
        return nullptr;
    const CFIndex size = std::max<CFIndex>(SizeFor(aLength, aIsWide), 1);
    return cf::NewWithExtra<__CFString>(static_cast<std::size_t>(size), false, CFIndex{0}, size);
}

__CFString* __CFString::CreateImmutable(Text const& aText)
{
    __CFString* const string = CreateEmptyImmutable(aText.mLength, aText.mIsWide);
    if (string != nullptr)
        string->Write(CFRangeMake(0, 0), aText);
    return string;
}

void* __CFString::MakeGap(CFRange aRange, CFIndex aLength, bool aIsWide)
{
    const CFIndex behind = mLength - aRange.location - aRange.length;
    const CFIndex kept = aRange.location + behind;
    if (aLength > kMaxLength - kept || (mMaxLength != 0 && kept + aLength > mMaxLength))
        return nullptr;
    if (!Reserve(kept + aLength, aIsWide || (mIsWide && kept != 0), kept))
        return nullptr;
    const std::size_t unit = mIsWide ? sizeof(UniChar) : 1;
    char* const gap = static_cast<char*>(mData) + static_cast<std::size_t>(aRange.location) * unit;
    if (behind != 0)
        std::memmove(gap + static_cast<std::size_t>(aLength) * unit,
                     gap + static_cast<std::size_t>(aRange.length) * unit, static_cast<std::size_t>(behind) * unit);
    mLength = kept + aLength;
    if (!mIsWide)
        static_cast<char*>(mData)[mLength] = '\0';
    return gap;
}

bool __CFString::Splice(CFRange aRange, Text const& aText)
{
    if (aText.mLength == 0 || !Contains(aText.mData))
        return Write(aRange, aText);
    const cf::Owned<CFStringRef> copy(CreateImmutable(aText));
    return copy && Write(aRange, copy.Get()->GetText());
}

bool __CFString::Append(Text const& aText)
{
    const std::size_t unit = mIsWide ? sizeof(UniChar) : 1;
    const std::size_t used = static_cast<std::size_t>(mLength) * unit;
    const std::size_t added = static_cast<std::size_t>(aText.mLength) * unit;
    if (aText.mIsWide != mIsWide || mMaxLength != 0 || added >= static_cast<std::size_t>(mSize) - used)
        return Splice(CFRangeMake(mLength, 0), aText);
    char* const end = static_cast<char*>(mData) + used;
    std::memcpy(end, aText.mData, added);
    mLength += aText.mLength;
    if (!mIsWide)
        end[added] = '\0';
    return true;
}

void* __CFString::Loosen(CFIndex aGap, bool aIsWide, Text& aMoved)
{
    if (aGap > kMaxLength - mLength || !Reserve(mLength + aGap, aIsWide || mIsWide, mLength))
        return nullptr;
    const std::size_t unit = mIsWide ? sizeof(UniChar) : 1;
    void* const moved = static_cast<char*>(mData) + static_cast<std::size_t>(aGap) * unit;
    std::memmove(moved, mData, static_cast<std::size_t>(mLength) * unit);
    aMoved = mIsWide ? Text(static_cast<UniChar*>(moved), mLength) : Text(static_cast<char*>(moved), mLength);
    return mData;
}

void __CFString::SetLength(CFIndex aLength)
{
    mLength = aLength;
    mIsWide = mIsWide && aLength != 0;
    if (!mIsWide)
        static_cast<char*>(mData)[aLength] = '\0';
}

bool __CFString::Adopt(__CFString& aOther)
{
    if (mMaxLength != 0 && aOther.mLength > mMaxLength)
        return false;
    FreeBlock();
    mLength = aOther.mLength;
    mIsWide = aOther.mIsWide;
    if (aOther.IsInline()) {
        SetBlock(Inline(), kInlineSize);
        std::memcpy(mData, aOther.mData, static_cast<std::size_t>(SizeFor(mLength, mIsWide)));
    } else {
        SetBlock(aOther.mData, aOther.mSize);
        aOther.SetBlock(aOther.Inline(), kInlineSize);
    }
    aOther.mLength = 0;
    return true;
}

bool __CFString::Equals(Object const& aOther) const
{
    return CFStringCompare(this, static_cast<__CFString const*>(&aOther), 0) == kCFCompareEqualTo;
}

CFHashCode __CFString::Hash() const
{
    // FNV-1a over the units, so that it does not matter how they are stored.
    return cf::Visit(GetText(), [this](auto const* aUnits) {
        UInt32 hash = 2166136261U;
        for (CFIndex i = 0; i < mLength; ++i)
            hash = (hash ^ aUnits[i]) * 16777619U;
        return static_cast<CFHashCode>(hash);
    });
}

CFStringRef __CFString::CopyDescription() const
{
    return CFStringCreateCopy(kCFAllocatorDefault, this);
}

bool __CFString::Contains(void const* aPointer) const
{
    char const* const block = static_cast<char const*>(mData);
    char const* const pointer = static_cast<char const*>(aPointer);
    return pointer >= block && pointer < block + mSize;
}

/// Puts a text of others in the place of a range.
bool __CFString::Write(CFRange aRange, Text const& aText)
{
    void* const gap = MakeGap(aRange, aText.mLength, aText.mIsWide && aText.mLength != 0);
    if (gap != nullptr)
        aText.CopyTo(gap, mIsWide);
    return gap != nullptr;
}

bool __CFString::HoldsBytes() const
{
    return !mIsWide && (mLength != 0 || !IsInline());
}

void __CFString::FreeBlock()
{
    if (!IsInline())
        std::free(mData);
}

void __CFString::SetBlock(void* aBlock, CFIndex aSize)
{
    mData = aBlock;
    mSize = aSize;
}

/// Makes room for `aLength` units in all, stored as asked. Without any that are kept, the old ones may go.
bool __CFString::Reserve(CFIndex aLength, bool aIsWide, CFIndex aKept)
{
    const bool mustWiden = aKept != 0 && aIsWide && !mIsWide;
    const CFIndex size = std::max(SizeFor(aLength, aIsWide), mustWiden ? SizeFor(mLength, true) : 0);
    if (size <= mSize) {
        if (mustWiden)
            Widen();
        mIsWide = aIsWide;
        return true;
    }
    const CFIndex newSize = aKept != 0 ? 2 * size : size;  // what grows once will grow again; a first text may stay
    void* const block = std::malloc(static_cast<std::size_t>(newSize));
    if (block == nullptr)
        return false;
    if (aKept != 0)
        GetText().CopyTo(block, aIsWide);
    FreeBlock();
    SetBlock(block, newSize);
    mIsWide = aIsWide;
    return true;
}

void __CFString::Widen()
{
    UInt8 const* const bytes = static_cast<UInt8 const*>(mData);
    UniChar* const units = static_cast<UniChar*>(mData);
    for (CFIndex i = mLength; i-- > 0;)  // from the end: each unit lies over bytes that were read before
        units[i] = bytes[i];
}

// Creation.

CFTypeID CFStringGetTypeID()
{
    return cf::kString;
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef /*aAllocator*/, CFIndex aMaxLength)
{
    return __CFString::CreateMutable(aMaxLength, Text());
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef /*aAllocator*/, CFIndex aMaxLength, CFStringRef aString)
{
    return aString != nullptr ? __CFString::CreateMutable(aMaxLength, aString->GetText()) : nullptr;
}

CFStringRef CFStringCreateCopy(CFAllocatorRef /*aAllocator*/, CFStringRef aString)
{
    if (aString != nullptr && !aString->IsMutable()) {
        CFRetain(aString);
        return aString;
    }
    return aString != nullptr ? __CFString::CreateImmutable(aString->GetText()) : nullptr;
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef /*aAllocator*/, UniChar const* aCharacters, CFIndex aCount)
{
    if (aCount < 0 || (aCharacters == nullptr && aCount != 0))
        return nullptr;
    const bool isWide = std::any_of(aCharacters, aCharacters + aCount, [](UniChar aUnit) { return aUnit >= 0x80; });
    if (isWide)
        return __CFString::CreateImmutable(Text(aCharacters, aCount));
    __CFString* const string = __CFString::CreateEmptyImmutable(aCount, false);
    void* const units = string != nullptr ? string->MakeGap(CFRangeMake(0, 0), aCount, false) : nullptr;
    if (units != nullptr)
        std::transform(aCharacters, aCharacters + aCount, static_cast<char*>(units),
                       [](UniChar aUnit) { return static_cast<char>(aUnit); });
    return string;
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef /*aAllocator*/, CFStringRef aString, CFRange aRange)
{
    const CFIndex length = CFStringGetLength(aString);
    if (aString == nullptr || aRange.location < 0 || aRange.length < 0 || aRange.location > length ||
        aRange.length > length - aRange.location)
        return nullptr;
    return __CFString::CreateImmutable(aString->GetText().Part(aRange));
}

CFStringRef __CFStringMakeConstantString(char const* aText)
{
    static std::mutex sMutex;
    static CFMutableDictionaryRef sStrings = nullptr;
    const __CFString wanted(aText, static_cast<CFIndex>(std::strlen(aText)));
    const std::lock_guard<std::mutex> guard(sMutex);
    void const* const known = CFDictionaryGetValue(sStrings, &wanted);
    if (known != nullptr)
        return static_cast<CFStringRef>(known);
    if (sStrings == nullptr)
        sStrings = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks);
    __CFString* const string = cf::New<__CFString>(aText, wanted.GetText().mLength);
    CFDictionaryAddValue(sStrings, string, string);
    if (CFDictionaryGetValue(sStrings, string) == string)
        return string;
    std::free(string);  // there was no memory for keeping it, and only what is kept is constant
    return nullptr;
}

// Reading.

CFIndex CFStringGetLength(CFStringRef aString)
{
    return TextOf(aString).mLength;
}

UniChar CFStringGetCharacterAtIndex(CFStringRef aString, CFIndex aIndex)
{
    return aIndex >= 0 && aIndex < CFStringGetLength(aString) ? aString->GetText().At(aIndex) : UniChar{0};
}

void CFStringGetCharacters(CFStringRef aString, CFRange aRange, UniChar* aBuffer)
{
    const Text text = TextOf(aString);
    if (aBuffer != nullptr)
        text.Part(cf::Clip(aRange, text.mLength)).CopyUnits(aBuffer);
}

UniChar const* CFStringGetCharactersPtr(CFStringRef aString)
{
    return TextOf(aString).mIsWide ? aString->GetText().Units() : nullptr;
}

char const* CFStringGetCStringPtr(CFStringRef aString, CFStringEncoding aEncoding)
{
    if (aString == nullptr || aString->GetText().mIsWide)
        return nullptr;
    const bool isSuperset = aEncoding == kCFStringEncodingUTF8 || aEncoding == kCFStringEncodingASCII ||
                            aEncoding == kCFStringEncodingISOLatin1;
    return isSuperset ? aString->GetText().Bytes() : nullptr;
}

CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef aString)
{
    return CFStringGetLength(aString) * 3 + 1;  // a unit is three bytes of UTF-8 at most
}

SInt32 CFStringGetIntValue(CFStringRef aString)
{
    const Text text = TextOf(aString);
    CFIndex i = SkipSpace(text);
    const bool isNegative = i < text.mLength && text.At(i) == '-';
    if (isNegative || (i < text.mLength && text.At(i) == '+'))
        ++i;
    SInt64 value = 0;
    for (; i < text.mLength && text.At(i) >= '0' && text.At(i) <= '9'; ++i)
        value = AddDigit(value, text.At(i) - '0');
    return static_cast<SInt32>(isNegative ? -value : std::min<SInt64>(value, INT32_MAX));
}

double CFStringGetDoubleValue(CFStringRef aString)
{
    const Text text = TextOf(aString);
    const CFIndex start = SkipSpace(text);
    CFIndex end = start;
    while (end < text.mLength && IsNumeric(text.At(end)))
        ++end;
    cf::Owned<CFMutableStringRef> number(__CFString::CreateEmptyImmutable(end - start, false));
    char* const digits =
        number ? static_cast<char*>(number.Get()->MakeGap(CFRangeMake(0, 0), end - start, false)) : nullptr;
    if (digits == nullptr)
        return 0;
    for (CFIndex i = start; i < end; ++i)
        digits[i - start] = static_cast<char>(text.At(i));
    return strtod_l(digits, nullptr, cf::PlainLocale());
}
