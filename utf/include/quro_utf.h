// Unit-test framework: suites of tests run over fixture variants, assertions that record results,
// a result set printed at the end, and the command-line driver.
//
// Assertions that leave a test (quro_utf_assert_fail_ex, quro_utf_abort) do so with longjmp: a test
// function must not hold objects with non-trivial destructors across them.
#ifndef QURO_UTF_H
#define QURO_UTF_H

#include <setjmp.h>
#include <stddef.h>
#include <stdint.h>

#include "quro_tpi.h"

// ---------------------------------------------------------------------------------------------
// Memory pool: grow-only, freed as a whole.

typedef enum quro_utf_memerr {
    QURO_UTF_MEM_ERROR = 0,
    QURO_UTF_MEM_OK = 1,
} quro_utf_memerr;

typedef struct quro_utf_mempool_block {
    struct quro_utf_mempool_block *previous_block;
    size_t size; // usable bytes
    size_t space_used;
    size_t allocated; // bytes obtained from the platform, header included
    char *data;
} quro_utf_mempool_block;

typedef struct quro_utf_mempool {
    quro_utf_mempool_block *last_block;
    size_t block_size;
    unsigned allocations;
    int max_allocations; // -1 = no limit; a limit of n grants n - 1 allocations
    quro_tpi_mutex pool_lock;
} quro_utf_mempool;

#define QURO_UTF_MEMPOOL_DEFAULT_BLOCK_SIZE 4096u

quro_utf_memerr quro_utf_mempool_init(quro_utf_mempool *pool, size_t block_size);
void *quro_utf_mempool_alloc(quro_utf_mempool *pool, size_t size); // 16-byte aligned or NULL
quro_utf_memerr quro_utf_mempool_destroy(quro_utf_mempool *pool);

// ---------------------------------------------------------------------------------------------
// Statuses, flags and options.

typedef enum quro_utf_result_status {
    QURO_UTF_RESULT_BENCHMARK_TIMING = -4,
    QURO_UTF_RESULT_BENCHMARK = -3,
    QURO_UTF_RESULT_SKIP = -2,
    QURO_UTF_RESULT_UNKNOWN = -1,
    QURO_UTF_RESULT_PASS = 0,
    QURO_UTF_RESULT_DEBUG = 1,
    QURO_UTF_RESULT_INFO = 2,
    QURO_UTF_RESULT_WARN = 3,
    QURO_UTF_RESULT_FAIL = 4,
    QURO_UTF_RESULT_FATAL = 5,
    QURO_UTF_RESULT_ABORT = 6,
    QURO_UTF_RESULT_COUNT = 7,
} quro_utf_result_status;

typedef enum quro_utf_benchmark_type {
    QURO_UTF_BENCH_LOW_GOOD = 0,
    QURO_UTF_BENCH_HIGH_GOOD = 1,
} quro_utf_benchmark_type;

typedef enum quro_utf_test_mode {
    QURO_UTF_MODE_EXECUTE = 0,
    QURO_UTF_MODE_LIST_SUITES = 1,
    QURO_UTF_MODE_LIST_TESTS = 2,
    QURO_UTF_MODE_LIST_FIXTURES = 3,
} quro_utf_test_mode;

typedef enum quro_utf_consolidate_method {
    QURO_UTF_CONSOLIDATE_MEAN = 0,
    QURO_UTF_CONSOLIDATE_MEDIAN = 1,
    QURO_UTF_CONSOLIDATE_MIN = 2,
    QURO_UTF_CONSOLIDATE_MAX = 3,
} quro_utf_consolidate_method;

// Filter flags of tests.
#define QURO_UTF_FLAG_NONE 0u
#define QURO_UTF_FLAG_ALL 0xFFFFFFFFu
#define QURO_UTF_FLAG_SMOKETEST 2u
#define QURO_UTF_FLAG_PERFORMANCE 4u
#define QURO_UTF_FLAG_DEPRECATED 8u
#define QURO_UTF_FLAG_EXPECTEDFAILURE 16u
#define QURO_UTF_FLAG_GENERIC 32u
#define QURO_UTF_FLAG_RESFAIL 64u
#define QURO_UTF_FLAG_NO_RESFAIL 128u // never selected in resource-failure runs

