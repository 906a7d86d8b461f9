// Ring-buffer files: one that is accepted is as the rules say and comes out again as it went in; any other leaves the
// buffer cleared.
#include <private/pprio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "ktlog.h"
#include "ktringbuffer.h"

namespace {

constexpr std::size_t kHeaderSize = 17;

void Check(bool aCondition)
{
    if (!aCondition)
        __builtin_trap();
}

unsigned short BitByBit(std::string const& aBytes)
{
    unsigned crc = 0;
    for (const char byte : aBytes) {
        crc ^= static_cast<unsigned>(static_cast<unsigned char>(byte)) << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = ((crc << 1) ^ ((crc & 0x8000) != 0 ? 0x1021U : 0U)) & 0xFFFF;
    }
    return static_cast<unsigned short>(crc);
}

void CheckCRC(std::string const& aBytes)
{
    const int length = static_cast<int>(aBytes.size());
    const int half = length > 0 ? static_cast<unsigned char>(aBytes[0]) % length : 0;
    const unsigned short first = crc16_ccitt(aBytes.data(), half);
    Check(crc16_ccitt_continue(first, aBytes.data() + half, length - half) == BitByBit(aBytes));
}

/// A file in memory, the same for every input.
class File {
public:
    PRFileDesc* Holding(std::string const& aBytes) const
    {
        Check(ftruncate(mFD, 0) == 0 && lseek(mFD, 0, SEEK_SET) == 0);
        Check(pwrite(mFD, aBytes.data(), aBytes.size(), 0) == static_cast<ssize_t>(aBytes.size()));
        return mFile;
    }
    std::string Bytes() const
    {
        std::string bytes(static_cast<std::size_t>(lseek(mFD, 0, SEEK_END)), '\0');
        Check(pread(mFD, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

private:
    int mFD = memfd_create("", MFD_CLOEXEC);
    PRFileDesc* mFile = PR_ImportFile(mFD);
};

/// The same bytes with a header that fits the buffer, except for the index, and with the right checksum.
std::string Sealed(std::string aFile, int aSize, int aCount)
{
    if (aFile.size() < kHeaderSize)
        return aFile;
    std::memcpy(aFile.data(), "\xD5\xAA\x96", 3);
    std::memcpy(&aFile[3], &aSize, sizeof aSize);
    std::memcpy(&aFile[7], &aCount, sizeof aCount);
    std::memset(&aFile[15], 0, 2);
    const long long whole = 17LL + static_cast<long long>(aSize) * aCount + (aCount + 7LL) / 8;
    const bool isWhole = whole >= 17 && whole <= static_cast<long long>(aFile.size());
    const unsigned short crc = BitByBit(isWhole ? aFile.substr(0, static_cast<std::size_t>(whole)) : aFile);
    std::memcpy(&aFile[15], &crc, sizeof crc);
    return aFile;
}

void CheckSlots(ktRingBuffer const& aBuffer)
{
    int defined = 0;
    int seen = 0;
    for (int i = 0; i < aBuffer.GetNumberOfObjectsInBuffer(); ++i) {
        defined += aBuffer.Defined(i) ? 1 : 0;
        seen += aBuffer.Peek(i) != nullptr ? 1 : 0;
    }
    Check(defined == aBuffer.GetObjectCount() && seen == defined);
}

void CheckFile(std::string const& aBytes, int aSize, int aCount)
{
    static const File file;
    ktRingBuffer buffer;
    buffer.Init(aSize, aCount);
    const bool isAccepted = buffer.DeserializeFromFile(file.Holding(aBytes)) == 0;
    CheckSlots(buffer);
    if (!isAccepted) {
        Check(buffer.GetBufferSize() == 0 && buffer.GetNumberOfObjectsInBuffer() == 0 && buffer.GetObjectCount() == 0);
        return;
    }
    Check(buffer.GetNumberOfObjectsInBuffer() == aCount && buffer.GetBufferSize() == aSize * aCount);
    Check(buffer.SerializeToFile(file.Holding("")) == 0);
    const std::string again = file.Bytes();
    Check(buffer.GetObjectCount() == 0 || again == aBytes.substr(0, again.size()));
    const std::string object(static_cast<std::size_t>(aSize), '\x5A');
    buffer.Append(object.data(), 1);
    Check(std::memcmp(buffer.Peek(0), object.data(), object.size()) == 0);
}

}  // namespace

/// The first two bytes are object size and capacity, plus 5 so that there are some below 1; the rest is the file.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* aData, std::size_t aSize)
{
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityNone);
    if (aSize < 2)
        return 0;
    const int size = aData[0] - 5;
    const int count = aData[1] - 5;
    const std::string file(reinterpret_cast<char const*>(aData) + 2, aSize - 2);
    CheckCRC(file);
    CheckFile(file, size, count);
    CheckFile(Sealed(file, size, count), size, count);
    return 0;
}
