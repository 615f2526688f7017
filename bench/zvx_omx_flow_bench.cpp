// Whole flows against the pattern codec device, answering at once: the state cycle Loaded, Idle,
// Executing, Idle, Loaded with buffers; the buffer round trips EmptyThisBuffer to EmptyBufferDone and
// FillThisBuffer to FillBufferDone; and the buffers per second in Executing with one buffer of each
// port in flight and with all of them; and a player's seek, Pause, both ports flushed and Executing
// again, with every output buffer waiting. Beside the pipe+poll floor and the peer OpenMAX framework's
// volume component doing the same. Run it pinned to one CPU (taskset -c 0) and unpinned.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "zvx_bench_latency.h"
#include "zvx_bench_wake_floor.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_codec_device.h"
#ifdef ZVX_HAVE_BELLAGIO_PEER
#include "zvx_bellagio_peer.h"
#endif

namespace {

constexpr int ZVXP_CYCLES = 2000;
constexpr int ZVXP_ROUND_TRIPS = 10000;
constexpr uint64_t ZVXP_BUFFERS_PER_ITERATION = 1000;
/* Buffers per port the peer runs with. The decoder refuses fewer than its minimum of five, so it runs
 * with five and the peer's cycle is also measured with five beside four. */
constexpr int ZVXP_PEER_BUFFERS = 4;
constexpr int ZVXP_DECODER_MINIMUM_BUFFERS = 5;
/* A small stream, so that the device's own work (writing the picture) stays small. */
constexpr uint32_t ZVXP_SIDE = 64;
/* What one coded frame takes in an input buffer; the pattern engine reads only its length. */
constexpr OMX_U32 ZVXP_CODED_FRAME_BYTES = 1024;
constexpr OMX_U32 ZVXP_PORTS = 2;

/* Where one state cycle's time went, as the client sees it: its own AllocateBuffer and FreeBuffer calls,
 * and each wait for a command's completion (after the last buffer call, for Idle and Loaded). */
struct zvxp_cycle_phases {
    int64_t allocate_ns = 0;
    int64_t idle_after_allocate_ns = 0;
    int64_t executing_ns = 0;
    int64_t back_to_idle_ns = 0;
    int64_t free_ns = 0;
    int64_t loaded_after_free_ns = 0;
};

template <typename Condition> void zvxp_spin_until(Condition done)
{
    while (!done()) {
        std::this_thread::yield();
    }
}

/* A decoder over the pattern device, through its handle. Its client waits by spinning, as the peer's
 * does, and while streaming gives every buffer again from the callback that returns it. */
class zvxp_decoder {
public:
    zvxp_decoder()
    {
        zvx_init_emulator();
        zvx_dev_script script;
        script.stream_width = ZVXP_SIDE;
        script.stream_height = ZVXP_SIDE;
        zvx_dev_set_default_script(script);
        OMX_CALLBACKTYPE callbacks = {on_event, on_empty_done, on_fill_done};
        created_ = zvx_omx_decoder_component_init(&handle_, &decoder_, this, &callbacks) == OMX_ErrorNone;
        ready_ = created_ && set_role("video_decoder.avc");
    }
    ~zvxp_decoder()
    {
        if (created_) {
            zvx_omx_decoder_component_destroy(&decoder_);
        }
        zvx_destroy_emulator();
    }
    zvxp_decoder(const zvxp_decoder &) = delete;
    zvxp_decoder &operator=(const zvxp_decoder &) = delete;

    bool ready() const { return ready_; }

