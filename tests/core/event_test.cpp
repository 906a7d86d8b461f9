// Events and the request for a short timeout.
#include "ktevent.h"

#include <gtest/gtest.h>
#include <prinrval.h>
#include <prprf.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <ctime>

#include "ktevent-utils.h"
#include "kttime.h"
#include "kttimer.h"
#include "support/allocation.h"
#include "support/output.h"

namespace {

timespec const* sUptime = nullptr;  // what the boot-time clock shows; null: the real one

ktEventQueue* const kQueue = reinterpret_cast<ktEventQueue*>(0x1000);          // never touched
ktIEventHandler* const kHandler = reinterpret_cast<ktIEventHandler*>(0x2000);  // never touched

/// Type, value, id and return address in one text, to be compared at a glance.
template <typename Request>
std::string Show(Request const& aRequest)
{
    char text[100];
    PR_snprintf(text, sizeof text, "%x %d #%d %p %p", aRequest.GetType(), aRequest.GetValue(), aRequest.GetID(),
                aRequest.GetReturnQueue(), aRequest.GetReturnHandler());
    return text;
}

}  // namespace

// Stands in front of the C library's.
extern "C" int clock_gettime(clockid_t aClock, timespec* aTime) noexcept
{
    if (aClock != CLOCK_BOOTTIME || sUptime == nullptr)
        return static_cast<int>(syscall(SYS_clock_gettime, aClock, aTime));
    *aTime = *sUptime;
    return 0;
}

