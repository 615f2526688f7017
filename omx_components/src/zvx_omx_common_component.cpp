// The component record: creation, destruction, the codec session's lifetime and the queries every
// other part of the component asks of the record.
#include "zvx_omx_common_component.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "zvx_omx_common_component_buffers.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"
#include "zvx_omx_translate.h"

namespace {

constexpr const char *zvxp_revision = "r5p1-00rel0";
constexpr OMX_U32 zvxp_default_alloc_width = 176;
constexpr OMX_U32 zvxp_default_alloc_height = 144;
constexpr int zvxp_frame_interval_slots = 10;

// Extra data after a compressed picture: a crop record, an interlace record on interlaced streams,
// and the empty header that closes the list.
constexpr OMX_U32 zvxp_extra_data_crop = 40;
constexpr OMX_U32 zvxp_extra_data_crop_and_interlace = 72;
constexpr OMX_U32 zvxp_extra_data_terminator = 24;

bool zvxp_valid_port(const zvx_omx_common_component *comp, OMX_U32 port)
{
    return comp != nullptr && port < ZVX_OMX_PORT_COUNT;
}

template <typename T> T *zvxp_port_setting(zvx_omx_common_component *comp, OMX_U32 port, OMX_INDEXTYPE index)
{
    if (!zvxp_valid_port(comp, port))
        return nullptr;
    return static_cast<T *>(zvx_omx_config_find(&comp->ports[port].config_and_params, index, 0));
}

bool zvxp_unmap_buffer(zvx_map_constpointer, zvx_map_pointer value, void *driver_fd)
{
    const auto *mapping = static_cast<const struct zvx_omx_common_mapped_buffer *>(value);
    zvx_unregister_buffer(*static_cast<const int *>(driver_fd), mapping->buffer_id);
    return true;
}

void zvxp_fill_handle(struct zvx_omx_component *handle, zvx_omx_common_component *comp, OMX_PTR app_data)
{
    OMX_COMPONENTTYPE *omx = &handle->omx;
    std::memset(omx, 0, sizeof(*omx));
    omx->nSize = sizeof(OMX_COMPONENTTYPE);
    omx->nVersion.s.nVersionMajor = 1;
    omx->nVersion.s.nVersionMinor = 1;
    omx->nVersion.s.nRevision = 0;
    omx->nVersion.s.nStep = 0;
    omx->pComponentPrivate = comp;
    omx->pApplicationPrivate = app_data;
    omx->GetComponentVersion = zvx_omx_common_component_get_component_version;
    omx->SendCommand = zvx_omx_common_component_send_command;
    omx->GetExtensionIndex = zvx_omx_common_component_get_extension_index;
    omx->GetState = zvx_omx_common_component_get_state;
    omx->UseBuffer = zvx_omx_common_component_use_buffer;
    omx->AllocateBuffer = zvx_omx_common_component_allocate_buffer;
    omx->FreeBuffer = zvx_omx_common_component_free_buffer;
    omx->EmptyThisBuffer = zvx_omx_common_component_empty_this_buffer;
    omx->FillThisBuffer = zvx_omx_common_component_fill_this_buffer;
    omx->SetCallbacks = zvx_omx_common_component_set_callbacks;
}

// Fields that need no allocation, so that destroy is safe whatever fails after them.
void zvxp_init_fields(zvx_omx_common_component *comp, struct zvx_omx_component *handle, OMX_CALLBACKTYPE *callbacks)
{
    zvx_instr_init();
    // No other thread sees the record yet, and a compare-and-swap set would first read whatever the
    // caller's memory held.
    comp->omx_state = zvxu_atomic{OMX_StateLoaded};
    zvx_omx_common_cproc_command_queue_init(&comp->cproc_queue);
    zvx_omx_common_cproc_invoker_init(&comp->cproc_invoker);

    std::memset(&comp->omx_callbacks, 0, sizeof(comp->omx_callbacks));
    if (callbacks != nullptr)
        comp->omx_callbacks = *callbacks;
    comp->omx_component = handle;

    std::memset(&comp->config_and_params, 0, sizeof(comp->config_and_params));
    comp->driver_fd = -1;
    comp->session_created = false;
    comp->hw_state_change_received = false;
    comp->sw_state_trying_to_stop = false;
    comp->role = ZVX_OMX_COMPONENT_ROLE_UNCLASSIFIED;
    comp->hw_state = ZVX_BASE_HW_STATE_STOPPED;
    comp->prev_ts = INT64_MAX;
    comp->prev_fps = zvxu_circular_list_create(zvxp_frame_interval_slots);
    comp->vp9_alloc_params_changed = false;
    comp->secure = false;
    comp->num_prot_bufs = 0;
    comp->force_yuv = false;
    comp->alloc_params_state = ZVX_ALLOC_PARAMS_INIT;
    comp->android_client = false;
    std::memset(&comp->prev_color_desc, 0, sizeof(comp->prev_color_desc));
    std::memset(&comp->alloc_params, 0, sizeof(comp->alloc_params));
    comp->alloc_params.planar_alloc_frame_width = zvxp_default_alloc_width;
    comp->alloc_params.planar_alloc_frame_height = zvxp_default_alloc_height;
    pthread_mutex_init(&comp->lock, nullptr);
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_init(struct zvx_omx_component *handle, zvx_omx_common_component *comp,
                                            OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "zvx_omx_common_component_init(handle=%p, comp=%p, app_data=%p, callbacks=%p, revision=%s). (%s:%d)",
            static_cast<void *>(handle), static_cast<void *>(comp), app_data, static_cast<void *>(callbacks),
            zvxp_revision);

    if (comp != nullptr) {
        zvxp_init_fields(comp, handle, callbacks);
        // Both ports are brought to a destroyable state before the first error is reported.
        OMX_ERRORTYPE error = OMX_ErrorNone;
        for (zvx_omx_port &port : comp->ports) {
            OMX_ERRORTYPE port_error = zvx_omx_port_init(&port);
            if (error == OMX_ErrorNone)
                error = port_error;
        }
        if (error != OMX_ErrorNone)
            return error;
        error = zvx_omx_clone_default_settings(comp);
        if (error != OMX_ErrorNone)
            return error;
    }

    if (handle != nullptr)
        zvxp_fill_handle(handle, comp, app_data);

    if (comp != nullptr) {
        comp->driver_fd = zvx_init(ZVX_OMX_DEVICE_PATH);
        if (comp->driver_fd == -1) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_PANIC, "Failed to open device node. path=%s. (%s:%d)",
                    ZVX_OMX_DEVICE_PATH);
            return OMX_ErrorHardware;
        }
        zvx_read_hw_info(comp->driver_fd);
    }
    return OMX_ErrorNone;
}

