#include "zvx_omx_run_picture_layout.h"

#include <OMX_IVCommon.h>

#include "zvx_omx_extensions.h"

namespace {

std::optional<zvx_av::ColourFormat> zvxp_colour_format(OMX_U32 colour_format)
{
    /* The plain value: the vendor formats lie outside the enumeration. */
    switch (colour_format) {
    case OMX_COLOR_FormatYUV420Planar:
    case OMX_COLOR_FormatYUV420PackedPlanar:
    case OMX_COLOR_FormatYUV420Flexible:
    case OMX_COLOR_FormatL8: /* the component's clients name 8-bit 4:2:0 so */
        return zvx_av::ColourFormat::i420;
    case OMX_COLOR_FormatYUV420SemiPlanar:
    case OMX_COLOR_FormatYUV420PackedSemiPlanar:
        return zvx_av::ColourFormat::nv12;
    case QURO_COLOR_FormatYVU420SemiPlanar:
        return zvx_av::ColourFormat::nv21;
    case QURO_COLOR_FormatYV12:
        return zvx_av::ColourFormat::yv12;
    case OMX_COLOR_FormatYUV420Planar16:
        return zvx_av::ColourFormat::i420_10;
    /* Semi-planar, two bytes a sample, the value in the top bits: what the flow asks for in place of a
     * packed ten-bit layout. */
    case QURO_COLOR_FormatYUV420_10b_MS:
        return zvx_av::ColourFormat::p010;
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<zvx_av::PictureLayout> zvx_run_picture_layout(const OMX_VIDEO_PORTDEFINITIONTYPE &video)
{
    const std::optional<zvx_av::ColourFormat> format = zvxp_colour_format(static_cast<OMX_U32>(video.eColorFormat));
    if (!format) {
        return std::nullopt;
    }
    const int bytes_per_sample = zvx_run_is_ten_bit(*format) ? 2 : 1;
    const int row_bytes = static_cast<int>(video.nFrameWidth) * bytes_per_sample;
    const int stride = video.nStride > row_bytes ? static_cast<int>(video.nStride) : row_bytes;
    const int rows = static_cast<int>(std::max(video.nSliceHeight, video.nFrameHeight));
    return zvx_av::PictureLayout{*format, stride, rows};
}

bool zvx_run_is_ten_bit(zvx_av::ColourFormat format)
{
    return format == zvx_av::ColourFormat::p010 || format == zvx_av::ColourFormat::i420_10;
}
