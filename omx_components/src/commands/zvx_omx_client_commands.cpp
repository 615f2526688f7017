// The order of the client's commands: SendCommand accepts them under commands_lock, the command thread
// carries them out one at a time, and a command takes effect as it starts.
#include "commands/zvx_omx_client_commands.h"

#include <atomic>

#include "state/zvx_omx_state.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_log.h"
#include "zvx_omx_port_commands.h"

namespace {

void zvxp_set_enabled(struct zvx_omx_common_component *comp, OMX_U32 port, bool enable)
{
    zvx_omx_state_port_begin(comp, port, enable ? ZVX_OMX_PORT_ENABLING : ZVX_OMX_PORT_DISABLING);
    zvx_omx_mutex_guard guard(&comp->lock);
    if (OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port])) {
        definition->bEnabled = enable ? OMX_TRUE : OMX_FALSE;
    }
}

void zvxp_begin_port_command(struct zvx_omx_common_component *comp, OMX_U32 port, bool all_ports, bool enable)
{
    if (port >= ZVX_OMX_PORT_COUNT) {
        return;
    }
    // Both ports of an OMX_ALL change together, as its first record starts: the client frees or allocates
    // the buffers of both at once. The second record finds its port changed already.
    if (all_ports && port == 0) {
        for (OMX_U32 each = 0; each < ZVX_OMX_PORT_COUNT; ++each) {
            zvxp_set_enabled(comp, each, enable);
        }
    } else {
        zvxp_set_enabled(comp, port, enable);
    }
}

/* What a command changes for the client as it starts. Running it twice changes nothing more. */
void zvxp_begin(struct zvx_omx_common_component *comp, const struct zvx_omx_common_cproc_command_data *command)
{
    if (command->function == common_component_cmd_state_change) {
        const auto &change = *reinterpret_cast<const struct command_state_change_data *>(command);
        const auto target = static_cast<OMX_STATETYPE>(change.state);
        if (zvx_omx_state_get(comp) == OMX_StateIdle && target == OMX_StateLoaded) {
            std::atomic_ref(comp->sw_state_trying_to_stop).store(true);
        }
        zvx_omx_state_request(comp, target);
    } else if (command->function == delayed_portenable) {
        const auto &enable = *reinterpret_cast<const struct command_delayed_port_enable_disable_data *>(command);
        zvxp_begin_port_command(comp, static_cast<OMX_U32>(enable.port), enable.all_ports, true);
    } else if (command->function == delayed_portdisable) {
        const auto &disable = *reinterpret_cast<const struct command_delayed_port_disable_data *>(command);
        zvxp_begin_port_command(comp, disable.port, disable.all_ports, false);
    }
}

/* A flush of both ports answers once for each; every other command once. */
uint32_t zvxp_answers_due(const struct zvx_omx_common_cproc_command_data *command)
{
    if (command->function == common_component_cmd_flush_buffers) {
        const auto &flush = *reinterpret_cast<const struct command_flush_buffers_in_executing_state *>(command);
        return flush.nParam == OMX_ALL ? 2 : 1;
    }
    return 1;
}

/* The head of the line is done, answered (unless it has been already). */
void zvxp_finish(struct zvx_omx_common_component *comp, bool answered_already)
{
    zvx_omx_mutex_guard guard(&comp->commands_lock);
    if (!answered_already) {
        --comp->commands_pending;
    }
    --comp->commands_unfinished;
}

} // namespace

OMX_ERRORTYPE zvx_omx_client_commands_send(struct zvx_omx_common_component *comp,
                                           struct zvx_omx_common_cproc_command_data *const *commands, size_t count)
{
    size_t queued = 0;
    {
        zvx_omx_mutex_guard guard(&comp->commands_lock);
        // A record built without its command thread (as unit tests build one) never runs a command: each
        // takes effect as it is sent.
        const bool no_thread = comp->cproc_invoker.invoker_thread == 0;
        if ((comp->commands_pending == 0 && !comp->inline_command) || no_thread) {
            for (size_t i = 0; i < count; ++i) {
                zvxp_begin(comp, commands[i]);
            }
        }
        while (queued < count && zvx_omx_common_cproc_command_queue_enqueue(&comp->client_commands, commands[queued])) {
            ++queued;
        }
        comp->commands_pending += static_cast<uint32_t>(queued);
        comp->commands_unfinished += static_cast<uint32_t>(queued);
    }
    for (size_t i = 0; i < queued; ++i) {
        zvx_omx_common_cproc_invoker_signal(&comp->cproc_invoker);
    }
    if (queued == count) {
        return OMX_ErrorNone;
    }
    // Only the queue's own memory can fail it; what went in before stays and is answered.
    for (size_t i = queued; i < count; ++i) {
        zvx_mem_free(commands[i]);
    }
    return OMX_ErrorInsufficientResources;
}

