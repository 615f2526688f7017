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
    zvx_mem_free(nullptr);
}
