/// @file
/// The growable array of pointers, and the typed arrays that stand on it.
#pragma once

#include <ktcore/range.h>

#include "ktstring.h"
#include "kttypes.h"

/// An array of untyped pointers that grows to exactly what is needed.
///
/// One thread at a time; no operation waits for anything but the allocator and, when it logs, the log. It owns its
/// slots and nothing that they point at. It does not grow ahead of need: every
/// element appended beyond the capacity costs one reallocation, so whoever knows the final count calls GrowArray()
/// first. Removing gives no memory back. Indices and counts are signed and reach up to INT_MAX; an operation that would
/// need more returns -6.
///
/// After a SetElement() that found no memory the count is larger than the storage. The slots that are missing read as
/// null, and each operation that needs them asks for the memory again.
class KT_EXPORT ktArray {
public:
    /// Empty, without storage.
    ktArray();
    ktArray(ktArray const&) = delete;
    ktArray& operator=(ktArray const&) = delete;
    /// Frees the storage.
    virtual ~ktArray();

    /// Count 0; the storage is kept.
    virtual void Clear();
    /// Sorts the whole array, through the form with a range.
    virtual void SortElements(int (*aComparator)(void const*, void const*, void*), void* aContext);
    /// Sorts the elements of a range in place; equal elements may change places.
    ///
    /// A range that is not inside the array, or a null comparator, is reported as a failed assertion and changes
    /// nothing. Nothing is changed either when slots are missing and there is no memory for them, which is logged.
    /// @param aComparator gets two elements, not their slots, and `aContext`; less than 0 puts the first in front. It
    ///        must be a strict weak order and must not touch the array: one that contradicts itself can lead the sort
    ///        out of the array. It meets the null elements that the array has.
    virtual void SortElements(kt::Core::Range const& aRange, int (*aComparator)(void const*, void const*, void*),
                              void* aContext);

    /// @return the element; null when the index is out of range, which is logged.
    void* GetElement(int aIndex) const;
    /// The slot itself, unchecked: the index must be below the count, and the slot must not be a missing one.
    void*& operator[](int aIndex);
    int GetNumElements() const;
    ktBOOL IsEmpty() const;

    /// Puts an element behind the last.
    /// @return 0; -2 when there is no memory, which is logged; -6 when the count is INT_MAX. On failure nothing
    ///        changes.
    ktError Append(void* aElement);
    /// Puts an element at `aIndex` and moves those from there on one place up; at the count it appends.
    /// @return 0; -2 when there is no memory, which is logged; -6 for a negative index, which is reported as a failed
    ///         assertion, for one above the count, or when the count is INT_MAX. On failure nothing changes.
    ktError InsertAt(int aIndex, void* aElement);
    /// Replaces an element. At or beyond the count the array becomes `aIndex + 1` elements and exactly as many slots;
    /// those in between are null.
    /// @return 0; -6 for a negative index or INT_MAX, which is logged, and then nothing changes; -2 when there is no
    ///         memory, which is logged: the element is not stored, but the count is the larger one already.
    ktError SetElement(int aIndex, void* aElement);
    /// Takes an element out and closes the gap. @return the element; null when the index is out of range.
    void* RemoveAt(int aIndex);
    /// Takes the last element out. @return the element; null when the array is empty.
    void* RemoveFromEnd();
    /// @return the position of the first slot that holds this very pointer; -1 when none does.
    int FindElement(void* aElement) const;
    /// Moves an element to the front and those before it one place up. Without effect for the first element, for an
    /// index out of range, or when slots are missing and there is no memory for them, which is logged.
    void MoveElementToBeginning(int aIndex);
    /// Takes over the pointers of another array. Copying an array to itself changes nothing.
    /// @return 0; -2 when there is no memory, which is logged, and then nothing changes.
    ktError Copy(ktArray& aOther);
    /// Makes the storage exactly `aCount` slots. New slots are null; fewer than there are elements cut the count, and
    /// what is cut off is not deleted or released, whatever the array's type. 0 gives the storage back.
    /// @return 0; -2 when there is no memory, or the count is negative, which is logged, and then nothing changes.
    ktError GrowArray(int aCount);

private:
    friend class ktStringArray;
    friend class ktIndexedStringArray;
    friend class ktRefStringArray;

    KT_HIDDEN void* At(int aIndex) const;
    KT_HIDDEN void ForgetMissingSlots();
    KT_HIDDEN int CountSlots() const;
    KT_HIDDEN bool ProvideSlots(std::size_t aCount);
    KT_HIDDEN ktError MakeRoom();

    // The order of the fields is the one that programs were built against.
    void** mElements;  ///< from ktREALLOC; null without storage
    int mNumElements;  ///< more than mCapacity only after SetElement() found no memory
    int mCapacity;     ///< slots in mElements
};

/// An array of integers, stored in the slots themselves.
///
/// Each operation is the one of ktArray with its results, log lines and failures; where that gives null, this gives 0.
/// A comparator of SortElements() gets the integers as pointers.
class KT_EXPORT ktIntArray : public ktArray {
public:
    ktIntArray();
    ~ktIntArray() override;

    int GetElement(int aIndex) const;
    ktError SetElement(int aIndex, int aValue);
    ktError Append(int aValue);
    ktError InsertAt(int aIndex, int aValue);
    int RemoveAt(int aIndex);
    int RemoveFromEnd();
    int FindElement(int aValue) const;
    ktError Copy(ktIntArray& aOther);
};

/// An array that owns strings from `new`.
///
/// One thread at a time. What goes in successfully belongs to the array and is deleted with it; what was refused stays
/// the caller's. The same string must not go in twice. Null elements are tolerated everywhere: they equal no text, join
/// as nothing and sort first. What the operations of ktArray that are not repeated here do to the slots (GrowArray(),
/// operator[]) deletes nothing.
class KT_EXPORT ktStringArray : public ktArray {
public:
    ktStringArray();
    /// Deletes the elements.
    ~ktStringArray() override;

