// Black-box tests: run the demonstration program with command lines and check its standard output
// and how it ended.
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>
#include <vector>

namespace {

struct DemoRun {
    std::string out;
    int wait_status = 0;

    int exit_code() const { return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1; }
    int term_signal() const { return WIFSIGNALED(wait_status) ? WTERMSIG(wait_status) : 0; }
    bool has(const std::string &text) const { return out.find(text) != std::string::npos; }
    size_t count(const std::string &text) const
    {
        size_t n = 0;
        for (size_t at = out.find(text); at != std::string::npos; at = out.find(text, at + 1)) {
            ++n;
        }
        return n;
    }
};

// Standard error is merged into the output only where a test asks for it (crash traces).
DemoRun run_demo(const std::vector<std::string> &args, bool merge_stderr = false)
{
    int pipe_fds[2];
    EXPECT_EQ(pipe(pipe_fds), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipe_fds[1], 1);
        if (merge_stderr) {
            dup2(pipe_fds[1], 2);
        }
        close(pipe_fds[0]);
        close(pipe_fds[1]);
        // Sanitizer runtimes would otherwise catch the demo's crash before its own handlers, and the
        // crash handlers knowingly call functions that are not async-signal-safe.
        setenv("ASAN_OPTIONS", "handle_segv=0:handle_abort=0:detect_leaks=0", 1);
        setenv("TSAN_OPTIONS", "handle_segv=0:handle_abort=0:report_signal_unsafe=0", 1);
        std::vector<char *> argv{const_cast<char *>(QURO_UTF_DEMO_PATH)};
        for (const std::string &arg : args) {
            argv.push_back(const_cast<char *>(arg.c_str()));
        }
        argv.push_back(nullptr);
        execv(QURO_UTF_DEMO_PATH, argv.data());
        _exit(127);
    }
    close(pipe_fds[1]);
    DemoRun run;
    char buffer[4096];
    for (ssize_t n; (n = read(pipe_fds[0], buffer, sizeof(buffer))) > 0;) {
        run.out.append(buffer, static_cast<size_t>(n));
    }
    close(pipe_fds[0]);
    waitpid(child, &run.wait_status, 0);
    // A test's running time depends on the machine's load; the lines are checked without it.
    run.out = std::regex_replace(run.out, std::regex(R"(D:\{[0-9]+\})"), "D:{ms}");
    return run;
}

constexpr char kBanner[] = "=======================================================\n"
                           "  Test Framework Demonstration\n"
                           "=======================================================\n"
                           "\n";

std::string filter_list(const char *default_name)
{
    std::string list;
    for (const char *name :
         {"none", "all", "smoketest", "performance", "deprecated", "expectedfailure", "generic", "resfail"}) {
        list += std::string(15, ' ') + name + (std::string(name) == default_name ? " [default]\n" : "\n");
    }
    return list;
}

constexpr char kDemoHelp[] = "Demonstration options:\n"
                             "       --failures  Add a suite whose tests fail, abort and stop on a fatal error\n"
                             "       --crash     Add a suite whose test crashes\n";

constexpr char kDetails[] = "UTF: Result Details\n";

// The framework's own text is not restated here: its framing, the generated filter lists and the
// program's help function behind it are what can go wrong.
TEST(DemoCommandLine, HelpListsTheFiltersThenTheProgramsOwnAndRefusedArgumentsPrintItAndExitOne)
{
    const DemoRun help = run_demo({"--help"});
    EXPECT_EQ(help.exit_code(), 0);
    EXPECT_EQ(help.out.rfind(std::string(kBanner) + "\nThis will create a new set of tests and run them.\n", 0), 0u);
    EXPECT_TRUE(help.has("Include tests that match the given filter:\n" + filter_list("all") + "           Note"));
    EXPECT_TRUE(help.has("Exclude tests that match the given filter\n" + filter_list("none") + "       --list-suites"));
    EXPECT_TRUE(help.out.ends_with(std::string("status to non-0), for all tests.\n\n") + kDemoHelp)) << help.out;
    const DemoRun short_help = run_demo({"-h"});
    EXPECT_EQ(short_help.out, help.out);
    EXPECT_EQ(short_help.exit_code(), 0);

    const std::string help_text = help.out.substr(std::strlen(kBanner));
    for (const char *option : {"--bogus", "--testid=12a", "--resfail-start=0", "--consolidate=Mean", "-z"}) {
        const DemoRun run = run_demo({option});
        std::string expected(kBanner);
        expected.append("UTF: Unknown argument \"").append(option).append("\"\n").append(help_text);
        EXPECT_EQ(run.out, expected) << option;
        EXPECT_EQ(run.exit_code(), 1) << option;
    }
}

