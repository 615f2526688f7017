#include <benchmark/benchmark.h>

#include "zvx_log.h"

namespace {
struct zvx_log_group suppressed_group;

void BM_SuppressedLogCall(benchmark::State &state)
{
    zvx_log_group_construct(&suppressed_group, "BENCH", ZVX_LOG_PANIC,
                            static_cast<zvx_log_drain *>(zvx_map_find(&zvx_log_get_instance()->drain, "printf")));
    int a = 1, b = 2, c = 3;
    const char *d = "four";
    void *e = &a;
    for (auto _ : state) {
        ZVX_LOG(&suppressed_group, ZVX_LOG_INFO, "a=%d b=%d c=%d d=%s e=%p. (%s:%d)", a, b, c, d, e);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_SuppressedLogCall);

void BM_EmptyLoop(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::ClobberMemory();
}
BENCHMARK(BM_EmptyLoop);
} // namespace

BENCHMARK_MAIN();
