#ifndef ZVX_DEV_CLIENT_LAYOUT_H
#define ZVX_DEV_CLIENT_LAYOUT_H

#include <cstddef>
#include <cstdint>

#include "zvx_av_picture_layout.h"

namespace zvx_dev {

/* The 4:2:0 layout an OMX_COLOR_FORMATTYPE names: the planar and semi-planar ones as they are, the
 * 16-bit ones as 16-bit layouts, anything else as planar. */
zvx_av::ColourFormat client_colour_format(uint32_t color_format);

/* The 8-bit relative of a layout (p010: nv12, i420_10: i420); the 8-bit ones themselves. */
zvx_av::ColourFormat eight_bit_format(zvx_av::ColourFormat format);

/* The layout of a width x height picture at the host's stride and slice height, each raised to what
 * the picture needs (a 16-bit stride to an even one). */
zvx_av::PictureLayout client_layout(zvx_av::ColourFormat format, uint32_t stride, uint32_t slice_height, int width,
                                    int height);
inline zvx_av::PictureLayout client_layout(uint32_t color_format, uint32_t stride, uint32_t slice_height, int width,
                                           int height)
{
    return client_layout(client_colour_format(color_format), stride, slice_height, width, height);
}

/* Bytes from the buffer's start to the end of the last plane's padding rows. */
size_t client_layout_bytes(const zvx_av::PictureLayout &layout);

} // namespace zvx_dev

#endif
