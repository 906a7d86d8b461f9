// The event queue, alone and between threads.
#include "kteventqueue.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <private/pprio.h>
#include <prprf.h>
#include <prthread.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>
#include <vector>

#include "support/allocation.h"
#include "support/output.h"

namespace {

constexpr unsigned int kType = 0x30400001;

ktEvent* NewEvent(int aValue)
{
    ktEvent* const event = new ktEvent;
    event->Init(kType, aValue);
    return event;
}

/// Remembers the values of the events that it handled, and answers the value 100 with a post of its own.
struct Recorder : ktIEventHandler {
    ktError HandleEvent(ktEvent const* aEvent) override
    {
        mValues.push_back(aEvent->GetValue());
        if (aEvent->GetValue() == 100)
            mQueue->Enqueue(NewEvent(101), this);
        return -1;  // which queues ignore
    }
    std::vector<int> mValues;
    ktEventQueue* mQueue = nullptr;
};

int ReadEnd(ktEventQueue& aQueue) { return PR_FileDesc2NativeHandle(aQueue.GetPoller()); }

/// How many times the queue was signalled and not yet waited for.
int PendingSignals(ktEventQueue& aQueue)
{
    int bytes = 0;
    EXPECT_EQ(ioctl(ReadEnd(aQueue), FIONREAD, &bytes), 0);
    return bytes;
}

int Poll(ktEventQueue& aQueue, PRIntervalTime aTimeout)
{
    PRPollDesc poll = {aQueue.GetPoller(), PR_POLL_READ, 0};
    const int ready = PR_Poll(&poll, 1, aTimeout);
    EXPECT_TRUE(ready <= 0 || poll.out_flags == PR_POLL_READ);
    return ready;
}

/// A queue that works, and a handler.
class EventQueue : public testing::Test {
protected:
    EventQueue()
    {
        EXPECT_EQ(mQueue.Init(), 0);
        mRecorder.mQueue = &mQueue;
    }
    ktEventQueue mQueue;
    Recorder mRecorder;
};

TEST_F(EventQueue, DispatchesInOrderAndHandsBackWhatHasNoHandler)
{
    EXPECT_TRUE(mQueue.IsEmpty());
    for (int value : {1, 100, 3, 4})
        EXPECT_EQ(mQueue.Enqueue(NewEvent(value), value == 3 ? nullptr : &mRecorder), 0);
    EXPECT_EQ(mQueue.Exit(), 0);
    ktEvent const* event = mQueue.Dequeue();
    EXPECT_EQ(event->GetValue(), 3);
    EXPECT_EQ(event->Release(), 0) << "the caller's was the only reference";
    EXPECT_EQ(mRecorder.mValues, (std::vector<int>{1, 100}));
    EXPECT_FALSE(mQueue.IsEmpty());
    event = mQueue.Dequeue();
    EXPECT_EQ(event->GetType(), 0x30000001U);
    event->Release();
    EXPECT_EQ(mQueue.Dequeue(), nullptr);
    EXPECT_EQ(mRecorder.mValues, (std::vector<int>{1, 100, 4, 101})) << "a handler may post to its own queue";

    mQueue.Enqueue(NewEvent(5), &mRecorder);
    mQueue.Enqueue(NewEvent(6), &mRecorder);
    ktIEventHandler* handler = nullptr;
    EXPECT_EQ(mQueue.Dequeue(&event, &handler), 0);
    EXPECT_TRUE(handler == &mRecorder && event->GetValue() == 5);
    event->Release();
    EXPECT_EQ(mQueue.Dequeue(nullptr, &handler), -5);
    EXPECT_EQ(mQueue.Dequeue(&event, nullptr), 0);
    EXPECT_EQ(event->GetValue(), 6);
    event->Release();
    EXPECT_EQ(mQueue.Dequeue(&event, &handler), -17);
    EXPECT_TRUE(event == nullptr && handler == nullptr && mRecorder.mValues.size() == 4);
}

TEST_F(EventQueue, OwnsOneReferenceFromPostToRelease)
{
    ktEvent* const event = NewEvent(1);
    event->AddRef();
    {
        ktEventQueue queue;
        OutputTap tap;
        EXPECT_EQ(queue.Enqueue(event, nullptr), -9);
        EXPECT_EQ(event->GetRefCount(), 1) << "refused";
        EXPECT_TRUE(tap.Has(" refused event of type 0x30400001 (error -9)\n")) << tap.mText;
        ktEvent const* taken = event;
        EXPECT_EQ(queue.Dequeue(&taken, nullptr), -9);
        EXPECT_TRUE(taken == nullptr && queue.IsEmpty());
        EXPECT_EQ(queue.Init(), 0);
        EXPECT_EQ(queue.Init(), -3);
        queue.Enqueue(event, &mRecorder);
        queue.Enqueue(event, nullptr);
        EXPECT_EQ(event->GetRefCount(), 3) << "posted twice";
        EXPECT_EQ(queue.Dequeue(), event);
        EXPECT_EQ(event->Release(), 1) << "one dispatched, one handed over";
        for (int i = 0; i < 200; ++i)
            queue.Enqueue(event, &mRecorder);
        EXPECT_EQ(event->GetRefCount(), 201);
    }
    EXPECT_EQ(event->Release(), 0) << "a destroyed queue releases what is left in it";
}

std::string sStates;  // 'b' and 'i' for what a callback heard, 'x' for an event that died after the poller
std::thread sIntruder;

void NoteState(ktEventQueue* aQueue, ktBOOL aBusy)
{
    sStates += aBusy != 0 ? 'b' : 'i';
    if (sStates != "b")
        return;
    EXPECT_EQ(PendingSignals(*aQueue), 0) << "the owner is woken afterwards";
    static std::atomic<bool> sGotIn{false};
    sIntruder = std::thread([aQueue] {
        aQueue->IsEmpty();
        sGotIn = true;
    });
    for (int i = 0; i < 200; ++i)
        std::this_thread::yield();
    EXPECT_FALSE(sGotIn) << "the lock is held";
}

struct Mourned : ktEvent {
    ~Mourned() override { sStates += mQueue->GetPoller() == nullptr ? 'x' : '?'; }
    ktEventQueue* mQueue = nullptr;
};

TEST_F(EventQueue, ReportsOnlyTheTurnsBetweenBusyAndIdle)
{
    sStates.clear();
    {
        ktEventQueue queue;
        EXPECT_EQ(queue.Init(NoteState), 0);
        EXPECT_EQ(queue.Init(nullptr), -3) << "which leaves the callback alone";
        for (int i = 0; i < 3; ++i)
            queue.Enqueue(NewEvent(i), &mRecorder);
        EXPECT_EQ(sStates, "b");
        sIntruder.join();
        queue.Dequeue();
        queue.Dequeue();
        EXPECT_EQ(sStates, "bi");
        for (int i = 0; i < 2; ++i) {
            Mourned* const event = new Mourned;
            event->mQueue = &queue;
            queue.Enqueue(event, &mRecorder);
        }
    }
    EXPECT_EQ(sStates, "bibxxi") << "destroyed while busy";
    EXPECT_EQ(mRecorder.mValues.size(), 3U) << "no handler is called for what is left";
    EXPECT_EQ(ktEventQueue().Init(NoteState), 0);
    EXPECT_EQ(sStates, "bibxxi") << "destroyed while idle";
}

TEST_F(EventQueue, RaisesOneSignalForABurst)
{
    EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), 0);
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 150; ++i)
            mQueue.Enqueue(NewEvent(0), &mRecorder);
        EXPECT_EQ(PendingSignals(mQueue), 1);
        EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_TIMEOUT), 1);
        ASSERT_EQ(PR_WaitForPollableEvent(mQueue.GetPoller()), PR_SUCCESS);
        EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), 0) << "the signal is consumed";
        EXPECT_EQ(mQueue.Dequeue(), nullptr);
    }
    EXPECT_EQ(mRecorder.mValues.size(), 450U);
    // An owner that drains without waiting finds a signal for each time the queue was empty, but never a full pipe.
    for (int i = 0; i < 70000; ++i) {
        mQueue.Enqueue(NewEvent(0), &mRecorder);
        mQueue.Dequeue();
        ASSERT_TRUE(i > 2 || PendingSignals(mQueue) == i + 1);
    }
    EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), 1);
    PR_WaitForPollableEvent(mQueue.GetPoller());
    EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), 0) << "one wait takes them all";
}

