#include "zvx_av_picture_format.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace zvx_av {

namespace {

ChromaFormat chroma_of(const AVPixFmtDescriptor &descriptor)
{
    if (descriptor.nb_components < 3)
        return ChromaFormat::monochrome;
    if (descriptor.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL))
        return ChromaFormat::other;
    if (descriptor.log2_chroma_w == 1 && descriptor.log2_chroma_h == 1)
        return ChromaFormat::yuv420;
    if (descriptor.log2_chroma_w == 1 && descriptor.log2_chroma_h == 0)
        return ChromaFormat::yuv422;
    if (descriptor.log2_chroma_w == 0 && descriptor.log2_chroma_h == 0)
        return ChromaFormat::yuv444;
    return ChromaFormat::other;
}

ColourRange range_of(AVColorRange range)
{
    switch (range) {
    case AVCOL_RANGE_MPEG:
        return ColourRange::limited;
    case AVCOL_RANGE_JPEG:
        return ColourRange::full;
    default:
        return ColourRange::unknown;
    }
}

/* libav's colour enums take their values from the same code points. */
ColourAspects colour_of(AVColorRange range, AVColorPrimaries primaries, AVColorTransferCharacteristic transfer,
                        AVColorSpace matrix)
{
    return {range_of(range), primaries, transfer, matrix};
}

} // namespace

PictureFormat describe_picture(const AVFrame &frame)
{
    PictureFormat format;
    format.coded_width = frame.width;
    format.coded_height = frame.height;
    // libav keeps the crop as four margins in size_t; a stream cannot make them exceed the frame.
    format.crop.left = static_cast<int>(frame.crop_left);
    format.crop.top = static_cast<int>(frame.crop_top);
    format.crop.width = frame.width - static_cast<int>(frame.crop_left + frame.crop_right);
    format.crop.height = frame.height - static_cast<int>(frame.crop_top + frame.crop_bottom);
    format.pixel_format = static_cast<AVPixelFormat>(frame.format);
    if (const AVPixFmtDescriptor *descriptor = av_pix_fmt_desc_get(format.pixel_format)) {
        format.bit_depth = descriptor->comp[0].depth;
        format.chroma = chroma_of(*descriptor);
    }
    format.colour = colour_of(frame.color_range, frame.color_primaries, frame.color_trc, frame.colorspace);
    return format;
}

PictureShape shape_of(const PictureFormat &format)
{
    return {format.crop.width, format.crop.height, format.bit_depth, format.colour};
}

std::optional<PictureShape> describe_stream(const AVCodecContext &context)
{
    const AVPixFmtDescriptor *descriptor = av_pix_fmt_desc_get(context.pix_fmt);
    if (descriptor == nullptr || context.width <= 0 || context.height <= 0)
        return std::nullopt;
    // The context's size is the visible one: the crop is already taken off.
    return PictureShape{context.width, context.height, descriptor->comp[0].depth,
                        colour_of(context.color_range, context.color_primaries, context.color_trc, context.colorspace)};
}

} // namespace zvx_av
