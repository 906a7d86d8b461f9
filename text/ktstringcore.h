/// @file
/// What the sources of the string share: how a change of its text is counted, and how texts come from others.
#pragma once

#include <cstddef>

#include "ktstring.h"

/// Adds to the bytes that all strings hold.
void ktCountStringBytes(CFIndex aBytes);

/// A new text from code points; null when they are refused, too many or there is no memory.
CFStringRef ktCreateFromWide(wchar_t const* aText, std::size_t aCount);
/// The same up to the first zero; null also for null.
CFStringRef ktCreateFromWide(wchar_t const* aText);

/// A new text from a part of another; null also when the part is not inside of it.
CFStringRef ktCreatePart(CFStringRef aText, CFIndex aStart, CFIndex aLength);

/// The one option of comparing and finding that the string sets itself.
inline int ktCaseOption(ktBOOL aCaseInsensitive)
{
    return aCaseInsensitive != 0 ? int{kCFCompareCaseInsensitive} : 0;
}

/// All of a text.
inline CFRange ktWholeOf(CFStringRef aText)
{
    return CFRangeMake(0, CFStringGetLength(aText));
}

/// A change of a string's text: drops the views before it, and counts what it did to the length behind it.
class ktString::Change {
public:
    explicit Change(ktString& aString) : mString(aString), mLength(CFStringGetLength(aString.mString))
    {
        aString.ClearBackingStore();
    }
    Change(Change const&) = delete;
    Change& operator=(Change const&) = delete;
    ~Change()
    {
        ktCountStringBytes(2 * Growth());
    }

    /// Units that the text has more than before.
    CFIndex Growth() const
    {
        return CFStringGetLength(mString.mString) - mLength;
    }

private:
    ktString& mString;
    const CFIndex mLength;
};

/// Nearly every string that changes has no view.
inline void ktString::ClearBackingStore() const
{
    if (mAccess != nullptr || mUTF8 != nullptr || mUTF32 != nullptr)
        DropViews();
}
