// The event queue, alone and between threads.
#include "kteventqueue.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <private/pprio.h>
#include <prprf.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <vector>

#include "support/allocation.h"
#include "support/output.h"

namespace {

constexpr unsigned int kType = 0x30400001;

/// Remembers the values of the events that it handled.
class Recorder : public ktIEventHandler {
public:
    ktError HandleEvent(ktEvent const* aEvent) override
    {
        mValues.push_back(aEvent->GetValue());
        EXPECT_GE(aEvent->GetRefCount(), 1);
        return -1;  // which queues ignore
    }
    std::vector<int> mValues;
};

ktEvent* NewEvent(int aValue)
{
    ktEvent* const event = new ktEvent;
    event->Init(kType, aValue);
    return event;
}

/// How many times the queue was signalled and not yet waited for.
int PendingSignals(ktEventQueue& aQueue)
{
    int bytes = 0;
    EXPECT_EQ(ioctl(PR_FileDesc2NativeHandle(aQueue.GetPoller()), FIONREAD, &bytes), 0);
    return bytes;
}

int Poll(ktEventQueue& aQueue, PRIntervalTime aTimeout)
{
    PRPollDesc poll = {aQueue.GetPoller(), PR_POLL_READ, 0};
    const int ready = PR_Poll(&poll, 1, aTimeout);
    EXPECT_TRUE(ready <= 0 || poll.out_flags == PR_POLL_READ);
    return ready;
}

TEST(EventQueue, DispatchesInOrderAndHandsBackWhatHasNoHandler)
{
    ktEventQueue queue;
    ASSERT_EQ(queue.Init(), 0);
    Recorder recorder;
    EXPECT_TRUE(queue.IsEmpty());
    for (int value = 1; value <= 4; ++value)
        ASSERT_EQ(queue.Enqueue(NewEvent(value), value == 3 ? nullptr : &recorder), 0);
    ASSERT_EQ(queue.Exit(), 0);

    ktEvent const* event = queue.Dequeue();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->GetValue(), 3);
    EXPECT_EQ(event->Release(), 0) << "the caller's was the only reference";
    EXPECT_EQ(recorder.mValues, (std::vector<int>{1, 2}));
    EXPECT_FALSE(queue.IsEmpty());
    event = queue.Dequeue();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->GetType(), 0x30000001U);
    event->Release();
    EXPECT_EQ(recorder.mValues, (std::vector<int>{1, 2, 4}));
    EXPECT_EQ(queue.Dequeue(), nullptr);
}

TEST(EventQueue, TakesWithoutDispatching)
{
    ktEventQueue queue;
    ASSERT_EQ(queue.Init(), 0);
    Recorder recorder;
    queue.Enqueue(NewEvent(1), &recorder);
    queue.Enqueue(NewEvent(2), &recorder);
    ktEvent const* event = nullptr;
    ktIEventHandler* handler = nullptr;
    ASSERT_EQ(queue.Dequeue(&event, &handler), 0);
    EXPECT_EQ(handler, &recorder);
    EXPECT_EQ(event->GetValue(), 1);
    event->Release();
    EXPECT_EQ(queue.Dequeue(nullptr, &handler), -5);
    ASSERT_EQ(queue.Dequeue(&event, nullptr), 0);
    EXPECT_EQ(event->GetValue(), 2);
    event->Release();
    EXPECT_EQ(queue.Dequeue(&event, &handler), -17);
    EXPECT_EQ(event, nullptr);
    EXPECT_EQ(handler, nullptr);
    EXPECT_TRUE(recorder.mValues.empty());
}

TEST(EventQueue, OwnsOneReferenceFromPostToRelease)
{
    ktEvent* const event = NewEvent(1);
    event->AddRef();
    {
        ktEventQueue uninitialised;
        OutputTap tap;
        EXPECT_EQ(uninitialised.Enqueue(event, nullptr), -9);
        EXPECT_EQ(event->GetRefCount(), 1) << "refused";
        EXPECT_NE(tap.Text().find("refused event of type 0x30400001 (error -9)\n"), std::string::npos) << tap.Text();
        ktEvent const* taken = event;
        EXPECT_EQ(uninitialised.Dequeue(&taken, nullptr), -9);
        EXPECT_EQ(taken, nullptr);
        EXPECT_TRUE(uninitialised.IsEmpty());

        ktEventQueue queue;
        ASSERT_EQ(queue.Init(), 0);
        EXPECT_EQ(queue.Init(), -3);
        Recorder recorder;
        queue.Enqueue(event, &recorder);
        queue.Enqueue(event, nullptr);
        EXPECT_EQ(event->GetRefCount(), 3) << "posted twice";
        EXPECT_EQ(queue.Dequeue(), event);
        EXPECT_EQ(event->GetRefCount(), 2) << "one dispatched, one handed over";
        event->Release();
        for (int i = 0; i < 200; ++i)
            queue.Enqueue(event, &recorder);
        EXPECT_EQ(event->GetRefCount(), 201);
        recorder.mValues.clear();
    }
    EXPECT_EQ(event->GetRefCount(), 1) << "a destroyed queue releases what is left in it";
    EXPECT_EQ(event->Release(), 0);
}

