#include "zvx_omx_common_component_commands.h"

#include <atomic>
#include <cstring>
#include <string_view>

#include "commands/zvx_omx_client_commands.h"
#include "core/zvx_omx_client.h"
#include "diagnostics/zvx_omx_api_call_record.h"
#include "state/zvx_omx_state.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"
#include "zvx_omx_port_commands.h"
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
OMX_ERRORTYPE zvxp_send_client_command(struct zvx_omx_common_component *comp,
                                       struct zvx_omx_common_cproc_command_data *command)
{
    return zvx_omx_client_commands_send(comp, &command, 1);
}

OMX_ERRORTYPE zvxp_send_state_set(struct zvx_omx_common_component *comp, OMX_U32 target)
{
    if (zvx_omx_state_get(comp) == OMX_StateInvalid) {
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
    return zvxp_send_client_command(comp, &command->command_data);
}

OMX_ERRORTYPE zvxp_send_flush(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    if (port != 0 && port != 1 && port != OMX_ALL) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Illegal port for flush command. port=0x%x. (%s:%d)",
                static_cast<unsigned>(port));
        return OMX_ErrorBadParameter;
    }
    auto *command = zvxp_allocate_command<struct command_flush_buffers_in_executing_state>();
    if (command == nullptr) {
        return OMX_ErrorInsufficientResources;
    }
    command->command_data.function = common_component_cmd_flush_buffers;
    command->state = WAIT_FOR_CODEC_CONFIG;
    command->nParam = port;
    command->hw_state = ZVX_BASE_HW_STATE_STOPPED;
    command->timeout = ZVX_OMX_FLUSH_IN_EXECUTING_TIMEOUT_MS;
    clock_gettime(CLOCK_MONOTONIC, &command->start_time);
    return zvxp_send_client_command(comp, &command->command_data);
}

OMX_ERRORTYPE zvxp_send_port_command(struct zvx_omx_common_component *comp, OMX_U32 port, bool enable)
{
    const OMX_ERRORTYPE error = common_component_cmd_port_enable_disable(comp, port, enable);
    if (error != OMX_ErrorNone && enable) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Port is already enabled. (%s:%d)");
    } else if (error != OMX_ErrorNone) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Port is already disabled. (%s:%d)");
    }
    return error;
}

OMX_ERRORTYPE zvxp_not_implemented(OMX_COMMANDTYPE command)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "Command not implemented. cmd=0x%x. (%s:%d)", command);
    return OMX_ErrorNotImplemented;
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_send_command(OMX_HANDLETYPE hComponent, OMX_COMMANDTYPE Cmd, OMX_U32 nParam1,
                                                    OMX_PTR pCmdData)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_SendCommand(handle=%p, cmd=%s (0x%x), param=0x%x, data=%p). (%s:%d)",
            hComponent, zvxp_command_name(Cmd), Cmd, static_cast<unsigned>(nParam1), pCmdData);
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
    case OMX_CommandPortDisable:
        return zvxp_send_port_command(comp, nParam1, false);
    case OMX_CommandPortEnable:
        return zvxp_send_port_command(comp, nParam1, true);
    default:
        return zvxp_not_implemented(Cmd);
    }
}

OMX_ERRORTYPE zvx_omx_common_component_get_state(OMX_HANDLETYPE hComponent, OMX_STATETYPE *pState)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetState(handle=%p) (%s:%d)", hComponent);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    if (comp != nullptr && pState != nullptr) {
        *pState = zvx_omx_state_get(comp);
    }
    return OMX_ErrorNone;
}

// NOLINTNEXTLINE(readability-non-const-parameter): the OpenMAX signature gives the name as OMX_STRING
OMX_ERRORTYPE zvx_omx_common_component_get_component_version(OMX_HANDLETYPE hComponent, OMX_STRING pComponentName,
                                                             OMX_VERSIONTYPE *pComponentVersion,
                                                             OMX_VERSIONTYPE *pSpecVersion,
                                                             OMX_UUIDTYPE *pComponentUUID)
{
    (void)pComponentUUID;
    // The name is the client's output buffer, often not yet a string: read no further than its size.
    char name[OMX_MAX_STRINGNAME_SIZE] = "(null)";
    if (pComponentName != nullptr) {
        const size_t length = strnlen(pComponentName, sizeof(name) - 1);
        std::memcpy(name, pComponentName, length);
        name[length] = '\0';
    }
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetComponentVersion(handle=%p, name=%s). (%s:%d)", hComponent, name);
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
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    if (comp == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Component is NULL. (%s:%d)");
        return OMX_ErrorBadParameter;
    }
    zvx_omx_client_set(comp, pCallbacks, pAppData);
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
