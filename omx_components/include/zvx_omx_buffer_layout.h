#ifndef ZVX_OMX_BUFFER_LAYOUT_H
#define ZVX_OMX_BUFFER_LAYOUT_H

/* How large a port's buffers must be: frame size and stride per colour format, with or without the
 * compressed TCX layout, the bitstream buffer size derived from the other port's frames, and the plane
 * layout of a frame as Android's describeColorFormat reports it. */

#include <OMX_IVCommon.h>
#include <OMX_Types.h>

struct zvx_omx_common_component;
struct DescribeColorFormatParams;

/* x rounded up to a multiple of y, a power of two; computed modulo 2^32, never overflowing. */
int align(int x, int y);
OMX_U32 saturate_u32(OMX_U32 min, OMX_U32 max, OMX_U32 value);

/* Bytes of a frame in the compressed layout: 16x16 blocks plus one spare block row. */
OMX_U32 calc_buffer_size_tcx(OMX_U32 width, OMX_U32 height, bool is_10_bit);
/* Bytes of a frame buffer; *stride receives the row length in bytes. */
OMX_U32 common_component_cmd_calc_buffer_size_stride(OMX_U32 width, OMX_U32 height, OMX_COLOR_FORMATTYPE color_format,
                                                     bool tcx_enabled, OMX_U32 *stride);
/* Whether the rules above know the format (anything else is sized as planar 4:2:0). */
bool zvx_omx_is_known_frame_format(OMX_COLOR_FORMATTYPE color_format);

/* Raises the bitstream port's nBufferSize to what the other port's frames need; never lowers it.
 * Caller holds the component lock. */
void zvx_omx_common_component_update_buffer_size(struct zvx_omx_common_component *component, OMX_U32 port);

/* Fills sMediaImage for the request's format and frame, correcting a stride or slice height smaller
 * than the frame. Formats other than 8-bit 4:2:0 planar or semi-planar, and native buffers, whose layout
 * only their allocator knows, are reported as unknown with no planes. */
void zvx_omx_describe_color_format(DescribeColorFormatParams *params);

#endif
