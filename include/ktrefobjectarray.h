/// @file
/// The array of shared objects.
#pragma once

#include "ktarray.h"
#include "ktrefcount.h"
#include "kttypes.h"

/// An ordered array that holds a reference on each of its objects.
///
/// One thread at a time, though the objects may be shared with others. An object may be in it several times. It knows
/// its objects as ktRefCount only, and does not accept null: a null slot that it meets all the same is logged and
/// skipped. Every argument that it refuses is reported as a failed assertion besides the result code. Objects may look
/// into the array while it releases them, but must not change it.
///
/// A ktRefCountSharedPtr argument stands for the pointer that it holds.
class KT_EXPORT ktRefCountArray {
public:
    /// Empty.
    ktRefCountArray();
    /// Copies as Copy() does; empty when there is no memory.
    ktRefCountArray(ktRefCountArray const& aOther);
    /// Copies as Copy() does, and reports its failure as a failed assertion of its own.
    ktRefCountArray& operator=(ktRefCountArray const& aOther);
    /// Releases the elements.
    virtual ~ktRefCountArray();

    int GetNumElements() const;
    ktBOOL IsEmpty() const;

    /// @return the element, without a reference for the caller; null when the index is out of range, which is logged.
    ktRefCount* Get(int aIndex) const;
    /// @return a holder with a reference of its own; empty when the index is out of range, which is logged.
    ktRefCountSharedPtr GetElement(int aIndex) const;
    /// The same as GetElement().
    ktRefCountSharedPtr operator[](int aIndex) const;

    /// Replaces an element: takes a reference on the new one, then releases the old one. Setting the element that is
    /// there keeps it.
    /// @return 0; -5 for null; -6 for an index out of range, the count too. On failure nothing changes.
    ktError SetElement(int aIndex, ktRefCount const* aElement);
    ktError SetElement(int aIndex, ktRefCountSharedPtr const& aElement);
    /// Puts an element behind the last and takes a reference.
    /// @return 0; -5 for null; -2 when there is no memory, which is logged too; -6 when the count is INT_MAX. On
    ///         failure nothing changes.
    ktError Append(ktRefCount const* aElement);
    ktError Append(ktRefCountSharedPtr const& aElement);
    /// Puts an element at `aIndex`, moves those from there on one place up and takes a reference; at the count it
    /// appends. @return as Append(); -6 also for an index out of range.
    ktError InsertAt(int aIndex, ktRefCount const* aElement);
    ktError InsertAt(int aIndex, ktRefCountSharedPtr const& aElement);
    /// @return the position of the first slot with this very object; -1 when it is not there.
    int FindElement(ktRefCount const* aElement) const;
    int FindElement(ktRefCountSharedPtr const& aElement) const;

    /// Takes an element out. @return a holder that has taken over the array's reference; empty when the index is out of
    /// range.
    ktRefCountSharedPtr RemoveAt(int aIndex);
    /// The same for the last. @return empty when the array is empty.
    ktRefCountSharedPtr RemoveFromEnd();
    /// Releases every element, the first first.
    void Clear();

    /// Replaces the elements by another array's. Copying an array to itself changes nothing.
    /// @return 0; -2 when there is no memory, which is logged too, and then the array is empty.
    ktError Copy(ktRefCountArray const& aOther);
    /// Removes, for each element of the other array, its first occurrence here. Erasing an array from itself empties
    /// it.
    void Erase(ktRefCountArray const& aOther);
    /// Sorts the array in place, as ktArray::SortElements() does; the comparator gets each element as a `ktRefCount*`.
    void SortElements(int (*aComparator)(void const*, void const*, void*), void* aContext);

private:
    ktArray mArray;  ///< owns one reference on each element
};
