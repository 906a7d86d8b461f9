// A strings table means the same in UTF-8 and in UTF-16 of either byte order, or is refused for the same reason.
#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

/// What became of a text.
class Table {
public:
    Table(UInt8 const* aBytes, std::size_t aSize)
    {
        const CFDataRef data = CFDataCreate(nullptr, aBytes, static_cast<CFIndex>(aSize));
        mList = CFPropertyListCreateWithData(nullptr, data, 0, &mFormat, &mError);
        Check((mList != nullptr) == (mError == nullptr));
        CFRelease(data);
    }
    ~Table()
    {
        CFRelease(mList);
        CFRelease(mError);
    }
    Table(Table const&) = delete;
    Table& operator=(Table const&) = delete;

    bool IsSameAs(Table const& aOther) const
    {
        return CFEqual(mList, aOther.mList) && CFEqual(mError, aOther.mError);
    }
    bool IsXml() const
    {
        return mFormat == kCFPropertyListXMLFormat_v1_0;
    }

private:
    CFPropertyListFormat mFormat = CFPropertyListFormat{0};
    CFErrorRef mError = nullptr;
    CFPropertyListRef mList = nullptr;
};

std::vector<UInt8> Utf16(CFStringRef aText, bool aIsBigEndian)
{
    std::vector<UInt8> bytes = {UInt8(aIsBigEndian ? 0xFE : 0xFF), UInt8(aIsBigEndian ? 0xFF : 0xFE)};
    for (CFIndex i = 0; i < CFStringGetLength(aText); ++i) {
        const UniChar unit = CFStringGetCharacterAtIndex(aText, i);
        const UInt8 high = static_cast<UInt8>(unit >> 8), low = static_cast<UInt8>(unit & 0xFF);
        bytes.push_back(aIsBigEndian ? high : low);
        bytes.push_back(aIsBigEndian ? low : high);
    }
    return bytes;
}

/// XML says itself what it is encoded in, so it cannot be turned into something else. It may begin after blanks.
bool MayBeXml(UInt8 const* aBytes, std::size_t aSize)
{
    for (std::size_t i = 0; i < aSize; ++i) {
        if (std::strchr(" \t\r\n", aBytes[i]) == nullptr || aBytes[i] == 0)
            return aBytes[i] == '<';
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    const Table table(aData, aSize);
    const CFStringRef text =
        CFStringCreateWithBytes(nullptr, aData, static_cast<CFIndex>(aSize), kCFStringEncodingUTF8, false);
    const bool hasMark = aSize >= 3 && std::memcmp(aData, "\xEF\xBB\xBF", 3) == 0;
    if (text != nullptr && !hasMark && !MayBeXml(aData, aSize)) {
        for (bool isBigEndian : {false, true}) {
            const std::vector<UInt8> bytes = Utf16(text, isBigEndian);
            Check(Table(bytes.data(), bytes.size()).IsSameAs(table) && !table.IsXml());
        }
    }
    CFRelease(text);
    return 0;
}
