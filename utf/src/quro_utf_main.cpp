// The run driver: fills the test specifier from the command line, sets up pools and the result
// set, runs or lists the suites and turns the worst result into the exit status.
#include <algorithm>
#include <iterator>
#include <stdlib.h>
#include <string.h>

#include "quro_utf_internal.h"

const quro_utfp_flag_mapping quro_utf_mapping_table[QURO_UTF_FLAG_MAPPING_COUNT] = {
    {QURO_UTF_FLAG_NONE, "none"},
    {QURO_UTF_FLAG_ALL, "all"},
    {QURO_UTF_FLAG_SMOKETEST, "smoketest"},
    {QURO_UTF_FLAG_PERFORMANCE, "performance"},
    {QURO_UTF_FLAG_DEPRECATED, "deprecated"},
    {QURO_UTF_FLAG_EXPECTEDFAILURE, "expectedfailure"},
    {QURO_UTF_FLAG_GENERIC, "generic"},
    {QURO_UTF_FLAG_RESFAIL, "resfail"},
};

const quro_utf_consolidate_method_entry quro_utf_consolidate_methods_table[QURO_UTF_CONSOLIDATE_METHOD_COUNT] = {
    {QURO_UTF_CONSOLIDATE_MEAN, "mean", "Mean"},
    {QURO_UTF_CONSOLIDATE_MEDIAN, "median", "Median"},
    {QURO_UTF_CONSOLIDATE_MIN, "min", "Min"},
    {QURO_UTF_CONSOLIDATE_MAX, "max", "Max"},
};

quro_utf_test_specifier *quro_utfp_current_spec = nullptr;

