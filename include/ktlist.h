/// @file
/// An intrusive, circular, doubly linked list.
///
/// An element embeds a ktListLink; the list owns nothing. No function locks: the list belongs to one thread, or its
/// owner serialises access. No function checks that an item is, or is not, on a list.
#pragma once

#include "kttypes.h"

/// The link that each element embeds.
struct ktListLink {
    ktListLink* mPrev;  ///< the element before, or the head
    ktListLink* mNext;  ///< the element behind, or the head
};

/// The head of a list; an empty list's links point at the head itself.
struct ktList : ktListLink {
    int mCount;     ///< elements on the list now
    int mMaxCount;  ///< most elements that were ever on it at once; only ktListInit() lowers it
};

/// Makes the list empty and forgets its highest count. Elements that were on it are not touched.
KT_EXPORT void ktListInit(ktList* aList);
/// @return true only when both links of the head point at the head.
KT_EXPORT ktBOOL ktListIsEmpty(ktList* aList);
/// @return the first element; the head itself when the list is empty.
KT_EXPORT ktListLink* ktListGetHead(ktList* aList);

/// Links an item in between two neighbours and counts it.
KT_EXPORT void __ktListAddItem(ktListLink* aItem, ktListLink* aBefore, ktListLink* aAfter, ktList* aList);
/// Links two neighbours with each other, past the item between them, and counts one less.
KT_EXPORT void __ktListRemoveItem(ktListLink* aBefore, ktListLink* aAfter, ktList* aList);

/// Takes an item off the list. Its own links keep their values, so a loop may still step on from it.
KT_EXPORT void ktListRemove(ktListLink* aItem, ktList* aList);
/// Puts an item first.
KT_EXPORT void ktListInsertHead(ktListLink* aItem, ktList* aList);
/// Puts an item last.
KT_EXPORT void ktListInsertTail(ktListLink* aItem, ktList* aList);
/// Puts an item behind `aAfter`; first when `aAfter` is null.
KT_EXPORT void ktListInsertAfter(ktListLink* aItem, ktListLink* aAfter, ktList* aList);
/// Puts an item before `aBefore`; first, not last, when `aBefore` is null.
KT_EXPORT void ktListInsertBefore(ktListLink* aItem, ktListLink* aBefore, ktList* aList);
