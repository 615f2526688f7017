// Suites and tests: creation, selection under the test specifier, fixture execution inside the
// longjmp guard, verdicts against the declared outcome, and listing.
#include <stdlib.h>
#include <string.h>

#include "quro_utf_internal.h"

quro_utf_suite *quro_utfp_current_suite = nullptr;
quro_tpi_mutex quro_utfp_current_suite_lock;

namespace {

constexpr unsigned kLastTestId = 0xEFFFFFFFu; // higher ids are reserved
constexpr uint64_t kNsPerMs = 1000000ull;

quro_utfp_selection quro_utfp_run_selection;
bool quro_utfp_provenance_printed = false;

// State of one suite's execution; lives in the execution frame, reached through a pointer so that
// its writes survive a longjmp back into that frame.
struct quro_utfp_suite_run {
    const quro_utf_test_specifier *spec;
    quro_utf_result_status verdict;
    bool failed;
    uint64_t execute_start_ns;
    bool resfail_did_fail;
};

void quro_utfp_log_result_with_count(const char *message, quro_utf_result_status status, float count)
{
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    quro_utf_suite *suite = quro_utfp_current_suite;
    if (suite == nullptr) {
        quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
        quro_utfp_outside_suite(false);
    }
    if (status > suite->status) {
        suite->status = status;
    }
    if (status != suite->expected_status) {
        quro_utf_add_result(suite->results, suite, suite->this_test, static_cast<int>(suite->fixture_index), status,
                            message, count);
    }
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
}

// Outside a suite there is no outcome to declare; the result that follows reports the misuse.
void quro_utfp_set_expected(quro_utf_result_status status)
{
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    if (quro_utfp_current_suite != nullptr) {
        quro_utfp_current_suite->expected_status = status;
    }
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
}

bool quro_utfp_in_list(const char *name, const char *const *list, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        if (strcmp(list[i], name) == 0) {
            return true;
        }
    }
    return false;
}

unsigned quro_utfp_last_fixture(const quro_utf_suite *suite, const quro_utf_test_specifier *spec)
{
    const int64_t last_variant = static_cast<int64_t>(suite->fixture_variants) - 1;
    return static_cast<unsigned>(spec->last_fixture >= 0 && spec->last_fixture <= last_variant ? spec->last_fixture
                                                                                               : last_variant);
}

// A fatal verdict sticks: every later fixture of the suite must fail without running, even after a
// test that is failed unrun for being an expected failure.
void quro_utfp_fail_verdict(quro_utfp_suite_run *run, quro_utf_result_status verdict)
{
    if (run->verdict != QURO_UTF_RESULT_FATAL) {
        run->verdict = verdict;
    }
    run->failed = true;
}

// Judges the fixture just run against its declared outcome, logging what the verdict adds.
quro_utfp_test_outcome quro_utfp_judge(quro_utf_suite *suite, quro_utfp_suite_run *run)
{
    const quro_utf_result_status expected = suite->expected_status;
    if (suite->status == QURO_UTF_RESULT_FATAL && expected != QURO_UTF_RESULT_FATAL) {
        quro_utfp_fail_verdict(run, QURO_UTF_RESULT_FATAL);
        return QURO_UTFP_TEST_FAILED;
    }
    switch (expected) {
    case QURO_UTF_RESULT_WARN:
    case QURO_UTF_RESULT_FAIL:
    case QURO_UTF_RESULT_FATAL: {
        static const char *const kOccurred[] = {"Pass (expected warn occurred)", "Pass (expected fail occurred)",
                                                "Pass (expected fatal occurred)"};
        static const char *const kMissing[] = {"Fail (expected warn missing)", "Fail (expected fail missing)",
                                               "Fail (expected fatal missing)"};
        const int which = expected - QURO_UTF_RESULT_WARN;
        const quro_utf_result_status status = suite->status;
        if (expected == QURO_UTF_RESULT_FAIL) {
            suite->expected_status = QURO_UTF_RESULT_PASS;
        }
        if (status == expected) {
            quro_utfp_test_log_result(kOccurred[which], QURO_UTF_RESULT_PASS);
            return QURO_UTFP_TEST_PASSED;
        }
        if (status == QURO_UTF_RESULT_SKIP) {
            return QURO_UTFP_TEST_SKIPPED;
        }
        quro_utfp_test_log_result(kMissing[which], QURO_UTF_RESULT_FAIL);
        quro_utfp_fail_verdict(run, QURO_UTF_RESULT_FAIL);
        return QURO_UTFP_TEST_FAILED;
    }
    case QURO_UTF_RESULT_ABORT:
        if (suite->status == QURO_UTF_RESULT_ABORT) {
            quro_utfp_test_log_result("Pass (expected abort occurred)", QURO_UTF_RESULT_PASS);
            return QURO_UTFP_TEST_PASSED;
        }
        if (suite->status == QURO_UTF_RESULT_SKIP) {
            return QURO_UTFP_TEST_SKIPPED;
        }
        quro_utfp_test_log_result("Fail (expected abort missing)", QURO_UTF_RESULT_FAIL);
        quro_utfp_fail_verdict(run, QURO_UTF_RESULT_ABORT);
        return QURO_UTFP_TEST_FAILED;
    default:
        break;
    }
    if (suite->status == QURO_UTF_RESULT_UNKNOWN) {
        quro_utfp_test_log_result("(implicit pass)", QURO_UTF_RESULT_PASS);
    }
    const quro_utf_result_status status = suite->status;
    if (status >= QURO_UTF_RESULT_PASS && status <= QURO_UTF_RESULT_WARN) {
        return QURO_UTFP_TEST_PASSED;
    }
    if (status == QURO_UTF_RESULT_SKIP) {
        return QURO_UTFP_TEST_SKIPPED;
    }
    quro_utfp_fail_verdict(run, status);
    return QURO_UTFP_TEST_FAILED;
}