    /* Nanoseconds from SendCommand(Idle), through Idle with every port's buffers, Executing and Idle,
     * until EventHandler hears that Loaded completed with them freed; -1 when refused. Each phase's share
     * is left in `phases`. */
    int64_t cycle_ns(zvxp_cycle_phases &phases)
    {
        const int64_t started_at = zvx_bench_now_ns();
        int64_t allocated_at = 0;
        int64_t freed_at = 0;
        if (!change_state(OMX_StateIdle, [&] {
                const bool allocated = allocate(0) && allocate(1);
                allocated_at = zvx_bench_now_ns();
                return allocated;
            })) {
            return -1;
        }
        const int64_t idle_at = completed_at_ns_.load(std::memory_order_acquire);
        if (!change_state(OMX_StateExecuting)) {
            return -1;
        }
        const int64_t executing_at = completed_at_ns_.load(std::memory_order_acquire);
        if (!change_state(OMX_StateIdle)) {
            return -1;
        }
        const int64_t back_at = completed_at_ns_.load(std::memory_order_acquire);
        if (!change_state(OMX_StateLoaded, [&] {
                const bool freed = free_all();
                freed_at = zvx_bench_now_ns();
                return freed;
            })) {
            return -1;
        }
        const int64_t loaded_at = completed_at_ns_.load(std::memory_order_acquire);
        phases.allocate_ns = allocated_at - started_at;
        phases.idle_after_allocate_ns = idle_at - allocated_at;
        phases.executing_ns = executing_at - idle_at;
        phases.back_to_idle_ns = back_at - executing_at;
        phases.free_ns = freed_at - back_at;
        phases.loaded_after_free_ns = loaded_at - freed_at;
        return loaded_at - started_at;
    }

    /* From Executing or Pause back to Loaded, every buffer given back on the way and freed. */
    bool stop()
    {
        return change_state(OMX_StateIdle) && change_state(OMX_StateLoaded, [&] { return free_all(); });
    }

    /* Executing with the stream announced and the output port reallocated for it, every buffer back
     * with the client. */
    bool start_stream()
    {
        if (!send_and_wait(OMX_CommandPortDisable, 1) || !change_state(OMX_StateIdle, [&] { return allocate(0); }) ||
            !change_state(OMX_StateExecuting)) {
            return false;
        }
        const int announced = settings_changes_.load();
        if (!lend(0, buffers_[0].at(0))) {
            return false;
        }
        zvxp_spin_until([&] { return settings_changes_.load() != announced; });
        if (!change_command(OMX_CommandPortEnable, 1, [&] { return allocate(1); }) || !lend(1, buffers_[1].at(0))) {
            return false;
        }
        zvxp_spin_until([&] { return lent_[0].load() == 0 && lent_[1].load() == 0; });
        /* From here on the output port's buffers suit the stream. */
        return true;
    }

    /* Lends one buffer of the other port, then times one of `timed_port` until it comes back. */
    int64_t round_trip_ns(OMX_U32 timed_port)
    {
        const OMX_U32 other = 1 - timed_port;
        if (!lend(other, buffers_[other].at(0))) {
            return -1;
        }
        /* A picture waits for its output only once the device has taken it. */
        if (timed_port == 1) {
            zvxp_spin_until([&] { return lent_[0].load() == 0; });
        }
        done_at_ns_[timed_port].store(-1, std::memory_order_relaxed);
        const int64_t sent_at = zvx_bench_now_ns();
        if (!lend(timed_port, buffers_[timed_port].at(0))) {
            return -1;
        }
        int64_t returned_at;
        while ((returned_at = done_at_ns_[timed_port].load(std::memory_order_acquire)) < 0) {
            std::this_thread::yield();
        }
        zvxp_spin_until([&] { return lent_[0].load() == 0 && lent_[1].load() == 0; });
        return returned_at - sent_at;
    }

    /* A player's seek with every output buffer waiting for a picture: nanoseconds from SendCommand(Pause)
     * until Executing completes after both ports' flushes; -1 when refused or a buffer stayed lent. */
    int64_t seek_flush_ns()
    {
        for (OMX_BUFFERHEADERTYPE *header : buffers_[1]) {
            if (!lend(1, header)) {
                return -1;
            }
        }
        const int64_t started_at = zvx_bench_now_ns();
        if (!change_state(OMX_StatePause) || !send_and_wait(OMX_CommandFlush, 0) ||
            !send_and_wait(OMX_CommandFlush, 1) || lent_[1].load() != 0 || !change_state(OMX_StateExecuting)) {
            return -1;
        }
        return completed_at_ns_.load(std::memory_order_acquire) - started_at;
    }

    /* Lends in_flight buffers of each port (all of them for 0), each given again when it comes back. */
    bool stream(size_t in_flight)
    {
        streaming_.store(true);
        for (OMX_U32 port = 0; port < ZVXP_PORTS; ++port) {
            const size_t count = in_flight == 0 ? buffers_[port].size() : in_flight;
            for (size_t i = 0; i < count; ++i) {
                if (!lend(port, buffers_[port].at(i))) {
                    return false;
                }
            }
        }
        return true;
    }

