// The result set of a run: records of everything that differed from a test's declared outcome,
// benchmark consolidation, and the details and summary reports.
#include <string.h>

#include <algorithm>

#include "quro_utf_internal.h"

const char *const quro_utf_status_names[QURO_UTF_RESULT_COUNT] = {"Pass", "Debug", "Info", "Warn",
                                                                  "Fail", "Fatal", "Abort"};

namespace {

constexpr size_t kResultBlockSize = 1024;
constexpr uint64_t kNsPerMs = 1000000ull;
constexpr uint64_t kNsPerSecond = 1000000000ull;

bool quro_utfp_is_benchmark(quro_utf_result_status status)
{
    return status == QURO_UTF_RESULT_BENCHMARK || status == QURO_UTF_RESULT_BENCHMARK_TIMING;
}

const char *quro_utfp_result_label(quro_utf_result_status status, unsigned log_mask)
{
    if (status >= QURO_UTF_RESULT_PASS && status < QURO_UTF_RESULT_COUNT) {
        return (log_mask & (1u << status)) ? quro_utf_status_names[status] : nullptr;
    }
    if (status == QURO_UTF_RESULT_SKIP) {
        return (log_mask & QURO_UTF_LOG_SKIP) ? "Skip" : nullptr;
    }
    return quro_utfp_is_benchmark(status) ? "Benchmark" : nullptr;
}

void quro_utfp_print_result(const quro_utf_result *result, unsigned log_mask)
{
    const char *label = quro_utfp_result_label(result->status, log_mask);
    if (label == nullptr) {
        return;
    }
    quro_utf_log("%s: S:{%s} T:{%s [0x%.4x]} F:{%s [0x%.2x]} D:{%d} - %s\n", label, result->suite_name,
                 result->test_name, result->test_id, result->fixture_name != nullptr ? result->fixture_name : "",
                 static_cast<unsigned>(result->fixture_index), static_cast<int>(result->running_time), result->message);
}

const char *quro_utfp_method_display_name(quro_utf_consolidate_method method)
{
    for (const quro_utf_consolidate_method_entry &entry : quro_utf_consolidate_methods_table) {
        if (entry.method == method) {
            return entry.display_name;
        }
    }
    return "";
}

bool quro_utfp_same_benchmark(const quro_utf_result *a, const quro_utf_result *b)
{
    return a->status == b->status && strcmp(a->suite_name, b->suite_name) == 0 && a->test_id == b->test_id &&
           a->fixture_index == b->fixture_index;
}

unsigned quro_utfp_count_benchmarks(const quro_utf_result *result)
{
    unsigned count = 0;
    for (; result != nullptr; result = result->next_result) {
        count += quro_utfp_is_benchmark(result->status) ? 1 : 0;
    }
    return count;
}

// Unlinks the later repeats of first's benchmark, up to the storage's room, storing every count;
// returns how many counts it stored.
unsigned quro_utfp_gather_repeats(quro_utf_result_set *results, quro_utf_result *first, float *counts, unsigned room)
{
    unsigned gathered = 0;
    counts[gathered++] = first->count;
    quro_utf_result *previous = first;
    while (previous->next_result != nullptr && gathered < room) {
        quro_utf_result *candidate = previous->next_result;
        if (!quro_utfp_same_benchmark(first, candidate)) {
            previous = candidate;
            continue;
        }
        counts[gathered++] = candidate->count;
        previous->next_result = candidate->next_result;
        if (results->last_result == candidate) {
            results->last_result = previous;
        }
    }
    return gathered;
}

// Folds the repeats of each benchmark into its first record, which then carries the value reduced
// over the timings gathered. The storage holds no more than the records there are, whatever the
// repeat count asked for.
void quro_utfp_consolidate_benchmarks(quro_utf_result_set *results)
{
    const unsigned repeats = results->benchmark_repeats;
    if (repeats <= 1) {
        return;
    }
    const unsigned room = std::min(repeats, quro_utfp_count_benchmarks(results->first_result));
    if (room == 0) {
        return;
    }
    auto *counts = static_cast<float *>(quro_tpi_alloc(room * sizeof(float)));
    if (counts == nullptr) {
        quro_utf_logerr("UTF: Failed to allocate storage for benchmark result consolidation");
        return;
    }
    const quro_utf_consolidate_method method = results->benchmark_consolidate_method;
    for (quro_utf_result *first = results->first_result; first != nullptr; first = first->next_result) {
        if (!quro_utfp_is_benchmark(first->status)) {
            continue;
        }
        const unsigned gathered = quro_utfp_gather_repeats(results, first, counts, room);
        const float value = gathered == 1 ? counts[0] : quro_utfp_consolidate(method, counts, gathered);
        const char *rest = strchr(first->message, ',');
        first->message = quro_utfp_pool_sprintf(&results->pool, "%s: %1.6f%s", quro_utfp_method_display_name(method),
                                                static_cast<double>(value), rest != nullptr ? rest : "");
        first->count = value;
    }
    quro_tpi_free(counts);
}

} // namespace

