/// @file
/// Building the texts that describe objects.
#pragma once

#include "cfstringobject.h"

namespace cf {

/// A text that grows piece by piece and is given out whole or not at all.
class Description {
public:
    Description() : mText(CFStringCreateMutable(kCFAllocatorDefault, 0)), mIsWhole(static_cast<bool>(mText))
    {
    }

    void Add(Text aText)
    {
        mIsWhole = mIsWhole && mText.Get()->Splice(CFRangeMake(CFStringGetLength(mText.Get()), 0), aText);
    }

    /// ASCII.
    void Add(char const* aText)
    {
        Add(Text(aText, static_cast<CFIndex>(std::strlen(aText))));
    }

    /// Null is a piece that could not be made.
    void Add(CFStringRef aText)
    {
        mIsWhole = mIsWhole && aText != nullptr;
        Add(TextOf(aText));
    }

    /// The text, for the caller to release; null when memory ran out on the way.
    CFStringRef Take()
    {
        if (!mIsWhole)
            return nullptr;
        mText.Get()->Freeze();
        return mText.Detach();
    }

private:
    Owned<CFMutableStringRef> mText;
    bool mIsWhole;
};

}  // namespace cf
