// The state machine's record keeping: the OpenMAX and hardware states, the ports' transitions, and
// the step that settles what is pending after every command and event.
#include "state/zvx_omx_state.h"

#include <atomic>
#include <iterator>

#include "core/zvx_omx_client.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_log.h"

namespace {

constexpr const char *ZVXP_STATE_NAMES[] = {
    "OMX_StateInvalid",   "OMX_StateLoaded", "OMX_StateIdle",
    "OMX_StateExecuting", "OMX_StatePause",  "OMX_StateWaitForResources",
};

std::atomic_ref<int32_t> zvxp_transition(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    return std::atomic_ref<int32_t>(comp->ports[port].transition);
}

} // namespace

OMX_STATETYPE zvx_omx_state_get(struct zvx_omx_common_component *comp)
{
    return static_cast<OMX_STATETYPE>(zvxu_atomic_get(&comp->omx_state));
}

void zvx_omx_state_set(struct zvx_omx_common_component *comp, OMX_STATETYPE state)
{
    zvxu_atomic_set(&comp->omx_state, static_cast<uint32_t>(state));
}

const char *zvx_omx_state_name(OMX_STATETYPE state)
{
    const auto index = static_cast<uint32_t>(state);
    return index < std::size(ZVXP_STATE_NAMES) ? ZVXP_STATE_NAMES[index] : "Unknown";
}

int32_t zvx_omx_state_hw(struct zvx_omx_common_component *comp)
{
    return std::atomic_ref(comp->hw_state).load();
}

void zvx_omx_state_set_hw(struct zvx_omx_common_component *comp, int32_t hw_state)
{
    std::atomic_ref(comp->hw_state).store(hw_state);
}

bool zvx_omx_state_has_session(struct zvx_omx_common_component *comp)
{
    return std::atomic_ref(comp->session_created).load();
}

zvx_omx_port_transition zvx_omx_state_port_transition(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    return static_cast<zvx_omx_port_transition>(zvxp_transition(comp, port).load());
}

void zvx_omx_state_port_begin(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_omx_port_transition transition)
{
    int32_t expected = ZVX_OMX_PORT_STABLE;
    zvxp_transition(comp, port).compare_exchange_strong(expected, transition);
}

void zvx_omx_state_port_end(struct zvx_omx_common_component *comp, OMX_U32 port, zvx_omx_port_transition transition)
{
    int32_t expected = transition;
    zvxp_transition(comp, port).compare_exchange_strong(expected, ZVX_OMX_PORT_STABLE);
}

void zvx_omx_state_request(struct zvx_omx_common_component *comp, OMX_STATETYPE target)
{
    std::atomic_ref(comp->requested_state).store(static_cast<int32_t>(target));
}

void zvx_omx_state_settle_request(struct zvx_omx_common_component *comp, OMX_STATETYPE target)
{
    int32_t expected = static_cast<int32_t>(target);
    std::atomic_ref(comp->requested_state).compare_exchange_strong(expected, static_cast<int32_t>(OMX_StateMax));
}

bool zvx_omx_state_is_requested(struct zvx_omx_common_component *comp, OMX_STATETYPE target)
{
    return std::atomic_ref(comp->requested_state).load() == static_cast<int32_t>(target);
}

bool zvx_omx_state_abandon_if_invalid(struct zvx_omx_common_component *comp, OMX_U32 data2)
{
    if (zvx_omx_state_get(comp) != OMX_StateInvalid) {
        return false;
    }
    const zvx_omx_client client = zvx_omx_client_get(comp);
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "EventHandler(handle=%p, event=OMX_EventError, error=OMX_ErrorInvalidState, data=0x%x). (%s:%d)",
            client.handle, static_cast<unsigned>(data2));
    zvx_omx_client_event(client, OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInvalidState), data2);
    return true;
}

void zvx_omx_state_check_transitions(struct zvx_omx_common_component *comp)
{
    if (zvx_omx_state_has_session(comp)) {
        return;
    }
    // Without a session no flush event will come: what was asked of the session is over.
    for (zvx_omx_port &port : comp->ports) {
        if (port.nr_pending_flushes != 0) {
            port.nr_pending_flushes = 0;
        }
    }
}
