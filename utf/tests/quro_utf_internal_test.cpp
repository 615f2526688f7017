#include <gtest/gtest.h>

#include <string.h>

#include <deque>
#include <string>
#include <vector>

#include "quro_utf_internal.h"

namespace {

/* What `call` prints. */
template <typename Call> std::string printed(Call call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

std::vector<std::string> refused_filters;

int record_filter(quro_utf_test_specifier *, quro_utf_mempool *, const char *argument)
{
    refused_filters.emplace_back(argument);
    return 1;
}

TEST(CommandLine, NumbersOptionNamesAndFilters)
{
    uint64_t value = 0;
    const std::pair<const char *, uint64_t> accepted[] = {{"31", 31},
                                                          {"0x1F", 31},
                                                          {"0X1f", 31},
                                                          {"0d12", 12},
                                                          {"007", 7},
                                                          {"4294967297", 1},
                                                          {"0xFFFFFFFF", 0xFFFFFFFFu}};
    for (const auto &[text, expected] : accepted) {
        ASSERT_TRUE(quro_utfp_parse_number(text, &value)) << text;
        EXPECT_EQ(value, expected) << text;
    }
    for (const char *text : {"12a", "0x", "0xg1", "-1", "0d1f", "1 "}) {
        EXPECT_FALSE(quro_utfp_parse_number(text, &value)) << text;
    }

    const char *option = nullptr;
    EXPECT_TRUE(quro_utf_get_long_opt("--suite=", "--suite=abc", &option));
    EXPECT_STREQ(option, "abc");
    EXPECT_FALSE(quro_utf_get_long_opt("--suite=", "--suite=", &option)) << "a value needs one character";
    EXPECT_FALSE(quro_utf_get_long_opt("--resfail", "--resfail-start=1", &option));
    EXPECT_TRUE(quro_utf_is_long_opt("--"));
    EXPECT_FALSE(quro_utf_is_long_opt("-"));

    EXPECT_TRUE(quro_utf_is_argument_type("--first-suite=x", "--first-suite"));
    EXPECT_TRUE(quro_utf_is_argument_type("--a-c=1", "--abc")) << "'-' in the text matches anything";
    EXPECT_TRUE(quro_utf_is_argument_type("--abc", "--a_c")) << "'_' in the name matches anything";
    EXPECT_FALSE(quro_utf_is_argument_type("--ab=1", "--abc"));
    EXPECT_FALSE(quro_utf_is_argument_type("--abc=1", "--ab"));
    EXPECT_FALSE(quro_utf_is_argument_type("---abc", "---abc"));
    EXPECT_FALSE(quro_utf_is_argument_type("-abc", "-abc"));

    EXPECT_TRUE(quro_utf_is_test_case_arg("--suite.test.param=1"));
    EXPECT_FALSE(quro_utf_is_test_case_arg("--suite.test.param="));
    EXPECT_FALSE(quro_utf_is_test_case_arg("--suite.test=1"));
    EXPECT_FALSE(quro_utf_is_test_case_arg("-suite.test.param=1"));

    // Filters split at commas and dashes.
    quro_utf_test_specifier spec{};
    unsigned flags = 0;
    const std::string echoed = printed([&] {
        flags = quro_utfp_parse_filters(&spec, record_filter, nullptr, "--include=", "smoketest,performance-mine");
    });
    EXPECT_EQ(flags, QURO_UTF_FLAG_SMOKETEST | QURO_UTF_FLAG_PERFORMANCE);
    EXPECT_EQ(echoed, "smoketest performance mine ");
    EXPECT_EQ(refused_filters, std::vector<std::string>{"--include=mine"});
    const std::string too_long(130, 'x');
    EXPECT_EQ(quro_utfp_parse_filters(&spec, record_filter, nullptr, "--include=", too_long.c_str()), 0u);
    EXPECT_EQ(refused_filters.size(), 1u) << "a joined text over the bound is dropped";
}

TEST(Helpers, TextCompareIgnoresTheAmountOfWhiteSpaceAndConsolidationReduces)
{
    EXPECT_EQ(quro_utf_whitespace_strcmp("a b\tc", "a  \n b   c  "), 0);
    EXPECT_EQ(quro_utf_whitespace_strcmp("x y ", "x\ty"), 0);
    EXPECT_EQ(quro_utf_whitespace_strcmp(nullptr, nullptr), 0);
    EXPECT_EQ(quro_utf_whitespace_strcmp(nullptr, "a"), -1);
    EXPECT_EQ(quro_utf_whitespace_strcmp("a", nullptr), 1);
    EXPECT_GT(quro_utf_whitespace_strcmp("a b", "a c"), 0) << "positive when the first text sorts first";
    EXPECT_LT(quro_utf_whitespace_strcmp("ax", "a"), 0);
    EXPECT_GT(quro_utf_whitespace_strcmp("a", "ax"), 0);

    float counts[] = {5, 1, 4, 2, 3};
    EXPECT_FLOAT_EQ(quro_utfp_consolidate(QURO_UTF_CONSOLIDATE_MEAN, counts, 5), 3.0f);
    EXPECT_FLOAT_EQ(quro_utfp_consolidate(QURO_UTF_CONSOLIDATE_MIN, counts, 5), 1.0f);
    EXPECT_FLOAT_EQ(quro_utfp_consolidate(QURO_UTF_CONSOLIDATE_MAX, counts, 5), 5.0f);
    EXPECT_FLOAT_EQ(quro_utfp_consolidate(QURO_UTF_CONSOLIDATE_MEDIAN, counts, 5), 3.0f);
    float even[] = {9, 1, 7, 3};
    EXPECT_FLOAT_EQ(quro_utfp_consolidate(QURO_UTF_CONSOLIDATE_MEDIAN, even, 4), 5.0f);
}

quro_utf_suite make_suite(const char *name)
{
    quro_utf_suite suite{};
    suite.name = name;
    return suite;
}

TEST(Selection, SuiteRangeLatchesForTheWholeRunAndTestsByRestartRangeAndFlags)
{
    quro_utf_test_specifier spec{};
    spec.first_suite = "B";
    spec.last_suite = "C";
    quro_utfp_selection latches{};
    std::string picked;
    for (const char *name : {"A", "B", "C", "C", "D", "B"}) {
        quro_utf_suite suite = make_suite(name);
        if (quro_utfp_select_suite(&latches, &suite, &spec)) {
            picked += name;
        }
    }
    EXPECT_EQ(picked, "BCC");

    const char *list[] = {"D", "A"};
    quro_utf_test_specifier listed{};
    listed.suite_list = list;
    listed.n_suite_list = 2;
    quro_utfp_selection fresh{};
    quro_utf_suite a = make_suite("A");
    quro_utf_suite b = make_suite("B");
    EXPECT_TRUE(quro_utfp_select_suite(&fresh, &a, &listed));
    EXPECT_FALSE(quro_utfp_select_suite(&fresh, &b, &listed));

    quro_utf_test_specifier tests{};
    tests.restart_test = 3;
    tests.first_test = 0;
    tests.last_test = 4;
    tests.include_flags = QURO_UTF_FLAG_ALL;
    tests.exclude_flags = QURO_UTF_FLAG_DEPRECATED;
    tests.options = QURO_UTF_OPTION_RESFAIL;
    quro_utfp_selection test_latches{};
    quro_utf_suite first = make_suite("first");
    quro_utf_suite second = make_suite("second");
    struct Case {
        quro_utf_suite *suite;
        unsigned id;
        unsigned flags;
        bool selected;
    };
    const Case cases[] = {
        {&first, 1, QURO_UTF_FLAG_GENERIC, false},     // before the restart point
        {&first, 3, QURO_UTF_FLAG_GENERIC, true},      // the restart point
        {&first, 2, QURO_UTF_FLAG_GENERIC, true},      // the latch stays set
        {&first, 5, QURO_UTF_FLAG_GENERIC, false},     // above last_test
        {&second, 4, QURO_UTF_FLAG_DEPRECATED, false}, // excluded
        {&second, 4, QURO_UTF_FLAG_NO_RESFAIL | QURO_UTF_FLAG_GENERIC, false},
        {&second, 4, QURO_UTF_FLAG_NONE, false}, // carries no included flag
    };
    for (const Case &c : cases) {
        quro_utf_test test{};
        test.id = c.id;
        test.name = "t";
        test.flags = c.flags;
        c.suite->this_test = &test;
        EXPECT_EQ(quro_utfp_select_test(&test_latches, c.suite, &tests), c.selected) << c.id << " " << c.flags;
    }
}

// In-process runs of the framework, checking the recorded results and counters.
class FrameworkRun : public testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(quro_tpi_mutex_init(&quro_utfp_current_suite_lock)); }

