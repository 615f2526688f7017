// Command dispatch latency: from queue_command on a client thread to the start of the command's
// function on the command thread, beside the machine's floor for waking a thread through a pipe
// with poll and through an eventfd.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "zvx_bench_latency.h"
#include "zvx_bench_wake_floor.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_common_cproc.h"

namespace {

std::atomic<int64_t> woken_at_ns{-1};

void wait_for_wake_up()
{
    while (woken_at_ns.load(std::memory_order_acquire) < 0) {
        std::this_thread::yield();
    }
}

bool mark_woken(struct zvx_omx_common_component *, struct zvx_omx_common_cproc_command_data *)
{
    woken_at_ns.store(zvx_bench_now_ns(), std::memory_order_release);
    return true;
}

void BM_CommandDispatch(benchmark::State &state)
{
    zvx_omx_common_component comp;
    std::memset(&comp, 0, sizeof(comp));
    comp.driver_fd = -1;
    zvx_omx_common_cproc_invoker_init(&comp.cproc_invoker);
    zvx_omx_common_cproc_command_queue_init(&comp.cproc_queue);
    zvx_omx_common_cproc_command_queue_init(&comp.client_commands);
    zvx_omx_common_cproc_invoker_start(&comp);
    // Let the thread get past its first wake-up, after which it sleeps in poll without a time-out.
    auto *warm_up =
        static_cast<zvx_omx_common_cproc_command_data *>(zvx_mem_malloc(sizeof(zvx_omx_common_cproc_command_data)));
    warm_up->function = mark_woken;
    woken_at_ns = -1;
    zvx_omx_common_component_queue_command(&comp, warm_up);
    wait_for_wake_up();

    std::vector<int64_t> latencies_ns;
    for (auto _ : state) {
        auto *command =
            static_cast<zvx_omx_common_cproc_command_data *>(zvx_mem_malloc(sizeof(zvx_omx_common_cproc_command_data)));
        command->function = mark_woken;
        woken_at_ns = -1;
        const int64_t queued_at = zvx_bench_now_ns();
        zvx_omx_common_component_queue_command(&comp, command);
        wait_for_wake_up();
        latencies_ns.push_back(woken_at_ns.load() - queued_at);
    }
    zvx_omx_common_cproc_invoker_exit(&comp);
    zvx_omx_common_cproc_command_queue_destroy(&comp.cproc_queue);
    zvx_omx_common_cproc_command_queue_destroy(&comp.client_commands);
    zvx_bench_report_latencies(state, latencies_ns);
}

void BM_PipePollFloor(benchmark::State &state)
{
    zvx_bench_pipe_poll_floor(state);
}

void BM_EventfdPollFloor(benchmark::State &state)
{
    const int fd = eventfd(0, 0);
    if (fd < 0) {
        state.SkipWithError("eventfd failed");
        return;
    }
    zvx_bench_poll_ping_pong(
        state, fd,
        [](int counter) {
            const uint64_t one = 1;
            benchmark::DoNotOptimize(write(counter, &one, sizeof(one)));
        },
        [](int counter) {
            uint64_t count;
            benchmark::DoNotOptimize(read(counter, &count, sizeof(count)));
        },
        fd);
    close(fd);
}

} // namespace

BENCHMARK(BM_CommandDispatch)->Iterations(20000)->UseRealTime();
BENCHMARK(BM_PipePollFloor)->Iterations(20000)->UseRealTime();
BENCHMARK(BM_EventfdPollFloor)->Iterations(20000)->UseRealTime();

BENCHMARK_MAIN();
