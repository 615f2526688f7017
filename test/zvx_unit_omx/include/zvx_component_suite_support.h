#ifndef ZVX_COMPONENT_SUITE_SUPPORT_H
#define ZVX_COMPONENT_SUITE_SUPPORT_H

#include <cstdint>

#include "quro_utf.h"

/* Every test of the component suites carries this filter value. */
#define ZVX_COMPONENT_TEST_FILTER 64u

/* Leaves the test when actual differs from expected; the message names both expressions. */
#define ZVX_REQUIRE_EQ(actual, expected)                                                             \
    QURO_UTF_ASSERT_MSG(fail_ex, (actual) == (expected), "%s == %s", #actual, #expected)
#define ZVX_REQUIRE(cond) QURO_UTF_FAIL_EX(cond)

/* Suites built over the component share one fixture: a record the tests never read, whose
 * creation clears the session stub's callbacks so that nothing leaks from one test to the next. */
struct zvx_component_suite_fixture {
    int32_t fd;
};

void *zvx_component_suite_create_fixture(quro_utf_suite *suite);
void zvx_component_suite_remove_fixture(quro_utf_suite *suite);

/* Creates the suite and registers the tests; null if the framework ran out of memory. */
struct zvx_component_suite_test {
    unsigned number;
    const char *name;
    quro_utf_test_function function;
};
quro_utf_suite *zvx_component_suite_build(quro_utf_mempool *pool, quro_utf_result_set *results,
                                          quro_utf_suite *prev_suite, const char *name,
                                          const struct zvx_component_suite_test *tests, unsigned test_count);

/* A recognisable value in a pointer slot that must only be copied, never called. */
template <typename T> T zvx_marker(std::uintptr_t value)
{
    return reinterpret_cast<T>(value);
}

#endif