    void SetUp() override
    {
        spec_.last_test = spec_.last_fixture = spec_.restart_test = spec_.restart_fixture = -1;
        spec_.include_flags = QURO_UTF_FLAG_ALL;
        spec_.options = QURO_UTF_OPTION_NO_EXPECTED_FAILURE;
        spec_.log_mask = QURO_UTF_LOG_DEFAULT;
        ASSERT_EQ(quro_utf_test_default_setup(&result_pool_, &suite_pool_, &results_), 0);
        suite_ = quro_utf_create_suite(&suite_pool_, "S", 2, nullptr, remove_fixture, results_, nullptr);
        benchmark_.name = "b";
        removed = 0;
    }

    void TearDown() override
    {
        quro_utf_mempool_destroy(&suite_pool_);
        quro_utf_destroy_result_set(results_);
        quro_utf_mempool_destroy(&result_pool_);
    }

    std::vector<std::string> run()
    {
        printed([this] { quro_utf_run_suite_list(suite_, &spec_); });
        std::vector<std::string> lines;
        for (const quro_utf_result *r = results_->first_result; r != nullptr; r = r->next_result) {
            lines.push_back(std::string(r->test_name) + "/" + std::to_string(r->fixture_index) + " " +
                            std::to_string(r->status) + " " + r->message);
        }
        return lines;
    }