TEST(DemoCommandLine, OptionsTakeEffect)
{
    const DemoRun quiet = run_demo({"-vq"});
    EXPECT_FALSE(quiet.has("Warn: "));
    EXPECT_FALSE(quiet.has("UTF: Result Summary"));
    const DemoRun verbose = run_demo({"-qv"});
    EXPECT_TRUE(verbose.has("Pass: S:{Basics} T:{implicit_pass [0x0001]} F:{ [0x00]} D:{ms} - (implicit pass)\n"));
    EXPECT_TRUE(verbose.has("Running: S:{Basics} T:{warning [0x0002]} D:{ms}\n"));
    EXPECT_TRUE(verbose.has("UTF: Result Summary"));

    // The exit status follows the error level, a result at the level counting (the demo run's worst is a warning, 3).
    EXPECT_EQ(run_demo({}).exit_code(), 0);
    EXPECT_EQ(run_demo({"--error=3"}).exit_code(), 3);
    EXPECT_EQ(run_demo({"--failures"}).exit_code(), 6);
    EXPECT_EQ(run_demo({"--failures", "--error=7"}).exit_code(), 0);

    const DemoRun hex = run_demo({"--testid=0x1F", "-p"});
    EXPECT_TRUE(hex.has("Pass: S:{Basics} T:{hex_id [0x001f]}"));
    EXPECT_EQ(hex.count("Pass: "), 1u);
    const DemoRun resfail = run_demo({"--resfail-start=1", "--suite=Basics_resfail"});
    EXPECT_TRUE(resfail.has("UTF: Running Basics_resfail\n"));
    EXPECT_TRUE(resfail.has("WARNING: Resfail enabled, tests may fail but must not\ncrash or cause the program to "
                            "otherwise lock up\n"));
    EXPECT_EQ(resfail.exit_code(), 0);

    // Include filters are echoed and select.
    const DemoRun included = run_demo({"--include=smoketest,performance", "-ps"});
    EXPECT_TRUE(included.has("\nSetting include flags: smoketest performance \n"));
    EXPECT_EQ(included.count("Pass: "), 2u);
    EXPECT_TRUE(included.has("T:{smoke [0x0008]}"));
    EXPECT_TRUE(included.has("T:{performance [0x0009]}"));
    EXPECT_TRUE(included.has("  All 2 tests passed\n"));
}

