// The client's round trip: from SendCommand until the client's EventHandler is entered with
// OMX_EventCmdComplete, for the port commands on port 0 in Loaded and for the state changes that complete
// without an answer from the session; beside the pipe+poll floor and the peer OpenMAX framework's
// volume component doing the same port commands. Run it pinned to one CPU (taskset -c 0) and unpinned.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include "zvx_bench_latency.h"
#include "zvx_bench_wake_floor.h"
#include "zvx_blackbox.h"
#include "zvx_omx_decoder_component.h"
#ifdef ZVX_HAVE_BELLAGIO_PEER
#include "zvx_bellagio_peer.h"
#endif

namespace {

constexpr int ZVXP_ROUND_TRIPS = 10000;

struct zvxp_client {
    std::atomic<int64_t> completed_at_ns{-1};
};

OMX_ERRORTYPE zvxp_on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32, OMX_U32, OMX_PTR)
{
    if (event == OMX_EventCmdComplete) {
        static_cast<zvxp_client *>(app_data)->completed_at_ns.store(zvx_bench_now_ns(), std::memory_order_release);
    }
    return OMX_ErrorNone;
}

/* A decoder in Loaded whose client waits for each completion by spinning, as the peer's does. */
class zvxp_decoder {
public:
    zvxp_decoder()
    {
        bb_reset_cb();
        OMX_CALLBACKTYPE callbacks = {zvxp_on_event, nullptr, nullptr};
        ready_ = zvx_omx_decoder_component_init(&handle_, &decoder_, &client_, &callbacks) == OMX_ErrorNone;
    }
    ~zvxp_decoder() { zvx_omx_decoder_component_destroy(&decoder_); }
    zvxp_decoder(const zvxp_decoder &) = delete;
    zvxp_decoder &operator=(const zvxp_decoder &) = delete;

    bool ready() const { return ready_; }

    /* Nanoseconds until EventHandler(OMX_EventCmdComplete); -1 when the command is refused. */
    int64_t round_trip_ns(OMX_COMMANDTYPE command, OMX_U32 param)
    {
        client_.completed_at_ns.store(-1, std::memory_order_relaxed);
        const int64_t sent_at = zvx_bench_now_ns();
        if (handle_.omx.SendCommand(&handle_, command, param, nullptr) != OMX_ErrorNone) {
            return -1;
        }
        int64_t completed_at;
        while ((completed_at = client_.completed_at_ns.load(std::memory_order_acquire)) < 0) {
            std::this_thread::yield();
        }
        return completed_at - sent_at;
    }

private:
    zvx_omx_decoder_component decoder_;
    zvx_omx_component handle_;
    zvxp_client client_;
    bool ready_ = false;
};

/* Times the first command of each pair; the second one puts the component back. */
template <typename Run> void zvxp_measure_pairs(benchmark::State &state, Run run)
{
    std::vector<int64_t> latencies_ns;
    latencies_ns.reserve(ZVXP_ROUND_TRIPS);
    for (auto _ : state) {
        const int64_t timed = run(true);
        state.PauseTiming();
        const int64_t untimed = run(false);
        state.ResumeTiming();
        if (timed < 0 || untimed < 0) {
            state.SkipWithError("command refused");
            return;
        }
        latencies_ns.push_back(timed);
    }
    zvx_bench_report_latencies(state, latencies_ns);
}

void zvxp_measure_commands(benchmark::State &state, OMX_COMMANDTYPE timed, OMX_U32 timed_param, OMX_COMMANDTYPE restore,
                           OMX_U32 restore_param)
{
    zvxp_decoder decoder;
    if (!decoder.ready()) {
        state.SkipWithError("decoder init failed");
        return;
    }
    zvxp_measure_pairs(state, [&](bool first) {
        return first ? decoder.round_trip_ns(timed, timed_param) : decoder.round_trip_ns(restore, restore_param);
    });
}

void BM_PortDisable(benchmark::State &state)
{
    zvxp_measure_commands(state, OMX_CommandPortDisable, 0, OMX_CommandPortEnable, 0);
}

void BM_PortEnable(benchmark::State &state)
{
    zvxp_decoder decoder;
    if (!decoder.ready() || decoder.round_trip_ns(OMX_CommandPortDisable, 0) < 0) {
        state.SkipWithError("decoder init failed");
        return;
    }
    zvxp_measure_pairs(state, [&](bool first) {
        return first ? decoder.round_trip_ns(OMX_CommandPortEnable, 0)
                     : decoder.round_trip_ns(OMX_CommandPortDisable, 0);
    });
}

void BM_StateLoadedToWaitForResources(benchmark::State &state)
{
    zvxp_measure_commands(state, OMX_CommandStateSet, OMX_StateWaitForResources, OMX_CommandStateSet, OMX_StateLoaded);
}

void BM_PipePollFloor(benchmark::State &state)
{
    zvx_bench_pipe_poll_floor(state);
}

#ifdef ZVX_HAVE_BELLAGIO_PEER
void zvxp_measure_peer(benchmark::State &state, bool enable_timed)
{
    const char *why_not = "";
    zvx_bellagio_peer *peer = zvx_bellagio_peer_open(&why_not);
    if (peer == nullptr) {
        state.SkipWithError(why_not);
        return;
    }
    if (enable_timed && zvx_bellagio_peer_port_round_trip_ns(peer, false) < 0) {
        state.SkipWithError("peer refused PortDisable");
    } else {
        zvxp_measure_pairs(state, [&](bool first) {
            return zvx_bellagio_peer_port_round_trip_ns(peer, first ? enable_timed : !enable_timed);
        });
    }
    zvx_bellagio_peer_close(peer);
}

void BM_PeerPortDisable(benchmark::State &state)
{
    zvxp_measure_peer(state, false);
}

void BM_PeerPortEnable(benchmark::State &state)
{
    zvxp_measure_peer(state, true);
}

BENCHMARK(BM_PeerPortDisable)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_PeerPortEnable)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
#else
[[maybe_unused]] const bool zvxp_peer_notice = [] {
    std::printf("The peer OpenMAX framework is not installed: its round trips are left out.\n");
    return true;
}();
#endif

} // namespace

BENCHMARK(BM_PipePollFloor)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_PortDisable)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_PortEnable)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_StateLoadedToWaitForResources)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();

BENCHMARK_MAIN();
