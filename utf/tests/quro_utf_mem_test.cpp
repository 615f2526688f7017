#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <thread>
#include <vector>

#include "quro_utf.h"

namespace {

TEST(Mempool, CarvesAlignedPiecesGrowsByDoublingBlocksToACapLimitsAndIsSharedByThreads)
{
    quro_utf_mempool pool;
    ASSERT_EQ(quro_utf_mempool_init(&pool, 64), QURO_UTF_MEM_OK);
    char *a = static_cast<char *>(quro_utf_mempool_alloc(&pool, 5));
    char *b = static_cast<char *>(quro_utf_mempool_alloc(&pool, 0));
    char *c = static_cast<char *>(quro_utf_mempool_alloc(&pool, 0));
    EXPECT_EQ(b, a + 16);
    EXPECT_EQ(c, b) << "a zero-byte request does not advance";
    quro_utf_mempool_block *first_block = pool.last_block;
    quro_utf_mempool_alloc(&pool, 32);
    char *d = static_cast<char *>(quro_utf_mempool_alloc(&pool, 40));
    EXPECT_NE(pool.last_block, first_block) << "a used block is replaced by a fresh one";
    EXPECT_EQ(pool.last_block->previous_block, first_block);
    for (const void *p : {a, b, d}) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u) << "aligned to 16";
    }
    EXPECT_EQ(pool.allocations, 5u);
    EXPECT_EQ(quro_utf_mempool_destroy(&pool), QURO_UTF_MEM_OK);
    EXPECT_EQ(quro_utf_mempool_destroy(&pool), QURO_UTF_MEM_ERROR);
    EXPECT_EQ(quro_utf_mempool_alloc(&pool, 1), nullptr);
    EXPECT_EQ(quro_utf_mempool_destroy(nullptr), QURO_UTF_MEM_OK);
    EXPECT_EQ(quro_utf_mempool_init(nullptr, 0), QURO_UTF_MEM_ERROR);

    // A large request gets its own block behind the current one.
    ASSERT_EQ(quro_utf_mempool_init(&pool, 0), QURO_UTF_MEM_OK);
    EXPECT_EQ(pool.block_size, 4096u);
    char *small = static_cast<char *>(quro_utf_mempool_alloc(&pool, 32));
    quro_utf_mempool_block *current = pool.last_block;
    char *large = static_cast<char *>(quro_utf_mempool_alloc(&pool, 10000));
    ASSERT_NE(large, nullptr);
    memset(large, 0xAB, 10000);
    EXPECT_EQ(pool.last_block, current);
    ASSERT_NE(current->previous_block, nullptr);
    EXPECT_EQ(current->previous_block->data, large);
    EXPECT_EQ(quro_utf_mempool_alloc(&pool, 16), small + 32) << "the current block still serves small requests";
    quro_utf_mempool_destroy(&pool);

    // Doubling to a cap, many records take few blocks.
    constexpr size_t kCap = size_t{1} << 20;
    ASSERT_EQ(quro_utf_mempool_init(&pool, 64), QURO_UTF_MEM_OK);
    std::vector<unsigned *> records;
    for (unsigned i = 0; i < 65536; ++i) { // 3 MiB of records
        auto *record = static_cast<unsigned *>(quro_utf_mempool_alloc(&pool, 48));
        ASSERT_NE(record, nullptr);
        *record = i;
        records.push_back(record);
    }
    for (unsigned i = 0; i < records.size(); ++i) {
        ASSERT_EQ(*records[i], i) << "pieces overlap";
    }
    unsigned blocks = 0;
    for (const quro_utf_mempool_block *block = pool.last_block; block != nullptr; block = block->previous_block) {
        const quro_utf_mempool_block *previous = block->previous_block;
        if (previous != nullptr) {
            EXPECT_EQ(block->size, previous->size == kCap ? kCap : 2 * previous->size) << "block " << blocks;
        }
        ++blocks;
    }
    EXPECT_EQ(pool.last_block->size, kCap);
    EXPECT_LE(blocks, 17u) << "64 bytes doubled to 1 MiB is 15 blocks, then 1 MiB blocks";
    quro_utf_mempool_destroy(&pool);

    // An allocation limit grants one fewer.
    ASSERT_EQ(quro_utf_mempool_init(&pool, 256), QURO_UTF_MEM_OK);
    pool.max_allocations = 3;
    EXPECT_NE(quro_utf_mempool_alloc(&pool, 8), nullptr);
    EXPECT_NE(quro_utf_mempool_alloc(&pool, 8), nullptr);
    EXPECT_EQ(quro_utf_mempool_alloc(&pool, 8), nullptr);
    EXPECT_EQ(quro_utf_mempool_alloc(&pool, SIZE_MAX - 8), nullptr);
    quro_utf_mempool_destroy(&pool);

    // Threads share one pool.
    ASSERT_EQ(quro_utf_mempool_init(&pool, 128), QURO_UTF_MEM_OK);
    constexpr int kThreads = 4;
    constexpr int kPerThread = 500;
    std::vector<std::vector<unsigned *>> taken(kThreads);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&pool, &taken, t] {
            for (int i = 0; i < kPerThread; ++i) {
                auto *p = static_cast<unsigned *>(quro_utf_mempool_alloc(&pool, 24));
                *p = static_cast<unsigned>(t * kPerThread + i);
                taken[t].push_back(p);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kPerThread; ++i) {
            ASSERT_EQ(*taken[t][i], static_cast<unsigned>(t * kPerThread + i)) << "pieces overlap";
        }
    }
    EXPECT_EQ(pool.allocations, static_cast<unsigned>(kThreads * kPerThread));
    quro_utf_mempool_destroy(&pool);
}

} // namespace
