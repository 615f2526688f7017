#ifndef ZVX_OMX_EXTRA_DATA_H
#define ZVX_OMX_EXTRA_DATA_H

/*
 * Extra data after a picture in the compressed layout, which a client cannot measure itself: a crop
 * record, an interlace record on interlaced streams, and the empty record that closes the list. Each is
 * an OMX_OTHER_EXTRADATATYPE whose data is one of the payloads below, starting 4-byte aligned after the
 * picture; the buffer then carries OMX_BUFFERFLAG_EXTRADATA.
 */

#include <OMX_Core.h>

#include <cstddef>

#include "zvx_omx_abi.h"
#include "zvx_omx_common_component.h"

inline constexpr OMX_EXTRADATATYPE ZVX_OMX_EXTRADATA_CROP = static_cast<OMX_EXTRADATATYPE>(0x7F000001);
inline constexpr OMX_EXTRADATATYPE ZVX_OMX_EXTRADATA_INTERLACE = static_cast<OMX_EXTRADATATYPE>(0x7F000002);

/* The visible part of the picture, and the compressed layout's row of superblocks. */
struct zvx_omx_extradata_crop {
    OMX_S32 nLeft;
    OMX_S32 nTop;
    OMX_U32 nWidth;
    OMX_U32 nHeight;
    OMX_U32 nTcxWidthInSuperblocks;
};

/* Two fields, interleaved row by row in the frame. */
struct zvx_omx_extradata_interlace {
    OMX_U32 nFields;
    OMX_BOOL bTopFieldFirst;
    OMX_U32 nFieldStride; /* bytes from one row of a field to its next */
};

inline constexpr OMX_U32 ZVX_OMX_EXTRADATA_HEADER_SIZE = offsetof(OMX_OTHER_EXTRADATATYPE, data);
inline constexpr OMX_U32 ZVX_OMX_EXTRADATA_CROP_SIZE = ZVX_OMX_EXTRADATA_HEADER_SIZE + sizeof(zvx_omx_extradata_crop);
inline constexpr OMX_U32 ZVX_OMX_EXTRADATA_INTERLACE_SIZE =
    ZVX_OMX_EXTRADATA_HEADER_SIZE + sizeof(zvx_omx_extradata_interlace);
inline constexpr OMX_U32 ZVX_OMX_EXTRADATA_END_SIZE = sizeof(OMX_OTHER_EXTRADATATYPE);
static_assert(ZVX_OMX_EXTRADATA_CROP_SIZE == ZVX_OMX_ABI_SIZE(40, 80) &&
              ZVX_OMX_EXTRADATA_INTERLACE_SIZE == ZVX_OMX_ABI_SIZE(32, 64) &&
              ZVX_OMX_EXTRADATA_END_SIZE == ZVX_OMX_ABI_SIZE(24, 48));

/* Bytes of extra data after the picture in an output buffer of the port. */
OMX_U32 zvx_omx_common_component_get_extra_data_size(zvx_omx_common_component *comp, OMX_U32 port);

/* Appends the records after the header's picture when the port's buffers carry extra data and the
 * buffer has room; false when it has none. Caller holds the component lock and owns the header. */
bool zvx_omx_extra_data_append(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_BUFFERHEADERTYPE *header);

#endif
