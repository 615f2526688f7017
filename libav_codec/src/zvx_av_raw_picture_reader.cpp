#include "zvx_av_raw_picture_reader.h"

#include <string>

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/imgutils.h>
}

namespace zvx_av {

Status RawPictureReader::open(const std::string &path, int width, int height)
{
    input_.reset();
    decoder_.reset();
    const bool y4m = path.size() > 4 && path.compare(path.size() - 4, 4, ".y4m") == 0;
    AVDictionary *options = nullptr;
    if (!y4m) {
        if (width <= 0 || height <= 0)
            return Status(AVERROR(EINVAL));
        const std::string size = std::to_string(width) + 'x' + std::to_string(height);
        av_dict_set(&options, "video_size", size.c_str(), 0);
        av_dict_set(&options, "pixel_format", "yuv420p", 0);
    }
    AVFormatContext *opened = nullptr;
    const int status =
        avformat_open_input(&opened, path.c_str(), av_find_input_format(y4m ? "yuv4mpegpipe" : "rawvideo"), &options);
    av_dict_free(&options);
    if (status < 0)
        return Status(status);
    InputPtr input(opened);
    if (input->nb_streams < 1)
        return Status(AVERROR_INVALIDDATA);
    const AVStream &stream = *input->streams[0];
    // The demuxers hand out raw pictures; libavcodec's rawvideo decoder makes frames of them.
    const AVCodec *raw = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!raw)
        return Status(AVERROR_DECODER_NOT_FOUND);
    CodecContextPtr decoder(avcodec_alloc_context3(raw));
    if (!decoder)
        return Status(AVERROR(ENOMEM));
    int ready = avcodec_parameters_to_context(decoder.get(), stream.codecpar);
    if (ready >= 0)
        ready = avcodec_open2(decoder.get(), raw, nullptr);
    if (ready < 0)
        return Status(ready);
    picture_size_ = av_image_get_buffer_size(decoder->pix_fmt, decoder->width, decoder->height, 1);
    if (picture_size_ <= 0)
        return Status(AVERROR_INVALIDDATA);
    frame_rate_ = stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate;
    input_ = std::move(input);
    decoder_ = std::move(decoder);
    return Status();
}

Status RawPictureReader::read(FramePtr &picture)
{
    if (!input_)
        return Status(AVERROR(EINVAL));
    PacketPtr packet = make_packet();
    picture = make_frame();
    if (!packet || !picture)
        return Status(AVERROR(ENOMEM));
    for (;;) {
        const int received = avcodec_receive_frame(decoder_.get(), picture.get());
        if (received != AVERROR(EAGAIN))
            return Status(received);
        // A short last picture is no picture: the stream ends before it.
        const int read = av_read_frame(input_.get(), packet.get());
        const bool whole = read >= 0 && packet->size >= picture_size_;
        const int sent = avcodec_send_packet(decoder_.get(), whole ? packet.get() : nullptr);
        av_packet_unref(packet.get());
        if (sent < 0)
            return Status(whole ? sent : AVERROR_EOF);
    }
}

} // namespace zvx_av
