#include "ktlist.h"

void ktListInit(ktList* aList)
{
    aList->mPrev = aList;
    aList->mNext = aList;
    aList->mCount = 0;
    aList->mMaxCount = 0;
}

ktBOOL ktListIsEmpty(ktList* aList)
{
    return aList->mPrev == aList && aList->mNext == aList;
}

ktListLink* ktListGetHead(ktList* aList)
{
    return aList->mNext;
}

void __ktListAddItem(ktListLink* aItem, ktListLink* aBefore, ktListLink* aAfter, ktList* aList)
{
    aBefore->mNext = aItem;
    aAfter->mPrev = aItem;
    aItem->mPrev = aBefore;
    aItem->mNext = aAfter;
    ++aList->mCount;
    if (aList->mCount > aList->mMaxCount)
        aList->mMaxCount = aList->mCount;
}

void __ktListRemoveItem(ktListLink* aBefore, ktListLink* aAfter, ktList* aList)
{
    aBefore->mNext = aAfter;
    aAfter->mPrev = aBefore;
    --aList->mCount;
}

void ktListRemove(ktListLink* aItem, ktList* aList)
{
    __ktListRemoveItem(aItem->mPrev, aItem->mNext, aList);
}

void ktListInsertHead(ktListLink* aItem, ktList* aList)
{
    __ktListAddItem(aItem, aList, aList->mNext, aList);
}

void ktListInsertTail(ktListLink* aItem, ktList* aList)
{
    __ktListAddItem(aItem, aList->mPrev, aList, aList);
}

void ktListInsertAfter(ktListLink* aItem, ktListLink* aAfter, ktList* aList)
{
    if (aAfter == nullptr)
        ktListInsertHead(aItem, aList);
    else
        __ktListAddItem(aItem, aAfter, aAfter->mNext, aList);
}

void ktListInsertBefore(ktListLink* aItem, ktListLink* aBefore, ktList* aList)
{
    // Head, not tail, also here: callers that build a list back to front rely on it.
    if (aBefore == nullptr)
        ktListInsertHead(aItem, aList);
    else
        __ktListAddItem(aItem, aBefore->mPrev, aBefore, aList);
}