void quro_utfp_record_verdict(quro_utf_suite *suite, quro_utfp_suite_run *run)
{
    const quro_utfp_test_outcome outcome = quro_utfp_judge(suite, run);
    quro_utfp_count_test(suite->results, outcome, (suite->this_test->flags & QURO_UTF_FLAG_EXPECTEDFAILURE) != 0);
}

// False if a creation step failed; the failure is already logged and the verdict recorded.
bool quro_utfp_set_up_fixture(quro_utf_suite *suite, quro_utfp_suite_run *run)
{
    if (quro_utf_mempool_init(&suite->fixture_pool, 0) != QURO_UTF_MEM_OK) {
        suite->status = QURO_UTF_RESULT_FATAL;
        quro_utfp_test_log_result("UTF: Failed fixture mempool allocate", QURO_UTF_RESULT_FATAL);
        quro_utfp_record_verdict(suite, run);
        return false;
    }
    if (suite->create_fixture != nullptr) {
        suite->fixture = suite->create_fixture(suite);
        if (suite->fixture == nullptr) {
            quro_utf_mempool_destroy(&suite->fixture_pool);
            suite->status = QURO_UTF_RESULT_FATAL;
            quro_utfp_test_log_result("UTF: Failed fixture creation", QURO_UTF_RESULT_FATAL);
            quro_utfp_record_verdict(suite, run);
            return false;
        }
    }
    return true;
}

void quro_utfp_discard_fixture_pool(quro_utf_suite *suite)
{
    if (suite->fixture_pool.last_block != nullptr) {
        quro_utf_mempool_destroy(&suite->fixture_pool);
    }
    suite->fixture = nullptr;
}