    /* Timings of fixture 0, then one of fixture 1, of a benchmark test. */
    void add_benchmarks(std::initializer_list<float> first, float second)
    {
        for (float count : first) {
            quro_utf_add_result(results_, suite_, &benchmark_, 0, QURO_UTF_RESULT_BENCHMARK,
                                "Count: x, Units: \"u\", Type: 0", count);
        }
        quro_utf_add_result(results_, suite_, &benchmark_, 1, QURO_UTF_RESULT_BENCHMARK,
                            "Count: y, Units: \"u\", Type: 0", second);
    }

    static void remove_fixture(quro_utf_suite *) { ++removed; }

    static inline int removed = 0;
    quro_utf_test_specifier spec_{};
    quro_utf_mempool result_pool_{};
    quro_utf_mempool suite_pool_{};
    quro_utf_result_set *results_ = nullptr;
    quro_utf_suite *suite_ = nullptr;
    quro_utf_test benchmark_{};
};

TEST_F(FrameworkRun, VerdictsAgainstDeclaredOutcomes)
{
    quro_utf_add_test(suite_, 1, "expect_fail", [](quro_utf_suite *) {
        quro_utf_test_expect_fail();
        quro_utf_assert_fail(0, "hidden");
    });
    quro_utf_add_test(suite_, 2, "expect_warn_missing", [](quro_utf_suite *) { quro_utf_test_expect_warn(); });
    quro_utf_add_test(suite_, 3, "leaves_early", [](quro_utf_suite *) {
        quro_utf_assert_fail_ex(0, "left");
        quro_utf_test_fail("not reached");
    });
    quro_utf_add_test(suite_, 4, "caught", [](quro_utf_suite *suite) {
        quro_utf_assert_fail(quro_utf_catch(
                                 suite, [](void *) { quro_utf_abort(); }, nullptr) == 1,
                             "no abort");
    });
    const std::vector<std::string> expected = {"expect_warn_missing/0 4 Fail (expected warn missing)",
                                               "expect_warn_missing/1 4 Fail (expected warn missing)",
                                               "leaves_early/0 4 left",
                                               "leaves_early/1 4 left",
                                               "caught/0 0 (implicit pass)",
                                               "caught/1 0 (implicit pass)"};
    std::vector<std::string> lines = run();
    std::erase_if(lines, [](const std::string &l) { return l.starts_with("expect_fail/") && l.ends_with(" 0 "); });
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(results_->tests_considered, 8u);
    EXPECT_EQ(results_->tests_passed, 4u);
    EXPECT_EQ(results_->suites_considered, 1u);
    EXPECT_EQ(results_->suites_passed, 0u);
    EXPECT_EQ(removed, 8);
}