namespace {

constexpr size_t kArgPoolBlockSize = 256;
constexpr size_t kPoolBlockSize = 1024;
constexpr size_t kFilterArgumentSize = 128;
constexpr int kSetupFailed = QURO_UTF_RESULT_FATAL;

// The --csv-out= stream: opened and closed here, written by nothing in this program.
quro_tpi_file *quro_utfp_benchmark_stream = nullptr;

struct quro_utfp_parse_context {
    quro_utf_test_specifier *spec;
    quro_utf_parse_function parse;
    quro_utf_help_function help;
};

void quro_utfp_print_filter_list(unsigned default_flag)
{
    for (const quro_utfp_flag_mapping &row : quro_utf_mapping_table) {
        quro_tpi_puts("               ");
        quro_tpi_puts(row.name);
        quro_tpi_puts(row.flag == default_flag ? " [default]\n" : "\n");
    }
}

[[noreturn]] void quro_utfp_print_help(quro_utf_help_function help, int status)
{
    quro_tpi_puts("\n"
                  "This will create a new set of tests and run them.\n"
                  "\n"
                  "Arguments:\n"
                  "\n"
                  "       --silent    No output - just set return status\n"
                  "    -q --quiet     Show only fatal messages\n"
                  "    -v --verbose   Show all error messages (equivalent to -satfwidpk)\n"
                  "    -s --summary   Show summary\n"
                  "    -a --abort     Show individual abnormal terminations\n"
                  "    -t --fatal     Show individual fatal errors\n"
                  "    -f --fail      Show individual non-fatal errors\n"
                  "    -w --warn      Show individual warnings\n"
                  "    -i --info      Show info messages\n"
                  "    -d --debug     Show debug messages\n"
                  "    -p --pass      Show pass messages\n"
                  "    -k --skip      Show skip messages\n"
                  "    -h --help      Show this help message\n"
                  "    -e --enable_expectedfailure Enable expected failures\n"
                  "    -n --no_buffer Disable result buffering; immediately print logs\n"
                  "       --resfail\n"
                  "                   Enable automated resource allocation failure tests\n"
                  "       --resfail-start=n --resfail-end=n2\n"
                  "                   Enable automated resource allocation failure from \n"
                  "                   allocation n to n2\n"
                  "       --benchmark=repeats\n"
                  "                   Benchmark with the given number of repeats\n"
                  "       --consolidate=mean|median|min|max (Default: mean)\n"
                  "                   Consolidate benchmark results using the method\n"
                  "\n"
                  "    --backtrace=n  Enable backtrace generation support for segfaults\n"
                  "                   0 = disabled\n"
                  "                   1 = GLIBC trace (Linux-only)\n"
                  "                   2 = GDB trace (Linux-only)\n"
                  "\n"
                  "       --error=n   Set the minimum reported error level to n (0-5)\n"
                  "       --suite=s   Run only the suite named 's'\n"
                  "       --first-suite=s1 --last-suite=s2\n"
                  "                   Run only suites between s1 ans s2 in list inclusive\n"
                  "       --test=t    Run only the test named 't'\n"
                  "       --testid=t  Run only the test with the given ID 't'\n"
                  "       --first-test=n1 --last-test=n2\n"
                  "                   Run all tests numbered n1 to n2 inclusive\n"
                  "       --fixture=n Run only fixture number n\n"
                  "       --first-fixture=n1 --last-fixture=n2\n"
                  "                   Run all fixtures numbered n1 to n2 inclusive\n"
                  "\n"
                  "       --suite-list=s1|s2|s3|... List of suites separated by |\n"
                  "       --test-list=t1|t2|t3|...  List of tests separated by |\n"
                  "\n"
                  "  Filtering options: \n"
                  "\n"
                  "       --include=filter\n"
                  "           Include tests that match the given filter:\n");
    quro_utfp_print_filter_list(QURO_UTF_FLAG_ALL);
    quro_tpi_puts("           Note that if included, expected failures will automatically\n"
                  "           fail without running (to avoid hangs). If you wish to run\n"
                  "           the tests which are expected to fail please pass the -e \n"
                  "           option in addition to the filters.\n"
                  "       --exclude=filter \n"
                  "           Exclude tests that match the given filter\n");
    quro_utfp_print_filter_list(QURO_UTF_FLAG_NONE);
    quro_tpi_puts("       --list-suites\n"
                  "       --list-tests\n"
                  "       --list-fixtures\n"
                  "           Instead of running the tests, list them. Each option\n"
                  "           lists at a different level of granularity. Each line\n"
                  "           of output is a fully-qualified command line to run\n"
                  "           that suite, test, or fixture.\n"
                  "       --restart-test\n"
                  "           Start executing from this test ID in the first suite\n"
                  "       --restart-fixture\n"
                  "           Start executing from this fixture ID in the first test\n"
                  "Short options may be combined (e.g. -s -f can be given as -sf).\n"
                  "If no arguments are given shows summary, failures, and warnings,\n"
                  "with error level 4 (i.e. only errors and fatal errors set return\n"
                  "status to non-0), for all tests.\n"
                  "\n");
    if (help != nullptr) {
        help();
    }
    exit(status);
}

// Hands an argument the framework does not know to the suite's parser; a refusal ends the run.
void quro_utfp_pass_to_parser(const quro_utfp_parse_context &ctx, const char *argument)
{
    if (ctx.parse == nullptr || ctx.parse(ctx.spec, &ctx.spec->arg_pool, argument) == 0) {
        quro_utf_logerr("UTF: Unknown argument \"%s\"\n", argument);
        quro_utfp_print_help(ctx.help, 1);
    }
}

// Splits the value (a pool copy) at '|' into an array allocated with the platform allocator.
void quro_utfp_set_list(quro_utf_test_specifier *spec, const char *value, const char ***list, uint32_t *count)
{
    quro_tpi_free(static_cast<void *>(*list));
    *list = nullptr;
    const size_t length = strlen(value);
    char *copy = static_cast<char *>(quro_utf_mempool_alloc(&spec->arg_pool, length + 1));
    uint32_t entries = 1;
    for (const char *c = value; *c != '\0'; ++c) {
        entries += *c == QURO_UTFP_ARG_LIST_DELIM ? 1 : 0;
    }
    *count = entries;
    auto *array = static_cast<const char **>(quro_tpi_alloc(entries * sizeof(const char *)));
    if (copy == nullptr || array == nullptr) {
        quro_tpi_free(static_cast<void *>(array));
        quro_utf_logerr("UTF: Failed to allocate a parameter list");
        return;
    }
    memcpy(copy, value, length + 1);
    uint32_t index = 0;
    array[index++] = copy;
    for (char *c = copy; *c != '\0'; ++c) {
        if (*c == QURO_UTFP_ARG_LIST_DELIM) {
            *c = '\0';
            array[index++] = c + 1;
        }
    }
    *list = array;
}

using quro_utfp_option_handler = bool (*)(const quro_utfp_parse_context &ctx, const char *value);

struct quro_utfp_long_option {
    const char *name;
    quro_utfp_option_handler apply;
};

bool quro_utfp_set_mask(quro_utf_test_specifier *spec, unsigned mask)
{
    spec->log_mask = mask;
    return true;
}

bool quro_utfp_add_mask(quro_utf_test_specifier *spec, unsigned bits)
{
    spec->log_mask |= bits;
    return true;
}

bool quro_utfp_set_unsigned(const char *value, unsigned *field)
{
    uint64_t number = 0;
    if (!quro_utfp_parse_number(value, &number)) {
        return false;
    }
    *field = static_cast<unsigned>(number);
    return true;
}

bool quro_utfp_set_signed(const char *value, int64_t *field)
{
    uint64_t number = 0;
    if (!quro_utfp_parse_number(value, &number)) {
        return false;
    }
    *field = static_cast<int64_t>(number);
    return true;
}

// A single test id or fixture index is a range of one.
bool quro_utfp_set_single(const char *value, int64_t *first, int64_t *last)
{
    if (!quro_utfp_set_signed(value, first)) {
        return false;
    }
    *last = *first;
    return true;
}

bool quro_utfp_set_resfail_bound(quro_utf_test_specifier *spec, const char *value, uint64_t *bound)
{
    uint64_t number = 0;
    if (!quro_utfp_parse_number(value, &number) || number == 0) {
        return false;
    }
    spec->options |= QURO_UTF_OPTION_RESFAIL;
    *bound = number - 1;
    return true;
}

bool quro_utfp_apply_filter(const quro_utfp_parse_context &ctx, const char *value, bool include)
{
    quro_utf_test_specifier *spec = ctx.spec;
    quro_utf_log(include ? "Setting include flags: " : "Setting exclude flags: ");
    const unsigned flags =
        quro_utfp_parse_filters(spec, ctx.parse, ctx.help, include ? "--include=" : "--exclude=", value);
    if (include) {
        spec->include_flags |= flags;
        spec->include_seen = true;
    } else {
        spec->exclude_flags |= flags;
    }
    quro_utf_log("\n");
    if (include && (spec->include_flags & QURO_UTF_FLAG_EXPECTEDFAILURE)) {
        spec->options &= ~QURO_UTF_OPTION_NO_EXPECTED_FAILURE;
    }
    return true;
}

constexpr quro_utfp_long_option kLongOptions[] = {
    {"--help", [](const quro_utfp_parse_context& ctx, const char*) -> bool { quro_utfp_print_help(ctx.help, 0); }},
    {"--silent", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_set_mask(ctx.spec, QURO_UTF_LOG_SUMMARY); }},
    {"--quiet", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_set_mask(ctx.spec, QURO_UTF_LOG_FATAL); }},
    {"--verbose", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_set_mask(ctx.spec, QURO_UTF_LOG_ALL); }},
    {"--summary", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_SUMMARY); }},
    {"--abort", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_ABORT); }},
    {"--fatal", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_FATAL); }},
    {"--fail", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_FAIL); }},
    {"--info", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_INFO); }},
    {"--debug", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_DEBUG); }},
    {"--warn", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_WARN); }},
    {"--pass", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_PASS); }},
    {"--skip", [](const quro_utfp_parse_context& ctx, const char*) { return quro_utfp_add_mask(ctx.spec, QURO_UTF_LOG_SKIP); }},
    {"--list-suites", [](const quro_utfp_parse_context& ctx, const char*) {
       ctx.spec->mode = QURO_UTF_MODE_LIST_SUITES;
       return true;
     }},
    {"--list-tests", [](const quro_utfp_parse_context& ctx, const char*) {
       ctx.spec->mode = QURO_UTF_MODE_LIST_TESTS;
       return true;
     }},
    {"--list-fixtures", [](const quro_utfp_parse_context& ctx, const char*) {
       ctx.spec->mode = QURO_UTF_MODE_LIST_FIXTURES;
       return true;
     }},
    {"--store_results", [](const quro_utfp_parse_context& ctx, const char*) {
       ctx.spec->options |= QURO_UTF_OPTION_STORE_RESULTS;
       return true;
     }},
    {"--no_buffer", [](const quro_utfp_parse_context& ctx, const char*) {
       ctx.spec->options |= QURO_UTF_OPTION_NO_BUFFER;
       return true;
     }},
    {"--resfail", [](const quro_utfp_parse_context& ctx, const char*) {
       ctx.spec->options |= QURO_UTF_OPTION_RESFAIL;
       return true;
     }},
    {"--resfail-start=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_resfail_bound(ctx.spec, value, &ctx.spec->resfail_start);
     }},
    {"--resfail-end=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_resfail_bound(ctx.spec, value, &ctx.spec->resfail_end);
     }},
    {"--benchmark=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_unsigned(value, &ctx.spec->benchmark_repeats);
     }},
    {"--consolidate=", [](const quro_utfp_parse_context& ctx, const char* value) {
       const auto* entry = std::ranges::find_if(quro_utf_consolidate_methods_table,
           [value](const quro_utf_consolidate_method_entry& each) { return strcmp(each.option_name, value) == 0; });
       if (entry == std::end(quro_utf_consolidate_methods_table)) {
         return false;
       }
       ctx.spec->benchmark_consolidate_method = entry->method;
       return true;
     }},
    {"--backtrace=", [](const quro_utfp_parse_context&, const char* value) {
       unsigned mode = 0;
       if (!quro_utfp_set_unsigned(value, &mode)) {
         return false;
       }
       quro_utfp_enable_backtrace(mode);
       return true;
     }},
    {"--error=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_unsigned(value, &ctx.spec->min_error_level);
     }},
    {"--suite=", [](const quro_utfp_parse_context& ctx, const char* value) {
       ctx.spec->suite_name = value;
       return true;
     }},
    {"--first-suite=", [](const quro_utfp_parse_context& ctx, const char* value) {
       ctx.spec->first_suite = value;
       return true;
     }},
    {"--last-suite=", [](const quro_utfp_parse_context& ctx, const char* value) {
       ctx.spec->last_suite = value;
       return true;
     }},
    {"--test=", [](const quro_utfp_parse_context& ctx, const char* value) {
       ctx.spec->test_name = value;
       return true;
     }},
    {"--testid=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_single(value, &ctx.spec->first_test, &ctx.spec->last_test);
     }},
    {"--first-test=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_signed(value, &ctx.spec->first_test);
     }},
    {"--last-test=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_signed(value, &ctx.spec->last_test);
     }},
    {"--restart-test=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_signed(value, &ctx.spec->restart_test);
     }},
    {"--fixture=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_single(value, &ctx.spec->first_fixture, &ctx.spec->last_fixture);
     }},
    {"--first-fixture=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_signed(value, &ctx.spec->first_fixture);
     }},
    {"--last-fixture=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_signed(value, &ctx.spec->last_fixture);
     }},
    {"--restart-fixture=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_set_signed(value, &ctx.spec->restart_fixture);
     }},
    {"--include=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_apply_filter(ctx, value, true);
     }},
    {"--exclude=", [](const quro_utfp_parse_context& ctx, const char* value) {
       return quro_utfp_apply_filter(ctx, value, false);
     }},
    {"--enable_expectedfailure", [](const quro_utfp_parse_context& ctx, const char*) {
       ctx.spec->options &= ~QURO_UTF_OPTION_NO_EXPECTED_FAILURE;
       return true;
     }},
    {"--csv-out=", [](const quro_utfp_parse_context&, const char* value) {
       if (quro_utfp_benchmark_stream != nullptr) {
         quro_tpi_fclose(quro_utfp_benchmark_stream);
       }
       quro_utfp_benchmark_stream = quro_tpi_fopen(QURO_TPI_DIR_DATA, value, "wb");
       if (quro_utfp_benchmark_stream == nullptr) {
         quro_utf_logerr("UTF: Cannot open \"%s\" for writing\n", value);
       }
       return true;
     }},
    {"--suite-list=", [](const quro_utfp_parse_context& ctx, const char* value) {
       quro_utfp_set_list(ctx.spec, value, &ctx.spec->suite_list, &ctx.spec->n_suite_list);
       return true;
     }},
    {"--test-list=", [](const quro_utfp_parse_context& ctx, const char* value) {
       quro_utfp_set_list(ctx.spec, value, &ctx.spec->test_list, &ctx.spec->n_test_list);
       return true;
     }},
};

