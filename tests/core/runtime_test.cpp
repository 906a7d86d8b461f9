// Reference counting, lists, the three-valued boolean, scheduling, and how names are exported.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "ktlist.h"
#include "ktrefcount.h"
#include "ktthread.h"
#include "kttribool.h"
#include "support/output.h"

namespace {

/// Tells when it dies.
class Shared : public ktRefCount {
public:
    explicit Shared(int& aDeaths) : mDeaths(aDeaths) { }
    void Destroy() override
    {
        ++mDeaths;
        delete this;
    }

private:
    int& mDeaths;
};

int sPolicy = 0;
int sPriority = 0;
int sSchedulingResult = 0;

}  // namespace

// These stand in front of the C library's: no test changes its own scheduling.
extern "C" {
int sched_get_priority_max(int aPolicy) noexcept { return aPolicy == SCHED_FIFO ? 97 : 99; }
int sched_get_priority_min(int /*aPolicy*/) noexcept { return 1; }
int sched_setscheduler(pid_t aThread, int aPolicy, sched_param const* aParameters) noexcept
{
    EXPECT_EQ(aThread, 0);
    sPolicy = aPolicy;
    sPriority = aParameters->sched_priority;
    return sSchedulingResult;
}
}

namespace {

TEST(RefCount, StartsAtZeroAndDiesOnceWithTheLastReference)
{
    int deaths = 0;
    Shared const* const shared = new Shared(deaths);
    EXPECT_EQ(shared->GetRefCount(), 0);
    EXPECT_EQ(shared->AddRef(), 1);
    EXPECT_EQ(shared->AddRef(), 2);
    EXPECT_EQ(shared->Release(), 1);
    std::atomic<int> ready{0};
    const auto useIt = [&] {
        ++ready;
        while (ready < 2)
            std::this_thread::yield();
        for (int i = 0; i < 1000000; ++i) {
            shared->AddRef();
            shared->Release();
        }
    };
    std::thread other(useIt);
    useIt();
    other.join();
    EXPECT_EQ(shared->GetRefCount(), 1) << "no count was lost between threads";
    EXPECT_EQ(deaths, 0);
    EXPECT_EQ(shared->Release(), 0);
    EXPECT_EQ(deaths, 1);
}

TEST(RefCountSharedPtr, HoldsOneReferenceThroughEveryChange)
{
    int deaths = 0;
    Shared* const first = new Shared(deaths);
    Shared* const second = new Shared(deaths);
    {
        ktRefCountSharedPtr empty(nullptr);
        EXPECT_TRUE(ktRefCountSharedPtr(empty) == nullptr && empty == ktRefCountSharedPtr());
        ktRefCountSharedPtr holder(first);
        holder.Set(first);  // the last reference, set again
        EXPECT_EQ(first->GetRefCount(), 1);
        ktRefCountSharedPtr copy(holder);
        EXPECT_EQ(first->GetRefCount(), 2);
        EXPECT_TRUE(copy == holder && copy == first && *copy == first && copy.operator->() == first);
        copy.Set(second);
        EXPECT_TRUE(copy != holder && copy != first && first->GetRefCount() == 1);
        ktRefCountSharedPtr const& self = copy;
        copy = self;
        EXPECT_EQ(second->GetRefCount(), 1);
        copy = holder;
        EXPECT_EQ(deaths, 1);
        copy.Reset();
        EXPECT_TRUE(copy.Get() == nullptr && first->GetRefCount() == 1);
    }
    EXPECT_EQ(deaths, 2);
}

/// The order of a list of the items a, b, c, …, and back again, so that a torn link shows.
std::string OrderOf(ktList* aList, ktListLink const* aItems)
{
    std::string there;
    std::string back;
    for (ktListLink const* link = aList->mNext; link != aList; link = link->mNext)
        there += static_cast<char>('a' + (link - aItems));
    for (ktListLink const* link = aList->mPrev; link != aList; link = link->mPrev)
        back.insert(back.begin(), static_cast<char>('a' + (link - aItems)));
    return there == back ? there : there + " but back " + back;
}

TEST(List, InsertsEverywhereAndRemembersItsHighestCount)
{
    ktList list;
    ktListLink items[5];
    ktListInit(&list);
    EXPECT_TRUE(ktListIsEmpty(&list) && ktListGetHead(&list) == &list);
    ktListInsertTail(&items[0], &list);
    ktListInsertHead(&items[1], &list);
    ktListInsertAfter(&items[2], &items[1], &list);
    ktListInsertBefore(&items[3], &items[0], &list);
    ktListInsertBefore(&items[4], nullptr, &list);  // first, not last
    EXPECT_EQ(OrderOf(&list, items), "ebcda");
    ktListRemove(&items[2], &list);
    EXPECT_EQ(items[2].mNext, &items[3]) << "a removed item keeps its links";
    ktListInsertAfter(&items[2], nullptr, &list);
    EXPECT_EQ(OrderOf(&list, items), "cebda");
    EXPECT_EQ(ktListGetHead(&list), &items[2]);
    for (ktListLink& item : items)
        ktListRemove(&item, &list);
    EXPECT_TRUE(ktListIsEmpty(&list) && list.mCount == 0 && list.mMaxCount == 5);
    list.mNext = &items[0];
    EXPECT_FALSE(ktListIsEmpty(&list)) << "both links count";
    ktListInit(&list);
    EXPECT_EQ(list.mMaxCount, 0);
}

TEST(Tribool, IndeterminateIsNeitherTrueNorFalse)
{
    ktTribool value;
    EXPECT_TRUE(value.IsIndeterminate() && value == ktTribool() && !(value != ktTribool()));
    EXPECT_FALSE(static_cast<bool>(value) || !value || value == true || value == false);
    value = true;
    EXPECT_TRUE(static_cast<bool>(value) && value == true && value != ktTribool() && value == ktTribool(true));
    value = false;
    EXPECT_TRUE(!value && value == false && !static_cast<bool>(value));
    value.Reset();
    EXPECT_TRUE(value.IsIndeterminate() && sizeof value == 1);
}

TEST(Thread, AsksForTheTopOfFifoOrTheMiddleOfRoundRobin)
{
    OutputTap tap;
    sSchedulingResult = 0;
    EXPECT_EQ(ktMakeThreadRealtime(7), 0);
    EXPECT_TRUE(sPolicy == SCHED_FIFO && sPriority == 97);
    EXPECT_EQ(ktMakeThreadRealtime(0), 0);
    EXPECT_TRUE(sPolicy == SCHED_RR && sPriority == 50);
    EXPECT_EQ(tap.mText, "");
    sSchedulingResult = -1;
    EXPECT_EQ(ktMakeThreadRealtime(0), -1);
    EXPECT_TRUE(tap.Has("(3) ktthread: failed to make thread " + std::to_string(getpid()) + " realtime, policy (2)\n"))
        << tap.mText;
}

TEST(Names, AreUndecoratedWhereProgramsLookThemUp)
{
    for (char const* name :
         {"ktMALLOC", "ktCALLOC", "ktZALLOC", "ktREALLOC", "ktFREE", "ktMakeThreadRealtime", "ktLog",
          "ktLogWithComponent", "ktLogSpecial", "ktLogEvent", "ktLogEventAndSetPreamble", "ktLogMemory",
          "ktSetLogPriority", "ktGetLogPriority", "ktGetDefaultLogPriorityByBuildType", "ktGetLogFDForCrashReporting",
          "ktGetUptimeInMicroseconds"})
        EXPECT_NE(dlsym(RTLD_DEFAULT, name), nullptr) << name;
}

}  // namespace
