// Buffer geometry: sizes and strides of frame buffers by colour format, the bitstream buffer size that
// follows from the frames, and the plane layout reported for describeColorFormat.
#include "zvx_omx_buffer_layout.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "zvx_omx_common_component.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"
#include "zvx_session_interface.h"

namespace {

/* A client's query may hold any bytes: its enumeration fields are read as words, not as their types. */
template <typename Enumeration> uint32_t zvxp_client_word(const Enumeration &field)
{
    // The field's own four bytes: where OMX_U32 is wider, the next field starts right after them.
    static_assert(sizeof(Enumeration) == sizeof(uint32_t));
    uint32_t word;
    std::memcpy(&word, &field, sizeof(word));
    return word;
}

constexpr OMX_U32 zvxp_size_alignment = 32;
constexpr OMX_U32 zvxp_tcx_block = 16;
constexpr OMX_U32 zvxp_tcx_block_bytes_8_bit = 400;
constexpr OMX_U32 zvxp_tcx_block_bytes_10_bit = 528;
// A store-metadata decoder gets pointers to frames it cannot size in advance: room for one 1080p frame.
constexpr OMX_U32 zvxp_metadata_input_minimum = 2073600;
// Android's YV12 aligns each chroma row to 16 bytes.
constexpr OMX_U32 zvxp_yv12_chroma_alignment = 16;

// Clients of this component pass 34 and 35 (OMX_COLOR_FormatL4 and L8 in the standard list) for
// 10-bit and 8-bit 4:2:0.
constexpr OMX_COLOR_FORMATTYPE zvxp_yuv420_10_bit = OMX_COLOR_FormatL4;
constexpr OMX_COLOR_FORMATTYPE zvxp_yuv420_8_bit = OMX_COLOR_FormatL8;

OMX_U32 zvxp_align(OMX_U32 x, OMX_U32 y)
{
    return (x + y - 1) & ~(y - 1);
}

/* yuv420_16_bit: 4:2:0 semi-planar, each sample in two bytes with its value in the top bits. */
enum class zvxp_frame_class { yuv420, opaque, rgb32, yuv420_10_bit, yuv420_16_bit, yuv422_single_plane, unknown };

zvxp_frame_class zvxp_classify(OMX_COLOR_FORMATTYPE color_format)
{
    // On the plain value: the extension formats lie outside the enumeration.
    switch (static_cast<OMX_U32>(color_format)) {
    case OMX_COLOR_FormatYUV420Planar:
    case OMX_COLOR_FormatYUV420SemiPlanar:
    case zvxp_yuv420_8_bit:
    case QURO_COLOR_FormatYVU420SemiPlanar:
    case QURO_COLOR_FormatYV12:
    case OMX_COLOR_FormatYUV420Flexible:
        return zvxp_frame_class::yuv420;
    case OMX_COLOR_FormatAndroidOpaque:
        return zvxp_frame_class::opaque;
    case OMX_COLOR_Format32bitBGRA8888:
    case OMX_COLOR_Format32bitARGB8888:
        return zvxp_frame_class::rgb32;
    case zvxp_yuv420_10_bit:
    case QURO_COLOR_FormatYUYAAYVYAA_10b:
    case QURO_COLOR_FormatAAYUYAAYVY_10b:
        return zvxp_frame_class::yuv420_10_bit;
    case QURO_COLOR_FormatYUV420_10b_MS:
        return zvxp_frame_class::yuv420_16_bit;
    case QURO_COLOR_FormatYUV422_1P:
    case QURO_COLOR_FormatYVU422_1P:
        return zvxp_frame_class::yuv422_single_plane;
    default:
        return zvxp_frame_class::unknown;
    }
}

struct zvxp_plane {
    uint64_t offset;
    OMX_U32 column_step;
    OMX_U32 row_step;
    OMX_U32 subsampling;
};

void zvxp_set_plane(MediaImagePlaneInfo &plane, const zvxp_plane &from)
{
    plane.mOffset = static_cast<uint32_t>(from.offset);
    plane.mColInc = from.column_step;
    plane.mRowInc = from.row_step;
    plane.mHorizSubsampling = from.subsampling;
    plane.mVertSubsampling = from.subsampling;
}

void zvxp_report_unknown(MediaImage &image)
{
    image.mType = MEDIA_IMAGE_TYPE_UNKNOWN;
    image.mNumPlanes = 0;
}

} // namespace

