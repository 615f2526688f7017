// What test code calls: log lines, pool-backed formatted messages, assertions, aborts and a
// white-space-insensitive text comparison.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "quro_utf_internal.h"

namespace {

std::atomic<bool> quro_utfp_foreign_thread_warned{false};

void quro_utfp_assert(int condition, const char *message, quro_utf_result_status status)
{
    if (condition) {
        return;
    }
    if (quro_utfp_current_suite == nullptr) {
        quro_utfp_outside_suite(false);
    }
    quro_utfp_test_log_result(message, status);
}

bool quro_utfp_is_space(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

void quro_utfp_skip_spaces(const char *&text)
{
    while (quro_utfp_is_space(*text)) {
        ++text;
    }
}

char quro_utfp_next_char(const char *&text)
{
    const char c = *text;
    if (c != '\0') {
        ++text;
    }
    return c;
}

void quro_utfp_vlog_if_shown(unsigned log_bit, const char *format, va_list arguments)
{
    if ((quro_utfp_current_suite->test_spec->log_mask & log_bit) != 0) {
        quro_utf_vlog(format, arguments);
    }
}

// The length is measured on a copy, because formatting consumes the argument list.
int quro_utfp_measure(const char *format, va_list arguments)
{
    va_list measure;
    va_copy(measure, arguments);
    const int length = quro_tpi_vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    return length;
}

char *quro_utfp_vdsprintf_measured(const char *format, va_list arguments)
{
    return quro_utf_vdsprintf(quro_utfp_measure(format, arguments), format, arguments);
}

// The bounded length to allocate for, or -1 for a format that cannot be formatted.
int quro_utfp_bounded_length(int length, const char *format)
{
    if (length < 0) {
        quro_utf_logerr("UTF: Bad format dsprintf format %s\n", format);
        return -1;
    }
    if (length > QURO_UTFP_DSPRINTF_MAX) {
        quro_utf_logerr("UTF: Truncated dsprintf message %s\n", format);
        return QURO_UTFP_DSPRINTF_MAX;
    }
    return length;
}

char *quro_utfp_format_into(char *text, int length, const char *format, va_list arguments)
{
    if (text == nullptr) {
        quro_utf_logerr("UTF: Dsprintf mempool allocation failed\n");
        return nullptr;
    }
    quro_tpi_vsnprintf(text, static_cast<size_t>(length) + 1, format, arguments);
    return text;
}

} // namespace

void quro_utf_vlog(const char *format, va_list arguments)
{
    quro_tpi_vfprintf(quro_tpi_stdout(), format, arguments);
    quro_tpi_fflush(quro_tpi_stdout());
}

void quro_utf_log(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    quro_utf_vlog(format, arguments);
    va_end(arguments);
}

// Error lines go to standard output as well, so that they stay in order with the results.
void quro_utf_vlogerr(const char *format, va_list arguments)
{
    quro_utf_vlog(format, arguments);
}

void quro_utf_logerr(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    quro_utf_vlogerr(format, arguments);
    va_end(arguments);
}

void quro_utf_logdbg(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    quro_utfp_vlog_if_shown(QURO_UTF_LOG_DEBUG, format, arguments);
    va_end(arguments);
}

void quro_utf_loginf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    quro_utfp_vlog_if_shown(QURO_UTF_LOG_INFO, format, arguments);
    va_end(arguments);
}

[[noreturn]] void quro_utfp_outside_suite(bool ending_by_abort)
{
    quro_utf_logerr("UTF: Fatal error; assert outside suite\n");
    if (ending_by_abort) {
        abort();
    }
    exit(1);
}

char *quro_utf_vdsprintf(int length, const char *format, va_list arguments)
{
    length = quro_utfp_bounded_length(length, format);
    if (length < 0) {
        return nullptr;
    }
    char *text = nullptr;
    quro_tpi_mutex_lock(&quro_utfp_current_suite_lock);
    if (quro_utfp_current_suite != nullptr) {
        text = static_cast<char *>(
            quro_utf_mempool_alloc(&quro_utfp_current_suite->results->pool, static_cast<size_t>(length) + 1));
    }
    quro_tpi_mutex_unlock(&quro_utfp_current_suite_lock);
    return quro_utfp_format_into(text, length, format, arguments);
}

char *quro_utfp_pool_sprintf(quro_utf_mempool *pool, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = quro_utfp_bounded_length(quro_utfp_measure(format, arguments), format);
    char *text = nullptr;
    if (length >= 0) {
        text = quro_utfp_format_into(static_cast<char *>(quro_utf_mempool_alloc(pool, static_cast<size_t>(length) + 1)),
                                     length, format, arguments);
    }
    va_end(arguments);
    return text;
}

char *quro_utf_dsprintf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char *text = quro_utfp_vdsprintf_measured(format, arguments);
    va_end(arguments);
    return text;
}

char *quro_utf_dsprintf_not_silent(const char *format, ...)
{
    const quro_utf_test_specifier *spec = quro_utfp_current_spec;
    if (spec != nullptr && (spec->log_mask & ~QURO_UTF_LOG_SUMMARY) == 0) {
        return nullptr;
    }
    va_list arguments;
    va_start(arguments, format);
    char *text = quro_utfp_vdsprintf_measured(format, arguments);
    va_end(arguments);
    return text;
}