struct StateLog {
    static void Note(ktEventQueue* aQueue, ktBOOL aBusy)
    {
        sQueue = aQueue;
        sStates += aBusy ? 'b' : 'i';
    }
    static ktEventQueue* sQueue;
    static std::string sStates;
};
ktEventQueue* StateLog::sQueue = nullptr;
std::string StateLog::sStates;

TEST(EventQueue, ReportsOnlyTheTurnsBetweenBusyAndIdle)
{
    StateLog::sStates.clear();
    Recorder recorder;
    {
        ktEventQueue queue;
        ASSERT_EQ(queue.Init(StateLog::Note), 0);
        EXPECT_EQ(queue.Init(nullptr), -3) << "which leaves the callback alone";
        for (int i = 0; i < 3; ++i)
            queue.Enqueue(NewEvent(i), &recorder);
        EXPECT_EQ(StateLog::sStates, "b");
        EXPECT_EQ(StateLog::sQueue, &queue);
        queue.Dequeue();
        queue.Dequeue();
        EXPECT_EQ(StateLog::sStates, "bi");
        queue.Enqueue(NewEvent(0), &recorder);
        queue.Enqueue(NewEvent(0), &recorder);
        recorder.mValues.clear();
    }
    EXPECT_EQ(StateLog::sStates, "bibi") << "destroyed while busy";
    EXPECT_TRUE(recorder.mValues.empty()) << "no handler is called for what is left";
    {
        ktEventQueue queue;
        ASSERT_EQ(queue.Init(StateLog::Note), 0);
    }
    EXPECT_EQ(StateLog::sStates, "bibi") << "destroyed while idle";
}

TEST(EventQueue, RaisesOneSignalForABurst)
{
    ktEventQueue queue;
    ASSERT_EQ(queue.Init(), 0);
    Recorder recorder;
    EXPECT_EQ(Poll(queue, PR_INTERVAL_NO_WAIT), 0);
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 150; ++i)
            queue.Enqueue(NewEvent(i), &recorder);
        EXPECT_EQ(PendingSignals(queue), 1);
        EXPECT_EQ(Poll(queue, PR_INTERVAL_NO_TIMEOUT), 1);
        ASSERT_EQ(PR_WaitForPollableEvent(queue.GetPoller()), PR_SUCCESS);
        EXPECT_EQ(Poll(queue, PR_INTERVAL_NO_WAIT), 0) << "the signal is consumed";
        EXPECT_EQ(queue.Dequeue(), nullptr);
    }
    EXPECT_EQ(recorder.mValues.size(), 450U);
    // A drained queue may still be signalled, once for each time that it was empty; one wait takes all of them.
    for (int i = 0; i < 3; ++i) {
        queue.Enqueue(NewEvent(i), &recorder);
        queue.Dequeue();
    }
    EXPECT_EQ(PendingSignals(queue), 3);
    EXPECT_EQ(Poll(queue, PR_INTERVAL_NO_WAIT), 1);
    PR_WaitForPollableEvent(queue.GetPoller());
    EXPECT_EQ(Poll(queue, PR_INTERVAL_NO_WAIT), 0);
}

// A queue that is always busy answers polls from memory, but must not hide the thread's other descriptors for long.
TEST(EventQueue, LetsTheOtherDescriptorsOfAPollBeSeen)
{
    ktEventQueue busy;
    ASSERT_EQ(busy.Init(), 0);
    busy.Enqueue(NewEvent(1), nullptr);
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    PRFileDesc* const other = PR_ImportPipe(ends[0]);
    int seen = 0;
    for (int pass = 0; pass < 64; ++pass) {
        PRPollDesc polls[] = {{busy.GetPoller(), PR_POLL_READ, 0}, {other, PR_POLL_READ, 0}};
        ASSERT_GE(PR_Poll(polls, 2, PR_INTERVAL_NO_TIMEOUT), 1);
        EXPECT_EQ(polls[0].out_flags, PR_POLL_READ);
        seen += polls[1].out_flags == PR_POLL_READ ? 1 : 0;
    }
    EXPECT_EQ(seen, 4);
    PR_Close(other);
    close(ends[1]);
}

