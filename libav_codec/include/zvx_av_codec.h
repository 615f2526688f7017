#ifndef ZVX_AV_CODEC_H
#define ZVX_AV_CODEC_H

#include <cstdint>
#include <optional>
#include <string_view>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace zvx_av {

/* The component's roles: every one decodes; avc, hevc, vp8 and vp9 also encode. */
enum class Codec : uint8_t { avc, hevc, vp8, vp9, mpeg2, mpeg4, h263, vc1, rv };

/* Role suffix as in "video_decoder.avc". */
std::string_view role_name(Codec codec);
std::optional<Codec> codec_from_role(std::string_view role);

/* The codec id a stream of this role is labelled with, and the role of a stream's id (MPEG-1 goes
 * with mpeg2, WMV3 with vc1, RV30 with rv, H.263+ with h263). */
AVCodecID codec_id(Codec codec);
std::optional<Codec> codec_from_id(AVCodecID id);

/* libavcodec's own decoder: the one for the stream's id when it is of the role's family, else the
 * role's (rv: rv40, else rv30). Null when this build of libavcodec has none. */
const AVCodec *find_decoder(Codec codec, AVCodecID stream_id = AV_CODEC_ID_NONE);
/* libx264, libx265, libvpx, libvpx-vp9; null for the decode-only roles or a missing library. */
const AVCodec *find_encoder(Codec codec);

} // namespace zvx_av

#endif
