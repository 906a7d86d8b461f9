// What posting and dispatching costs, beside other event loops with the same task.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>

#include <thread>

#include "mailboxes.h"

namespace {

using bench::Counter;
using bench::Supply;

/// Posts a batch and runs passes until all of it was handled, on one thread.
template <typename Mailbox>
void PostAndDispatch(benchmark::State& aState)
{
    const std::int64_t batch = aState.range(0);
    Counter counter;
    Mailbox mailbox(counter);
    typename Mailbox::Source source;
    std::int64_t posted = 0;
    for (auto _ : aState) {
        for (std::int64_t i = 0; i < batch; ++i)
            mailbox.Post(source);
        posted += batch;
        while (counter.mCount < posted)
            mailbox.RunPass();
    }
    aState.SetItemsProcessed(posted);
}

/// Two threads post as fast as they can to an owner that sleeps whenever it has nothing to do.
template <typename Mailbox>
void TwoProducers(benchmark::State& aState)
{
    constexpr std::int64_t kPerProducer = 100000;
    std::int64_t posted = 0;
    Counter counter;
    Mailbox mailbox(counter);
    for (auto _ : aState) {
        const auto produce = [&] {
            typename Mailbox::Source source;
            for (std::int64_t i = 0; i < kPerProducer; ++i)
                mailbox.Post(source);
        };
        std::thread first(produce);
        std::thread second(produce);
        posted += 2 * kPerProducer;
        while (counter.mCount < posted)
            mailbox.RunPass();
        first.join();
        second.join();
    }
    aState.SetItemsProcessed(posted);
}

void PinToFirstCore()
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(0, &cores);
    pthread_setaffinity_np(pthread_self(), sizeof cores, &cores);
}

/// A message there and one back, between two threads on one core.
template <typename Mailbox>
void RoundTrip(benchmark::State& aState)
{
    cpu_set_t before;
    pthread_getaffinity_np(pthread_self(), sizeof before, &before);
    PinToFirstCore();
    Counter here;
    Counter there;
    Mailbox home(here);
    Mailbox away(there);
    typename Mailbox::Source question;
    typename Mailbox::Source answer;
    std::atomic<bool> running{true};
    there.mThen = [&] { home.Post(answer); };
    std::thread echo([&] {
        PinToFirstCore();
        while (running)
            away.RunPass();
    });
    std::int64_t trips = 0;
    for (auto _ : aState) {
        away.Post(question);
        ++trips;
        while (here.mCount < trips)
            home.RunPass();
    }
    running = false;
    away.Post(question);
    echo.join();
    pthread_setaffinity_np(pthread_self(), sizeof before, &before);
    aState.SetItemsProcessed(trips);
}

#define BATCHES(Mailbox)                                                                                               \
    BENCHMARK_TEMPLATE(PostAndDispatch, bench::Mailbox<Supply::kKept>)->Arg(1)->Arg(100)->Arg(10000);                  \
    BENCHMARK_TEMPLATE(PostAndDispatch, bench::Mailbox<Supply::kFresh>)->Arg(1)->Arg(100)->Arg(10000)

BATCHES(LockAndDeque);
BATCHES(KtMailbox);
BATCHES(UvMailbox);
BATCHES(GlibSourceMailbox);
BATCHES(GlibIdleMailbox);
BATCHES(AsioMailbox);

#define TWO_PRODUCERS(Mailbox)                                                                                         \
    BENCHMARK_TEMPLATE(TwoProducers, bench::Mailbox<Supply::kKept>)->UseRealTime()->Unit(benchmark::kMillisecond);     \
    BENCHMARK_TEMPLATE(TwoProducers, bench::Mailbox<Supply::kFresh>)->UseRealTime()->Unit(benchmark::kMillisecond)

TWO_PRODUCERS(KtMailbox);
TWO_PRODUCERS(UvMailbox);
TWO_PRODUCERS(GlibSourceMailbox);
TWO_PRODUCERS(GlibIdleMailbox);
TWO_PRODUCERS(AsioMailbox);

#define ROUND_TRIP(Mailbox) BENCHMARK_TEMPLATE(RoundTrip, bench::Mailbox<Supply::kKept>)->UseRealTime()

ROUND_TRIP(EventFdMailbox);
ROUND_TRIP(KtMailbox);
ROUND_TRIP(UvMailbox);
ROUND_TRIP(GlibSourceMailbox);
ROUND_TRIP(GlibIdleMailbox);
ROUND_TRIP(AsioMailbox);

}  // namespace

int main(int argc, char** argv)
{
    // Queues serve processes of many threads: keep the C++ library from taking its shortcuts for those of one.
    std::thread([] {}).join();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
