#ifndef ZVX_AV_PTR_H
#define ZVX_AV_PTR_H

/* Owning pointers for the libav objects this library keeps; each frees with libav's own function. */

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace zvx_av {

struct CodecContextFree {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
struct FrameFree {
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
struct PacketFree {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
struct ParserClose {
    void operator()(AVCodecParserContext *parser) const { av_parser_close(parser); }
};
struct InputClose {
    void operator()(AVFormatContext *input) const { avformat_close_input(&input); }
};
/* An output context also owns the file its muxer writes. */
struct OutputClose {
    void operator()(AVFormatContext *output) const
    {
        if (output->pb && !(output->oformat->flags & AVFMT_NOFILE))
            avio_closep(&output->pb);
        avformat_free_context(output);
    }
};
struct ScalerFree {
    void operator()(SwsContext *scaler) const { sws_freeContext(scaler); }
};

using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextFree>;
using FramePtr = std::unique_ptr<AVFrame, FrameFree>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFree>;
using ParserPtr = std::unique_ptr<AVCodecParserContext, ParserClose>;
using InputPtr = std::unique_ptr<AVFormatContext, InputClose>;
using OutputPtr = std::unique_ptr<AVFormatContext, OutputClose>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerFree>;

inline FramePtr make_frame()
{
    return FramePtr(av_frame_alloc());
}
inline PacketPtr make_packet()
{
    return PacketPtr(av_packet_alloc());
}

} // namespace zvx_av

#endif
