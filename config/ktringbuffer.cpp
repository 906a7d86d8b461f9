#include "ktringbuffer.h"

#include <prerror.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>

#include "ktlog.h"
#include "ktmemory.h"
#include "ktnspr.h"

namespace {

constexpr unsigned char kSync[] = {0xD5, 0xAA, 0x96};

// Where the fields of a file's header are.
constexpr int kObjectSizeAt = 3;
constexpr int kCapacityAt = 7;
constexpr int kIndexAt = 11;
constexpr int kCRCAt = 15;
constexpr int kHeaderSize = 17;

static_assert(sizeof(int) == 4 && sizeof(unsigned short) == 2, "the header's fields are these types as they are");

template <typename Value>
void PutField(unsigned char* aHeader, int aAt, Value aValue)
{
    std::memcpy(aHeader + aAt, &aValue, sizeof aValue);
}

template <typename Value>
Value TakeField(unsigned char const* aHeader, int aAt)
{
    Value value = 0;
    std::memcpy(&value, aHeader + aAt, sizeof value);
    return value;
}

long long Product(int aSize, int aCount)
{
    return static_cast<long long>(aSize) * aCount;
}

/// @return null when there is no memory, and for a block whose length no `int` holds.
unsigned char* AllocateZeroes(long long aSize)
{
    return aSize <= INT_MAX ? static_cast<unsigned char*>(ktZALLOC(static_cast<std::size_t>(aSize))) : nullptr;
}

using Block = std::unique_ptr<unsigned char, decltype(&ktFREE)>;

ktError Fail(ktError aResult, char const* aText)
{
    ktLogWithComponent(kLogPriorityCritical, nullptr, "%s", aText);
    return aResult;
}

}  // namespace

ktRingBuffer::ktRingBuffer()
    : mBuffer(nullptr), mDefinedBuffer(nullptr), mObjectSize(0), mNumberOfObjectsInBuffer(0), mIndex(0), mObjectCount(0)
{
}

ktRingBuffer::~ktRingBuffer()
{
    Clear();
}

ktError ktRingBuffer::Init(int aObjectSize, int aNumberOfObjects)
{
    Clear();
    mObjectSize = aObjectSize;
    mNumberOfObjectsInBuffer = aNumberOfObjects;
    return kErrNone;
}

void ktRingBuffer::Clear()
{
    mObjectSize = 0;
    mNumberOfObjectsInBuffer = 0;
    FreeBuffers();
}

void ktRingBuffer::FreeBuffers()
{
    mIndex = 0;
    mObjectCount = 0;
    ktFREE(mBuffer);
    mBuffer = nullptr;
    ktFREE(mDefinedBuffer);
    mDefinedBuffer = nullptr;
}

int ktRingBuffer::GetBufferSize() const
{
    constexpr long long least = INT_MIN;
    constexpr long long most = INT_MAX;
    return static_cast<int>(std::clamp(Product(mObjectSize, mNumberOfObjectsInBuffer), least, most));
}

int ktRingBuffer::GetBooleanArraySize() const
{
    return mNumberOfObjectsInBuffer / CHAR_BIT + (mNumberOfObjectsInBuffer % CHAR_BIT != 0 ? 1 : 0);
}

ktError ktRingBuffer::AllocateBuffersIfNecessary()
{
    if (mBuffer != nullptr && mDefinedBuffer != nullptr)
        return kErrNone;
    FreeBuffers();
    if (!HasSizes())
        return kErrNone;
    mBuffer = AllocateZeroes(Product(mObjectSize, mNumberOfObjectsInBuffer));
    if (mBuffer == nullptr) {
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktRingBuffer: failed to allocate (%d) bytes for ringbuffer",
                           GetBufferSize());
        return kErrNoMemory;
    }
    mDefinedBuffer = AllocateZeroes(GetBooleanArraySize());
    if (mDefinedBuffer != nullptr)
        return kErrNone;
    FreeBuffers();
    ktLogWithComponent(kLogPriorityCritical, nullptr,
                       "ktRingBuffer: failed to allocate (%d) bytes for ringbuffer definded", GetBooleanArraySize());
    return kErrNoMemory;
}

void ktRingBuffer::Append(void const* aData, int aCount)
{
    AllocateBuffersIfNecessary();
    if (mBuffer == nullptr || aData == nullptr || aCount <= 0)
        return;
    unsigned char const* const data = static_cast<unsigned char const*>(aData);
    const int count = std::min(aCount, mNumberOfObjectsInBuffer);
    const int upToEnd = std::min(count, mNumberOfObjectsInBuffer - mIndex);
    Store(mIndex, data, upToEnd);
    Store(0, data + OffsetOf(upToEnd), count - upToEnd);
    Mark(count, 1);
    mObjectCount += std::min(count, mNumberOfObjectsInBuffer - mObjectCount);
}

void ktRingBuffer::AppendUndefined(int aCount)
{
    Mark(std::min(aCount, mNumberOfObjectsInBuffer), 0);
}

