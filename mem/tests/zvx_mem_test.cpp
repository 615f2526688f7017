#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>
#include <unistd.h>

#include "zvx_mem.h"
#include "zvx_mem_faults.h"

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

// Every wrapper counts as one allocation; only those numbered inside the window fail.
TEST(ZvxMemFaults, ArmedWindowFailsExactlyItsAllocations)
{
    if (!zvx_mem_faults_arm(1, 2)) {
        void *block = zvx_mem_malloc(8);
        EXPECT_NE(block, nullptr) << "inert hooks never fail an allocation";
        zvx_mem_free(block);
        EXPECT_EQ(zvx_mem_faults_counted(), 0u);
        GTEST_SKIP() << "allocation failures are injected only in the fault-injection build";
    }
    void *first = zvx_mem_malloc(8);
    void *second = zvx_mem_calloc(2, 8);
    void *third = zvx_mem_valloc(8);
    void *fourth = zvx_mem_malloc(8);
    EXPECT_EQ(zvx_mem_faults_counted(), 4u);
    zvx_mem_faults_disarm();
    void *after = zvx_mem_malloc(8);
    EXPECT_EQ(zvx_mem_faults_counted(), 4u) << "a disarmed window counts nothing";
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(third, nullptr);
    EXPECT_NE(fourth, nullptr);
    EXPECT_NE(after, nullptr);
    for (void *block : {first, fourth, after})
        zvx_mem_free(block);
}
