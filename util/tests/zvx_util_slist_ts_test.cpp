#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zvx_mem.h"
#include "zvx_util_slist_ts.h"
#include "zvx_util_slist_ts_guard.h"

namespace {
constexpr uint64_t items_per_producer = ZVX_SLIST_STRESS_ITEMS;
constexpr unsigned producer_count = 4;
constexpr unsigned producer_shift = 40;

// Items are tagged integers, never dereferenced: producer in the high bits, 1-based sequence below.
void *tagged(uint64_t producer, uint64_t sequence)
{
    return reinterpret_cast<void *>(static_cast<uintptr_t>(producer << producer_shift | sequence));
}

// Passed dummies not yet freed; only the consumer thread may count them.
size_t retired_nodes(zvx_slist_ts *queue)
{
    size_t count = 0;
    for (const zvxu_slist_data *node = queue->retired; node != queue->head; node = node->next)
        ++count;
    return count;
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

// Each dummy must be freed once the enqueues begun before it was passed are over, though steady
// producers always have one in flight; the test holds them open itself, so scheduling cannot matter.
TEST(SlistTs, OverlappingEnqueuesHoldOnlyTheDummiesPassedWhileTheyRanAndNoInitRefusesAll)
{
    constexpr unsigned rounds = 1000;
    constexpr unsigned items_per_round = 8;
    zvx_slist_ts queue;
    zvxu_slist_ts_init(&queue);
    uint32_t earlier = zvxu_slist_ts_guard_enter(&queue);
    size_t most_retired = 0;
    for (unsigned round = 0; round < rounds; ++round) {
        const uint32_t later = zvxu_slist_ts_guard_enter(&queue);
        for (unsigned i = 0; i < items_per_round; ++i) {
            ASSERT_EQ(zvxu_slist_ts_enqueue(&queue, zvx_mem_malloc(16)), 1);
            zvx_mem_free(zvxu_slist_ts_dequeue(&queue));
        }
        zvxu_slist_ts_guard_leave(&queue, earlier);
        earlier = later;
        most_retired = std::max(most_retired, retired_nodes(&queue));
    }
    EXPECT_LE(most_retired, 4 * items_per_round) << "a few rounds' worth, however many rounds ran";
    zvxu_slist_ts_guard_leave(&queue, earlier);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(zvxu_slist_ts_enqueue(&queue, zvx_mem_malloc(16)), 1);
        zvx_mem_free(zvxu_slist_ts_dequeue(&queue));
    }
    EXPECT_EQ(retired_nodes(&queue), 1u) << "with no enqueue in flight only the last passed dummy waits";
    // Items still queued at destruction are the queue's to free.
    ASSERT_EQ(zvxu_slist_ts_enqueue(&queue, zvx_mem_malloc(16)), 1);
    zvxu_slist_ts_destroy(&queue);

    zvx_slist_ts zeroed{};
    EXPECT_EQ(zvxu_slist_ts_enqueue(&zeroed, &zeroed), 0) << "a zeroed queue without init fails every call";
    EXPECT_EQ(zvxu_slist_ts_dequeue(&zeroed), nullptr);
    zvxu_slist_ts_destroy(&zeroed);
    zvxu_slist_ts_destroy(nullptr);
}
