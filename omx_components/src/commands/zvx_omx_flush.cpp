// The client's OMX_CommandFlush on the command thread: completed at once without a session, handed to the
// session while the hardware is stopped, and on running hardware stopped, flushed and restarted. Either
// way it is answered only once the session has given back what it held of the flushed ports.
#include <atomic>
#include <time.h>

#include "core/zvx_omx_client.h"
#include "state/zvx_omx_state.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_log.h"
#include "zvx_omx_session.h"

namespace {

constexpr OMX_U32 ZVXP_INPUT = 0;
constexpr OMX_U32 ZVXP_OUTPUT = 1;

bool zvxp_flushes(OMX_U32 selection, OMX_U32 port)
{
    return selection == port || selection == OMX_ALL;
}

/* The session's flush request for the selected ports. */
OMX_U32 zvxp_session_mask(OMX_U32 selection)
{
    OMX_U32 mask = 0;
    if (zvxp_flushes(selection, ZVXP_INPUT)) {
        mask |= ZVX_BASE_FLUSH_INPUT_PORT;
    }
    if (zvxp_flushes(selection, ZVXP_OUTPUT)) {
        mask |= ZVX_BASE_FLUSH_OUTPUT_PORT;
    }
    return mask;
}

void zvxp_mark_ports(struct zvx_omx_common_component *comp, OMX_U32 selection, bool flushing)
{
    for (OMX_U32 port = ZVXP_INPUT; port <= ZVXP_OUTPUT; ++port) {
        if (!zvxp_flushes(selection, port)) {
            continue;
        }
        if (flushing) {
            zvx_omx_state_port_begin(comp, port, ZVX_OMX_PORT_FLUSHING);
        } else {
            zvx_omx_state_port_end(comp, port, ZVX_OMX_PORT_FLUSHING);
        }
    }
}

/* One OMX_EventCmdComplete per flushed port, input first. */
void zvxp_complete(struct zvx_omx_common_component *comp, OMX_U32 selection)
{
    zvxp_mark_ports(comp, selection, false);
    const zvx_omx_client client = zvx_omx_client_get(comp);
    if (client.callbacks.EventHandler == nullptr) {
        return;
    }
    if (zvxp_flushes(selection, ZVXP_INPUT)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
                "EventHandler(handle=%p, event=OMX_EventCmdComplete, cmd=OMX_CommandFlush, port=0). (%s:%d)",
                client.handle);
        zvx_omx_client_event(client, OMX_EventCmdComplete, OMX_CommandFlush, ZVXP_INPUT);
    }
    if (zvxp_flushes(selection, ZVXP_OUTPUT)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
                "EventHandler(handle=%p, event=OMX_EventCmdComplete, cmd=OMX_CommandFlush, port=1). (%s:%d)",
                client.handle);
        zvx_omx_client_event(client, OMX_EventCmdComplete, OMX_CommandFlush, ZVXP_OUTPUT);
    }
}

bool zvxp_codec_config_pending(struct zvx_omx_common_component *comp,
                               const struct command_flush_buffers_in_executing_state &flush)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return flush.nParam != ZVXP_OUTPUT && std::atomic_ref(comp->ports[ZVXP_INPUT].conf_buffers_queued).load() != 0 &&
           !check_timeout(flush.start_time, now, flush.timeout);
}

/* The rest of a flush handed to the stopped session: it is answered once the session has flushed every
 * port it names and given their buffers back. */
bool zvxp_flush_stopped(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command)
{
    const auto &flush = *reinterpret_cast<const struct command_flush_buffers_in_executing_state *>(command);
    for (OMX_U32 port = ZVXP_INPUT; port <= ZVXP_OUTPUT; ++port) {
        if (zvxp_flushes(flush.nParam, port) && comp->ports[port].nr_pending_flushes != 0 &&
            zvx_omx_state_has_session(comp)) {
            return false;
        }
    }
    for (OMX_U32 port = ZVXP_INPUT; port <= ZVXP_OUTPUT; ++port) {
        if (zvxp_flushes(flush.nParam, port)) {
            std::atomic_ref(comp->ports[port].pFlag).fetch_and(~ZVX_OMX_PORT_FLAG_CLIENT_FLUSH);
        }
    }
    zvxp_complete(comp, flush.nParam);
    return true;
}

} // namespace

