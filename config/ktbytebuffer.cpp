#include "ktbytebuffer.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "ktlog.h"
#include "ktmemory.h"

namespace {

constexpr std::size_t kFileBlockSize = 2048;

}  // namespace

ktByteBuffer::ktByteBuffer() : mBuffer(nullptr), mTerminatorReserve(0), mLength(0), mCapacity(0), mCompressed(0)
{
}

ktByteBuffer::~ktByteBuffer()
{
    if (mBuffer != nullptr)  // most buffers are the unused overflow of a log line
        ktFREE(mBuffer);
    mBuffer = nullptr;
    mLength = 0;
    mCapacity = 0;
}

ktBOOL ktByteBuffer::IsCompressed() const
{
    return mCompressed != 0;
}

char* ktByteBuffer::GetBuffer() const
{
    return mBuffer;
}

int ktByteBuffer::GetBufferLength() const
{
    return mLength;
}

void ktByteBuffer::Clear()
{
    mLength = 0;
}

ktError ktByteBuffer::GrowBuffer(int aSize)
{
    if (mCapacity >= aSize)
        return kErrNone;
    const long long needed = static_cast<long long>(mLength) + mTerminatorReserve;
    if (mTerminatorReserve < 0 || needed > INT_MAX)
        return kErrBadValue;
    const int size = std::max(aSize, static_cast<int>(needed));  // a large reserve must not cut off data
    void* const block = ktREALLOC(mBuffer, static_cast<std::size_t>(size));
    if (block == nullptr) {
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktbytebuffer: failed to allocate (%d) bytes for bytebuffer",
                           aSize);
        return kErrNoMemory;
    }
    mBuffer = static_cast<char*>(block);
    mCapacity = size - mTerminatorReserve;
    return kErrNone;
}

ktError ktByteBuffer::Append(void const* aData, int aLength)
{
    if (aLength < 0 || mTerminatorReserve < 0 || (aData == nullptr && aLength != 0))
        return kErrBadValue;
    const long long size = static_cast<long long>(mLength) + aLength + mTerminatorReserve;
    if (size > INT_MAX)
        return kErrBadValue;
    // The data may lie in this very block, which growing moves; the terminator is behind the capacity.
    char const* const data = static_cast<char const*>(aData);
    const int ownSize = mCapacity + (mTerminatorReserve != 0 ? 1 : 0);
    const bool isOwn = mBuffer != nullptr && data >= mBuffer && data < mBuffer + ownSize;
    const std::ptrdiff_t offset = isOwn ? data - mBuffer : 0;
    const ktError result = GrowBuffer(static_cast<int>(size));
    if (result != kErrNone)
        return result;
    if (mBuffer == nullptr)  // nothing appended to nothing: no block was needed
        return kErrNone;
    if (aLength != 0)
        std::memmove(mBuffer + mLength, isOwn ? mBuffer + offset : data, static_cast<std::size_t>(aLength));
    mLength += aLength;
    if (mTerminatorReserve != 0)
        mBuffer[mLength] = '\0';
    return kErrNone;
}

ktError ktByteBuffer::Append(char const* aString)
{
    if (aString == nullptr)
        return kErrBadValue;
    const std::size_t length = std::strlen(aString);
    return length <= INT_MAX ? Append(aString, static_cast<int>(length)) : kErrBadValue;
}

ktError ktByteBuffer::Append(char aChar)
{
    return Append(&aChar, 1);
}

ktError ktByteBuffer::Append(ktByteBuffer const& aOther)
{
    return Append(aOther.mBuffer, aOther.mLength);
}

ktError ktByteBuffer::Copy(char const* aString)
{
    Clear();
    return Append(aString);
}

ktError ktByteBuffer::Copy(void const* aData, int aLength)
{
    Clear();
    return Append(aData, aLength);
}

ktError ktByteBuffer::Copy(ktByteBuffer const& aOther)
{
    if (&aOther == this)
        return kErrNone;
    Clear();
    mCompressed = aOther.IsCompressed();
    return Append(aOther);
}

ktError ktByteBuffer::AppendFile(std::FILE* aStream)
{
    if (aStream == nullptr)
        return kErrBadValue;
    char block[kFileBlockSize];
    // Reads items of a whole block and appends as many bytes as there were items: readers of these buffers count on it.
    while (const std::size_t items = std::fread(block, sizeof block, 1, aStream)) {
        const ktError result = Append(block, static_cast<int>(items));
        if (result != kErrNone)
            return result;
    }
    if (std::ferror(aStream) == 0)
        return kErrNone;
    ktLogWithComponent(kLogPriorityWarning, nullptr, "ktbytebuffer: Error reading file stream (errno %d)", errno);
    return kErrGeneric;
}

ktError ktByteBuffer::AppendFile(char const* aPath)
{
    Clear();
    if (aPath == nullptr)
        return kErrBadValue;
    std::FILE* const stream = std::fopen(aPath, "re");
    if (stream == nullptr) {
        ktLogWithComponent(kLogPriorityWarning, nullptr, "ktbytebuffer: Error opening file (errno %d): %s", errno,
                           aPath);
        return kErrGeneric;
    }
    const ktError result = AppendFile(stream);
    std::fclose(stream);
    return result;
}

ktRefByteBuffer::ktRefByteBuffer() = default;

ktRefByteBuffer::~ktRefByteBuffer() = default;

void ktRefByteBuffer::Destroy()
{
    delete this;  // a null buffer is tolerated: this source keeps its null checks, see the build file
}