// Runs the current test once over the current fixture index. Returns whether the test was timed;
// the time is stored in *elapsed_ns, when it is asked for. resfail_point is the failure point in
// resource-failure runs.
bool quro_utfp_run_fixture(quro_utf_suite *suite, quro_utfp_suite_run *run, const uint64_t *resfail_point,
                           uint64_t *elapsed_ns)
{
    quro_utf_test *test = suite->this_test;
    run->resfail_did_fail = false;
    if ((run->spec->options & QURO_UTF_OPTION_NO_EXPECTED_FAILURE) && (test->flags & QURO_UTF_FLAG_EXPECTEDFAILURE)) {
        quro_utfp_test_log_result("UTF: Test marked as 'Expected Failure' not run", QURO_UTF_RESULT_FAIL);
        quro_utfp_record_verdict(suite, run);
        run->failed = true;
        return false;
    }
    suite->fixture_pool = quro_utf_mempool{};
    if (setjmp(suite->jump_dest) != 0) {
        quro_utfp_test_log_result("UTF: Fixture creation failed [2]", QURO_UTF_RESULT_FAIL);
        quro_utfp_discard_fixture_pool(suite);
        quro_utfp_record_verdict(suite, run);
        return false;
    }
    if (!quro_utfp_set_up_fixture(suite, run)) {
        quro_utfp_test_log_result("UTF: Fixture creation failed [1]", QURO_UTF_RESULT_FAIL);
        return false;
    }
    const volatile bool timed = run->verdict != QURO_UTF_RESULT_FATAL;
    if (!timed) {
        quro_utfp_test_log_result("UTF: Failed because of earlier FATAL", QURO_UTF_RESULT_FATAL);
        suite->status = QURO_UTF_RESULT_FATAL;
    } else {
        quro_utfp_log_test_info("Running", suite);
        if (setjmp(suite->jump_dest) == 0) {
            if (resfail_point != nullptr) {
                quro_utf_resfail_enable();
                quro_utf_resfail_fail_on(*resfail_point);
            }
            if (elapsed_ns != nullptr) {
                run->execute_start_ns = quro_tpi_get_time_ns();
            }
            test->execute(suite);
        }
        if (elapsed_ns != nullptr) {
            *elapsed_ns = quro_tpi_get_time_ns() - run->execute_start_ns;
        }
        if (resfail_point != nullptr) {
            run->resfail_did_fail = quro_utf_resfail_did_fail() != 0;
            quro_utf_resfail_disable();
        }
    }
    if (setjmp(suite->jump_dest) != 0) {
        quro_utfp_test_log_result("UTF: Fixture teardown failed", QURO_UTF_RESULT_FAIL);
    } else if (suite->status != QURO_UTF_RESULT_ABORT && suite->remove_fixture != nullptr) {
        suite->remove_fixture(suite);
    }
    quro_utfp_discard_fixture_pool(suite);
    quro_utfp_record_verdict(suite, run);
    return timed;
}

void quro_utfp_run_fixture_repeats(quro_utf_suite *suite, quro_utfp_suite_run *run)
{
    const quro_utf_test_specifier *spec = run->spec;
    if (spec->options & QURO_UTF_OPTION_RESFAIL) {
        for (uint64_t point = spec->resfail_start; point <= spec->resfail_end; ++point) {
            quro_utfp_run_fixture(suite, run, &point, nullptr);
            if (!run->resfail_did_fail || point == spec->resfail_end) {
                break;
            }
        }
        return;
    }
    const unsigned repeats = spec->benchmark_repeats != 0 ? spec->benchmark_repeats : 1;
    bool timing = spec->benchmark_repeats != 0;
    for (unsigned repeat = 0; repeat < repeats; ++repeat) {
        uint64_t elapsed_ns = 0;
        const bool timed = quro_utfp_run_fixture(suite, run, nullptr, timing ? &elapsed_ns : nullptr);
        timing = timing && timed;
        if (timing) {
            const float seconds = static_cast<float>(static_cast<double>(elapsed_ns) / 1e9);
            quro_utfp_log_result_with_count(
                quro_utf_dsprintf("Count: %1.6f, Units: \"%s\", Type: %u (logged because --benchmark=%u)", seconds, "s",
                                  0u, spec->benchmark_repeats),
                QURO_UTF_RESULT_BENCHMARK_TIMING, seconds);
        }
    }
}

} // namespace

void quro_utfp_test_log_result(const char *message, quro_utf_result_status status)
{
    quro_utfp_log_result_with_count(message, status, 0.0f);
}

void quro_utfp_test_log_result_external(const char *text, quro_utf_result_status status)
{
    quro_utfp_test_log_result(quro_utf_dsprintf("%s", text), status);
}

void quro_utfp_log_test_info(const char *prefix, quro_utf_suite *suite)
{
    QURO_UTFP_ASSERT(prefix != NULL);
    QURO_UTFP_ASSERT(suite != NULL);
    QURO_UTFP_ASSERT(suite->this_test != NULL);
    const quro_utf_test *test = suite->this_test;
    if (suite->fixture_variants == 1 && suite->fixture_name == nullptr) {
        quro_utf_loginf("%s: S:{%s} T:{%s [0x%.4x]} D:{%d}\n", prefix, suite->name, test->name, test->id,
                        static_cast<int>(test->running_time));
    } else {
        quro_utf_loginf("%s: S:{%s} T:{%s [0x%.4x]} F:{%s [0x%.2x]} D:{%d}\n", prefix, suite->name, test->name,
                        test->id, suite->fixture_name != nullptr ? suite->fixture_name : "", suite->fixture_index,
                        static_cast<int>(test->running_time));
    }
}