bool quro_utfp_apply_long_option(const quro_utfp_parse_context &ctx, const char *argument)
{
    for (const quro_utfp_long_option &option : kLongOptions) {
        const char *value = nullptr;
        if (quro_utf_get_long_opt(option.name, argument, &value)) {
            return option.apply(ctx, value);
        }
    }
    return false;
}

bool quro_utfp_apply_short_option(const quro_utfp_parse_context &ctx, char letter)
{
    quro_utf_test_specifier *spec = ctx.spec;
    switch (letter) {
    case 'a':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_ABORT);
    case 'd':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_DEBUG);
    case 'f':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_FAIL);
    case 'i':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_INFO);
    case 'k':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_SKIP);
    case 'p':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_PASS);
    case 's':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_SUMMARY);
    case 't':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_FATAL);
    case 'w':
        return quro_utfp_add_mask(spec, QURO_UTF_LOG_WARN);
    case 'q':
        return quro_utfp_set_mask(spec, QURO_UTF_LOG_FATAL);
    case 'v':
        return quro_utfp_set_mask(spec, QURO_UTF_LOG_ALL);
    case 'e':
        spec->options &= ~QURO_UTF_OPTION_NO_EXPECTED_FAILURE;
        return true;
    case 'n':
        spec->options |= QURO_UTF_OPTION_NO_BUFFER;
        return true;
    case 'h':
        quro_utfp_print_help(ctx.help, 0);
    default:
        return false;
    }
}

