/// @file
/// What the readers of property lists share.
#pragma once

#include <string_view>

#include "CoreFoundation/CFPropertyList.h"
#include "cfobject.h"

namespace cf {

/// Levels of lists in lists.
constexpr int kMaxDepth = 512;

/// Why a property list was refused: a line and a reason, or that there was no memory. The first reason stays.
class PlistProblem {
public:
    PlistProblem() : mLine(0), mReason{}
    {
    }

    void Set(CFIndex aLine, char const* aFormat, ...) __attribute__((format(printf, 3, 4)));
    void SetNoMemory();
    bool IsSet() const
    {
        return mLine != 0;
    }
    bool IsForMemory() const
    {
        return mLine == kNoMemory;
    }
    /// The reason as an error; null when it was memory, or is now.
    CFErrorRef CreateError() const;

private:
    static constexpr CFIndex kNoMemory = -1;

    CFIndex mLine;  ///< 0 while there is no problem
    char mReason[160];
};

/// Reads either kind of property list. @param aFormat receives which; may be null.
/// @return null with `aProblem` set.
Owned<CFTypeRef> ReadPlist(std::string_view aBytes, CFPropertyListFormat* aFormat, PlistProblem& aProblem);

/// XML, in any encoding that it declares. Nothing outside of the text is ever read: entities are refused.
Owned<CFTypeRef> ReadXmlPlist(std::string_view aBytes, PlistProblem& aProblem);

/// The line of `aPosition` in `aText`, from 1.
CFIndex LineOf(std::string_view aText, char const* aPosition);

}  // namespace cf
