#ifndef ZVX_AV_PICTURE_WRAPPER_H
#define ZVX_AV_PICTURE_WRAPPER_H

#include <span>

#include "zvx_av_picture_layout.h"
#include "zvx_av_ptr.h"

namespace zvx_av {

/* A frame over a raw picture in a client's buffer, not copied: the buffer must stay as it is while
 * the frame lives. The frame owns no data, so libavcodec copies it if it must keep it past the call
 * it is given to. Null when the buffer cannot hold the picture in that layout. */
FramePtr wrap_picture(std::span<uint8_t> buffer, int width, int height, const PictureLayout &layout);

} // namespace zvx_av

#endif
