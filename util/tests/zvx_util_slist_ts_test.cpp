#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zvx_mem.h"
#include "zvx_util_slist_ts.h"

namespace {
constexpr uint64_t items_per_producer = ZVX_SLIST_STRESS_ITEMS;
constexpr unsigned producer_count = 4;
constexpr unsigned producer_shift = 40;

// Items are tagged integers, never dereferenced: producer in the high bits, 1-based sequence below.
void *tagged(uint64_t producer, uint64_t sequence)
{
    return reinterpret_cast<void *>(static_cast<uintptr_t>(producer << producer_shift | sequence));
}
} // namespace

TEST(SlistTs, FourProducersOneConsumerLoseNothingAndKeepEachProducersOrder)
{
    zvx_slist_ts queue;
    zvxu_slist_ts_init(&queue);
    std::vector<std::thread> producers;
    for (uint64_t p = 0; p < producer_count; ++p) {
        producers.emplace_back([&queue, p] {
            for (uint64_t s = 1; s <= items_per_producer; ++s)
                ASSERT_EQ(zvxu_slist_ts_enqueue(&queue, tagged(p, s)), 1);
        });
    }
    uint64_t last_sequence[producer_count] = {};
    uint64_t received = 0;
    while (received < producer_count * items_per_producer) {
        void *item = zvxu_slist_ts_dequeue(&queue);
        if (item == nullptr) {
            std::this_thread::yield();
            continue;
        }
        const auto value = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(item));
        const uint64_t producer = value >> producer_shift;
        ASSERT_LT(producer, producer_count);
        ASSERT_EQ(value & ((uint64_t{1} << producer_shift) - 1), last_sequence[producer] + 1);
        last_sequence[producer] += 1;
        ++received;
    }
    for (auto &producer : producers)
        producer.join();
    EXPECT_EQ(zvxu_slist_ts_dequeue(&queue), nullptr);
    zvxu_slist_ts_destroy(&queue);
}

TEST(SlistTs, DestroyFreesItemsStillQueued)
{
    zvx_slist_ts queue;
    zvxu_slist_ts_init(&queue);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(zvxu_slist_ts_enqueue(&queue, zvx_mem_malloc(32)), 1);
    void *first = zvxu_slist_ts_dequeue(&queue);
    ASSERT_NE(first, nullptr);
    zvx_mem_free(first);
    zvxu_slist_ts_destroy(&queue);
    EXPECT_EQ(queue.head, nullptr);
}

TEST(SlistTs, ZeroedQueueWithoutInitFailsEveryCall)
{
    zvx_slist_ts queue{};
    EXPECT_EQ(zvxu_slist_ts_enqueue(&queue, &queue), 0);
    EXPECT_EQ(zvxu_slist_ts_dequeue(&queue), nullptr);
    zvxu_slist_ts_destroy(&queue);
    zvxu_slist_ts_destroy(nullptr);
}