void quro_utf_assert_warn(int condition, const char *message)
{
    quro_utfp_assert(condition, message, QURO_UTF_RESULT_WARN);
}

void quro_utf_assert_fail(int condition, const char *message)
{
    quro_utfp_assert(condition, message, QURO_UTF_RESULT_FAIL);
}

void quro_utf_assert_fatal(int condition, const char *message)
{
    quro_utfp_assert(condition, message, QURO_UTF_RESULT_FATAL);
}

void quro_utf_assert_fail_ex(int condition, const char *message)
{
    quro_utf_suite *suite = quro_utfp_current_suite;
    const bool foreign_thread = suite != nullptr && suite->jump_thread != quro_tpi_thread_id();
    if (foreign_thread && !quro_utfp_foreign_thread_warned.exchange(true)) {
        quro_utf_logerr(
            "UTF: [BAD EXCEPTION MACRO] Warning UTF exception throwing assertion used from non-main thread\n");
    }
    if (condition) {
        return;
    }
    if (suite == nullptr) {
        quro_utfp_outside_suite(false);
    }
    quro_utfp_test_log_result(message, QURO_UTF_RESULT_FAIL);
    // A jump into another thread's stack would corrupt both; that thread's test just goes on.
    if (!foreign_thread) {
        longjmp(suite->jump_dest, 1);
    }
}

void quro_utf_abort(void)
{
    quro_utf_suite *suite = quro_utfp_current_suite;
    if (suite == nullptr) {
        quro_utfp_outside_suite(true);
    }
    if (suite->jump_thread != quro_tpi_thread_id()) {
        quro_utf_logerr("UTF: Fatal error; the thread that called setjmp and the one aborting are not the same.\n");
        abort();
    }
    if (suite->expected_status == QURO_UTF_RESULT_FAIL) {
        quro_utfp_test_log_result(
            "Test failed due to an abort.\n  If this is the result of a negative test then the test should be "
            "updated to use the quro_utf_test_expect_abort() function.",
            QURO_UTF_RESULT_FAIL);
    } else {
        quro_utf_test_abort();
        if (suite->abort_handler != nullptr) {
            suite->abort_handler(suite->abort_cookie);
        }
    }
    longjmp(suite->jump_dest, 1);
}

void quro_utf_register_abort_handler(quro_utf_abort_handler handler, void *cookie)
{
    quro_utf_suite *suite = quro_utfp_current_suite;
    if (suite == nullptr) {
        return;
    }
    suite->abort_handler = handler;
    suite->abort_cookie = cookie;
}

void quro_utf_assert_string_starts_with(const char *string, const char *prefix, const char *file, int line)
{
    quro_utf_assert_fail(string != nullptr, quro_utf_dsprintf("string is NULL (%s:%d)", file, line));
    if (string == nullptr) {
        return;
    }
    const int length = static_cast<int>(strlen(string));
    const int prefix_length = static_cast<int>(strlen(prefix));
    quro_utf_assert_fail(length >= prefix_length,
                         quro_utf_dsprintf("string too short: \"%s\" (len %d), expected \"%s\" (len %d) (%s:%d)",
                                           string, length, prefix, prefix_length, file, line));
    quro_utf_assert_fail(
        strncmp(string, prefix, static_cast<size_t>(prefix_length)) == 0,
        quro_utf_dsprintf("string \"%s\" does not start with \"%s\" (%s:%d))", string, prefix, file, line));
}

void quro_utf_assert_little_endian(void)
{
    const unsigned one = 1;
    unsigned char lowest = 0;
    memcpy(&lowest, &one, 1);
    quro_utf_assert_fatal(lowest == 1, "Requires a little endian platform");
}

int quro_utf_whitespace_strcmp(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr) {
        return a == b ? 0 : (a == nullptr ? -1 : 1);
    }
    char ca = quro_utfp_next_char(a);
    quro_utfp_skip_spaces(a);
    char cb = quro_utfp_next_char(b);
    quro_utfp_skip_spaces(b);
    while (ca != '\0' && cb != '\0') {
        if (ca != cb && !quro_utfp_is_space(ca) && !quro_utfp_is_space(cb)) {
            return cb - ca;
        }
        if (quro_utfp_is_space(ca)) {
            quro_utfp_skip_spaces(a);
        }
        ca = quro_utfp_next_char(a);
        if (quro_utfp_is_space(cb)) {
            quro_utfp_skip_spaces(b);
        }
        cb = quro_utfp_next_char(b);
    }
    // Trailing white space on either side does not count.
    if (cb == '\0' && quro_utfp_is_space(ca)) {
        quro_utfp_skip_spaces(a);
        ca = quro_utfp_next_char(a);
    }
    if (ca == '\0' && quro_utfp_is_space(cb)) {
        quro_utfp_skip_spaces(b);
        cb = quro_utfp_next_char(b);
    }
    return cb - ca;
}
