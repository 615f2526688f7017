// Parameter entry latency through the handle from a client thread: GetParameter of a port definition,
// answered on the caller's thread, and SetParameter of the encoder's bit rate, carried out on the
// command thread while the caller waits; beside the peer framework's GetParameter of a port definition.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "zvx_bench_latency.h"
#include "zvx_omx_config.h"
#include "zvx_omx_encoder_component.h"
#ifdef ZVX_HAVE_BELLAGIO_PEER
#include "zvx_bellagio_peer.h"
#endif

namespace {

// A loaded encoder with its command thread running, as a client holds it after GetHandle.
struct zvxp_encoder {
    zvxp_encoder() { ok = zvx_omx_encoder_component_init(&handle, &component, nullptr, nullptr) == OMX_ErrorNone; }
    ~zvxp_encoder() { zvx_omx_encoder_component_destroy(&component); }

    zvx_omx_encoder_component component = {};
    zvx_omx_component handle = {};
    bool ok = false;
};

template <typename Call> void zvxp_time_calls(benchmark::State &state, Call call)
{
    std::vector<int64_t> latencies_ns;
    latencies_ns.reserve(state.max_iterations);
    for (auto _ : state) {
        const int64_t started = zvx_bench_now_ns();
        if (!call()) {
            state.SkipWithError("the call was refused");
            break;
        }
        latencies_ns.push_back(zvx_bench_now_ns() - started);
    }
    zvx_bench_report_latencies(state, latencies_ns);
}

void BM_GetParameterPortDefinition(benchmark::State &state)
{
    auto encoder = std::make_unique<zvxp_encoder>();
    if (!encoder->ok) {
        state.SkipWithError("encoder init failed");
        return;
    }
    OMX_COMPONENTTYPE *omx = &encoder->handle.omx;
    auto definition = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(0);
    zvxp_time_calls(state,
                    [&] { return omx->GetParameter(omx, OMX_IndexParamPortDefinition, &definition) == OMX_ErrorNone; });
}

void BM_SetParameterVideoBitrate(benchmark::State &state)
{
    auto encoder = std::make_unique<zvxp_encoder>();
    if (!encoder->ok) {
        state.SkipWithError("encoder init failed");
        return;
    }
    OMX_COMPONENTTYPE *omx = &encoder->handle.omx;
    auto bitrate = zvx_omx_stamped_record<OMX_VIDEO_PARAM_BITRATETYPE>(1);
    bitrate.eControlRate = OMX_Video_ControlRateVariable;
    zvxp_time_calls(state, [&] {
        bitrate.nTargetBitrate = bitrate.nTargetBitrate == 1000000 ? 2000000 : 1000000;
        return omx->SetParameter(omx, OMX_IndexParamVideoBitrate, &bitrate) == OMX_ErrorNone;
    });
}

#ifdef ZVX_HAVE_BELLAGIO_PEER
void BM_PeerGetParameterPortDefinition(benchmark::State &state)
{
    const char *why_not = nullptr;
    zvx_bellagio_peer *peer = zvx_bellagio_peer_open(&why_not);
    if (peer == nullptr) {
        state.SkipWithError(why_not);
        return;
    }
    zvxp_time_calls(state, [&] { return zvx_bellagio_peer_get_port_definition(peer); });
    zvx_bellagio_peer_close(peer);
}
BENCHMARK(BM_PeerGetParameterPortDefinition)->Iterations(100000)->UseRealTime();
#endif

} // namespace

BENCHMARK(BM_GetParameterPortDefinition)->Iterations(100000)->UseRealTime();
BENCHMARK(BM_SetParameterVideoBitrate)->Iterations(20000)->UseRealTime();

BENCHMARK_MAIN();
