#include "ktevent.h"

#include <prinrval.h>

#include <climits>

#include "ktassert.h"
#include "kttime.h"

namespace {

constexpr unsigned int kNoType = 0xFFFFFFFF;
constexpr long long kMicrosecondsPerSecond = 1000000;

}  // namespace

ktError HandleNOOP(ktEvent const* /*aEvent*/)
{
    return kErrNone;
}

ktEvent::ktEvent() : mType(kNoType), mValue(0)
{
}

ktEvent::~ktEvent() = default;

void ktEvent::Destroy()
{
    delete this;  // a null event is tolerated: this source keeps its null checks, see the build file
}

ktError ktEvent::Init(unsigned int aType, int aValue)
{
    mType = aType;
    mValue = aValue;
    return kErrNone;
}

unsigned int ktEvent::GetType() const
{
    return mType;
}

int ktEvent::GetValue() const
{
    return mValue;
}

ktEventReturnAddressed::ktEventReturnAddressed() : mReturnQueue(nullptr), mReturnHandler(nullptr)
{
}

ktEventReturnAddressed::~ktEventReturnAddressed() = default;

ktError ktEventReturnAddressed::Init(unsigned int aType, int aValue, ktEventQueue* aReturnQueue,
                                     ktIEventHandler* aReturnHandler)
{
    ktEvent::Init(aType, aValue);
    mReturnQueue = aReturnQueue;
    mReturnHandler = aReturnHandler;
    return kErrNone;
}

ktEventQueue* ktEventReturnAddressed::GetReturnQueue() const
{
    return mReturnQueue;
}

ktIEventHandler* ktEventReturnAddressed::GetReturnHandler() const
{
    return mReturnHandler;
}

ktEventTimeoutRequest::ktEventTimeoutRequest() : mID(0), mTimeout(0), mNow(0), mCancelled(0)
{
}

ktEventTimeoutRequest::~ktEventTimeoutRequest() = default;

ktError ktEventTimeoutRequest::Init(int aID, unsigned int aTimeout, ktEventQueue* aReturnQueue,
                                    ktIEventHandler* aReturnHandler)
{
    ktEventReturnAddressed::Init(ktEventTypeTimeoutRequest, 0, aReturnQueue, aReturnHandler);
    mID = aID;
    mTimeout = aTimeout;
    mNow = PR_IntervalNow();
    return kErrNone;
}

int ktEventTimeoutRequest::GetID() const
{
    return mID;
}

unsigned int ktEventTimeoutRequest::GetTimeout() const
{
    return mTimeout;
}

unsigned int ktEventTimeoutRequest::GetNow() const
{
    return mNow;
}

void ktEventTimeoutRequest::Cancel()
{
    mCancelled.store(1, std::memory_order_relaxed);
}

ktBOOL ktEventTimeoutRequest::IsCancelled() const
{
    return mCancelled.load(std::memory_order_relaxed) != 0;
}

ktEventLongTimeoutRequest::ktEventLongTimeoutRequest()
    : mID(0), mTimeout(0), mCancelled(0), mTimerType(-1), mRelative(0)
{
}

ktEventLongTimeoutRequest::~ktEventLongTimeoutRequest() = default;

ktError ktEventLongTimeoutRequest::Init(int aID, long long aTimeoutSeconds, ktEventQueue* aReturnQueue,
                                        ktIEventHandler* aReturnHandler, int aTimerType)
{
    ktEventReturnAddressed::Init(ktEventTypeLongTimeoutRequest, 0, aReturnQueue, aReturnHandler);
    mID = aID;
    mTimerType = aTimerType;
    mRelative = 0;
    if (__builtin_mul_overflow(aTimeoutSeconds, kMicrosecondsPerSecond, &mTimeout))
        mTimeout = aTimeoutSeconds < 0 ? LLONG_MIN : LLONG_MAX;
    return kErrNone;
}

ktError ktEventLongTimeoutRequest::InitRelative(int aID, int aSeconds, int aMicroseconds, ktEventQueue* aReturnQueue,
                                                ktIEventHandler* aReturnHandler, int aTimerType)
{
    long long duration = aSeconds * kMicrosecondsPerSecond + aMicroseconds;
    if (duration < 0) {
        ktReportAssertion(nullptr, "duration >= 0", "ktevent", 211);
        duration = 0;
    }
    ktEventReturnAddressed::Init(ktEventTypeLongTimeoutRequest, 0, aReturnQueue, aReturnHandler);
    mID = aID;
    mTimerType = aTimerType;
    mRelative = 1;
    mTimeout = ktGetUptimeInMicroseconds() + duration;
    return kErrNone;
}

int ktEventLongTimeoutRequest::GetID() const
{
    return mID;
}

long long ktEventLongTimeoutRequest::GetTimeout() const
{
    return mTimeout / kMicrosecondsPerSecond;
}

long long ktEventLongTimeoutRequest::GetFullTimeout() const
{
    return mTimeout;
}

int ktEventLongTimeoutRequest::GetTimerType() const
{
    return mTimerType;
}

ktBOOL ktEventLongTimeoutRequest::IsRelativeTimer() const
{
    return mRelative != 0;
}

void ktEventLongTimeoutRequest::Cancel()
{
    mCancelled.store(1, std::memory_order_relaxed);
}

ktBOOL ktEventLongTimeoutRequest::IsCancelled() const
{
    return mCancelled.load(std::memory_order_relaxed) != 0;
}

ktEventTimedOut::ktEventTimedOut() : mID(0)
{
}

ktEventTimedOut::~ktEventTimedOut() = default;

ktError ktEventTimedOut::Init(int aID)
{
    mID = aID;
    return ktEvent::Init(ktEventTypeTimedOut, 0);
}

int ktEventTimedOut::GetID() const
{
    return mID;
}

ktEventLongTimedOut::ktEventLongTimedOut() : mID(0)
{
}

ktEventLongTimedOut::~ktEventLongTimedOut() = default;

ktError ktEventLongTimedOut::Init(int aID)
{
    mID = aID;
    return ktEvent::Init(ktEventTypeLongTimedOut, 0);
}

int ktEventLongTimedOut::GetID() const
{
    return mID;
}

ktEventPtr::ktEventPtr() : mPtr(nullptr)
{
}

ktEventPtr::~ktEventPtr() = default;

ktError ktEventPtr::Init(unsigned int aType, int aValue, void* aPtr)
{
    mPtr = aPtr;
    return ktEvent::Init(aType, aValue);
}

void* ktEventPtr::GetPtr() const
{
    return mPtr;
}