TEST_F(EventQueue, WakesItsOwnerThoughASignalFailed)
{
    PR_Interrupt(PR_GetCurrentThread());
    EXPECT_EQ(mQueue.Enqueue(NewEvent(1), nullptr), 0);
    EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), -1) << "the interrupt is still pending";
    EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), 1);
    PR_WaitForPollableEvent(mQueue.GetPoller());
    mQueue.Dequeue()->Release();
    OutputTap tap;
    tap.mDescriptor = ReadEnd(mQueue) + 1;
    tap.mPlan = {-ENOMEM};
    EXPECT_EQ(mQueue.Enqueue(NewEvent(1), nullptr), 0);
    EXPECT_EQ(tap.mWrites, 1);
    tap.mDescriptor = -1;
    EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), 0);
    EXPECT_EQ(mQueue.Enqueue(NewEvent(2), nullptr), 0);
    EXPECT_EQ(Poll(mQueue, PR_INTERVAL_NO_WAIT), 1) << "made up for by the next post";
    EXPECT_EQ(mQueue.Enqueue(NewEvent(3), nullptr), 0);
    EXPECT_EQ(PendingSignals(mQueue), 1);
}

// A queue that is always busy answers polls from memory, but must not hide the thread's other descriptors for long.
TEST_F(EventQueue, LetsTheOtherDescriptorsOfAPollBeSeen)
{
    ktEventQueue other;
    EXPECT_EQ(other.Init(), 0);
    mQueue.Enqueue(NewEvent(1), nullptr);
    ASSERT_EQ(write(ReadEnd(other) + 1, "x", 1), 1);  // what the other's memory does not know
    int seen = 0;
    for (int pass = 0; pass < 64; ++pass) {
        PRPollDesc polls[] = {{mQueue.GetPoller(), PR_POLL_READ | PR_POLL_WRITE, 0},
                              {other.GetPoller(), PR_POLL_READ, 0}};
        ASSERT_GE(PR_Poll(polls, 2, PR_INTERVAL_NO_TIMEOUT), 1);
        EXPECT_NE(polls[0].out_flags & PR_POLL_READ, 0);
        seen += polls[1].out_flags == PR_POLL_READ ? 1 : 0;
    }
    EXPECT_EQ(seen, 4);
}

