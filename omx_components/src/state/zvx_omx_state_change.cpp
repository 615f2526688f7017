// OMX_CommandStateSet on the command thread: the transition table, the readiness checks, the
// hardware state asked of the session, and the delayed completion that waits for it.
#include <atomic>

#include "core/zvx_omx_client.h"
#include "state/zvx_omx_state.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_log.h"
#include "zvx_omx_session.h"
#include "zvx_omx_state_change.h"

namespace {

enum class zvxp_rule : uint8_t {
    change,       /* allowed */
    same_state,   /* OMX_ErrorSameState */
    incorrect,    /* OMX_ErrorIncorrectStateTransition */
    invalidate,   /* to Invalid: the state becomes Invalid, reported as OMX_ErrorInvalidState */
    from_invalid, /* nothing leaves Invalid: OMX_ErrorInvalidState */
};

enum class zvxp_session_step : uint8_t {
    none,               /* completes at once */
    resume,             /* completes at once, asking the session for hw_state if it is not there */
    request,            /* asks the session for hw_state and completes when it is reached */
    create_and_request, /* the same, creating the session first */
};

using zvxp_readiness = bool (*)(struct zvx_omx_common_component *comp);

struct zvxp_transition {
    zvxp_rule rule;
    zvxp_readiness ready; /* null: always ready */
    zvxp_session_step session;
    enum zvx_base_hw_state hw_state;
};

/* Every enabled port holds its minimum of buffers. */
bool zvxp_ready_loaded_to_idle(struct zvx_omx_common_component *comp)
{
    zvx_omx_mutex_guard guard(&comp->lock);
    for (zvx_omx_port &port : comp->ports) {
        const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&port);
        if (definition != nullptr && definition->bEnabled != OMX_FALSE &&
            zvx_map_size(&port.registered_buffers) < definition->nBufferCountMin) {
            return false;
        }
    }
    return true;
}

bool zvxp_ports_hold_buffers(struct zvx_omx_common_component *comp)
{
    zvx_omx_mutex_guard guard(&comp->lock);
    return zvxp_omx_port_has_buffers(&comp->ports[0]) || zvxp_omx_port_has_buffers(&comp->ports[1]);
}

bool zvxp_ready_idle_to_loaded(struct zvx_omx_common_component *comp)
{
    return !zvxp_ports_hold_buffers(comp);
}

constexpr zvxp_transition ZVXP_LEAVE_INVALID = {zvxp_rule::from_invalid, nullptr, zvxp_session_step::none,
                                                ZVX_BASE_HW_STATE_STOPPED};
constexpr zvxp_transition ZVXP_INVALIDATE = {zvxp_rule::invalidate, nullptr, zvxp_session_step::none,
                                             ZVX_BASE_HW_STATE_STOPPED};
constexpr zvxp_transition ZVXP_SAME = {zvxp_rule::same_state, nullptr, zvxp_session_step::none,
                                       ZVX_BASE_HW_STATE_STOPPED};
constexpr zvxp_transition ZVXP_INCORRECT = {zvxp_rule::incorrect, nullptr, zvxp_session_step::none,
                                            ZVX_BASE_HW_STATE_STOPPED};
constexpr zvxp_transition ZVXP_AT_ONCE = {zvxp_rule::change, nullptr, zvxp_session_step::none,
                                          ZVX_BASE_HW_STATE_STOPPED};
constexpr zvxp_transition ZVXP_RUN = {zvxp_rule::change, nullptr, zvxp_session_step::request,
                                      ZVX_BASE_HW_STATE_RUNNING};
constexpr zvxp_transition ZVXP_STOP = {zvxp_rule::change, nullptr, zvxp_session_step::request,
                                       ZVX_BASE_HW_STATE_STOPPED};
constexpr zvxp_transition ZVXP_START_SESSION = {zvxp_rule::change, nullptr, zvxp_session_step::create_and_request,
                                                ZVX_BASE_HW_STATE_RUNNING};
constexpr zvxp_transition ZVXP_LOADED_TO_IDLE = {zvxp_rule::change, zvxp_ready_loaded_to_idle,
                                                 zvxp_session_step::create_and_request, ZVX_BASE_HW_STATE_RUNNING};
/* Idle after Executing finds the hardware stopped: Executing runs it again, without waiting for it. */
constexpr zvxp_transition ZVXP_RESUME = {zvxp_rule::change, nullptr, zvxp_session_step::resume,
                                         ZVX_BASE_HW_STATE_RUNNING};
