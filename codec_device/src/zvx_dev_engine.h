#ifndef ZVX_DEV_ENGINE_H
#define ZVX_DEV_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zvx_dev_parameters.h"
#include "zvx_dev_stream.h"
#include "zvx_codec_device.h"

namespace zvx_dev {

class DecoderAhead;

/* One input buffer as the host queued it. */
struct EngineInput {
    std::span<const uint8_t> data;
    uint64_t timestamp = 0;
    uint32_t flags = 0;  /* OMX_BUFFERFLAG_* */
    uint32_t number = 0; /* the session's count of inputs that held data, before this one */
};

/* A registered output buffer and the layout the host set for it. */
struct PictureTarget {
    std::span<uint8_t> memory;
    uint32_t color_format = 0; /* OMX_COLOR_FORMATTYPE of the output port */
    uint32_t stride = 0;       /* bytes; raised to what a row needs */
    uint32_t slice_height = 0; /* rows before the chroma; raised to the picture's */
};

struct WrittenPicture {
    uint32_t filled_bytes = 0;
    uint32_t stride = 0;
    Geometry frame; /* the frame memory the picture was laid out in */
};

/* Something the stream did wrong, for the host to hear of with ZVX_BASE_EVENT_ERROR. */
struct StreamError {
    uint32_t error_code = 0; /* OMX_ERRORTYPE */
    std::string message;
};

/* The codec a device drives: input buffers in, stream items out in output order. Only the device's
 * worker calls it; consume, write_picture and write_bitstream without the device's lock, while the
 * host can change nothing they read. */
class Engine {
public:
    Engine() = default;
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    virtual ~Engine() = default;

    /* Takes one input buffer: its bytes, then, with OMX_BUFFERFLAG_EOS, the end of the stream, after
     * which every picture held comes out, the last one flagged EOS (or an empty one that is). */
    virtual void consume(const EngineInput &input) = 0;
    /* Next item in output order; null when none is ready. */
    virtual StreamItem *front() = 0;
    virtual void pop_front() = 0;
    /* Pictures taken in and not yet out: the device stops feeding input at its limit. */
    virtual size_t pictures_in_flight() const = 0;
    /* A decode that does a codec's real work, long enough to matter to a picture waiting for an output
     * buffer; the pattern's is instant. An encoder answers no: a client may hold its finished packets
     * until it has its next input buffer back. */
    virtual bool consume_takes_long() const { return false; }
    /* Drops every picture held; announcements stay, the host still has to hear of them. */
    virtual void flush() = 0;

    /* Decode: writes the front picture; null when the buffer cannot hold it. */
    virtual std::optional<WrittenPicture> write_picture(const Picture &picture, const PictureTarget &target) = 0;
    /* Encode: bytes of the front picture's bitstream, and `memory.size()` of them from `position`. */
    virtual uint32_t bitstream_length(const Picture &picture) const = 0;
    virtual void write_bitstream(const Picture &picture, uint32_t position, std::span<uint8_t> memory) const = 0;

    /* The host set a record before the input now being taken; a running codec takes what it can of it. */
    virtual void parameter_set(uint32_t index) { (void)index; }
    /* The device's script changed. */
    virtual void script_changed() {}
    /* The oldest error not yet reported. */
    virtual std::optional<StreamError> take_error() { return std::nullopt; }
};

/* What an engine reads of its device; both outlive it, and the device changes neither while its
 * worker is in the engine. */
struct EngineSetting {
    const zvx_dev_script &script;
    const ParameterStore &parameters;
    std::string_view role; /* "video_decoder.avc" */
    bool decoder;
    DecoderAhead &decoders_ahead;
};

std::unique_ptr<Engine> make_engine(zvx_dev_engine kind, const EngineSetting &setting);

} // namespace zvx_dev

#endif
