// Lists of hexadecimal bytes: never more than there is room for, and the result says what became of the list.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "ktstring.h"

namespace {

constexpr unsigned char kUntouched = 0xA5;

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

void CheckList(ktString const& aText, char aSeparator, unsigned aPieces, unsigned aCapacity)
{
    const char separator[] = {aSeparator, '\0'};
    std::vector<unsigned char> bytes(aCapacity + 1, kUntouched);
    unsigned count = ~0U;
    const ktError result = aText.BytesSeparatedByString(separator, 0, bytes.data(), aCapacity, count);
    Check(count <= aCapacity && count <= aPieces);
    Check(std::all_of(bytes.begin() + count, bytes.end(), [](unsigned char aByte) { return aByte == kUntouched; }));
    Check(result == 0 || result == -5 || result == -6);
    Check((result == 0) == (count == aPieces));
    Check(result != -6 || (count == aCapacity && aPieces > aCapacity));
}

}  // namespace

/// The first byte is the separator, the second the room; the rest is the list.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    if (aSize < 2 || aData[0] == 0 || aData[0] >= 0x80)
        return 0;
    const unsigned level = ktString::GetMemoryWaterLevel();
    {
        const char separator = static_cast<char>(aData[0]);
        const std::string list(reinterpret_cast<char const*>(aData) + 2, aSize - 2);
        ktString text;
        if (text.Append(list.data(), static_cast<int>(list.size())) == 0)
            CheckList(text, separator, static_cast<unsigned>(std::count(list.begin(), list.end(), separator)) + 1,
                      aData[1]);
    }
    Check(ktString::GetMemoryWaterLevel() == level);
    return 0;
}