float quro_utfp_consolidate(quro_utf_consolidate_method method, float *counts, unsigned repeats)
{
    QURO_UTFP_ASSERT(2 <= repeats);
    QURO_UTFP_ASSERT(NULL != counts);
    switch (method) {
    case QURO_UTF_CONSOLIDATE_MEAN: {
        float sum = 0.0f;
        for (unsigned i = 0; i < repeats; ++i) {
            sum += counts[i];
        }
        return sum / static_cast<float>(repeats);
    }
    case QURO_UTF_CONSOLIDATE_MEDIAN: {
        // Only the middle needs to be in place; for an even count its lower neighbour is the largest
        // of the lower half.
        const unsigned middle = repeats / 2;
        std::nth_element(counts, counts + middle, counts + repeats);
        if (repeats % 2 != 0) {
            return counts[middle];
        }
        return (*std::max_element(counts, counts + middle) + counts[middle]) / 2.0f;
    }
    case QURO_UTF_CONSOLIDATE_MIN:
    case QURO_UTF_CONSOLIDATE_MAX: {
        float extreme = counts[0];
        for (unsigned i = 1; i < repeats; ++i) {
            const bool better = method == QURO_UTF_CONSOLIDATE_MIN ? counts[i] < extreme : counts[i] > extreme;
            if (better) {
                extreme = counts[i];
            }
        }
        return extreme;
    }
    }
    quro_utf_logerr("UTF: Benchmark consolidation method is undefined");
    return 0.0f;
}

quro_utf_result_set *quro_utf_create_result_set(quro_utf_mempool *pool)
{
    auto *results = static_cast<quro_utf_result_set *>(quro_utf_mempool_alloc(pool, sizeof(quro_utf_result_set)));
    if (results == nullptr) {
        quro_utf_log("Resultset mempool allocation failed\n");
        return nullptr;
    }
    *results = quro_utf_result_set{};
    if (quro_utf_mempool_init(&results->pool, kResultBlockSize) != QURO_UTF_MEM_OK) {
        quro_utf_log("Resultset mempool init failed\n");
        return nullptr;
    }
    results->start_time_ns = quro_tpi_get_time_ns();
    return results;
}

void quro_utfp_count_test(quro_utf_result_set *results, quro_utfp_test_outcome outcome, bool expected_failure)
{
    results->tests_considered++;
    results->tests_expected_failure += expected_failure ? 1 : 0;
    results->tests_passed += outcome == QURO_UTFP_TEST_PASSED ? 1 : 0;
    results->tests_skipped += outcome == QURO_UTFP_TEST_SKIPPED ? 1 : 0;
}

void quro_utfp_count_suite(quro_utf_result_set *results, bool passed)
{
    results->suites_considered++;
    results->suites_passed += passed ? 1 : 0;
}

void quro_utfp_mark_abort(quro_utf_result_set *results)
{
    results->has_abort_tests = 1;
}

void quro_utf_destroy_result_set(quro_utf_result_set *results)
{
    quro_utf_mempool_destroy(&results->pool);
}

void quro_utf_add_result(quro_utf_result_set *results, quro_utf_suite *suite, quro_utf_test *test, int fixture_index,
                         quro_utf_result_status status, const char *message, float count)
{
    auto *result = static_cast<quro_utf_result *>(quro_utf_mempool_alloc(&results->pool, sizeof(quro_utf_result)));
    if (result == nullptr) {
        quro_utf_logerr("Result allocation failed\n");
        return;
    }
    *result = quro_utf_result{};
    result->suite = suite;
    result->suite_name = suite->name;
    result->test_name = test != nullptr ? test->name : "";
    result->test_id = test != nullptr ? test->id : 0;
    result->fixture_index = fixture_index;
    result->status = status;
    result->message = message;
    result->count = count;
    if (test != nullptr) {
        result->running_time = static_cast<unsigned>((quro_tpi_get_time_ns() - test->start_time) / kNsPerMs);
    }
    if (suite->fixture_name != nullptr) {
        const size_t size = strlen(suite->fixture_name) + 1;
        char *name = static_cast<char *>(quro_utf_mempool_alloc(&results->pool, size));
        if (name == nullptr) {
            static const char kNameFailed[] = "Result name allocation failed\n";
            quro_utf_logerr(kNameFailed);
            result->fixture_name = kNameFailed;
        } else {
            memcpy(name, suite->fixture_name, size);
            result->fixture_name = name;
        }
    }
    if (results->last_result == nullptr) {
        results->first_result = result;
    } else {
        results->last_result->next_result = result;
    }
    results->last_result = result;
    if (status >= QURO_UTF_RESULT_PASS && status < QURO_UTF_RESULT_COUNT) {
        results->message_counts[status]++;
    }
    if (suite->test_spec != nullptr && (suite->test_spec->options & QURO_UTF_OPTION_NO_BUFFER)) {
        quro_utfp_print_result(result, suite->test_spec->log_mask);
    }
}

