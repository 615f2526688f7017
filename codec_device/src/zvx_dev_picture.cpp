#include "zvx_dev_picture.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr uint32_t ZVXP_COLOR_YUV420_SEMIPLANAR = 21;
constexpr uint32_t ZVXP_COLOR_YVU420_SEMIPLANAR = 47;
constexpr uint32_t ZVXP_COLOR_BGRA8888 = 15;
constexpr uint32_t ZVXP_COLOR_ARGB8888 = 16;
constexpr uint32_t ZVXP_COLOR_YUV422_1P = 0x7f000007;
constexpr uint32_t ZVXP_COLOR_YVU422_1P = 0x7f000008;

/* Two periods of 0..255, so that any row segment of up to 256 bytes is one copy from it. */
constexpr std::array<uint8_t, 512> zvxp_ramp = [] {
    std::array<uint8_t, 512> ramp{};
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<uint8_t>(i);
    return ramp;
}();

uint8_t zvxp_row_base(uint32_t frame, uint32_t plane, uint32_t row)
{
    return static_cast<uint8_t>(frame * 17u + plane * 85u + row * 3u);
}

/* Row bytes from `column` on: base + column, wrapping at 256. */
void zvxp_write_run(uint8_t *dst, uint8_t base, uint32_t column, uint32_t length)
{
    while (length > 0) {
        const uint32_t start = static_cast<uint8_t>(base + column);
        const uint32_t chunk = std::min<uint32_t>(length, 256);
        std::memcpy(dst, zvxp_ramp.data() + start, chunk);
        dst += chunk;
        column += chunk;
        length -= chunk;
    }
}

bool zvxp_run_matches(const uint8_t *src, uint8_t base, uint32_t column, uint32_t length)
{
    while (length > 0) {
        const uint32_t start = static_cast<uint8_t>(base + column);
        const uint32_t chunk = std::min<uint32_t>(length, 256);
        if (std::memcmp(src, zvxp_ramp.data() + start, chunk) != 0)
            return false;
        src += chunk;
        column += chunk;
        length -= chunk;
    }
    return true;
}

uint32_t zvxp_half(uint32_t value)
{
    return (value + 1) / 2;
}

} // namespace

zvx_dev_picture_layout zvx_dev_layout_picture(uint32_t color_format, uint32_t width, uint32_t height, uint32_t stride,
                                              uint32_t slice_height)
{
    zvx_dev_picture_layout layout{};
    const uint32_t rows = std::max(slice_height, height);
    auto single_plane = [&](uint32_t bytes_per_pixel) {
        const uint32_t row_bytes = width * bytes_per_pixel;
        layout.planes[0] = {0, row_bytes, height, std::max(stride, row_bytes)};
        layout.plane_count = 1;
        layout.total_bytes = layout.planes[0].stride * rows;
    };
    switch (color_format) {
    case ZVXP_COLOR_YUV422_1P:
    case ZVXP_COLOR_YVU422_1P:
        single_plane(2);
        break;
    case ZVXP_COLOR_BGRA8888:
    case ZVXP_COLOR_ARGB8888:
        single_plane(4);
        break;
    case ZVXP_COLOR_YUV420_SEMIPLANAR:
    case ZVXP_COLOR_YVU420_SEMIPLANAR: {
        /* Interleaved chroma of an odd width still needs an even number of bytes per row. */
        const uint32_t luma_stride = std::max(stride, zvxp_half(width) * 2);
        const uint32_t chroma_offset = luma_stride * rows;
        layout.planes[0] = {0, width, height, luma_stride};
        layout.planes[1] = {chroma_offset, zvxp_half(width) * 2, zvxp_half(height), luma_stride};
        layout.plane_count = 2;
        layout.total_bytes = chroma_offset + luma_stride * zvxp_half(rows);
        break;
    }
    default: {
        const uint32_t luma_stride = std::max(stride, width);
        const uint32_t chroma_stride = zvxp_half(luma_stride);
        const uint32_t chroma_plane_bytes = chroma_stride * zvxp_half(rows);
        layout.planes[0] = {0, width, height, luma_stride};
        layout.planes[1] = {luma_stride * rows, zvxp_half(width), zvxp_half(height), chroma_stride};
        layout.planes[2] = {luma_stride * rows + chroma_plane_bytes, zvxp_half(width), zvxp_half(height),
                            chroma_stride};
        layout.plane_count = 3;
        layout.total_bytes = luma_stride * rows + 2 * chroma_plane_bytes;
        break;
    }
    }
    return layout;
}

uint32_t zvx_dev_bitstream_length(uint32_t width, uint32_t height, bool key)
{
    const uint32_t pixels = width * height;
    return std::max<uint32_t>(64, key ? pixels / 8 : pixels / 32);
}

uint8_t zvx_dev_pattern_byte(uint32_t frame, uint32_t plane, uint32_t row, uint32_t column)
{
    return static_cast<uint8_t>(zvxp_row_base(frame, plane, row) + column);
}

void zvx_dev_write_picture(uint8_t *buffer, const zvx_dev_picture_layout &layout, uint32_t frame)
{
    for (uint32_t p = 0; p < layout.plane_count; ++p) {
        const zvx_dev_plane &plane = layout.planes[p];
        for (uint32_t row = 0; row < plane.rows; ++row)
            zvxp_write_run(buffer + plane.offset + static_cast<size_t>(row) * plane.stride,
                           zvxp_row_base(frame, p, row), 0, plane.row_bytes);
    }
}

void zvx_dev_write_bitstream(uint8_t *buffer, uint32_t position, uint32_t length, uint32_t frame)
{
    zvxp_write_run(buffer, zvxp_row_base(frame, 0, 0), position, length);
}

bool zvx_dev_picture_matches(const uint8_t *buffer, size_t filled, const zvx_dev_picture_layout &layout, uint32_t frame)
{
    if (filled < layout.total_bytes)
        return false;
    for (uint32_t p = 0; p < layout.plane_count; ++p) {
        const zvx_dev_plane &plane = layout.planes[p];
        for (uint32_t row = 0; row < plane.rows; ++row) {
            if (!zvxp_run_matches(buffer + plane.offset + static_cast<size_t>(row) * plane.stride,
                                  zvxp_row_base(frame, p, row), 0, plane.row_bytes))
                return false;
        }
    }
    return true;
}

bool zvx_dev_bitstream_matches(const uint8_t *buffer, uint32_t position, uint32_t length, uint32_t frame)
{
    return zvxp_run_matches(buffer, zvxp_row_base(frame, 0, 0), position, length);
}
