/// @file
/// Events: the small reference-counted messages that threads post to each other's queues.
///
/// An event is built (count 0, no type), given its contents with `Init`, and posted; the queue's reference is then its
/// owner. Nothing in it changes after it was posted, except that a timeout request may still be cancelled. Until it is
/// posted an event belongs to the thread that built it; afterwards any thread that holds a reference may read it.
#pragma once

#include <atomic>

#include "ktrefcount.h"
#include "kttypes.h"

class ktEvent;
class ktEventQueue;

/// @name Event types
/// A type is 0x30000000 + (family << 16) + index, the index counting from 1. An application numbers events of its own
/// in a family that is not listed here.
///
/// - 0x00, core: the constants below.
/// - 0x0c, heartbeat: 1 `ktHeartBeatRegisterEvent`, 2 `ktHeartBeatClientEventClosure`, 3 `ktHeartBeatPingEvent`,
///   4 its answer, 5 pause, 6 resume, 7 stop.
/// - 0x0d, sleep: 1 `ktEventRegisterSleepAwareFeature`, 2 `ktEventRequestSystemWake`, 3 `ktEventAllowSystemSleep`,
///   4 `ktEventSystemWake`, 5 `ktEventSystemSleep`, 9 `ktEventOnSleepReply`.
/// @{
constexpr unsigned int ktEventTypeExit = 0x30000001;                ///< leave your loop (ktEvent, value 0)
constexpr unsigned int ktEventTypeTimeoutRequest = 0x30000002;      ///< to the short timer (ktEventTimeoutRequest)
constexpr unsigned int ktEventTypeTimedOut = 0x30000003;            ///< its answer (ktEventTimedOut)
constexpr unsigned int ktEventTypeLongTimeoutRequest = 0x30000004;  ///< to the long timer (ktEventLongTimeoutRequest)
constexpr unsigned int ktEventTypeLongTimedOut = 0x30000005;        ///< its answer (ktEventLongTimedOut)
constexpr unsigned int ktEventTypeNextIntervalQuery = 0x30000006;   ///< to `ktLongTimer` (ktEventReturnAddressed)
constexpr unsigned int ktEventTypeNextIntervalReply = 0x30000007;   ///< its answer (ktEvent, value in seconds)
constexpr unsigned int ktEventTypeLocaleChanged = 0x30000008;       ///< the locale is another one (ktEvent, value 0)
/// @}

/// Receives events.
///
/// The interface owns nothing and is never deleted through: it has no virtual destructor. A handler must outlive every
/// event that was posted for it, since a queue does not own the handlers it names.
class KT_EXPORT ktIEventHandler {
public:
    /// Called on the thread that drains the queue, with no lock held. The caller keeps its reference on the event.
    /// @return 0, or a code of the handler's own; queues ignore it.
    virtual ktError HandleEvent(ktEvent const* aEvent) = 0;
};

/// Ignores its event.
/// @return 0.
KT_EXPORT ktError HandleNOOP(ktEvent const* aEvent);

/// A type and a value; base of every event.
class KT_EXPORT ktEvent : public ktRefCount {
public:
    /// An event of no type (0xFFFFFFFF) and value 0, owned by nobody.
    ktEvent();
    ~ktEvent() override;

    /// Deletes the event, which must come from `new`.
    void Destroy() override;

    /// @return 0.
    ktError Init(unsigned int aType, int aValue);

    unsigned int GetType() const;
    /// What it means depends on the type.
    int GetValue() const;

private:
    unsigned int mType;
    int mValue;
};

/// An event that says where its answer is to be posted.
class KT_EXPORT ktEventReturnAddressed : public ktEvent {
public:
    /// No return address.
    ktEventReturnAddressed();
    ~ktEventReturnAddressed() override;

    /// The queue and the handler are not owned and must outlive the answer. @return 0.
    ktError Init(unsigned int aType, int aValue, ktEventQueue* aReturnQueue, ktIEventHandler* aReturnHandler);