void zvx_omx_common_component_destroy(zvx_omx_common_component *comp)
{
    if (comp == nullptr)
        return;
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvx_omx_common_component_destroy(comp=%p.) (%s:%d)",
            static_cast<void *>(comp));

    for (zvx_omx_port &port : comp->ports)
        zvx_map_clear(&port.registered_buffers);
    for (zvx_omx_port &port : comp->ports)
        zvx_map_foreach_erase(&port.mapped_buffers, zvxp_unmap_buffer, &comp->driver_fd);

    zvxu_circular_list_destroy(comp->prev_fps);
    comp->prev_fps = nullptr;
    zvx_omx_common_component_destroy_session(comp);
    if (comp->driver_fd != -1)
        zvx_close(comp->driver_fd);
    comp->num_prot_bufs = 0;
    pthread_mutex_destroy(&comp->lock);
    zvx_omx_common_cproc_command_queue_destroy(&comp->cproc_queue);
    zvx_omx_config_destruct(&comp->config_and_params);
    zvx_instr_release();
    for (zvx_omx_port &port : comp->ports)
        zvx_omx_port_destroy(&port);
}

bool zvx_omx_common_component_create_session(zvx_omx_common_component *comp)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvx_omx_common_component_create_session(comp=%p, secure=%d). (%s:%d)",
            static_cast<void *>(comp), comp != nullptr ? static_cast<int>(comp->secure) : 0);
    if (comp == nullptr)
        return false;
    const auto *standard_role = static_cast<const OMX_PARAM_COMPONENTROLETYPE *>(
        zvx_omx_config_find(&comp->config_and_params, OMX_IndexParamStandardComponentRole, 0));
    if (standard_role == nullptr)
        return false;
    const char *role = reinterpret_cast<const char *>(standard_role->cRole);

    comp->session_created = zvx_create_session(comp->driver_fd, role) == OMX_TRUE;
    if (!comp->session_created)
        return false;
    zvx_instr_write_msg(ZVX_INSTR_SESSION_CREATED, sizeof(comp->driver_fd), &comp->driver_fd);

    void *prot_buf = nullptr;
    if (zvx_activate_session(comp->driver_fd, role, comp->secure ? &prot_buf : nullptr) != OMX_TRUE)
        return false;
    if (prot_buf != nullptr) {
        pthread_mutex_lock(&comp->lock);
        if (comp->num_prot_bufs < ZVX_OMX_MAX_PROT_BUFS)
            comp->prot_bufs[comp->num_prot_bufs++] = prot_buf;
        pthread_mutex_unlock(&comp->lock);
    }

    zvx_omx_common_component_send_current_settings(comp);
    return true;
}

