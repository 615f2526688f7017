#ifndef ZVX_COMPONENT_SUITE_SUPPORT_H
#define ZVX_COMPONENT_SUITE_SUPPORT_H

#include <cstdint>
#include <cstring>

#include "quro_utf.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"

/* Every test of the component suites carries this filter value. */
#define ZVX_COMPONENT_TEST_FILTER 64u

/* A decoder or encoder runs its command thread over the test's own stack record. A failed requirement
 * leaves the test by longjmp, past the test's own destroy, so the component the test holds is destroyed
 * first, while its record still exists: no thread outlives the frame it works on. The test ends by
 * destroying the held component with zvx_component_suite_release. */
void zvx_component_suite_hold_erased(void (*destroy)(void *), void *component);
template <auto Destroy, typename Component> void zvx_component_suite_hold(Component *component)
{
    zvx_component_suite_hold_erased([](void *held) { Destroy(static_cast<Component *>(held)); }, component);
}
void zvx_component_suite_release();

#define ZVXP_REQUIRE_MSG(ok_expr, format, ...)                                                                         \
    do {                                                                                                               \
        const bool zvxp_ok_ = static_cast<bool>(ok_expr);                                                              \
        if (!zvxp_ok_)                                                                                                 \
            zvx_component_suite_release();                                                                             \
        QURO_UTF_ASSERT_MSG(fail_ex, zvxp_ok_, format, __VA_ARGS__);                                                   \
    } while (0)

/* Leave the test when the condition is false; the message names the expressions. */
#define ZVX_REQUIRE_EQ(actual, expected) ZVXP_REQUIRE_MSG((actual) == (expected), "%s == %s", #actual, #expected)
#define ZVX_REQUIRE(cond) ZVXP_REQUIRE_MSG(cond, "%s", #cond)

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

/* Session role query of the decoder and encoder suites: every role but `rejected`, nothing for null. */
inline OMX_BOOL zvx_role_enabled_except(const char *role, const char *rejected)
{
    return role != nullptr && std::strcmp(role, rejected) != 0 ? OMX_TRUE : OMX_FALSE;
}

/* Test 1 of the decoder and encoder suites: an init missing the handle or the record writes nothing
 * (both are prefilled with 0xFD); a full init stores the record, the callbacks and the application data. */
template <typename Component, auto init, auto destroy> void zvx_check_init_destroy()
{
    const std::uintptr_t callback_marker = 0xdeadbeef;
    const OMX_PTR app_data = zvx_marker<OMX_PTR>(0xfacebee7);
    const uint32_t untouched = 0xFDFDFDFD;
    Component component;
    struct zvx_omx_component handle;
    OMX_CALLBACKTYPE callbacks = {zvx_marker<decltype(callbacks.EventHandler)>(callback_marker),
                                  zvx_marker<decltype(callbacks.EmptyBufferDone)>(callback_marker),
                                  zvx_marker<decltype(callbacks.FillBufferDone)>(callback_marker)};
    uint32_t first_word;
    std::memset(&component, 0xFD, sizeof(component));
    std::memset(&handle, 0xFD, sizeof(handle));
    init(nullptr, nullptr, nullptr, &callbacks);
    init(&handle, nullptr, nullptr, &callbacks);
    init(nullptr, &component, nullptr, &callbacks);
    std::memcpy(&first_word, &component, sizeof(first_word));
    ZVX_REQUIRE_EQ(first_word, untouched);
    std::memcpy(&first_word, &handle, sizeof(first_word));
    ZVX_REQUIRE_EQ(first_word, untouched);

    std::memset(&component, 0xFD, sizeof(component));
    std::memset(&handle, 0xFD, sizeof(handle));
    ZVX_REQUIRE_EQ(init(&handle, &component, app_data, &callbacks), OMX_ErrorNone);
    zvx_component_suite_hold<destroy>(&component);
    ZVX_REQUIRE(handle.omx.pComponentPrivate == &component);
    ZVX_REQUIRE(component.common.omx_callbacks.EventHandler == callbacks.EventHandler);
    ZVX_REQUIRE(component.common.omx_callbacks.EmptyBufferDone == callbacks.EmptyBufferDone);
    ZVX_REQUIRE(component.common.omx_callbacks.FillBufferDone == callbacks.FillBufferDone);
    ZVX_REQUIRE_EQ(handle.omx.pApplicationPrivate, app_data);
    zvx_component_suite_release();
}

#endif
