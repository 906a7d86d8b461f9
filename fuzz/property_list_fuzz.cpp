// Bytes become a property list whose every part can be used, or are refused with a reason and a line.
#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

// NOLINTBEGIN(misc-no-recursion): as deep as lists are read
void CheckValue(CFTypeRef aValue);

void CheckDictionary(CFDictionaryRef aDictionary)
{
    std::vector<void const*> keys(static_cast<std::size_t>(CFDictionaryGetCount(aDictionary)));
    CFDictionaryGetKeysAndValues(aDictionary, keys.data(), nullptr);
    for (void const* key : keys) {
        Check(CFGetTypeID(key) == CFStringGetTypeID());
        CheckValue(CFDictionaryGetValue(aDictionary, key));
    }
}

void CheckValue(CFTypeRef aValue)
{
    Check(aValue != nullptr);
    if (CFGetTypeID(aValue) == CFDictionaryGetTypeID())
        CheckDictionary(static_cast<CFDictionaryRef>(aValue));
    else if (CFGetTypeID(aValue) == CFArrayGetTypeID()) {
        const CFArrayRef array = static_cast<CFArrayRef>(aValue);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            CheckValue(CFArrayGetValueAtIndex(array, i));
    }
}

// NOLINTEND(misc-no-recursion)

/// A refusal says "line" and a number first.
void CheckError(CFErrorRef aError)
{
    Check(CFErrorGetCode(aError) == kCFPropertyListReadCorruptError);
    const CFStringRef text = CFErrorCopyDescription(aError);
    Check(CFStringGetLength(text) > 7 && CFStringGetCharacterAtIndex(text, 5) >= '1' &&
          CFStringGetCharacterAtIndex(text, 5) <= '9');
    CFRelease(text);
    CFRelease(aError);
}

CFPropertyListRef Read(CFDataRef aData)
{
    CFPropertyListFormat format = CFPropertyListFormat{0};
    CFErrorRef error = nullptr;
    const CFPropertyListRef list = CFPropertyListCreateWithData(nullptr, aData, 0, &format, &error);
    Check((list != nullptr) == (error == nullptr) && (list != nullptr) == (format != 0));
    if (error != nullptr)
        CheckError(error);
    return list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    const CFDataRef data = CFDataCreate(nullptr, aData, static_cast<CFIndex>(aSize));
    const CFPropertyListRef list = Read(data), again = Read(data);
    Check(CFEqual(list, again));
    if (list != nullptr) {
        CheckValue(list);
        const CFStringRef text = CFCopyDescription(list);
        Check(text != nullptr);
        CFRelease(text);
    }
    CFRelease(again);
    CFRelease(list);
    CFRelease(data);
    return 0;
}