int align(int x, int y)
{
    return static_cast<int>(zvxp_align(static_cast<OMX_U32>(x), static_cast<OMX_U32>(y)));
}

OMX_U32 saturate_u32(OMX_U32 min, OMX_U32 max, OMX_U32 value)
{
    return std::max(min, std::min(value, max));
}

OMX_U32 calc_buffer_size_tcx(OMX_U32 width, OMX_U32 height, bool is_10_bit)
{
    const OMX_U32 blocks_wide = zvxp_align(width, zvxp_tcx_block) / zvxp_tcx_block;
    const OMX_U32 blocks_high = zvxp_align(height, zvxp_tcx_block) / zvxp_tcx_block;
    return (blocks_high + 1) * blocks_wide * (is_10_bit ? zvxp_tcx_block_bytes_10_bit : zvxp_tcx_block_bytes_8_bit);
}

bool zvx_omx_is_known_frame_format(OMX_COLOR_FORMATTYPE color_format)
{
    return zvxp_classify(color_format) != zvxp_frame_class::unknown;
}

OMX_U32 common_component_cmd_calc_buffer_size_stride(OMX_U32 width, OMX_U32 height, OMX_COLOR_FORMATTYPE color_format,
                                                     bool tcx_enabled, OMX_U32 *stride)
{
    const OMX_U32 yuv420 = (width * height * 3) >> 1;
    OMX_U32 row_bytes = width;
    OMX_U32 size;
    switch (zvxp_classify(color_format)) {
    case zvxp_frame_class::opaque:
        size = zvx_is_rgb_input_supported() || !tcx_enabled ? yuv420 : calc_buffer_size_tcx(width, height, false);
        break;
    case zvxp_frame_class::rgb32:
        size = width * height * 4;
        row_bytes = width * 4;
        break;
    case zvxp_frame_class::yuv420_10_bit:
        size = tcx_enabled ? calc_buffer_size_tcx(width, height, true) : width * height * 2;
        break;
    case zvxp_frame_class::yuv420_16_bit:
        size = yuv420 * 2;
        row_bytes = width * 2;
        break;
    case zvxp_frame_class::yuv422_single_plane:
        size = width * height * 2;
        break;
    case zvxp_frame_class::unknown:
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING,
                "Unknown format, falling back to YUV420. color_format=0x%08x. (%s:%d)",
                static_cast<unsigned>(color_format));
        [[fallthrough]];
    case zvxp_frame_class::yuv420:
        size = tcx_enabled ? calc_buffer_size_tcx(width, height, false) : yuv420;
        break;
    }
    if (stride != nullptr)
        *stride = row_bytes;
    return zvxp_align(size, zvxp_size_alignment);
}

void zvx_omx_common_component_update_buffer_size(struct zvx_omx_common_component *component, OMX_U32 port)
{
    if (component == nullptr)
        return;
    const OMX_U32 input = zvx_omx_common_component_get_input_port_index(component);
    const OMX_U32 output = zvx_omx_common_component_get_output_port_index(component);
    OMX_PARAM_PORTDEFINITIONTYPE *input_definition = zvx_omx_port_get_definition(&component->ports[input]);
    OMX_PARAM_PORTDEFINITIONTYPE *output_definition = zvx_omx_port_get_definition(&component->ports[output]);
    if (input_definition == nullptr || output_definition == nullptr)
        return;

    if (component->type == ZVX_OMX_ENCODER && port == output) {
        const OMX_VIDEO_PORTDEFINITIONTYPE &frames = input_definition->format.video;
        // Room for a frame that compresses badly: one and a half raw frames.
        const uint64_t raw = (static_cast<uint64_t>(frames.nFrameWidth) * frames.nFrameHeight * 3) >> 1;
        const uint64_t needed = std::min<uint64_t>(raw * 15 / 10, UINT32_MAX - zvxp_size_alignment);
        const OMX_U32 size = zvxp_align(static_cast<OMX_U32>(needed), zvxp_size_alignment);
        output_definition->nBufferSize = std::max(output_definition->nBufferSize, size);
    } else if (component->type == ZVX_OMX_DECODER && port == input) {
        const OMX_VIDEO_PORTDEFINITIONTYPE &frames = output_definition->format.video;
        const OMX_U32 size = zvxp_align(frames.nFrameWidth * frames.nFrameHeight, zvxp_size_alignment);
        input_definition->nBufferSize = std::max(input_definition->nBufferSize, size);
        if (zvx_omx_common_component_is_metadata_in_buffer_enabled(component, output))
            input_definition->nBufferSize = std::max(input_definition->nBufferSize, zvxp_metadata_input_minimum);
    }
}