TEST_F(FrameworkRun, FatalStopsLaterFixturesAndAbortSkipsTeardown)
{
    quro_utf_add_test(suite_, 1, "aborts", [](quro_utf_suite *) { quro_utf_abort(); });
    quro_utf_add_test(suite_, 2, "fatal", [](quro_utf_suite *suite) {
        quro_utf_assert_fatal(suite->fixture_index != 0, "fatal in fixture 0");
    });
    // Failed unrun as an expected failure, it must not lift the fatal verdict for the tests after it.
    quro_utf_add_test_with_filters(
        suite_, 3, "unrun", [](quro_utf_suite *) {}, QURO_UTF_FLAG_EXPECTEDFAILURE);
    quro_utf_add_test(suite_, 4, "after", [](quro_utf_suite *) { quro_utf_test_fail("should not run"); });
    const std::vector<std::string> expected = {"aborts/0 6 ",
                                               "aborts/1 6 ",
                                               "fatal/0 5 fatal in fixture 0",
                                               "fatal/1 5 UTF: Failed because of earlier FATAL",
                                               "unrun/0 4 UTF: Test marked as 'Expected Failure' not run",
                                               "unrun/1 4 UTF: Test marked as 'Expected Failure' not run",
                                               "after/0 5 UTF: Failed because of earlier FATAL",
                                               "after/1 5 UTF: Failed because of earlier FATAL"};
    EXPECT_EQ(run(), expected);
    EXPECT_EQ(removed, 4) << "aborted fixtures are not torn down";
    EXPECT_EQ(results_->has_abort_tests, 1u);
}

TEST_F(FrameworkRun, DsprintfTruncatesLongTexts)
{
    quro_utfp_current_suite = suite_;
    const std::string long_text(2000, 'y');
    const char *text = nullptr;
    const std::string out = printed([&] { text = quro_utf_dsprintf("%s", long_text.c_str()); });
    quro_utfp_current_suite = nullptr;
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(strlen(text), 1023u);
    EXPECT_EQ(out, "UTF: Truncated dsprintf message %s\n");
}

TEST_F(FrameworkRun, BenchmarkRepeatsFoldIntoTheFirstRecord)
{
    results_->benchmark_repeats = 3;
    results_->benchmark_consolidate_method = QURO_UTF_CONSOLIDATE_MAX;
    add_benchmarks({2.0f, 7.0f, 4.0f}, 1.0f);
    printed([this] { EXPECT_EQ(quro_utf_print_result_details(results_, QURO_UTF_LOG_DEFAULT), QURO_UTF_RESULT_PASS); });
    ASSERT_NE(results_->first_result, nullptr);
    EXPECT_STREQ(results_->first_result->message, "Max: 7.000000, Units: \"u\", Type: 0");
    ASSERT_NE(results_->first_result->next_result, nullptr);
    EXPECT_EQ(results_->first_result->next_result->fixture_index, 1);
    EXPECT_EQ(results_->first_result->next_result, results_->last_result);
}

