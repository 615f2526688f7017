// What the session is told about a port's buffers when they are registered.
#include "buffer_formats/zvx_omx_buffer_descriptor.h"

#include "zvx_omx_buffer_layout.h"
#include "zvx_omx_extra_data.h"
#include "zvx_omx_translate.h"

OMX_U32 zvx_omx_buffer_frame_bytes(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
    if (definition == nullptr) {
        return 0;
    }
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = definition->format.video;
    const bool tcx = zvx_omx_common_component_is_tcx_enabled(comp, port, nullptr, nullptr) != OMX_FALSE;
    return common_component_cmd_calc_buffer_size_stride(video.nFrameWidth, video.nFrameHeight, video.eColorFormat, tcx,
                                                        nullptr) +
           zvx_omx_common_component_get_extra_data_size(comp, port);
}

void zvx_omx_buffer_describe(struct zvx_omx_common_component *comp, OMX_U32 port,
                             struct zvx_base_buffer_userspace *desc)
{
    desc->crc_allocator = ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC;
    desc->format = ZVX_BASE_OMX_BUFFER_FORMAT_BITSTREAM;
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
    if (definition == nullptr) {
        return;
    }
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = definition->format.video;
    desc->width = video.nFrameWidth;
    desc->height = video.nFrameHeight;
    desc->decoded_width = video.nFrameWidth;
    desc->decoded_height = video.nFrameHeight;
    desc->stride = static_cast<uint32_t>(video.nStride);
    desc->stride_alignment = definition->nBufferAlignment;
    if (port == zvx_omx_common_component_get_bitstream_port_index(comp)) {
        return;
    }
    // A format the session cannot take (RGB without RGB input) is sized and sent as planar 4:2:0.
    desc->format = ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR;
    zvx_omx_translate_color_format(comp, video.eColorFormat, &desc->format, port, nullptr, nullptr);
    if (zvx_omx_common_component_is_tcx_enabled(comp, port, nullptr, nullptr)) {
        desc->tcx_alloc_bytes = comp->alloc_params.tcx_alloc_bytes;
        desc->tcx_width_in_superblocks = comp->alloc_params.tcx_width_in_superblocks;
    }
}

enum zvx_base_buffer_allocator zvx_omx_buffer_client_allocator(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    return zvx_omx_common_component_is_dmabuf_enabled(comp, port) ? ZVX_BASE_BUFFER_ALLOCATOR_DMABUF
                                                                  : ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC;
}
