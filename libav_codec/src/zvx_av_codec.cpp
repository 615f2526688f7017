#include "zvx_av_codec.h"

#include <array>

namespace zvx_av {

namespace {

struct CodecNames {
    Codec codec;
    std::string_view role;
    AVCodecID id;
    const char *encoder;
};

constexpr std::array<CodecNames, 9> CODECS = {{
    {Codec::avc, "avc", AV_CODEC_ID_H264, "libx264"},
    {Codec::hevc, "hevc", AV_CODEC_ID_HEVC, "libx265"},
    {Codec::vp8, "vp8", AV_CODEC_ID_VP8, "libvpx"},
    {Codec::vp9, "vp9", AV_CODEC_ID_VP9, "libvpx-vp9"},
    {Codec::mpeg2, "mpeg2", AV_CODEC_ID_MPEG2VIDEO, nullptr},
    {Codec::mpeg4, "mpeg4", AV_CODEC_ID_MPEG4, nullptr},
    {Codec::h263, "h263", AV_CODEC_ID_H263, nullptr},
    {Codec::vc1, "vc1", AV_CODEC_ID_VC1, nullptr},
    {Codec::rv, "rv", AV_CODEC_ID_RV40, nullptr},
}};

/* Ids that share a role's decoder family without being its label. */
constexpr std::array<std::pair<AVCodecID, Codec>, 5> RELATED_IDS = {{
    {AV_CODEC_ID_MPEG1VIDEO, Codec::mpeg2},
    {AV_CODEC_ID_H263P, Codec::h263},
    {AV_CODEC_ID_WMV3, Codec::vc1},
    {AV_CODEC_ID_RV30, Codec::rv},
    {AV_CODEC_ID_RV40, Codec::rv},
}};

const CodecNames &names_of(Codec codec)
{
    return CODECS.at(static_cast<size_t>(codec));
}

} // namespace

std::string_view role_name(Codec codec)
{
    return names_of(codec).role;
}

std::optional<Codec> codec_from_role(std::string_view role)
{
    for (const CodecNames &names : CODECS)
        if (names.role == role)
            return names.codec;
    return std::nullopt;
}

AVCodecID codec_id(Codec codec)
{
    return names_of(codec).id;
}

std::optional<Codec> codec_from_id(AVCodecID id)
{
    for (const CodecNames &names : CODECS)
        if (names.id == id)
            return names.codec;
    for (const auto &[related, codec] : RELATED_IDS)
        if (related == id)
            return codec;
    return std::nullopt;
}

const AVCodec *find_decoder(Codec codec, AVCodecID stream_id)
{
    if (stream_id != AV_CODEC_ID_NONE && codec_from_id(stream_id) == codec)
        if (const AVCodec *decoder = avcodec_find_decoder(stream_id))
            return decoder;
    if (const AVCodec *decoder = avcodec_find_decoder(codec_id(codec)))
        return decoder;
    return codec == Codec::rv ? avcodec_find_decoder(AV_CODEC_ID_RV30) : nullptr;
}

const AVCodec *find_encoder(Codec codec)
{
    const char *name = names_of(codec).encoder;
    return name ? avcodec_find_encoder_by_name(name) : nullptr;
}

} // namespace zvx_av
