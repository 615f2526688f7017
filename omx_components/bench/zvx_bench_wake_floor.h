// The machine's floor for waking a thread: a second thread blocked in poll on one descriptor, woken by
// one write, timed from the write until the woken thread runs.
#ifndef ZVX_BENCH_WAKE_FLOOR_H
#define ZVX_BENCH_WAKE_FLOOR_H

#include <atomic>
#include <cstdint>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "zvx_bench_latency.h"

inline void zvx_bench_poll_ping_pong(benchmark::State &state, int fd, void (*wake)(int), void (*drain)(int),
                                     int wake_fd)
{
    std::atomic<int64_t> woken_at_ns{-1};
    std::atomic<bool> stop{false};
    std::thread sleeper([&] {
        struct pollfd entry = {fd, POLLIN, 0};
        while (!stop.load()) {
            if (poll(&entry, 1, -1) > 0) {
                drain(fd);
                woken_at_ns.store(zvx_bench_now_ns(), std::memory_order_release);
            }
        }
    });
    std::vector<int64_t> latencies_ns;
    latencies_ns.reserve(state.max_iterations);
    for (auto _ : state) {
        woken_at_ns.store(-1, std::memory_order_relaxed);
        const int64_t sent_at = zvx_bench_now_ns();
        wake(wake_fd);
        int64_t woken_at;
        while ((woken_at = woken_at_ns.load(std::memory_order_acquire)) < 0) {
            std::this_thread::yield();
        }
        latencies_ns.push_back(woken_at - sent_at);
    }
    stop = true;
    wake(wake_fd);
    sleeper.join();
    zvx_bench_report_latencies(state, latencies_ns);
}

inline void zvx_bench_pipe_poll_floor(benchmark::State &state)
{
    int fds[2];
    if (pipe(fds) != 0) {
        state.SkipWithError("pipe failed");
        return;
    }
    zvx_bench_poll_ping_pong(
        state, fds[0],
        [](int write_end) {
            const uint32_t word = 0;
            benchmark::DoNotOptimize(write(write_end, &word, sizeof(word)));
        },
        [](int read_end) {
            uint32_t word;
            benchmark::DoNotOptimize(read(read_end, &word, sizeof(word)));
        },
        fds[1]);
    close(fds[0]);
    close(fds[1]);
}

#endif
