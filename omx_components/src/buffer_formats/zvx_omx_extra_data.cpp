// The extra data written after a picture in the compressed layout.
#include "zvx_omx_extra_data.h"

#include <cstdint>
#include <cstring>

#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"

namespace {

constexpr OMX_U32 ZVXP_EXTRADATA_ALIGNMENT = 4;

/* Writes one record at *cursor and moves it past the record. */
void zvxp_write(OMX_U8 *&cursor, OMX_U32 port, OMX_EXTRADATATYPE type, const void *payload, OMX_U32 payload_size,
                OMX_U32 record_size)
{
    OMX_OTHER_EXTRADATATYPE header;
    std::memset(&header, 0, sizeof(header));
    zvx_omx_config_init_header(&header, record_size);
    header.nPortIndex = port;
    header.eType = type;
    header.nDataSize = payload_size;
    std::memset(cursor, 0, record_size);
    std::memcpy(cursor, &header, ZVX_OMX_EXTRADATA_HEADER_SIZE);
    if (payload_size != 0) {
        std::memcpy(cursor + ZVX_OMX_EXTRADATA_HEADER_SIZE, payload, payload_size);
    }
    cursor += record_size;
}

} // namespace

OMX_U32 zvx_omx_common_component_get_extra_data_size(zvx_omx_common_component *comp, OMX_U32 port)
{
    if (!zvx_omx_common_component_is_tcx_enabled(comp, port, nullptr, nullptr))
        return 0;
    const auto *sequence = static_cast<const QURO_PARAM_SEQUENECE_PARAMETERS *>(
        zvx_omx_config_find(&comp->ports[port].config_and_params, QURO_IndexParamSequenceParameters, 0));
    const bool interlaced = sequence != nullptr && sequence->bInterlace != 0;
    return ZVX_OMX_EXTRADATA_CROP_SIZE + (interlaced ? ZVX_OMX_EXTRADATA_INTERLACE_SIZE : 0) +
           ZVX_OMX_EXTRADATA_END_SIZE;
}

bool zvx_omx_extra_data_append(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
{
    const OMX_U32 size = zvx_omx_common_component_get_extra_data_size(comp, port);
    const auto *crop = static_cast<const OMX_CONFIG_RECTTYPE *>(
        zvx_omx_config_find(&comp->ports[port].config_and_params, OMX_IndexConfigCommonOutputCrop, 0));
    const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
    if (size == 0 || crop == nullptr || definition == nullptr) {
        return false;
    }
    const uint64_t start =
        (static_cast<uint64_t>(header->nOffset) + header->nFilledLen + ZVXP_EXTRADATA_ALIGNMENT - 1) &
        ~static_cast<uint64_t>(ZVXP_EXTRADATA_ALIGNMENT - 1);
    if (start + size > header->nAllocLen) {
        return false;
    }
    OMX_U8 *cursor = header->pBuffer + start;
    const zvx_omx_extradata_crop visible = {crop->nLeft, crop->nTop, crop->nWidth, crop->nHeight,
                                            comp->alloc_params.tcx_width_in_superblocks};
    zvxp_write(cursor, port, ZVX_OMX_EXTRADATA_CROP, &visible, sizeof(visible), ZVX_OMX_EXTRADATA_CROP_SIZE);
    if (size > ZVX_OMX_EXTRADATA_CROP_SIZE + ZVX_OMX_EXTRADATA_END_SIZE) {
        const zvx_omx_extradata_interlace fields = {2, OMX_TRUE,
                                                    2 * static_cast<OMX_U32>(definition->format.video.nStride)};
        zvxp_write(cursor, port, ZVX_OMX_EXTRADATA_INTERLACE, &fields, sizeof(fields),
                   ZVX_OMX_EXTRADATA_INTERLACE_SIZE);
    }
    zvxp_write(cursor, port, OMX_ExtraDataNone, nullptr, 0, ZVX_OMX_EXTRADATA_END_SIZE);
    header->nFlags |= OMX_BUFFERFLAG_EXTRADATA;
    return true;
}
