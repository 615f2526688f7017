// The queries every other part of the component asks of the record: type and name, port roles, the
// per-port switches in the settings store, crop and the allocation-parameter refresh.
#include "zvx_omx_common_component.h"

#include <algorithm>
#include <cstring>

#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"

namespace {

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

} // namespace

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
    zvx_omx_mutex_guard guard(&comp->lock);
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