void quro_utfp_parse_arguments(const quro_utfp_parse_context &ctx, int argc, const char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const char *argument = argv[i];
        if (quro_utf_is_long_opt(argument)) {
            if (!quro_utfp_apply_long_option(ctx, argument)) {
                quro_utfp_pass_to_parser(ctx, argument);
            }
        } else if (quro_utf_is_short_opt(argument)) {
            const char *cursor = argument + 1;
            for (char letter = quro_utf_get_short_opt(&cursor); letter != '\0';
                 letter = quro_utf_get_short_opt(&cursor)) {
                if (!quro_utfp_apply_short_option(ctx, letter)) {
                    const char unknown[3] = {'-', letter, '\0'};
                    quro_utfp_pass_to_parser(ctx, unknown);
                }
            }
        } else {
            quro_utfp_pass_to_parser(ctx, argument);
        }
    }
}

void quro_utfp_set_defaults(quro_utf_test_specifier *spec, int argc, const char **argv)
{
    spec->restart_test = -1;
    spec->first_test = 0;
    spec->last_test = -1;
    spec->restart_fixture = -1;
    spec->first_fixture = 0;
    spec->last_fixture = -1;
    spec->resfail_start = 0;
    spec->resfail_end = UINT64_MAX;
    spec->benchmark_consolidate_method = QURO_UTF_CONSOLIDATE_MEAN;
    spec->options = QURO_UTF_OPTION_NO_EXPECTED_FAILURE;
    spec->min_error_level = QURO_UTF_RESULT_FAIL;
    spec->argc = argc;
    spec->argv = argv;
}

