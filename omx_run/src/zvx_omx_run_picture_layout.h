#ifndef ZVX_OMX_RUN_PICTURE_LAYOUT_H
#define ZVX_OMX_RUN_PICTURE_LAYOUT_H

#include <OMX_Video.h>

#include <optional>

#include "zvx_av_picture_layout.h"

/* How a port lays pictures out in its buffers (colour format, stride, slice height), in
 * libav_codec's terms; none for a colour format whose samples this program cannot read or write. */
std::optional<zvx_av::PictureLayout> zvx_run_picture_layout(const OMX_VIDEO_PORTDEFINITIONTYPE &video);

/* Ten-bit samples in sixteen-bit words. */
bool zvx_run_is_ten_bit(zvx_av::ColourFormat format);

#endif
