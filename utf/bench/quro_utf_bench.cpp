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
constexpr int kRepetitions = 25;

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

std::vector<double> framework_ns_per_test;
std::vector<double> gtest_ns_per_test;
std::vector<double> registration_ns_per_test;

double median(std::vector<double> samples)
{
    std::sort(samples.begin(), samples.end());
    return samples.empty() ? 0 : samples[samples.size() / 2];
}

// Each repetition measures both sides back to back, in alternating order, so that a change in the
// machine's load between repetitions weighs on both alike; one untimed pair warms up first.
void BM_EmptyTestsFrameworkAgainstGoogleTest(benchmark::State &state)
{
    static bool warmed_up = false;
    if (!warmed_up) {
        ns_in_child(framework_register_and_run);
        ns_in_child(gtest_register_and_run);
        warmed_up = true;
    }
    for (auto _ : state) {
        const bool framework_first = framework_ns_per_test.size() % 2 == 0;
        const double first = ns_in_child(framework_first ? framework_register_and_run : gtest_register_and_run);
        const double second = ns_in_child(framework_first ? gtest_register_and_run : framework_register_and_run);
        const double ours = (framework_first ? first : second) / kTests;
        const double theirs = (framework_first ? second : first) / kTests;
        framework_ns_per_test.push_back(ours);
        gtest_ns_per_test.push_back(theirs);
        state.SetIterationTime((first + second) / 1e9);
        state.counters["framework_ns_per_test"] = ours;
        state.counters["gtest_ns_per_test"] = theirs;
        state.counters["ratio"] = ours / theirs;
    }
}

// Registration alone, for the split of the framework's cost.
void BM_FrameworkRegistrationOnly(benchmark::State &state)
{
    for (auto _ : state) {
        const double elapsed = ns_in_child(framework_register_only);
        registration_ns_per_test.push_back(elapsed / kTests);
        state.SetIterationTime(elapsed / 1e9);
    }
}

BENCHMARK(BM_EmptyTestsFrameworkAgainstGoogleTest)
    ->Iterations(1)
    ->Repetitions(kRepetitions)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FrameworkRegistrationOnly)
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
    const double ours = median(framework_ns_per_test);
    const double theirs = median(gtest_ns_per_test);
    printf("Per empty test at %u tests, registration and run, median of %d forked runs after one warm-up each: "
           "framework %.0f ns, GoogleTest %.0f ns, framework/GoogleTest %.2f\n",
           kTests, kRepetitions, ours, theirs, theirs > 0 ? ours / theirs : 0.0);
    printf("Of the framework's time, registration %.0f ns per test\n", median(registration_ns_per_test));
    return 0;
}
