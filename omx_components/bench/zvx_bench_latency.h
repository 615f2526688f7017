// Latency bookkeeping shared by the component's benchmarks: a monotonic clock in nanoseconds and the
// median and 99th percentile of the samples a benchmark gathered, reported as counters in microseconds.
#ifndef ZVX_BENCH_LATENCY_H
#define ZVX_BENCH_LATENCY_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

inline int64_t zvx_bench_now_ns()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

inline void zvx_bench_report_latencies(benchmark::State &state, std::vector<int64_t> &latencies_ns)
{
    if (latencies_ns.empty())
        return;
    std::sort(latencies_ns.begin(), latencies_ns.end());
    const auto at = [&](double fraction) {
        return static_cast<double>(latencies_ns[static_cast<size_t>(fraction * (latencies_ns.size() - 1))]) / 1000.0;
    };
    state.counters["median_us"] = at(0.5);
    state.counters["p99_us"] = at(0.99);
}

#endif
