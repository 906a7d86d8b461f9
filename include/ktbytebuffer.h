/// @file
/// A growable array of bytes, and the same as a shared object.
#pragma once

#include <cstdio>

#include "ktrefcount.h"
#include "kttypes.h"

/// Bytes in one block that grows to exactly what is needed.
///
/// One thread at a time. It does not grow ahead of need, does not shrink, and neither compresses nor decompresses:
/// "compressed" is a mark that its owner sets and reads. Lengths are bytes and reach up to INT_MAX. Data that is
/// appended or copied may come from the buffer itself.
///
/// Every operation that appends returns 0; -2 when there is no memory, which is logged; -5 for null data or a length
/// that is negative or too large. On failure the contents are as before, except where it says otherwise.
class KT_EXPORT ktByteBuffer {
public:
    /// Empty, without a block.
    ktByteBuffer();
    ktByteBuffer(ktByteBuffer const&) = delete;
    ktByteBuffer& operator=(ktByteBuffer const&) = delete;
    virtual ~ktByteBuffer();

    /// The mark, 0 unless its owner has set it.
    virtual ktBOOL IsCompressed() const;

    /// The bytes; valid until the buffer next changes. Null before anything was appended.
    char* GetBuffer() const;
    int GetBufferLength() const;

    /// Length 0; the block is kept.
    void Clear();
    /// Makes room for `aSize` bytes in all, the terminator reserve included, and never for less than the data and its
    /// reserve.
    /// @return 0; -2 when there is no memory, which is logged; -5 for a reserve that is negative or too large. On
    ///         failure the buffer is as before.
    ktError GrowBuffer(int aSize);

    ktError Append(void const* aData, int aLength);
    /// The string's characters without its terminator.
    ktError Append(char const* aString);
    ktError Append(char aChar);
    ktError Append(ktByteBuffer const& aOther);

    /// Replace the contents. On failure the buffer is empty. Copying the buffer to itself changes nothing.
    ktError Copy(char const* aString);
    ktError Copy(void const* aData, int aLength);
    /// Copies the compressed mark too.
    ktError Copy(ktByteBuffer const& aOther);

    /// Reads the stream to its end in blocks of 2,048 bytes and appends the first byte of each whole block; a partial
    /// block at the end is dropped. May block for the stream, which stays open and with the caller.
    /// @return 0; -1 when the stream has an error, which is logged; -2 when there is no memory; -5 without a stream.
    ///         What was appended stays.
    ktError AppendFile(std::FILE* aStream);
    /// Clears the buffer, then the same for the file. May block for the file system.
    /// @return as above; -1 also when the file cannot be opened, which is logged, and then the buffer is empty.
    ktError AppendFile(char const* aPath);

    // The fields stand in the order that programs were built against, whoever may touch them.
private:
    char* mBuffer;  ///< from ktREALLOC

public:
    /// Bytes kept free behind the data; 0 at first. When it is not zero every append writes a zero byte behind the
    /// data, so that the contents can be used as a string. The owner sets it, to 0 or more, before the first append.
    int mTerminatorReserve;

private:
    int mLength;
    int mCapacity;  ///< size of the block less the reserve; mLength at the least

public:
    int mCompressed;  ///< the mark; the owner sets it
};

/// A byte buffer that several owners share.
class KT_EXPORT ktRefByteBuffer : public ktRefCount, public virtual ktByteBuffer {
public:
    ktRefByteBuffer();
    ~ktRefByteBuffer() override;

    /// Deletes the buffer, which must come from `new`.
    void Destroy() override;
};
