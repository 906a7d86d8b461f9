// What a CRC-16 costs, beside Boost.CRC; copying the same bytes is the floor.
#include <benchmark/benchmark.h>

#include <boost/crc.hpp>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ktringbuffer.h"

namespace {

using Bytes = std::vector<unsigned char>;

unsigned OfKt(Bytes const& aBytes, Bytes& /*aCopy*/)
{
    return crc16_ccitt(aBytes.data(), static_cast<int>(aBytes.size()));
}

unsigned OfBoost(Bytes const& aBytes, Bytes& /*aCopy*/)
{
    boost::crc_optimal<16, 0x1021, 0, 0, false, false> crc;
    crc.process_bytes(aBytes.data(), aBytes.size());
    return crc.checksum();
}

unsigned OfMemcpy(Bytes const& aBytes, Bytes& aCopy)
{
    std::memcpy(aCopy.data(), aBytes.data(), aBytes.size());
    return aCopy.back();
}

struct Side {
    char const* mName;
    unsigned (*mRun)(Bytes const& aBytes, Bytes& aCopy);
};

constexpr Side kSides[] = {{"kt", OfKt}, {"boost", OfBoost}, {"memcpy", OfMemcpy}};

void Run(benchmark::State& aState, Side const& aSide, std::size_t aSize)
{
    Bytes bytes(aSize);
    Bytes copy(aSize);
    std::mt19937 random(1);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    if (aSide.mRun == OfKt && OfKt(bytes, copy) != OfBoost(bytes, copy))
        aState.SkipWithError("not the same checksum");
    for (auto _ : aState) {
        benchmark::DoNotOptimize(aSide.mRun(bytes, copy));
        benchmark::ClobberMemory();
    }
    aState.SetBytesProcessed(aState.iterations() * static_cast<std::int64_t>(aSize));
}

}  // namespace

int main(int argc, char** argv)
{
    constexpr std::size_t sizes[] = {17, 1024, 65536};
    for (const std::size_t size : sizes)
        for (Side const& side : kSides)
            benchmark::RegisterBenchmark(("Crc" + std::to_string(size) + '_' + side.mName).c_str(), Run, side, size);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