bool common_component_cmd_flush_buffers(struct zvx_omx_common_component *comp,
                                        struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return true;
    }
    auto &flush = *reinterpret_cast<struct command_flush_buffers_in_executing_state *>(command);
    if (zvx_omx_state_abandon_if_invalid(comp, flush.nParam)) {
        return true;
    }
    if (!zvx_omx_state_has_session(comp)) {
        // Nothing is held by a session that does not exist: the flush is complete as it stands.
        zvxp_complete(comp, flush.nParam);
        return true;
    }
    zvxp_mark_ports(comp, flush.nParam, true);
    if (zvx_omx_state_hw(comp) == ZVX_BASE_HW_STATE_RUNNING) {
        command->function = common_component_cmd_flush_buffers_in_executing_state;
        return command->function(comp, command);
    }
    for (OMX_U32 port = ZVXP_INPUT; port <= ZVXP_OUTPUT; ++port) {
        if (zvxp_flushes(flush.nParam, port)) {
            std::atomic_ref(comp->ports[port].pFlag).fetch_or(ZVX_OMX_PORT_FLAG_CLIENT_FLUSH);
        }
    }
    zvx_omx_port_flush_session(comp, zvxp_session_mask(flush.nParam));
    command->function = zvxp_flush_stopped;
    return false;
}

bool common_component_cmd_flush_buffers_in_executing_state(struct zvx_omx_common_component *comp,
                                                           struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return false;
    }
    auto &flush = *reinterpret_cast<struct command_flush_buffers_in_executing_state *>(command);
    if (zvx_omx_state_abandon_if_invalid(comp, flush.nParam)) {
        zvxp_mark_ports(comp, flush.nParam, false);
        return true;
    }
    switch (flush.state) {
    case WAIT_FOR_CODEC_CONFIG:
        if (!zvxp_codec_config_pending(comp, flush)) {
            flush.state = CHANGING_STATE_TO_STOPPED;
            zvx_enqueue_state_change_helper(comp, ZVX_BASE_HW_STATE_STOPPED);
        } else {
            // The configuration's return wakes it; its time-out must too.
            zvx_omx_common_cproc_retry_within(comp, static_cast<int64_t>(flush.timeout) * 1000000);
        }
        return false;
    case CHANGING_STATE_TO_STOPPED:
        if (zvx_omx_state_hw(comp) == flush.hw_state) {
            flush.state = FLUSHING;
            const OMX_U32 mask = zvxp_session_mask(flush.nParam);
            if (mask != 0) {
                zvx_omx_port_flush_session(comp, mask);
            }
        }
        return false;
    case FLUSHING:
        if (comp->ports[ZVXP_INPUT].nr_pending_flushes == 0 && comp->ports[ZVXP_OUTPUT].nr_pending_flushes == 0) {
            flush.state = CHANGING_STATE_TO_RUNNING;
            flush.hw_state = ZVX_BASE_HW_STATE_RUNNING;
            zvx_enqueue_state_change_helper(comp, ZVX_BASE_HW_STATE_RUNNING);
        }
        return false;
    case CHANGING_STATE_TO_RUNNING:
        if (zvx_omx_state_hw(comp) != ZVX_BASE_HW_STATE_RUNNING) {
            return false;
        }
        zvxp_complete(comp, flush.nParam);
        return true;
    default:
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Illegal state for flush. state=%u. (%s:%d)", flush.state);
        return true;
    }
}

bool check_timeout(struct timespec start, struct timespec end, long timeout)
{
    constexpr long NS_PER_MS = 1000000;
    long elapsed_ms;
    if (start.tv_sec >= end.tv_sec) {
        elapsed_ms = (end.tv_nsec - start.tv_nsec) / NS_PER_MS;
    } else {
        elapsed_ms =
            (1000 - start.tv_nsec / NS_PER_MS) + (end.tv_sec - start.tv_sec - 1) * 1000 + end.tv_nsec / NS_PER_MS;
    }
    return elapsed_ms >= timeout;
}