// Bits of quro_utf_test_specifier::options.
#define QURO_UTF_OPTION_STORE_RESULTS 2u
#define QURO_UTF_OPTION_NO_BUFFER 4u
#define QURO_UTF_OPTION_NO_EXPECTED_FAILURE 8u
#define QURO_UTF_OPTION_RESFAIL 16u

// Bits of quro_utf_test_specifier::log_mask: bit n shows results of status n (0..6).
#define QURO_UTF_LOG_PASS 1u
#define QURO_UTF_LOG_DEBUG 2u
#define QURO_UTF_LOG_INFO 4u
#define QURO_UTF_LOG_WARN 8u
#define QURO_UTF_LOG_FAIL 16u
#define QURO_UTF_LOG_FATAL 32u
#define QURO_UTF_LOG_ABORT 64u
#define QURO_UTF_LOG_SUMMARY 128u
#define QURO_UTF_LOG_SKIP 256u
#define QURO_UTF_LOG_ALL 0xFFFFFFFFu
#define QURO_UTF_LOG_DEFAULT 0xFFFFFEF8u

#define QURO_UTFP_ARG_LIST_DELIM '|'

typedef struct quro_utfp_flag_mapping {
    unsigned flag;
    const char *name;
} quro_utfp_flag_mapping;

#define QURO_UTF_FLAG_MAPPING_COUNT 8
extern const quro_utfp_flag_mapping quro_utf_mapping_table[QURO_UTF_FLAG_MAPPING_COUNT];

typedef struct quro_utf_consolidate_method_entry {
    quro_utf_consolidate_method method;
    const char *option_name;
    const char *display_name;
} quro_utf_consolidate_method_entry;

#define QURO_UTF_CONSOLIDATE_METHOD_COUNT 4
extern const quro_utf_consolidate_method_entry quro_utf_consolidate_methods_table[QURO_UTF_CONSOLIDATE_METHOD_COUNT];

// Display names of statuses 0..6.
extern const char *const quro_utf_status_names[QURO_UTF_RESULT_COUNT];

// ---------------------------------------------------------------------------------------------
// Records.

typedef struct quro_utf_test_specifier {
    quro_utf_test_mode mode;
    const char *suite_name;
    const char **suite_list;
    uint32_t n_suite_list;
    const char **test_list;
    uint32_t n_test_list;
    const char *first_suite;
    const char *last_suite;
    const char *test_name;
    int64_t restart_test;
    int64_t first_test;
    int64_t last_test;
    int64_t restart_fixture;
    int64_t first_fixture;
    int64_t last_fixture;
    uint64_t resfail_start;
    uint64_t resfail_end;
    unsigned benchmark_repeats;
    quro_utf_consolidate_method benchmark_consolidate_method;
    unsigned exclude_flags;
    unsigned include_flags;
    bool include_seen;
    unsigned options;
    unsigned log_mask;
    unsigned min_error_level;
    int argc;
    const char **argv;
    quro_utf_mempool arg_pool;
} quro_utf_test_specifier;

typedef struct quro_utf_suite quro_utf_suite;
typedef struct quro_utf_test quro_utf_test;
typedef struct quro_utf_result quro_utf_result;
typedef struct quro_utf_result_set quro_utf_result_set;
typedef struct quro_utfp_test_index quro_utfp_test_index;

typedef void (*quro_utf_test_function)(quro_utf_suite *suite);
typedef void *(*quro_utf_create_fixture_function)(quro_utf_suite *suite);
typedef void (*quro_utf_remove_fixture_function)(quro_utf_suite *suite);
typedef void (*quro_utf_remove_user_state_function)(quro_utf_suite *suite);
typedef void (*quro_utf_abort_handler)(void *cookie);
typedef void (*quro_utf_catch_function)(void *argument);