/// The flags of the low descriptors, -1 for those that are not open.
std::vector<int> DescriptorFlags()
{
    std::vector<int> flags;
    for (int descriptor = 0; descriptor < 64; ++descriptor)
        flags.push_back(fcntl(descriptor, F_GETFD));
    return flags;
}

TEST_F(EventQueue, ClosesItsDescriptorsOnExecAndWhenDestroyed)
{
    int fillers[8];
    for (int& filler : fillers)
        filler = open("/dev/null", O_RDONLY | O_CLOEXEC);
    for (int gap : {7, 0}) {  // between the pipe's two ends, from the second round on
        close(fillers[gap]);
        const std::vector<int> before = DescriptorFlags();
        auto queue = std::make_unique<ktEventQueue>();
        ASSERT_EQ(queue->Init(), 0);
        const std::vector<int> during = DescriptorFlags();
        int found = 0;
        for (std::size_t descriptor = 0; descriptor < before.size(); ++descriptor)
            if (before[descriptor] < 0 && during[descriptor] >= 0)
                found += (during[descriptor] & FD_CLOEXEC) != 0 ? 1 : 100;
        EXPECT_EQ(found, 2);
        queue.reset();
        EXPECT_EQ(DescriptorFlags(), before);
    }
    for (int& filler : fillers)
        close(filler);
}