/// The flags of the low descriptors, -1 for those that are not open.
std::vector<int> DescriptorFlags()
{
    std::vector<int> flags;
    for (int descriptor = 0; descriptor < 64; ++descriptor)
        flags.push_back(fcntl(descriptor, F_GETFD));
    return flags;
}

TEST(EventQueue, ClosesItsDescriptorsOnExecAndWhenDestroyed)
{
    const std::vector<int> before = DescriptorFlags();
    auto queue = std::make_unique<ktEventQueue>();
    ASSERT_EQ(queue->Init(), 0);
    const std::vector<int> during = DescriptorFlags();
    int found = 0;
    for (std::size_t descriptor = 0; descriptor < before.size(); ++descriptor) {
        if (before[descriptor] >= 0 || during[descriptor] < 0)
            continue;
        ++found;
        EXPECT_TRUE((during[descriptor] & FD_CLOEXEC) != 0) << descriptor;
    }
    EXPECT_EQ(found, 2);
    queue.reset();
    EXPECT_EQ(DescriptorFlags(), before);
}

TEST(EventQueue, SurvivesFailureOfEveryAllocation)
{
    {
        ktEventQueue warmUp;
        EXPECT_EQ(warmUp.Init(), 0);
    }  // what NSPR keeps for good, it has now
    int initFailures = 0;
    int postFailures = 0;
    for (int n = 1;; ++n) {
        OutputTap tap;
        ktEventQueue queue;
        FailNthAllocation fail(n);
        const ktError initialised = queue.Init();
        if (initialised != 0) {
            EXPECT_EQ(initialised, -2);
            EXPECT_EQ(queue.Init(), 0) << "what was created is kept, what is missing is made up for";
            ++initFailures;
            continue;
        }
        const ktError exited = queue.Exit();
        const ktError exitedAgain = queue.Exit();
        if (!fail.Fired())
            break;
        ++postFailures;
        EXPECT_EQ(exited + exitedAgain, -2) << "one fails, the other does not care";
        char who[80];
        PR_snprintf(who, sizeof who, "(4) kteventqueue: event queue %p", &queue);
        const std::string text = tap.Text();
        EXPECT_TRUE(text.find(std::string(who) + " failed to allocate exit event\n") != std::string::npos ||
                    text.find(std::string(who) + " refused event of type 0x30000001 (error -2)\n") != std::string::npos)
            << text;
        ktEvent const* const event = queue.Dequeue();
        ASSERT_NE(event, nullptr);
        event->Release();
        EXPECT_EQ(queue.Dequeue(), nullptr);
    }
    EXPECT_GE(initFailures, 4);
    EXPECT_EQ(postFailures, 3) << "two events, and the block that holds them";
}

/// Checks that each producer's events arrive once and in order, and puts an end to it.
class Gatherer : public ktIEventHandler {
public:
    explicit Gatherer(int aProducers) : mNext(static_cast<std::size_t>(aProducers))
    {
    }
    ktError HandleEvent(ktEvent const* aEvent) override
    {
        const std::size_t producer = aEvent->GetType() - kType;
        mInOrder = mInOrder && aEvent->GetValue() == mNext[producer];
        ++mNext[producer];
        ++mCount;
        return 0;
    }
    std::vector<int> mNext;
    int mCount = 0;
    bool mInOrder = true;
};

TEST(EventQueue, LosesAndDoublesNothingBetweenEightProducersAndTheirOwner)
{
    constexpr int kProducers = 8;
    constexpr int kEach = 125000;
    ktEventQueue queue;
    ASSERT_EQ(queue.Init(), 0);
    Gatherer gatherer(kProducers);
    std::vector<std::thread> producers;
    for (int producer = 0; producer < kProducers; ++producer)
        producers.emplace_back([&, producer] {
            for (int value = 0; value < kEach; ++value) {
                ktEvent* const event = new ktEvent;
                event->Init(kType + static_cast<unsigned int>(producer), value);
                queue.Enqueue(event, &gatherer);
            }
        });
    while (gatherer.mCount < kProducers * kEach) {
        ASSERT_EQ(Poll(queue, PR_SecondsToInterval(120)), 1) << "after " << gatherer.mCount << " events";
        PR_WaitForPollableEvent(queue.GetPoller());
        EXPECT_EQ(queue.Dequeue(), nullptr);
    }
    for (std::thread& producer : producers)
        producer.join();
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(gatherer.mCount, kProducers * kEach);
    EXPECT_TRUE(gatherer.mInOrder);
}

}  // namespace