std::string summary_of(quro_utf_result_set *results)
{
    std::string summary = printed([results] { quro_utf_print_result_summary(results, QURO_UTF_LOG_DEFAULT); });
    const size_t run_time = summary.find("  Run time ");
    return run_time == std::string::npos ? summary : summary.erase(run_time, summary.find('\n', run_time) - run_time);
}

constexpr char kRule[] = "=======================================================\n";

TEST_F(FrameworkRun, SummaryCountsAssertionsTestsAndSuites)
{
    suite_->fixture_variants = 1;
    quro_utf_add_test(suite_, 1, "warns", [](quro_utf_suite *) { quro_utf_test_warn("w"); });
    quro_utf_add_test(suite_, 2, "fails_twice", [](quro_utf_suite *) {
        quro_utf_test_fail("f1");
        quro_utf_test_fail("f2");
    });
    quro_utf_add_test(suite_, 3, "skips", [](quro_utf_suite *) { quro_utf_test_skip(); });
    quro_utf_add_test_with_filters(
        suite_, 4, "unrun", [](quro_utf_suite *) {}, QURO_UTF_FLAG_EXPECTEDFAILURE);
    run();
    EXPECT_EQ(summary_of(results_), std::string(kRule) + "UTF: Result Summary\n" + kRule +
                                        "  1    assertion Warn\n"
                                        "  3    assertions Fail\n"
                                        "\n"
                                        "  4    tests considered\n"
                                        "  1    tests passed\n"
                                        "  1    tests skipped\n"
                                        "  1    tests expected to fail\n"
                                        "  2    tests failed\n"
                                        "\n"
                                        "  1    suites considered\n"
                                        "  1    suites did not pass\n"
                                        "\n"
                                        "\n" +
                                        kRule);
}

TEST_F(FrameworkRun, SummaryOfAPassingRunSaysAllPassedAndWarnsOfResfailAndAborts)
{
    quro_utf_add_test(suite_, 1, "passes", [](quro_utf_suite *) { quro_utf_test_pass(nullptr); });
    quro_utf_add_test(suite_, 2, "expects_abort", [](quro_utf_suite *) {
        quro_utf_test_expect_abort();
        quro_utf_abort();
    });
    run();
    spec_.options |= QURO_UTF_OPTION_RESFAIL;
    quro_utfp_current_spec = &spec_;
    const std::string summary = summary_of(results_);
    quro_utfp_current_spec = nullptr;
    EXPECT_EQ(summary.substr(0, summary.find("\n\n[UTF EXPECTED ABORT]")),
              std::string(kRule) + "UTF: Result Summary\n" + kRule +
                  "WARNING: Resfail enabled, tests may fail but must not\ncrash or cause the program to otherwise lock "
                  "up\n" +
                  kRule +
                  "  All assertions passed\n"
                  "\n"
                  "  All 4 tests passed\n"
                  "\n"
                  "  All 1 suites passed\n"
                  "\n");
    EXPECT_NE(summary.find("\n\n[UTF EXPECTED ABORT]\n*WARNING* if you find your job has expired"), std::string::npos);
}

