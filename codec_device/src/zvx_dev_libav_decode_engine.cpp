#include "zvx_dev_libav_decode_engine.h"

#include <OMX_Core.h>

#include <algorithm>
#include <string>

#include "zvx_dev_client_layout.h"

namespace zvx_dev {

namespace {

/* Errors waiting for the host beyond this are dropped: a broken stream must not fill the memory. */
constexpr size_t ZVXP_ERRORS_KEPT = 16;
constexpr int ZVXP_UNSPECIFIED = 2;
/* The largest side the device decodes, the one the component's ports take: a larger picture would be
 * announced with buffers no client can allocate, so its stream is refused as corrupt. */
constexpr int ZVXP_MAX_SIDE = 8192;

bool zvxp_larger_than_decoded(int width, int height)
{
    return width > ZVXP_MAX_SIDE || height > ZVXP_MAX_SIDE;
}

uint8_t zvxp_code_point(int value)
{
    return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

std::optional<ColourDescription> zvxp_colour_of(const zvx_av::ColourAspects &aspects)
{
    if (aspects.range == zvx_av::ColourRange::unknown && aspects.primaries == ZVXP_UNSPECIFIED &&
        aspects.transfer == ZVXP_UNSPECIFIED && aspects.matrix == ZVXP_UNSPECIFIED)
        return std::nullopt;
    ColourDescription colour;
    colour.range = static_cast<uint8_t>(aspects.range);
    colour.primaries = zvxp_code_point(aspects.primaries);
    colour.transfer = zvxp_code_point(aspects.transfer);
    colour.matrix = zvxp_code_point(aspects.matrix);
    return colour;
}

} // namespace

LibavDecodeEngine::LibavDecodeEngine(zvx_av::Codec codec, zvx_av::CodecContextPtr opened_ahead)
{
    // Frame and slice threads, as desktop players decode: the component gives consumed inputs back while
    // a client waits for the first picture to enable its output port.
    const zvx_av::Status opened = decoder_.open(codec, zvx_av::DecoderSettings{});
    decoder_open_ = opened.ok();
    decoder_.use_opened_ahead(std::move(opened_ahead));
    note(opened, "opening the decoder");
}

void LibavDecodeEngine::note(const zvx_av::Status &status, const char *step)
{
    if (!status.ok())
        note_error(std::string(step) + ": " + status.message());
}

void LibavDecodeEngine::note_error(std::string message)
{
    if (errors_.size() < ZVXP_ERRORS_KEPT)
        errors_.push_back({static_cast<uint32_t>(OMX_ErrorStreamCorrupt), std::move(message)});
}

void LibavDecodeEngine::consume(const EngineInput &input)
{
    if (decoder_open_ && !input.data.empty()) {
        zvx_av::DecoderInput in;
        in.data = input.data;
        in.timestamp_us = static_cast<int64_t>(input.timestamp);
        in.end_of_frame = (input.flags & OMX_BUFFERFLAG_ENDOFFRAME) != 0;
        in.codec_config = (input.flags & OMX_BUFFERFLAG_CODECCONFIG) != 0;
        note(decoder_.send(in), "decoding");
        announce_ahead();
        take_pictures();
    }
    if ((input.flags & OMX_BUFFERFLAG_EOS) != 0)
        end_stream(input.timestamp);
}

void LibavDecodeEngine::end_stream(uint64_t timestamp)
{
    if (decoder_open_) {
        note(decoder_.end_stream(), "draining the decoder");
        take_pictures();
    }
    const auto last = std::find_if(items_.rbegin(), items_.rend(),
                                   [](const Item &item) { return std::holds_alternative<Picture>(item.item); });
    if (last != items_.rend()) {
        std::get<Picture>(last->item).eos = true;
        return;
    }
    Picture end;
    end.timestamp = timestamp;
    end.eos = true;
    end.empty = true;
    items_.push_back({end, nullptr, frame_memory_});
}

Announcement LibavDecodeEngine::announcement_of(const zvx_av::PictureShape &shape) const
{
    Announcement announcement;
    announcement.geometry = {static_cast<uint32_t>(shape.width), static_cast<uint32_t>(shape.height)};
    // Pictures leave the decoder cropped, and are written so: the frame a client gets is the visible
    // picture (the coded size stays the decoder's business), which every client shows as it is.
    announcement.frame = announcement.geometry;
    announcement.bit_depth = static_cast<uint8_t>(std::clamp(shape.bit_depth, 8, 16));
    announcement.buffers_needed = static_cast<uint32_t>(decoder_.frames_held().total());
    announcement.colour = zvxp_colour_of(shape.colour);
    return announcement;
}

/* With frame threads the decoder has read the stream's headers a few pictures before the first comes
 * out: the client sets its output buffers up meanwhile instead of after that picture. */
void LibavDecodeEngine::announce_ahead()
{
    if (announced_ || announced_ahead_)
        return;
    const std::optional<zvx_av::PictureShape> shape = decoder_.stream_shape();
    if (!shape || zvxp_larger_than_decoded(shape->width, shape->height))
        return;
    announced_ahead_ = announcement_of(*shape);
    items_.push_back({*announced_ahead_, nullptr, announced_ahead_->frame});
    frame_memory_ = announced_ahead_->frame;
}

bool LibavDecodeEngine::fits_announced_ahead(const Announcement &announcement) const
{
    return announced_ahead_ && announcement.geometry == announced_ahead_->geometry &&
           announcement.bit_depth == announced_ahead_->bit_depth && announcement.colour == announced_ahead_->colour &&
           announcement.buffers_needed <= announced_ahead_->buffers_needed;
}

void LibavDecodeEngine::take_pictures()
{
    while (std::optional<zvx_av::DecodedPicture> decoded = decoder_.receive()) {
        const zvx_av::PictureFormat &format = decoded->format;
        if (zvxp_larger_than_decoded(decoded->frame->width, decoded->frame->height)) {
            note_error("decoding: a " + std::to_string(decoded->frame->width) + "x" +
                       std::to_string(decoded->frame->height) + " picture is larger than the device decodes");
            continue;
        }
        const Geometry visible{static_cast<uint32_t>(decoded->frame->width),
                               static_cast<uint32_t>(decoded->frame->height)};
        if (!announced_ || *announced_ != format) {
            const Announcement announcement = announcement_of(zvx_av::shape_of(format));
            if (announced_ || !fits_announced_ahead(announcement)) {
                items_.push_back({announcement, nullptr, announcement.frame});
                frame_memory_ = announcement.frame;
            }
            announced_ = format;
            announced_ahead_.reset();
        }
        Picture picture;
        picture.number = pictures_decoded_++;
        if (decoded->timestamp_us != zvx_av::no_timestamp)
            last_timestamp_ = static_cast<uint64_t>(decoded->timestamp_us);
        picture.timestamp = last_timestamp_;
        picture.geometry = visible;
        items_.push_back({picture, std::move(decoded->frame), frame_memory_});
    }
}

StreamItem *LibavDecodeEngine::front()
{
    return items_.empty() ? nullptr : &items_.front().item;
}

void LibavDecodeEngine::pop_front()
{
    if (!items_.empty())
        items_.pop_front();
}

size_t LibavDecodeEngine::pictures_in_flight() const
{
    return static_cast<size_t>(std::count_if(
        items_.begin(), items_.end(), [](const Item &item) { return std::holds_alternative<Picture>(item.item); }));
}

void LibavDecodeEngine::flush()
{
    if (decoder_open_)
        decoder_.flush();
    std::erase_if(items_, [](const Item &item) { return std::holds_alternative<Picture>(item.item); });
}

std::optional<WrittenPicture> LibavDecodeEngine::write_picture(const Picture &, const PictureTarget &target)
{
    const Item &front = items_.front();
    if (front.frame == nullptr)
        return std::nullopt;
    const int width = static_cast<int>(front.frame_memory.width);
    const int height = static_cast<int>(front.frame_memory.height);
    zvx_av::PictureLayout layout =
        client_layout(target.color_format, target.stride, target.slice_height, width, height);
    // A host that sized its buffers for 8-bit samples gets 8-bit ones: a picture that never fits would
    // hold the stream up for good.
    if (client_layout_bytes(layout) > target.memory.size())
        layout = client_layout(eight_bit_format(layout.format), target.stride, target.slice_height, width, height);
    const size_t filled = client_layout_bytes(layout);
    if (filled == 0 || filled > target.memory.size() || writer_.write(*front.frame, layout, target.memory) == 0)
        return std::nullopt;
    return WrittenPicture{static_cast<uint32_t>(filled), static_cast<uint32_t>(layout.stride), front.frame_memory};
}

std::optional<StreamError> LibavDecodeEngine::take_error()
{
    if (errors_.empty())
        return std::nullopt;
    StreamError error = std::move(errors_.front());
    errors_.pop_front();
    return error;
}

} // namespace zvx_dev