void zvx_omx_common_component_destroy_session(zvx_omx_common_component *comp)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvx_omx_common_component_destroy_session(comp=%p). (%s:%d)",
            static_cast<void *>(comp));
    if (comp == nullptr || comp->driver_fd == -1 || !comp->session_created)
        return;
    zvx_instr_write_msg(ZVX_INSTR_SESSION_DESTROYED, sizeof(comp->driver_fd), &comp->driver_fd);
    zvx_destroy_session(comp->driver_fd);
    comp->session_created = false;
}

void zvx_omx_common_component_send_current_settings(zvx_omx_common_component *comp)
{
    const bool decoder = comp->type == ZVX_OMX_DECODER;
    for (zvx_omx_port &port : comp->ports) {
        OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&port);
        if (definition == nullptr)
            continue;
        kern_omx120_param_portdefinitiontype session_definition;
        zvx_omx_translate_112_to_120_IndexParamPortDefinition(&session_definition, definition, decoder);
        zvx_set_parameter(comp->driver_fd, OMX_IndexParamPortDefinition, sizeof(session_definition),
                          &session_definition);
    }
}

zvx_omx_component_type_t zvx_omx_common_component_get_type(const zvx_omx_common_component *comp)
{
    return comp != nullptr ? comp->type : ZVX_OMX_DECODER;
}

void zvx_omx_common_component_set_type(zvx_omx_common_component *comp, zvx_omx_component_type_t type)
{
    if (comp == nullptr)
        return;
    comp->type = type;
    const char *name = type == ZVX_OMX_ENCODER ? "OMX.DHQ.video.k7nn.encoder" : "OMX.DHQ.video.k7nn.decoder";
    std::strncpy(comp->name, name, sizeof(comp->name) - 1);
    comp->name[sizeof(comp->name) - 1] = '\0';
}

OMX_U32 zvx_omx_common_component_get_input_port_index(const zvx_omx_common_component *)
{
    return 0;
}

OMX_U32 zvx_omx_common_component_get_output_port_index(const zvx_omx_common_component *)
{
    return 1;
}

OMX_U32 zvx_omx_common_component_get_bitstream_port_index(const zvx_omx_common_component *comp)
{
    return zvx_omx_common_component_get_type(comp) == ZVX_OMX_ENCODER ? 1 : 0;
}

OMX_U32 zvx_omx_common_component_get_yuv_port_index(const zvx_omx_common_component *comp)
{
    if (comp == nullptr)
        return 0;
    return comp->type == ZVX_OMX_ENCODER ? 0 : 1;
}

OMX_BOOL zvx_omx_common_component_is_tcx_enabled(zvx_omx_common_component *comp, OMX_U32 port, OMX_BOOL *tiles,
                                                 OMX_BOOL *wideblk)
{
    const auto *tcx = zvxp_port_setting<OMX_PARAM_ENABLETCXTYPE>(comp, port, OMX_IndexParamEnableTCX);
    if (tcx == nullptr)
        return OMX_FALSE;
    const bool enabled = tcx->bEnabled != OMX_FALSE;
    if (tiles != nullptr)
        *tiles = enabled && tcx->bTilesEnabled ? OMX_TRUE : OMX_FALSE;
    if (wideblk != nullptr)
        *wideblk = enabled && tcx->bWideblkEnabled ? OMX_TRUE : OMX_FALSE;
    return enabled ? OMX_TRUE : OMX_FALSE;
}

