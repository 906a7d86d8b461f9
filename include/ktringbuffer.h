/// @file
/// A history of equal objects that survives restarts, and the CRC that protects its file.
#pragma once

#include <prio.h>

#include "kttypes.h"

extern "C" {

/// CRC-16/CCITT as XMODEM has it: polynomial 0x1021, most significant bit first, begun with 0, nothing done at the end.
/// Any thread; neither allocates nor waits. The tables take 4 KiB of constant data, which all processes share; with a
/// cold cache a short run pays for what it touches of them.
/// @return the checksum; 0 for a length below 1 and for null.
KT_EXPORT unsigned short crc16_ccitt(void const* aData, int aLength);

/// The checksum of what came before, whose checksum is `aCRC`, and of these bytes behind it.
/// @return the checksum; `aCRC` for a length below 1 and for null.
KT_EXPORT unsigned short crc16_ccitt_continue(unsigned short aCRC, void const* aData, int aLength);
}

/// The most recent objects of one size, in a circle of slots, each of which is defined or not: a sample that was not
/// taken is a gap in the history.
///
/// One thread at a time. The slots are allocated when the first object is written, so that a history that is never
/// used costs nothing. Objects are bytes: they are copied, never constructed, destroyed or swapped for another byte
/// order, and Peek() promises no alignment that the object's size does not give. When there is no memory, which is
/// logged, what was to be written is dropped and the next write tries again. Sizes and counts reach up to INT_MAX, and
/// so does their product: a larger one counts as a block that there is no memory for.
///
/// docs/formats.md describes the file. It is in the machine's byte order, and moves neither to a machine of the other
/// one nor into a buffer of other sizes.
class KT_EXPORT ktRingBuffer {
public:
    /// Cleared.
    ktRingBuffer();
    ~ktRingBuffer();
    ktRingBuffer(ktRingBuffer const&) = delete;
    ktRingBuffer& operator=(ktRingBuffer const&) = delete;

    /// Empty, for `aNumberOfObjects` slots of `aObjectSize` bytes. Allocates nothing; a size or a count below 1 makes a
    /// buffer that takes nothing.
    /// @return 0.
    ktError Init(int aObjectSize, int aNumberOfObjects);
    /// Frees the slots and forgets their size and number: nothing is taken until the next Init().
    void Clear();
    /// Frees the slots and empties the history; size and number stay.
    void FreeBuffers();

    /// Bytes of all slots; INT_MAX when there are more.
    int GetBufferSize() const;
    /// Bytes of the bitmap that says which slots are defined.
    int GetBooleanArraySize() const;

    /// Allocates the slots and their bitmap, both zero-filled, unless they are there; an index that AppendUndefined()
    /// has moved before is 0 again. Whatever writes an object does this first, also when it then refuses the object.
    /// @return 0, also when size or number is below 1 and nothing was allocated; -2 when there is no memory, which is
    ///         logged, and then the buffer is as after FreeBuffers().
    ktError AllocateBuffersIfNecessary();

    /// Appends objects, the first of them first. Of more objects than there are slots the first are kept, not the last.
    /// Null and counts below 1 append nothing.
    /// @param aData one object may be one of the buffer's own.
    void Append(void const* aData, int aCount);
    /// Makes the next slots, at most all, gaps. Neither allocates nor counts.
    void AppendUndefined(int aCount);

    /// @param aIndex 0 for the latest, and so on back in time.
    /// @return the object, valid until the buffer next changes; null for a gap and for an index that no slot has.
    void const* Peek(int aIndex) const;
    /// Whether the slot holds an object. Slots are counted from the front of the block, not back in time.
    bool Defined(int aSlot) const;
    /// Marks a slot, counted as above, and leaves its bytes alone; a slot that does not exist is ignored. Only 1
    /// allocates the slots first, any other value does nothing to slots that are not there.
    void SetDefined(int aSlot, ktBOOL aDefined);

    /// Overwrites an object, or fills a gap. Null and an index that no slot has are ignored.
    /// @param aIndex as for Peek(). @param aData one object, which may be one of the buffer's own.
    void ReplaceAtIndexWith(int aIndex, void const* aData);
    void ReplaceLatestWith(void const* aData);
    void ReplaceLatestWithUndefined();

    /// Objects that were appended, at most the number of slots; after reading a file the number of defined slots.
    int GetObjectCount() const;
    /// The number of slots, whatever is in them: the name is older than the gaps.
    int GetNumberOfObjectsInBuffer() const;

    /// Becomes a copy of the other, which has the same size and number. A copy of itself changes nothing.
    /// @return 0; -1 for another size or number; -2 when there is no memory, which is logged, and then this one is
    ///         empty; -9 when only one of the other's blocks exists.
    ktError CopyData(ktRingBuffer const& aOther);

    /// Writes the history at the file's position, in three writes, and leaves the file open and unsynced. Slots that
    /// were never allocated are written as gaps. May block for the file.
    /// @return 0; -2 when there is no memory for NSPR to know the thread; -5 without a file; -9 when size or number is
    ///         below 1 or there is no memory for the gaps; -103 when a write failed, and then a part of the history may
    ///         have been written. -9 and -103 are logged.
    ktError SerializeToFile(PRFileDesc* aFile) const;
    /// Replaces the history by what SerializeToFile() wrote of a buffer of the size and number that this one was
    /// initialised with. Nothing in the file is trusted. Each of its three parts must come with one read: from a pipe
    /// that hands over less the history cannot be read. A history of gaps only leaves the buffer empty. May block for
    /// the file, which stays open.
    /// @return 0; -2 when there is no memory for NSPR to know the thread, and -5 without a file, and then nothing has
    ///         changed; -102 when the file is cut short, damaged, unreadable or another buffer's, or there is no
    ///         memory, which is logged, and then the buffer is as after Clear(): Init() it before it is used again.
    ktError DeserializeFromFile(PRFileDesc* aFile);

private:
    KT_HIDDEN bool HasSizes() const;
    KT_HIDDEN int SlotOf(int aIndex) const;
    KT_HIDDEN int OffsetOf(int aSlot) const;
    KT_HIDDEN void Store(int aSlot, unsigned char const* aData, int aCount);
    KT_HIDDEN void Mark(int aCount, ktBOOL aDefined);
    KT_HIDDEN int CountDefined() const;
    KT_HIDDEN unsigned short Checksum(unsigned char const* aHeader, void const* aObjects, void const* aBitmap) const;
    KT_HIDDEN ktError Write(PRFileDesc* aFile, void const* aObjects, void const* aBitmap) const;
    KT_HIDDEN bool Accepts(unsigned char const* aHeader) const;
    KT_HIDDEN ktError ReadHeader(PRFileDesc* aFile, unsigned char* aHeader);
    KT_HIDDEN ktError ReadContents(PRFileDesc* aFile);

    unsigned char* mBuffer;         ///< the slots, from ktZALLOC; there only together with the bitmap
    unsigned char* mDefinedBuffer;  ///< a bit for each slot, the first in the lowest bit of the first byte
    int mObjectSize;                ///< in bytes
    int mNumberOfObjectsInBuffer;   ///< the slots
    int mIndex;                     ///< the slot that the next object goes to
    int mObjectCount;
};
