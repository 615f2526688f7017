#include "zvx_dev_libav_encode_engine.h"

#include <OMX_Core.h>
#include <OMX_Index.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "zvx_av_picture_wrapper.h"
#include "zvx_dev_client_layout.h"
#include "zvx_dev_encoder_settings.h"

namespace zvx_dev {

namespace {

constexpr size_t ZVXP_ERRORS_KEPT = 16;

} // namespace

LibavEncodeEngine::LibavEncodeEngine(const EngineSetting &setting, zvx_av::Codec codec)
    : setting_(setting), codec_(codec)
{
}

void LibavEncodeEngine::note(const zvx_av::Status &status, const char *step)
{
    if (status.ok() || errors_.size() >= ZVXP_ERRORS_KEPT)
        return;
    errors_.push_back({static_cast<uint32_t>(OMX_ErrorUndefined), std::string(step) + ": " + status.message()});
}

/* A profile or level the encoder refuses for this picture size is dropped rather than the stream. */
bool LibavEncodeEngine::open()
{
    zvx_av::EncoderSettings settings = encoder_settings(codec_, setting_.parameters);
    zvx_av::Status opened = encoder_.open(settings);
    if (!opened.ok() && !settings.level.empty()) {
        settings.level.clear();
        opened = encoder_.open(settings);
    }
    if (!opened.ok() && !settings.profile.empty()) {
        settings.profile.clear();
        opened = encoder_.open(settings);
    }
    note(opened, "opening the encoder");
    if (!opened.ok()) {
        state_ = State::failed;
        return false;
    }
    state_ = State::open;
    geometry_ = {static_cast<uint32_t>(settings.width), static_cast<uint32_t>(settings.height)};
    bitrate_ = settings.bitrate;
    Announcement announcement;
    announcement.geometry = geometry_;
    announcement.report = zvx_dev_report::port_definition;
    announcement.frame = allocation_geometry(geometry_);
    items_.push_back({announcement, {}});
    const std::span<const uint8_t> config = encoder_.codec_config();
    if (!config.empty()) {
        Picture configuration;
        configuration.codec_config = true;
        configuration.geometry = geometry_;
        items_.push_back({configuration, {config.begin(), config.end()}});
    }
    return true;
}

void LibavEncodeEngine::consume(const EngineInput &input)
{
    if (!input.data.empty() && (state_ == State::open || (state_ == State::closed && open())))
        encode(input.data, input.timestamp);
    if ((input.flags & OMX_BUFFERFLAG_EOS) != 0)
        end_stream(input.timestamp);
}

void LibavEncodeEngine::encode(std::span<const uint8_t> data, uint64_t timestamp)
{
    const int width = static_cast<int>(geometry_.width);
    const int height = static_cast<int>(geometry_.height);
    const zvx_av::PictureLayout layout = input_layout(setting_.parameters, width, height);
    // The wrapper writes nothing: it only points into the host's buffer, which the encoder copies.
    const std::span<uint8_t> memory(const_cast<uint8_t *>(data.data()), data.size());
    const zvx_av::FramePtr picture = zvx_av::wrap_picture(memory, width, height, layout);
    if (picture == nullptr) {
        note(zvx_av::Status(AVERROR(EINVAL)), "an input buffer smaller than its picture");
        return;
    }
    if (key_frame_pending_) {
        encoder_.request_key_frame();
        key_frame_pending_ = false;
    }
    note(encoder_.send(*picture, static_cast<int64_t>(timestamp)), "encoding");
    take_packets();
}

void LibavEncodeEngine::take_packets()
{
    while (std::optional<zvx_av::EncodedPacket> packet = encoder_.receive()) {
        Picture picture;
        picture.number = packets_++;
        picture.timestamp =
            packet->timestamp_us != zvx_av::no_timestamp ? static_cast<uint64_t>(packet->timestamp_us) : 0;
        picture.geometry = geometry_;
        picture.key = packet->key;
        const std::span<const uint8_t> bytes = packet->data();
        items_.push_back({picture, {bytes.begin(), bytes.end()}});
    }
}

void LibavEncodeEngine::end_stream(uint64_t timestamp)
{
    if (state_ == State::open) {
        note(encoder_.end_stream(), "draining the encoder");
        take_packets();
        // The next stream starts anew, with its configuration first.
        state_ = State::closed;
    }
    const auto last = std::find_if(items_.rbegin(), items_.rend(), [](const Item &item) {
        const Picture *picture = std::get_if<Picture>(&item.item);
        return picture != nullptr && !picture->codec_config;
    });
    if (last != items_.rend()) {
        std::get<Picture>(last->item).eos = true;
        return;
    }
    Picture end;
    end.timestamp = timestamp;
    end.eos = true;
    end.empty = true;
    items_.push_back({end, {}});
}

void LibavEncodeEngine::parameter_set(uint32_t index)
{
    if (index == OMX_IndexConfigVideoIntraVOPRefresh && key_frame_requested(setting_.parameters)) {
        key_frame_pending_ = true;
        return;
    }
    if (index != OMX_IndexConfigVideoBitrate || state_ != State::open)
        return;
    const std::optional<int64_t> bitrate = bitrate_change(setting_.parameters);
    if (!bitrate || *bitrate == bitrate_)
        return;
    bitrate_ = *bitrate;
    note(encoder_.set_bitrate(*bitrate), "changing the bitrate");
    // Encoders that restart to take a new rate hand out what they held.
    take_packets();
}

StreamItem *LibavEncodeEngine::front()
{
    return items_.empty() ? nullptr : &items_.front().item;
}

void LibavEncodeEngine::pop_front()
{
    if (!items_.empty())
        items_.pop_front();
}

/* Pictures the encoder holds for its look-ahead do not count: it gives nothing out until it has them. */
size_t LibavEncodeEngine::pictures_in_flight() const
{
    return static_cast<size_t>(std::count_if(
        items_.begin(), items_.end(), [](const Item &item) { return std::holds_alternative<Picture>(item.item); }));
}

void LibavEncodeEngine::flush()
{
    if (state_ == State::open) {
        // What the encoder holds is dropped with it; the stream starts again with its configuration.
        (void)encoder_.end_stream();
        while (encoder_.receive()) {
        }
        state_ = State::closed;
    }
    std::erase_if(items_, [](const Item &item) { return std::holds_alternative<Picture>(item.item); });
}

uint32_t LibavEncodeEngine::bitstream_length(const Picture &) const
{
    return static_cast<uint32_t>(items_.front().bytes.size());
}

void LibavEncodeEngine::write_bitstream(const Picture &, uint32_t position, std::span<uint8_t> memory) const
{
    const std::vector<uint8_t> &bytes = items_.front().bytes;
    if (memory.empty())
        return;
    std::memcpy(memory.data(), bytes.data() + position, memory.size());
}

std::optional<StreamError> LibavEncodeEngine::take_error()
{
    if (errors_.empty())
        return std::nullopt;
    StreamError error = std::move(errors_.front());
    errors_.pop_front();
    return error;
}

} // namespace zvx_dev