void quro_utf_clear_results(quro_utf_result_set *results)
{
    QURO_UTFP_ASSERT(QURO_UTF_MEM_OK == quro_utf_mempool_destroy(&results->pool));
    QURO_UTFP_ASSERT(QURO_UTF_MEM_OK == quro_utf_mempool_init(&results->pool, 1024));
    results->first_result = nullptr;
    results->last_result = nullptr;
}

quro_utf_result_status quro_utf_print_result_details(quro_utf_result_set *results, unsigned log_mask)
{
    if (results == nullptr) {
        return QURO_UTF_RESULT_FATAL;
    }
    quro_utf_log(QURO_UTFP_RULE "UTF: Result Details\n" QURO_UTFP_RULE);
    quro_utfp_consolidate_benchmarks(results);
    quro_utf_result_status worst = QURO_UTF_RESULT_PASS;
    for (const quro_utf_result *result = results->first_result; result != nullptr; result = result->next_result) {
        quro_utfp_print_result(result, log_mask);
        if (result->status > worst) {
            worst = result->status;
        }
    }
    return worst;
}

void quro_utf_print_result_summary(quro_utf_result_set *results, unsigned log_mask)
{
    if (results == nullptr || (log_mask & QURO_UTF_LOG_SUMMARY) == 0) {
        return;
    }
    quro_utf_log(QURO_UTFP_RULE "UTF: Result Summary\n" QURO_UTFP_RULE);
    if (quro_utfp_current_spec != nullptr && (quro_utfp_current_spec->options & QURO_UTF_OPTION_RESFAIL)) {
        quro_utf_log(
            "WARNING: Resfail enabled, tests may fail but must not\ncrash or cause the program to otherwise lock "
            "up\n" QURO_UTFP_RULE);
    }
    const unsigned *counts = results->message_counts;
    if (counts[QURO_UTF_RESULT_WARN] == 0 && counts[QURO_UTF_RESULT_FAIL] == 0 && counts[QURO_UTF_RESULT_FATAL] == 0) {
        quro_utf_log("  All assertions passed\n");
    } else {
        for (int status = QURO_UTF_RESULT_WARN; status <= QURO_UTF_RESULT_ABORT; ++status) {
            if (counts[status] != 0) {
                quro_utf_log("  %-4d assertion%s %s\n", static_cast<int>(counts[status]),
                             counts[status] == 1 ? "" : "s", quro_utf_status_names[status]);
            }
        }
    }
    quro_utf_log("\n");
    if (results->tests_passed == results->tests_considered) {
        quro_utf_log("  All %d tests passed\n", static_cast<int>(results->tests_considered));
    } else {
        quro_utf_log("  %-4d tests considered\n", static_cast<int>(results->tests_considered));
        quro_utf_log("  %-4d tests passed\n", static_cast<int>(results->tests_passed));
        quro_utf_log("  %-4d tests skipped\n", static_cast<int>(results->tests_skipped));
        quro_utf_log("  %-4d tests expected to fail\n", static_cast<int>(results->tests_expected_failure));
        quro_utf_log("  %-4d tests failed\n",
                     static_cast<int>(results->tests_considered - results->tests_passed - results->tests_skipped));
    }
    quro_utf_log("\n");
    if (results->suites_passed == results->suites_considered) {
        quro_utf_log("  All %d suites passed\n", static_cast<int>(results->suites_considered));
    } else {
        quro_utf_log("  %-4d suites considered\n", static_cast<int>(results->suites_considered));
        quro_utf_log("  %-4d suites did not pass\n",
                     static_cast<int>(results->suites_considered - results->suites_passed));
    }
    quro_utf_log("\n");
    const unsigned long long seconds = (quro_tpi_get_time_ns() - results->start_time_ns) / kNsPerSecond;
    quro_utf_log("  Run time %llum %llus\n", seconds / 60, seconds % 60);
    if (results->has_abort_tests || counts[QURO_UTF_RESULT_ABORT] != 0) {
        quro_utf_log(
            "\n%s\n*WARNING* if you find your job has expired, and the test has completed\nand there was an abort "
            "in the results, this is caused by a threading problem\nwithin the test infrastructure, that causes "
            "the test to hang until expired.\nThe resolution is to remedy the abort, see PRJTRK-2574 for more "
            "information.\n\nNegative tests may or may not have \"issues\" when terminating).\nPlease disregard "
            "any output beyond this statement.\n",
            "[UTF EXPECTED ABORT]");
    }
    quro_utf_log(QURO_UTFP_RULE);
}

quro_utf_result_status quro_utf_print_results(quro_utf_result_set *results, unsigned log_mask)
{
    const quro_utf_result_status worst = quro_utf_print_result_details(results, log_mask);
    quro_utf_print_result_summary(results, log_mask);
    return worst;
}
