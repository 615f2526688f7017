#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "zvx_util_map.h"
#include "zvx_util_slist_ts.h"

namespace {
constexpr int64_t items_per_run = 200000;

struct LockFreeQueue {
    LockFreeQueue() { zvxu_slist_ts_init(&queue); }
    ~LockFreeQueue() { zvxu_slist_ts_destroy(&queue); }
    void push(void *item) { zvxu_slist_ts_enqueue(&queue, item); }
    void *pop() { return zvxu_slist_ts_dequeue(&queue); }
    zvx_slist_ts queue;
};

struct MutexDequeQueue {
    void push(void *item)
    {
        std::lock_guard<std::mutex> lock(mutex);
        items.push_back(item);
    }
    void *pop()
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (items.empty())
            return nullptr;
        void *item = items.front();
        items.pop_front();
        return item;
    }
    std::mutex mutex;
    std::deque<void *> items;
};

// range(0) producers share items_per_run items; the benchmark thread is the one consumer.
template <typename Queue> void BM_QueueThroughput(benchmark::State &state)
{
    const auto producers = static_cast<int>(state.range(0));
    const int64_t per_producer = items_per_run / producers;
    for (auto _ : state) {
        Queue queue;
        std::vector<std::thread> threads;
        for (int p = 0; p < producers; ++p) {
            threads.emplace_back([&queue, per_producer] {
                for (int64_t i = 1; i <= per_producer; ++i)
                    queue.push(reinterpret_cast<void *>(i));
            });
        }
        for (int64_t received = 0; received < per_producer * producers;) {
            if (queue.pop() != nullptr)
                ++received;
        }
        for (auto &thread : threads)
            thread.join();
    }
    state.SetItemsProcessed(state.iterations() * per_producer * producers);
}
BENCHMARK_TEMPLATE(BM_QueueThroughput, LockFreeQueue)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();
BENCHMARK_TEMPLATE(BM_QueueThroughput, MutexDequeQueue)->Arg(1)->Arg(2)->Arg(4)->UseRealTime();

constexpr uintptr_t map_keys = 1000;

void *as_key(uintptr_t k)
{
    return reinterpret_cast<void *>(k);
}

void BM_MapInsert_Zvx(benchmark::State &state)
{
    for (auto _ : state) {
        zvx_map map;
        zvx_map_construct(&map, zvx_map_int_hash, zvx_map_int_equal, nullptr, nullptr);
        for (uintptr_t k = 1; k <= map_keys; ++k)
            zvx_map_insert(&map, as_key(k), as_key(k));
        benchmark::DoNotOptimize(map.size);
        zvx_map_destruct(&map);
    }
    state.SetItemsProcessed(state.iterations() * map_keys);
}
BENCHMARK(BM_MapInsert_Zvx);

void BM_MapInsert_Std(benchmark::State &state)
{
    for (auto _ : state) {
        std::unordered_map<uintptr_t, void *> map;
        for (uintptr_t k = 1; k <= map_keys; ++k)
            map[k] = as_key(k);
        benchmark::DoNotOptimize(map.size());
    }
    state.SetItemsProcessed(state.iterations() * map_keys);
}
BENCHMARK(BM_MapInsert_Std);

void BM_MapFind_Zvx(benchmark::State &state)
{
    zvx_map map;
    zvx_map_construct(&map, zvx_map_int_hash, zvx_map_int_equal, nullptr, nullptr);
    for (uintptr_t k = 1; k <= map_keys; ++k)
        zvx_map_insert(&map, as_key(k), as_key(k));
    for (auto _ : state) {
        for (uintptr_t k = 1; k <= map_keys; ++k)
            benchmark::DoNotOptimize(zvx_map_find(&map, as_key(k)));
    }
    state.SetItemsProcessed(state.iterations() * map_keys);
    zvx_map_destruct(&map);
}
BENCHMARK(BM_MapFind_Zvx);

void BM_MapFind_Std(benchmark::State &state)
{
    std::unordered_map<uintptr_t, void *> map;
    for (uintptr_t k = 1; k <= map_keys; ++k)
        map[k] = as_key(k);
    for (auto _ : state) {
        for (uintptr_t k = 1; k <= map_keys; ++k)
            benchmark::DoNotOptimize(map.find(k));
    }
    state.SetItemsProcessed(state.iterations() * map_keys);
}
BENCHMARK(BM_MapFind_Std);
} // namespace

BENCHMARK_MAIN();