// On a thread of its own each time, since NSPR needs memory to know a thread, which it does when a queue is
// initialised, or else when the thread first posts.
TEST_F(EventQueue, SurvivesFailureOfEveryAllocation)
{
    for (bool initialisesToo : {true, false}) {
        int initFailures = 0;
        int postFailures = 0;
        bool fired = true;
        for (int n = 1; fired; ++n) {
            OutputTap tap;
            ktEventQueue queue;
            ktError initialised = initialisesToo ? 0 : queue.Init();
            ktError posted = 0;
            std::thread([&] {
                FailNthAllocation fail(n);
                initialised = initialisesToo ? queue.Init() : 0;
                if (initialised != 0)
                    queue.Init();  // what was created is kept, what is missing is made up for
                posted = queue.Exit() + queue.Exit();
                fired = fail.Fired();
            }).join();
            initFailures += initialised == -2 ? 1 : 0;
            postFailures += posted == -2 ? 1 : 0;
            char who[80];
            PR_snprintf(who, sizeof who, "(4) kteventqueue: event queue %p ", &queue);
            EXPECT_TRUE(posted == 0 || tap.Has(std::string(who) + "failed to allocate exit event\n") ||
                        tap.Has(std::string(who) + "refused event of type 0x30000001 (error -2)\n"))
                << n << tap.mText;
            EXPECT_EQ(Poll(queue, PR_INTERVAL_NO_WAIT), 1) << "whoever was refused, another was not";
            for (int i = posted == -2 ? 1 : 2; i-- > 0;)
                queue.Dequeue()->Release();
            EXPECT_EQ(queue.Dequeue(), nullptr);
        }
        EXPECT_GE(initFailures, initialisesToo ? 4 : 0);
        EXPECT_GE(postFailures, initialisesToo ? 3 : 4) << "two events, the block that holds them, and NSPR's";
    }
}

TEST(FirstEventQueue, MayFailWithoutSpoilingTheNext)
{
    PR_DestroyPollableEvent(PR_NewPollableEvent());  // NSPR's own initialisation does not survive a lack of memory
    for (int n = 1; n <= 20; ++n) {
        const pid_t child = fork();
        if (child == 0) {
            FailNthAllocation fail(n);
            ktEventQueue first;
            first.Init();
            fail.Fired();
            ktEventQueue second;
            _exit(second.Init() == 0 ? 0 : 1);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << n;
    }
}

/// Checks that each producer's events arrive once and in order.
class Gatherer : public ktIEventHandler {
public:
    ktError HandleEvent(ktEvent const* aEvent) override
    {
        mInOrder = mInOrder && aEvent->GetValue() == mNext[aEvent->GetType() - kType]++;
        ++mCount;
        return 0;
    }
    int mNext[8] = {};
    int mCount = 0;
    bool mInOrder = true;
};

TEST_F(EventQueue, LosesAndDoublesNothingBetweenEightProducersAndTheirOwner)
{
    constexpr int kEach = 125000;
    Gatherer gatherer;
    std::vector<std::thread> producers;
    for (unsigned int producer = 0; producer < 8; ++producer)
        producers.emplace_back([&, producer] {
            for (int value = 0; value < kEach; ++value) {
                ktEvent* const event = new ktEvent;
                event->Init(kType + producer, value);
                mQueue.Enqueue(event, &gatherer);
            }
        });
    while (gatherer.mCount < 8 * kEach) {
        ASSERT_EQ(Poll(mQueue, PR_SecondsToInterval(120)), 1) << "after " << gatherer.mCount << " events";
        PR_WaitForPollableEvent(mQueue.GetPoller());
        EXPECT_EQ(mQueue.Dequeue(), nullptr);
    }
    for (std::thread& producer : producers)
        producer.join();
    EXPECT_TRUE(mQueue.IsEmpty() && gatherer.mInOrder && gatherer.mCount == 8 * kEach);
}

}  // namespace
