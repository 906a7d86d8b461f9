// Publishers and their subscribers, alone and between threads.
#include "kteventpublisher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "ktlog.h"
#include "support/allocation.h"
#include "support/output.h"
#include "support/sum.h"

namespace {

/// Counts the events that somebody else holds, and adds up the values of the others.
struct Counter : ktIEventHandler {
    ktError HandleEvent(ktEvent const* aEvent) override
    {
        return aEvent->GetRefCount() > 1 ? ++mShared : mOwn += aEvent->GetType() == 7 ? aEvent->GetValue() : 0;
    }
    int mShared = 0, mOwn = 0;
};

TEST(Publisher, ServesByUnsignedAddressesUntilARoutineFails)
{
    const std::pair<long, long> order[] = {{16, -1}, {32, 0}, {32, 8}, {-2, 8}, {-1, 1}};  // addresses
    OutputTap tap;
    ktEventPublisher publisher;
    EXPECT_EQ(publisher.Init(nullptr), 0);
    for (auto const& [queue, handler] : {order[3], order[0], {0, 8}, order[4], order[2], order[1]})
        publisher.Subscribe(reinterpret_cast<ktEventQueue*>(queue), reinterpret_cast<ktIEventHandler*>(handler),
                            nullptr);
    std::vector<std::pair<long, long>> served;
    const auto serve = [&](ktIEventHandler* aHandler, ktEventQueue* aQueue) {
        served.emplace_back(reinterpret_cast<long>(aQueue), reinterpret_cast<long>(aHandler));
        return served.size() == 3 ? 42 : 0;
    };
    EXPECT_EQ(publisher.Publish(serve), 42);
    EXPECT_EQ(served, std::vector(order, order + 3));
    EXPECT_TRUE(tap.Has("ASSERT: : retval == 0, file: kteventpublisher, line: 179\n")) << tap.mText;
}

TEST(Publisher, KnowsASubscriberOnceAndLogsIt)
{
    ktEventPublisher publisher;
    for (char const* name : {"fan", static_cast<char const*>(nullptr)}) {
        OutputTap tap;
        ktEvent event;
        EXPECT_EQ(Sum({publisher.Publish(std::function<ktError(ktIEventHandler*, ktEventQueue*)>()),
                       publisher.Publish(nullptr, nullptr), publisher.Publish(nullptr), publisher.Publish(&event),
                       publisher.Subscribe(nullptr, nullptr, "a"), publisher.Unsubscribe(nullptr, nullptr),
                       publisher.PublishSimpleEvent(1, 1)}),
                  -7 - 7 - 5 - 4 * 9);
        EXPECT_TRUE(publisher.Init(name) == 0 && publisher.Unsubscribe(nullptr, nullptr) == -17 && tap.mText.empty());
        EXPECT_EQ(Sum({publisher.Subscribe(nullptr, nullptr, "a"), publisher.Init(name)}), 0) << "which keeps it";
        EXPECT_EQ(publisher.Subscribe(nullptr, nullptr, "b"), -18);
        const std::string lead = std::string("(2) event publisher: ") + (name != nullptr ? "fan: " : "");
        for (char const* rest : {"successfully subscribed \"a\"\n", "unsuccessfully subscribed \"b\"\n"})
            EXPECT_TRUE(tap.Has(lead + rest)) << tap.mText;
        publisher.Destroy();
    }
    ktEventSubscriber one(nullptr, nullptr, "one"), other(one);
    EXPECT_TRUE((other = *&other) == one && std::string("one") == other.GetIdentifier());
    FailNthAllocation fail(1);
    EXPECT_STREQ((other = one).GetIdentifier(), "") << "nothing else needs memory";
}

// Each allocation fails once: one call fails and says so, and then everything works.
TEST(Publisher, PostsOneEventToAllOrOneToEachWhateverFailedBefore)
{
    ktEventQueue queue;
    ASSERT_EQ(Sum({queue.Init(), queue.Exit(), queue.Dequeue()->Release()}), 0) << "NSPR has what it needs";
    bool fired = true;
    for (int n = 1; fired; ++n) {
        OutputTap tap;
        Counter counters[5];
        ktEvent event;
        ktEventPublisher publisher;
        FailNthAllocation fail(n);
        const ktError initialised = publisher.Init("fan");
        int failed = initialised != 0 ? 1 : 0;
        for (Counter& counter : counters)
            failed += publisher.Subscribe(&queue, &counter, "counter") == -2 ? 1 : 0;
        const ktError published = publisher.PublishSimpleEvent(7, 1);
        failed += published == -2 ? 1 : 0;
        fired = fail.Fired();
        EXPECT_TRUE(failed == (fired ? 1 : 0) && tap.Has("(4) event publisher: ") == fired) << n << tap.mText;
        EXPECT_EQ(tap.Has("ASSERT: : mLock != __null, file: kteventpublisher, line: 49\n"), initialised == -7);
        EXPECT_EQ(tap.Has("ASSERT: : retval == 0, file: kteventpublisher, line: 149\n"), published == -2);
        EXPECT_EQ(Sum({publisher.Init("fan"), event.AddRef()}), 1);
        for (Counter& counter : counters)
            publisher.Subscribe(&queue, &counter, "counter");
        EXPECT_EQ(Sum({publisher.PublishSimpleEvent(7, 1), publisher.Publish(&event), event.GetRefCount()}), 6);
        EXPECT_TRUE(queue.Dequeue() == nullptr && event.GetRefCount() == 1);
        for (Counter const& counter : counters)
            EXPECT_TRUE(counter.mShared == 1 && (counter.mOwn == 2 || (fired && counter.mOwn == 1))) << n;
    }
}

TEST(Publisher, LosesNothingBetweenEightThreadsThatSubscribePublishAndUnsubscribe)
{
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityNone);
    ktEventPublisher publisher;
    ktEventQueue queues[2];
    EXPECT_EQ(Sum({publisher.Init("fan"), queues[0].Init(), queues[1].Init()}), 0);
    Counter counters[9];
    ktEvent events[8];
    ktError failures[8] = {};
    std::thread threads[8];
    for (int i = 0; i < 8; ++i)
        threads[i] = std::thread([&, i, own = &counters[i], event = &events[i], queue = &queues[i % 2]] {
            event->AddRef();
            for (int round = 0; round < 1000; ++round) {
                publisher.Subscribe(queues, &counters[8], "everybody's");
                failures[i] += Sum({publisher.Subscribe(queue, own, "own"), publisher.Publish(event),
                                    publisher.PublishSimpleEvent(7, 1), publisher.Unsubscribe(queue, own)});
                publisher.Unsubscribe(queues, &counters[8]);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(publisher.Unsubscribe(queues, &counters[8]), -17);
    EXPECT_TRUE(queues[0].Dequeue() == nullptr && queues[1].Dequeue() == nullptr);
    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE(failures[i] == 0 && events[i].GetRefCount() == 1 &&
                    std::min(counters[i].mShared, counters[i].mOwn) >= 1000);
    ktSetLogPriority(kLogFileTypeGeneric, kLogPriorityDebug);
}

}  // namespace
