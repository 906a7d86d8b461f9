// What changes a string. Each operation comes down to putting a text in the place of a range.
#include <algorithm>

#include "CoreFoundation/CFArray.h"
#include "cfarray.h"
#include "cfstringobject.h"

using cf::Text;
using cf::TextOf;

namespace {

bool Change(CFMutableStringRef aString, CFRange aRange, Text const& aText)
{
    return aString != nullptr && aString->IsMutable() &&
           aString->Splice(cf::Clip(aRange, CFStringGetLength(aString)), aText);
}

CFRange EndOf(CFStringRef aString)
{
    return CFRangeMake(CFStringGetLength(aString), 0);
}

/// Calls `aFunction` with each occurrence of `aWhat` in `aRange`, one behind the other, until it returns false.
/// @return how many there were; -1 when the function ended it.
template <typename Function>
CFIndex ForEachOccurrence(Text const& aText, CFRange aRange, Text const& aWhat, CFOptionFlags aOptions,
                          Function aFunction)
{
    CFIndex count = 0;
    const CFIndex end = aRange.location + aRange.length;
    for (CFIndex start = aRange.location;; ++count) {
        const CFRange hit = cf::Find(aText, CFRangeMake(start, end - start), aWhat, aOptions);
        if (hit.location == kCFNotFound)
            return count;
        if (!aFunction(hit))
            return -1;
        start = hit.location + hit.length;
    }
}

/// Every occurrence of a text replaced by another, within the string's own block: the text is moved out of the way as
/// far as the result ever gets ahead of it, and then written anew from its start.
struct Replacement {
    CFMutableStringRef mString = nullptr;
    Text mWhat;
    Text mWith;
    CFRange mRange = {};
    CFOptionFlags mOptions = 0;

    /// @return how many occurrences there were.
    CFIndex Run() const;

private:
    void Write(void* aOut, Text aMoved, CFIndex aLength) const;
};

CFIndex Replacement::Run() const
{
    CFIndex growth = 0;
    CFIndex gap = 0;  // the most that it grows on the way
    const CFIndex length = CFStringGetLength(mString);
    const CFIndex count = ForEachOccurrence(mString->GetText(), mRange, mWhat, mOptions, [&](CFRange aHit) {
        growth += mWith.mLength - aHit.length;
        gap = std::max(gap, growth);
        return true;
    });
    if (count == 0 || (mString->GetMaxLength() != 0 && length + growth > mString->GetMaxLength()))
        return 0;
    Text moved;
    void* const out = mString->Loosen(gap, mWith.mIsWide, moved);
    if (out != nullptr)
        Write(out, moved, length + growth);
    return out != nullptr ? count : 0;
}

void Replacement::Write(void* aOut, Text aMoved, CFIndex aLength) const
{
    const bool isWide = aMoved.mIsWide;
    char* out = static_cast<char*>(aOut);
    CFIndex done = 0;
    const auto put = [&](Text const& aText) {
        aText.CopyTo(out, isWide);
        out += static_cast<std::size_t>(aText.mLength) * (isWide ? sizeof(UniChar) : 1);
    };
    ForEachOccurrence(aMoved, mRange, mWhat, mOptions, [&](CFRange aHit) {
        put(aMoved.Part(CFRangeMake(done, aHit.location - done)));
        put(mWith);
        done = aHit.location + aHit.length;
        return true;
    });
    put(aMoved.Part(CFRangeMake(done, aMoved.mLength - done)));
    mString->SetLength(aLength);
}

CFStringRef Retained(CFStringRef aString)
{
    CFRetain(aString);
    return aString;
}

/// The units of `aPad` from `aIndex` on, over and over, at the end of the string.
void AppendPad(CFMutableStringRef aString, Text const& aPad, CFIndex aCount, CFIndex aIndex)
{
    void* const gap = aString->MakeGap(EndOf(aString), aCount, aPad.mIsWide);
    const bool isWide = aString->GetText().mIsWide;
    for (CFIndex i = 0; gap != nullptr && i < aCount; ++i) {
        const UniChar unit = aPad.At((aIndex % aPad.mLength + i) % aPad.mLength);
        if (isWide)
            static_cast<UniChar*>(gap)[i] = unit;
        else
            static_cast<char*>(gap)[i] = static_cast<char>(unit);
    }
}

bool AppendPiece(CFMutableArrayRef aPieces, CFStringRef aString, CFIndex aStart, CFIndex aEnd)
{
    const CFIndex count = CFArrayGetCount(aPieces);
    const cf::Owned<CFStringRef> piece(
        CFStringCreateWithSubstring(kCFAllocatorDefault, aString, CFRangeMake(aStart, aEnd - aStart)));
    if (piece)
        CFArrayAppendValue(aPieces, piece.Get());
    return CFArrayGetCount(aPieces) == count + 1;
}

}  // namespace

