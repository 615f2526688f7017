#include "zvx_omx_common_component_commands.h"

#include <atomic>
#include <string_view>

#include "zvx_mem.h"
#include "zvx_omx_api_call_record.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"
#include "zvx_session_interface.h"

namespace {

/* Hardware generation without the HDR and colour-aspects extensions. */
constexpr OMX_U32 ZVXP_HW_VERSION_WITHOUT_COLOUR_EXTENSIONS = 0x56500000;

struct zvxp_extension_index_entry {
    std::string_view name;
    OMX_INDEXTYPE index;
    bool needs_colour_extensions;
};

constexpr zvxp_extension_index_entry ZVXP_EXTENSION_INDICES[] = {
    {"OMX.DHQ.video.k7nn.tcx", OMX_IndexParamTCX, false},
    {"OMX.DHQ.video.k7nn.enable.tcx", OMX_IndexParamEnableTCX, false},
    {"OMX.DHQ.video.k7nn.enable.dmabuf", OMX_IndexParamEnableDmaBuf, false},
    {"OMX.google.android.index.storeMetaDataInBuffers", OMX_IndexParamEnableStoreMetaData, false},
    {"OMX.google.android.index.storeANWBufferInMetadata", OMX_IndexParamEnableStoreMetaData, false},
    {"OMX.google.android.index.describeColorFormat", OMX_IndexParamDescribeColorFormat, false},
    {"OMX.google.android.index.enableAndroidNativeBuffers", OMX_IndexParamEnableAndroidNativeBuffer, false},
    {"OMX.google.android.index.describeHDRColorInfo", OMX_IndexConfigDescribeHDRColorInfo, true},
    {"OMX.google.android.index.describeHDRStaticInfo", OMX_IndexConfigDescribeHDRColorInfo, true},
    {"OMX.DHQ.video.k7nn.encoder.dynamic.fps.from.timestamps", OMX_IndexConfigDynamicFPSFromTimestamp, false},
    {"OMX.google.android.index.describeColorAspects", OMX_IndexParamDescribeColorAspects, true},
};

constexpr const char *zvxp_command_name(OMX_COMMANDTYPE command)
{
    switch (command) {
    case OMX_CommandStateSet:
        return "OMX_CommandStateSet";
    case OMX_CommandFlush:
        return "OMX_CommandFlush";
    case OMX_CommandPortDisable:
        return "OMX_CommandPortDisable";
    case OMX_CommandPortEnable:
        return "OMX_CommandPortEnable";
    case OMX_CommandMarkBuffer:
        return "OMX_CommandMarkBuffer";
    default:
        return "Unknown";
    }
}

void zvxp_instrument_send_command(OMX_HANDLETYPE handle, OMX_COMMANDTYPE command, OMX_U32 param, OMX_PTR data)
{
    zvx_omx_api_call_record record(code_OMX_SendCommand, 4);
    record.append_argument(handle);
    record.append_argument(static_cast<uint32_t>(command));
    record.append_argument(static_cast<uint32_t>(param));
    record.append_argument(data);
    record.write();
}

template <typename Command> Command *zvxp_allocate_command()
{
    auto *command = static_cast<Command *>(zvx_mem_malloc(sizeof(Command)));
    if (command == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Memory allocation failed. (%s:%d)");
    }
    return command;
}

/* From here the command thread owns the record; one that cannot be queued is freed, not leaked. */
OMX_ERRORTYPE zvxp_queue_new_command(struct zvx_omx_common_component *comp,
                                     struct zvx_omx_common_cproc_command_data *command)
{
    if (!zvx_omx_common_component_queue_command(comp, command)) {
        zvx_mem_free(command);
        return OMX_ErrorUndefined;
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_send_state_set(struct zvx_omx_common_component *comp, OMX_U32 target)
{
    const auto current = static_cast<OMX_STATETYPE>(zvxu_atomic_get(&comp->omx_state));
    if (current == OMX_StateInvalid) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "OMX component state is InvalidState. (%s:%d)");
        return OMX_ErrorInvalidState;
    }
    auto *command = zvxp_allocate_command<struct command_state_change_data>();
    if (command == nullptr) {
        return OMX_ErrorInsufficientResources;
    }
    command->command_data.function = common_component_cmd_state_change;
    command->state = static_cast<int32_t>(target);
    command->remaining_attempts = ZVX_OMX_STATE_CHANGE_ATTEMPTS;
    if (current == OMX_StateIdle && target == OMX_StateLoaded) {
        std::atomic_ref(comp->sw_state_trying_to_stop).store(true);
    }
    return zvxp_queue_new_command(comp, &command->command_data);
}

void zvxp_flush_port_now(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    const bool input = port == 0 || port == OMX_ALL;
    const bool output = port == 1 || port == OMX_ALL;
    OMX_U32 flush = 0;
    if (input) {
        zvx_instr_write_msg(ZVX_INSTR_FLUSHED_INPUT_SEND, 0, nullptr);
        std::atomic_ref(comp->ports[0].pFlag).fetch_or(1);
        flush |= ZVX_BASE_FLUSH_INPUT_PORT;
    }
    if (output) {
        zvx_instr_write_msg(ZVX_INSTR_FLUSHED_OUTPUT_SEND, 0, nullptr);
        std::atomic_ref(comp->ports[1].pFlag).fetch_or(1);
        flush |= ZVX_BASE_FLUSH_OUTPUT_PORT;
    }
    zvx_enqueue_flush_buffers(comp->driver_fd, flush);
}

OMX_ERRORTYPE zvxp_send_flush(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    if (port != 0 && port != 1 && port != OMX_ALL) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Illegal port for flush command. port=0x%x. (%s:%d)", port);
        return OMX_ErrorBadParameter;
    }
    if (std::atomic_ref(comp->hw_state).load() != ZVX_BASE_HW_STATE_RUNNING) {
        zvxp_flush_port_now(comp, port);
        return OMX_ErrorNone;
    }
    auto *command = zvxp_allocate_command<struct command_flush_buffers_in_executing_state>();
    if (command == nullptr) {
        return OMX_ErrorInsufficientResources;
    }
    command->command_data.function = common_component_cmd_flush_buffers_in_executing_state;
    command->state = WAIT_FOR_CODEC_CONFIG;
    command->nParam = port;
    command->hw_state = 0;
    command->timeout = ZVX_OMX_FLUSH_IN_EXECUTING_TIMEOUT_MS;
    clock_gettime(CLOCK_MONOTONIC, &command->start_time);
    return zvxp_queue_new_command(comp, &command->command_data);
}

