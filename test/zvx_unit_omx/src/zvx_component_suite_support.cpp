#include "zvx_component_suite_support.h"

#include "zvx_blackbox.h"

namespace {

struct zvxp_held_component {
    void (*destroy)(void *component);
    void *component;
} zvxp_held;

} // namespace

void zvx_component_suite_hold_erased(void (*destroy)(void *), void *component)
{
    zvxp_held = {destroy, component};
}

void zvx_component_suite_release()
{
    const zvxp_held_component held = zvxp_held;
    zvxp_held = {};
    if (held.destroy != nullptr)
        held.destroy(held.component);
}

void *zvx_component_suite_create_fixture(quro_utf_suite *suite)
{
    void *fixture = quro_utf_mempool_alloc(&suite->fixture_pool, sizeof(struct zvx_component_suite_fixture));
    bb_reset_cb();
    return fixture;
}

void zvx_component_suite_remove_fixture(quro_utf_suite *suite)
{
    (void)suite;
}

quro_utf_suite *zvx_component_suite_build(quro_utf_mempool *pool, quro_utf_result_set *results,
                                          quro_utf_suite *prev_suite, const char *name,
                                          const struct zvx_component_suite_test *tests, unsigned test_count)
{
    quro_utf_suite *suite = quro_utf_create_suite(pool, name, 1, zvx_component_suite_create_fixture,
                                                  zvx_component_suite_remove_fixture, results, prev_suite);
    if (suite == nullptr) {
        return nullptr;
    }
    for (unsigned i = 0; i < test_count; ++i) {
        quro_utf_add_test_with_filters(suite, tests[i].number, tests[i].name, tests[i].function,
                                       ZVX_COMPONENT_TEST_FILTER);
    }
    /* The framework marks a suite fatal when it cannot allocate a test record. */
    return suite->status == QURO_UTF_RESULT_FATAL ? nullptr : suite;
}