bool quro_utfp_select_suite(quro_utfp_selection *latches, const quro_utf_suite *suite,
                            const quro_utf_test_specifier *spec)
{
    if (spec->suite_name != nullptr) {
        return strcmp(spec->suite_name, suite->name) == 0;
    }
    if (latches->past_last) {
        return false;
    }
    if (spec->suite_list != nullptr) {
        return quro_utfp_in_list(suite->name, spec->suite_list, spec->n_suite_list);
    }
    if (!latches->in_range && (spec->first_suite == nullptr || strcmp(spec->first_suite, suite->name) == 0)) {
        latches->in_range = true;
    }
    if (latches->in_range && spec->last_suite != nullptr) {
        if (strcmp(spec->last_suite, suite->name) == 0) {
            latches->last_seen = true;
        } else if (latches->last_seen) {
            latches->past_last = true;
            return false;
        }
    }
    return latches->in_range;
}

bool quro_utfp_select_test(quro_utfp_selection *latches, const quro_utf_suite *suite,
                           const quro_utf_test_specifier *spec)
{
    const quro_utf_test *test = suite->this_test;
    if (spec->test_name != nullptr && strcmp(spec->test_name, test->name) != 0) {
        return false;
    }
    if (spec->test_list != nullptr) {
        return quro_utfp_in_list(test->name, spec->test_list, spec->n_test_list);
    }
    if (!latches->restarted_test) {
        if (spec->restart_test == -1) {
            latches->restarted_test = true;
        } else {
            if (latches->restart_suite == nullptr) {
                latches->restart_suite = suite;
            }
            if (suite != latches->restart_suite || static_cast<int64_t>(test->id) >= spec->restart_test) {
                latches->restarted_test = true;
            }
        }
        if (!latches->restarted_test) {
            return false;
        }
    }
    const int64_t id = test->id;
    if ((spec->first_test >= 0 && id < spec->first_test) || (spec->last_test >= 0 && id > spec->last_test)) {
        return false;
    }
    if ((spec->options & QURO_UTF_OPTION_RESFAIL) && (test->flags & QURO_UTF_FLAG_NO_RESFAIL)) {
        return false;
    }
    return (test->flags & spec->include_flags) != 0 && (test->flags & spec->exclude_flags) == 0;
}

quro_utf_suite *quro_utf_create_suite(quro_utf_mempool *pool, const char *name, unsigned fixture_count,
                                      quro_utf_create_fixture_function create_fixture,
                                      quro_utf_remove_fixture_function remove_fixture, quro_utf_result_set *results,
                                      quro_utf_suite *previous)
{
    QURO_UTFP_ASSERT(NULL != name);
    QURO_UTFP_ASSERT(0 < fixture_count);
    QURO_UTFP_ASSERT(0xF0000000 > fixture_count);
    QURO_UTFP_ASSERT(NULL != results);
    QURO_UTFP_ASSERT(NULL == strchr(name, QURO_UTFP_ARG_LIST_DELIM));
    auto *suite = static_cast<quro_utf_suite *>(quro_utf_mempool_alloc(pool, sizeof(quro_utf_suite)));
    if (suite == nullptr) {
        quro_utf_logerr("Create suite mempool allocation failed\n");
        return nullptr;
    }
    memset(static_cast<void *>(suite), 0, sizeof(*suite));
    const quro_utf_test_specifier *spec = quro_utfp_current_spec;
    if (spec != nullptr && (spec->options & QURO_UTF_OPTION_RESFAIL)) {
        static const char kSuffix[] = "_resfail";
        const size_t length = strlen(name);
        auto *resfail_name = static_cast<char *>(quro_utf_mempool_alloc(pool, length + sizeof(kSuffix)));
        if (resfail_name == nullptr) {
            quro_utf_logerr("Create suite name allocation failed\n");
            return nullptr;
        }
        memcpy(resfail_name, name, length);
        memcpy(resfail_name + length, kSuffix, sizeof(kSuffix));
        name = resfail_name;
    }
    if (previous != nullptr) {
        while (previous->next_suite != nullptr) {
            previous = previous->next_suite;
        }
        previous->next_suite = suite;
    }
    suite->name = name;
    suite->fixture_variants = fixture_count;
    suite->create_fixture = create_fixture;
    suite->remove_fixture = remove_fixture;
    suite->suite_default_flags = QURO_UTF_FLAG_GENERIC;
    suite->parent_pool = pool;
    suite->results = results;
    suite->status = QURO_UTF_RESULT_UNKNOWN;
    suite->expected_status = QURO_UTF_RESULT_UNKNOWN;
    return suite;
}

