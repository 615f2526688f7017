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
    PlanePointers planes = lay_out_planes(layout, picture.width, picture.height, buffer.data());
    const AVPixelFormat target = pixel_format_of(layout.format);
    const auto source = static_cast<AVPixelFormat>(picture.format);
    if (source == target) {
        const uint8_t *source_data[4] = {picture.data[0], picture.data[1], picture.data[2], picture.data[3]};
        av_image_copy(planes.data.data(), planes.linesize.data(), source_data, picture.linesize, target, picture.width,
                      picture.height);
        return bytes;
    }
    // Bicubic as FFmpeg's own tools ask for; between 4:2:0 layouts at one size no filter is applied.
    scaler_.reset(sws_getCachedContext(scaler_.release(), picture.width, picture.height, source, picture.width,
                                       picture.height, target, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler_)
        return 0;
    const int rows = sws_scale(scaler_.get(), picture.data, picture.linesize, 0, picture.height, planes.data.data(),
                               planes.linesize.data());
    return rows == picture.height ? bytes : 0;
}

} // namespace zvx_av
