// GetParameter/GetConfig and SetParameter/SetConfig as the client calls them: every check a client's
// record must pass comes here, before anything is read beyond its header or anything is changed.
#include <atomic>
#include <cstring>
#include <span>

#include "core/zvx_omx_settings_stores.h"
#include "diagnostics/zvx_omx_api_call_record.h"
#include "parameters/zvx_omx_parameter_read.h"
#include "settings/zvx_omx_parameter_table.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_log.h"
#include "zvx_omx_parameters.h"
#include "zvx_omx_strings.h"

namespace {

constexpr uint8_t zvxp_supported_major_version = 1;

struct zvxp_record_header {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex; /* read only for port records, which are at least this long */
};

void zvxp_instrument(uint32_t code, OMX_HANDLETYPE handle, OMX_INDEXTYPE index, OMX_PTR param)
{
    zvx_omx_api_call_record record(code, 3);
    record.append_argument(handle);
    record.append_argument(static_cast<uint32_t>(index));
    record.append_argument(param);
    record.write();
}

// The checks both entries share, in the order a client's mistakes are reported.
OMX_ERRORTYPE zvxp_check_record(struct zvx_omx_common_component *comp, OMX_INDEXTYPE index, const void *param,
                                uint8_t access, const zvx_omx_parameter_entry **found)
{
    if (comp == nullptr || param == nullptr)
        return OMX_ErrorBadParameter;
    const zvx_omx_parameter_entry *entry = zvx_omx_parameter_find(index);
    if (entry == nullptr || (entry->access & access) == 0)
        return OMX_ErrorUnsupportedIndex;
    zvxp_record_header header = {};
    std::memcpy(&header.nSize, param, sizeof(header.nSize));
    if (header.nSize < entry->size)
        return OMX_ErrorBadParameter;
    std::memcpy(&header, param,
                entry->scope == zvx_omx_parameter_scope::port ? sizeof(header)
                                                              : offsetof(zvxp_record_header, nPortIndex));
    if (header.nVersion.s.nVersionMajor != zvxp_supported_major_version)
        return OMX_ErrorVersionMismatch;
    if (entry->scope == zvx_omx_parameter_scope::port && header.nPortIndex >= ZVX_OMX_PORT_COUNT)
        return OMX_ErrorBadPortIndex;
    if (zvxu_atomic_get(&comp->omx_state) == OMX_StateInvalid)
        return OMX_ErrorInvalidState;
    *found = entry;
    return OMX_ErrorNone;
}

// The record's enumeration fields are checked as words, before any of them is read as its type.
bool zvxp_enumerations_in_range(const zvx_omx_record_layout &layout, const void *record)
{
    const auto *bytes = static_cast<const uint8_t *>(record);
    for (const zvx_omx_record_field &field : std::span(layout.fields, layout.field_count)) {
        for (uint32_t element = 0; field.enumeration_limit != 0 && element < field.count; ++element) {
            uint32_t value;
            std::memcpy(&value, bytes + field.offset + size_t{element} * field.size, sizeof(value));
            if (value > field.enumeration_limit)
                return false;
        }
    }
    return true;
}

// OpenMAX lets a parameter change only while the component is loaded or its port is disabled; a
// configuration may change at any time.
bool zvxp_may_set(struct zvx_omx_common_component *comp, const zvx_omx_parameter_entry &entry, const void *param)
{
    if (entry.config || zvxu_atomic_get(&comp->omx_state) == OMX_StateLoaded)
        return true;
    if (entry.scope != zvx_omx_parameter_scope::port)
        return false;
    zvxp_record_header header;
    std::memcpy(&header, param, sizeof(header));
    zvx_omx_mutex_guard lock(&comp->lock);
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[header.nPortIndex]);
    return definition != nullptr && definition->bEnabled == OMX_FALSE;
}

OMX_ERRORTYPE zvxp_report(const char *entry, OMX_HANDLETYPE handle, OMX_INDEXTYPE index, OMX_ERRORTYPE error)
{
    // OMX_ErrorNoMore is how every enumeration ends, asked for by clients listing formats: not a fault.
    const zvx_log_severity severity = error == OMX_ErrorNoMore ? ZVX_LOG_DEBUG : ZVX_LOG_WARNING;
    if (error != OMX_ErrorNone)
        ZVX_LOG(&zvx_log_omx_if, severity, "%s(handle=%p, index=%s (0x%08x)) failed: %s. (%s:%d)", entry, handle,
                zvx_omx_index_name(index), static_cast<unsigned>(index), zvx_omx_error_name(error));
    return error;
}

// On the command thread itself (a client calling from inside a callback), or while no command thread
// runs, waiting for the thread would never end: the command runs here instead.
bool zvxp_run_inline(const struct zvx_omx_common_component *comp)
{
    return zvx_omx_common_cproc_on_command_thread(comp) || comp->cproc_invoker.invoker_thread == 0;
}

