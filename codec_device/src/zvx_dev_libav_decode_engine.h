#ifndef ZVX_DEV_LIBAV_DECODE_ENGINE_H
#define ZVX_DEV_LIBAV_DECODE_ENGINE_H

#include <deque>
#include <string>

#include "zvx_av_decoder.h"
#include "zvx_av_picture_writer.h"
#include "zvx_dev_engine.h"

namespace zvx_dev {

/* libavcodec's decoder of the role: input buffers as access units (OMX_BUFFERFLAG_ENDOFFRAME) or
 * chunks for its parser, configuration buffers (OMX_BUFFERFLAG_CODECCONFIG) as extradata; each new
 * picture format (coded size, crop, depth, chroma, colours) announced before its first picture;
 * pictures written in the output port's layout. A picture the stream spoils is dropped and the
 * error reported. */
class LibavDecodeEngine final : public Engine {
public:
    /* `opened_ahead`: the codec's decoder opened before the session, or null. */
    LibavDecodeEngine(zvx_av::Codec codec, zvx_av::CodecContextPtr opened_ahead);

    void consume(const EngineInput &input) override;
    StreamItem *front() override;
    void pop_front() override;
    size_t pictures_in_flight() const override;
    bool consume_takes_long() const override { return true; }
    void flush() override;
    std::optional<WrittenPicture> write_picture(const Picture &picture, const PictureTarget &target) override;
    uint32_t bitstream_length(const Picture &) const override { return 0; }
    void write_bitstream(const Picture &, uint32_t, std::span<uint8_t>) const override {}
    std::optional<StreamError> take_error() override;

private:
    struct Item {
        StreamItem item;
        zvx_av::FramePtr frame; /* pictures only; null for an empty end of stream */
        Geometry frame_memory;  /* of the format the picture was announced with */
    };

    void note(const zvx_av::Status &status, const char *step);
    void note_error(std::string message);
    void announce_ahead();
    Announcement announcement_of(const zvx_av::PictureShape &shape) const;
    bool fits_announced_ahead(const Announcement &announcement) const;
    void take_pictures();
    void end_stream(uint64_t timestamp);

    zvx_av::Decoder decoder_;
    bool decoder_open_ = false;
    zvx_av::PictureWriter writer_;
    std::deque<Item> items_;
    std::optional<zvx_av::PictureFormat> announced_;
    /* Announced from the stream's headers, before its first picture: that picture needs no announcement
     * of its own when it fits. */
    std::optional<Announcement> announced_ahead_;
    Geometry frame_memory_; /* of the format announced last */
    uint64_t last_timestamp_ = 0;
    uint32_t pictures_decoded_ = 0;
    std::deque<StreamError> errors_;
};

} // namespace zvx_dev

#endif