int quro_utfp_run_simple(quro_utf_test_specifier *spec, quro_utf_suite_factory factory)
{
    quro_utf_mempool result_pool;
    quro_utf_mempool suite_pool;
    quro_utf_result_set *results = nullptr;
    const int setup = quro_utf_test_default_setup(&result_pool, &suite_pool, &results);
    if (setup != 0) {
        return setup;
    }
    quro_utf_suite *first = factory(&suite_pool, results);
    bool built = first != nullptr;
    for (const quro_utf_suite *suite = first; suite != nullptr; suite = suite->next_suite) {
        built = built && suite->status != QURO_UTF_RESULT_FATAL;
    }
    if (!built) {
        quro_utf_mempool_destroy(&suite_pool);
        quro_utf_destroy_result_set(results);
        quro_utf_mempool_destroy(&result_pool);
        return kSetupFailed;
    }
    return quro_utf_test_default_exec_and_teardown(spec, first, &result_pool, &suite_pool, &results);
}

int quro_utfp_main(quro_utf_run_function run, quro_utf_suite_factory factory, quro_utf_parse_function parse,
                   quro_utf_help_function help, int argc, const char **argv)
{
    quro_utf_test_specifier spec;
    memset(static_cast<void *>(&spec), 0, sizeof(spec));
    quro_utfp_current_spec = &spec;
    if (quro_utf_mempool_init(&spec.arg_pool, kArgPoolBlockSize) != QURO_UTF_MEM_OK) {
        quro_utf_logerr("UTF: Failed to allocate arg_pool");
        quro_utfp_current_spec = nullptr;
        return kSetupFailed;
    }
    quro_utfp_set_defaults(&spec, argc, argv);
    int result = 0;
    if (parse != nullptr && parse(&spec, &spec.arg_pool, nullptr) == 0) {
        quro_utf_logerr("UTF: Suite failed parser setup");
        result = kSetupFailed;
    } else {
        quro_utfp_parse_arguments(quro_utfp_parse_context{&spec, parse, help}, argc, argv);
        if (!spec.include_seen) {
            spec.include_flags = QURO_UTF_FLAG_ALL;
        }
        if (spec.log_mask == 0) {
            spec.log_mask = QURO_UTF_LOG_DEFAULT;
        }
        result = run != nullptr ? run(&spec) : quro_utfp_run_simple(&spec, factory);
    }
    quro_utf_mempool_destroy(&spec.arg_pool);
    quro_tpi_free(static_cast<void *>(spec.suite_list));
    quro_tpi_free(static_cast<void *>(spec.test_list));
    if (quro_utfp_benchmark_stream != nullptr) {
        quro_tpi_fclose(quro_utfp_benchmark_stream);
        quro_utfp_benchmark_stream = nullptr;
    }
    const unsigned min_error_level = spec.min_error_level;
    quro_utfp_current_spec = nullptr;
    return result >= 0 && static_cast<unsigned>(result) < min_error_level ? 0 : result;
}