struct quro_utf_suite {
    quro_utf_suite *next_suite;
    const char *name;
    const quro_utf_test_specifier *test_spec;
    void *user_state;
    quro_utf_remove_user_state_function remove_user_state;
    quro_utf_create_fixture_function create_fixture;
    quro_utf_remove_fixture_function remove_fixture;
    unsigned fixture_variants;
    unsigned suite_default_flags;
    quro_utf_mempool fixture_pool;
    void *fixture;
    unsigned fixture_index;
    const char *fixture_name;
    quro_utf_mempool *parent_pool;
    quro_utf_result_set *results;
    quro_utf_test *first_test;
    quro_utf_test *last_test;
    quro_utf_test *this_test;
    quro_utf_result_status status;
    quro_utf_result_status expected_status;
    jmp_buf jump_dest;
    uint32_t jump_thread;
    quro_utf_abort_handler abort_handler;
    void *abort_cookie;
    quro_utfp_test_index *test_index; // in parent_pool: the tests' ids and names, to refuse duplicates
};

struct quro_utf_test {
    quro_utf_test *next_test;
    unsigned id;
    const char *name;
    quro_utf_test_function execute;
    const void *user_data;
    unsigned flags;
    unsigned running_time; // milliseconds over all fixtures
    uint64_t start_time;   // ns, at the start of each fixture
};

struct quro_utf_result {
    quro_utf_result *next_result;
    quro_utf_suite *suite;
    const char *suite_name;
    const char *test_name;
    unsigned test_id;
    int fixture_index;
    const char *fixture_name;
    quro_utf_result_status status;
    const char *message;
    float count;
    unsigned running_time;
};

struct quro_utf_result_set {
    uint64_t start_time_ns;
    quro_utf_result *first_result;
    quro_utf_result *last_result;
    quro_utf_mempool pool;
    unsigned tests_considered;
    unsigned tests_passed;
    unsigned tests_expected_failure;
    unsigned tests_skipped;
    unsigned suites_considered;
    unsigned suites_passed;
    unsigned message_counts[QURO_UTF_RESULT_COUNT];
    unsigned has_abort_tests;
    unsigned benchmark_repeats;
    quro_utf_consolidate_method benchmark_consolidate_method;
};

// ---------------------------------------------------------------------------------------------
// Run driver and command line.

typedef int (*quro_utf_run_function)(quro_utf_test_specifier *spec);
// Returns non-zero if it accepted the argument; called once with NULL before parsing.
typedef int (*quro_utf_parse_function)(quro_utf_test_specifier *spec, quro_utf_mempool *arg_pool, const char *argument);
typedef void (*quro_utf_help_function)(void);
typedef quro_utf_suite *(*quro_utf_suite_factory)(quro_utf_mempool *pool, quro_utf_result_set *results);

int quro_utf_test_main(quro_utf_run_function run, quro_utf_parse_function parse, quro_utf_help_function help, int argc,
                       const char **argv);
int quro_utf_test_main_simple(quro_utf_suite_factory factory, quro_utf_parse_function parse,
                              quro_utf_help_function help, int argc, const char **argv);

int quro_utf_test_default_setup(quro_utf_mempool *result_pool, quro_utf_mempool *suite_pool,
                                quro_utf_result_set **results);
int quro_utf_test_default_exec_and_teardown(quro_utf_test_specifier *spec, quro_utf_suite *first,
                                            quro_utf_mempool *result_pool, quro_utf_mempool *suite_pool,
                                            quro_utf_result_set **results);

int quro_utf_is_long_opt(const char *text);
// Non-zero if text is the option; for a name ending in "=" the value after it is stored.
int quro_utf_get_long_opt(const char *name, const char *text, const char **value);
int quro_utf_is_short_opt(const char *text);
char quro_utf_get_short_opt(const char **cursor); // next letter, 0 at the end
int quro_utf_is_argument_type(const char *text, const char *name);
int quro_utf_is_test_case_arg(const char *text);