    void end_stream()
    {
        streaming_.store(false);
        zvxp_spin_until([&] { return giving_again_.load() == 0; });
    }

    uint64_t returned() const { return returned_.load(std::memory_order_relaxed); }

private:
    static OMX_ERRORTYPE on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32, OMX_U32 data2,
                                  OMX_PTR)
    {
        auto *self = static_cast<zvxp_decoder *>(app_data);
        if (event == OMX_EventCmdComplete) {
            self->completed_at_ns_.store(zvx_bench_now_ns(), std::memory_order_release);
            self->completions_.fetch_add(1);
        } else if (event == OMX_EventPortSettingsChanged && data2 == 0) {
            self->settings_changes_.fetch_add(1);
        }
        return OMX_ErrorNone;
    }

    static OMX_ERRORTYPE on_empty_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
    {
        static_cast<zvxp_decoder *>(app_data)->returned_buffer(0, header);
        return OMX_ErrorNone;
    }

    static OMX_ERRORTYPE on_fill_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
    {
        static_cast<zvxp_decoder *>(app_data)->returned_buffer(1, header);
        return OMX_ErrorNone;
    }

    void returned_buffer(OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
    {
        done_at_ns_[port].store(zvx_bench_now_ns(), std::memory_order_release);
        returned_.fetch_add(1, std::memory_order_relaxed);
        lent_[port].fetch_sub(1);
        giving_again_.fetch_add(1);
        if (streaming_.load()) {
            lend(port, header);
        }
        giving_again_.fetch_sub(1);
    }

    bool lend(OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
    {
        header->nOffset = 0;
        header->nFlags = 0;
        lent_[port].fetch_add(1);
        OMX_ERRORTYPE error;
        if (port == 0) {
            header->nFilledLen = ZVXP_CODED_FRAME_BYTES;
            header->nFlags = OMX_BUFFERFLAG_ENDOFFRAME;
            header->nTimeStamp = next_timestamp_.fetch_add(1);
            error = handle_.omx.EmptyThisBuffer(&handle_.omx, header);
        } else {
            header->nFilledLen = 0;
            error = handle_.omx.FillThisBuffer(&handle_.omx, header);
        }
        if (error != OMX_ErrorNone) {
            lent_[port].fetch_sub(1);
        }
        return error == OMX_ErrorNone;
    }

    bool set_role(const char *role)
    {
        OMX_PARAM_COMPONENTROLETYPE record{};
        record.nSize = sizeof(record);
        record.nVersion.s.nVersionMajor = 1;
        record.nVersion.s.nVersionMinor = 1;
        std::strncpy(reinterpret_cast<char *>(record.cRole), role, sizeof(record.cRole) - 1);
        return handle_.omx.SetParameter(&handle_.omx, OMX_IndexParamStandardComponentRole, &record) == OMX_ErrorNone;
    }

    bool allocate(OMX_U32 port)
    {
        OMX_PARAM_PORTDEFINITIONTYPE definition{};
        definition.nSize = sizeof(definition);
        definition.nVersion.s.nVersionMajor = 1;
        definition.nVersion.s.nVersionMinor = 1;
        definition.nPortIndex = port;
        if (handle_.omx.GetParameter(&handle_.omx, OMX_IndexParamPortDefinition, &definition) != OMX_ErrorNone) {
            return false;
        }
        for (OMX_U32 i = 0; i < definition.nBufferCountActual; ++i) {
            OMX_BUFFERHEADERTYPE *header = nullptr;
            if (handle_.omx.AllocateBuffer(&handle_.omx, &header, port, nullptr, definition.nBufferSize) !=
                OMX_ErrorNone) {
                return false;
            }
            buffers_[port].push_back(header);
        }
        return true;
    }

    bool free_all()
    {
        bool freed = true;
        for (OMX_U32 port = 0; port < ZVXP_PORTS; ++port) {
            for (OMX_BUFFERHEADERTYPE *header : buffers_[port]) {
                freed = handle_.omx.FreeBuffer(&handle_.omx, port, header) == OMX_ErrorNone && freed;
            }
            buffers_[port].clear();
        }
        return freed;
    }

    bool send_and_wait(OMX_COMMANDTYPE command, OMX_U32 param)
    {
        return change_command(command, param, [] { return true; });
    }

    template <typename Meanwhile> bool change_command(OMX_COMMANDTYPE command, OMX_U32 param, Meanwhile meanwhile)
    {
        const int before = completions_.load();
        if (handle_.omx.SendCommand(&handle_.omx, command, param, nullptr) != OMX_ErrorNone || !meanwhile()) {
            return false;
        }
        zvxp_spin_until([&] { return completions_.load() != before; });
        return true;
    }

    bool change_state(OMX_STATETYPE state) { return send_and_wait(OMX_CommandStateSet, state); }

    template <typename Meanwhile> bool change_state(OMX_STATETYPE state, Meanwhile meanwhile)
    {
        return change_command(OMX_CommandStateSet, state, meanwhile);
    }

    zvx_omx_decoder_component decoder_{};
    zvx_omx_component handle_{};
    bool created_ = false;
    bool ready_ = false;
    /* The benchmark's thread's; changed only while the component holds none of the buffers. */
    std::vector<OMX_BUFFERHEADERTYPE *> buffers_[ZVXP_PORTS];
    /* Written by the component's callbacks, read by the benchmark's thread. */
    std::atomic<int> completions_{0};
    std::atomic<int64_t> completed_at_ns_{-1};
    std::atomic<int> settings_changes_{0};
    std::atomic<int64_t> done_at_ns_[ZVXP_PORTS] = {-1, -1};
    std::atomic<uint64_t> returned_{0};
    /* Written by whichever thread lends or takes back a buffer: the benchmark's or a callback. */
    std::atomic<int> lent_[ZVXP_PORTS] = {0, 0};
    std::atomic<OMX_TICKS> next_timestamp_{0};
    /* Set by the benchmark's thread; callbacks read it between raising and lowering giving_again_, and
     * both are sequentially consistent so that end_stream() sees every callback that read it set. */
    std::atomic<bool> streaming_{false};
    std::atomic<int> giving_again_{0};
};

void zvxp_report(benchmark::State &state, std::vector<int64_t> &latencies_ns, bool failed,
                 const char *failure = "the component refused a call")
{
    if (failed) {
        state.SkipWithError(failure);
        return;
    }
    zvx_bench_report_latencies(state, latencies_ns);
}

/* The median of each phase, in microseconds: where a typical cycle's time goes. */
void zvxp_report_phases(benchmark::State &state, const std::vector<zvxp_cycle_phases> &phases)
{
    const auto median_us = [&](int64_t zvxp_cycle_phases::*phase) {
        std::vector<int64_t> samples;
        samples.reserve(phases.size());
        for (const zvxp_cycle_phases &cycle : phases) {
            samples.push_back(cycle.*phase);
        }
        std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2),
                         samples.end());
        return samples.empty() ? 0.0 : static_cast<double>(samples[samples.size() / 2]) / 1000.0;
    };
    state.counters["allocate_us"] = median_us(&zvxp_cycle_phases::allocate_ns);
    state.counters["idle_wait_us"] = median_us(&zvxp_cycle_phases::idle_after_allocate_ns);
    state.counters["executing_us"] = median_us(&zvxp_cycle_phases::executing_ns);
    state.counters["back_to_idle_us"] = median_us(&zvxp_cycle_phases::back_to_idle_ns);
    state.counters["free_us"] = median_us(&zvxp_cycle_phases::free_ns);
    state.counters["loaded_wait_us"] = median_us(&zvxp_cycle_phases::loaded_after_free_ns);
}