void const* ktRingBuffer::Peek(int aIndex) const
{
    if (aIndex < 0 || aIndex >= mNumberOfObjectsInBuffer || mBuffer == nullptr)
        return nullptr;
    const int slot = SlotOf(aIndex);
    return Defined(slot) ? mBuffer + OffsetOf(slot) : nullptr;
}

bool ktRingBuffer::Defined(int aSlot) const
{
    if (aSlot < 0 || aSlot >= mNumberOfObjectsInBuffer || mDefinedBuffer == nullptr)
        return false;
    return (mDefinedBuffer[aSlot / CHAR_BIT] >> (aSlot % CHAR_BIT) & 1) != 0;
}

void ktRingBuffer::SetDefined(int aSlot, ktBOOL aDefined)
{
    if (aDefined == 1)
        AllocateBuffersIfNecessary();
    if (aSlot < 0 || aSlot >= mNumberOfObjectsInBuffer || mDefinedBuffer == nullptr)
        return;
    unsigned char& bits = mDefinedBuffer[aSlot / CHAR_BIT];
    const int bit = 1 << (aSlot % CHAR_BIT);
    bits = static_cast<unsigned char>(aDefined != 0 ? bits | bit : bits & ~bit);
}

void ktRingBuffer::ReplaceAtIndexWith(int aIndex, void const* aData)
{
    AllocateBuffersIfNecessary();
    if (mBuffer == nullptr || aData == nullptr || aIndex < 0 || aIndex >= mNumberOfObjectsInBuffer)
        return;
    Store(SlotOf(aIndex), static_cast<unsigned char const*>(aData), 1);
    SetDefined(SlotOf(aIndex), 1);
}

void ktRingBuffer::ReplaceLatestWith(void const* aData)
{
    ReplaceAtIndexWith(0, aData);
}

void ktRingBuffer::ReplaceLatestWithUndefined()
{
    if (mDefinedBuffer != nullptr)
        SetDefined(SlotOf(0), 0);
}

int ktRingBuffer::GetObjectCount() const
{
    return mObjectCount;
}

int ktRingBuffer::GetNumberOfObjectsInBuffer() const
{
    return mNumberOfObjectsInBuffer;
}

ktError ktRingBuffer::CopyData(ktRingBuffer const& aOther)
{
    if (mObjectSize != aOther.mObjectSize || mNumberOfObjectsInBuffer != aOther.mNumberOfObjectsInBuffer)
        return kErrGeneric;
    if (&aOther == this)
        return kErrNone;
    if (aOther.mBuffer == nullptr && aOther.mDefinedBuffer == nullptr) {
        FreeBuffers();
        return kErrNone;
    }
    if (aOther.mBuffer == nullptr || aOther.mDefinedBuffer == nullptr)
        return kErrNotInitialised;
    const ktError result = AllocateBuffersIfNecessary();
    if (result != kErrNone)
        return result;
    std::memcpy(mBuffer, aOther.mBuffer, static_cast<std::size_t>(GetBufferSize()));
    std::memcpy(mDefinedBuffer, aOther.mDefinedBuffer, static_cast<std::size_t>(GetBooleanArraySize()));
    mIndex = aOther.mIndex;
    mObjectCount = aOther.mObjectCount;
    return kErrNone;
}

ktError ktRingBuffer::SerializeToFile(PRFileDesc* aFile) const
{
    if (aFile == nullptr)
        return kErrBadValue;
    if (!ktAttachThread())
        return kErrNoMemory;
    if (mBuffer != nullptr || mDefinedBuffer != nullptr || !HasSizes())
        return Write(aFile, mBuffer, mDefinedBuffer);
    const Block objects(AllocateZeroes(Product(mObjectSize, mNumberOfObjectsInBuffer)), &ktFREE);
    const Block bitmap(AllocateZeroes(GetBooleanArraySize()), &ktFREE);
    return Write(aFile, objects.get(), bitmap.get());
}

ktError ktRingBuffer::DeserializeFromFile(PRFileDesc* aFile)
{
    if (aFile == nullptr)
        return kErrBadValue;
    if (!ktAttachThread())
        return kErrNoMemory;
    AllocateBuffersIfNecessary();
    const ktError result = ReadContents(aFile);
    if (result != kErrNone)
        Clear();
    mObjectCount = CountDefined();
    if (mObjectCount == 0)
        FreeBuffers();
    return result;
}

bool ktRingBuffer::HasSizes() const
{
    return mObjectSize >= 1 && mNumberOfObjectsInBuffer >= 1;
}

/// Slots must be there, and the index within their number.
int ktRingBuffer::SlotOf(int aIndex) const
{
    const int slot = mIndex - 1 - aIndex;
    return slot < 0 ? slot + mNumberOfObjectsInBuffer : slot;
}

/// In the block, which must be there: none is allocated that has offsets beyond INT_MAX.
int ktRingBuffer::OffsetOf(int aSlot) const
{
    return mObjectSize * aSlot;
}

