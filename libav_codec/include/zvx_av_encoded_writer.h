#ifndef ZVX_AV_ENCODED_WRITER_H
#define ZVX_AV_ENCODED_WRITER_H

#include <span>
#include <string>
#include <vector>

#include "zvx_av_codec.h"
#include "zvx_av_ptr.h"
#include "zvx_av_status.h"
#include "zvx_av_time.h"

namespace zvx_av {

struct EncodedStreamInfo {
    Codec codec = Codec::avc;
    int width = 0;
    int height = 0;
    AVRational frame_rate = {30, 1};
    std::span<const uint8_t> codec_config; /* the encoder's, copied at open */
};

/* Encoded output through libavformat's muxers, chosen by the file's extension: an elementary stream
 * (.h264/.264, .h265/.hevc), IVF (.ivf) for vp8 and vp9, or a container (.mkv, .webm). An
 * elementary stream gets the codec configuration in front of its first packet. Packets go in
 * decode order; containers that need decode timestamps apart from presentation ones (B-frames in
 * .mp4) are not served. */
class EncodedWriter {
public:
    EncodedWriter() = default;
    EncodedWriter(const EncodedWriter &) = delete;
    EncodedWriter &operator=(const EncodedWriter &) = delete;
    ~EncodedWriter();

    Status open(const std::string &path, const EncodedStreamInfo &info);
    Status write(std::span<const uint8_t> data, int64_t timestamp_us, bool key);
    /* Ends the file (its trailer); the destructor does it for a writer not closed. */
    Status close();

private:
    OutputPtr output_;
    std::vector<uint8_t> config_before_first_packet_;
};

} // namespace zvx_av

#endif