void BM_PipePollFloor(benchmark::State &state)
{
    zvx_bench_pipe_poll_floor(state);
}

void BM_StateCycle(benchmark::State &state)
{
    zvxp_decoder decoder;
    std::vector<int64_t> latencies_ns;
    latencies_ns.reserve(ZVXP_CYCLES);
    std::vector<zvxp_cycle_phases> phases;
    phases.reserve(ZVXP_CYCLES);
    bool failed = !decoder.ready();
    for (auto _ : state) {
        zvxp_cycle_phases cycle_phases;
        const int64_t cycle = failed ? -1 : decoder.cycle_ns(cycle_phases);
        if (cycle < 0) {
            failed = true;
            break;
        }
        latencies_ns.push_back(cycle);
        phases.push_back(cycle_phases);
    }
    state.counters["buffers_per_port"] = ZVXP_DECODER_MINIMUM_BUFFERS;
    zvxp_report(state, latencies_ns, failed);
    if (!failed) {
        zvxp_report_phases(state, phases);
    }
}

/* Times `timed` (nanoseconds, -1 when refused) once an iteration, in Executing with the stream started. */
template <typename Timed> void zvxp_timed_in_stream(benchmark::State &state, Timed timed)
{
    zvxp_decoder decoder;
    std::vector<int64_t> latencies_ns;
    latencies_ns.reserve(static_cast<size_t>(state.max_iterations));
    bool failed = !decoder.ready() || !decoder.start_stream();
    for (auto _ : state) {
        const int64_t latency = failed ? -1 : timed(decoder);
        if (latency < 0) {
            failed = true;
            break;
        }
        latencies_ns.push_back(latency);
    }
    failed = !decoder.stop() || failed;
    zvxp_report(state, latencies_ns, failed);
}

