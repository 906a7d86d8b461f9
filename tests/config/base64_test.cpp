// Base64: the tables against OpenSSL and against a map, which takes one character after the other.
#include "ktbase64.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

unsigned short DecodeMapped(char const* aIn, unsigned short aLength, unsigned char* aOut)
{
    return ktBase64Decode(aIn, aLength, aOut, [](char aChar) {
        return static_cast<unsigned char>(std::min<std::size_t>(kAlphabet.find(aChar), 255));
    });
}

/// The result and the whole buffer: what was written in front of a failure counts as well.
using Decoded = std::pair<unsigned, Bytes>;

template <typename Decoder>
Decoded Decode(Decoder aDecoder, std::string const& aText)
{
    Bytes bytes(aText.size() + 4, '#');
    const std::vector<char> text(aText.begin(), aText.end());  // with nothing behind its end
    const unsigned result = aDecoder(text.data(), static_cast<unsigned short>(text.size()), bytes.data());
    return {result, bytes};
}

/// All ways of decoding a text in the standard alphabet, which must agree.
Decoded DecodeAll(std::string aText)
{
    const auto tables = [](auto... aArguments) { return ktBase64Decode(aArguments...); };
    Decoded mapped = Decode(DecodeMapped, aText);
    EXPECT_EQ(Decode(tables, aText), mapped) << aText;
    for (char& character : aText)
        if (const std::size_t i = std::string("+/-_").find(character); i != std::string::npos)
            character = "-_+/"[i];
    EXPECT_EQ(Decode(ktBase64URLDecode, aText), mapped) << aText;
    return mapped;
}

Decoded Expected(unsigned aResult, Bytes aWritten, std::string const& aText)
{
    aWritten.resize(aText.size() + 4, '#');
    return {aResult, aWritten};
}

TEST(Base64, AgreesWithOpenSSLOnEveryLength)
{
    std::mt19937 random(1);
    for (unsigned short length = 0; length <= 300; ++length) {
        Bytes bytes(length, 0);
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random()); });
        Bytes peer(length * 2 + 8, '#');
        std::string text(peer.size(), '#');
        const int size = EVP_EncodeBlock(peer.data(), bytes.data(), length);
        peer[static_cast<unsigned>(size)] = '#';  // where it has its terminator
        const std::string expected(peer.begin(), peer.end());
        EXPECT_EQ(ktBase64Encode(bytes.data(), length, text.data()), size);
        EXPECT_EQ(text, expected);
        const auto character = [](unsigned char aValue) { return aValue < 64 ? kAlphabet[aValue] : '='; };
        EXPECT_EQ(ktBase64Encode(bytes.data(), length, text.data(), character), size);
        EXPECT_EQ(text, expected);
        EXPECT_EQ(ktBase64URLEncode(bytes.data(), length, text.data()), size);
        std::replace(text.begin(), text.end(), '-', '+');
        std::replace(text.begin(), text.end(), '_', '/');
        EXPECT_EQ(text, expected);
        for (char end : {'#', '='}) {
            text.resize(std::min(text.find(end), text.size()));
            EXPECT_EQ(DecodeAll(text), Expected(length, bytes, text));
        }
    }
}

// Each case is a text, what is written and "!" for a failure: left-over bits, half the padding, whatever is behind it,
// padding and strangers in each place, one character too many.
TEST(Base64, DecodesToTheLetter)
{
    std::istringstream cases(
        "> Q>! QQ>A QR==>A QQ=>A QQ=*>A QUI>AB QUI=QUJD>AB QUJD>ABC QUJDRA>ABCD QUJD=>ABC! QUJDR>ABC! "
        "QUJD==>ABC! Q===>! =QUJ>! *UJD>! Q*JD>! QU*D>A! QUJ\xC4>AB! QUJDREV*QUJD>ABCDE! "
        "QUJDRE=GQUJD>ABCD +/8=>\xFB\xFF -_8=>!");
    for (std::string test; cases >> test;) {
        const std::string text = test.substr(0, test.find('>'));
        Bytes written(test.begin() + static_cast<long>(text.size()) + 1, test.end());
        const bool fails = test.back() == '!';
        written.resize(written.size() - (fails ? 1 : 0));
        EXPECT_EQ(DecodeAll(text), Expected(fails ? 0xFFFF : static_cast<unsigned>(written.size()), written, text))
            << test;
    }
}

TEST(Base64, DecodesStrangersAnywhereAlikeByTableAndByMap)
{
    std::mt19937 random(2);
    const auto below = [&](std::size_t aLimit) { return random() % aLimit; };
    for (int round = 0; round < 50000; ++round) {
        std::string text(below(40), 'A');
        std::generate(text.begin(), text.end(), [&] { return kAlphabet[below(64)]; });
        for (std::size_t strangers = text.empty() ? 0 : below(4); strangers > 0; --strangers)
            text[below(text.size())] = below(2) != 0 ? '=' : static_cast<char>(below(256));
        DecodeAll(text);
    }
}

TEST(Base64, TakesAMapAtItsWord)
{
    static std::string sAsked;
    char text[8];
    const auto record = [](unsigned char aValue) {
        sAsked += std::to_string(aValue) + ' ';
        return aValue == 255 ? '.' : '!';
    };
    EXPECT_EQ(ktBase64Encode(Bytes{0xFB, 0xFF, 0x01, 0xFF}.data(), 4, text, record), 8);
    EXPECT_EQ(std::string(text, 8) + sAsked, "!!!!!!..62 63 60 1 63 48 255 255 ");

    sAsked.clear();
    const auto identity = [](char aChar) {
        sAsked += aChar;
        return static_cast<unsigned char>(aChar);
    };
    Bytes bytes(4, 0);
    EXPECT_EQ(ktBase64Decode("=\xFE\xFC\xFDzz=z", 8, bytes.data(), identity), 4);
    EXPECT_EQ(bytes, (Bytes{0xFF, 0xFF, 0xFD, 0xEF})) << "values above 63 go in as they are";
    EXPECT_EQ(sAsked, "=\xFE\xFC\xFDzz") << "padding in its place is not asked for";
}

TEST(Base64, CountsIn16BitsAndRefusesNull)
{
    Bytes bytes(65535, 0);
    std::string text(87384, '#');
    EXPECT_EQ(ktBase64Encode(bytes.data(), 49149, text.data()), 65532);
    EXPECT_EQ(ktBase64Encode(bytes.data(), 49150, text.data()), 0) << "the count wraps";
    EXPECT_EQ(ktBase64Encode(bytes.data(), 65535, text.data()), 87380 - 65536);
    EXPECT_EQ(text, std::string(87380, 'A') + "####") << "and yet everything was written";
    EXPECT_EQ(ktBase64Decode(text.data(), 65535, bytes.data()), 49151);

    EXPECT_EQ(ktBase64Encode(nullptr, 1, text.data()) + ktBase64Encode(bytes.data(), 1, nullptr), 0);
    EXPECT_EQ(ktBase64Encode(bytes.data(), 1, text.data(), nullptr), 0);
    EXPECT_EQ(ktBase64Decode(nullptr, 4, bytes.data()) & ktBase64Decode("QUJD", 4, nullptr), 0xFFFF);
    EXPECT_EQ(ktBase64Decode("QUJD", 4, bytes.data(), nullptr), 0xFFFF);
    EXPECT_EQ(ktBase64Decode(nullptr, 0, nullptr) + ktBase64Decode(nullptr, 0, nullptr, nullptr), 0);
}

}  // namespace
