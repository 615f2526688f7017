// The framework's resource-failure hooks as this project binds them: the n-th allocation of the
// memory wrappers fails, and --resfail runs a test once per allocation it makes.
#include <gtest/gtest.h>

#include <vector>

#include "quro_utf.h"
#include "zvx_mem.h"
#include "zvx_mem_faults.h"

namespace {

bool hooks_live()
{
    return zvx_mem_unit_get_initialised() != nullptr;
}

TEST(ResfailHooks, FailOnFailsTheNthAllocationAndTellsWhetherItCame)
{
    quro_utf_resfail_enable();
    quro_utf_resfail_fail_on(1);
    void *first = zvx_mem_malloc(8);
    void *second = zvx_mem_malloc(8);
    const int failed = quro_utf_resfail_did_fail();
    quro_utf_resfail_disable();
    void *after = zvx_mem_malloc(8);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second == nullptr, hooks_live());
    EXPECT_EQ(failed != 0, hooks_live());
    EXPECT_NE(after, nullptr);
    for (void *block : {first, second, after})
        zvx_mem_free(block);

    quro_utf_resfail_enable();
    quro_utf_resfail_fail_on(5);
    zvx_mem_free(zvx_mem_malloc(8));
    EXPECT_EQ(quro_utf_resfail_did_fail(), 0) << "a point the test never reaches did not fail";
    quro_utf_resfail_disable();
}

std::vector<bool> allocations_made; // per run: whether all three allocations succeeded

void allocates_three_times(quro_utf_suite *)
{
    bool all = true;
    for (int i = 0; i < 3; ++i) {
        void *block = zvx_mem_malloc(16);
        all = all && block != nullptr;
        zvx_mem_free(block);
    }
    allocations_made.push_back(all);
}

quro_utf_suite *one_test_suite(quro_utf_mempool *pool, quro_utf_result_set *results)
{
    quro_utf_suite *suite = quro_utf_create_suite(pool, "Resfail", 1, nullptr, nullptr, results, nullptr);
    quro_utf_add_test(suite, 1, "allocates_three_times", allocates_three_times);
    return suite;
}

TEST(ResfailHooks, ResfailRunsATestOncePerAllocationPointAndOnceMore)
{
    const char *argv[] = {"zvx_utf_project_test", "--resfail", "--silent"};
    allocations_made.clear();
    testing::internal::CaptureStdout();
    EXPECT_EQ(quro_utf_test_main_simple(one_test_suite, nullptr, nullptr, 3, argv), 0);
    testing::internal::GetCapturedStdout();
    const std::vector<bool> expected =
        hooks_live() ? std::vector<bool>{false, false, false, true} : std::vector<bool>{true};
    EXPECT_EQ(allocations_made, expected);
}

} // namespace
