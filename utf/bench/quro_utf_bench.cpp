// Cost per test of the framework against GoogleTest: the same 10,000 empty tests, registered and
// run once through each, with standard output sent to /dev/null so that printing is not measured.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <stdio.h>

#include <string>
#include <vector>

#include "quro_utf.h"

namespace {

constexpr unsigned kTests = 10000;

std::vector<std::string> test_names;
double framework_ns_per_test = 0;
double gtest_ns_per_test = 0;
double registration_ns_per_test = 0;

class SilencedStdout {
public:
    SilencedStdout() : saved_(dup(1))
    {
        fflush(stdout);
        const int null_fd = open("/dev/null", O_WRONLY);
        dup2(null_fd, 1);
        close(null_fd);
    }
    ~SilencedStdout()
    {
        fflush(stdout);
        dup2(saved_, 1);
        close(saved_);
    }

private:
    int saved_;
};

void empty_test(quro_utf_suite *) {}

quro_utf_suite *build_suite(quro_utf_mempool *pool, quro_utf_result_set *results)
{
    quro_utf_suite *suite = quro_utf_create_suite(pool, "Empty", 1, nullptr, nullptr, results, nullptr);
    for (unsigned i = 0; i < kTests; ++i) {
        quro_utf_add_test(suite, i, test_names[i].c_str(), empty_test);
    }
    return suite;
}

void BM_FrameworkEmptyTests(benchmark::State &state)
{
    const char *argv[] = {"quro_utf_bench", "--silent"};
    for (auto _ : state) {
        const quro_tpi_uint64 start = quro_tpi_get_time_ns();
        {
            SilencedStdout silenced;
            benchmark::DoNotOptimize(quro_utf_test_main_simple(build_suite, nullptr, nullptr, 2, argv));
        }
        const double per_test = static_cast<double>(quro_tpi_get_time_ns() - start) / kTests;
        if (framework_ns_per_test == 0 || per_test < framework_ns_per_test) {
            framework_ns_per_test = per_test;
        }
    }
    state.counters["ns_per_test"] =
        benchmark::Counter(static_cast<double>(kTests) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Registration alone: adding a test checks it against every earlier one for duplicates.
void BM_FrameworkRegistrationOnly(benchmark::State &state)
{
    for (auto _ : state) {
        const quro_tpi_uint64 start = quro_tpi_get_time_ns();
        quro_utf_mempool result_pool;
        quro_utf_mempool suite_pool;
        quro_utf_result_set *results = nullptr;
        quro_utf_test_default_setup(&result_pool, &suite_pool, &results);
        benchmark::DoNotOptimize(build_suite(&suite_pool, results));
        quro_utf_mempool_destroy(&suite_pool);
        quro_utf_destroy_result_set(results);
        quro_utf_mempool_destroy(&result_pool);
        const double per_test = static_cast<double>(quro_tpi_get_time_ns() - start) / kTests;
        if (registration_ns_per_test == 0 || per_test < registration_ns_per_test) {
            registration_ns_per_test = per_test;
        }
    }
}

class EmptyGTest : public testing::Test {
public:
    void TestBody() override {}
};

void BM_GoogleTestEmptyTests(benchmark::State &state)
{
    for (auto _ : state) {
        const quro_tpi_uint64 start = quro_tpi_get_time_ns();
        {
            SilencedStdout silenced;
            for (unsigned i = 0; i < kTests; ++i) {
                testing::RegisterTest("Empty", test_names[i].c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                      []() -> testing::Test * { return new EmptyGTest; });
            }
            benchmark::DoNotOptimize(RUN_ALL_TESTS());
        }
        gtest_ns_per_test = static_cast<double>(quro_tpi_get_time_ns() - start) / kTests;
    }
    state.counters["ns_per_test"] =
        benchmark::Counter(static_cast<double>(kTests) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// GoogleTest keeps every registered test, so each side runs once; repetitions give the spread.
BENCHMARK(BM_FrameworkEmptyTests)->Iterations(1)->Repetitions(5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FrameworkRegistrationOnly)->Iterations(1)->Repetitions(5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_GoogleTestEmptyTests)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

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
    printf("Per empty test, registration and run: framework %.0f ns (best of 5), GoogleTest %.0f ns, "
           "framework/GoogleTest %.2f\n",
           framework_ns_per_test, gtest_ns_per_test, framework_ns_per_test / gtest_ns_per_test);
    printf("Of the framework's time, registration %.0f ns per test (best of 5)\n", registration_ns_per_test);
    return 0;
}
