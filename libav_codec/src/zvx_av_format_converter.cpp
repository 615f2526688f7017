#include "zvx_av_format_converter.h"

#include <cstdint>

extern "C" {
#include <libavutil/cpu.h>
}

namespace zvx_av {

namespace {

bool rows_aligned(const AVFrame &picture)
{
    const auto alignment = static_cast<uintptr_t>(av_cpu_max_align());
    for (int plane = 0; plane < AV_NUM_DATA_POINTERS && picture.data[plane]; ++plane)
        if (reinterpret_cast<uintptr_t>(picture.data[plane]) % alignment != 0 ||
            static_cast<uintptr_t>(picture.linesize[plane]) % alignment != 0)
            return false;
    return true;
}

FramePtr make_picture(AVPixelFormat format, int width, int height)
{
    FramePtr frame = make_frame();
    if (!frame)
        return nullptr;
    frame->format = format;
    frame->width = width;
    frame->height = height;
    return av_frame_get_buffer(frame.get(), 0) < 0 ? nullptr : std::move(frame);
}

} // namespace

FramePtr FormatConverter::convert(const AVFrame &picture, AVPixelFormat target)
{
    const auto source_format = static_cast<AVPixelFormat>(picture.format);
    FramePtr aligned_copy;
    const AVFrame *source = &picture;
    if (!rows_aligned(picture)) {
        aligned_copy = make_picture(source_format, picture.width, picture.height);
        if (!aligned_copy || av_frame_copy(aligned_copy.get(), &picture) < 0)
            return nullptr;
        source = aligned_copy.get();
    }
    FramePtr converted = make_picture(target, picture.width, picture.height);
    if (!converted)
        return nullptr;
    // Bicubic as FFmpeg's own tools ask for; between 4:2:0 layouts at one size no filter is applied.
    scaler_.reset(sws_getCachedContext(scaler_.release(), picture.width, picture.height, source_format, picture.width,
                                       picture.height, target, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler_)
        return nullptr;
    const int rows = sws_scale(scaler_.get(), source->data, source->linesize, 0, picture.height, converted->data,
                               converted->linesize);
    return rows == picture.height ? std::move(converted) : nullptr;
}

} // namespace zvx_av
