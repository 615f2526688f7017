// The settings the session must know: passed to it as the client sets them, and all at once when a
// session is created. The stored record is copied out under the lock and passed on without it: the
// session may block.
#include "session/zvx_omx_session_settings.h"

#include <atomic>
#include <cstring>

#include "core/zvx_omx_settings_stores.h"
#include "zvx_omx_config.h"
#include "zvx_omx_session.h"
#include "zvx_omx_translate.h"
#include "zvx_session_interface.h"

void zvx_omx_session_pass_record(struct zvx_omx_common_component *comp, OMX_INDEXTYPE index, const void *record,
                                 uint32_t size)
{
    if (index != OMX_IndexParamPortDefinition) {
        zvx_set_parameter(comp->driver_fd, index, size, const_cast<void *>(record));
        return;
    }
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    std::memcpy(&definition, record, sizeof(definition));
    kern_omx120_param_portdefinitiontype session_definition;
    zvx_omx_translate_112_to_120_IndexParamPortDefinition(&session_definition, &definition,
                                                          comp->type == ZVX_OMX_DECODER);
    zvx_set_parameter(comp->driver_fd, index, sizeof(session_definition), &session_definition);
}

void zvx_omx_session_pass_stored(struct zvx_omx_common_component *comp, const zvx_omx_parameter_entry &entry,
                                 OMX_U32 port)
{
    alignas(8) uint8_t copy[256];
    static_assert(sizeof(copy) >= sizeof(OMX_PARAM_PORTDEFINITIONTYPE));
    if (entry.size > sizeof(copy))
        return;
    {
        zvx_omx_mutex_guard lock(&comp->lock);
        const void *stored = zvx_omx_config_find(zvx_omx_parameter_store(comp, entry.scope, port), entry.index, 0);
        if (stored == nullptr)
            return;
        std::memcpy(copy, stored, entry.size);
    }
    zvx_omx_session_pass_record(comp, entry.index, copy, entry.size);
}

bool zvx_omx_session_is_open(struct zvx_omx_common_component *comp)
{
    return std::atomic_ref(comp->session_created).load() && comp->driver_fd != -1;
}

void zvx_omx_common_component_send_current_settings(struct zvx_omx_common_component *comp)
{
    if (comp == nullptr || !zvx_omx_session_is_open(comp))
        return;
    const zvx_omx_parameter_entry *definition = zvx_omx_parameter_find(OMX_IndexParamPortDefinition);
    for (OMX_U32 port = 0; port < ZVX_OMX_PORT_COUNT; ++port)
        zvx_omx_session_pass_stored(comp, *definition, port);
    for (const zvx_omx_parameter_entry &entry : zvx_omx_parameter_entries()) {
        if (!entry.session || entry.index == OMX_IndexParamPortDefinition)
            continue;
        for (OMX_U32 port = 0; port < ZVX_OMX_PORT_COUNT; ++port)
            zvx_omx_session_pass_stored(comp, entry, port);
    }
}