constexpr zvxp_transition ZVXP_IDLE_TO_LOADED = {zvxp_rule::change, zvxp_ready_idle_to_loaded,
                                                 zvxp_session_step::request, ZVX_BASE_HW_STATE_STOPPED};
/* Buffers taken for an Idle that failed stay until the client frees them: Loaded waits for that. */
constexpr zvxp_transition ZVXP_WAITING_TO_LOADED = {zvxp_rule::change, zvxp_ready_idle_to_loaded,
                                                    zvxp_session_step::none, ZVX_BASE_HW_STATE_STOPPED};

/* How often a failed readiness check would be retried without a wake-up: the timer slack that a short
 * sleep really takes. ZVX_OMX_STATE_CHANGE_ATTEMPTS of them make the budget, 250 ms. */
constexpr int64_t ZVXP_RETRY_INTERVAL_NS = 50000;

constexpr int ZVXP_STATE_COUNT = OMX_StateWaitForResources + 1;

/* [current][target], in OMX_STATETYPE order: Invalid, Loaded, Idle, Executing, Pause, WaitForResources. */
constexpr zvxp_transition ZVXP_TRANSITIONS[ZVXP_STATE_COUNT][ZVXP_STATE_COUNT] = {
    {ZVXP_LEAVE_INVALID, ZVXP_LEAVE_INVALID, ZVXP_LEAVE_INVALID, ZVXP_LEAVE_INVALID, ZVXP_LEAVE_INVALID,
     ZVXP_LEAVE_INVALID},
    {ZVXP_INVALIDATE, ZVXP_SAME, ZVXP_LOADED_TO_IDLE, ZVXP_INCORRECT, ZVXP_INCORRECT, ZVXP_AT_ONCE},
    {ZVXP_INVALIDATE, ZVXP_IDLE_TO_LOADED, ZVXP_SAME, ZVXP_RESUME, ZVXP_AT_ONCE, ZVXP_INCORRECT},
    {ZVXP_INVALIDATE, ZVXP_INCORRECT, ZVXP_STOP, ZVXP_SAME, ZVXP_STOP, ZVXP_INCORRECT},
    {ZVXP_INVALIDATE, ZVXP_INCORRECT, ZVXP_STOP, ZVXP_RUN, ZVXP_SAME, ZVXP_INCORRECT},
    {ZVXP_INVALIDATE, ZVXP_WAITING_TO_LOADED, ZVXP_START_SESSION, ZVXP_INCORRECT, ZVXP_INCORRECT, ZVXP_SAME},
};

/* A state outside the table, on either side, is no transition at all. */
const zvxp_transition &zvxp_transition_of(OMX_STATETYPE current, OMX_STATETYPE target)
{
    const auto from = static_cast<uint32_t>(current);
    const auto to = static_cast<uint32_t>(target);
    if (from == OMX_StateInvalid) {
        return ZVXP_LEAVE_INVALID;
    }
    if (from >= ZVXP_STATE_COUNT || to >= ZVXP_STATE_COUNT) {
        return ZVXP_INCORRECT;
    }
    return ZVXP_TRANSITIONS[from][to];
}

void zvxp_refuse(struct zvx_omx_common_component *comp, const zvx_omx_client &client, OMX_ERRORTYPE error,
                 const char *error_name, OMX_STATETYPE target)
{
    zvx_omx_state_settle_request(comp, target);
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "EventHandler(handle=%p, event=OMX_EventError, error=%s, state=%s (0x%x)). (%s:%d)", client.handle,
            error_name, zvx_omx_state_name(target), target);
    zvx_omx_client_event(client, OMX_EventError, static_cast<OMX_U32>(error), target);
}

void zvxp_report_insufficient_resources(struct zvx_omx_common_component *comp, const zvx_omx_client &client,
                                        OMX_STATETYPE target)
{
    zvx_omx_state_settle_request(comp, target);
    ZVX_LOG(
        &zvx_log_omx_if, ZVX_LOG_ERROR,
        "EventHandler(handle=%p, event=OMX_EventError, cmd=OMX_ErrorInsufficientResources, state=%s (0x%x)). (%s:%d)",
        client.handle, zvx_omx_state_name(target), target);
    zvx_omx_client_event(client, OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInsufficientResources), target);
}

