#include "zvx_av_picture_wrapper.h"

#include <algorithm>

namespace zvx_av {

FramePtr wrap_picture(std::span<uint8_t> buffer, int width, int height, const PictureLayout &layout)
{
    const size_t bytes = picture_bytes(layout, width, height);
    if (bytes == 0 || bytes > buffer.size())
        return nullptr;
    FramePtr frame = make_frame();
    if (!frame)
        return nullptr;
    const PlanePointers planes = lay_out_planes(layout, width, height, buffer.data());
    std::copy(planes.data.begin(), planes.data.end(), frame->data);
    std::copy(planes.linesize.begin(), planes.linesize.end(), frame->linesize);
    frame->format = pixel_format_of(layout.format);
    frame->width = width;
    frame->height = height;
    return frame;
}

} // namespace zvx_av
