// The client's port enable and disable commands, and the port flushes they ask of the session.
#include "zvx_omx_port_commands.h"

#include <atomic>

#include "commands/zvx_omx_client_commands.h"
#include "core/zvx_omx_client.h"
#include "state/zvx_omx_state.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_log.h"
#include "zvx_omx_session.h"
#include "zvx_session_interface.h"

namespace {

/* The session's flush flag of each port. */
constexpr OMX_U32 ZVXP_PORT_FLUSH_FLAG[ZVX_OMX_PORT_COUNT] = {ZVX_BASE_FLUSH_INPUT_PORT, ZVX_BASE_FLUSH_OUTPUT_PORT};

bool zvxp_port_selected(OMX_U32 selection, OMX_U32 candidate)
{
    return selection == candidate || selection == OMX_ALL;
}

template <typename Record> Record *zvxp_allocate_port_command(command_function_t function, OMX_U32 port, bool all_ports)
{
    auto *command = static_cast<Record *>(zvx_mem_calloc(1, sizeof(Record)));
    if (command == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Memory allocation failed. (%s:%d)");
        return nullptr;
    }
    command->command_data.function = function;
    command->port = port;
    command->all_ports = all_ports;
    return command;
}

struct zvx_omx_common_cproc_command_data *zvxp_new_enable(OMX_U32 port, bool all_ports)
{
    auto *command = zvxp_allocate_port_command<struct command_delayed_port_enable_disable_data>(delayed_portenable,
                                                                                                port, all_ports);
    return command != nullptr ? &command->command_data : nullptr;
}

struct zvx_omx_common_cproc_command_data *zvxp_new_disable(OMX_U32 port, bool all_ports)
{
    auto *command =
        zvxp_allocate_port_command<struct command_delayed_port_disable_data>(delayed_portdisable, port, all_ports);
    if (command == nullptr) {
        return nullptr;
    }
    command->state = STATE_INIT;
    command->restore_running_state = false;
    return &command->command_data;
}

bool zvxp_port_holds_buffers(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    zvx_omx_mutex_guard guard(&comp->lock);
    return zvxp_omx_port_has_buffers(&comp->ports[port]);
}

bool zvxp_hw_is(struct zvx_omx_common_component *comp, enum zvx_base_hw_state state)
{
    return zvx_omx_state_hw(comp) == state;
}

/* One step of the disable; the state stays where it is while the step waits. */
void zvxp_disable_step(struct zvx_omx_common_component *comp, struct command_delayed_port_disable_data &disable)
{
    const OMX_U32 port = disable.port;
    switch (disable.state) {
    case STATE_INIT:
        if (!comp->ports[port].flush_without_stop && !zvxp_hw_is(comp, ZVX_BASE_HW_STATE_STOPPED)) {
            zvx_enqueue_state_change_helper(comp, ZVX_BASE_HW_STATE_STOPPED);
            disable.restore_running_state = true;
        }
        disable.state = STATE_STOPPING;
        break;
    case STATE_STOPPING:
        if (disable.restore_running_state && !zvxp_hw_is(comp, ZVX_BASE_HW_STATE_STOPPED)) {
            break;
        }
        zvxp_omx_port_flush(comp, port);
        disable.state = STATE_FLUSHING;
        break;
    case STATE_FLUSHING:
        if (!zvxp_omx_port_flush_complete(comp, port)) {
            break;
        }
        if (disable.restore_running_state) {
            zvx_enqueue_state_change_helper(comp, ZVX_BASE_HW_STATE_RUNNING);
        }
        disable.state = STATE_RESTORE_HW_STATE;
        break;
    case STATE_RESTORE_HW_STATE:
        if (!disable.restore_running_state || zvxp_hw_is(comp, ZVX_BASE_HW_STATE_RUNNING)) {
            disable.state = STATE_DONE;
        }
        break;
    default:
        break;
    }
}

void zvxp_complete_disable(struct zvx_omx_common_component *comp, struct command_delayed_port_disable_data &disable)
{
    if (disable.port == zvx_omx_common_component_get_output_port_index(comp)) {
        zvx_omx_mutex_guard guard(&comp->lock);
        zvx_omx_common_component_update_portdef_from_alloc_params(comp);
    }
    zvx_omx_state_port_end(comp, disable.port, ZVX_OMX_PORT_DISABLING);
    const zvx_omx_client client = zvx_omx_client_get(comp);
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "EventHandler(handle=%p, event=OMX_EventCmdComplete, cmd=OMX_CommandPortDisable, port=%u). (%s:%d)",
            client.handle, disable.port);
    zvx_omx_client_event(client, OMX_EventCmdComplete, OMX_CommandPortDisable, disable.port);
    disable.state = ZVX_OMX_PORT_DISABLE_COMPLETED;
}

} // namespace

void zvxp_omx_port_flush(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    for (OMX_U32 each = 0; each < ZVX_OMX_PORT_COUNT; ++each) {
        if (zvxp_port_selected(port, each)) {
            zvx_omx_port_flush_session(comp, ZVXP_PORT_FLUSH_FLAG[each]);
        }
    }
}

