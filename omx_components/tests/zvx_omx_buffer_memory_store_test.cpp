// The process-wide store of freed buffer memory: its bounds, and blocks handed out once only.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "zvx_mem.h"
#include "zvx_omx_buffer_memory_store.h"

namespace {

/* Sizes no component uses, so that blocks other tests leave in the store never match. */
constexpr uint32_t zvxp_small_size = 3 * 4096 + 17;
constexpr uint32_t zvxp_large_size = (40U << 20) + 4096 + 1;

std::vector<void *> zvxp_take_all(uint32_t size)
{
    std::vector<void *> taken;
    while (void *block = zvx_omx_buffer_memory_store_take(size)) {
        taken.push_back(block);
    }
    return taken;
}

void zvxp_free_all(const std::vector<void *> &blocks)
{
    for (void *block : blocks) {
        zvx_mem_free(block);
    }
}

TEST(BufferMemoryStore, KeepsTheNewestBlocksWithinItsCountAndBytes)
{
    std::vector<void *> kept(ZVX_OMX_BUFFER_MEMORY_STORE_BLOCKS + 1);
    for (void *&block : kept) {
        block = zvx_mem_valloc(zvxp_small_size);
        ASSERT_NE(block, nullptr);
        std::memset(block, 0x11, zvxp_small_size);
    }
    for (void *block : kept) {
        EXPECT_TRUE(zvx_omx_buffer_memory_store_give(block, zvxp_small_size));
    }
    const std::vector<void *> taken = zvxp_take_all(zvxp_small_size);
    EXPECT_EQ(std::set<void *>(taken.begin(), taken.end()), std::set<void *>(kept.begin() + 1, kept.end()))
        << "the oldest block makes room for the newest";
    for (void *block : taken) {
        std::memset(block, 0x22, zvxp_small_size);
    }
    zvxp_free_all(taken);

    void *first = zvx_mem_valloc(zvxp_large_size);
    void *second = zvx_mem_valloc(zvxp_large_size);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(zvx_omx_buffer_memory_store_give(first, zvxp_large_size));
    EXPECT_TRUE(zvx_omx_buffer_memory_store_give(second, zvxp_large_size));
    EXPECT_EQ(zvxp_take_all(zvxp_large_size), std::vector<void *>{second}) << "two would pass the byte bound";
    zvx_mem_free(second);

    void *oversized = zvx_mem_valloc(ZVX_OMX_BUFFER_MEMORY_STORE_BYTES + 1);
    ASSERT_NE(oversized, nullptr);
    EXPECT_FALSE(zvx_omx_buffer_memory_store_give(oversized, ZVX_OMX_BUFFER_MEMORY_STORE_BYTES + 1))
        << "freed by the store";
    EXPECT_FALSE(zvx_omx_buffer_memory_store_give(nullptr, zvxp_small_size));
}

/* Components close and open on many threads at once; a block handed to two of them would have one
 * overwrite the other's pictures. */
TEST(BufferMemoryStore, EightThreadsNeverHoldTheSameBlock)
{
    constexpr int thread_count = 8;
    std::vector<std::thread> threads;
    threads.reserve(thread_count);
    for (int index = 0; index < thread_count; ++index) {
        threads.emplace_back([index] {
            for (int round = 0; round < 2000; ++round) {
                void *block = zvx_omx_buffer_memory_store_take(zvxp_small_size);
                if (block == nullptr) {
                    block = zvx_mem_valloc(zvxp_small_size);
                }
                ASSERT_NE(block, nullptr);
                auto *bytes = static_cast<unsigned char *>(block);
                std::memset(bytes, index, zvxp_small_size);
                std::this_thread::yield();
                ASSERT_EQ(bytes[0], index);
                ASSERT_EQ(bytes[zvxp_small_size - 1], index);
                zvx_omx_buffer_memory_store_give(block, zvxp_small_size);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    zvxp_free_all(zvxp_take_all(zvxp_small_size));
}

} // namespace
