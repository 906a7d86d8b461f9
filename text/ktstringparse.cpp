// Numbers, splitting and localisation: the operations of the string that make something else of its text.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "ktappendnew.h"
#include "ktarray.h"
#include "ktbundle.h"
#include "ktcfowned.h"
#include "ktstring.h"
#include "ktstringcore.h"

namespace {

constexpr ktError kErrSplit = 3;  ///< positive, unlike every other failure: what callers of the splitting test for
constexpr unsigned kMaxByte = 255;
constexpr char kWebDomain[] = "tamarind.example";
constexpr std::string_view kUrlBeginnings[] = {"http", "www", kWebDomain};

/// What a text must contain to be read as a boolean; the first that it contains decides. The last changes nothing, and
/// stands there so that the words of every settings file are seen.
constexpr struct {
    std::string_view mText;
    ktBOOL mValue;
} kBooleans[] = {{"true", 1}, {"false", 0}, {"1", 1}, {"0", 0}, {"yes", 1}, {"no", 0}};

/// Whether ASCII text stands at an index of another text. Allocates nothing, and so cannot give a wrong answer.
bool StandsAt(CFStringRef aText, CFIndex aIndex, std::string_view aWhat)
{
    if (CFStringGetLength(aText) - aIndex < static_cast<CFIndex>(aWhat.size()))
        return false;
    CFIndex i = aIndex;
    for (const char expected : aWhat)
        if (CFStringGetCharacterAtIndex(aText, i++) != static_cast<UniChar>(expected))
            return false;
    return true;
}

bool Contains(CFStringRef aText, std::string_view aWhat)
{
    CFIndex i = CFStringGetLength(aText) - 1;
    while (i >= 0 && !StandsAt(aText, i, aWhat))
        --i;
    return i >= 0;
}

/// The pieces of a text; null when CoreFoundation cannot split it.
CFArrayRef CreatePieces(CFStringRef aText, CFStringRef aSeparator)
{
    if (aText == nullptr || aSeparator == nullptr)
        return nullptr;
    return CFStringCreateArrayBySeparatingStrings(kCFAllocatorDefault, aText, aSeparator);
}

CFStringRef PieceAt(CFArrayRef aPieces, CFIndex aIndex)
{
    return static_cast<CFStringRef>(CFArrayGetValueAtIndex(aPieces, aIndex));
}

ktError AppendPiece(ktStringArray& aComponents, CFStringRef aPiece)
{
    return ktAppendNew<ktString>(aComponents, [aPiece](ktString& aComponent) { return aComponent.Append(aPiece); });
}

ktError AppendPieces(ktStringArray& aComponents, CFArrayRef aPieces)
{
    const CFIndex count = CFArrayGetCount(aPieces);
    ktError result = count != 0 ? kErrNone : kErrBadValue;
    for (CFIndex i = 0; i < count && result == kErrNone; ++i)
        result = AppendPiece(aComponents, PieceAt(aPieces, i));
    return result;
}

ktError Split(CFStringRef aText, CFStringRef aSeparator, ktStringArray& aComponents)
{
    const ktCFOwned<CFArrayRef> pieces(CreatePieces(aText, aSeparator));
    aComponents.Clear();  // only now: text and separator may be in it
    const ktError result = pieces ? AppendPieces(aComponents, pieces.Get()) : kErrSplit;
    if (result != kErrNone)
        aComponents.Clear();
    return result;
}

/// @param aGiven what the separator was made from. @param aSeparator null when it could not be created.
ktError SplitAndRelease(CFStringRef aText, void const* aGiven, CFStringRef aSeparator, ktStringArray& aComponents)
{
    const ktCFOwned<CFStringRef> separator(aSeparator);
    if (separator)
        return Split(aText, separator.Get(), aComponents);
    aComponents.Clear();
    return aGiven != nullptr ? kErrNoMemory : kErrBadValue;
}

/// Reads a number as "%x" does. The wider "%lx" is the same on the device, and keeps a number that is too large from
/// coming out small elsewhere.
ktError ReadByte(CFStringRef aText, unsigned char& aByte)
{
    ktString text;
    const ktError result = text.Append(aText);
    if (result != kErrNone)
        return result;
    unsigned long value = 0;
    if (std::sscanf(text.GetAsUTFArray(), "%lx", &value) != 1 || value > kMaxByte)
        return kErrBadValue;
    aByte = static_cast<unsigned char>(value);
    return kErrNone;
}

ktError ReadBytes(CFArrayRef aPieces, unsigned char* aBytes, unsigned aCapacity, unsigned& aCount)
{
    const CFIndex count = CFArrayGetCount(aPieces);
    for (CFIndex i = 0; i < count; ++i) {
        if (aCount == aCapacity)
            return kErrNoRoom;
        const ktError result = ReadByte(PieceAt(aPieces, i), aBytes[aCount]);
        if (result != kErrNone)
            return result;
        ++aCount;
    }
    return kErrNone;
}

ktError SplitAndReadBytes(CFStringRef aText, CFStringRef aSeparator, unsigned char* aBytes, unsigned aCapacity,
                          unsigned& aCount)
{
    if (aBytes == nullptr)
        return kErrBadValue;
    const ktCFOwned<CFArrayRef> pieces(CreatePieces(aText, aSeparator));
    return pieces ? ReadBytes(pieces.Get(), aBytes, aCapacity, aCount) : kErrSplit;
}

/// Appends the parts of an address to two empty strings.
ktError SplitAddress(ktString const& aAddress, ktString& aLocal, ktString& aDomain)
{
    const ktCFOwned<CFStringRef> atSign(ktString::CreateStringFromString("@"));
    const ktCFOwned<CFArrayRef> parts(CreatePieces(aAddress.GetAsCFString(), atSign.Get()));
    if (!parts)
        return kErrSplit;
    if (CFArrayGetCount(parts.Get()) != 2)
        return aLocal.Append(aAddress);
    ktError result = aLocal.Append(PieceAt(parts.Get(), 0));
    if (result == kErrNone)
        result = aLocal.Append('@');  // which is how callers tell it from an address that was not split
    return result == kErrNone ? aDomain.Append(PieceAt(parts.Get(), 1)) : result;
}

void DeleteAndClear(ktString const*& aSlot)
{
    delete aSlot;
    aSlot = nullptr;
}

}  // namespace

