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
