#include "ktbase64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr unsigned char kNone = 255;  ///< to the encoder a position without input, to the decoder a stranger
constexpr unsigned short kFailure = 0xFFFF;
constexpr char kPadding = '=';

/// An alphabet of the caller's. Its map is asked for one character after the other and may answer what it likes.
template <typename Map>
class MappedAlphabet {
public:
    explicit MappedAlphabet(Map aMap) : mMap(aMap)
    {
    }
    char CharacterOf(unsigned aBits) const
    {
        return mMap(aBits & 63);
    }
    char Padding() const
    {
        return mMap(kNone);
    }
    unsigned ValueOf(char aChar) const
    {
        return mMap(aChar);
    }
    void EncodeInBulk(unsigned char const*&, unsigned char const*, char*&) const
    {
    }
    void DecodeInBulk(char const*&, char const*, unsigned char*&) const
    {
    }

private:
    Map mMap;
};

inline std::uint32_t BigEndian(unsigned char const* aBytes)
{
    return std::uint32_t{aBytes[0]} << 24 | std::uint32_t{aBytes[1]} << 16 | std::uint32_t{aBytes[2]} << 8 | aBytes[3];
}

/// An alphabet that is known beforehand. Its tables take 1.25 KiB: larger ones would be quicker yet, but a small cache
/// has other things to hold.
class TableAlphabet {
public:
    constexpr TableAlphabet(char aLastButOne, char aLast);

    char CharacterOf(unsigned aBits) const
    {
        return mWords[0][aBits & 63][0];
    }
    static char Padding()
    {
        return kPadding;
    }
    unsigned ValueOf(char aChar) const
    {
        return static_cast<unsigned char>(mValues[static_cast<unsigned char>(aChar)]);
    }
    void EncodeInBulk(unsigned char const*& aIn, unsigned char const* aEnd, char*& aOut) const;
    void DecodeInBulk(char const*& aIn, char const* aEnd, unsigned char*& aOut) const;

private:
    void StoreGroup(std::uint64_t aBits, char* aOut) const;
    std::uint32_t LoadGroup(char const* aGroup) const;

    alignas(std::uint32_t) char mWords
        [4][64][4];            ///< the alphabet in each place of a word of four characters, with zeros around it
    std::int8_t mValues[256];  ///< -1 for strangers, the padding among them
};

constexpr TableAlphabet::TableAlphabet(char aLastButOne, char aLast) : mWords(), mValues()
{
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    for (std::int8_t& value : mValues)
        value = -1;
    for (int i = 0; i < 64; ++i) {
        const char character = i == 63 ? aLast : i == 62 ? aLastButOne : alphabet[i];
        mValues[static_cast<unsigned char>(character)] = static_cast<std::int8_t>(i);
        for (int place = 0; place < 4; ++place)
            mWords[place][i][place] = character;
    }
}

/// One store for four characters. Words are put together as they lie in memory, whatever the order of their bytes.
inline void TableAlphabet::StoreGroup(std::uint64_t aBits, char* aOut) const
{
    const auto placed = [=](int aPlace, std::uint64_t aValue) {
        std::uint32_t word = 0;
        std::memcpy(&word, mWords[aPlace][aValue & 63], sizeof word);
        return word;
    };
    const std::uint32_t word =
        placed(0, aBits >> 18) | placed(1, aBits >> 12) | placed(2, aBits >> 6) | placed(3, aBits);
    std::memcpy(aOut, &word, sizeof word);
}

/// Two groups at a time, from eight bytes, which take fewer loads than six; and what whole groups are left then.
inline void TableAlphabet::EncodeInBulk(unsigned char const*& aIn, unsigned char const* aEnd, char*& aOut) const
{
    for (; aEnd - aIn >= 8; aIn += 6, aOut += 8) {
        const std::uint64_t bits = std::uint64_t{BigEndian(aIn)} << 32 | BigEndian(aIn + 4);
        StoreGroup(bits >> 40, aOut);
        StoreGroup(bits >> 16, aOut + 4);
    }
    for (; aEnd - aIn >= 3; aIn += 3, aOut += 4)
        StoreGroup(std::uint32_t{aIn[0]} << 16 | std::uint32_t{aIn[1]} << 8 | aIn[2], aOut);
}

/// The 24 bits of four characters; the top bit is set when there is a stranger among them.
inline std::uint32_t TableAlphabet::LoadGroup(char const* aGroup) const
{
    const auto extended = [=](int aPlace) {
        return static_cast<std::uint32_t>(mValues[static_cast<unsigned char>(aGroup[aPlace])]);
    };
    return extended(0) << 18 | extended(1) << 12 | extended(2) << 6 | extended(3);
}