// Numbers and booleans.

int ktString::GetInteger() const
{
    return mString != nullptr ? CFStringGetIntValue(mString) : 0;
}

unsigned ktString::GetUnsignedInteger() const
{
    return static_cast<unsigned>(GetInteger());
}

float ktString::GetFloat() const
{
    return mString != nullptr ? static_cast<float>(CFStringGetDoubleValue(mString)) : 0;
}

ktError ktString::SetInteger(int aValue)
{
    return Print("%d", aValue);
}

ktError ktString::SetUnsignedInteger(unsigned aValue)
{
    return Print("%u", aValue);
}

ktError ktString::SetFloat(float aValue)
{
    return Print("%f", static_cast<double>(aValue));
}

// Settings files of old hold all of these words, alone and within longer ones.
ktBOOL ktString::GetBoolean() const
{
    if (mString == nullptr)
        return 0;
    auto const* const found = std::find_if(std::begin(kBooleans), std::end(kBooleans),
                                           [this](auto const& aWord) { return Contains(mString, aWord.mText); });
    return found != std::end(kBooleans) ? found->mValue : ktBOOL{0};
}

ktError ktString::SetBoolean(ktBOOL aValue)
{
    return Copy(aValue != 0 ? "yes" : "no");
}

// Splitting.

ktError ktString::ComponentsSeparatedByString(ktString const& aSeparator, ktStringArray& aComponents) const
{
    return Split(mString, aSeparator.mString, aComponents);
}

ktError ktString::ComponentsSeparatedByString(wchar_t const* aSeparator, ktStringArray& aComponents) const
{
    return SplitAndRelease(mString, aSeparator, ktCreateFromWide(aSeparator), aComponents);
}

ktError ktString::ComponentsSeparatedByString(char const* aSeparator, ktStringArray& aComponents) const
{
    return SplitAndRelease(mString, aSeparator, CreateStringFromString(aSeparator), aComponents);
}

ktError ktString::ComponentsSeparatedByWords(ktStringArray& aWords, ktBOOL aTrim) const
{
    ktString text;
    ktError result = text.Append(*this);
    if (aTrim != 0)
        text.TrimWhitespace();
    if (result == kErrNone)
        result = text.Replace("\n", " \n ");
    if (result == kErrNone)
        return text.ComponentsSeparatedByString(" ", aWords);
    aWords.Clear();
    return result;
}