int quro_utfp_main_with_lock(quro_utf_run_function run, quro_utf_suite_factory factory, quro_utf_parse_function parse,
                             quro_utf_help_function help, int argc, const char **argv)
{
    if (!quro_tpi_mutex_init(&quro_utfp_current_suite_lock)) {
        quro_utf_logerr("UTF: Failed to allocate UTF suite mutex");
        return kSetupFailed;
    }
    const int result = quro_utfp_main(run, factory, parse, help, argc, argv);
    quro_tpi_mutex_term(&quro_utfp_current_suite_lock);
    return result;
}

} // namespace

int quro_utf_test_main(quro_utf_run_function run, quro_utf_parse_function parse, quro_utf_help_function help, int argc,
                       const char **argv)
{
    QURO_UTFP_ASSERT(NULL != run);
    return quro_utfp_main_with_lock(run, nullptr, parse, help, argc, argv);
}

int quro_utf_test_main_simple(quro_utf_suite_factory factory, quro_utf_parse_function parse,
                              quro_utf_help_function help, int argc, const char **argv)
{
    QURO_UTFP_ASSERT(NULL != factory);
    return quro_utfp_main_with_lock(nullptr, factory, parse, help, argc, argv);
}

int quro_utf_test_default_setup(quro_utf_mempool *result_pool, quro_utf_mempool *suite_pool,
                                quro_utf_result_set **results)
{
    if (quro_utf_mempool_init(result_pool, kPoolBlockSize) != QURO_UTF_MEM_OK) {
        return kSetupFailed;
    }
    if (quro_utf_mempool_init(suite_pool, kPoolBlockSize) != QURO_UTF_MEM_OK) {
        quro_utf_mempool_destroy(result_pool);
        return kSetupFailed;
    }
    *results = quro_utf_create_result_set(result_pool);
    if (*results == nullptr) {
        quro_utf_mempool_destroy(suite_pool);
        quro_utf_mempool_destroy(result_pool);
        return kSetupFailed;
    }
    if (quro_utfp_current_spec != nullptr) {
        (*results)->benchmark_repeats = quro_utfp_current_spec->benchmark_repeats;
        (*results)->benchmark_consolidate_method = quro_utfp_current_spec->benchmark_consolidate_method;
    }
    return 0;
}

int quro_utf_test_default_exec_and_teardown(quro_utf_test_specifier *spec, quro_utf_suite *first,
                                            quro_utf_mempool *result_pool, quro_utf_mempool *suite_pool,
                                            quro_utf_result_set **results)
{
    quro_utf_run_suite_list(first, spec);
    int result = 0;
    if (spec->mode == QURO_UTF_MODE_EXECUTE) {
        result = quro_utf_print_results(*results, spec->log_mask);
    }
    quro_utf_mempool_destroy(suite_pool);
    quro_utf_destroy_result_set(*results);
    *results = nullptr;
    quro_utf_mempool_destroy(result_pool);
    return result;
}

