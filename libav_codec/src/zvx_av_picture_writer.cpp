#include "zvx_av_picture_writer.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace zvx_av {

size_t PictureWriter::write(const AVFrame &picture, const PictureLayout &layout, std::span<uint8_t> buffer)
{
    const size_t bytes = picture_bytes(layout, picture.width, picture.height);
    if (bytes == 0 || bytes > buffer.size())
        return 0;
    const AVPixelFormat target = pixel_format_of(layout.format);
    const AVFrame *source = &picture;
    FramePtr converted;
    if (picture.format != target) {
        converted = converter_.convert(picture, target);
        if (!converted)
            return 0;
        source = converted.get();
    }
    PlanePointers planes = lay_out_planes(layout, picture.width, picture.height, buffer.data());
    const uint8_t *source_data[4] = {source->data[0], source->data[1], source->data[2], source->data[3]};
    av_image_copy(planes.data.data(), planes.linesize.data(), source_data, source->linesize, target, picture.width,
                  picture.height);
    return bytes;
}

} // namespace zvx_av
