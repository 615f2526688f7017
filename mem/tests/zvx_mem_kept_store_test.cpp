// The kept-block store: its bounds, its closing, and blocks handed out once only.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "zvx_mem.h"
#include "zvx_mem_kept_store.h"

namespace {

constexpr size_t small_size = 3 * 4096 + 17;

std::vector<void *> take_all(zvx_mem_kept_store &store, size_t size)
{
    std::vector<void *> taken;
    while (void *block = store.take(size))
        taken.push_back(block);
    return taken;
}

void free_all(const std::vector<void *> &blocks)
{
    for (void *block : blocks)
        zvx_mem_free(block);
}

TEST(KeptStore, KeepsTheNewestBlocksWithinItsCountAndBytesUntilClosed)
{
    constexpr size_t max_blocks = 4;
    zvx_mem_kept_store store(max_blocks, 3 * small_size, zvx_mem_kept_store::page_release::never);
    std::vector<void *> given(max_blocks);
    for (void *&block : given) {
        block = zvx_mem_valloc(small_size);
        ASSERT_NE(block, nullptr);
        EXPECT_TRUE(store.give(block, small_size));
    }
    EXPECT_EQ(take_all(store, small_size + 1), std::vector<void *>{}) << "only the exact size matches";
    const std::vector<void *> taken = take_all(store, small_size);
    EXPECT_EQ(std::set<void *>(taken.begin(), taken.end()), std::set<void *>(given.begin() + 1, given.end()))
        << "the oldest block makes room within the byte bound";
    EXPECT_EQ(taken.front(), given.back()) << "the newest first";
    free_all(taken);

    std::vector<void *> small_blocks(max_blocks + 1);
    for (void *&block : small_blocks) {
        block = zvx_mem_valloc(16);
        ASSERT_NE(block, nullptr);
        EXPECT_TRUE(store.give(block, 16));
    }
    const std::vector<void *> kept_small = take_all(store, 16);
    EXPECT_EQ(std::set<void *>(kept_small.begin(), kept_small.end()),
              std::set<void *>(small_blocks.begin() + 1, small_blocks.end()))
        << "the oldest block makes room within the count";
    free_all(kept_small);

    void *oversized = zvx_mem_valloc(3 * small_size + 1);
    ASSERT_NE(oversized, nullptr);
    EXPECT_FALSE(store.give(oversized, 3 * small_size + 1)) << "freed by the store";
    EXPECT_FALSE(store.give(nullptr, small_size));

    EXPECT_TRUE(store.give(zvx_mem_valloc(small_size), small_size));
    store.close();
    EXPECT_EQ(store.take(small_size), nullptr) << "closing frees what is kept";
    EXPECT_FALSE(store.give(zvx_mem_valloc(small_size), small_size)) << "a closed store frees what it is given";
}

/* Users come and go on many threads at once; a block handed to two of them would have one overwrite the
 * other's data. The pages given back lazily must keep what is written after they are taken again. */
TEST(KeptStore, EightThreadsNeverHoldTheSameBlock)
{
    zvx_mem_kept_store store(8, 1u << 20, zvx_mem_kept_store::page_release::lazily);
    constexpr int thread_count = 8;
    std::vector<std::thread> threads;
    threads.reserve(thread_count);
    for (int index = 0; index < thread_count; ++index) {
        threads.emplace_back([index, &store] {
            for (int round = 0; round < 2000; ++round) {
                void *block = store.take(small_size);
                if (block == nullptr)
                    block = zvx_mem_valloc(small_size);
                ASSERT_NE(block, nullptr);
                auto *bytes = static_cast<unsigned char *>(block);
                std::memset(bytes, index, small_size);
                std::this_thread::yield();
                ASSERT_EQ(bytes[0], index);
                ASSERT_EQ(bytes[small_size / 2], index);
                ASSERT_EQ(bytes[small_size - 1], index);
                store.give(block, small_size);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    store.close();
}

} // namespace