// ---------------------------------------------------------------------------------------------
// Suites and tests.

quro_utf_suite *quro_utf_create_suite(quro_utf_mempool *pool, const char *name, unsigned fixture_count,
                                      quro_utf_create_fixture_function create_fixture,
                                      quro_utf_remove_fixture_function remove_fixture, quro_utf_result_set *results,
                                      quro_utf_suite *previous);
quro_utf_suite *quro_utf_create_suite_with_filters(quro_utf_mempool *pool, const char *name, unsigned fixture_count,
                                                   quro_utf_create_fixture_function create_fixture,
                                                   quro_utf_remove_fixture_function remove_fixture,
                                                   quro_utf_result_set *results, quro_utf_suite *previous,
                                                   unsigned flags);
void quro_utf_destroy_suite(quro_utf_suite *suite);
void quro_utf_set_suite_user_data(quro_utf_suite *suite, void *data, quro_utf_remove_user_state_function remove);
void quro_utf_set_suite_fixture_name(const char *name);

void quro_utf_add_test(quro_utf_suite *suite, unsigned id, const char *name, quro_utf_test_function function);
void quro_utf_add_test_with_filters(quro_utf_suite *suite, unsigned id, const char *name,
                                    quro_utf_test_function function, unsigned flags);
void quro_utf_add_test_with_user_data(quro_utf_suite *suite, unsigned id, const char *name,
                                      quro_utf_test_function function, const void *data);
void quro_utf_add_test_with_user_data_and_filters(quro_utf_suite *suite, unsigned id, const char *name,
                                                  quro_utf_test_function function, const void *data, unsigned flags);

void quro_utf_run_suite_list(quro_utf_suite *root_suite, const quro_utf_test_specifier *spec);
quro_utf_result_status quro_utf_execute(quro_utf_suite *suite, const quro_utf_test_specifier *spec);
void quro_utf_list(quro_utf_suite *suite, const quro_utf_test_specifier *spec);

void quro_utf_test_expect_pass(void);
void quro_utf_test_expect_warn(void);
void quro_utf_test_expect_fail(void);
void quro_utf_test_expect_fatal(void);
void quro_utf_test_expect_abort(void);

void quro_utf_test_pass(const char *message);
void quro_utf_test_debug(const char *message);
void quro_utf_test_info(const char *message);
void quro_utf_test_warn(const char *message);
void quro_utf_test_fail(const char *message);
void quro_utf_test_fatal(const char *message);
void quro_utf_test_abort(void);
void quro_utf_test_skip(void);
void quro_utf_test_skip_msg(const char *text);
void quro_utf_test_log_benchmark(float count, const char *units, quro_utf_benchmark_type type);

// 1 if the function aborted, else 0; lets a test check that a call aborts without ending the test.
int quro_utf_catch(quro_utf_suite *suite, quro_utf_catch_function function, void *argument);

// Project hooks (test/common).
void quro_utf_resfail_enable(void);
void quro_utf_resfail_disable(void);
void quro_utf_resfail_fail_on(uint64_t n);
int quro_utf_resfail_did_fail(void);
unsigned quro_utf_set_ef_for(unsigned a, unsigned b);
void quro_utf_print_provenance(void);

// ---------------------------------------------------------------------------------------------
// Result sets and reports.

quro_utf_result_set *quro_utf_create_result_set(quro_utf_mempool *pool);
void quro_utf_destroy_result_set(quro_utf_result_set *results);
void quro_utf_add_result(quro_utf_result_set *results, quro_utf_suite *suite, quro_utf_test *test, int fixture_index,
                         quro_utf_result_status status, const char *message, float count);