bool zvx_omx_client_commands_complete_inline(struct zvx_omx_common_component *comp,
                                             struct zvx_omx_common_cproc_command_data *const *commands, size_t count)
{
    {
        zvx_omx_mutex_guard guard(&comp->commands_lock);
        // Its answer comes from this thread: it must not overtake the callback of the one before.
        if (comp->commands_unfinished != 0 || comp->inline_command || zvx_omx_state_has_session(comp)) {
            return false;
        }
        for (size_t i = 0; i < count; ++i) {
            const auto &disable = *reinterpret_cast<const struct command_delayed_port_disable_data *>(commands[i]);
            if (commands[i]->function != delayed_portdisable || disable.port >= ZVX_OMX_PORT_COUNT) {
                return false;
            }
            zvx_omx_mutex_guard settings(&comp->lock);
            if (zvxp_omx_port_has_buffers(&comp->ports[disable.port])) {
                return false;
            }
        }
        for (size_t i = 0; i < count; ++i) {
            zvxp_begin(comp, commands[i]);
        }
        // Commands sent from here on, from the callbacks below too, wait until these are answered.
        comp->inline_command = true;
    }
    for (size_t i = 0; i < count; ++i) {
        delayed_portdisable(comp, commands[i]);
        zvx_mem_free(commands[i]);
    }
    bool more;
    {
        zvx_omx_mutex_guard guard(&comp->commands_lock);
        comp->inline_command = false;
        more = comp->commands_unfinished != 0;
    }
    if (more) {
        zvx_omx_common_cproc_invoker_signal(&comp->cproc_invoker);
    }
    return true;
}

zvx_omx_client_step zvx_omx_client_commands_advance(struct zvx_omx_common_component *comp)
{
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    if (invoker.current == nullptr) {
        zvx_omx_mutex_guard guard(&comp->commands_lock);
        if (comp->inline_command) {
            return zvx_omx_client_step::none;
        }
        invoker.current = zvx_omx_common_cproc_command_queue_dequeue(&comp->client_commands);
        if (invoker.current == nullptr) {
            return zvx_omx_client_step::none;
        }
        invoker.current_answered = false;
        invoker.answers_due = zvxp_answers_due(invoker.current);
        zvxp_begin(comp, invoker.current);
    }
    struct zvx_omx_common_cproc_command_data *command = invoker.current;
    invoker.running_current = true;
    const bool done = command->function(comp, command);
    invoker.running_current = false;
    if (invoker.continuation != nullptr) {
        // The command goes on as its delayed step, still ahead of everything sent after it.
        zvx_mem_free(command);
        invoker.current = invoker.continuation;
        invoker.continuation = nullptr;
        invoker.retry_at_ns = 0;
        return zvx_omx_client_step::progressed;
    }
    if (!done) {
        return zvx_omx_client_step::waiting;
    }
    zvx_mem_free(command);
    invoker.current = nullptr;
    invoker.retry_at_ns = 0;
    zvxp_finish(comp, invoker.current_answered);
    return zvx_omx_client_step::progressed;
}

void zvx_omx_client_commands_run_ready(struct zvx_omx_common_component *comp)
{
    while (zvx_omx_client_commands_advance(comp) == zvx_omx_client_step::progressed &&
           comp->cproc_invoker.current == nullptr) {
    }
}

void zvx_omx_client_commands_drop_current(struct zvx_omx_common_component *comp)
{
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    zvx_mem_free(invoker.current);
    zvx_mem_free(invoker.continuation);
    invoker.current = nullptr;
    invoker.continuation = nullptr;
}
