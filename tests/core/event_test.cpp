// Events and the request for a short timeout.
#include "ktevent.h"

#include <gtest/gtest.h>
#include <prinrval.h>

#include <climits>

#include "ktevent-utils.h"
#include "kttime.h"
#include "kttimer.h"
#include "support/allocation.h"
#include "support/output.h"

namespace {

/// An event that is held for the length of a test.
template <typename Event>
class Held {
public:
    Held() : mEvent(new Event)
    {
        mEvent->AddRef();
    }
    ~Held()
    {
        mEvent->Release();
    }
    Held(Held const&) = delete;
    Held& operator=(Held const&) = delete;
    Event* operator->() const
    {
        return mEvent;
    }

private:
    Event* mEvent;
};

ktEventQueue* const kQueue = reinterpret_cast<ktEventQueue*>(0x1000);          // never touched
ktIEventHandler* const kHandler = reinterpret_cast<ktIEventHandler*>(0x2000);  // never touched

TEST(Event, HasNoTypeUntilInitialised)
{
    Held<ktEvent> event;
    EXPECT_EQ(event->GetType(), 0xFFFFFFFFU);
    EXPECT_EQ(event->GetValue(), 0);
    event->Init(0x30400007, -5);
    EXPECT_EQ(event->GetType(), 0x30400007U);
    EXPECT_EQ(event->GetValue(), -5);
}

// Called through a pointer that the compiler knows nothing about, as a careless owner would.
__attribute__((noinline, no_sanitize("undefined"))) void DestroyNull()
{
    static ktEvent* volatile sEvent = nullptr;
    ktEvent* const event = sEvent;
    event->ktEvent::Destroy();  // NOLINT(clang-analyzer-core.CallAndMessage)
}

TEST(Event, ToleratesDestructionOfNull)
{
    DestroyNull();
}

TEST(Event, CarriesWhatItWasGiven)
{
    Held<ktEventPtr> carrier;
    EXPECT_EQ(carrier->GetPtr(), nullptr);
    int payload = 0;
    carrier->Init(0x30400001, 3, &payload);
    EXPECT_EQ(carrier->GetPtr(), &payload);
    EXPECT_EQ(carrier->GetType(), 0x30400001U);
    EXPECT_EQ(carrier->GetValue(), 3);

    Held<ktEventTimedOut> timedOut;
    EXPECT_EQ(timedOut->GetID(), 0);
    timedOut->Init(12);
    EXPECT_EQ(timedOut->GetType(), 0x30000003U);
    EXPECT_EQ(timedOut->GetID(), 12);

    Held<ktEventLongTimedOut> longTimedOut;
    longTimedOut->Init(-1);
    EXPECT_EQ(longTimedOut->GetType(), 0x30000005U);
    EXPECT_EQ(longTimedOut->GetID(), -1);
    EXPECT_EQ(HandleNOOP(nullptr), 0);
}

TEST(TimeoutRequest, RunsFromItsInitialisationAndCanBeCancelled)
{
    Held<ktEventTimeoutRequest> request;
    EXPECT_EQ(request->GetReturnQueue(), nullptr);
    EXPECT_EQ(request->GetReturnHandler(), nullptr);
    const PRIntervalTime before = PR_IntervalNow();
    request->Init(4, 250, kQueue, kHandler);
    EXPECT_LE(request->GetNow() - before, PR_IntervalNow() - before);
    EXPECT_EQ(request->GetType(), 0x30000002U);
    EXPECT_EQ(request->GetValue(), 0);
    EXPECT_EQ(request->GetID(), 4);
    EXPECT_EQ(request->GetTimeout(), 250U);
    EXPECT_EQ(request->GetReturnQueue(), kQueue);
    EXPECT_EQ(request->GetReturnHandler(), kHandler);
    EXPECT_FALSE(request->IsCancelled());
    request->Cancel();
    EXPECT_TRUE(request->IsCancelled());
}

TEST(LongTimeoutRequest, CountsAbsoluteDeadlinesInMicroseconds)
{
    Held<ktEventLongTimeoutRequest> request;
    EXPECT_EQ(request->GetTimerType(), -1);
    request->Init(1, 5, kQueue, kHandler, 2);
    EXPECT_EQ(request->GetType(), 0x30000004U);
    EXPECT_EQ(request->GetFullTimeout(), 5000000);
    EXPECT_EQ(request->GetTimeout(), 5);
    EXPECT_EQ(request->GetTimerType(), 2);
    EXPECT_FALSE(request->IsRelativeTimer() || request->IsCancelled());
    request->Init(1, LLONG_MAX / 2, kQueue, kHandler, 0);
    EXPECT_EQ(request->GetFullTimeout(), LLONG_MAX) << "too far off to count becomes the farthest, not the past";
}

TEST(LongTimeoutRequest, CountsRelativeDeadlinesFromTheUptime)
{
    struct {
        int mSeconds;
        int mMicroseconds;
        long long mDuration;
    } const cases[] = {{3, 500000, 3500000}, {0, 0, 0}, {2, -1, 1999999}, {INT_MAX, INT_MAX, 2147485794483647LL}};
    for (auto const& aCase : cases) {
        Held<ktEventLongTimeoutRequest> request;
        const long long before = ktGetUptimeInMicroseconds();
        request->InitRelative(9, aCase.mSeconds, aCase.mMicroseconds, kQueue, kHandler, 1);
        EXPECT_GE(request->GetFullTimeout() - before, aCase.mDuration);
        EXPECT_LE(request->GetFullTimeout() - ktGetUptimeInMicroseconds(), aCase.mDuration);
        EXPECT_TRUE(request->IsRelativeTimer());
        EXPECT_EQ(request->GetTimerType(), 1);
    }
}

TEST(LongTimeoutRequest, ReportsANegativeDurationAndUsesNone)
{
    OutputTap tap;
    Held<ktEventLongTimeoutRequest> request;
    const long long before = ktGetUptimeInMicroseconds();
    request->InitRelative(9, 0, -1, kQueue, kHandler, 1);
    EXPECT_GE(request->GetFullTimeout(), before);
    EXPECT_LE(request->GetFullTimeout(), ktGetUptimeInMicroseconds());
    const std::string report = "(4) ASSERT: : duration >= 0, file: ktevent, line: 211\n";
    EXPECT_NE(tap.Text().find(report), std::string::npos) << tap.Text();
    EXPECT_EQ(tap.Writes(), 1);
}

TEST(SendTimeout, CancelsTheRequestThatItReplaces)
{
    ktTimer timer;
    ASSERT_EQ(timer.Init(), 0);
    ktEventQueue home;
    ktEventTimeoutRequest* timeout = nullptr;
    ASSERT_EQ(ktEventUtils::SendTimeout(timeout, 1, 50, &home, kHandler, &timer), 0);
    ASSERT_NE(timeout, nullptr);
    EXPECT_EQ(timeout->GetRefCount(), 2) << "the caller's and the queue's";
    EXPECT_EQ(timeout->GetTimeout(), PR_MillisecondsToInterval(50));
    ktEventTimeoutRequest* const first = timeout;
    ASSERT_EQ(ktEventUtils::SendTimeout(timeout, 2, 60, &home, kHandler, &timer), 0);
    ASSERT_NE(timeout, first);
    EXPECT_EQ(first->GetRefCount(), 1);

    ktEvent const* event = nullptr;
    ktIEventHandler* handler = kHandler;
    ASSERT_EQ(timer.Dequeue(&event, &handler), 0);
    EXPECT_EQ(event, first);
    EXPECT_EQ(handler, nullptr);
    EXPECT_TRUE(first->IsCancelled());
    event->Release();
    EXPECT_EQ(timer.Dequeue(), timeout);
    EXPECT_FALSE(timeout->IsCancelled());
    EXPECT_EQ(timeout->GetID(), 2);
    EXPECT_EQ(timeout->GetReturnQueue(), &home);
    timeout->Release();

    EXPECT_EQ(ktEventUtils::SendTimeout(timeout, 3, 60, &home, kHandler, nullptr), -5);
    EXPECT_FALSE(timeout->IsCancelled()) << "without a timer nothing changes";
    timeout->Release();
}

// The first allocation is the request's, the second the queue's: whichever fails, nothing is armed and nothing leaks.
TEST(SendTimeout, SurvivesFailureOfEveryAllocation)
{
    for (int n = 1;; ++n) {
        ktTimer timer;
        ASSERT_EQ(timer.Init(), 0);
        OutputTap tap;
        ktEventTimeoutRequest* timeout = new ktEventTimeoutRequest;
        timeout->AddRef();
        FailNthAllocation fail(n);
        const ktError result = ktEventUtils::SendTimeout(timeout, 1, 50, kQueue, kHandler, &timer);
        if (!fail.Fired()) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(n, 3);
            timeout->Release();
            break;
        }
        EXPECT_EQ(result, -2) << "allocation " << n;
        EXPECT_EQ(timeout, nullptr);
        EXPECT_TRUE(timer.IsEmpty());
        const std::string report = "ASSERT: : aTimeout != __null, file: ktevent-utils, line: 37\n";
        EXPECT_EQ(tap.Text().find(report) != std::string::npos, n == 1) << tap.Text();
    }
}

}  // namespace
