#ifndef ZVX_DEV_LIBAV_ENCODE_ENGINE_H
#define ZVX_DEV_LIBAV_ENCODE_ENGINE_H

#include <deque>
#include <vector>

#include "zvx_av_encoder.h"
#include "zvx_dev_engine.h"

namespace zvx_dev {

/* libavcodec's encoder of the role (libx264, libx265, libvpx), opened at the first picture with what
 * the host has set by then: the codec configuration comes out first on its own, then one bitstream
 * item a packet, in decode order. Bitrate changes and key-frame requests the host sets later apply
 * from the next picture. */
class LibavEncodeEngine final : public Engine {
public:
    LibavEncodeEngine(const EngineSetting &setting, zvx_av::Codec codec);

    void consume(const EngineInput &input) override;
    StreamItem *front() override;
    void pop_front() override;
    size_t pictures_in_flight() const override;
    void flush() override;
    std::optional<WrittenPicture> write_picture(const Picture &, const PictureTarget &) override
    {
        return std::nullopt;
    }
    uint32_t bitstream_length(const Picture &picture) const override;
    void write_bitstream(const Picture &picture, uint32_t position, std::span<uint8_t> memory) const override;
    void parameter_set(uint32_t index) override;
    std::optional<StreamError> take_error() override;

private:
    struct Item {
        StreamItem item;
        std::vector<uint8_t> bytes;
    };

    bool open();
    void encode(std::span<const uint8_t> data, uint64_t timestamp);
    void take_packets();
    void end_stream(uint64_t timestamp);
    void note(const zvx_av::Status &status, const char *step);

    EngineSetting setting_;
    zvx_av::Codec codec_;
    zvx_av::Encoder encoder_;
    enum class State : uint8_t { closed, open, failed } state_ = State::closed;
    Geometry geometry_;
    int64_t bitrate_ = 0;
    bool key_frame_pending_ = false;
    uint32_t packets_ = 0;
    std::deque<Item> items_;
    std::deque<StreamError> errors_;
};

} // namespace zvx_dev

#endif