void BM_EmptyBufferRoundTrip(benchmark::State &state)
{
    zvxp_timed_in_stream(state, [](zvxp_decoder &decoder) { return decoder.round_trip_ns(0); });
}

void BM_FillBufferRoundTrip(benchmark::State &state)
{
    zvxp_timed_in_stream(state, [](zvxp_decoder &decoder) { return decoder.round_trip_ns(1); });
}

void BM_SeekFlush(benchmark::State &state)
{
    zvxp_timed_in_stream(state, [](zvxp_decoder &decoder) { return decoder.seek_flush_ns(); });
}

/* Arg: buffers of each port in flight, 0 for all of them. */
void BM_Throughput(benchmark::State &state)
{
    zvxp_decoder decoder;
    if (!decoder.ready() || !decoder.start_stream() || !decoder.stream(static_cast<size_t>(state.range(0)))) {
        state.SkipWithError("the component refused a call");
        return;
    }
    uint64_t counted = 0;
    for (auto _ : state) {
        const uint64_t until = decoder.returned() + ZVXP_BUFFERS_PER_ITERATION;
        zvxp_spin_until([&] { return decoder.returned() >= until; });
        counted += ZVXP_BUFFERS_PER_ITERATION;
    }
    decoder.end_stream();
    if (!decoder.stop()) {
        state.SkipWithError("the component refused a call");
        return;
    }
    state.counters["buffers_per_s"] = benchmark::Counter(static_cast<double>(counted), benchmark::Counter::kIsRate);
}

#ifdef ZVX_HAVE_BELLAGIO_PEER
/* A peer's failure may be its own hang: its flushes now and then never complete, pinned or not. */
constexpr const char *ZVXP_PEER_FAILED = "the peer refused a call or stopped answering";

/* The peer opened for one benchmark; null (the benchmark skipped) when it cannot be. */
zvx_bellagio_peer *zvxp_open_peer(benchmark::State &state)
{
    const char *why_not = "";
    zvx_bellagio_peer *peer = zvx_bellagio_peer_open(&why_not);
    if (peer == nullptr) {
        state.SkipWithError(why_not);
    }
    return peer;
}

/* Arg: buffers per port. */
void BM_PeerStateCycle(benchmark::State &state)
{
    zvx_bellagio_peer *peer = zvxp_open_peer(state);
    if (peer == nullptr) {
        return;
    }
    std::vector<int64_t> latencies_ns;
    latencies_ns.reserve(ZVXP_CYCLES);
    bool failed = false;
    for (auto _ : state) {
        const int64_t cycle = zvx_bellagio_peer_state_cycle_ns(peer, static_cast<int>(state.range(0)));
        if (cycle < 0) {
            failed = true;
            break;
        }
        latencies_ns.push_back(cycle);
    }
    zvx_bellagio_peer_close(peer);
    zvxp_report(state, latencies_ns, failed, ZVXP_PEER_FAILED);
}

