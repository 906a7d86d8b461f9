/// @file
/// Strings as UTF-8.
#pragma once

#include <cstdlib>
#include <string_view>

#include "cfstringobject.h"

namespace cf {

/// The UTF-8 of a string, for as long as both live.
class Utf8 {
public:
    explicit Utf8(CFStringRef aString);
    ~Utf8()
    {
        std::free(mBlock);
    }
    Utf8(Utf8 const&) = delete;
    Utf8& operator=(Utf8 const&) = delete;

    /// False for no string, for one that is not whole characters, and when there was no memory.
    explicit operator bool() const
    {
        return mText.data() != nullptr;
    }
    std::string_view Get() const
    {
        return mText;
    }

private:
    void* mBlock;  ///< null when the string has the bytes itself
    std::string_view mText;
};

inline Utf8::Utf8(CFStringRef aString) : mBlock(nullptr)
{
    const CFIndex length = CFStringGetLength(aString);
    char const* const own = CFStringGetCStringPtr(aString, kCFStringEncodingUTF8);
    if (own != nullptr || aString == nullptr) {
        mText = {own, static_cast<std::size_t>(length)};
        return;
    }
    const CFIndex room = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8);
    mBlock = std::malloc(static_cast<std::size_t>(room) + 1);  // one more, so that empty text has a block too
    CFIndex used = 0;
    if (mBlock != nullptr && CFStringGetBytes(aString, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false,
                                              static_cast<UInt8*>(mBlock), room, &used) == length)
        mText = {static_cast<char const*>(mBlock), static_cast<std::size_t>(used)};
}

}  // namespace cf