    ktEventQueue* GetReturnQueue() const;
    ktIEventHandler* GetReturnHandler() const;

private:
    ktEventQueue* mReturnQueue;
    ktIEventHandler* mReturnHandler;
};

/// Asks the short timer for an answer after a time on the interval clock.
class KT_EXPORT ktEventTimeoutRequest : public ktEventReturnAddressed {
public:
    ktEventTimeoutRequest();
    ~ktEventTimeoutRequest() override;

    /// The time runs from this call. @param aTimeout in NSPR interval ticks. @return 0.
    ktError Init(int aID, unsigned int aTimeout, ktEventQueue* aReturnQueue, ktIEventHandler* aReturnHandler);

    /// Chosen by the requester and copied into the answer.
    int GetID() const;
    /// In NSPR interval ticks.
    unsigned int GetTimeout() const;
    /// `PR_IntervalNow()` at Init(), from which the timeout runs.
    unsigned int GetNow() const;

    /// Asks the timer to drop the request instead of answering it. Any thread. An answer that is already under way
    /// still arrives: the requester checks the id, and whether it still wants it.
    void Cancel();
    ktBOOL IsCancelled() const;

private:
    int mID;
    unsigned int mTimeout;
    unsigned int mNow;
    std::atomic<int> mCancelled;  ///< set by the requester's thread, read by the timer's
};

/// Asks the long timer for an answer at a time of the wall clock, or after a time of uptime.
class KT_EXPORT ktEventLongTimeoutRequest : public ktEventReturnAddressed {
public:
    ktEventLongTimeoutRequest();
    ~ktEventLongTimeoutRequest() override;

    /// An absolute deadline. One that is too far off to count in microseconds becomes the farthest that can be.
    /// @param aTimeoutSeconds seconds since 1970. @param aTimerType left to the long timer to interpret. @return 0.
    ktError Init(int aID, long long aTimeoutSeconds, ktEventQueue* aReturnQueue, ktIEventHandler* aReturnHandler,
                 int aTimerType);
    /// A deadline that many seconds and microseconds of uptime from now, time spent suspended included. A negative
    /// duration is reported and counts as 0. @return 0.
    ktError InitRelative(int aID, int aSeconds, int aMicroseconds, ktEventQueue* aReturnQueue,
                         ktIEventHandler* aReturnHandler, int aTimerType);

    /// Chosen by the requester and copied into the answer.
    int GetID() const;
    /// The deadline in whole seconds, cut.
    long long GetTimeout() const;
    /// The deadline in microseconds: since 1970 if absolute, since the system started if relative.
    long long GetFullTimeout() const;
    /// -1 until Init().
    int GetTimerType() const;
    ktBOOL IsRelativeTimer() const;

    /// As ktEventTimeoutRequest::Cancel().
    void Cancel();
    ktBOOL IsCancelled() const;

private:
    int mID;
    long long mTimeout;
    std::atomic<int> mCancelled;  ///< set by the requester's thread, read by the timer's
    int mTimerType;
    int mRelative;
};

/// The short timer's answer to a request.
class KT_EXPORT ktEventTimedOut : public ktEvent {
public:
    ktEventTimedOut();
    ~ktEventTimedOut() override;

    /// @return 0.
    ktError Init(int aID);
    /// The request's id.
    int GetID() const;

private:
    int mID;
};

/// The long timer's answer to a request.
class KT_EXPORT ktEventLongTimedOut : public ktEvent {
public:
    ktEventLongTimedOut();
    ~ktEventLongTimedOut() override;

    /// @return 0.
    ktError Init(int aID);
    /// The request's id.
    int GetID() const;

private:
    int mID;
};

/// Carries a pointer that it does not own.
class KT_EXPORT ktEventPtr : public ktEvent {
public:
    ktEventPtr();
    ~ktEventPtr() override;

    /// @return 0.
    ktError Init(unsigned int aType, int aValue, void* aPtr);
    void* GetPtr() const;

private:
    void* mPtr;
};
