/// @file
/// Posts what happens in one place to everybody who asked for it.
#pragma once

#include <prlock.h>

#include <cstddef>
#include <functional>
#include <memory>

#include "ktevent.h"
#include "kteventqueue.h"
#include "kttypes.h"

/// Where a subscriber wants its events: a queue, the handler to post them with, and a text that names it in the log.
///
/// A value; one thread at a time. Queue and handler are not owned and make up its identity, the text is a copy and does
/// not count.
class KT_EXPORT ktEventSubscriber {
public:
    /// No queue, no handler, an empty identifier.
    ktEventSubscriber();
    /// @param aIdentifier copied; null leaves the identifier empty, and so does a lack of memory, here and below.
    ktEventSubscriber(ktEventQueue* aQueue, ktIEventHandler* aHandler, char const* aIdentifier);
    ktEventSubscriber(ktEventSubscriber const& aOther);
    ktEventSubscriber& operator=(ktEventSubscriber const& aOther);
    virtual ~ktEventSubscriber();

    ktEventQueue* GetQueue() const;
    ktIEventHandler* GetHandler() const;
    /// Never null; valid until the subscriber is next assigned to or destroyed.
    char const* GetIdentifier() const;

    /// By the address of the queue, then by that of the handler, both unsigned.
    bool operator<(ktEventSubscriber const& aOther) const;
    /// The same queue and the same handler.
    bool operator==(ktEventSubscriber const& aOther) const;

private:
    ktEventQueue* mQueue;
    ktIEventHandler* mHandler;
    char* mIdentifier;  ///< null when empty
};

/// A named place that any number of subscribers, each a queue and a handler, hear from.
///
/// One call posts to every subscriber's queue: either one event that all share, or what a routine builds and posts for
/// each of them. Handlers are not called here; they run later, on the threads that drain the queues. Subscribers are
/// served in the order of their addresses (ktEventSubscriber::operator<), not in that of their subscription.
///
/// Init(), Destroy() and the destructor belong to the owner, while no other call is under way; everything else may be
/// called from any thread. A publisher's lock is held while it posts, so it always comes before a queue's, and before
/// the log's where a queue logs that it refuses an event.
///
/// The publisher owns neither queues nor handlers: both must stay until they are unsubscribed, and a handler until the
/// events that were posted for it are handled or gone. Whoever publishes does not learn whether every queue took its
/// event: a queue logs when it does not.
class KT_EXPORT ktEventPublisher {
public:
    /// What SimpleEventPublisher() expects as its context.
    struct SimpleEvent {
        unsigned int mType;
        int mValue;
    };

    /// Without a name and without subscribers; nothing works before Init().
    ktEventPublisher();
    ktEventPublisher(ktEventPublisher const&) = delete;
    ktEventPublisher& operator=(ktEventPublisher const&) = delete;
    /// As Destroy().
    virtual ~ktEventPublisher();

    /// Makes the publisher usable. Calling it again only changes the name; the subscribers stay.
    /// @param aName copied, stands in front of what the publisher logs; null leaves the name as it is.
    /// @return 0; -2 when there is no memory for the name, -7 when there is none for the lock. Either is logged, and
    ///         nothing has changed.
    ktError Init(char const* aName);
    /// Forgets the name and every subscriber. Init() makes the publisher usable again.
    void Destroy();

    /// Adds a subscriber, and logs at priority 2 whether it was new. Waits for the lock, and for the log after that.
    /// @param aQueue may be null: such a subscriber is never served. @param aHandler may be null.
    /// @param aIdentifier copied, for the log; null counts as empty.
    /// @return 0; -18 when there is one with this queue and handler, which stays as it is; -2 when there is no memory,
    ///         which is logged, and then the subscriber was not added; -9 before Init().
    virtual ktError Subscribe(ktEventQueue* aQueue, ktIEventHandler* aHandler, char const* aIdentifier);
    /// Removes a subscriber: once this has returned, nothing more is posted for it. Waits for the lock.
    /// @return 0; -17 when there is none with this queue and handler; -9 before Init().
    virtual ktError Unsubscribe(ktEventQueue* aQueue, ktIEventHandler* aHandler);

    /// Posts one event to every subscriber. Waits for the lock and for the queues' locks.
    /// @param aEvent each queue takes a reference of its own; the caller needs one throughout the call, and keeps it.
    /// @return 0, also when a queue refused the event; -5 when it is null; -9 before Init().
    ktError Publish(ktEvent const* aEvent);
    /// Calls a routine for every subscriber, until one call fails. Waits for the lock, and for what the routine does.
    ///
    /// The routine runs on this thread and under the publisher's lock: it must not subscribe, unsubscribe or publish
    /// here, directly or otherwise. It must not throw either: the library could not give the lock back.
    /// @param aFunction gets the subscriber's handler, its queue (never null) and `aContext`. It posts if it wants to,
    ///        and returns 0 to go on.
    /// @return 0; what the first call returned that was not 0: this is reported, and the subscribers behind it are not
    ///         served; -7 without a function; -9 before Init().
    ktError Publish(ktError (*aFunction)(ktIEventHandler*, ktEventQueue*, void*), void* aContext);
    /// The same with a function object.
    /// @return as above; -7 when it is empty.
    ktError Publish(std::function<ktError(ktIEventHandler*, ktEventQueue*)> const& aFunction);

    /// Posts a `ktEvent` of its own to every subscriber. Waits for the lock and for the queues' locks.
    /// @return 0, also when a queue refused its event; -2 when there was no memory for one, which is reported, and then
    ///         the subscribers from there on got none; -9 before Init().
    ktError PublishSimpleEvent(unsigned int aType, int aValue);
    /// The routine behind it: posts a new `ktEvent` with the contents of a SimpleEvent. Any thread.
    /// @return 0, also when the queue refused it; -2 when there is no memory; -5 for a null queue or context.
    static ktError SimpleEventPublisher(ktIEventHandler* aHandler, ktEventQueue* aQueue, void* aContext);

private:
    /// The subscribers in their order, without doubles. Each is a block of its own, so that making room moves pointers.
    class KT_HIDDEN SubscriberSet {
    public:
        SubscriberSet();
        ~SubscriberSet();

        ktEventSubscriber** begin() const;
        ktEventSubscriber** end() const;
        /// @param aSubscriber taken over if it is added. @return 0; -18; -2
        ktError Add(std::unique_ptr<ktEventSubscriber>& aSubscriber);
        /// @return 0; -17
        ktError Remove(ktEventSubscriber const& aSubscriber);
        void Clear();

    private:
        ktEventSubscriber** Find(ktEventSubscriber const& aSubscriber) const;
        bool MakeRoom();

        ktEventSubscriber** mSubscribers;  ///< from ktREALLOC
        std::size_t mCount;
        std::size_t mCapacity;
    };

    KT_HIDDEN ktError Insert(ktEventQueue* aQueue, ktIEventHandler* aHandler, char const* aIdentifier);
    template <typename Routine>
    KT_HIDDEN ktError Serve(Routine const& aRoutine);
    template <typename Routine>
    KT_HIDDEN ktError ServeAndReport(int aLine, Routine const& aRoutine);

    char* mName;    ///< null when empty
    PRLock* mLock;  ///< guards mSubscribers
    SubscriberSet mSubscribers;
};