/* Times `timed_ns` once an iteration, the peer in Executing with buffers_per_port buffers a port. */
void zvxp_peer_timed(benchmark::State &state, int buffers_per_port, int64_t (*timed_ns)(zvx_bellagio_peer *))
{
    zvx_bellagio_peer *peer = zvxp_open_peer(state);
    if (peer == nullptr) {
        return;
    }
    std::vector<int64_t> latencies_ns;
    latencies_ns.reserve(static_cast<size_t>(state.max_iterations));
    bool failed = !zvx_bellagio_peer_start(peer, buffers_per_port);
    for (auto _ : state) {
        const int64_t latency = failed ? -1 : timed_ns(peer);
        if (latency < 0) {
            failed = true;
            break;
        }
        latencies_ns.push_back(latency);
    }
    zvx_bellagio_peer_stop(peer);
    zvx_bellagio_peer_close(peer);
    zvxp_report(state, latencies_ns, failed, ZVXP_PEER_FAILED);
}

void BM_PeerEmptyBufferRoundTrip(benchmark::State &state)
{
    zvxp_peer_timed(state, ZVXP_PEER_BUFFERS, zvx_bellagio_peer_empty_round_trip_ns);
}

void BM_PeerFillBufferRoundTrip(benchmark::State &state)
{
    zvxp_peer_timed(state, ZVXP_PEER_BUFFERS, zvx_bellagio_peer_fill_round_trip_ns);
}

/* With the decoder's buffer count, as the decoder's seek returns that many outputs. */
void BM_PeerSeekFlush(benchmark::State &state)
{
    zvxp_peer_timed(state, ZVXP_DECODER_MINIMUM_BUFFERS, zvx_bellagio_peer_seek_flush_ns);
}

/* Arg: buffers of each port in flight, 0 for all of them. */
void BM_PeerThroughput(benchmark::State &state)
{
    zvx_bellagio_peer *peer = zvxp_open_peer(state);
    if (peer == nullptr) {
        return;
    }
    const int in_flight = state.range(0) == 0 ? ZVXP_PEER_BUFFERS : static_cast<int>(state.range(0));
    if (!zvx_bellagio_peer_start(peer, ZVXP_PEER_BUFFERS) || !zvx_bellagio_peer_stream(peer, in_flight)) {
        state.SkipWithError(ZVXP_PEER_FAILED);
        zvx_bellagio_peer_close(peer);
        return;
    }
    uint64_t counted = 0;
    for (auto _ : state) {
        const uint64_t until = zvx_bellagio_peer_buffers_returned(peer) + ZVXP_BUFFERS_PER_ITERATION;
        zvxp_spin_until([&] { return zvx_bellagio_peer_buffers_returned(peer) >= until; });
        counted += ZVXP_BUFFERS_PER_ITERATION;
    }
    zvx_bellagio_peer_end_stream(peer);
    zvx_bellagio_peer_stop(peer);
    zvx_bellagio_peer_close(peer);
    state.counters["buffers_per_s"] = benchmark::Counter(static_cast<double>(counted), benchmark::Counter::kIsRate);
}

BENCHMARK(BM_PeerStateCycle)
    ->Arg(ZVXP_PEER_BUFFERS)
    ->Arg(ZVXP_DECODER_MINIMUM_BUFFERS)
    ->Iterations(ZVXP_CYCLES)
    ->UseRealTime();
BENCHMARK(BM_PeerEmptyBufferRoundTrip)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_PeerFillBufferRoundTrip)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_PeerSeekFlush)->Iterations(ZVXP_CYCLES)->UseRealTime();
BENCHMARK(BM_PeerThroughput)->Arg(1)->Arg(0)->MinTime(1.0)->UseRealTime();
#else
[[maybe_unused]] const bool zvxp_peer_notice = [] {
    std::printf("The peer OpenMAX framework is not installed: its figures are left out.\n");
    return true;
}();
#endif

} // namespace

BENCHMARK(BM_PipePollFloor)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_StateCycle)->Iterations(ZVXP_CYCLES)->UseRealTime();
BENCHMARK(BM_EmptyBufferRoundTrip)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_FillBufferRoundTrip)->Iterations(ZVXP_ROUND_TRIPS)->UseRealTime();
BENCHMARK(BM_SeekFlush)->Iterations(ZVXP_CYCLES)->UseRealTime();
BENCHMARK(BM_Throughput)->Arg(1)->Arg(0)->MinTime(1.0)->UseRealTime();

BENCHMARK_MAIN();