quro_utf_suite *quro_utf_create_suite_with_filters(quro_utf_mempool *pool, const char *name, unsigned fixture_count,
                                                   quro_utf_create_fixture_function create_fixture,
                                                   quro_utf_remove_fixture_function remove_fixture,
                                                   quro_utf_result_set *results, quro_utf_suite *previous,
                                                   unsigned flags)
{
    quro_utf_suite *suite =
        quro_utf_create_suite(pool, name, fixture_count, create_fixture, remove_fixture, results, previous);
    if (suite != nullptr) {
        suite->suite_default_flags = flags;
    }
    return suite;
}

void quro_utf_destroy_suite(quro_utf_suite *suite)
{
    if (suite->remove_user_state != nullptr) {
        suite->remove_user_state(suite);
    }
}

void quro_utf_set_suite_user_data(quro_utf_suite *suite, void *data, quro_utf_remove_user_state_function remove)
{
    suite->user_state = data;
    suite->remove_user_state = remove;
}

void quro_utf_set_suite_fixture_name(const char *name)
{
    quro_utfp_current_suite->fixture_name = name;
}

void quro_utf_add_test_with_user_data_and_filters(quro_utf_suite *suite, unsigned id, const char *name,
                                                  quro_utf_test_function function, const void *data, unsigned flags)
{
    QURO_UTFP_ASSERT(NULL == strchr(name, QURO_UTFP_ARG_LIST_DELIM));
    if (id > kLastTestId) {
        quro_utf_logerr("UTF: Test ID in reserved range [%#08x]\n", id);
        suite->status = QURO_UTF_RESULT_FATAL;
        return;
    }
    if (strncmp(name, "QA_", 3) == 0) {
        quro_utf_logerr("UTF: Test Name in reserved space [%s]\n", name);
        suite->status = QURO_UTF_RESULT_FATAL;
    }
    bool same_id = false;
    const size_t name_hash = quro_utfp_index_hash_name(name);
    if (quro_utfp_index_find_duplicate(suite->test_index, suite->first_test, id, name, name_hash, &same_id) !=
        nullptr) {
        if (same_id) {
            quro_utf_logerr("UTF: Duplicate Test ID %d / %#08x\n", static_cast<int>(id), id);
        } else {
            quro_utf_logerr("UTF: Duplicate Test Name %s\n", name);
        }
        suite->status = QURO_UTF_RESULT_FATAL;
        return;
    }
    quro_utf_test *test = quro_utfp_index_new_test(suite->parent_pool);
    if (test != nullptr) {
        test->id = id;
        test->name = name;
        test->execute = function;
        test->user_data = data;
        test->flags = flags;
    }
    if (test == nullptr || !quro_utfp_index_add(suite->parent_pool, &suite->test_index, test, name_hash)) {
        quro_utf_logerr("UTF: Create test mempool allocation failed\n");
        suite->status = QURO_UTF_RESULT_FATAL;
        return;
    }
    if (suite->last_test == nullptr) {
        suite->first_test = test;
    } else {
        suite->last_test->next_test = test;
    }
    suite->last_test = test;
}

void quro_utf_add_test(quro_utf_suite *suite, unsigned id, const char *name, quro_utf_test_function function)
{
    quro_utf_add_test_with_user_data_and_filters(suite, id, name, function, nullptr, suite->suite_default_flags);
}

void quro_utf_add_test_with_filters(quro_utf_suite *suite, unsigned id, const char *name,
                                    quro_utf_test_function function, unsigned flags)
{
    quro_utf_add_test_with_user_data_and_filters(suite, id, name, function, nullptr, flags);
}

void quro_utf_add_test_with_user_data(quro_utf_suite *suite, unsigned id, const char *name,
                                      quro_utf_test_function function, const void *data)
{
    quro_utf_add_test_with_user_data_and_filters(suite, id, name, function, data, suite->suite_default_flags);
}