void zvxp_complete(struct zvx_omx_common_component *comp, const zvx_omx_client &client, OMX_STATETYPE target)
{
    zvx_omx_state_set(comp, target);
    zvx_omx_state_settle_request(comp, target);
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "EventHandler(handle=%p, event=OMX_EventCmdComplete, cmd=OMX_CommandStateSet, state=%s (0x%x)). (%s:%d)",
            client.handle, zvx_omx_state_name(target), target);
    zvx_omx_client_event(client, OMX_EventCmdComplete, OMX_CommandStateSet, target);
}

/* Asks the session for the transition's hardware state and leaves the completion to a delayed
 * change; false when that cannot be set up. */
bool zvxp_involve_session(struct zvx_omx_common_component *comp, const zvxp_transition &transition,
                          OMX_STATETYPE target)
{
    if (transition.session == zvxp_session_step::create_and_request && !zvx_omx_state_has_session(comp) &&
        !zvx_omx_common_component_create_session(comp)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Failed to create a session. comp=%p. (%s:%d)",
                static_cast<void *>(comp));
        /* A session created but not activated is of no use. */
        zvx_omx_common_component_destroy_session(comp);
        return false;
    }
    zvx_enqueue_state_change_helper(comp, transition.hw_state);
    return queue_delayed_state_change(comp, target, transition.hw_state);
}

/* The command proper, for a client that listens; false while a readiness check is being retried. */
bool zvxp_change_state(struct zvx_omx_common_component *comp, const zvx_omx_client &client,
                       struct command_state_change_data &command)
{
    const auto target = static_cast<OMX_STATETYPE>(command.state);
    const zvxp_transition &transition = zvxp_transition_of(zvx_omx_state_get(comp), target);
    switch (transition.rule) {
    case zvxp_rule::from_invalid:
        zvxp_refuse(comp, client, OMX_ErrorInvalidState, "OMX_ErrorInvalidState", target);
        break;
    case zvxp_rule::invalidate:
        zvx_omx_state_set(comp, OMX_StateInvalid);
        zvxp_refuse(comp, client, OMX_ErrorInvalidState, "OMX_ErrorInvalidState", target);
        break;
    case zvxp_rule::same_state:
        zvxp_refuse(comp, client, OMX_ErrorSameState, "OMX_ErrorSameState", target);
        return true;
    case zvxp_rule::incorrect:
        zvxp_refuse(comp, client, OMX_ErrorIncorrectStateTransition, "OMX_ErrorIncorrectStateTransition", target);
        return true;
    case zvxp_rule::change:
        if (transition.ready != nullptr && !transition.ready(comp)) {
            // Parked, not polled: the buffer call that can make the ports ready wakes the command thread.
            // The attempts left last as long as they would at one check per retry interval.
            const int64_t budget_ns = static_cast<int64_t>(command.remaining_attempts) * ZVXP_RETRY_INTERVAL_NS;
            if (zvx_omx_common_cproc_retry_within(comp, budget_ns)) {
                command.remaining_attempts = 0;
            } else {
                --command.remaining_attempts;
            }
            if (command.remaining_attempts > 0) {
                return false;
            }
            zvxp_report_insufficient_resources(comp, client, target);
            return true;
        }
        if (transition.session == zvxp_session_step::resume) {
            if (zvx_omx_state_has_session(comp)) {
                zvx_enqueue_state_change_helper(comp, transition.hw_state);
            }
        } else if (transition.session != zvxp_session_step::none) {
            if (!zvxp_involve_session(comp, transition, target)) {
                zvxp_report_insufficient_resources(comp, client, target);
            }
            return true;
        }
        zvxp_complete(comp, client, target);
        break;
    }
    if (zvx_omx_state_get(comp) == OMX_StateInvalid) {
        zvx_omx_common_component_destroy_session(comp);
    }
    return true;
}

/* Caller holds the component's lock. */
bool zvxp_enabled_ports_populated(struct zvx_omx_common_component *comp)
{
    for (zvx_omx_port &port : comp->ports) {
        const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&port);
        if (definition == nullptr || (definition->bEnabled != OMX_FALSE && definition->bPopulated == OMX_FALSE)) {
            return false;
        }
    }
    return true;
}

bool zvxp_flushes_pending(const struct zvx_omx_common_component *comp)
{
    return comp->ports[0].nr_pending_flushes != 0 || comp->ports[1].nr_pending_flushes != 0;
}

void zvxp_complete_delayed(struct zvx_omx_common_component *comp, OMX_STATETYPE target)
{
    zvxp_complete(comp, zvx_omx_client_get(comp), target);
}

} // namespace

