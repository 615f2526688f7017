#include "zvx_omx_event.h"

#include <atomic>
#include <cstring>

#include "zvx_omx_common_component.h"
#include "zvx_session_interface.h"

void zvxp_omx_handle_event_state_changed(struct zvx_omx_common_component *comp, int32_t state)
{
    std::atomic_ref(comp->hw_state).store(state);
}

void zvxp_omx_handle_event(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *desc)
{
    if (comp == nullptr || desc == nullptr) {
        return;
    }
    switch (desc->code) {
    case ZVX_BASE_EVENT_STATE_CHANGED: {
        if (desc->size < sizeof(int32_t)) {
            return;
        }
        int32_t state;
        std::memcpy(&state, desc->data, sizeof(state));
        zvxp_omx_handle_event_state_changed(comp, state);
        break;
    }
    default:
        /* Events without a handler are dropped. */
        break;
    }
}
