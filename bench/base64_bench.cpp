// What base64 costs, beside OpenSSL and GLib; everybody writes to the caller's buffer.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <openssl/evp.h>

#include <random>
#include <string>
#include <vector>

#include "ktbase64.h"

namespace {

using Encoder = int (*)(unsigned char const*, unsigned short, char*);
using Decoder = int (*)(char const*, unsigned short, unsigned char*);

struct Side {
    char const* mName;
    Encoder mEncode;
    Decoder mDecode;
};

int EncodeWithOpenSSL(unsigned char const* aIn, unsigned short aLength, char* aOut)
{
    return EVP_EncodeBlock(reinterpret_cast<unsigned char*>(aOut), aIn, aLength);
}

int DecodeWithOpenSSL(char const* aIn, unsigned short aLength, unsigned char* aOut)
{
    return EVP_DecodeBlock(aOut, reinterpret_cast<unsigned char const*>(aIn), aLength);
}

int EncodeWithGLib(unsigned char const* aIn, unsigned short aLength, char* aOut)
{
    gint state = 0;
    gint save = 0;
    const gsize count = g_base64_encode_step(aIn, aLength, FALSE, aOut, &state, &save);
    return static_cast<int>(count + g_base64_encode_close(FALSE, aOut + count, &state, &save));
}

int DecodeWithGLib(char const* aIn, unsigned short aLength, unsigned char* aOut)
{
    gint state = 0;
    guint save = 0;
    return static_cast<int>(g_base64_decode_step(aIn, aLength, aOut, &state, &save));
}

constexpr Side kSides[] = {
    {"kt", [](auto... aArguments) -> int { return ktBase64Encode(aArguments...); },
     [](auto... aArguments) -> int { return ktBase64Decode(aArguments...); }},
    {"kturl", [](auto... aArguments) -> int { return ktBase64URLEncode(aArguments...); },
     [](auto... aArguments) -> int { return ktBase64URLDecode(aArguments...); }},
    {"openssl", EncodeWithOpenSSL, DecodeWithOpenSSL},
    {"glib", EncodeWithGLib, DecodeWithGLib},
};

struct Data {
    std::vector<unsigned char> mBytes;
    std::string mText;

    Data(Side const& aSide, unsigned short aSize) : mBytes(aSize), mText(aSize * 4 / 3 + 4, '\0')
    {
        std::mt19937 random(1);
        for (unsigned char& byte : mBytes)
            byte = static_cast<unsigned char>(random());
        mText.resize(static_cast<std::size_t>(aSide.mEncode(mBytes.data(), aSize, mText.data())));
    }
};

void Encode(benchmark::State& aState, Side const& aSide, unsigned short aSize)
{
    Data data(aSide, aSize);
    std::string text(data.mText.size() + 1, '\0');  // OpenSSL writes a terminator
    for (auto _ : aState) {
        benchmark::DoNotOptimize(aSide.mEncode(data.mBytes.data(), aSize, text.data()));
        benchmark::ClobberMemory();
    }
    aState.SetBytesProcessed(aState.iterations() * aSize);
}

void Decode(benchmark::State& aState, Side const& aSide, unsigned short aSize)
{
    Data data(aSide, aSize);
    const auto length = static_cast<unsigned short>(data.mText.size());
    std::vector<unsigned char> bytes(aSize + 3U);  // OpenSSL writes zeros for padding
    for (auto _ : aState) {
        benchmark::DoNotOptimize(aSide.mDecode(data.mText.data(), length, bytes.data()));
        benchmark::ClobberMemory();
    }
    aState.SetBytesProcessed(aState.iterations() * aSize);
}

void Register(char const* aWhat, void (*aBenchmark)(benchmark::State&, Side const&, unsigned short))
{
    constexpr unsigned short sizes[] = {30, 300, 3000, 30000};
    for (const unsigned short size : sizes)
        for (Side const& side : kSides)
            benchmark::RegisterBenchmark((aWhat + std::to_string(size) + '_' + side.mName).c_str(), aBenchmark, side,
                                         size);
}

}  // namespace

int main(int argc, char** argv)
{
    Register("Encode", Encode);
    Register("Decode", Decode);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
