#ifndef ZVX_AV_MEDIA_READER_H
#define ZVX_AV_MEDIA_READER_H

#include <optional>
#include <span>
#include <string>

#include "zvx_av_codec.h"
#include "zvx_av_ptr.h"
#include "zvx_av_status.h"
#include "zvx_av_time.h"

namespace zvx_av {

struct AccessUnit {
    PacketPtr packet;
    /* Presentation time; where the file has none (AVI, raw streams with B-frames) the decode time,
     * else none. */
    int64_t timestamp_us = no_timestamp;
    bool key = false;

    std::span<const uint8_t> data() const { return {packet->data, static_cast<size_t>(packet->size)}; }
};

/* The first video stream of a file, as access units through libavformat: elementary streams by
 * their extension (.h264/.264, .h265/.hevc/.265, .m2v, .m4v, .263/.h263, .vc1, .ivf), containers
 * (.mp4, .mkv, .webm, .avi, ...) by probing. */
class MediaReader {
public:
    Status open(const std::string &path);

    /* The role of the stream's codec; none when it is not one of ours. */
    std::optional<Codec> codec() const;
    AVCodecID codec_id() const;
    int width() const;
    int height() const;
    /* The container's or the elementary stream's extradata; often empty for elementary streams,
     * whose configuration comes in-band. */
    std::span<const uint8_t> codec_config() const;

    /* The next access unit; AVERROR_EOF after the last. */
    Status read(AccessUnit &unit);

private:
    const AVStream &stream() const { return *input_->streams[stream_index_]; }

    InputPtr input_;
    int stream_index_ = -1;
};

} // namespace zvx_av

#endif
