// The get-parameter handler: answers from the settings stores, enumerates port formats and profile/level
// pairs, and computes the answers that no store holds.
#include "parameters/zvx_omx_parameter_read.h"

#include <cstring>

#include "core/zvx_omx_settings_stores.h"
#include "zvx_omx_buffer_layout.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_session_interface.h"

namespace {

OMX_U32 zvxp_word_at(const void *record, uint32_t offset)
{
    OMX_U32 word;
    std::memcpy(&word, static_cast<const uint8_t *>(record) + offset, sizeof(word));
    return word;
}

// Copies the stored record over the client's, whose nSize says how much room it gave.
void zvxp_copy_out(void *record, const void *stored, uint32_t size)
{
    const OMX_U32 client_size = zvxp_word_at(record, 0);
    std::memcpy(record, stored, size);
    std::memcpy(record, &client_size, sizeof(client_size));
}

OMX_ERRORTYPE zvxp_read_tcx_support(struct zvx_omx_common_component *comp, OMX_PARAM_TCXTYPE *tcx)
{
    const bool frames = tcx->nPortIndex == zvx_omx_common_component_get_yuv_port_index(comp);
    tcx->bSupported = frames && zvx_get_cached_tcx() != 0 ? OMX_TRUE : OMX_FALSE;
    return OMX_ErrorNone;
}

} // namespace

OMX_ERRORTYPE zvx_omx_parameter_read(struct zvx_omx_common_component *comp, const zvx_omx_parameter_entry &entry,
                                     void *record)
{
    switch (static_cast<OMX_U32>(entry.index)) {
    case OMX_IndexParamDescribeColorFormat:
        zvx_omx_describe_color_format(static_cast<DescribeColorFormatParams *>(record));
        return OMX_ErrorNone;
    case OMX_IndexParamTCX:
        return zvxp_read_tcx_support(comp, static_cast<OMX_PARAM_TCXTYPE *>(record));
    default:
        break;
    }
    const OMX_U32 port =
        entry.scope == zvx_omx_parameter_scope::port ? zvxp_word_at(record, ZVX_OMX_PORT_INDEX_OFFSET) : 0;
    struct zvx_map *store = zvx_omx_parameter_store(comp, entry.scope, port);
    if (store == nullptr)
        return OMX_ErrorBadPortIndex;
    const uint32_t sub_index = entry.enumeration != 0 ? zvxp_word_at(record, entry.enumeration) : 0;
    const void *stored = zvx_omx_config_find(store, entry.index, sub_index);
    if (stored == nullptr)
        return entry.enumeration != 0 ? OMX_ErrorNoMore : OMX_ErrorUnsupportedIndex;
    zvxp_copy_out(record, stored, entry.size);
    return OMX_ErrorNone;
}