ktError ktString::LastLineOnly()
{
    const ktCFOwned<CFStringRef> lineBreak(CreateStringFromString("\n"));
    const ktCFOwned<CFArrayRef> lines(CreatePieces(mString, lineBreak.Get()));
    if (!lines)
        return kErrSplit;
    CFIndex i = CFArrayGetCount(lines.Get()) - 1;
    while (i >= 0 && CFStringGetLength(PieceAt(lines.Get(), i)) == 0)
        --i;
    if (i >= 0)
        return Copy(PieceAt(lines.Get(), i));
    Clear();
    return kErrNone;
}

ktError ktString::BytesSeparatedByString(ktString const& aSeparator, int /*aUnused*/, unsigned char* aBytes,
                                         unsigned aCapacity, unsigned& aCount) const
{
    aCount = 0;
    if (aSeparator.IsEmpty() != 0)
        return kErrBadValue;
    return SplitAndReadBytes(mString, aSeparator.mString, aBytes, aCapacity, aCount);
}

ktError ktString::BytesSeparatedByString(char const* aSeparator, int /*aUnused*/, unsigned char* aBytes,
                                         unsigned aCapacity, unsigned& aCount) const
{
    aCount = 0;
    if (aSeparator == nullptr || *aSeparator == '\0')
        return kErrBadValue;
    const ktCFOwned<CFStringRef> separator(CreateStringFromString(aSeparator));
    return separator ? SplitAndReadBytes(mString, separator.Get(), aBytes, aCapacity, aCount) : kErrNoMemory;
}

ktError ktString::SplitEmailAddress(ktString const& aAddress, ktString& aLocal, ktString& aDomain)
{
    ktString local;
    ktString domain;
    const ktError result = SplitAddress(aAddress, local, domain);
    if (result != kErrNone) {
        local.Clear();
        domain.Clear();
    }
    aLocal.Swap(local);  // only now: either may be the address
    aDomain.Swap(domain);
    return result;
}

ktError ktString::SplitEmailAddress(char const* aAddress, ktString& aLocal, ktString& aDomain)
{
    ktString address;
    const ktError result = aAddress != nullptr ? address.Append(aAddress) : kErrBadValue;
    const ktError splitResult = SplitEmailAddress(address, aLocal, aDomain);
    return result != kErrNone ? result : splitResult;
}

ktBOOL ktString::IsUrl() const
{
    return mString != nullptr &&
           std::any_of(std::begin(kUrlBeginnings), std::end(kUrlBeginnings),
                       [this](std::string_view aBeginning) { return StandsAt(mString, 0, aBeginning); });
}

ktError ktString::CreateGUID(ktString& aGuid)
{
    const ktCFOwned<CFUUIDRef> uuid(CFUUIDCreate(kCFAllocatorDefault));
    const ktCFOwned<CFStringRef> text(uuid ? CFUUIDCreateString(kCFAllocatorDefault, uuid.Get()) : nullptr);
    return text ? aGuid.Copy(text.Get()) : kErrNoMemory;
}

// Localisation.

CFLocaleRef ktString::GetCurrentLocale()
{
    const ktString identifier = ktBundle::GetCurrentLocale();
    CFStringRef const text = identifier.GetAsCFString();
    return text != nullptr ? CFLocaleCreate(kCFAllocatorDefault, text) : nullptr;
}

ktString ktString::GetLocalizedString(char const* aKey, char const* aDefaultText)
{
    return ktBundle::GetLocalizedString(aKey, aDefaultText);
}

ktError ktString::UnloadStringArray(ktString const** aStrings)
{
    if (aStrings == nullptr)
        return kErrBadValue;
    for (; *aStrings != nullptr; ++aStrings)
        DeleteAndClear(*aStrings);
    return kErrNone;
}

ktError ktString::UnloadStringArray(ktString const** aStrings, int aCount)
{
    if (aStrings == nullptr)
        return kErrBadValue;
    for (int i = 0; i < aCount; ++i)
        DeleteAndClear(aStrings[i]);
    return kErrNone;
}