OMX_ERRORTYPE zvxp_not_implemented(OMX_COMMANDTYPE command)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "Command not implemented. cmd=0x%x. (%s:%d)", command);
    return OMX_ErrorNotImplemented;
}

/* Executors that this build lacks still finish their command, and say so to a client that listens. */
void zvxp_report_not_carried_out(struct zvx_omx_common_component *comp, OMX_U32 data)
{
    OMX_HANDLETYPE handle = comp->omx_component;
    if (handle == nullptr || comp->omx_callbacks.EventHandler == nullptr) {
        return;
    }
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR,
            "EventHandler(handle=%p, event=OMX_EventError, error=OMX_ErrorNotImplemented, data=0x%x). (%s:%d)", handle,
            data);
    comp->omx_callbacks.EventHandler(handle, static_cast<OMX_COMPONENTTYPE *>(handle)->pApplicationPrivate,
                                     OMX_EventError, static_cast<OMX_U32>(OMX_ErrorNotImplemented), data, nullptr);
}

} // namespace

bool common_component_cmd_state_change(struct zvx_omx_common_component *comp,
                                       struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr) {
        return true;
    }
    std::atomic_ref(comp->sw_state_trying_to_stop).store(false);
    if (command != nullptr) {
        const auto *state_change = reinterpret_cast<const struct command_state_change_data *>(command);
        zvxp_report_not_carried_out(comp, static_cast<OMX_U32>(state_change->state));
    }
    return true;
}

bool common_component_cmd_flush_buffers_in_executing_state(struct zvx_omx_common_component *comp,
                                                           struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return true;
    }
    const auto *flush = reinterpret_cast<const struct command_flush_buffers_in_executing_state *>(command);
    zvxp_report_not_carried_out(comp, flush->nParam);
    return true;
}

