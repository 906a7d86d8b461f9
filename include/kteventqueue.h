/// @file
/// The mailbox of an event-handling thread.
#pragma once

#include <prio.h>
#include <prlock.h>

#include "ktevent.h"
#include "kttypes.h"

/// What a queue holds for each post.
struct ktEventPair {
    ktEvent const* mEvent;      ///< the queue owns one reference
    ktIEventHandler* mHandler;  ///< not owned; null hands the event to the owning thread's loop
};

/// First in, first out, unbounded, without priorities. Any thread posts; one thread, the owner, takes.
///
/// The owner sleeps in a poll on GetPoller(), which becomes readable when the queue turns from empty to non-empty, so
/// that a burst of posts costs one wake-up. Its loop:
///
/// 1. Prepare a `PRPollDesc` of GetPoller(), with `PR_POLL_READ` and out-flags 0.
/// 2. `PR_Poll` it, alone or among the thread's other descriptors, with the thread's timeout. While the queue is
///    signalled, up to 15 polls in a row report it alone, without asking the kernel for the others.
/// 3. When the poll has reported it, and only then (it blocks otherwise), call `PR_WaitForPollableEvent` once; then
///    call Dequeue() until it returns null, and handle and release each event that it returns.
///
/// Draining to null is mandatory: a loop that leaves events behind is not woken for them until the queue has once been
/// empty. A wake-up that finds the queue drained is harmless.
///
/// The queue does not start or own threads and does not own handlers. Taking from two threads at once is not possible;
/// ownership can be handed on if the threads synchronise over it. The queue does not protect against being destroyed
/// while another thread posts, and having received an event does not prove that the call that posted it has returned:
/// join the poster first. Between the creation of its two descriptors and their being marked close-on-exec (which
/// needs `/proc` when descriptor numbers have gaps), another thread's fork and exec can inherit them.
class KT_EXPORT ktEventQueue {
public:
    /// An empty queue that cannot be posted to before Init().
    ktEventQueue();
    ktEventQueue(ktEventQueue const&) = delete;
    ktEventQueue& operator=(ktEventQueue const&) = delete;
    /// Releases every event that is left without calling its handler, then tells the callback, if there was one left,
    /// that the queue is idle. The owner's thread, when every call of another thread has returned.
    virtual ~ktEventQueue();

    /// Creates the descriptor and the lock. NSPR initialises itself when a process first uses it, and does not survive
    /// a lack of memory then; a process that must do so uses it while there is some.
    /// @return 0; -2 when one of them cannot be had: what was created stays until a later Init() or the destructor;
    ///         -3 when already initialised, and then nothing has changed.
    ktError Init();
    /// The same, and sets the callback if that succeeded. It is called with true when the queue turns busy (on the
    /// posting thread) and with false when it turns idle (on the owner's), under the queue's lock, so it must not call
    /// back into this queue; the destructor calls it outside any lock.
    ktError Init(void (*aCallback)(ktEventQueue*, ktBOOL));

    /// The descriptor to poll; the queue's own. Null before Init().
    PRFileDesc* GetPoller();

    /// Posts an event. Any thread; waits only for the lock.
    ///
    /// The queue takes a reference of its own, also on an event that nobody owns yet. When it refuses the event it
    /// releases that reference again, which destroys an event that nobody else owns.
    /// @param aEvent must not be null.
    /// @param aHandler called on the owner's thread; null returns the event to the loop.
    /// @return 0; -2 when there is no memory to hold the event, or for NSPR to know the thread; -9 before Init(). Both
    ///         are logged.
    ktError Enqueue(ktEvent const* aEvent, ktIEventHandler* aHandler);

    /// Takes the first event without dispatching it. The owner only; waits only for the lock.
    /// @param aEvent receives the event, with its reference. @param aHandler receives the handler; may be null.
    /// @return 0; -17 when the queue is empty, -9 before Init(), and then both outputs are null; -5 when `aEvent` is
    ///         null, and then nothing is taken.
    ktError Dequeue(ktEvent const** aEvent, ktIEventHandler** aHandler);

    /// Dispatches events in order, and releases each, up to the first that has no handler. The owner only; runs the
    /// handlers, one at a time and outside the lock.
    /// @return the event without a handler, with its reference: the caller releases it; null when the queue is empty.
    ktEvent const* Dequeue();

    /// Any thread; waits only for the lock.
    bool IsEmpty() const;

    /// Posts an event of type ktEventTypeExit, without handler, behind everything that is already queued. What leaving
    /// means is up to whoever runs the loop. Any thread.
    /// @return 0; -2 when there is no memory for it, which is logged; -9 before Init().
    ktError Exit();

private:
    /// Pairs in posting order, in blocks of a fixed size: a burst copies nothing while the lock is held, and gives its
    /// memory back as it drains. One block stays for the next post.
    ///
    /// Posting, and whatever tells whether the deque is empty, happens under the queue's lock. But once the owner has
    /// seen under the lock how many pairs there are, it may take all of them but the last without it: nobody else
    /// touches them, and the deque stays non-empty meanwhile. So the lock is taken once per burst, not once per pair.
    class KT_HIDDEN PairDeque {
    public:
        PairDeque();
        ~PairDeque();

        bool IsEmpty() const;                     ///< under the lock
        bool PushBack(ktEventPair const& aPair);  ///< under the lock; false when there is no memory
        bool HasSpare() const;                    ///< owner: the front may be taken without the lock
        ktEventPair PopFront();                   ///< owner: under the lock and not empty, or HasSpare()
        void CountPosted();                       ///< owner, under the lock: looks how many pairs there are

    private:
        struct Block;
        Block* mBack;    ///< holds the last pair; null until the first post
        int mBackIndex;  ///< behind the last pair, in mBack
        int mPosted;     ///< since the owner last looked
        bool mIsEmpty;
        Block* mFront;    ///< the owner's, as the rest: holds the first pair
        int mFrontIndex;  ///< of the first pair, in mFront
        int mKnown;       ///< pairs that the owner has seen and not taken
    };

    KT_HIDDEN ktError Refuse(ktEvent const* aEvent, ktError aReason);
    KT_HIDDEN ktError TakeFront(ktEventPair& aPair);
    KT_HIDDEN bool Push(ktEventPair const& aPair, bool& aNeedsSignal);
    KT_HIDDEN void RaiseSignal();
    KT_HIDDEN void NotifyState(ktBOOL aBusy);

    PRFileDesc* mPoller;
    PRLock* mLock;  ///< guards mPairs and the calls of mCallback
    void (*mCallback)(ktEventQueue*, ktBOOL);
    PairDeque mPairs;
    bool mOwesSignal;  ///< guarded by mLock: a signal could not be raised, and the next post has to
};
