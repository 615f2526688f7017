// Framework state and helpers shared between the framework's sources (and its unit tests).
#ifndef QURO_UTF_INTERNAL_H
#define QURO_UTF_INTERNAL_H

#include "quro_utf.h"

#define QURO_UTFP_RULE "=======================================================\n"
#define QURO_UTFP_DSPRINTF_MAX 1023

// Precondition checks that end the process with the C library's assertion message; kept in
// release builds because several checked expressions have effects.
#define QURO_UTFP_ASSERT(expr) QURO_TPI_ASSERT(expr)

extern quro_utf_suite *quro_utfp_current_suite;
extern quro_tpi_mutex quro_utfp_current_suite_lock;
extern quro_utf_test_specifier *quro_utfp_current_spec;

// An assertion or abort with no suite running is a misuse that ends the process: by exit(1), or by
// the C library's abort when ending_by_abort is set.
[[noreturn]] void quro_utfp_outside_suite(bool ending_by_abort);

// Formats into the pool, with the length bound and messages of quro_utf_dsprintf.
char *quro_utfp_pool_sprintf(quro_utf_mempool *pool, const char *format, ...) QURO_TPI_PRINTF_LIKE(2, 3);

// The result set is the only writer of its counters.
typedef enum quro_utfp_test_outcome {
    QURO_UTFP_TEST_PASSED,
    QURO_UTFP_TEST_SKIPPED,
    QURO_UTFP_TEST_FAILED,
} quro_utfp_test_outcome;

// Refuses duplicate test ids and names of a suite. Its tests are made by new_test, which returns a
// zeroed record from the pool (NULL when it is exhausted). find_duplicate returns the earliest
// registered test (first is the suite's first test) with the id or the name, telling in *same_id
// which matched; add returns false when the pool cannot hold the index. Both take the name's
// hash_name, computed once.
size_t quro_utfp_index_hash_name(const char *name);
quro_utf_test *quro_utfp_index_new_test(quro_utf_mempool *pool);
const quro_utf_test *quro_utfp_index_find_duplicate(const quro_utfp_test_index *index, const quro_utf_test *first,
                                                    unsigned id, const char *name, size_t name_hash, bool *same_id);
bool quro_utfp_index_add(quro_utf_mempool *pool, quro_utfp_test_index **index, quro_utf_test *test, size_t name_hash);

void quro_utfp_count_test(quro_utf_result_set *results, quro_utfp_test_outcome outcome, bool expected_failure);
void quro_utfp_count_suite(quro_utf_result_set *results, bool passed);
void quro_utfp_mark_abort(quro_utf_result_set *results);

void quro_utfp_test_log_result(const char *message, quro_utf_result_status status);
void quro_utfp_test_log_result_external(const char *text, quro_utf_result_status status);
void quro_utfp_log_test_info(const char *prefix, quro_utf_suite *suite);

// Run-wide selection latches: they only ever go from unset to set, so they span all suites of a run.
typedef struct quro_utfp_selection {
    bool in_range;
    bool last_seen;
    bool past_last;
    bool restarted_test;
    bool restarted_fixture;
    const quro_utf_suite *restart_suite;
} quro_utfp_selection;

bool quro_utfp_select_suite(quro_utfp_selection *latches, const quro_utf_suite *suite,
                            const quro_utf_test_specifier *spec);
bool quro_utfp_select_test(quro_utfp_selection *latches, const quro_utf_suite *suite,
                           const quro_utf_test_specifier *spec);

// Decimal, "0x"/"0X" hex or "0d"/"0D" decimal; wraps at 32 bits. False for any non-digit.
bool quro_utfp_parse_number(const char *text, uint64_t *value);
// Splits value at ',' and '-'; unknown tokens go to the parse function behind the option prefix.
unsigned quro_utfp_parse_filters(quro_utf_test_specifier *spec, quro_utf_parse_function parse,
                                 quro_utf_help_function help, const char *prefix, const char *value);

float quro_utfp_consolidate(quro_utf_consolidate_method method, float *counts, unsigned repeats);

typedef enum quro_utfp_backtrace_mode {
    QURO_UTF_BT_MODE_OFF = 0,
    QURO_UTF_BT_MODE_SIMPLE = 1,
    QURO_UTF_BT_MODE_GDB = 2,
} quro_utfp_backtrace_mode;

void quro_utfp_enable_backtrace(unsigned mode);

#endif