/* The client's set, judged again where it runs: a state change or a port command may have run between
 * the call's own check and this command. */
bool zvxp_client_set(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command)
{
    auto *set = reinterpret_cast<struct command_set_parameter_data *>(command);
    const zvx_omx_parameter_entry *entry = zvx_omx_parameter_find(set->index);
    if (entry != nullptr && !zvxp_may_set(comp, *entry, set->param)) {
        set->error = OMX_ErrorIncorrectStateOperation;
        if (set->waiter != nullptr) {
            set->waiter->error = set->error;
            zvxu_semaphore_post(&set->waiter->done);
        }
        return true;
    }
    return common_component_cmd_set_parameter(comp, command);
}

OMX_ERRORTYPE zvxp_set_on_command_thread(struct zvx_omx_common_component *comp, OMX_INDEXTYPE index, OMX_PTR param)
{
    if (zvxp_run_inline(comp)) {
        struct command_set_parameter_data command = {{zvxp_client_set}, index, param, OMX_ErrorNone, nullptr};
        zvxp_client_set(comp, &command.command_data);
        return command.error;
    }
    auto *command =
        static_cast<struct command_set_parameter_data *>(zvx_mem_malloc(sizeof(command_set_parameter_data)));
    if (command == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Memory allocation failed. (%s:%d)");
        return OMX_ErrorInsufficientResources;
    }
    struct zvx_omx_set_parameter_waiter waiter;
    waiter.error = OMX_ErrorUndefined;
    zvxu_semaphore_init_locked(&waiter.done);
    *command = {{zvxp_client_set}, index, param, OMX_ErrorNone, &waiter};
    if (!zvx_omx_common_component_queue_command(comp, &command->command_data)) {
        zvx_mem_free(command);
        zvxu_semaphore_destroy(&waiter.done);
        return OMX_ErrorInsufficientResources;
    }
    // The command reads the client's record, so the wait ends only when the command has run.
    while (zvxu_semaphore_wait(&waiter.done, 0) != 0) {
    }
    zvxu_semaphore_destroy(&waiter.done);
    return waiter.error;
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_get_parameter(OMX_HANDLETYPE hComponent, OMX_INDEXTYPE nIndex,
                                                     OMX_PTR pComponentParameterStructure)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetParameter(handle=%p, index=%s (0x%08x), param=%p). (%s:%d)",
            hComponent, zvx_omx_index_name(nIndex), static_cast<unsigned>(nIndex), pComponentParameterStructure);
    zvxp_instrument(code_OMX_GetParameter, hComponent, nIndex, pComponentParameterStructure);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    const zvx_omx_parameter_entry *entry = nullptr;
    OMX_ERRORTYPE error = zvxp_check_record(comp, nIndex, pComponentParameterStructure, ZVX_OMX_PARAMETER_GET, &entry);
    if (error == OMX_ErrorNone) {
        zvx_omx_mutex_guard lock(&comp->lock);
        error = zvx_omx_parameter_read(comp, *entry, pComponentParameterStructure);
    }
    if (error == OMX_ErrorNone)
        zvx_omx_strings_log_record("GetParameter", hComponent, nIndex, entry->layout(), pComponentParameterStructure);
    return zvxp_report("OMX_GetParameter", hComponent, nIndex, error);
}

OMX_ERRORTYPE zvx_omx_common_component_set_parameter(OMX_HANDLETYPE hComponent, OMX_INDEXTYPE nIndex,
                                                     OMX_PTR pComponentParameterStructure)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_SetParameter(handle=%p, index=%s (0x%08x), param=%p). (%s:%d)",
            hComponent, zvx_omx_index_name(nIndex), static_cast<unsigned>(nIndex), pComponentParameterStructure);
    zvxp_instrument(code_OMX_SetParameter, hComponent, nIndex, pComponentParameterStructure);
    struct zvx_omx_common_component *comp = zvx_omx_common_component_from_handle(hComponent);
    const zvx_omx_parameter_entry *entry = nullptr;
    OMX_ERRORTYPE error = zvxp_check_record(comp, nIndex, pComponentParameterStructure, ZVX_OMX_PARAMETER_SET, &entry);
    if (error == OMX_ErrorNone && !zvxp_enumerations_in_range(entry->layout(), pComponentParameterStructure))
        error = OMX_ErrorBadParameter;
    if (error == OMX_ErrorNone && !zvxp_may_set(comp, *entry, pComponentParameterStructure))
        error = OMX_ErrorIncorrectStateOperation;
    if (error == OMX_ErrorNone)
        error = zvxp_set_on_command_thread(comp, nIndex, pComponentParameterStructure);
    return zvxp_report("OMX_SetParameter", hComponent, nIndex, error);
}