quro_utf_result_status quro_utf_execute(quro_utf_suite *suite, const quro_utf_test_specifier *spec)
{
    QURO_UTFP_ASSERT(NULL != suite);
    QURO_UTFP_ASSERT(NULL != spec);
    if (!quro_utfp_provenance_printed) {
        quro_utfp_provenance_printed = true;
        quro_utf_log(QURO_UTFP_RULE "UTF: Platform Provenance\n" QURO_UTFP_RULE);
        quro_utf_print_provenance();
    }
    suite->test_spec = spec;
    suite->jump_thread = quro_tpi_thread_id();
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    quro_utfp_current_suite = suite;
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
    // A suite that failed during creation fails every fixture as fatal.
    quro_utfp_suite_run run{spec,
                            suite->status == QURO_UTF_RESULT_FATAL ? QURO_UTF_RESULT_FATAL : QURO_UTF_RESULT_UNKNOWN,
                            false, 0, false};
    if (!quro_utfp_select_suite(&quro_utfp_run_selection, suite, spec)) {
        return QURO_UTF_RESULT_UNKNOWN;
    }
    quro_utf_log(QURO_UTFP_RULE "UTF: Running %s\n" QURO_UTFP_RULE, suite->name);
    const unsigned last_fixture = quro_utfp_last_fixture(suite, spec);
    bool any_selected = false;
    for (quro_utf_test *test = suite->first_test; test != nullptr; test = test->next_test) {
        suite->this_test = test;
        if (!quro_utfp_select_test(&quro_utfp_run_selection, suite, spec)) {
            continue;
        }
        const uint64_t test_start_ns = quro_tpi_get_time_ns();
        any_selected = true;
        for (uint64_t index = static_cast<uint64_t>(spec->first_fixture); index <= last_fixture; ++index) {
            suite->fixture_index = static_cast<unsigned>(index);
            suite->fixture_name = nullptr;
            suite->status = QURO_UTF_RESULT_UNKNOWN;
            suite->expected_status = QURO_UTF_RESULT_UNKNOWN;
            suite->abort_handler = nullptr;
            if (!quro_utfp_run_selection.restarted_fixture &&
                (spec->restart_fixture == -1 || static_cast<int64_t>(index) >= spec->restart_fixture)) {
                quro_utfp_run_selection.restarted_fixture = true;
            }
            if (quro_utfp_run_selection.restarted_fixture) {
                // The test's first fixture starts when the test does.
                test->start_time =
                    index == static_cast<uint64_t>(spec->first_fixture) ? test_start_ns : quro_tpi_get_time_ns();
                quro_utfp_log_test_info("Initializing", suite);
                quro_utfp_run_fixture_repeats(suite, &run);
            }
        }
        quro_utfp_run_selection.restarted_fixture = true;
        test->running_time = static_cast<unsigned>((quro_tpi_get_time_ns() - test_start_ns) / kNsPerMs);
    }
    if (any_selected) {
        quro_utfp_count_suite(suite->results, !run.failed);
    }
    return run.verdict;
}

void quro_utf_list(quro_utf_suite *suite, const quro_utf_test_specifier *spec)
{
    QURO_UTFP_ASSERT(NULL != spec);
    suite->test_spec = spec;
    quro_utfp_current_suite = suite;
    if (!quro_utfp_select_suite(&quro_utfp_run_selection, suite, spec)) {
        return;
    }
    const char *program = spec->argv[0];
    if (spec->mode == QURO_UTF_MODE_LIST_SUITES) {
        quro_utf_log("%s --suite=\"%s\"\n", program, suite->name);
        return;
    }
    const unsigned last_fixture = quro_utfp_last_fixture(suite, spec);
    for (quro_utf_test *test = suite->first_test; test != nullptr && suite->status != QURO_UTF_RESULT_FATAL;
         test = test->next_test) {
        suite->this_test = test;
        if (!quro_utfp_select_test(&quro_utfp_run_selection, suite, spec)) {
            continue;
        }
        if (spec->mode == QURO_UTF_MODE_LIST_TESTS) {
            quro_utf_log("%s --suite=\"%s\" --test=\"%s\" --testid=%u\n", program, suite->name, test->name, test->id);
            continue;
        }
        for (uint64_t index = static_cast<uint64_t>(spec->first_fixture); index <= last_fixture; ++index) {
            quro_utf_log("%s --suite=\"%s\" --test=\"%s\" --testid=%u --fixture=%u\n", program, suite->name, test->name,
                         test->id, static_cast<unsigned>(index));
        }
    }
}