int quro_utf_is_long_opt(const char *text)
{
    return strlen(text) > 1 && strncmp(text, "--", 2) == 0;
}

int quro_utf_get_long_opt(const char *name, const char *text, const char **value)
{
    const size_t length = strlen(name);
    if (length > 0 && name[length - 1] == '=') {
        if (strncmp(text, name, length) != 0 || text[length] == '\0') {
            return 0;
        }
        *value = text + length;
        return 1;
    }
    if (strcmp(text, name) != 0) {
        return 0;
    }
    *value = nullptr;
    return 1;
}

int quro_utf_is_short_opt(const char *text)
{
    return text[0] == '-';
}

char quro_utf_get_short_opt(const char **cursor)
{
    const char letter = **cursor;
    if (letter != '\0') {
        ++*cursor;
    }
    return letter;
}

int quro_utf_is_argument_type(const char *text, const char *name)
{
    const char *equals = strchr(text, '=');
    const size_t length = equals != nullptr ? static_cast<size_t>(equals - text) : strlen(name);
    const auto two_dashes = [](const char *s) { return s[0] == '-' && s[1] == '-' && s[2] != '-'; };
    if (!two_dashes(text) || !two_dashes(name)) {
        return 0;
    }
    for (size_t i = 2; i < length; ++i) {
        if (name[i] == '\0' || text[i] == '\0') {
            return 0;
        }
        if (text[i] != '-' && name[i] != '_' && text[i] != name[i]) {
            return 0;
        }
    }
    return name[length] == '\0';
}

int quro_utf_is_test_case_arg(const char *text)
{
    if (strncmp(text, "--", 2) != 0) {
        return 0;
    }
    const char *first_dot = strchr(text + 2, '.');
    const char *second_dot = first_dot != nullptr ? strchr(first_dot + 1, '.') : nullptr;
    if (second_dot == nullptr) {
        return 0;
    }
    const char *equals = strchr(second_dot + 1, '=');
    return equals != nullptr && equals[1] != '\0';
}

bool quro_utfp_parse_number(const char *text, uint64_t *value)
{
    unsigned base = 10;
    const char *digits = text;
    if (strlen(text) > 2 && text[0] == '0') {
        if (text[1] == 'x' || text[1] == 'X') {
            base = 16;
            digits += 2;
        } else if (text[1] == 'd' || text[1] == 'D') {
            digits += 2;
        }
    }
    uint32_t number = 0;
    for (const char *c = digits; *c != '\0'; ++c) {
        unsigned digit = 0;
        if (*c >= '0' && *c <= '9') {
            digit = static_cast<unsigned>(*c - '0');
        } else if (base == 16 && *c >= 'a' && *c <= 'f') {
            digit = static_cast<unsigned>(*c - 'a' + 10);
        } else if (base == 16 && *c >= 'A' && *c <= 'F') {
            digit = static_cast<unsigned>(*c - 'A' + 10);
        } else {
            return false;
        }
        number = number * base + digit;
    }
    *value = number;
    return true;
}

unsigned quro_utfp_parse_filters(quro_utf_test_specifier *spec, quro_utf_parse_function parse,
                                 quro_utf_help_function help, const char *prefix, const char *value)
{
    unsigned flags = 0;
    const char *token = value;
    for (;;) {
        const size_t length = strcspn(token, ",-");
        bool matched = false;
        for (const quro_utfp_flag_mapping &row : quro_utf_mapping_table) {
            if (strlen(row.name) == length && strncmp(row.name, token, length) == 0) {
                quro_utf_log("%s ", row.name);
                flags |= row.flag;
                matched = true;
                break;
            }
        }
        if (!matched && strlen(prefix) + length <= kFilterArgumentSize) {
            // Deliberately bounded: a joined text of exactly the buffer size loses its last character.
            char argument[kFilterArgumentSize];
            quro_tpi_snprintf(argument, sizeof(argument), "%s%.*s", prefix, static_cast<int>(length), token);
            quro_utfp_pass_to_parser(quro_utfp_parse_context{spec, parse, help}, argument);
            quro_utf_log("%.*s ", static_cast<int>(length), token);
        }
        if (token[length] == '\0') {
            break;
        }
        token += length + 1;
    }
    return flags;
}
