#include "zvx_av_encoded_writer.h"

#include <cstring>

namespace zvx_av {

EncodedWriter::~EncodedWriter()
{
    (void)close();
}

Status EncodedWriter::open(const std::string &path, const EncodedStreamInfo &info)
{
    (void)close();
    AVFormatContext *allocated = nullptr;
    const int created = avformat_alloc_output_context2(&allocated, nullptr, nullptr, path.c_str());
    if (created < 0)
        return Status(created);
    OutputPtr output(allocated);
    AVStream *stream = avformat_new_stream(output.get(), nullptr);
    if (!stream)
        return Status(AVERROR(ENOMEM));
    AVCodecParameters &parameters = *stream->codecpar;
    parameters.codec_type = AVMEDIA_TYPE_VIDEO;
    parameters.codec_id = codec_id(info.codec);
    parameters.width = info.width;
    parameters.height = info.height;
    stream->time_base = av_inv_q(info.frame_rate);
    stream->avg_frame_rate = info.frame_rate;
    const bool global_header = output->oformat->flags & AVFMT_GLOBALHEADER;
    if (global_header && !info.codec_config.empty()) {
        parameters.extradata =
            static_cast<uint8_t *>(av_mallocz(info.codec_config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!parameters.extradata)
            return Status(AVERROR(ENOMEM));
        std::memcpy(parameters.extradata, info.codec_config.data(), info.codec_config.size());
        parameters.extradata_size = static_cast<int>(info.codec_config.size());
    }
    if (!(output->oformat->flags & AVFMT_NOFILE)) {
        const int opened = avio_open(&output->pb, path.c_str(), AVIO_FLAG_WRITE);
        if (opened < 0)
            return Status(opened);
    }
    const int written = avformat_write_header(output.get(), nullptr);
    if (written < 0)
        return Status(written);
    config_before_first_packet_.clear();
    if (!global_header)
        config_before_first_packet_.assign(info.codec_config.begin(), info.codec_config.end());
    output_ = std::move(output);
    return Status();
}

Status EncodedWriter::write(std::span<const uint8_t> data, int64_t timestamp_us, bool key)
{
    if (!output_)
        return Status(AVERROR(EINVAL));
    PacketPtr packet = make_packet();
    if (!packet)
        return Status(AVERROR(ENOMEM));
    const size_t config_size = config_before_first_packet_.size();
    const int allocated = av_new_packet(packet.get(), static_cast<int>(config_size + data.size()));
    if (allocated < 0)
        return Status(allocated);
    // An empty vector's or span's data may be null, which memcpy may not be given even for no bytes.
    if (config_size > 0)
        std::memcpy(packet->data, config_before_first_packet_.data(), config_size);
    if (!data.empty())
        std::memcpy(packet->data + config_size, data.data(), data.size());
    config_before_first_packet_.clear();
    const AVRational time_base = output_->streams[0]->time_base;
    packet->pts = timestamp_us == no_timestamp ? no_timestamp : av_rescale_q(timestamp_us, microseconds, time_base);
    packet->dts = packet->pts;
    packet->flags = key ? AV_PKT_FLAG_KEY : 0;
    return Status(av_write_frame(output_.get(), packet.get()));
}

Status EncodedWriter::close()
{
    if (!output_)
        return Status();
    const int trailer = av_write_trailer(output_.get());
    output_.reset();
    return Status(trailer);
}

} // namespace zvx_av
