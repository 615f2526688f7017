#ifndef ZVX_AV_DECODER_H
#define ZVX_AV_DECODER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "zvx_av_codec.h"
#include "zvx_av_frames_held.h"
#include "zvx_av_picture_format.h"
#include "zvx_av_ptr.h"
#include "zvx_av_status.h"
#include "zvx_av_time.h"

namespace zvx_av {

/* How input buffers relate to access units. */
enum class InputFraming : uint8_t {
    /* Access units when the first buffer of the stream carries end_of_frame. Else chunks, or, for
     * codecs whose parser cannot find frame boundaries (vp8, vp9, rv), one access unit a buffer. */
    automatic,
    /* A buffer with end_of_frame completes an access unit; buffers before it without the flag are
     * its earlier pieces. */
    access_units,
    /* Arbitrary pieces of the stream; the codec's parser finds the access units. */
    chunks,
};

struct DecoderSettings {
    int thread_count = 0; /* 0: one a core, the cores shared among the process's streams under way */
    InputFraming framing = InputFraming::automatic;
    /* Codec configuration known before the stream (a container's extradata). */
    std::vector<uint8_t> codec_config;
    /* The stream's own id when it differs from the role's label (rv30, wmv3). */
    AVCodecID stream_codec_id = AV_CODEC_ID_NONE;
};

struct DecoderInput {
    std::span<const uint8_t> data;
    int64_t timestamp_us = no_timestamp;
    bool end_of_frame = false;
    /* Codec configuration (headers, extradata): taken as extradata before the first picture's data,
     * put in front of the next data after it. Avc and hevc configuration in start-code form that also
     * holds a picture is an access unit like any other: GStreamer flags a stream's first access unit,
     * which carries the parameter sets, as configuration. */
    bool codec_config = false;
};

struct DecodedPicture {
    /* The visible picture: cropped, in the decoder's own pixel format. */
    FramePtr frame;
    int64_t timestamp_us = no_timestamp;
    /* As decoded, before cropping: coded size, crop, depth, chroma and colour. */
    PictureFormat format;
};

/* The codec's decoder opened as a Decoder with the default settings opens it for a stream whose
 * configuration comes with its data: opened before the stream, the open is off its first picture's path.
 * Null when the codec's decoder cannot be opened. */
CodecContextPtr open_decoder_ahead(Codec codec);

/* libavcodec's decoder for one stream of a role, with frame and slice threads. Pictures come out in
 * presentation order carrying the timestamps their input had. Not thread-safe: one caller at a time. */
class Decoder {
public:
    Decoder() = default;
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;
    ~Decoder();

    Status open(Codec codec, const DecoderSettings &settings = {});
    /* A context from open_decoder_ahead(), for after open(): the stream's first data uses it instead of
     * opening one, when the settings are the defaults, no configuration came before the data and it has
     * the threads the stream gets then. */
    void use_opened_ahead(CodecContextPtr opened);

    /* Decodes what the input completes; the pictures it yields wait for receive(). A bad stream
     * gives an error here and drops the pictures it spoils; the decoder stays usable. */
    Status send(const DecoderInput &input);
    /* Decodes everything still held (a partial access unit too) so that every picture is ready. */
    Status end_stream();
    /* Drops every picture held, input held and decoder state; the stream goes on from a key frame. */
    void flush();

    std::optional<DecodedPicture> receive();

    /* Meaningful once the stream's headers have been decoded. */
    FramesHeld frames_held() const;
    /* The threads the stream decodes on; 0 before its first data. */
    int threads() const;
    /* The pictures' shape once the decoder has read the stream's headers, which with frame threads is
     * before the first picture is out; none before. */
    std::optional<PictureShape> stream_shape() const;

    /* An access unit or a chunk without a frame boundary larger than this is refused. */
    static constexpr size_t max_access_unit_bytes = 32u << 20;

private:
    enum class Mode : uint8_t { undecided, access_units, chunks, buffers };
    /* drained: the end of the stream was sent; stale: flushed by the caller. Either is flushed in
     * libavcodec before the next data. */
    enum class ContextState : uint8_t { live, drained, stale };

    Status start();
    void set_under_way(bool under_way);
    Status reset_parser();
    Mode mode_for(const DecoderInput &input) const;
    Status send_access_unit_piece(const DecoderInput &input);
    Status parse(std::span<const uint8_t> data, int64_t timestamp_us);
    Status drain_parser();
    Status decode(std::span<const uint8_t> data, int64_t timestamp_us);
    Status collect_pictures();
    void make_context_live();

    Codec codec_ = Codec::avc;
    DecoderSettings settings_;
    const AVCodec *decoder_ = nullptr;
    CodecContextPtr context_;
    CodecContextPtr opened_ahead_;
    ParserPtr parser_;
    CodecContextPtr parser_context_;
    PacketPtr packet_;
    std::vector<uint8_t> extradata_;
    std::vector<uint8_t> access_unit_;
    int64_t access_unit_timestamp_us_ = no_timestamp;
    std::vector<uint8_t> parse_buffer_;
    size_t parser_backlog_ = 0;
    Mode mode_ = Mode::undecided;
    bool data_sent_ = false;
    ContextState context_state_ = ContextState::live;
    std::deque<DecodedPicture> pictures_;
    bool under_way_ = false; /* counted among the process's decoders with a stream under way */
};

} // namespace zvx_av

#endif