TEST(DemoResults, VerdictsBufferingSilenceListingsAndBenchmarkRepeats)
{
    const std::string fail_line = "Fail: S:{Failures} T:{fail [0x0001]} F:{small [0x00]} D:{ms} - 2 + 2 == 5";
    const DemoRun buffered = run_demo({"--failures"});
    EXPECT_EQ(buffered.count(fail_line), 1u);
    EXPECT_GT(buffered.out.find(fail_line), buffered.out.find(kDetails));
    const DemoRun unbuffered = run_demo({"--failures", "--no_buffer"});
    EXPECT_EQ(unbuffered.count(fail_line), 2u);
    EXPECT_LT(unbuffered.out.find(fail_line), unbuffered.out.find(kDetails));
    EXPECT_FALSE(buffered.has("T:{expected_fail [0x0003]}"));
    EXPECT_EQ(buffered.count("UTF: Test marked as 'Expected Failure' not run\n"), 2u);
    EXPECT_FALSE(buffered.has("ran although marked"));
    EXPECT_FALSE(buffered.has("not reached"));
    EXPECT_TRUE(buffered.has("Fatal: S:{Failures} T:{fatal [0x0005]} F:{large [0x01]} D:{ms} - UTF: Failed because of "
                             "earlier FATAL\n"));
    EXPECT_TRUE(buffered.has("Abort: S:{Failures} T:{abort [0x0002]} F:{small [0x00]} D:{ms} - \n"));
    EXPECT_EQ(buffered.count("UTF: [BAD EXCEPTION MACRO] Warning UTF exception throwing assertion used from non-main "
                             "thread\n"),
              1u);
    EXPECT_TRUE(buffered.has("  4    suites considered\n  1    suites did not pass\n"));
    EXPECT_TRUE(buffered.has("[UTF EXPECTED ABORT]"));

    const DemoRun enabled = run_demo({"--failures", "-e", "--suite=Failures", "--test=expected_failure"});
    EXPECT_EQ(enabled.count("ran although marked as an expected failure"), 2u);

    const DemoRun silent = run_demo({"--failures", "--first-suite=Failures", "--silent"});
    const std::string after_details = silent.out.substr(silent.out.find(kDetails));
    EXPECT_EQ(after_details.find(": S:{"), std::string::npos);
    EXPECT_TRUE(silent.has("UTF: Result Summary"));
    EXPECT_EQ(silent.exit_code(), 6);

    // Listing lines are command lines.
    const std::string program = QURO_UTF_DEMO_PATH;
    const DemoRun suites = run_demo({"--list-suites"});
    EXPECT_TRUE(suites.has(program + " --suite=\"Basics\"\n" + program + " --suite=\"Benchmarks\"\n"));
    EXPECT_FALSE(suites.has("UTF: Result"));
    EXPECT_EQ(suites.exit_code(), 0);
    const DemoRun tests = run_demo({"--list-tests", "--first-test=6", "--last-test=7"});
    EXPECT_TRUE(tests.has(program + " --suite=\"Basics\" --test=\"catch\" --testid=6\n" + program +
                          " --suite=\"Basics\" --test=\"text_compare\" --testid=7\n"));
    EXPECT_EQ(tests.count(" --testid="), 2u);
    const DemoRun fixtures = run_demo({"--list-fixtures", "--failures", "--suite=Failures", "--test=fail"});
    EXPECT_TRUE(fixtures.has(program + " --suite=\"Failures\" --test=\"fail\" --testid=1 --fixture=0\n" + program +
                             " --suite=\"Failures\" --test=\"fail\" --testid=1 --fixture=1\n"));
    EXPECT_EQ(fixtures.count(" --fixture="), 2u);

    const DemoRun median = run_demo({"--benchmark=3", "--consolidate=median", "--suite=Benchmarks"});
    EXPECT_EQ(median.count("Benchmark: "), 2u);
    EXPECT_TRUE(median.has("Benchmark: S:{Benchmarks} T:{log_benchmark [0x0001]} F:{ [0x00]} D:{ms} - Median: "
                           "42.500000, Units: \"frames/s\", Type: 1\n"));
    EXPECT_TRUE(median.has(", Units: \"s\", Type: 0 (logged because --benchmark=3)\n"));
    const DemoRun single = run_demo({"--benchmark=1", "--suite=Benchmarks"});
    EXPECT_EQ(single.count("Benchmark: "), 2u);
    EXPECT_TRUE(single.has("- Count: 42.500000, Units: \"frames/s\", Type: 1\n"));
    EXPECT_TRUE(single.has("(logged because --benchmark=1)"));
}

TEST(DemoCrash, ProgramHandlerExitsWithSignalNumberAndGlibcAndDebuggerTracesDieBySignal)
{
    const DemoRun handled = run_demo({"--crash", "--suite=Crash"}, true);
    EXPECT_EQ(handled.exit_code(), 11);
    EXPECT_TRUE(handled.has("Error: signal 11\n"));
    const DemoRun traced = run_demo({"--crash", "--suite=Crash", "--backtrace=1"}, true);
    EXPECT_EQ(traced.term_signal(), SIGSEGV);
    EXPECT_TRUE(traced.has(" stack frames found ***\n"));

    if (access("/usr/bin/gdb", X_OK) != 0) {
        GTEST_SKIP() << "gdb is not installed";
    }
    const DemoRun run = run_demo({"--crash", "--suite=Crash", "--backtrace=2"}, true);
    EXPECT_EQ(run.term_signal(), SIGSEGV);
    EXPECT_TRUE(run.has("\nSEGFAULT\nExecuting 'gdb -batch -ex 'set confirm off' -ex 'set pagination off'"));
    // Whether gdb may attach depends on the machine's ptrace policy; its banner shows when it did.
    if (run.has("*** BACKTRACE ***")) {
        EXPECT_TRUE(run.has("demo_null_dereference"));
    }
}

} // namespace
