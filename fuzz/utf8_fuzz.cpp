// Bytes become text or are refused; text gives the same bytes back, and its views agree.
#include <cstdint>
#include <string>

#include "ktstring.h"

namespace {

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

std::string BytesOf(ktString const& aString)
{
    std::string bytes(static_cast<std::size_t>(aString.GetLength()) * 3 + 1, '\0');
    int size = static_cast<int>(bytes.size());
    Check(aString.ToBytes(bytes.data(), &size) == 0);
    bytes.resize(static_cast<std::size_t>(size) - 1);
    return bytes;
}

/// Reads the text by code point and by unit, side by side.
void CheckViews(ktString const& aString)
{
    UTF32Char const* point = aString.GetAsUniChar32Array();
    Check(aString.IsEmpty() || aString.BeginSequenceAccessForUniChar16() == 0);
    int units = 0;
    for (; units < aString.GetLength(); ++point) {
        UTF32Char read = aString.GetUniChar16At(units++);
        if (read >= 0xD800 && read <= 0xDBFF)
            read = 0x10000 + ((read - 0xD800) << 10) + (aString.GetUniChar16At(units++) - 0xDC00U);
        Check(read == *point);
    }
    Check(*point == 0 && units == aString.GetLength());
    Check(aString.GetUTFByteLength() <= units * 3);
}

void CheckText(std::string const& aBytes)
{
    ktString counted("\u00e9");  // appending must not disturb what is there
    const bool isText = counted.Append(aBytes.data(), static_cast<int>(aBytes.size())) == 0;
    Check(BytesOf(counted) == (isText ? "\u00e9" + aBytes : "\u00e9"));
    CheckViews(counted);
    ktString terminated("\u00e9");
    const bool isWhole = aBytes.find('\0') == std::string::npos;
    const ktError result = terminated.Append(aBytes.c_str());
    Check(!isWhole || (result == 0) == isText);
    Check(!isWhole || terminated == counted);
    ktString again(counted);
    Check(again == counted && again.GetHash() == counted.GetHash());
    again.Trim(1);
    Check(again == "\u00e9");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    const unsigned level = ktString::GetMemoryWaterLevel();
    CheckText(std::string(reinterpret_cast<char const*>(aData), aSize));
    Check(ktString::GetMemoryWaterLevel() == level);
    return 0;
}
