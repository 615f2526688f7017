#ifndef ZVX_AV_PICTURE_LAYOUT_H
#define ZVX_AV_PICTURE_LAYOUT_H

#include <array>
#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace zvx_av {

/* 4:2:0 layouts of a picture in a client's buffer. */
enum class ColourFormat : uint8_t {
    i420,    /* planar Y, U, V */
    yv12,    /* planar Y, V, U */
    nv12,    /* Y, then interleaved U and V */
    nv21,    /* Y, then interleaved V and U */
    p010,    /* nv12 with 16-bit little-endian samples, 10 bits at the top of each */
    i420_10, /* i420 with 16-bit little-endian samples, 10 bits at the bottom of each */
};

/* Where a picture's planes lie: `stride` bytes per luma row, `slice_height` luma rows before the
 * chroma starts. Planar chroma rows take half the stride (rounded up), and each chroma plane half
 * the slice height (rounded up); interleaved chroma rows take the whole stride. */
struct PictureLayout {
    ColourFormat format = ColourFormat::i420;
    int stride = 0;
    int slice_height = 0;
};

/* Plane pointers and row strides in libav's order (Y, U, V), so a layout's plane order (yv12,
 * nv21) shows only in where each pointer lands. */
struct PlanePointers {
    std::array<uint8_t *, 4> data{};
    std::array<int, 4> linesize{};
};

/* The libav pixel format that describes the layout's samples (yuv420p for yv12 too). */
AVPixelFormat pixel_format_of(ColourFormat format);

/* Bytes from the buffer's start to the end of the picture's last chroma row; 0 when the layout
 * cannot hold a picture of this size (stride or slice height too small, odd stride of 16-bit samples). */
size_t picture_bytes(const PictureLayout &layout, int width, int height);

/* Points the planes of a width x height picture into a buffer starting at `base`. */
PlanePointers lay_out_planes(const PictureLayout &layout, int width, int height, uint8_t *base);

} // namespace zvx_av

#endif
