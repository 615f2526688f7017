#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>
#include <unistd.h>

#include "zvx_mem.h"

TEST(ZvxMem, VallocIsPageAlignedAndUsable)
{
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    for (size_t size : {1u, 4096u, 10000u}) {
        void *block = zvx_mem_valloc(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % page, 0u);
        memset(block, 0xa5, size);
        zvx_mem_free(block);
    }
}

TEST(ZvxMem, CallocZeroesAndFreeAcceptsNull)
{
    auto *words = static_cast<uint64_t *>(zvx_mem_calloc(16, sizeof(uint64_t)));
    ASSERT_NE(words, nullptr);
    for (size_t i = 0; i < 16; ++i)
        EXPECT_EQ(words[i], 0u);
    zvx_mem_free(words);
    zvx_mem_free(nullptr);
}

TEST(ZvxMem, FaultInjectionHooksAreInert)
{
    EXPECT_EQ(zvx_mem_unit_get_initialised(), nullptr);
    EXPECT_EQ(zvx_mem_unit_get_upper_bound_fail(), nullptr);
    EXPECT_EQ(zvx_mem_unit_get_lower_bound_fail(), nullptr);
    EXPECT_EQ(zvx_mem_unit_get_sequence(), nullptr);
}
