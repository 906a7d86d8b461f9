#include "kteventqueue.h"

#include <new>

#include "ktlog.h"
#include "ktmemory.h"
#include "ktnspr.h"
#include "ktpollable.h"

namespace {

constexpr int kPairsPerBlock = 64;

}  // namespace

struct ktEventQueue::PairDeque::Block {
    Block* mNext;
    ktEventPair mPairs[kPairsPerBlock];
};

inline ktEventQueue::PairDeque::PairDeque()
    : mBack(nullptr), mBackIndex(0), mPosted(0), mIsEmpty(true), mFront(nullptr), mFrontIndex(0), mKnown(0)
{
}

inline ktEventQueue::PairDeque::~PairDeque()
{
    ktFREE(mFront);  // drained by the queue, so at most one block is left
}

inline bool ktEventQueue::PairDeque::IsEmpty() const
{
    return mIsEmpty;
}

inline bool ktEventQueue::PairDeque::PushBack(ktEventPair const& aPair)
{
    if (mBack == nullptr || mBackIndex == kPairsPerBlock) {
        Block* const block = static_cast<Block*>(ktMALLOC(sizeof(Block)));
        if (block == nullptr)
            return false;
        (mBack != nullptr ? mBack->mNext : mFront) = block;
        mBack = block;
        mBackIndex = 0;
    }
    mBack->mPairs[mBackIndex++] = aPair;
    ++mPosted;
    mIsEmpty = false;
    return true;
}

inline bool ktEventQueue::PairDeque::HasSpare() const
{
    return mKnown > 1;
}

inline ktEventPair ktEventQueue::PairDeque::PopFront()
{
    if (mFrontIndex == kPairsPerBlock) {
        Block* const drained = mFront;
        mFront = drained->mNext;
        mFrontIndex = 0;
        ktFREE(drained);
    }
    const ktEventPair pair = mFront->mPairs[mFrontIndex++];
    if (--mKnown == 0) {
        mIsEmpty = true;
        mFrontIndex = 0;
        mBackIndex = 0;
    }
    return pair;
}

inline void ktEventQueue::PairDeque::CountPosted()
{
    mKnown += mPosted;
    mPosted = 0;
}

ktEventQueue::ktEventQueue() : mPoller(nullptr), mLock(nullptr), mCallback(nullptr), mOwesSignal(false)
{
}

ktEventQueue::~ktEventQueue()
{
    const bool wasBusy = !mPairs.IsEmpty();
    mPairs.CountPosted();
    ktDestroyHandle(mPoller, PR_DestroyPollableEvent);
    ktDestroyHandle(mLock, PR_DestroyLock);
    while (!mPairs.IsEmpty())
        mPairs.PopFront().mEvent->Release();
    if (wasBusy)
        NotifyState(false);
}

ktError ktEventQueue::Init()
{
    if (mPoller != nullptr && mLock != nullptr)
        return kErrAlreadyInitialised;
    if (mPoller == nullptr)
        mPoller = ktNewPollable();
    if (mPoller == nullptr)
        return kErrNoMemory;
    mLock = PR_NewLock();
    return mLock != nullptr ? kErrNone : kErrNoMemory;
}

ktError ktEventQueue::Init(void (*aCallback)(ktEventQueue*, ktBOOL))
{
    const ktError result = Init();
    if (result == kErrNone)
        mCallback = aCallback;
    return result;
}

PRFileDesc* ktEventQueue::GetPoller()
{
    return mPoller;
}

ktError ktEventQueue::Enqueue(ktEvent const* aEvent, ktIEventHandler* aHandler)
{
    aEvent->AddRef();
    if (mLock == nullptr)
        return Refuse(aEvent, kErrNotInitialised);
    bool needsSignal = false;
    if (!Push({aEvent, aHandler}, needsSignal))
        return Refuse(aEvent, kErrNoMemory);
    // After unlocking: an owner that is woken inside the lock would only go back to sleep on it.
    if (needsSignal)
        RaiseSignal();
    return kErrNone;
}

ktError ktEventQueue::Dequeue(ktEvent const** aEvent, ktIEventHandler** aHandler)
{
    if (aEvent == nullptr)
        return kErrBadValue;
    ktEventPair pair = {nullptr, nullptr};
    const ktError result = TakeFront(pair);
    *aEvent = pair.mEvent;
    if (aHandler != nullptr)
        *aHandler = pair.mHandler;
    return result;
}

ktEvent const* ktEventQueue::Dequeue()
{
    ktEventPair pair = {nullptr, nullptr};
    while (TakeFront(pair) == kErrNone) {
        if (pair.mHandler == nullptr)
            return pair.mEvent;
        pair.mHandler->HandleEvent(pair.mEvent);
        pair.mEvent->Release();
    }
    return nullptr;
}

bool ktEventQueue::IsEmpty() const
{
    if (mLock == nullptr)
        return true;
    ktLockGuard guard(mLock);
    return mPairs.IsEmpty();
}

ktError ktEventQueue::Exit()
{
    ktEvent* const event = new (std::nothrow) ktEvent;
    if (event == nullptr) {
        ktLogWithComponent(kLogPriorityCritical, nullptr, "kteventqueue: event queue %p failed to allocate exit event",
                           this);
        return kErrNoMemory;
    }
    event->Init(ktEventTypeExit, 0);
    return Enqueue(event, nullptr);
}

/// Most callers post fresh events and look no further, so a refusal must neither leak the event nor pass unseen.
ktError ktEventQueue::Refuse(ktEvent const* aEvent, ktError aReason)
{
    ktLogWithComponent(kLogPriorityCritical, nullptr,
                       "kteventqueue: event queue %p refused event of type 0x%08x (error %d)", this, aEvent->GetType(),
                       aReason);
    aEvent->Release();
    return aReason;
}

bool ktEventQueue::Push(ktEventPair const& aPair, bool& aNeedsSignal)
{
    ktLockGuard guard(mLock);
    const bool wasEmpty = mPairs.IsEmpty();
    aNeedsSignal = wasEmpty || mOwesSignal;
    if (aNeedsSignal && !ktAttachThread())
        return false;
    if (!mPairs.PushBack(aPair))
        return false;
    mOwesSignal = false;
    if (wasEmpty)
        NotifyState(true);
    return true;
}

void ktEventQueue::RaiseSignal()
{
    if (ktSetPollable(mPoller))
        return;
    {
        ktLockGuard guard(mLock);
        mOwesSignal = true;
    }
    ktLogWithComponent(kLogPriorityCritical, nullptr,
                       "kteventqueue: event queue %p cannot wake its owner before the next post", this);
}

ktError ktEventQueue::TakeFront(ktEventPair& aPair)
{
    if (mLock == nullptr)
        return kErrNotInitialised;
    if (mPairs.HasSpare()) {
        aPair = mPairs.PopFront();
        return kErrNone;
    }
    ktLockGuard guard(mLock);
    if (mPairs.IsEmpty())
        return kErrEmpty;
    mPairs.CountPosted();
    aPair = mPairs.PopFront();
    if (mPairs.IsEmpty())
        NotifyState(false);
    return kErrNone;
}

void ktEventQueue::NotifyState(ktBOOL aBusy)
{
    if (mCallback != nullptr)
        mCallback(this, aBusy);
}