TEST_F(FrameworkRun, RegistrationRefusesReservedIdsAndDuplicatesAndFlagsReservedNames)
{
    const auto add = [this](unsigned id, const char *name) {
        suite_->status = QURO_UTF_RESULT_UNKNOWN;
        const std::string out = printed([&] { quro_utf_add_test(suite_, id, name, [](quro_utf_suite *) {}); });
        return std::to_string(suite_->status) + " " + out;
    };
    EXPECT_EQ(add(0xF0000000u, "reserved"), "5 UTF: Test ID in reserved range [0xf0000000]\n");
    EXPECT_EQ(add(0xEFFFFFFFu, "last"), "-1 ");
    EXPECT_EQ(add(1, "QA_named"), "5 UTF: Test Name in reserved space [QA_named]\n");
    EXPECT_EQ(add(1, "other"), "5 UTF: Duplicate Test ID 1 / 0x000001\n");
    EXPECT_EQ(add(2, "QA_named"), "5 UTF: Test Name in reserved space [QA_named]\nUTF: Duplicate Test Name QA_named\n");
    EXPECT_EQ(add(3, "a"), "-1 ");
    EXPECT_EQ(add(4, "b"), "-1 ");
    EXPECT_EQ(add(4, "a"), "5 UTF: Duplicate Test Name a\n") << "the earlier test decides which is reported";
    EXPECT_EQ(add(3, "b"), "5 UTF: Duplicate Test ID 3 / 0x000003\n");
    std::deque<std::string> names; // registered by pointer: they must stay where they are
    for (unsigned id = 100; id < 400; ++id) {
        ASSERT_EQ(add(id, names.emplace_back("t" + std::to_string(id)).c_str()), "-1 ");
    }
    EXPECT_EQ(add(399, "new"), "5 UTF: Duplicate Test ID 399 / 0x00018f\n");
    EXPECT_EQ(add(5000, "t100"), "5 UTF: Duplicate Test Name t100\n");
    std::string registered;
    unsigned count = 0;
    for (const quro_utf_test *test = suite_->first_test; test != nullptr; test = test->next_test, ++count) {
        registered += count < 4 ? std::string(test->name) + " " : "";
    }
    EXPECT_EQ(registered, "last QA_named a b ");
    EXPECT_EQ(count, 304u);

    // While ids ascend no id table exists yet; the first id that does not ascend still finds its twin.
    suite_ = quro_utf_create_suite(&suite_pool_, "Ascending", 1, nullptr, nullptr, results_, nullptr);
    EXPECT_EQ(add(10, "ten"), "-1 ");
    EXPECT_EQ(add(20, "twenty"), "-1 ");
    EXPECT_EQ(add(20, "again"), "5 UTF: Duplicate Test ID 20 / 0x000014\n");
    EXPECT_EQ(add(15, "fifteen"), "-1 ");
    EXPECT_EQ(add(10, "ten_again"), "5 UTF: Duplicate Test ID 10 / 0x00000a\n");
    EXPECT_EQ(add(30, "fifteen"), "5 UTF: Duplicate Test Name fifteen\n");
}

TEST_F(FrameworkRun, FixtureThatCannotBeCreatedFailsFatallyWithoutRunningItsTest)
{
    suite_->create_fixture = [](quro_utf_suite *suite) -> void * {
        return suite->fixture_index == 0 ? nullptr : &suite->fixture_pool;
    };
    quro_utf_add_test(suite_, 1, "t", [](quro_utf_suite *) { quro_utf_test_fail("ran"); });
    const std::vector<std::string> expected = {"t/0 5 UTF: Failed fixture creation",
                                               "t/0 4 UTF: Fixture creation failed [1]",
                                               "t/1 5 UTF: Failed because of earlier FATAL"};
    EXPECT_EQ(run(), expected);
    EXPECT_EQ(removed, 1) << "only the fixture that was created is torn down";
    EXPECT_EQ(results_->tests_considered, 2u);
    EXPECT_EQ(results_->tests_passed, 0u);
}

// Storage follows the timings there are, not the repeat count asked for.
TEST_F(FrameworkRun, ConsolidationOfAHugeRepeatCountUsesTheTimingsGathered)
{
    results_->benchmark_repeats = 0xFFFFFFFFu;
    add_benchmarks({2.0f, 4.0f}, 5.0f);
    const std::string out = printed([this] { quro_utf_print_result_details(results_, QURO_UTF_LOG_DEFAULT); });
    EXPECT_EQ(out.find("Failed to allocate"), std::string::npos);
    ASSERT_NE(results_->first_result, nullptr);
    EXPECT_STREQ(results_->first_result->message, "Mean: 3.000000, Units: \"u\", Type: 0");
    ASSERT_NE(results_->first_result->next_result, nullptr);
    EXPECT_STREQ(results_->first_result->next_result->message, "Mean: 5.000000, Units: \"u\", Type: 0");
}

} // namespace
