/// @file
/// How strings are stored, for the sources that make up CFString.
#pragma once

#include <clocale>
#include <cstring>

#include "CoreFoundation/CFString.h"
#include "cfobject.h"

namespace cf {

/// Somebody else's text: either ASCII bytes or UTF-16 units.
struct Text {
    Text() : Text("", 0)
    {
    }
    Text(char const* aBytes, CFIndex aLength) : mData(aBytes), mLength(aLength), mIsWide(false)
    {
    }
    Text(UniChar const* aUnits, CFIndex aLength) : mData(aUnits), mLength(aLength), mIsWide(true)
    {
    }

    char const* Bytes() const
    {
        return static_cast<char const*>(mData);
    }
    UniChar const* Units() const
    {
        return static_cast<UniChar const*>(mData);
    }
    UniChar At(CFIndex aIndex) const
    {
        return mIsWide ? Units()[aIndex] : static_cast<UInt8>(Bytes()[aIndex]);
    }
    /// `aRange` lies inside.
    Text Part(CFRange aRange) const
    {
        return mIsWide ? Text(Units() + aRange.location, aRange.length)
                       : Text(Bytes() + aRange.location, aRange.length);
    }
    /// Copies the text widened to UTF-16.
    void CopyUnits(UniChar* aOut) const;
    /// Copies the text as it is, or widened; the two may overlap if they are of one width.
    void CopyTo(void* aOut, bool aIsWide) const;

    void const* mData;
    CFIndex mLength;
    bool mIsWide;
};

/// Cut `aRange` to the positions that a text of `aLength` has.
CFRange Clip(CFRange aRange, CFIndex aLength);

/// White space and line breaks.
bool IsSpace(UniChar aUnit);

/// The "C" locale: numbers are written and read the same whatever the process has set.
locale_t PlainLocale();

/// Finds `aWhat` in `aRange` of `aText`; {kCFNotFound, 0} when it is not there.
CFRange Find(Text const& aText, CFRange aRange, Text const& aWhat, CFOptionFlags aOptions);

/// Calls `aFunction` with a pointer to the text's bytes or to its units.
template <typename Function>
auto Visit(Text const& aText, Function aFunction)
{
    return aText.mIsWide ? aFunction(aText.Units()) : aFunction(reinterpret_cast<UInt8 const*>(aText.Bytes()));
}

}  // namespace cf

/// A string. It keeps ASCII as terminated bytes, which costs half the memory and serves most readers as it is, and
/// anything else as UTF-16. Short texts lie behind the object itself.
struct __CFString final : cf::Object {
    /// An immutable string around an ASCII literal; it is never destroyed.
    constexpr __CFString(char const* aLiteral, CFIndex aLength)
        : Object(cf::kString, kConstant), mIsWide(false), mIsMutable(false), mData(const_cast<char*>(aLiteral)),
          mLength(aLength), mSize(aLength + 1), mMaxLength(0)
    {
    }
    /// Empty, with `aSize` bytes behind the object.
    __CFString(bool aIsMutable, CFIndex aMaxLength, CFIndex aSize);

    /// Null when there is no memory, or the text is longer than `aMaxLength`.
    static __CFString* CreateMutable(CFIndex aMaxLength, cf::Text const& aText);
    static __CFString* CreateImmutable(cf::Text const& aText);
    /// Room for exactly that many units, to be written through MakeGap().
    static __CFString* CreateEmptyImmutable(CFIndex aLength, bool aIsWide);

    cf::Text GetText() const
    {
        return mIsWide ? cf::Text(static_cast<UniChar const*>(mData), mLength)
                       : cf::Text(static_cast<char const*>(mData), mLength);
    }
    /// No change from now on.
    void Freeze()
    {
        mIsMutable = false;
    }
    /// Whether there are bytes that somebody may have a pointer to.
    bool HoldsBytes() const;
    bool IsMutable() const
    {
        return mIsMutable;
    }

    /// Takes `aRange`, which lies in the string, out and makes room for `aLength` units in its place.
    /// @return where they go, UTF-16 if the string now is, which it is if `aIsWide`; null when there is no memory or no
    ///         room, and then nothing has changed.
    void* MakeGap(CFRange aRange, CFIndex aLength, bool aIsWide);
    /// Puts `aText`, which may be of this string, in the place of `aRange`. @return false as above.
    bool Splice(CFRange aRange, cf::Text const& aText);
    /// The same at the end, which is where most texts go.
    bool Append(cf::Text const& aText);
    /// Whether `aPointer` is of this string.
    bool Contains(void const* aPointer) const;
    /// Moves the text up by `aGap` units, for a caller that writes it anew from its start; UTF-16 if `aIsWide`.
    /// @param aMoved receives the text in its new place. @return where to write; null as for MakeGap().
    void* Loosen(CFIndex aGap, bool aIsWide, cf::Text& aMoved);
    /// Ends what Loosen() began, or cuts the string.
    void SetLength(CFIndex aLength);
    CFIndex GetMaxLength() const
    {
        return mMaxLength;
    }
    /// Takes over the text of `aOther`, which can change and has none afterwards. @return false when it is too long.
    bool Adopt(__CFString& aOther);

    bool Equals(cf::Object const& aOther) const override;
    CFHashCode Hash() const override;
    CFStringRef CopyDescription() const override;

private:
    void Finalize() override
    {
        FreeBlock();
    }
    void* Inline()
    {
        return this + 1;
    }
    bool IsInline() const
    {
        return mData == this + 1;
    }
    bool Write(CFRange aRange, cf::Text const& aText);
    void FreeBlock();
    bool Reserve(CFIndex aLength, bool aIsWide, CFIndex aKept);
    void Widen();
    void SetBlock(void* aBlock, CFIndex aSize);

    bool mIsWide;
    bool mIsMutable;
    void* mData;
    CFIndex mLength;
    CFIndex mSize;             ///< bytes of the block
    const CFIndex mMaxLength;  ///< units; 0 for no limit
};

namespace cf {

/// The text of a string, which may be null.
inline Text TextOf(CFStringRef aString)
{
    return aString != nullptr ? aString->GetText() : Text();
}

}  // namespace cf

/// Defines the exported constant `aName`.
#define CF_CONSTANT_STRING(aName, aLiteral)                                                                            \
    static __CFString sString_##aName(aLiteral, sizeof aLiteral - 1);                                                  \
    CFStringRef const aName = &sString_##aName