bool zvx_omx_common_component_tcx_enable(zvx_omx_common_component *comp, OMX_U32 port, bool enable, bool tiles_enable,
                                         bool wideblk_enable)
{
    if (!zvxp_valid_port(comp, port) || port != zvx_omx_common_component_get_yuv_port_index(comp))
        return false;
    OMX_PARAM_ENABLETCXTYPE tcx;
    std::memset(&tcx, 0, sizeof(tcx));
    zvx_omx_config_init_header(&tcx, sizeof(tcx));
    tcx.nPortIndex = port;
    tcx.bEnabled = enable ? OMX_TRUE : OMX_FALSE;
    tcx.bTilesEnabled = tiles_enable ? OMX_TRUE : OMX_FALSE;
    tcx.bWideblkEnabled = wideblk_enable ? OMX_TRUE : OMX_FALSE;
    return zvx_omx_config_insert(&comp->ports[port].config_and_params, OMX_IndexParamEnableTCX, 0, &tcx, sizeof(tcx)) ==
           OMX_ErrorNone;
}

OMX_BOOL zvx_omx_common_component_is_dmabuf_enabled(zvx_omx_common_component *comp, OMX_U32 port)
{
    const auto *dmabuf = zvxp_port_setting<OMX_PARAM_ENABLEDMABUFTYPE>(comp, port, OMX_IndexParamEnableDmaBuf);
    return dmabuf != nullptr && dmabuf->bEnabled != OMX_FALSE ? OMX_TRUE : OMX_FALSE;
}

OMX_BOOL zvx_omx_common_component_is_metadata_in_buffer_enabled(zvx_omx_common_component *comp, OMX_U32 port)
{
    const auto *metadata =
        zvxp_port_setting<StoreMetaDataInBuffersParams>(comp, port, OMX_IndexParamEnableStoreMetaData);
    return metadata != nullptr && metadata->bStoreMetaData != OMX_FALSE ? OMX_TRUE : OMX_FALSE;
}

OMX_U32 zvx_omx_common_component_get_extra_data_size(zvx_omx_common_component *comp, OMX_U32 port)
{
    if (!zvx_omx_common_component_is_tcx_enabled(comp, port, nullptr, nullptr))
        return 0;
    const auto *sequence =
        zvxp_port_setting<QURO_PARAM_SEQUENECE_PARAMETERS>(comp, port, QURO_IndexParamSequenceParameters);
    const bool interlaced = sequence != nullptr && sequence->bInterlace != 0;
    return (interlaced ? zvxp_extra_data_crop_and_interlace : zvxp_extra_data_crop) + zvxp_extra_data_terminator;
}

void zvx_omx_common_component_update_crop_rect(zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 width,
                                               OMX_U32 height)
{
    auto *crop = zvxp_port_setting<OMX_CONFIG_RECTTYPE>(comp, port, OMX_IndexConfigCommonOutputCrop);
    if (crop == nullptr)
        return;
    crop->nWidth = width;
    crop->nHeight = height;
}

void zvx_omx_common_component_update_portdef_from_alloc_params(zvx_omx_common_component *comp)
{
    if (comp == nullptr || comp->alloc_params_state == ZVX_ALLOC_PARAMS_UPDATED)
        return;
    auto *definition = zvxp_port_setting<OMX_PARAM_PORTDEFINITIONTYPE>(
        comp, zvx_omx_common_component_get_output_port_index(comp), OMX_IndexParamPortDefinition);
    if (definition == nullptr)
        return;
    OMX_VIDEO_PORTDEFINITIONTYPE &video = definition->format.video;
    video.nFrameWidth = comp->alloc_params.planar_alloc_frame_width;
    video.nFrameHeight = comp->alloc_params.planar_alloc_frame_height;
    video.nStride = std::max<OMX_S32>(video.nStride, static_cast<OMX_S32>(video.nFrameWidth));
    video.nSliceHeight = std::max(video.nSliceHeight, video.nFrameHeight);
}
