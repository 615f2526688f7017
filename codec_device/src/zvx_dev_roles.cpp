#include "zvx_dev_roles.h"

#include "zvx_codec_device.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zvx_dev {

namespace {

constexpr std::string_view ZVXP_DECODER_PREFIX = "video_decoder.";
constexpr std::string_view ZVXP_ENCODER_PREFIX = "video_encoder.";
constexpr std::array<std::string_view, 9> ZVXP_DECODER_CODECS = {"avc", "h263", "mpeg4", "vp8", "vp9",
                                                                 "rv",  "vc1",  "mpeg2", "hevc"};
constexpr std::array<std::string_view, 4> ZVXP_ENCODER_CODECS = {"avc", "vp8", "vp9", "hevc"};

template <size_t N> bool zvxp_offers(const std::array<std::string_view, N> &codecs, std::string_view codec)
{
    return std::ranges::find(codecs, codec) != codecs.end();
}

} // namespace

std::optional<RoleTraits> role_traits(const char *role)
{
    if (role == nullptr)
        return std::nullopt;
    const std::string_view name(role);
    if (name.starts_with(ZVXP_DECODER_PREFIX)) {
        const std::string_view codec = name.substr(ZVXP_DECODER_PREFIX.size());
        if (zvxp_offers(ZVXP_DECODER_CODECS, codec))
            return RoleTraits{true, codec == "vp9"};
    } else if (name.starts_with(ZVXP_ENCODER_PREFIX)) {
        const std::string_view codec = name.substr(ZVXP_ENCODER_PREFIX.size());
        if (zvxp_offers(ZVXP_ENCODER_CODECS, codec))
            return RoleTraits{false, codec == "vp9"};
    }
    return std::nullopt;
}

} // namespace zvx_dev

bool zvx_dev_offers_role(const char *role)
{
    return zvx_dev::role_traits(role).has_value();
}