bool common_component_cmd_state_change(struct zvx_omx_common_component *comp,
                                       struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr) {
        return true;
    }
    bool done = true;
    if (command != nullptr) {
        auto &change = *reinterpret_cast<struct command_state_change_data *>(command);
        const zvx_omx_client client = zvx_omx_client_get(comp);
        if (client.callbacks.EventHandler != nullptr) {
            done = zvxp_change_state(comp, client, change);
        } else {
            zvx_omx_state_settle_request(comp, static_cast<OMX_STATETYPE>(change.state));
        }
    }
    std::atomic_ref(comp->sw_state_trying_to_stop).store(false);
    return done;
}

bool zvx_omx_state_queue_invalidation(struct zvx_omx_common_component *comp)
{
    auto *command =
        static_cast<struct command_state_change_data *>(zvx_mem_malloc(sizeof(struct command_state_change_data)));
    if (command == nullptr) {
        return false;
    }
    command->command_data.function = common_component_cmd_state_change;
    command->state = OMX_StateInvalid;
    command->remaining_attempts = ZVX_OMX_STATE_CHANGE_ATTEMPTS;
    if (!zvx_omx_common_component_queue_command(comp, &command->command_data)) {
        zvx_mem_free(command);
        return false;
    }
    return true;
}

void zvx_enqueue_state_change_helper(struct zvx_omx_common_component *comp, enum zvx_base_hw_state state)
{
    if (zvx_omx_state_hw(comp) == state) {
        return;
    }
    zvx_omx_state_set_hw(comp, state + ZVX_OMX_HW_STATE_REQUESTED);
    zvx_enqueue_state_change(comp->driver_fd, state);
}

bool queue_delayed_state_change(struct zvx_omx_common_component *comp, OMX_STATETYPE state,
                                enum zvx_base_hw_state hw_state)
{
    auto *command = static_cast<struct command_delayed_state_change_data *>(
        zvx_mem_malloc(sizeof(struct command_delayed_state_change_data)));
    if (command == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Memory allocation failed. (%s:%d)");
        return false;
    }
    command->command_data.function = delayed_statechange;
    command->state = state;
    command->hw_state = hw_state;
    if (!zvx_omx_common_cproc_continue_with(comp, &command->command_data)) {
        zvx_mem_free(command);
        return false;
    }
    return true;
}

bool delayed_statechange(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return true;
    }
    const auto &delayed = *reinterpret_cast<const struct command_delayed_state_change_data *>(command);
    const auto target = static_cast<OMX_STATETYPE>(delayed.state);
    if (zvx_omx_state_abandon_if_invalid(comp, target)) {
        zvx_omx_state_settle_request(comp, target);
        return true;
    }
    if (zvx_omx_state_hw(comp) != delayed.hw_state) {
        return false;
    }
    const OMX_STATETYPE current = zvx_omx_state_get(comp);
    if (target == OMX_StateIdle && (current == OMX_StateLoaded || current == OMX_StateWaitForResources)) {
        // Decided and made under the lock: a FreeBuffer, allowed in Loaded, comes before or after both.
        zvx_omx_mutex_guard guard(&comp->lock);
        if (!zvxp_enabled_ports_populated(comp)) {
            return false;
        }
        zvx_omx_state_set(comp, target);
    } else if (target == OMX_StateIdle && (current == OMX_StateExecuting || current == OMX_StatePause)) {
        // Idle holds no buffer: whatever the session holds comes back before the change completes.
        zvx_omx_port_flush_session(comp, ZVX_BASE_FLUSH_ALL_PORTS);
        if (zvxp_flushes_pending(comp)) {
            command->function = delayed_statechange_onflush;
            return false;
        }
    } else if (target == OMX_StateLoaded) {
        if (zvxp_ports_hold_buffers(comp)) {
            return false;
        }
        zvx_omx_common_component_destroy_session(comp);
    }
    zvxp_complete_delayed(comp, target);
    return true;
}

bool delayed_statechange_onflush(struct zvx_omx_common_component *comp,
                                 struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return true;
    }
    const auto target =
        static_cast<OMX_STATETYPE>(reinterpret_cast<const struct command_delayed_state_change_data *>(command)->state);
    if (zvx_omx_state_abandon_if_invalid(comp, target)) {
        zvx_omx_state_settle_request(comp, target);
        return true;
    }
    if (zvxp_flushes_pending(comp)) {
        return false;
    }
    zvxp_complete_delayed(comp, target);
    return true;
}
