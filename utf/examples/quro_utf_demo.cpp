// Demonstration of the test framework: suites that pass, warn, expect failures, skip, abort on
// purpose and log benchmarks. --failures adds a suite whose tests really fail; --crash adds one
// that crashes, to show the crash handlers.
#include <signal.h>

#include "quro_utf.h"
#include "zvx_backtrace.h"

namespace {

bool demo_with_failures = false;
bool demo_with_crash = false;

void demo_implicit_pass(quro_utf_suite *) {}

void demo_warning(quro_utf_suite *)
{
    QURO_UTF_WARN(1 + 1 == 3);
}

void demo_expected_fail(quro_utf_suite *)
{
    quro_utf_test_expect_fail();
    QURO_UTF_FAIL(sizeof(int) == 1);
}

void demo_skip(quro_utf_suite *)
{
    quro_utf_test_skip_msg("no hardware in this demo");
}

void demo_expected_abort(quro_utf_suite *)
{
    quro_utf_test_expect_abort();
    quro_utf_abort();
}

void demo_abort_inside(void *)
{
    quro_utf_abort();
}

void demo_catch(quro_utf_suite *suite)
{
    QURO_UTF_FAIL(quro_utf_catch(suite, demo_abort_inside, nullptr) == 1);
}

void demo_text_compare(quro_utf_suite *)
{
    QURO_UTF_FAIL(quro_utf_whitespace_strcmp("a  b\tc\n", "a b c") == 0);
    quro_utf_assert_string_starts_with("framework", "frame", QURO_UTF_FILE, __LINE__);
}

void demo_flagged(quro_utf_suite *)
{
    quro_utf_test_pass(nullptr);
}

void demo_expected_failure_flag(quro_utf_suite *)
{
    quro_utf_test_fail("ran although marked as an expected failure");
}

void demo_benchmark(quro_utf_suite *)
{
    quro_utf_test_log_benchmark(42.5f, "frames/s", QURO_UTF_BENCH_HIGH_GOOD);
}

void demo_fail(quro_utf_suite *)
{
    QURO_UTF_FAIL_EX(2 + 2 == 5);
    quro_utf_test_fail("not reached: the failed check left the test");
}

void demo_abort_handler(void *cookie)
{
    quro_utf_test_info(static_cast<const char *>(cookie));
}

void demo_abort(quro_utf_suite *)
{
    quro_utf_register_abort_handler(demo_abort_handler, const_cast<char *>("abort handler ran"));
    quro_utf_abort();
}

void *demo_check_from_thread(void *)
{
    QURO_UTF_FAIL_EX(true);
    return nullptr;
}

void demo_other_thread(quro_utf_suite *)
{
    quro_tpi_thread thread;
    QURO_UTF_FATAL(quro_tpi_thread_create(&thread, demo_check_from_thread, nullptr));
    quro_tpi_thread_wait(thread, nullptr);
}

void demo_fatal(quro_utf_suite *)
{
    QURO_UTF_FATAL(false);
}

const char *const demo_fixture_names[] = {"small", "large"};

void *demo_create_fixture(quro_utf_suite *suite)
{
    quro_utf_set_suite_fixture_name(demo_fixture_names[suite->fixture_index]);
    return quro_utf_mempool_alloc(&suite->fixture_pool, 64);
}

__attribute__((no_sanitize("address", "undefined"))) void demo_null_dereference(quro_utf_suite *)
{
    volatile int *volatile nowhere = nullptr;
    *nowhere = 1;
}

quro_utf_suite *demo_basics(quro_utf_mempool *pool, quro_utf_result_set *results)
{
    quro_utf_suite *suite = quro_utf_create_suite(pool, "Basics", 1, nullptr, nullptr, results, nullptr);
    if (suite == nullptr) {
        return nullptr;
    }
    quro_utf_add_test(suite, 1, "implicit_pass", demo_implicit_pass);
    quro_utf_add_test(suite, 2, "warning", demo_warning);
    quro_utf_add_test(suite, 3, "expected_fail", demo_expected_fail);
    quro_utf_add_test(suite, 4, "skip", demo_skip);
    quro_utf_add_test(suite, 5, "expected_abort", demo_expected_abort);
    quro_utf_add_test(suite, 6, "catch", demo_catch);
    quro_utf_add_test(suite, 7, "text_compare", demo_text_compare);
    quro_utf_add_test_with_filters(suite, 8, "smoke", demo_flagged, QURO_UTF_FLAG_SMOKETEST);
    quro_utf_add_test_with_filters(suite, 9, "performance", demo_flagged, QURO_UTF_FLAG_PERFORMANCE);
    quro_utf_add_test(suite, 0x1F, "hex_id", demo_implicit_pass);
    return suite;
}

int demo_run(quro_utf_test_specifier *spec)
{
    quro_utf_mempool result_pool;
    quro_utf_mempool suite_pool;
    quro_utf_result_set *results = nullptr;
    const int setup = quro_utf_test_default_setup(&result_pool, &suite_pool, &results);
    if (setup != 0) {
        return setup;
    }
    quro_utf_suite *head = demo_basics(&suite_pool, results);
    if (head == nullptr) {
        return QURO_UTF_RESULT_FATAL;
    }
    quro_utf_suite *bench = quro_utf_create_suite(&suite_pool, "Benchmarks", 1, nullptr, nullptr, results, head);
    if (bench == nullptr) {
        return QURO_UTF_RESULT_FATAL;
    }
    quro_utf_add_test(bench, 1, "log_benchmark", demo_benchmark);
    if (demo_with_failures) {
        quro_utf_suite *failures =
            quro_utf_create_suite(&suite_pool, "Failures", 2, demo_create_fixture, nullptr, results, head);
        if (failures == nullptr) {
            return QURO_UTF_RESULT_FATAL;
        }
        quro_utf_add_test(failures, 1, "fail", demo_fail);
        quro_utf_add_test(failures, 2, "abort", demo_abort);
        quro_utf_add_test(failures, 3, "other_thread", demo_other_thread);
        quro_utf_add_test_with_filters(failures, 4, "expected_failure", demo_expected_failure_flag,
                                       QURO_UTF_FLAG_EXPECTEDFAILURE);
        quro_utf_add_test(failures, 5, "fatal", demo_fatal);
        quro_utf_suite *after = quro_utf_create_suite(&suite_pool, "AfterFatal", 1, nullptr, nullptr, results, head);
        if (after == nullptr) {
            return QURO_UTF_RESULT_FATAL;
        }
        quro_utf_add_test(after, 1, "runs_again", demo_implicit_pass);
    }
    if (demo_with_crash) {
        quro_utf_suite *crash = quro_utf_create_suite(&suite_pool, "Crash", 1, nullptr, nullptr, results, head);
        if (crash == nullptr) {
            return QURO_UTF_RESULT_FATAL;
        }
        quro_utf_add_test(crash, 1, "null_dereference", demo_null_dereference);
    }
    return quro_utf_test_default_exec_and_teardown(spec, head, &result_pool, &suite_pool, &results);
}

int demo_parse(quro_utf_test_specifier *, quro_utf_mempool *, const char *argument)
{
    if (argument == nullptr) {
        return 1;
    }
    const char *value = nullptr;
    if (quro_utf_get_long_opt("--failures", argument, &value)) {
        demo_with_failures = true;
        return 1;
    }
    if (quro_utf_get_long_opt("--crash", argument, &value)) {
        demo_with_crash = true;
        return 1;
    }
    return 0;
}

void demo_help(void)
{
    quro_tpi_puts("Demonstration options:\n"
                  "       --failures  Add a suite whose tests fail, abort and stop on a fatal error\n"
                  "       --crash     Add a suite whose test crashes\n");
}

} // namespace

int main(int argc, char **argv)
{
    zvx_backtrace_init();
    quro_tpi_init();
    quro_tpi_puts("=======================================================\n");
    quro_tpi_puts("  Test Framework Demonstration\n");
    quro_tpi_puts("=======================================================\n");
    quro_tpi_puts("\n");
    const int result = quro_utf_test_main(demo_run, demo_parse, demo_help, argc, const_cast<const char **>(argv));
    quro_tpi_shutdown();
    return result;
}