/// Two groups at a time, up to the first two that are not all alphabet: what else a text may have is for Decode().
inline void TableAlphabet::DecodeInBulk(char const*& aIn, char const* aEnd, unsigned char*& aOut) const
{
    for (; aEnd - aIn >= 8; aIn += 8, aOut += 6) {
        const std::uint32_t first = LoadGroup(aIn);
        const std::uint32_t second = LoadGroup(aIn + 4);
        if (((first | second) & 0x80000000) != 0)
            return;
        const std::uint32_t word = first << 8 | second >> 16;
        aOut[0] = static_cast<unsigned char>(word >> 24);  // the compiler stores the four as one
        aOut[1] = static_cast<unsigned char>(word >> 16);
        aOut[2] = static_cast<unsigned char>(word >> 8);
        aOut[3] = static_cast<unsigned char>(word);
        aOut[4] = static_cast<unsigned char>(second >> 8);
        aOut[5] = static_cast<unsigned char>(second);
    }
}

constexpr TableAlphabet kStandard('+', '/');
constexpr TableAlphabet kURL('-', '_');

/// One group, whose second and third byte may be missing.
template <typename Alphabet>
inline void EncodeGroup(unsigned char const* aIn, std::ptrdiff_t aLength, char* aOut, Alphabet const& aAlphabet)
{
    const unsigned first = aIn[0];
    const unsigned second = aLength > 1 ? aIn[1] : 0;
    const unsigned third = aLength > 2 ? aIn[2] : 0;
    aOut[0] = aAlphabet.CharacterOf(first >> 2);
    aOut[1] = aAlphabet.CharacterOf(first << 4 | second >> 4);
    aOut[2] = aLength > 1 ? aAlphabet.CharacterOf(second << 2 | third >> 6) : aAlphabet.Padding();
    aOut[3] = aLength > 2 ? aAlphabet.CharacterOf(third) : aAlphabet.Padding();
}

template <typename Alphabet>
unsigned short Encode(unsigned char const* aIn, unsigned short aLength, char* aOut, Alphabet const& aAlphabet)
{
    if (aIn == nullptr || aOut == nullptr)
        return 0;
    unsigned char const* const end = aIn + aLength;
    char* out = aOut;
    aAlphabet.EncodeInBulk(aIn, end, out);
    for (std::ptrdiff_t length = 0; aIn != end; aIn += length, out += 4) {
        length = std::min<std::ptrdiff_t>(end - aIn, 3);
        EncodeGroup(aIn, length, out, aAlphabet);
    }
    return static_cast<unsigned short>(out - aOut);
}

template <typename Alphabet>
unsigned short Decode(char const* aIn, unsigned short aLength, unsigned char* aOut, Alphabet const& aAlphabet)
{
    if (aLength == 0)
        return 0;
    if (aIn == nullptr || aOut == nullptr)
        return kFailure;
    char const* const end = aIn + aLength;
    unsigned char* out = aOut;
    for (aAlphabet.DecodeInBulk(aIn, end, out); aIn != end; aIn += 4) {
        const std::ptrdiff_t left = end - aIn;
        if (left == 1)
            return kFailure;
        const unsigned first = aAlphabet.ValueOf(aIn[0]);
        const unsigned second = aAlphabet.ValueOf(aIn[1]);
        if (first == kNone || second == kNone)
            return kFailure;
        *out++ = static_cast<unsigned char>(first << 2 | second >> 4);
        if (left == 2 || aIn[2] == kPadding)
            break;
        const unsigned third = aAlphabet.ValueOf(aIn[2]);
        if (third == kNone)
            return kFailure;
        *out++ = static_cast<unsigned char>(second << 4 | third >> 2);
        if (left == 3 || aIn[3] == kPadding)
            break;
        const unsigned fourth = aAlphabet.ValueOf(aIn[3]);
        if (fourth == kNone)
            return kFailure;
        *out++ = static_cast<unsigned char>(third << 6 | fourth);
    }
    return static_cast<unsigned short>(out - aOut);
}

}  // namespace

unsigned short ktBase64Encode(unsigned char const* aIn, unsigned short aLength, char* aOut, char (*aMap)(unsigned char))
{
    return aMap != nullptr ? Encode(aIn, aLength, aOut, MappedAlphabet(aMap)) : static_cast<unsigned short>(0);
}

unsigned short ktBase64Encode(unsigned char const* aIn, unsigned short aLength, char* aOut)
{
    return Encode(aIn, aLength, aOut, kStandard);
}

unsigned short ktBase64URLEncode(unsigned char const* aIn, unsigned short aLength, char* aOut)
{
    return Encode(aIn, aLength, aOut, kURL);
}

unsigned short ktBase64Decode(char const* aIn, unsigned short aLength, unsigned char* aOut, unsigned char (*aMap)(char))
{
    if (aLength != 0 && aMap == nullptr)
        return kFailure;
    return Decode(aIn, aLength, aOut, MappedAlphabet(aMap));
}

unsigned short ktBase64Decode(char const* aIn, unsigned short aLength, unsigned char* aOut)
{
    return Decode(aIn, aLength, aOut, kStandard);
}

unsigned short ktBase64URLDecode(char const* aIn, unsigned short aLength, unsigned char* aOut)
{
    return Decode(aIn, aLength, aOut, kURL);
}
