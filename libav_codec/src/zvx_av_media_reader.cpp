#include "zvx_av_media_reader.h"

#include <array>
#include <string_view>

namespace zvx_av {

namespace {

struct ElementaryFormat {
    std::string_view extension;
    const char *demuxer;
};

/* Raw streams carry no signature strong enough for probing to be sure of them. */
constexpr std::array<ElementaryFormat, 11> ELEMENTARY_FORMATS = {{
    {"h264", "h264"},
    {"264", "h264"},
    {"h265", "hevc"},
    {"hevc", "hevc"},
    {"265", "hevc"},
    {"m2v", "mpegvideo"},
    {"m4v", "m4v"},
    {"263", "h263"},
    {"h263", "h263"},
    {"vc1", "vc1"},
    {"ivf", "ivf"},
}};

const AVInputFormat *demuxer_for(std::string_view path)
{
    const size_t dot = path.rfind('.');
    if (dot == std::string_view::npos)
        return nullptr;
    const std::string_view extension = path.substr(dot + 1);
    for (const ElementaryFormat &format : ELEMENTARY_FORMATS)
        if (format.extension == extension)
            return av_find_input_format(format.demuxer);
    return nullptr;
}

int open_input(const std::string &path, const AVInputFormat *format, InputPtr &input)
{
    AVFormatContext *opened = nullptr;
    const int status = avformat_open_input(&opened, path.c_str(), format, nullptr);
    input.reset(opened);
    return status;
}

/* Raw-stream demuxers have no timestamps of their own; containers do. */
bool is_container(const AVInputFormat &format)
{
    return !(format.flags & AVFMT_NOTIMESTAMPS);
}

} // namespace

Status MediaReader::open(const std::string &path)
{
    input_.reset();
    stream_index_ = -1;
    // An extension can name a container too (.m4v for MPEG-4 files): one that probing finds wins.
    InputPtr input;
    int status = open_input(path, nullptr, input);
    const AVInputFormat *elementary = demuxer_for(path);
    if (elementary && (status < 0 || !is_container(*input->iformat)))
        status = open_input(path, elementary, input);
    if (status < 0)
        return Status(status);
    const int found = avformat_find_stream_info(input.get(), nullptr);
    if (found < 0)
        return Status(found);
    const int index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0)
        return Status(index);
    input_ = std::move(input);
    stream_index_ = index;
    return Status();
}

std::optional<Codec> MediaReader::codec() const
{
    return codec_from_id(codec_id());
}

AVCodecID MediaReader::codec_id() const
{
    return input_ ? stream().codecpar->codec_id : AV_CODEC_ID_NONE;
}

int MediaReader::width() const
{
    return input_ ? stream().codecpar->width : 0;
}

int MediaReader::height() const
{
    return input_ ? stream().codecpar->height : 0;
}

std::span<const uint8_t> MediaReader::codec_config() const
{
    if (!input_ || !stream().codecpar->extradata)
        return {};
    return {stream().codecpar->extradata, static_cast<size_t>(stream().codecpar->extradata_size)};
}

Status MediaReader::read(AccessUnit &unit)
{
    if (!input_)
        return Status(AVERROR(EINVAL));
    unit.packet = make_packet();
    if (!unit.packet)
        return Status(AVERROR(ENOMEM));
    for (;;) {
        const int status = av_read_frame(input_.get(), unit.packet.get());
        if (status < 0)
            return Status(status);
        if (unit.packet->stream_index == stream_index_)
            break;
        av_packet_unref(unit.packet.get());
    }
    const int64_t time = unit.packet->pts != no_timestamp ? unit.packet->pts : unit.packet->dts;
    unit.timestamp_us = time == no_timestamp ? no_timestamp : av_rescale_q(time, stream().time_base, microseconds);
    unit.key = unit.packet->flags & AV_PKT_FLAG_KEY;
    return Status();
}

} // namespace zvx_av
