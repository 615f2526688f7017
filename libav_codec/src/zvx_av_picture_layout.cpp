#include "zvx_av_picture_layout.h"

#include <utility>

namespace zvx_av {

namespace {

bool is_semiplanar(ColourFormat format)
{
    return format == ColourFormat::nv12 || format == ColourFormat::nv21 || format == ColourFormat::p010;
}

int bytes_per_sample(ColourFormat format)
{
    return format == ColourFormat::p010 || format == ColourFormat::i420_10 ? 2 : 1;
}

int half_up(int value)
{
    return (value + 1) / 2;
}

struct PlaneGeometry {
    int chroma_stride = 0;
    size_t chroma_offset = 0;        /* first chroma plane */
    size_t second_chroma_offset = 0; /* planar only */
    int chroma_rows = 0;
    int chroma_row_bytes = 0;
};

PlaneGeometry geometry_of(const PictureLayout &layout, int height, int width)
{
    const int sample = bytes_per_sample(layout.format);
    PlaneGeometry geometry;
    geometry.chroma_rows = half_up(height);
    geometry.chroma_offset = static_cast<size_t>(layout.stride) * static_cast<size_t>(layout.slice_height);
    if (is_semiplanar(layout.format)) {
        geometry.chroma_stride = layout.stride;
        geometry.chroma_row_bytes = 2 * half_up(width) * sample;
    } else {
        geometry.chroma_stride = half_up(layout.stride);
        geometry.chroma_row_bytes = half_up(width) * sample;
        geometry.second_chroma_offset = geometry.chroma_offset + static_cast<size_t>(geometry.chroma_stride) *
                                                                     static_cast<size_t>(half_up(layout.slice_height));
    }
    return geometry;
}

} // namespace

AVPixelFormat pixel_format_of(ColourFormat format)
{
    switch (format) {
    case ColourFormat::i420:
    case ColourFormat::yv12:
        return AV_PIX_FMT_YUV420P;
    case ColourFormat::nv12:
        return AV_PIX_FMT_NV12;
    case ColourFormat::nv21:
        return AV_PIX_FMT_NV21;
    case ColourFormat::p010:
        return AV_PIX_FMT_P010LE;
    case ColourFormat::i420_10:
        return AV_PIX_FMT_YUV420P10LE;
    }
    return AV_PIX_FMT_NONE;
}

size_t picture_bytes(const PictureLayout &layout, int width, int height)
{
    const int sample = bytes_per_sample(layout.format);
    if (width <= 0 || height <= 0 || layout.stride < width * sample || layout.slice_height < height)
        return 0;
    const PlaneGeometry geometry = geometry_of(layout, height, width);
    if (geometry.chroma_stride < geometry.chroma_row_bytes)
        return 0;
    // Rows of 16-bit samples start on a sample.
    if (sample == 2 && (layout.stride % 2 != 0 || geometry.chroma_stride % 2 != 0))
        return 0;
    const size_t last_plane = is_semiplanar(layout.format) ? geometry.chroma_offset : geometry.second_chroma_offset;
    return last_plane + static_cast<size_t>(geometry.chroma_stride) * static_cast<size_t>(geometry.chroma_rows - 1) +
           static_cast<size_t>(geometry.chroma_row_bytes);
}

PlanePointers lay_out_planes(const PictureLayout &layout, int width, int height, uint8_t *base)
{
    const PlaneGeometry geometry = geometry_of(layout, height, width);
    PlanePointers planes;
    planes.data[0] = base;
    planes.linesize[0] = layout.stride;
    planes.data[1] = base + geometry.chroma_offset;
    planes.linesize[1] = geometry.chroma_stride;
    if (!is_semiplanar(layout.format)) {
        planes.data[2] = base + geometry.second_chroma_offset;
        planes.linesize[2] = geometry.chroma_stride;
        if (layout.format == ColourFormat::yv12)
            std::swap(planes.data[1], planes.data[2]);
    }
    return planes;
}

} // namespace zvx_av
