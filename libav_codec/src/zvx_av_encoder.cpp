#include "zvx_av_encoder.h"

#include <cstring>

#include "zvx_av_encoder_options.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/log.h>
}

namespace zvx_av {

namespace {

/* Puts the parameter sets in front of a packet, as an encoder repeating its headers would. */
int prepend(AVPacket &packet, std::span<const uint8_t> config)
{
    PacketPtr joined = make_packet();
    if (!joined)
        return AVERROR(ENOMEM);
    const int allocated = av_new_packet(joined.get(), static_cast<int>(config.size()) + packet.size);
    if (allocated < 0)
        return allocated;
    std::memcpy(joined->data, config.data(), config.size());
    std::memcpy(joined->data + config.size(), packet.data, static_cast<size_t>(packet.size));
    const int copied = av_packet_copy_props(joined.get(), &packet);
    if (copied < 0)
        return copied;
    av_packet_unref(&packet);
    av_packet_move_ref(&packet, joined.get());
    return 0;
}

} // namespace

Status Encoder::open(const EncoderSettings &settings)
{
    settings_ = settings;
    encoder_ = find_encoder(settings.codec);
    context_.reset();
    packets_.clear();
    timestamps_.clear();
    next_pts_ = 0;
    key_frame_requested_ = false;
    config_in_next_packet_ = false;
    if (!encoder_)
        return Status(AVERROR_ENCODER_NOT_FOUND);
    return open_context();
}

Status Encoder::open_context()
{
    CodecContextPtr context(avcodec_alloc_context3(encoder_));
    if (!context)
        return Status(AVERROR(ENOMEM));
    // Each encoder's start-up banner is information for its own programs, not for a player that loads
    // the component: it is moved to the verbose level, while warnings and errors stay visible.
    context->log_level_offset = AV_LOG_VERBOSE - AV_LOG_INFO;
    AVDictionary *options = nullptr;
    const Status configured = configure_encoder(settings_, *encoder_, *context, &options);
    const int opened = configured.ok() ? avcodec_open2(context.get(), encoder_, &options) : configured.code();
    // What the encoder did not take, or all of it when it was not opened.
    av_dict_free(&options);
    if (opened < 0)
        return Status(opened);
    context_ = std::move(context);
    return Status();
}

std::span<const uint8_t> Encoder::codec_config() const
{
    if (!context_ || !context_->extradata)
        return {};
    return {context_->extradata, static_cast<size_t>(context_->extradata_size)};
}

FramePtr Encoder::input_frame(const AVFrame &picture)
{
    if (picture.width != context_->width || picture.height != context_->height)
        return nullptr;
    if (picture.format != context_->pix_fmt)
        return converter_.convert(picture, context_->pix_fmt);
    // A frame over a client's buffer owns no data: this copies it; a counted one is shared.
    FramePtr frame = make_frame();
    if (!frame || av_frame_ref(frame.get(), &picture) < 0)
        return nullptr;
    return frame;
}

Status Encoder::send(const AVFrame &picture, int64_t timestamp_us)
{
    if (!context_)
        return Status(AVERROR(EINVAL));
    FramePtr frame = input_frame(picture);
    if (!frame)
        return Status(AVERROR(EINVAL));
    frame->pts = next_pts_++;
    frame->pict_type = key_frame_requested_ ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    key_frame_requested_ = false;
    timestamps_[frame->pts] = timestamp_us;
    return encode(frame.get());
}

Status Encoder::encode(AVFrame *frame)
{
    int sent = avcodec_send_frame(context_.get(), frame);
    Status result;
    if (sent == AVERROR(EAGAIN)) {
        result = collect_packets();
        sent = avcodec_send_frame(context_.get(), frame);
    }
    const Status collected = collect_packets();
    if (sent < 0)
        return Status(sent);
    return result.ok() ? collected : result;
}

Status Encoder::collect_packets()
{
    for (;;) {
        EncodedPacket out;
        out.packet = make_packet();
        if (!out.packet)
            return Status(AVERROR(ENOMEM));
        const int received = avcodec_receive_packet(context_.get(), out.packet.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return Status();
        if (received < 0)
            return Status(received);
        if (config_in_next_packet_) {
            const int prepended = prepend(*out.packet, codec_config());
            if (prepended < 0)
                return Status(prepended);
            config_in_next_packet_ = false;
        }
        out.key = out.packet->flags & AV_PKT_FLAG_KEY;
        if (const auto found = timestamps_.find(out.packet->pts); found != timestamps_.end()) {
            out.timestamp_us = found->second;
            timestamps_.erase(found);
        }
        packets_.push_back(std::move(out));
    }
}

Status Encoder::set_bitrate(int64_t bits_per_second)
{
    if (!context_ || bits_per_second <= 0)
        return Status(AVERROR(EINVAL));
    settings_.bitrate = bits_per_second;
    if (settings_.codec == Codec::avc) {
        // libx264's wrapper compares these with its own settings before each picture and
        // reconfigures x264 when they differ.
        context_->bit_rate = bits_per_second;
        if (settings_.rate_control == RateControl::constant_bitrate) {
            context_->rc_max_rate = bits_per_second;
            context_->rc_buffer_size = static_cast<int>(bits_per_second);
        }
        return Status();
    }
    const Status drained = end_stream();
    if (!drained.ok())
        return drained;
    const Status reopened = open_context();
    config_in_next_packet_ = reopened.ok() && settings_.codec == Codec::hevc;
    return reopened;
}

Status Encoder::end_stream()
{
    if (!context_)
        return Status(AVERROR(EINVAL));
    return encode(nullptr);
}

std::optional<EncodedPacket> Encoder::receive()
{
    if (packets_.empty())
        return std::nullopt;
    EncodedPacket packet = std::move(packets_.front());
    packets_.pop_front();
    return packet;
}

} // namespace zvx_av