unsigned zvxp_omx_port_flush_complete(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    for (OMX_U32 each = 0; each < ZVX_OMX_PORT_COUNT; ++each) {
        // Without a session no flush is outstanding, and the count belongs to the command thread: a disable
        // completing inside SendCommand does not read it.
        const bool flushing = zvx_omx_state_has_session(comp) && comp->ports[each].nr_pending_flushes > 0;
        if (zvxp_port_selected(port, each) && (flushing || zvxp_port_holds_buffers(comp, each))) {
            return 0;
        }
    }
    return 1;
}

OMX_ERRORTYPE common_component_cmd_port_enable_disable(struct zvx_omx_common_component *comp, OMX_U32 port, bool enable)
{
    if (comp == nullptr || (port >= ZVX_OMX_PORT_COUNT && port != OMX_ALL)) {
        return OMX_ErrorBadParameter;
    }
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        for (OMX_U32 each = 0; each < ZVX_OMX_PORT_COUNT; ++each) {
            if (zvxp_port_selected(port, each) && zvx_omx_port_get_definition(&comp->ports[each]) == nullptr) {
                return OMX_ErrorUnsupportedIndex;
            }
        }
    }
    struct zvx_omx_common_cproc_command_data *commands[ZVX_OMX_PORT_COUNT] = {};
    size_t count = 0;
    for (OMX_U32 each = 0; each < ZVX_OMX_PORT_COUNT; ++each) {
        if (!zvxp_port_selected(port, each)) {
            continue;
        }
        struct zvx_omx_common_cproc_command_data *command =
            enable ? zvxp_new_enable(each, port == OMX_ALL) : zvxp_new_disable(each, port == OMX_ALL);
        if (command == nullptr) {
            for (size_t i = 0; i < count; ++i) {
                zvx_mem_free(commands[i]);
            }
            return OMX_ErrorInsufficientResources;
        }
        commands[count++] = command;
    }
    if (!enable && zvx_omx_client_commands_complete_inline(comp, commands, count)) {
        return OMX_ErrorNone;
    }
    return zvx_omx_client_commands_send(comp, commands, count);
}

bool delayed_portenable(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return true;
    }
    const auto port =
        static_cast<OMX_U32>(reinterpret_cast<const struct command_delayed_port_enable_disable_data *>(command)->port);
    if (port >= ZVX_OMX_PORT_COUNT) {
        return true;
    }
    if (zvx_omx_state_abandon_if_invalid(comp, port)) {
        zvx_omx_state_port_end(comp, port, ZVX_OMX_PORT_ENABLING);
        return true;
    }
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
        if (definition == nullptr) {
            return false;
        }
        const OMX_STATETYPE state = zvx_omx_state_get(comp);
        if (definition->bPopulated != OMX_TRUE && state != OMX_StateLoaded && state != OMX_StateWaitForResources) {
            return false;
        }
    }
    zvx_omx_state_port_end(comp, port, ZVX_OMX_PORT_ENABLING);
    const zvx_omx_client client = zvx_omx_client_get(comp);
    if (client.callbacks.EventHandler == nullptr) {
        return true;
    }
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "EventHandler(handle=%p, event=OMX_EventCmdComplete, cmd=OMX_CommandPortEnable, port=%u). (%s:%d)",
            client.handle, static_cast<unsigned>(port));
    zvx_omx_client_event(client, OMX_EventCmdComplete, OMX_CommandPortEnable, port);
    return true;
}

bool delayed_portdisable(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return true;
    }
    auto &disable = *reinterpret_cast<struct command_delayed_port_disable_data *>(command);
    if (disable.port >= ZVX_OMX_PORT_COUNT) {
        return true;
    }
    // Without a session there is nothing to stop or flush: the disable waits only for the client to
    // free the port's buffers.
    if (!zvx_omx_state_has_session(comp) && disable.state < STATE_FLUSHING) {
        disable.restore_running_state = false;
        disable.state = STATE_FLUSHING;
    }
    const OMX_U32 output = zvx_omx_common_component_get_output_port_index(comp);
    std::atomic_ref vp9_reallocation(comp->vp9_alloc_params_changed);
    if (vp9_reallocation.load() && disable.port == output) {
        // A reallocation for the session neither stops nor flushes: it waits until the session
        // returned every output buffer and the client freed them, and completes on the next run.
        zvx_omx_port &port = comp->ports[output];
        if (std::atomic_ref(port.nr_enqueue).load() != std::atomic_ref(port.nr_dequeue).load() ||
            zvxp_port_holds_buffers(comp, output)) {
            return false;
        }
        disable.state = STATE_DONE;
        vp9_reallocation.store(false);
        return false;
    }
    for (;;) {
        if (disable.state == STATE_DONE) {
            zvxp_complete_disable(comp, disable);
            return true;
        }
        if (disable.state > STATE_DONE) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Illegal state for port disable. state=%u. (%s:%d)", disable.state);
            return true;
        }
        const uint32_t before = disable.state;
        zvxp_disable_step(comp, disable);
        if (disable.state == before) {
            return false;
        }
    }
}
