// The frame-rate estimate from an encoder's input timestamps.
#include "buffers/zvx_omx_frame_rate.h"

#include <OMX_IVCommon.h>

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_session_interface.h"

namespace {

constexpr uint64_t ZVXP_TICKS_PER_SECOND = 1000000;
constexpr OMX_U32 ZVXP_ONE_FPS_Q16 = 1u << 16;
/* The interval list keeps one slot free to tell full from empty. */
constexpr OMX_U32 ZVXP_LARGEST_WINDOW = 9;

void zvxp_forget_intervals(zvxu_circular_list *intervals)
{
    while (zvxu_circular_list_is_empty(intervals) == 0) {
        zvxu_circular_list_dequeue(intervals);
    }
}

/* The new rate for the port's stored frame rate, or false while there is none. Caller holds the lock. */
bool zvxp_estimate(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_TICKS timestamp,
                   OMX_CONFIG_FRAMERATETYPE *out, bool *tell_session)
{
    struct zvx_map *store = &comp->ports[port].config_and_params;
    const auto *dynamic = static_cast<const QURO_CONFIG_DYNAMICFPSTYPE *>(
        zvx_omx_config_find(store, OMX_IndexConfigDynamicFPSFromTimestamp, 0));
    if (dynamic == nullptr || dynamic->bEnabled == OMX_FALSE || comp->prev_fps == nullptr) {
        return false;
    }
    const OMX_TICKS previous = comp->prev_ts;
    comp->prev_ts = timestamp;
    if (previous == INT64_MAX) {
        return false;
    }
    if (timestamp <= previous) {
        zvxp_forget_intervals(comp->prev_fps);
        return false;
    }
    zvxu_circular_list_enqueue(comp->prev_fps,
                               static_cast<intptr_t>(std::min<OMX_TICKS>(timestamp - previous, INTPTR_MAX)));
    const int window = static_cast<int>(std::clamp<OMX_U32>(dynamic->nWindow, 1, ZVXP_LARGEST_WINDOW));
    if (zvxu_circular_list_get_num_elements(comp->prev_fps) < window) {
        return false;
    }
    uint64_t span = 0;
    for (int i = 0; i < window; ++i) {
        span += static_cast<uint64_t>(zvxu_circular_list_peek(comp->prev_fps, i));
    }
    const uint64_t rate = (ZVXP_TICKS_PER_SECOND * static_cast<uint64_t>(window) << 16) / span;
    auto *stored =
        static_cast<OMX_CONFIG_FRAMERATETYPE *>(zvx_omx_config_find(store, OMX_IndexConfigVideoFramerate, 0));
    if (stored == nullptr || rate > UINT32_MAX) {
        return false;
    }
    const OMX_U32 fps_q16 = static_cast<OMX_U32>(rate);
    const OMX_U32 difference =
        fps_q16 > stored->xEncodeFramerate ? fps_q16 - stored->xEncodeFramerate : stored->xEncodeFramerate - fps_q16;
    if (difference < ZVXP_ONE_FPS_Q16) {
        return false;
    }
    stored->xEncodeFramerate = fps_q16;
    if (OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port])) {
        definition->format.video.xFramerate = fps_q16;
    }
    *out = *stored;
    *tell_session = dynamic->bTrackChanges != OMX_FALSE;
    return true;
}

} // namespace

void zvx_omx_frame_rate_observe(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_TICKS timestamp)
{
    OMX_CONFIG_FRAMERATETYPE changed;
    bool tell_session = false;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        if (!zvxp_estimate(comp, port, timestamp, &changed, &tell_session)) {
            return;
        }
    }
    if (tell_session && std::atomic_ref(comp->session_created).load()) {
        zvx_set_parameter(comp->driver_fd, OMX_IndexConfigVideoFramerate, sizeof(changed), &changed);
    }
}