    /// Deletes every element, the last first.
    void Clear() override;
    /// Sorts by the texts, without regard to case, accents, width and the way characters are composed.
    virtual void SortByAlpha();

    /// @return the element, still the array's; null when the index is out of range, which is logged.
    ktString* GetElement(int aIndex) const;
    /// Takes ownership. @return as ktArray::Append().
    ktError Append(ktString* aString);
    /// Takes ownership. @return as ktArray::InsertAt().
    ktError InsertAt(int aIndex, ktString* aString);
    /// Takes ownership and deletes the element that was there, unless it is this very one. Does not extend the array.
    /// @return 0; -6 when the index is out of range (a negative one is logged); -2 when the slot is a missing one and
    ///         there is no memory, which is logged. On failure nothing changes.
    ktError SetElement(int aIndex, ktString* aString);
    /// Takes an element out. @return the element, which is the caller's from now on; null when the index is out of
    /// range.
    ktString* RemoveAt(int aIndex);
    /// The same for the last. @return null when the array is empty.
    ktString* RemoveFromEnd();

    /// Append a new copy of the text.
    /// @return 0; -2 when there is no memory; -5 for null; else the code with which the text could not be copied. On
    ///         failure nothing changes.
    ktError AppendAndCopy(ktString const* aString);
    ktError AppendAndCopy(char const* aText);
    /// Replaces the elements by copies of another array's. Copying an array to itself changes nothing.
    /// @return 0; -2 when there is no memory, and then the array has the copies that were made up to there.
    ktError Copy(ktStringArray const& aOther);
    /// Count 0; deletes nothing, for elements that have found another owner.
    void ClearNoDelete();
    /// @return the position of the first element with the same text, case included; -1 when there is none, or for null.
    int FindElement(ktString const* aString) const;
    /// Makes `aOut` the texts of all elements with the separator between them; null separates by nothing. `aOut` may be
    /// an element, and is then replaced by the text of all that there was.
    /// @return 0; else the code with which a text could not be appended, and then `aOut` is as before, or empty when it
    ///         was the whole text that could not be copied into it.
    ktError JoinWithSeparator(char const* aSeparator, ktString& aOut) const;
};

/// An array that owns indexed strings from `new`, found by their index.
///
/// As ktStringArray. It does not keep the elements in order of their index, nor the indices apart. What ktStringArray's
/// operations copy from indexed strings keeps its index. Plain strings that they put in have none: they are kept and
/// deleted, but not handed out by GetElement() and RemoveAt() and not found.
class KT_EXPORT ktIndexedStringArray : public ktStringArray {
public:
    ktIndexedStringArray();
    ~ktIndexedStringArray() override;

    void SortByAlpha() override;

    /// @return the element, still the array's; null when the position is out of range, which is logged.
    ktIndexedString* GetElement(int aPosition) const;
    /// Takes ownership. @return as ktArray::Append().
    ktError Append(ktIndexedString* aString);
    /// Takes ownership. @return as ktArray::InsertAt().
    ktError InsertAt(int aPosition, ktIndexedString* aString);
    /// Takes an element out. @return the element, which is the caller's from now on; null when the position is out of
    /// range, or for a plain string, which stays.
    ktIndexedString* RemoveAt(int aPosition);

    /// @return the position of the first element with this index; -1 when there is none.
    int GetPositionByIndex(int aIndex) const;
    /// @return the element, still the array's; null when there is none, which is logged as GetElement(-1).
    ktIndexedString* GetElementByIndex(int aIndex) const;
    /// Appends a new string of the two.
    /// @return 0; -2 when there is no memory; -5 for null; else the code with which the text could not be copied. On
    ///         failure nothing changes.
    ktError AppendAndCopyWithIndex(int aIndex, CFStringRef aText);
};

/// An array that holds a reference on each of its strings.
///
/// One thread at a time, though the strings may be shared with others. Null elements are possible. What the operations
/// of ktArray that are not repeated here do to the slots (GrowArray(), operator[]) releases nothing.
class KT_EXPORT ktRefStringArray : public ktArray {
public:
    ktRefStringArray();
    /// Releases the elements.
    ~ktRefStringArray() override;

    /// Releases every element, the last first.
    void Clear() override;

    /// @return the element with a reference for the caller, who releases it; null when the index is out of range, which
    ///         is logged.
    ktRefString* GetElement(int aIndex) const;
    /// Takes a reference when it succeeds. @return as ktArray::Append().
    ktError Append(ktRefString* aString);
    /// Takes a reference when it succeeds. @return as ktArray::InsertAt().
    ktError InsertAt(int aIndex, ktRefString* aString);
    /// Takes a reference and releases the element that was there, when it succeeds; setting the element that is there
    /// keeps it. @return as ktArray::SetElement().
    ktError SetElement(int aIndex, ktRefString* aString);
    /// Takes an element out. @return the element with the array's reference, which the caller releases; null when the
    /// index is out of range.
    ktRefString* RemoveAt(int aIndex);
    /// The same for the last. @return null when the array is empty.
    ktRefString* RemoveFromEnd();
    /// @return the position of this very string; -1 when it is not there.
    int FindElement(ktRefString* aString) const;
    /// Replaces the elements by another array's. Copying an array to itself changes nothing.
    /// @return 0; -1 for a null element, which ends the copy, and then the array has the elements before it; -2 when
    ///         there is no memory, which is logged, and then the array is empty.
    ktError Copy(ktRefStringArray& aOther);
};