void CFStringAppend(CFMutableStringRef aString, CFStringRef aOther)
{
    if (aString != nullptr && aString->IsMutable())
        aString->Append(TextOf(aOther));
}

void CFStringAppendCharacters(CFMutableStringRef aString, UniChar const* aCharacters, CFIndex aCount)
{
    const cf::Owned<CFStringRef> text(CFStringCreateWithCharacters(kCFAllocatorDefault, aCharacters, aCount));
    CFStringAppend(aString, text.Get());
}

void CFStringAppendFormat(CFMutableStringRef aString, CFDictionaryRef aOptions, CFStringRef aFormat, ...)
{
    va_list arguments;
    va_start(arguments, aFormat);
    CFStringAppendFormatAndArguments(aString, aOptions, aFormat, arguments);
    va_end(arguments);
}

void CFStringAppendFormatAndArguments(CFMutableStringRef aString, CFDictionaryRef aOptions, CFStringRef aFormat,
                                      va_list aArguments)
{
    const cf::Owned<CFStringRef> text(
        CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, aOptions, aFormat, aArguments));
    CFStringAppend(aString, text.Get());
}

void CFStringInsert(CFMutableStringRef aString, CFIndex aIndex, CFStringRef aOther)
{
    Change(aString, CFRangeMake(aIndex, 0), TextOf(aOther));
}

void CFStringDelete(CFMutableStringRef aString, CFRange aRange)
{
    Change(aString, aRange, Text());
}

void CFStringReplace(CFMutableStringRef aString, CFRange aRange, CFStringRef aOther)
{
    Change(aString, aRange, TextOf(aOther));
}

void CFStringReplaceAll(CFMutableStringRef aString, CFStringRef aOther)
{
    Change(aString, CFRangeMake(0, CFStringGetLength(aString)), TextOf(aOther));
}

CFIndex CFStringFindAndReplace(CFMutableStringRef aString, CFStringRef aWhat, CFStringRef aWith, CFRange aRange,
                               CFOptionFlags aOptions)
{
    if (aString == nullptr || !aString->IsMutable() || CFStringGetLength(aWhat) == 0)
        return 0;
    // Either text may be the string itself.
    const cf::Owned<CFStringRef> what(aWhat == aString ? CFStringCreateCopy(nullptr, aWhat) : Retained(aWhat));
    const cf::Owned<CFStringRef> with(aWith == aString ? CFStringCreateCopy(nullptr, aWith) : Retained(aWith));
    if (!what || (aWith != nullptr && !with))
        return 0;
    const CFRange range = cf::Clip(aRange, CFStringGetLength(aString));
    const CFOptionFlags options = aOptions & ~static_cast<CFOptionFlags>(kCFCompareBackwards);
    return Replacement{aString, what.Get()->GetText(), TextOf(with.Get()), range, options}.Run();
}

CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef aAllocator, CFStringRef aString,
                                                  CFStringRef aSeparator)
{
    if (aString == nullptr || aSeparator == nullptr)
        return nullptr;
    cf::Owned<CFMutableArrayRef> pieces(CFArrayCreateMutable(aAllocator, 0, &kCFTypeArrayCallBacks));
    const Text text = aString->GetText();
    CFIndex start = 0;
    const auto append = [&](CFRange aHit) {
        const bool isDone = AppendPiece(pieces.Get(), aString, start, aHit.location);
        start = aHit.location + aHit.length;
        return isDone;
    };
    if (!pieces || ForEachOccurrence(text, CFRangeMake(0, text.mLength), aSeparator->GetText(), 0, append) < 0 ||
        !AppendPiece(pieces.Get(), aString, start, text.mLength))
        return nullptr;
    pieces.Get()->Freeze();
    return pieces.Detach();
}

void CFStringPad(CFMutableStringRef aString, CFStringRef aPad, CFIndex aLength, CFIndex aIndexIntoPad)
{
    const CFIndex length = CFStringGetLength(aString);
    const CFIndex wanted = std::max<CFIndex>(aLength, 0);
    if (wanted <= length)
        CFStringDelete(aString, CFRangeMake(wanted, length - wanted));
    else if (aString != nullptr && aString->IsMutable() && CFStringGetLength(aPad) != 0 && aIndexIntoPad >= 0) {
        const cf::Owned<CFStringRef> pad(CFStringCreateCopy(kCFAllocatorDefault, aPad));  // it may be the string itself
        if (pad)
            AppendPad(aString, pad.Get()->GetText(), wanted - length, aIndexIntoPad);
    }
}

void CFStringTrimWhitespace(CFMutableStringRef aString)
{
    const Text text = TextOf(aString);
    CFIndex start = 0;
    CFIndex end = text.mLength;
    while (start < end && cf::IsSpace(text.At(start)))
        ++start;
    while (end > start && cf::IsSpace(text.At(end - 1)))
        --end;
    CFStringDelete(aString, CFRangeMake(end, text.mLength - end));
    CFStringDelete(aString, CFRangeMake(0, start));
}
