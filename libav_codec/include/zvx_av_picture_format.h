#ifndef ZVX_AV_PICTURE_FORMAT_H
#define ZVX_AV_PICTURE_FORMAT_H

#include <cstdint>
#include <optional>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

namespace zvx_av {

/* The visible part of the coded picture. */
struct CropRect {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    bool operator==(const CropRect &) const = default;
};

enum class ChromaFormat : uint8_t { monochrome, yuv420, yuv422, yuv444, other };
enum class ColourRange : uint8_t { unknown, limited, full };

/* Primaries, transfer and matrix are ITU-T H.273 code points; 2 means the stream gives none. */
struct ColourAspects {
    ColourRange range = ColourRange::unknown;
    int primaries = 2;
    int transfer = 2;
    int matrix = 2;
    bool operator==(const ColourAspects &) const = default;
};

/* What a decoded picture is, as the stream says. Two pictures with different formats straddle a
 * format change (new resolution, depth, chroma or colour), which a client must reconfigure for. */
struct PictureFormat {
    int coded_width = 0;
    int coded_height = 0;
    CropRect crop;
    int bit_depth = 0;
    ChromaFormat chroma = ChromaFormat::other;
    ColourAspects colour;
    AVPixelFormat pixel_format = AV_PIX_FMT_NONE;
    bool operator==(const PictureFormat &) const = default;
};

/* Reads a decoded frame that has not been cropped yet (its crop fields still set). */
PictureFormat describe_picture(const AVFrame &frame);

/* What a client lays its buffers out for: the visible size, the depth and the colour. */
struct PictureShape {
    int width = 0;
    int height = 0;
    int bit_depth = 0;
    ColourAspects colour;
    bool operator==(const PictureShape &) const = default;
};

PictureShape shape_of(const PictureFormat &format);
/* From a decoder that has read the stream's headers; none before. */
std::optional<PictureShape> describe_stream(const AVCodecContext &context);

} // namespace zvx_av

#endif