void ktRingBuffer::Store(int aSlot, unsigned char const* aData, int aCount)
{
    std::memmove(mBuffer + OffsetOf(aSlot), aData, static_cast<std::size_t>(OffsetOf(aCount)));
}

/// Marks the next slots and moves the index behind them.
void ktRingBuffer::Mark(int aCount, ktBOOL aDefined)
{
    for (int i = 0; i < aCount; ++i) {
        SetDefined(mIndex, aDefined);
        mIndex = (mIndex + 1) % mNumberOfObjectsInBuffer;
    }
}

/// Of slots only: the last byte of a bitmap from a file may have further bits set.
int ktRingBuffer::CountDefined() const
{
    int count = 0;
    for (int slot = 0; slot < mNumberOfObjectsInBuffer; ++slot)
        count += Defined(slot) ? 1 : 0;
    return count;
}

/// @param aHeader with 0 in place of the checksum.
unsigned short ktRingBuffer::Checksum(unsigned char const* aHeader, void const* aObjects, void const* aBitmap) const
{
    const unsigned short ofHeader = crc16_ccitt(aHeader, kHeaderSize);
    const unsigned short ofObjects = crc16_ccitt_continue(ofHeader, aObjects, GetBufferSize());
    return crc16_ccitt_continue(ofObjects, aBitmap, GetBooleanArraySize());
}

ktError ktRingBuffer::Write(PRFileDesc* aFile, void const* aObjects, void const* aBitmap) const
{
    if (aObjects == nullptr || aBitmap == nullptr || !HasSizes())
        return Fail(kErrNotInitialised, "ktRingBuffer: SerializeToFile: attempt to write while uninitialized");
    unsigned char header[kHeaderSize] = {};
    std::memcpy(header, kSync, sizeof kSync);
    PutField(header, kObjectSizeAt, mObjectSize);
    PutField(header, kCapacityAt, mNumberOfObjectsInBuffer);
    PutField(header, kIndexAt, mIndex);
    PutField(header, kCRCAt, Checksum(header, aObjects, aBitmap));
    const bool isWritten = PR_Write(aFile, header, kHeaderSize) == kHeaderSize &&
                           PR_Write(aFile, aObjects, GetBufferSize()) == GetBufferSize() &&
                           PR_Write(aFile, aBitmap, GetBooleanArraySize()) == GetBooleanArraySize();
    return isWritten ? kErrNone : Fail(kErrWrite, "ktRingBuffer: SerializeToFile: write to file failed");
}

bool ktRingBuffer::Accepts(unsigned char const* aHeader) const
{
    const int index = TakeField<int>(aHeader, kIndexAt);
    return std::memcmp(aHeader, kSync, sizeof kSync) == 0 && TakeField<int>(aHeader, kObjectSizeAt) == mObjectSize &&
           TakeField<int>(aHeader, kCapacityAt) == mNumberOfObjectsInBuffer && HasSizes() && mBuffer != nullptr &&
           mDefinedBuffer != nullptr && index >= 0 && index < mNumberOfObjectsInBuffer;
}

/// Takes the index from the file's header. What there is of a header that is cut short is judged as well.
ktError ktRingBuffer::ReadHeader(PRFileDesc* aFile, unsigned char* aHeader)
{
    ktError result = kErrNone;
    if (PR_Read(aFile, aHeader, kHeaderSize) != kHeaderSize)
        result = Fail(kErrRead, "ktRingBuffer: DeserializeFromFile: read header from file failed");
    if (!Accepts(aHeader))
        return Fail(kErrRead, "ktRingBuffer: DeserializeFromFile: bad sync bytes or header doesn't match ringbuffer "
                              "size");
    mIndex = TakeField<int>(aHeader, kIndexAt);
    return result;
}

ktError ktRingBuffer::ReadContents(PRFileDesc* aFile)
{
    unsigned char header[kHeaderSize] = {};
    const ktError result = ReadHeader(aFile, header);
    if (result != kErrNone)
        return result;
    const int read = PR_Read(aFile, mBuffer, GetBufferSize());
    if (read != GetBufferSize()) {
        ktLogWithComponent(kLogPriorityCritical, nullptr,
                           "ktRingBuffer: DeserializeFromFile: read mBuffer from file failed (PR_Read returned %d, "
                           "PR_GetError() returned %d, mObjectSize == %d, mNumberOfObjectsInBuffer == %d)",
                           read, PR_GetError(), mObjectSize, mNumberOfObjectsInBuffer);
        return kErrRead;
    }
    if (PR_Read(aFile, mDefinedBuffer, GetBooleanArraySize()) != GetBooleanArraySize())
        return Fail(kErrRead, "ktRingBuffer: DeserializeFromFile: read mDefinedBuffer from file failed");
    const unsigned short stored = TakeField<unsigned short>(header, kCRCAt);
    PutField(header, kCRCAt, static_cast<unsigned short>(0));
    if (Checksum(header, mBuffer, mDefinedBuffer) != stored)
        return Fail(kErrRead, "ktRingBuffer: DeserializeFromFile: bad crc");
    return kErrNone;
}