namespace {

TEST(Event, CarriesWhatItWasGiven)
{
    ktEvent event;
    EXPECT_TRUE(event.GetType() == 0xFFFFFFFF && event.GetValue() == 0) << "no type until Init()";
    EXPECT_EQ(event.Init(0x30400007, -5), 0);
    EXPECT_TRUE(event.GetType() == 0x30400007 && event.GetValue() == -5);
    ktEventPtr carrier;
    EXPECT_EQ(carrier.GetPtr(), nullptr);
    int payload = 0;
    carrier.Init(0x30400001, 3, &payload);
    EXPECT_TRUE(carrier.GetPtr() == &payload && carrier.GetType() == 0x30400001 && carrier.GetValue() == 3);
    ktEventTimedOut timedOut;
    EXPECT_EQ(timedOut.GetID(), 0);
    timedOut.Init(12);
    EXPECT_TRUE(timedOut.GetType() == 0x30000003 && timedOut.GetValue() == 0 && timedOut.GetID() == 12);
    ktEventLongTimedOut longTimedOut;
    longTimedOut.Init(-1);
    EXPECT_TRUE(longTimedOut.GetType() == 0x30000005 && longTimedOut.GetValue() == 0 && longTimedOut.GetID() == -1);
    EXPECT_EQ(HandleNOOP(nullptr), 0);
}

// Called through a pointer that the compiler knows nothing about, as a careless owner would.
__attribute__((noinline, no_sanitize("undefined"))) void DestroyNull()
{
    static ktEvent* volatile sEvent = nullptr;
    ktEvent* const event = sEvent;
    event->ktEvent::Destroy();  // NOLINT(clang-analyzer-core.CallAndMessage)
}

TEST(Event, ToleratesDestructionOfNull) { DestroyNull(); }

TEST(TimeoutRequest, RunsFromItsInitialisationAndCanBeCancelled)
{
    ktEventTimeoutRequest request;
    EXPECT_EQ(Show(request), "ffffffff 0 #0 0 0");
    const PRIntervalTime before = PR_IntervalNow();
    request.Init(4, 250, kQueue, kHandler);
    EXPECT_LE(request.GetNow() - before, PR_IntervalNow() - before);
    EXPECT_EQ(Show(request), "30000002 0 #4 1000 2000");
    EXPECT_EQ(request.GetTimeout(), 250U);
    EXPECT_FALSE(request.IsCancelled());
    request.Cancel();
    EXPECT_TRUE(request.IsCancelled());
}

TEST(LongTimeoutRequest, CountsDeadlinesInMicroseconds)
{
    ktEventLongTimeoutRequest request;
    EXPECT_TRUE(request.GetTimerType() == -1 && !request.IsRelativeTimer() && request.GetFullTimeout() == 0);
    struct {
        long long mSeconds;
        long long mFull;
    } const absolutes[] = {{5, 5000000}, {-3, -3000000}, {LLONG_MAX / 2, LLONG_MAX}, {LLONG_MIN / 2, LLONG_MIN}};
    for (auto const& absolute : absolutes) {
        request.Init(7, absolute.mSeconds, kQueue, kHandler, 2);
        EXPECT_EQ(request.GetFullTimeout(), absolute.mFull) << "too far off to count becomes the farthest";
    }
    EXPECT_EQ(Show(request), "30000004 0 #7 1000 2000");
    EXPECT_TRUE(request.GetTimerType() == 2 && !request.IsRelativeTimer() && !request.IsCancelled());

    const timespec uptime = {1000, 1999999};  // 1,000.001999 s
    sUptime = &uptime;
    struct {
        int mSeconds;
        int mMicroseconds;
        long long mFull;
    } const relatives[] = {{0, 0, 1000001999},
                           {2, -1, 1002001998},
                           {1, 998000, 1001999999},
                           {INT_MAX, INT_MAX, 1000001999 + 2147485794483647}};
    for (auto const& relative : relatives) {
        request.InitRelative(9, relative.mSeconds, relative.mMicroseconds, kQueue, kHandler, 1);
        EXPECT_EQ(request.GetFullTimeout(), relative.mFull);
        EXPECT_EQ(request.GetTimeout(), relative.mFull / 1000000) << "cut, not rounded";
    }
    EXPECT_EQ(Show(request), "30000004 0 #9 1000 2000");
    EXPECT_TRUE(request.GetTimerType() == 1 && request.IsRelativeTimer());
    request.Cancel();
    EXPECT_TRUE(request.IsCancelled());

    OutputTap tap;
    request.InitRelative(9, 0, -1, kQueue, kHandler, 1);
    EXPECT_EQ(request.GetFullTimeout(), 1000001999) << "a negative duration counts as none";
    EXPECT_TRUE(tap.Has("(4) ASSERT: : duration >= 0, file: ktevent, line: 211\n")) << tap.mText;
    EXPECT_EQ(tap.mWrites, 1);
    sUptime = nullptr;
}

TEST(SendTimeout, CancelsTheRequestThatItReplaces)
{
    ktTimer timer;
    ASSERT_EQ(timer.Init(), 0);
    ktEventTimeoutRequest* timeout = nullptr;
    ASSERT_EQ(ktEventUtils::SendTimeout(timeout, 1, 50, kQueue, kHandler, &timer), 0);
    EXPECT_EQ(timeout->GetRefCount(), 2) << "the caller's and the queue's";
    EXPECT_EQ(timeout->GetTimeout(), PR_MillisecondsToInterval(50));
    ktEventTimeoutRequest* const first = timeout;
    ASSERT_EQ(ktEventUtils::SendTimeout(timeout, 2, 60, kQueue, kHandler, &timer), 0);
    EXPECT_TRUE(timeout != first && first->GetRefCount() == 1 && first->IsCancelled());
    EXPECT_EQ(ktEventUtils::SendTimeout(timeout, 3, 60, kQueue, kHandler, nullptr), -5);
    EXPECT_FALSE(timeout->IsCancelled()) << "without a timer nothing changes";
    EXPECT_EQ(Show(*timeout), "30000002 0 #2 1000 2000");
    EXPECT_EQ(timer.Dequeue(), first) << "posted without handler";
    first->Release();
    EXPECT_EQ(timer.Dequeue(), timeout);
    timeout->Release();
    timeout->Release();
}

// The first allocation is the request's, the second the queue's: whichever fails, nothing is armed and nothing leaks.
TEST(SendTimeout, SurvivesFailureOfEveryAllocation)
{
    for (int n = 1; n <= 3; ++n) {
        ktTimer timer;
        ASSERT_EQ(timer.Init(), 0);
        OutputTap tap;
        ktEventTimeoutRequest* timeout = new ktEventTimeoutRequest;
        timeout->AddRef();
        FailNthAllocation fail(n);
        const ktError result = ktEventUtils::SendTimeout(timeout, 1, 50, kQueue, kHandler, &timer);
        EXPECT_EQ(fail.Fired(), n < 3);
        EXPECT_EQ(result, n < 3 ? -2 : 0) << n;
        EXPECT_EQ(timeout == nullptr, n < 3);
        EXPECT_EQ(timer.IsEmpty(), n < 3);
        EXPECT_EQ(tap.Has("(4) ASSERT: : aTimeout != __null, file: ktevent-utils, line: 37\n"), n == 1) << tap.mText;
        if (timeout != nullptr)
            timeout->Release();
    }
}

}  // namespace
