/// @file
/// Objects of CoreFoundation as tests handle them.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>
#include <utility>

/// A reference that is released.
template <typename T = CFTypeRef>
class Held {
public:
    Held(T aRef = nullptr) : mRef(aRef) { }
    Held(Held&& aOther) noexcept : mRef(std::exchange(aOther.mRef, nullptr)) { }
    Held& operator=(Held&& aOther) noexcept
    {
        std::swap(mRef, aOther.mRef);
        return *this;
    }
    ~Held() { CFRelease(mRef); }
    operator T() const { return mRef; }
    T Get() const { return mRef; }
    T* Receive() { return &mRef; }

private:
    T mRef;
};

inline Held<CFStringRef> Make(std::string_view aText)
{
    return CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(aText.data()),
                                   static_cast<CFIndex>(aText.size()), kCFStringEncodingUTF8, false);
}

inline Held<CFStringRef> Make(std::u16string_view aText)
{
    return CFStringCreateWithCharacters(nullptr, reinterpret_cast<UniChar const*>(aText.data()),
                                        static_cast<CFIndex>(aText.size()));
}

/// "(null)" for null.
inline std::string TextOf(CFStringRef aString)
{
    if (aString == nullptr)
        return "(null)";
    std::string text(static_cast<std::size_t>(CFStringGetMaximumSizeOfFileSystemRepresentation(aString)), '\0');
    CFIndex used = 0;
    CFStringGetBytes(aString, CFRangeMake(0, CFStringGetLength(aString)), kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(text.data()), static_cast<CFIndex>(text.size()), &used);
    text.resize(static_cast<std::size_t>(used));
    return text;
}

inline std::string DescriptionOf(CFTypeRef aObject) { return TextOf(Held<CFStringRef>(CFCopyDescription(aObject))); }

inline Held<CFNumberRef> Number(SInt64 aValue) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &aValue); }
inline Held<CFNumberRef> Real(double aValue) { return CFNumberCreate(nullptr, kCFNumberDoubleType, &aValue); }
