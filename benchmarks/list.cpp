// The list beside the node lists that a caller would otherwise take. Every job is run by one thread
// and by two with a list each.
#include <benchmark/benchmark.h>
#include <glib.h>

#include <boost/pool/pool_alloc.hpp>
#include <list>

#include "tarnwillow/containers/CCollection.h"

namespace {

class Ours {
public:
    void add(void* value) { list_.Add(value); }
    void* pop() { return list_.Pop(); }

private:
    tarnwillow::CCollection list_;
};

template <class List>
class StandardList {
public:
    void add(void* value) { list_.push_back(value); }
    void* pop() {
        void* value = list_.front();
        list_.pop_front();
        return value;
    }

private:
    List list_;
};

using Std = StandardList<std::list<void*>>;
using BoostPool = StandardList<std::list<void*, boost::fast_pool_allocator<void*>>>;

class Glib {
public:
    Glib() { g_queue_init(&queue_); }
    ~Glib() { g_queue_clear(&queue_); }
    Glib(const Glib&) = delete;
    Glib& operator=(const Glib&) = delete;

    void add(void* value) { g_queue_push_tail(&queue_, value); }
    void* pop() { return g_queue_pop_head(&queue_); }

private:
    GQueue queue_;
};

// Adds so many, then pops them all.
template <class List>
void AddAllPopAll(benchmark::State& state) {
    List list;
    const std::int64_t number = state.range(0);
    for (auto _ : state) {
        for (std::int64_t i = 0; i < number; ++i)
            list.add(&list);
        for (std::int64_t i = 0; i < number; ++i)
            benchmark::DoNotOptimize(list.pop());
    }
    state.SetItemsProcessed(state.iterations() * number);
}

// One in, one out, with so many in between.
template <class List>
void Queue(benchmark::State& state) {
    List list;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        list.add(&list);
    for (auto _ : state) {
        list.add(&list);
        benchmark::DoNotOptimize(list.pop());
    }
    state.SetItemsProcessed(state.iterations());
}

void both(benchmark::internal::Benchmark* job) { job->Threads(1)->Threads(2)->UseRealTime(); }

#define LIST_BENCHMARKS(List)                                                \
    BENCHMARK_TEMPLATE(AddAllPopAll, List)->Arg(10)->Arg(1000)->Apply(both); \
    BENCHMARK_TEMPLATE(AddAllPopAll, List)->Arg(100'000)->Apply(both);       \
    BENCHMARK_TEMPLATE(Queue, List)->Arg(0)->Arg(1000)->Apply(both)

LIST_BENCHMARKS(Ours);
LIST_BENCHMARKS(Std);
LIST_BENCHMARKS(Glib);
LIST_BENCHMARKS(BoostPool);

}  // namespace

BENCHMARK_MAIN();
