#include "zvx_dev_client_layout.h"

#include <OMX_IVCommon.h>

#include <algorithm>

#include "zvx_omx_extensions.h"

namespace zvx_dev {

namespace {

int zvxp_bytes_per_sample(zvx_av::ColourFormat format)
{
    return format == zvx_av::ColourFormat::p010 || format == zvx_av::ColourFormat::i420_10 ? 2 : 1;
}

} // namespace

zvx_av::ColourFormat client_colour_format(uint32_t color_format)
{
    switch (color_format) {
    case OMX_COLOR_FormatYUV420SemiPlanar:
    case OMX_COLOR_FormatYUV420PackedSemiPlanar:
        return zvx_av::ColourFormat::nv12;
    case QURO_COLOR_FormatYVU420SemiPlanar:
        return zvx_av::ColourFormat::nv21;
    case QURO_COLOR_FormatYV12:
        return zvx_av::ColourFormat::yv12;
    case OMX_COLOR_FormatYUV420Planar16:
        return zvx_av::ColourFormat::i420_10;
    // The component picks the packed 10-bit formats for deep streams; their 16-bit semi-planar
    // relative is what libav writes.
    case QURO_COLOR_FormatYUV420_10b_MS:
    case QURO_COLOR_FormatYUYAAYVYAA_10b:
    case QURO_COLOR_FormatAAYUYAAYVY_10b:
        return zvx_av::ColourFormat::p010;
    default:
        return zvx_av::ColourFormat::i420;
    }
}

zvx_av::ColourFormat eight_bit_format(zvx_av::ColourFormat format)
{
    switch (format) {
    case zvx_av::ColourFormat::p010:
        return zvx_av::ColourFormat::nv12;
    case zvx_av::ColourFormat::i420_10:
        return zvx_av::ColourFormat::i420;
    default:
        return format;
    }
}

zvx_av::PictureLayout client_layout(zvx_av::ColourFormat format, uint32_t stride, uint32_t slice_height, int width,
                                    int height)
{
    zvx_av::PictureLayout layout;
    layout.format = format;
    const int sample = zvxp_bytes_per_sample(layout.format);
    layout.stride = std::max(static_cast<int>(std::min<uint32_t>(stride, INT32_MAX / 2)), width * sample);
    layout.stride += layout.stride % sample;
    layout.slice_height = std::max(static_cast<int>(std::min<uint32_t>(slice_height, INT32_MAX / 2)), height);
    return layout;
}

size_t client_layout_bytes(const zvx_av::PictureLayout &layout)
{
    const int sample = zvxp_bytes_per_sample(layout.format);
    return zvx_av::picture_bytes(layout, layout.stride / sample, layout.slice_height);
}

} // namespace zvx_dev