OMX_ERRORTYPE zvx_omx_common_component_send_command(OMX_HANDLETYPE hComponent, OMX_COMMANDTYPE Cmd, OMX_U32 nParam1,
                                                    OMX_PTR pCmdData)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_SendCommand(handle=%p, cmd=%s (0x%x), param=0x%x, data=%p). (%s:%d)",
            hComponent, zvxp_command_name(Cmd), Cmd, nParam1, pCmdData);
    zvxp_instrument_send_command(hComponent, Cmd, nParam1, pCmdData);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    if (comp == nullptr) {
        return OMX_ErrorBadParameter;
    }
    switch (Cmd) {
    case OMX_CommandStateSet:
        return zvxp_send_state_set(comp, nParam1);
    case OMX_CommandFlush:
        return zvxp_send_flush(comp, nParam1);
    default:
        return zvxp_not_implemented(Cmd);
    }
}

OMX_ERRORTYPE zvx_omx_common_component_get_state(OMX_HANDLETYPE hComponent, OMX_STATETYPE *pState)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetState(handle=%p) (%s:%d)", hComponent);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    if (comp != nullptr && pState != nullptr) {
        *pState = static_cast<OMX_STATETYPE>(zvxu_atomic_get(&comp->omx_state));
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_omx_common_component_get_component_version(OMX_HANDLETYPE hComponent, OMX_STRING pComponentName,
                                                             OMX_VERSIONTYPE *pComponentVersion,
                                                             OMX_VERSIONTYPE *pSpecVersion,
                                                             OMX_UUIDTYPE *pComponentUUID)
{
    (void)pComponentUUID;
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetComponentVersion(handle=%p, name=%s). (%s:%d)", hComponent,
            pComponentName != nullptr ? pComponentName : "(null)");
    if (pComponentVersion != nullptr) {
        pComponentVersion->nVersion = 0x00000001; /* 1.0.0.0 */
    }
    if (pSpecVersion != nullptr) {
        pSpecVersion->nVersion = 0x00000101; /* 1.1.0.0 */
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_omx_common_component_set_callbacks(OMX_HANDLETYPE hComponent, OMX_CALLBACKTYPE *pCallbacks,
                                                     OMX_PTR pAppData)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_SetCallbacks(handle=%p). (%s:%d)", hComponent);
    if (hComponent == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Handle is NULL. (%s:%d)");
        return OMX_ErrorBadParameter;
    }
    auto *handle = static_cast<OMX_COMPONENTTYPE *>(hComponent);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    if (comp == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Component is NULL. (%s:%d)");
        return OMX_ErrorBadParameter;
    }
    if (pCallbacks != nullptr) {
        comp->omx_callbacks.EventHandler = pCallbacks->EventHandler;
        comp->omx_callbacks.EmptyBufferDone = pCallbacks->EmptyBufferDone;
        comp->omx_callbacks.FillBufferDone = pCallbacks->FillBufferDone;
    }
    handle->pApplicationPrivate = pAppData;
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_omx_common_component_get_extension_index(OMX_HANDLETYPE hComponent, OMX_STRING cParameterName,
                                                           OMX_INDEXTYPE *pIndexType)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "zvx_omx_common_component_get_extension_index(handle=%p, name=%s, indexp=%p) (%s:%d)", hComponent,
            cParameterName != nullptr ? cParameterName : "(null)", pIndexType);
    if (pIndexType == nullptr || cParameterName == nullptr) {
        return OMX_ErrorBadParameter;
    }
    const struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    const OMX_U32 hw_version = zvx_get_hw_version(comp != nullptr ? comp->driver_fd : -1);
    const bool colour_extensions = hw_version != ZVXP_HW_VERSION_WITHOUT_COLOUR_EXTENSIONS;
    const std::string_view name(cParameterName);
    for (const zvxp_extension_index_entry &entry : ZVXP_EXTENSION_INDICES) {
        if (entry.name == name && (colour_extensions || !entry.needs_colour_extensions)) {
            *pIndexType = entry.index;
            return OMX_ErrorNone;
        }
    }
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "Unsupported extension index. handle=%p, name=%s. (%s:%d)", hComponent,
            cParameterName);
    return OMX_ErrorUnsupportedIndex;
}
