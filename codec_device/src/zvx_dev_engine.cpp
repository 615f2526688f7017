#include "zvx_dev_engine.h"

#include "zvx_av_codec.h"
#include "zvx_dev_decoder_ahead.h"
#include "zvx_dev_libav_decode_engine.h"
#include "zvx_dev_libav_encode_engine.h"
#include "zvx_dev_pattern_engine.h"

namespace zvx_dev {

std::unique_ptr<Engine> make_engine(zvx_dev_engine kind, const EngineSetting &setting)
{
    if (kind == zvx_dev_engine::pattern)
        return std::make_unique<PatternEngine>(setting);
    const size_t dot = setting.role.find('.');
    const std::optional<zvx_av::Codec> codec =
        dot == std::string_view::npos ? std::nullopt : zvx_av::codec_from_role(setting.role.substr(dot + 1));
    if (!codec)
        return nullptr;
    if (setting.decoder)
        return std::make_unique<LibavDecodeEngine>(*codec, setting.decoders_ahead.take(*codec));
    return std::make_unique<LibavEncodeEngine>(setting, *codec);
}

} // namespace zvx_dev