void zvx_omx_describe_color_format(DescribeColorFormatParams *params)
{
    MediaImage &image = params->sMediaImage;
    const OMX_U32 width = params->nFrameWidth;
    const OMX_U32 height = params->nFrameHeight;
    const bool two_bytes = zvxp_client_word(params->eColorFormat) == QURO_COLOR_FormatYUV420_10b_MS;
    params->nStride = std::max(params->nStride, two_bytes ? width * 2 : width);
    params->nSliceHeight = std::max(params->nSliceHeight, height);
    const uint64_t stride = params->nStride;
    const uint64_t luma_bytes = stride * params->nSliceHeight;
    if (zvxp_client_word(params->bUsingNativeBuffers) != OMX_FALSE || width == 0 || height == 0 ||
        stride > UINT32_MAX / 2 || luma_bytes * 2 > UINT32_MAX) {
        zvxp_report_unknown(image);
        return;
    }

    const OMX_U32 luma_row = params->nStride;
    const OMX_U32 half_row = luma_row / 2;
    zvxp_plane luma = {0, 1, luma_row, 1};
    zvxp_plane u;
    zvxp_plane v;
    switch (zvxp_client_word(params->eColorFormat)) {
    case OMX_COLOR_FormatYUV420Planar:
    case OMX_COLOR_FormatYUV420Flexible:
        u = {luma_bytes, 1, half_row, 2};
        v = {luma_bytes + luma_bytes / 4, 1, half_row, 2};
        break;
    case QURO_COLOR_FormatYV12: {
        const OMX_U32 chroma_row = zvxp_align(half_row, zvxp_yv12_chroma_alignment);
        v = {luma_bytes, 1, chroma_row, 2};
        u = {luma_bytes + static_cast<uint64_t>(chroma_row) * (params->nSliceHeight / 2), 1, chroma_row, 2};
        break;
    }
    case OMX_COLOR_FormatYUV420SemiPlanar:
        u = {luma_bytes, 2, luma_row, 2};
        v = {luma_bytes + 1, 2, luma_row, 2};
        break;
    case QURO_COLOR_FormatYVU420SemiPlanar:
        v = {luma_bytes, 2, luma_row, 2};
        u = {luma_bytes + 1, 2, luma_row, 2};
        break;
    case QURO_COLOR_FormatYUV420_10b_MS:
        luma = {0, 2, luma_row, 1};
        u = {luma_bytes, 4, luma_row, 2};
        v = {luma_bytes + 2, 4, luma_row, 2};
        break;
    default:
        zvxp_report_unknown(image);
        return;
    }
    image.mType = MEDIA_IMAGE_TYPE_YUV;
    image.mNumPlanes = MEDIA_IMAGE_MAX_NUM_PLANES;
    image.mWidth = width;
    image.mHeight = height;
    image.mBitDepth = two_bytes ? 10 : 8;
    zvxp_set_plane(image.mPlane[MEDIA_IMAGE_Y], luma);
    zvxp_set_plane(image.mPlane[MEDIA_IMAGE_U], u);
    zvxp_set_plane(image.mPlane[MEDIA_IMAGE_V], v);
}
