// Any text and any bytes through base64: the tables and a map agree on everything that they return and write, nothing
// is written that the caller was not told to make room for, and what was encoded comes back.
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "ktbase64.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Text = std::vector<char>;

constexpr char kStandard[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kURL[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr unsigned char kUntouched = 0xA5;
constexpr unsigned short kFailure = 0xFFFF;

template <char const* kAlphabet>
char CharacterOf(unsigned char aValue)
{
    return aValue < 64 ? kAlphabet[aValue] : '=';
}

template <char const* kAlphabet>
unsigned char ValueOf(char aChar)
{
    return static_cast<unsigned char>(std::min<std::size_t>(std::string_view(kAlphabet).find(aChar), 255));
}

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

template <typename Encode>
Text Encoded(Bytes const& aBytes, Encode aEncode)
{
    Text text((aBytes.size() + 2) / 3 * 4);
    Check(aEncode(aBytes.data(), static_cast<unsigned short>(aBytes.size()), text.data()) == text.size());
    return text;
}

struct Decoded {
    unsigned short mResult;
    Bytes mBuffer;  ///< all of it, as failures leave bytes behind

    template <typename Decode>
    Decoded(Text const& aText, Decode aDecode) : mBuffer(aText.size() / 4 * 3 + aText.size() % 4 * 3 / 4, kUntouched)
    {
        mResult = aDecode(aText.data(), static_cast<unsigned short>(aText.size()), mBuffer.data());
    }
    Bytes Contents() const
    {
        Check(mResult <= mBuffer.size());
        return Bytes(mBuffer.begin(), mBuffer.begin() + mResult);
    }
};

template <char const* kAlphabet, typename Encode, typename Decode>
void CheckAlphabet(Text const& aText, Bytes const& aBytes, Encode aEncode, Decode aDecode)
{
    const auto encodeMapped = [](unsigned char const* aIn, unsigned short aLength, char* aOut) {
        return ktBase64Encode(aIn, aLength, aOut, CharacterOf<kAlphabet>);
    };
    const auto decodeMapped = [](char const* aIn, unsigned short aLength, unsigned char* aOut) {
        return ktBase64Decode(aIn, aLength, aOut, ValueOf<kAlphabet>);
    };
    const Text text = Encoded(aBytes, aEncode);
    Check(text == Encoded(aBytes, encodeMapped));
    Check(Decoded(text, aDecode).Contents() == aBytes);

    const Decoded decoded(aText, aDecode);
    const Decoded mapped(aText, decodeMapped);
    Check(decoded.mResult == mapped.mResult && decoded.mBuffer == mapped.mBuffer);
    if (decoded.mResult == kFailure)
        return;
    const Bytes contents = decoded.Contents();
    Check(Decoded(Encoded(contents, aEncode), aDecode).Contents() == contents);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    const std::size_t size = std::min<std::size_t>(aSize, 49149);  // what a returned count can still tell
    const Bytes bytes(aData, aData + size);
    const Text text(bytes.begin(), bytes.end());
    CheckAlphabet<kStandard>(
        text, bytes, [](auto... aArguments) { return ktBase64Encode(aArguments...); },
        [](auto... aArguments) { return ktBase64Decode(aArguments...); });
    CheckAlphabet<kURL>(text, bytes, ktBase64URLEncode, ktBase64URLDecode);
    return 0;
}
