/// @file
/// Between bytes in an encoding and UTF-16.
#pragma once

#include "cfstringobject.h"

namespace cf {

/// Bytes that are to be read as text.
class Decoder {
public:
    /// @param aIsExternal whether a byte-order mark in front is left out.
    Decoder(UInt8 const* aBytes, CFIndex aCount, CFStringEncoding aEncoding, bool aIsExternal);

    /// Whether there is nothing but ASCII, a byte each: such bytes are the text.
    bool IsAscii() const
    {
        return mAscii == mCount;
    }
    Text AsciiText() const
    {
        return Text(reinterpret_cast<char const*>(mBytes), mCount);
    }
    /// The bytes in front of the first that the encoding does not allow.
    CFIndex CountAllowed() const;
    /// Whether the encoding allows all of them.
    bool IsAllowed() const
    {
        return CountAllowed() == mCount;
    }
    /// The UTF-16 units that the bytes come to, if they are allowed; never fewer than Write() writes. -1 when they are
    /// not, as far as that shows without reading all of them.
    CFIndex Count() const;
    /// Writes the text and moves `aOut` behind it. @return whether the encoding allowed all of it; if not, `aOut`
    /// stays.
    bool Write(UniChar*& aOut) const;

private:
    void SkipMark(CFStringEncoding aEncoding);

    UInt8 const* mBytes;
    CFIndex mCount;
    CFStringEncoding mEncoding;  ///< never one that leaves the byte order open
    CFIndex mAscii;              ///< bytes in front that are ASCII, in an encoding of bytes
};

}  // namespace cf