void quro_utf_clear_results(quro_utf_result_set *results);
quro_utf_result_status quro_utf_print_result_details(quro_utf_result_set *results, unsigned log_mask);
void quro_utf_print_result_summary(quro_utf_result_set *results, unsigned log_mask);
quro_utf_result_status quro_utf_print_results(quro_utf_result_set *results, unsigned log_mask);

// ---------------------------------------------------------------------------------------------
// Logging, formatted messages and assertions.

void quro_utf_log(const char *format, ...) QURO_TPI_PRINTF_LIKE(1, 2);
void quro_utf_vlog(const char *format, va_list arguments) QURO_TPI_PRINTF_LIKE(1, 0);
void quro_utf_logerr(const char *format, ...) QURO_TPI_PRINTF_LIKE(1, 2);
void quro_utf_vlogerr(const char *format, va_list arguments) QURO_TPI_PRINTF_LIKE(1, 0);
void quro_utf_logdbg(const char *format, ...) QURO_TPI_PRINTF_LIKE(1, 2);
void quro_utf_loginf(const char *format, ...) QURO_TPI_PRINTF_LIKE(1, 2);

// Texts live in the current result set's pool until it is cleared or destroyed; never freed by callers.
char *quro_utf_dsprintf(const char *format, ...) QURO_TPI_PRINTF_LIKE(1, 2);
char *quro_utf_vdsprintf(int length, const char *format, va_list arguments) QURO_TPI_PRINTF_LIKE(2, 0);
char *quro_utf_dsprintf_not_silent(const char *format, ...) QURO_TPI_PRINTF_LIKE(1, 2);

void quro_utf_assert_warn(int condition, const char *message);
void quro_utf_assert_fail(int condition, const char *message);
void quro_utf_assert_fatal(int condition, const char *message);
void quro_utf_assert_fail_ex(int condition, const char *message);
void quro_utf_abort(void);
void quro_utf_register_abort_handler(quro_utf_abort_handler handler, void *cookie);
void quro_utf_assert_string_starts_with(const char *string, const char *prefix, const char *file, int line);
void quro_utf_assert_little_endian(void);

// 0 when the texts differ at most in white space; the sign is reversed from strcmp.
int quro_utf_whitespace_strcmp(const char *a, const char *b);

// Convenience assertions: the message is the condition's text with the file's base name and line.
// Only a false condition formats a message, except for FAIL_EX whose thread check always runs.
// kind is one of warn, fail, fatal, fail_ex.
#define QURO_UTF_FILE (__builtin_strrchr(__FILE__, '/') ? __builtin_strrchr(__FILE__, '/') + 1 : __FILE__)

#define QURO_UTF_ASSERT_MSG(kind, cond, format, ...)                                                                   \
    do {                                                                                                               \
        const bool quro_utfp_ok_ = static_cast<bool>(cond);                                                            \
        quro_utf_assert_##kind(quro_utfp_ok_, quro_utfp_ok_                                                            \
                                                  ? nullptr                                                            \
                                                  : quro_utf_dsprintf(format " (%s:%d)" __VA_OPT__(, ) __VA_ARGS__,    \
                                                                      QURO_UTF_FILE, __LINE__));                       \
    } while (0)

#define QURO_UTF_ASSERT(kind, cond) QURO_UTF_ASSERT_MSG(kind, cond, "%s", #cond)

#define QURO_UTF_WARN(cond) QURO_UTF_ASSERT(warn, cond)
#define QURO_UTF_FAIL(cond) QURO_UTF_ASSERT(fail, cond)
#define QURO_UTF_FATAL(cond) QURO_UTF_ASSERT(fatal, cond)
#define QURO_UTF_FAIL_EX(cond) QURO_UTF_ASSERT(fail_ex, cond)

// ---------------------------------------------------------------------------------------------
// Crash signals.

typedef void (*quro_utf_signal_handler)(int signal);

void quro_utf_signal_enable(int signal, quro_utf_signal_handler handler);
void quro_utf_signal_disable(int signal);
void quro_utf_handler_simple(int signal);
void quro_utf_handler_gdb(int signal);

#endif
