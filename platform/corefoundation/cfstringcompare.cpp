// Comparing and finding. Without an option units are compared; with options, what they are folded to: canonical
// decomposition, marks dropped, case folded, each only if an option asks for it.
#define UCHAR_TYPE std::uint16_t  // so that ICU's units are ours

#include <algorithm>
#include <cstdint>
#include <iterator>

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include "cfstringobject.h"

using cf::Text;
using cf::TextOf;

namespace {

constexpr CFOptionFlags kFolding =
    kCFCompareCaseInsensitive | kCFCompareNonliteral | kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive;
constexpr CFOptionFlags kDecomposing = kCFCompareNonliteral | kCFCompareDiacriticInsensitive;

CFRange Nowhere()
{
    return CFRangeMake(kCFNotFound, 0);
}

template <typename Value>
CFComparisonResult Order(Value aFirst, Value aSecond)
{
    return aFirst < aSecond ? kCFCompareLessThan : aFirst > aSecond ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

/// ICU makes its tables of decompositions when they are first asked for, and never again when there was no memory for
/// them. While the program is being loaded there is.
UNormalizer2 const* CreateDecomposer()
{
    UErrorCode status = U_ZERO_ERROR;
    return unorm2_getNFDInstance(&status);
}

UNormalizer2 const* const sDecomposer = CreateDecomposer();

/// The fullwidth and halfwidth forms from `mFirst` to `mLast`, and the ordinary forms from `mOrdinary` on. From the
/// decompositions of type <wide> and <narrow> in the Unicode Character Database.
struct WidthRun {
    UniChar mFirst;
    UniChar mLast;
    UniChar mOrdinary;
};

constexpr WidthRun kWidthRuns[] = {
    {0x3000, 0x3000, 0x0020}, {0xFF01, 0xFF5E, 0x0021}, {0xFF5F, 0xFF60, 0x2985}, {0xFF61, 0xFF61, 0x3002},
    {0xFF62, 0xFF63, 0x300C}, {0xFF64, 0xFF64, 0x3001}, {0xFF65, 0xFF65, 0x30FB}, {0xFF66, 0xFF66, 0x30F2},
    {0xFF67, 0xFF67, 0x30A1}, {0xFF68, 0xFF68, 0x30A3}, {0xFF69, 0xFF69, 0x30A5}, {0xFF6A, 0xFF6A, 0x30A7},
    {0xFF6B, 0xFF6B, 0x30A9}, {0xFF6C, 0xFF6C, 0x30E3}, {0xFF6D, 0xFF6D, 0x30E5}, {0xFF6E, 0xFF6E, 0x30E7},
    {0xFF6F, 0xFF6F, 0x30C3}, {0xFF70, 0xFF70, 0x30FC}, {0xFF71, 0xFF71, 0x30A2}, {0xFF72, 0xFF72, 0x30A4},
    {0xFF73, 0xFF73, 0x30A6}, {0xFF74, 0xFF74, 0x30A8}, {0xFF75, 0xFF76, 0x30AA}, {0xFF77, 0xFF77, 0x30AD},
    {0xFF78, 0xFF78, 0x30AF}, {0xFF79, 0xFF79, 0x30B1}, {0xFF7A, 0xFF7A, 0x30B3}, {0xFF7B, 0xFF7B, 0x30B5},
    {0xFF7C, 0xFF7C, 0x30B7}, {0xFF7D, 0xFF7D, 0x30B9}, {0xFF7E, 0xFF7E, 0x30BB}, {0xFF7F, 0xFF7F, 0x30BD},
    {0xFF80, 0xFF80, 0x30BF}, {0xFF81, 0xFF81, 0x30C1}, {0xFF82, 0xFF82, 0x30C4}, {0xFF83, 0xFF83, 0x30C6},
    {0xFF84, 0xFF84, 0x30C8}, {0xFF85, 0xFF8A, 0x30CA}, {0xFF8B, 0xFF8B, 0x30D2}, {0xFF8C, 0xFF8C, 0x30D5},
    {0xFF8D, 0xFF8D, 0x30D8}, {0xFF8E, 0xFF8E, 0x30DB}, {0xFF8F, 0xFF93, 0x30DE}, {0xFF94, 0xFF94, 0x30E4},
    {0xFF95, 0xFF95, 0x30E6}, {0xFF96, 0xFF9B, 0x30E8}, {0xFF9C, 0xFF9C, 0x30EF}, {0xFF9D, 0xFF9D, 0x30F3},
    {0xFF9E, 0xFF9F, 0x3099}, {0xFFA0, 0xFFA0, 0x3164}, {0xFFA1, 0xFFBE, 0x3131}, {0xFFC2, 0xFFC7, 0x314F},
    {0xFFCA, 0xFFCF, 0x3155}, {0xFFD2, 0xFFD7, 0x315B}, {0xFFDA, 0xFFDC, 0x3161}, {0xFFE0, 0xFFE1, 0x00A2},
    {0xFFE2, 0xFFE2, 0x00AC}, {0xFFE3, 0xFFE3, 0x00AF}, {0xFFE4, 0xFFE4, 0x00A6}, {0xFFE5, 0xFFE5, 0x00A5},
    {0xFFE6, 0xFFE6, 0x20A9}, {0xFFE8, 0xFFE8, 0x2502}, {0xFFE9, 0xFFEC, 0x2190}, {0xFFED, 0xFFED, 0x25A0},
    {0xFFEE, 0xFFEE, 0x25CB},
};

/// What each unit below 0x600, all of Latin, Greek, Cyrillic and Armenian in daily use, is without case; 0 where that
/// is more than one unit or a mark has a say in it.
class FoldTable {
public:
    static constexpr UniChar kEnd = 0x600;

    static FoldTable const& Get()
    {
        static const FoldTable sTable;
        return sTable;
    }
    /// Without case; 0 when it is not that simple.
    UniChar Fold(UniChar aUnit) const
    {
        return aUnit < kEnd ? mFolded[aUnit] : UniChar{0};
    }
    /// Whether a unit stays alone when it is decomposed, and does not join the one before.
    bool IsAlone(UniChar aUnit) const
    {
        return aUnit < kEnd && mIsAlone[aUnit];
    }

private:
    FoldTable()
    {
        for (UniChar unit = 0; unit < kEnd; ++unit) {
            UniChar folded[4];
            UErrorCode status = U_ZERO_ERROR;
            const int length = u_strFoldCase(folded, 4, &unit, 1, U_FOLD_CASE_DEFAULT, &status);
            mFolded[unit] = length == 1 ? folded[0] : UniChar{0};
            mIsAlone[unit] = sDecomposer != nullptr && unorm2_isInert(sDecomposer, unit) != 0;
        }
    }

    UniChar mFolded[kEnd] = {};
    bool mIsAlone[kEnd] = {};
};

/// Reads a text as the code points that the options leave of it.
class FoldedReader {
public:
    static constexpr SInt32 kEnd = -1;

    FoldedReader(Text const& aText, CFIndex aPosition, CFOptionFlags aOptions)
        : mText(aText), mPosition(aPosition), mOptions(aOptions), mCount(0), mNext(0)
    {
    }

    /// The next code point, kEnd behind the last.
    SInt32 Next()
    {
        while (mNext == mCount) {
            if (mPosition >= mText.mLength)
                return kEnd;
            ReadCluster();
        }
        return mQueue[mNext++];
    }

    /// Whether nothing is left of the characters that were read.
    bool IsBetweenCharacters() const
    {
        return mNext == mCount;
    }
    /// Behind the units that were read.
    CFIndex GetPosition() const
    {
        return mPosition;
    }

private:
    /// A letter and its marks; what has more of them is taken in pieces, as Unicode's stream-safe format does.
    static constexpr int kMaxCluster = 32;
    /// Folding makes three code points of one at the most.
    static constexpr int kMaxQueue = 3 * kMaxCluster;
    /// The longest decomposition, in units.
    static constexpr int kMaxUnits = 32;

    void ReadCluster();
    int ReadPoint(SInt32* aOut);
    SInt32 Narrowed(SInt32 aPoint) const;
    int Decomposed(SInt32 aPoint, SInt32* aOut) const;
    void Sort(int aCount);
    int DropMarks(int aCount);
    void Emit(SInt32 aPoint);
    bool MarkFollows();

    const Text mText;
    CFIndex mPosition;
    const CFOptionFlags mOptions;
    SInt32 mCluster[kMaxCluster] = {};
    SInt32 mQueue[kMaxQueue] = {};
    int mCount;
    int mNext;
};

/// Code points of a short UTF-16 text. @return how many.
int ToPoints(UniChar const* aUnits, int aLength, SInt32* aOut)
{
    int count = 0;
    for (int i = 0; i < aLength; ++count)
        U16_NEXT(aUnits, i, aLength, aOut[count]);
    return count;
}

void FoldedReader::ReadCluster()
{
    int count = ReadPoint(mCluster);
    mCount = mNext = 0;
    if ((mOptions & kDecomposing) != 0) {
        while (count + 4 <= kMaxCluster && MarkFollows())
            count += ReadPoint(mCluster + count);
        Sort(count);
        count = DropMarks(count);
    }
    for (int i = 0; i < count; ++i)
        Emit(mCluster[i]);
}

/// Reads one code point and takes it apart. @return how many it comes to.
int FoldedReader::ReadPoint(SInt32* aOut)
{
    SInt32 point = mText.At(mPosition++);
    if (U16_IS_LEAD(point) && mPosition < mText.mLength && U16_IS_TRAIL(mText.At(mPosition)))
        point = U16_GET_SUPPLEMENTARY(point, mText.At(mPosition++));
    return Decomposed(Narrowed(point), aOut);
}

/// The ordinary form of a fullwidth or halfwidth one.
SInt32 FoldedReader::Narrowed(SInt32 aPoint) const
{
    if ((mOptions & kCFCompareWidthInsensitive) == 0 || aPoint < kWidthRuns[0].mFirst || aPoint > 0xFFEE)
        return aPoint;
    auto const* const run = std::lower_bound(std::begin(kWidthRuns), std::end(kWidthRuns), aPoint,
                                             [](WidthRun const& aRun, SInt32 aValue) { return aRun.mLast < aValue; });
    return run != std::end(kWidthRuns) && run->mFirst <= aPoint ? run->mOrdinary + (aPoint - run->mFirst) : aPoint;
}

int FoldedReader::Decomposed(SInt32 aPoint, SInt32* aOut) const
{
    *aOut = aPoint;
    if ((mOptions & kDecomposing) == 0 || aPoint < 0xC0 || sDecomposer == nullptr)
        return 1;
    UniChar units[kMaxUnits];
    UErrorCode status = U_ZERO_ERROR;
    const int length = unorm2_getDecomposition(sDecomposer, aPoint, units, kMaxUnits, &status);
    return length > 0 && U_SUCCESS(status) ? ToPoints(units, length, aOut) : 1;
}

/// Whether the next code point belongs to the letter before.
bool FoldedReader::MarkFollows()
{
    if (mPosition >= mText.mLength || mText.At(mPosition) < 0x300)
        return false;
    const CFIndex start = mPosition;
    SInt32 points[8] = {};
    ReadPoint(points);
    mPosition = start;
    return u_getCombiningClass(points[0]) != 0;
}

/// Puts marks into their canonical order.
void FoldedReader::Sort(int aCount)
{
    for (int i = 1; i < aCount; ++i) {
        const int order = u_getCombiningClass(mCluster[i]);
        for (int k = i; k > 0 && order != 0 && u_getCombiningClass(mCluster[k - 1]) > order; --k)
            std::swap(mCluster[k - 1], mCluster[k]);
    }
}

/// Without the marks on letters of the alphabets where a mark makes no other letter. @return how many are left.
int FoldedReader::DropMarks(int aCount)
{
    constexpr SInt32 kBehindCyrillic = 0x510;
    if ((mOptions & kCFCompareDiacriticInsensitive) == 0 || mCluster[0] >= kBehindCyrillic)
        return aCount;
    SInt32* const end =
        std::remove_if(mCluster + 1, mCluster + aCount, [](SInt32 aPoint) { return u_getCombiningClass(aPoint) != 0; });
    return static_cast<int>(end - mCluster);
}

void FoldedReader::Emit(SInt32 aPoint)
{
    const UniChar simple = aPoint < FoldTable::kEnd ? FoldTable::Get().Fold(static_cast<UniChar>(aPoint)) : UniChar{0};
    if ((mOptions & kCFCompareCaseInsensitive) == 0 || simple != 0) {
        mQueue[mCount++] = (mOptions & kCFCompareCaseInsensitive) == 0 ? aPoint : SInt32{simple};
        return;
    }
    mQueue[mCount] = aPoint;
    UniChar units[2];
    UniChar folded[8];
    int length = 0;
    UErrorCode status = U_ZERO_ERROR;
    U16_APPEND_UNSAFE(units, length, aPoint);
    length = u_strFoldCase(folded, 8, units, length, U_FOLD_CASE_DEFAULT, &status);
    mCount += U_SUCCESS(status) ? ToPoints(folded, length, mQueue + mCount) : 1;
}

/// Where the first units differ.
template <typename First, typename Second>
CFIndex Mismatch(First const* aFirst, Second const* aSecond, CFIndex aLength)
{
    CFIndex i = 0;
    if constexpr (sizeof(First) == sizeof(Second))
        for (UInt64 first = 0, second = 0; i + static_cast<CFIndex>(8 / sizeof(First)) <= aLength;
             i += static_cast<CFIndex>(8 / sizeof(First))) {
            std::memcpy(&first, aFirst + i, sizeof first);
            std::memcpy(&second, aSecond + i, sizeof second);
            if (first != second)
                break;
        }
    while (i < aLength && aFirst[i] == aSecond[i])
        ++i;
    return i;
}

CFComparisonResult CompareLiterally(Text const& aFirst, Text const& aSecond)
{
    return cf::Visit(aFirst, [&](auto const* aUnits) {
        return cf::Visit(aSecond, [&](auto const* aOthers) {
            const CFIndex length = std::min(aFirst.mLength, aSecond.mLength);
            const CFIndex i = Mismatch(aUnits, aOthers, length);
            return i < length ? Order<int>(aUnits[i], aOthers[i]) : Order(aFirst.mLength, aSecond.mLength);
        });
    });
}

/// Two texts, and how far each has been compared.
struct Comparison {
    Text mFirst;
    Text mSecond;
    CFIndex mAt = 0;
    CFIndex mOtherAt = 0;
};

/// Compares as long as a look at a table tells what a unit is without case. Marks that follow do not matter where the
/// letters differ already.
/// @return whether that settled it; if not, the comparison has come to where it takes more.
template <typename First, typename Second>
bool CompareSimply(First const* aFirst, Second const* aSecond, Comparison& aState, CFOptionFlags aOptions,
                   CFComparisonResult& aResult)
{
    FoldTable const& table = FoldTable::Get();
    const bool ignoresCase = (aOptions & kCFCompareCaseInsensitive) != 0;
    const bool isDecomposing = (aOptions & kDecomposing) != 0;
    const CFIndex length = std::min(aState.mFirst.mLength - aState.mAt, aState.mSecond.mLength - aState.mOtherAt);
    CFIndex i = 0;
    for (; i < length; ++i) {
        const UniChar unit = aFirst[aState.mAt + i];
        const UniChar otherUnit = aSecond[aState.mOtherAt + i];
        if (unit == otherUnit)
            continue;
        const UniChar folded = ignoresCase ? table.Fold(unit) : unit;
        const UniChar other = ignoresCase ? table.Fold(otherUnit) : otherUnit;
        if (folded == other && folded != 0)
            continue;
        const bool isDecided = isDecomposing ? table.IsAlone(unit) && table.IsAlone(otherUnit)
                                             : unit < FoldTable::kEnd && otherUnit < FoldTable::kEnd;
        if (isDecided && folded != 0 && other != 0) {
            aResult = Order(folded, other);
            return true;
        }
        break;
    }
    aState.mAt += i;
    aState.mOtherAt += i;
    return false;
}

/// Whether the unit at `aAt` may belong to the character before.
bool GoesOn(Text const& aText, CFIndex aAt, CFOptionFlags aOptions)
{
    if (aAt == 0 || aAt >= aText.mLength)
        return false;
    const UniChar unit = aText.At(aAt);
    if (U16_IS_TRAIL(unit))
        return U16_IS_LEAD(aText.At(aAt - 1));
    if ((aOptions & kDecomposing) == 0 || FoldTable::Get().IsAlone(unit) || sDecomposer == nullptr)
        return false;
    const bool isPair = U16_IS_LEAD(unit) && aAt + 1 < aText.mLength && U16_IS_TRAIL(aText.At(aAt + 1));
    const SInt32 point = isPair ? U16_GET_SUPPLEMENTARY(unit, aText.At(aAt + 1)) : SInt32{unit};
    return unorm2_hasBoundaryBefore(sDecomposer, point) == 0;
}

/// Goes back to where a character begins in both texts, but not behind the start.
void BackToBoundary(Comparison& aState, CFIndex aStart, CFOptionFlags aOptions)
{
    for (; aState.mAt > aStart; --aState.mAt, --aState.mOtherAt)
        if (!GoesOn(aState.mFirst, aState.mAt, aOptions) && !GoesOn(aState.mSecond, aState.mOtherAt, aOptions))
            break;
}

/// Compares whole characters until both texts are between two again. @return false when both ended.
bool CompareCharacters(Comparison& aState, CFOptionFlags aOptions, CFComparisonResult& aResult)
{
    FoldedReader first(aState.mFirst, aState.mAt, aOptions);
    FoldedReader second(aState.mSecond, aState.mOtherAt, aOptions);
    do {
        const SInt32 point = first.Next();
        const SInt32 other = second.Next();
        aResult = Order(point, other);
        if (aResult != kCFCompareEqualTo || point == FoldedReader::kEnd)
            return false;
    } while (!first.IsBetweenCharacters() || !second.IsBetweenCharacters());
    aState.mAt = first.GetPosition();
    aState.mOtherAt = second.GetPosition();
    return true;
}

CFComparisonResult CompareFolded(Text const& aFirst, Text const& aSecond, CFOptionFlags aOptions)
{
    Comparison state{aFirst, aSecond, 0, 0};
    CFComparisonResult result = kCFCompareEqualTo;
    for (;;) {
        const CFIndex start = state.mAt;
        const bool isSettled = cf::Visit(aFirst, [&](auto const* aUnits) {
            return cf::Visit(
                aSecond, [&](auto const* aOthers) { return CompareSimply(aUnits, aOthers, state, aOptions, result); });
        });
        if (isSettled || (state.mAt == aFirst.mLength && state.mOtherAt == aSecond.mLength))
            return result;
        BackToBoundary(state, start, aOptions);
        if (!CompareCharacters(state, aOptions, result))
            return result;
    }
}

CFComparisonResult Compare(Text const& aFirst, Text const& aSecond, CFOptionFlags aOptions)
{
    return (aOptions & kFolding) != 0 ? CompareFolded(aFirst, aSecond, aOptions) : CompareLiterally(aFirst, aSecond);
}

// Finding.

/// The first byte like `aUnit`; null when there is none.
UInt8 const* FindUnit(UInt8 const* aFrom, UInt8 const* aEnd, UniChar aUnit)
{
    if (aUnit >= 0x80)
        return nullptr;
    return static_cast<UInt8 const*>(std::memchr(aFrom, aUnit, static_cast<std::size_t>(aEnd - aFrom)));
}

/// The first unit like `aUnit`, looking at four at a time.
UniChar const* FindUnit(UniChar const* aFrom, UniChar const* aEnd, UniChar aUnit)
{
    constexpr UInt64 kOnes = 0x0001000100010001U;
    UniChar const* at = aFrom;
    for (UInt64 block = 0; aEnd - at >= 4; at += 4) {
        std::memcpy(&block, at, sizeof block);
        block ^= kOnes * aUnit;
        if (((block - kOnes) & ~block & (kOnes << 15)) != 0)  // one of them is 0 now
            break;
    }
    while (at < aEnd && *at != aUnit)
        ++at;
    return at < aEnd ? at : nullptr;
}

/// Where `aWhat` first is, kCFNotFound for nowhere. It is neither empty nor longer than the text.
template <typename Unit, typename Other>
CFIndex FindFirst(Unit const* aUnits, CFIndex aLength, Other const* aWhat, CFIndex aWhatLength)
{
    Unit const* const last = aUnits + (aLength - aWhatLength);
    for (Unit const* at = aUnits; at <= last; ++at) {
        at = FindUnit(at, last + 1, aWhat[0]);
        if (at == nullptr)
            break;
        if (Mismatch(at + 1, aWhat + 1, aWhatLength - 1) == aWhatLength - 1)
            return at - aUnits;
    }
    return kCFNotFound;
}

template <typename Unit, typename Other>
CFIndex FindLast(Unit const* aUnits, CFIndex aLength, Other const* aWhat, CFIndex aWhatLength)
{
    CFIndex i = aLength - aWhatLength;
    while (i >= 0 && Mismatch(aUnits + i, aWhat, aWhatLength) != aWhatLength)
        --i;
    return std::max(i, kCFNotFound);
}

CFIndex FindLiterally(Text const& aText, Text const& aWhat, bool aIsBackwards)
{
    return cf::Visit(aText, [&](auto const* aUnits) {
        return cf::Visit(aWhat, [&](auto const* aOthers) {
            return aIsBackwards ? FindLast(aUnits, aText.mLength, aOthers, aWhat.mLength)
                                : FindFirst(aUnits, aText.mLength, aOthers, aWhat.mLength);
        });
    });
}

/// How many units of the text from `aAt` on are the same as `aWhat`; -1 when it is not there.
CFIndex MatchFolded(Text const& aText, CFIndex aAt, Text const& aWhat, CFOptionFlags aOptions)
{
    FoldedReader text(aText, aAt, aOptions);
    FoldedReader what(aWhat, 0, aOptions);
    for (;;) {
        const SInt32 point = what.Next();
        if (point == FoldedReader::kEnd)
            return text.IsBetweenCharacters() ? text.GetPosition() - aAt : -1;
        if (text.Next() != point)
            return -1;
    }
}

/// Whether no character of the text has begun before `aAt` and goes on there.
bool IsCharacterStart(Text const& aText, CFIndex aAt, CFOptionFlags aOptions)
{
    const UniChar unit = aText.At(aAt);
    if (U16_IS_TRAIL(unit) && aAt > 0 && U16_IS_LEAD(aText.At(aAt - 1)))
        return false;
    return (aOptions & kDecomposing) == 0 || aAt == 0 || u_getCombiningClass(unit) == 0;
}

/// Whether the text cannot begin with `aWhat`'s first unit there, as one look at a table tells.
bool IsHopeless(UniChar aUnit, UniChar aFolded, CFOptionFlags aOptions)
{
    const UniChar folded =
        (aOptions & kFolding) == kCFCompareCaseInsensitive ? FoldTable::Get().Fold(aUnit) : UniChar{0};
    return folded != 0 && aFolded != 0 && folded != aFolded;
}

CFRange FindFolded(Text const& aText, Text const& aWhat, CFOptionFlags aOptions)
{
    const bool isBackwards = (aOptions & kCFCompareBackwards) != 0;
    const bool isAnchored = (aOptions & kCFCompareAnchored) != 0;
    const UniChar first = FoldTable::Get().Fold(aWhat.At(0));
    const CFIndex step = isBackwards ? -1 : 1;
    for (CFIndex at = isBackwards ? aText.mLength - 1 : 0; at >= 0 && at < aText.mLength; at += step) {
        const bool isPossible = !IsHopeless(aText.At(at), first, aOptions) && IsCharacterStart(aText, at, aOptions);
        const CFIndex length = isPossible ? MatchFolded(aText, at, aWhat, aOptions) : -1;
        const bool isAtAnchor = isBackwards ? at + length == aText.mLength : at == 0;
        if (length >= 0 && (!isAnchored || isAtAnchor))
            return CFRangeMake(at, length);
        if (isAnchored && !isBackwards)
            break;
    }
    return Nowhere();
}

CFRange FindIn(Text const& aText, Text const& aWhat, CFOptionFlags aOptions)
{
    if (aWhat.mLength == 0)
        return Nowhere();
    if ((aOptions & kFolding) != 0)
        return FindFolded(aText, aWhat, aOptions);
    if (aWhat.mLength > aText.mLength)
        return Nowhere();
    const bool isBackwards = (aOptions & kCFCompareBackwards) != 0;
    const CFIndex anchor = isBackwards ? aText.mLength - aWhat.mLength : 0;
    const bool isAnchored = (aOptions & kCFCompareAnchored) != 0;
    const Text part = isAnchored ? aText.Part(CFRangeMake(anchor, aWhat.mLength)) : aText;
    const CFIndex at = FindLiterally(part, aWhat, isBackwards);
    return at != kCFNotFound ? CFRangeMake(isAnchored ? anchor : at, aWhat.mLength) : Nowhere();
}

}  // namespace

CFRange cf::Find(Text const& aText, CFRange aRange, Text const& aWhat, CFOptionFlags aOptions)
{
    CFRange hit = FindIn(aText.Part(aRange), aWhat, aOptions);
    if (hit.location != kCFNotFound)
        hit.location += aRange.location;
    return hit;
}

CFComparisonResult CFStringCompare(CFStringRef aFirst, CFStringRef aSecond, CFOptionFlags aOptions)
{
    return Compare(TextOf(aFirst), TextOf(aSecond), aOptions);
}

CFComparisonResult CFStringCompareWithOptions(CFStringRef aFirst, CFStringRef aSecond, CFRange aRange,
                                              CFOptionFlags aOptions)
{
    const Text first = TextOf(aFirst);
    return Compare(first.Part(cf::Clip(aRange, first.mLength)), TextOf(aSecond), aOptions);
}

Boolean CFStringFindWithOptions(CFStringRef aString, CFStringRef aWhat, CFRange aRange, CFOptionFlags aOptions,
                                CFRange* aResult)
{
    const Text text = TextOf(aString);
    const CFRange hit = cf::Find(text, cf::Clip(aRange, text.mLength), TextOf(aWhat), aOptions);
    if (hit.location != kCFNotFound && aResult != nullptr)
        *aResult = hit;
    return hit.location != kCFNotFound;
}

CFRange CFStringFind(CFStringRef aString, CFStringRef aWhat, CFOptionFlags aOptions)
{
    const Text text = TextOf(aString);
    return cf::Find(text, CFRangeMake(0, text.mLength), TextOf(aWhat), aOptions);
}

Boolean CFStringHasPrefix(CFStringRef aString, CFStringRef aPrefix)
{
    return CFStringFind(aString, aPrefix, kCFCompareAnchored).location != kCFNotFound;
}

Boolean CFStringHasSuffix(CFStringRef aString, CFStringRef aSuffix)
{
    return CFStringFind(aString, aSuffix, kCFCompareAnchored | kCFCompareBackwards).location != kCFNotFound;
}