void quro_utf_run_suite_list(quro_utf_suite *root_suite, const quro_utf_test_specifier *spec)
{
    QURO_UTFP_ASSERT(NULL != root_suite);
    for (quro_utf_suite *suite = root_suite; suite != nullptr;) {
        quro_utf_suite *next = suite->next_suite;
        if (spec->mode == QURO_UTF_MODE_EXECUTE) {
            quro_utf_execute(suite, spec);
        } else {
            quro_utf_list(suite, spec);
        }
        quro_utf_destroy_suite(suite);
        suite = next;
    }
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    quro_utfp_current_suite = nullptr;
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
}

void quro_utf_test_expect_pass(void)
{
    quro_utfp_set_expected(QURO_UTF_RESULT_UNKNOWN);
}
void quro_utf_test_expect_warn(void)
{
    quro_utfp_set_expected(QURO_UTF_RESULT_WARN);
}
void quro_utf_test_expect_fail(void)
{
    quro_utfp_set_expected(QURO_UTF_RESULT_FAIL);
}
void quro_utf_test_expect_fatal(void)
{
    quro_utfp_set_expected(QURO_UTF_RESULT_FATAL);
}
void quro_utf_test_expect_abort(void)
{
    quro_utfp_set_expected(QURO_UTF_RESULT_ABORT);
}

void quro_utf_test_pass(const char *message)
{
    quro_utfp_test_log_result(message != nullptr ? message : "(explicit pass)", QURO_UTF_RESULT_PASS);
}
void quro_utf_test_debug(const char *message)
{
    quro_utfp_test_log_result(message, QURO_UTF_RESULT_DEBUG);
}
void quro_utf_test_info(const char *message)
{
    quro_utfp_test_log_result(message, QURO_UTF_RESULT_INFO);
}
void quro_utf_test_warn(const char *message)
{
    quro_utfp_test_log_result(message, QURO_UTF_RESULT_WARN);
}
void quro_utf_test_fail(const char *message)
{
    quro_utfp_test_log_result(message, QURO_UTF_RESULT_FAIL);
}
void quro_utf_test_fatal(const char *message)
{
    quro_utfp_test_log_result(message, QURO_UTF_RESULT_FATAL);
}

void quro_utf_test_abort(void)
{
    quro_utfp_test_log_result("", QURO_UTF_RESULT_ABORT);
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    quro_utfp_mark_abort(quro_utfp_current_suite->results);
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
}

static void quro_utfp_mark_skipped(void)
{
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    if (quro_utfp_current_suite != nullptr) {
        quro_utfp_current_suite->status = QURO_UTF_RESULT_SKIP;
        quro_utfp_current_suite->expected_status = QURO_UTF_RESULT_UNKNOWN;
    }
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
}

void quro_utf_test_skip(void)
{
    quro_utfp_mark_skipped();
    quro_utfp_test_log_result("Test skipped", QURO_UTF_RESULT_SKIP);
}

void quro_utf_test_skip_msg(const char *text)
{
    quro_utfp_mark_skipped();
    quro_utfp_test_log_result(quro_utf_dsprintf("Test skipped: %s", text), QURO_UTF_RESULT_SKIP);
}

void quro_utf_test_log_benchmark(float count, const char *units, quro_utf_benchmark_type type)
{
    quro_utfp_log_result_with_count(quro_utf_dsprintf("Count: %1.6f, Units: \"%s\", Type: %u",
                                                      static_cast<double>(count), units, static_cast<unsigned>(type)),
                                    QURO_UTF_RESULT_BENCHMARK, count);
}

int quro_utf_catch(quro_utf_suite *suite, quro_utf_catch_function function, void *argument)
{
    jmp_buf saved_jump;
    memcpy(saved_jump, suite->jump_dest, sizeof(jmp_buf));
    const uint32_t saved_thread = suite->jump_thread;
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    const quro_utf_result_status saved_status = suite->status;
    const quro_utf_result_status saved_expected = suite->expected_status;
    suite->expected_status = QURO_UTF_RESULT_ABORT;
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
    suite->jump_thread = quro_tpi_thread_id();
    volatile int aborted = 1;
    if (setjmp(suite->jump_dest) == 0) {
        function(argument);
        aborted = 0;
    }
    memcpy(suite->jump_dest, saved_jump, sizeof(jmp_buf));
    suite->jump_thread = saved_thread;
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    suite->status = saved_status;
    suite->expected_status = saved_expected;
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
    return aborted;
}
