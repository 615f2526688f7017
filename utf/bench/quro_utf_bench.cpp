// Cost per test of the framework against GoogleTest: the same 10,000 empty tests registered and
// run through each. GoogleTest keeps every test it has registered, so each measurement runs in a
// freshly forked child for both sides alike: the same warm-up, the same repetitions, and standard
// output sent to /dev/null so that printing is not measured.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdio.h>

#include <algorithm>
#include <string>
#include <vector>

#include "quro_utf_internal.h"

namespace {

constexpr unsigned kTests = 10000;
constexpr int kRepetitions = 9;

std::vector<std::string> test_names;

void empty_test(quro_utf_suite *) {}

quro_utf_suite *build_suite(quro_utf_mempool *pool, quro_utf_result_set *results)
{
    quro_utf_suite *suite = quro_utf_create_suite(pool, "Empty", 1, nullptr, nullptr, results, nullptr);
    for (unsigned i = 0; i < kTests; ++i) {
        quro_utf_add_test(suite, i, test_names[i].c_str(), empty_test);
    }
    return suite;
}

void framework_register_and_run()
{
    const char *argv[] = {"quro_utf_bench", "--silent"};
    benchmark::DoNotOptimize(quro_utf_test_main_simple(build_suite, nullptr, nullptr, 2, argv));
}

void framework_register_only()
{
    quro_utf_mempool result_pool;
    quro_utf_mempool suite_pool;
    quro_utf_result_set *results = nullptr;
    quro_utf_test_default_setup(&result_pool, &suite_pool, &results);
    benchmark::DoNotOptimize(build_suite(&suite_pool, results));
}

class EmptyGTest : public testing::Test {
public:
    void TestBody() override {}
};

void gtest_register_and_run()
{
    for (unsigned i = 0; i < kTests; ++i) {
        testing::RegisterTest("Empty", test_names[i].c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              []() -> testing::Test * { return new EmptyGTest; });
    }
    benchmark::DoNotOptimize(RUN_ALL_TESTS());
}

// Runs work in a forked child with standard output on /dev/null; returns the nanoseconds it took,
// measured in the child, so that neither the fork nor the child's exit is counted.
double ns_in_child(void (*work)())
{
    int pipe_fds[2];
    if (pipe(pipe_fds) != 0) {
        return 0;
    }
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const int null_fd = open("/dev/null", O_WRONLY);
        dup2(null_fd, 1);
        const quro_tpi_uint64 start = quro_tpi_get_time_ns();
        work();
        const double elapsed = static_cast<double>(quro_tpi_get_time_ns() - start);
        fflush(stdout);
        _exit(write(pipe_fds[1], &elapsed, sizeof(elapsed)) == sizeof(elapsed) ? 0 : 1);
    }
    close(pipe_fds[1]);
    double elapsed = 0;
    if (read(pipe_fds[0], &elapsed, sizeof(elapsed)) != sizeof(elapsed)) {
        elapsed = 0;
    }
    close(pipe_fds[0]);
    waitpid(child, nullptr, 0);
    return elapsed;
}

struct Side {
    void (*work)();
    std::vector<double> ns_per_test;
    bool warmed_up;
};

Side framework{framework_register_and_run, {}, false};
Side framework_registration{framework_register_only, {}, false};
Side gtest{gtest_register_and_run, {}, false};

void measure(benchmark::State &state, Side *side)
{
    if (!side->warmed_up) {
        ns_in_child(side->work);
        side->warmed_up = true;
    }
    for (auto _ : state) {
        const double elapsed = ns_in_child(side->work);
        side->ns_per_test.push_back(elapsed / kTests);
        state.SetIterationTime(elapsed / 1e9);
    }
    state.counters["ns_per_test"] =
        benchmark::Counter(static_cast<double>(kTests) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

double median(std::vector<double> samples)
{
    std::sort(samples.begin(), samples.end());
    return samples.empty() ? 0 : samples[samples.size() / 2];
}

BENCHMARK_CAPTURE(measure, FrameworkEmptyTests, &framework)
    ->Iterations(1)
    ->Repetitions(kRepetitions)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(measure, GoogleTestEmptyTests, &gtest)
    ->Iterations(1)
    ->Repetitions(kRepetitions)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(measure, FrameworkRegistrationOnly, &framework_registration)
    ->Iterations(1)
    ->Repetitions(kRepetitions)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Folding --benchmark=N timings of one fixture: every method is expected to stay near linear in N.
void consolidate(benchmark::State &state, quro_utf_consolidate_method method)
{
    const auto repeats = static_cast<unsigned>(state.range(0));
    std::vector<float> timings(repeats);
    for (unsigned i = 0; i < repeats; ++i) {
        timings[i] = static_cast<float>((i * 7919u) % repeats);
    }
    std::vector<float> counts;
    for (auto _ : state) {
        counts = timings;
        benchmark::DoNotOptimize(quro_utfp_consolidate(method, counts.data(), repeats));
    }
    state.SetComplexityN(state.range(0));
}

BENCHMARK_CAPTURE(consolidate, Median, QURO_UTF_CONSOLIDATE_MEDIAN)->Range(1000, 40000)->Complexity();
BENCHMARK_CAPTURE(consolidate, Mean, QURO_UTF_CONSOLIDATE_MEAN)->Range(1000, 40000)->Complexity();

} // namespace

int main(int argc, char **argv)
{
    for (unsigned i = 0; i < kTests; ++i) {
        test_names.push_back("empty_" + std::to_string(i));
    }
    testing::InitGoogleTest(&argc, argv);
    testing::TestEventListeners &listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    const double ours = median(framework.ns_per_test);
    const double theirs = median(gtest.ns_per_test);
    printf("Per empty test at %u tests, registration and run, median of %d forked runs after one warm-up each: "
           "framework %.0f ns, GoogleTest %.0f ns, framework/GoogleTest %.2f\n",
           kTests, kRepetitions, ours, theirs, theirs > 0 ? ours / theirs : 0.0);
    printf("Of the framework's time, registration %.0f ns per test\n", median(framework_registration.ns_per_test));
    return 0;
}
