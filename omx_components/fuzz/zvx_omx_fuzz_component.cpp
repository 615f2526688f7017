#include "zvx_omx_fuzz_component.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "state/zvx_omx_state.h"
#include "zvx_mem.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_omx_config.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_event.h"
#include "zvx_omx_log.h"

namespace {

/* Enough for a state change or a port command and the commands it queues in turn. */
constexpr unsigned zvxp_settle_rounds = 16;

zvx_omx_component zvxp_handle;
zvx_omx_common_component zvxp_comp;

void zvxp_format_and_drop(struct zvx_log_drain *, zvx_log_severity, const char *, const char *format, uint32_t count,
                          ...)
{
    char line[512];
    va_list arguments;
    va_start(arguments, count);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
}

void zvxp_drop_data(struct zvx_log_drain *, zvx_log_severity, const struct iovec *, size_t) {}

zvx_log_drain zvxp_nowhere = {zvxp_format_and_drop, zvxp_drop_data};

void zvxp_send(OMX_COMMANDTYPE command, OMX_U32 param)
{
    zvxp_handle.omx.SendCommand(&zvxp_handle.omx, command, param, nullptr);
    zvx_fuzz_component_run_queued(zvxp_settle_rounds);
}

/* The session reports the hardware state the component asked for. */
void zvxp_answer_hw(enum zvx_base_hw_state state)
{
    alignas(zvx_base_event_header) unsigned char record[sizeof(zvx_base_event_header) + sizeof(int32_t)];
    const zvx_base_event_header header = {ZVX_BASE_EVENT_STATE_CHANGED, sizeof(int32_t)};
    const int32_t payload = state;
    std::memcpy(record, &header, sizeof(header));
    std::memcpy(record + sizeof(header), &payload, sizeof(payload));
    zvx_fuzz_component_deliver(reinterpret_cast<const zvx_base_event_header *>(record));
}

void zvxp_set_role(bool encoder, unsigned role)
{
    int count = 0;
    const char **roles =
        encoder ? zvx_omx_encoder_get_enabled_roles(&count) : zvx_omx_decoder_get_enabled_roles(&count);
    if (count <= 0)
        return;
    OMX_PARAM_COMPONENTROLETYPE record = {};
    record.nSize = sizeof(record);
    record.nVersion.s.nVersionMajor = 1;
    record.nVersion.s.nVersionMinor = 1;
    record.nVersion.s.nRevision = 2;
    std::strncpy(reinterpret_cast<char *>(record.cRole), roles[role % static_cast<unsigned>(count)],
                 sizeof(record.cRole) - 1);
    zvxp_handle.omx.SetParameter(&zvxp_handle.omx, OMX_IndexParamStandardComponentRole, &record);
}

/* Along the shortest path, each step answered as the hardware would. */
void zvxp_reach(OMX_STATETYPE state)
{
    if (state == OMX_StateLoaded)
        return;
    zvxp_send(OMX_CommandStateSet, OMX_StateIdle);
    zvxp_answer_hw(ZVX_BASE_HW_STATE_RUNNING);
    if (state == OMX_StateIdle)
        return;
    zvxp_send(OMX_CommandStateSet, OMX_StateExecuting);
    if (state == OMX_StatePause) {
        zvxp_send(OMX_CommandStateSet, OMX_StatePause);
        zvxp_answer_hw(ZVX_BASE_HW_STATE_STOPPED);
    }
}

} // namespace

void zvx_fuzz_log_formatted_and_dropped()
{
    zvx_log_omx_if.drain = &zvxp_nowhere;
    zvx_log_omx_if.severity = ZVX_LOG_VERBOSE;
}

zvx_fuzz_setup zvx_fuzz_setup_from(uint8_t byte)
{
    const auto state = static_cast<OMX_STATETYPE>(OMX_StateLoaded + ((byte >> 1) & 3));
    return {(byte & 1) != 0, state, (byte & 8) != 0 || state != OMX_StateLoaded, static_cast<unsigned>(byte >> 4)};
}

OMX_COMPONENTTYPE *zvx_fuzz_component_create(const zvx_fuzz_setup &setup)
{
    zvx_omx_common_component_set_type(&zvxp_comp, setup.encoder ? ZVX_OMX_ENCODER : ZVX_OMX_DECODER);
    if (zvx_omx_common_component_init(&zvxp_handle, &zvxp_comp, nullptr, nullptr) != OMX_ErrorNone)
        return nullptr;
    zvx_map *input = &zvxp_comp.ports[0].config_and_params;
    zvx_map *output = &zvxp_comp.ports[1].config_and_params;
    const OMX_ERRORTYPE defaults =
        setup.encoder ? zvx_omx_config_encoder(input, output) : zvx_omx_config_decoder(input, output);
    if (defaults != OMX_ErrorNone) {
        zvx_omx_common_component_destroy(&zvxp_comp);
        return nullptr;
    }
    zvxp_set_role(setup.encoder, setup.role);
    if (setup.ports_disabled)
        zvxp_send(OMX_CommandPortDisable, OMX_ALL);
    zvxp_reach(setup.state);
    return &zvxp_handle.omx;
}

zvx_omx_common_component *zvx_fuzz_component_record()
{
    return &zvxp_comp;
}

void zvx_fuzz_component_deliver(const struct zvx_base_event_header *event)
{
    zvx_omx_common_component *comp = zvx_fuzz_component_record();
    zvxp_omx_handle_event(comp, event);
    zvx_omx_state_check_transitions(comp);
    zvx_fuzz_component_run_queued(zvxp_settle_rounds);
}

void zvx_fuzz_component_run_queued(unsigned rounds)
{
    zvx_omx_common_component *comp = zvx_fuzz_component_record();
    for (unsigned round = 0; round < rounds; ++round) {
        zvx_omx_common_cproc_command_data *command = zvx_omx_common_cproc_command_queue_dequeue(&comp->cproc_queue);
        if (command == nullptr)
            return;
        const bool done = command->function(comp, command);
        if (done)
            zvx_mem_free(command);
        else if (!zvx_omx_common_cproc_command_queue_enqueue(&comp->cproc_queue, command))
            zvx_mem_free(command);
        zvx_omx_state_check_transitions(comp);
        if (!done)
            return;
    }
}

void zvx_fuzz_component_destroy()
{
    zvx_omx_common_component_destroy(&zvxp_comp);
}
