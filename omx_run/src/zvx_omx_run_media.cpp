#include "zvx_omx_run_media.h"

#include <cstdlib>
#include <string_view>

#include "zvx_codec_device.h"

namespace {

/* As the OpenMAX core does, ZVX_DEVICE_ENGINE=pattern puts the pattern device behind a file's run:
 * the file's units are sent and the pattern comes back, which tests the run's handling of files
 * apart from the codec. */
zvx_dev_engine zvxp_engine()
{
    const char *chosen = std::getenv("ZVX_DEVICE_ENGINE"); // NOLINT(concurrency-mt-unsafe): read before the run
    return chosen != nullptr && std::string_view(chosen) == "pattern" ? zvx_dev_engine::pattern : zvx_dev_engine::libav;
}

/* Passes over the input once to count what a run will send. */
template <typename Source, typename... Args> uint32_t zvxp_count(const std::string &path, Args... args)
{
    Source source;
    std::string ignored;
    if (!source.open(path, args..., &ignored)) {
        return 0;
    }
    std::vector<uint8_t> room(1u << 26);
    OMX_BUFFERHEADERTYPE header{};
    header.pBuffer = room.data();
    header.nAllocLen = static_cast<OMX_U32>(room.size());
    OMX_PARAM_PORTDEFINITIONTYPE input{};
    input.format.video.eColorFormat = OMX_COLOR_FormatYUV420Planar;
    input.format.video.nFrameWidth = static_cast<OMX_U32>(source.width());
    input.format.video.nFrameHeight = static_cast<OMX_U32>(source.height());
    uint32_t frames = 0;
    while (source.fill(header, input, &ignored)) {
        const bool frame = (header.nFlags & OMX_BUFFERFLAG_CODECCONFIG) == 0;
        frames += frame ? 1 : 0;
    }
    return frames;
}

} // namespace

bool zvx_run_media::open(zvx_run_options *options, bool count_frames, std::string *error)
{
    zvx_flow_run_options &flow = options->flow;
    flow.script.engine = zvxp_engine();
    decode_ = flow.kind == zvx_flow_kind::decoder;
    writes_ = !options->output_path.empty();
    if (!(decode_ ? open_decode(options, count_frames, error) : open_encode(options, count_frames, error))) {
        return false;
    }
    flow.source = decode_ ? static_cast<zvx_flow_source *>(&stream_in_) : &pictures_in_;
    /* An encode's output is counted even when it is not written. */
    flow.sink = decode_ ? (writes_ ? &pictures_out_ : nullptr) : static_cast<zvx_flow_sink *>(&stream_out_);
    return true;
}

bool zvx_run_media::open_decode(zvx_run_options *options, bool count_frames, std::string *error)
{
    zvx_flow_run_options &flow = options->flow;
    if (!stream_in_.open(options->input_path, error)) {
        return false;
    }
    input_codec_ = stream_in_.codec_name();
    if (!options->codec_given) {
        if (!stream_in_.codec()) {
            *error = options->input_path + " holds " + input_codec_ + " video, which no decoder role takes";
            return false;
        }
        flow.codec = zvx_av::role_name(*stream_in_.codec());
    }
    if (!zvx_dev_offers_role(zvx_flow_role(flow).c_str())) {
        *error = "no decoder for codec '" + flow.codec + "' (see --help)";
        return false;
    }
    if (stream_in_.width() <= 0 || stream_in_.height() <= 0) {
        *error = options->input_path + " does not say its pictures' size";
        return false;
    }
    flow.width = static_cast<uint32_t>(stream_in_.width());
    flow.height = static_cast<uint32_t>(stream_in_.height());
    const uint32_t limit = options->frames_given ? flow.plan.frames : UINT32_MAX;
    stream_in_.limit(limit);
    flow.plan.frames = count_frames ? std::min(limit, zvxp_count<zvx_run_stream_source>(options->input_path)) : 0;
    return options->output_path.empty() || pictures_out_.open(options->output_path, error);
}

bool zvx_run_media::open_encode(zvx_run_options *options, bool count_frames, std::string *error)
{
    zvx_flow_run_options &flow = options->flow;
    const int width = options->size_given ? static_cast<int>(flow.width) : 0;
    const int height = options->size_given ? static_cast<int>(flow.height) : 0;
    if (!pictures_in_.open(options->input_path, width, height, error)) {
        return false;
    }
    flow.width = static_cast<uint32_t>(pictures_in_.width());
    flow.height = static_cast<uint32_t>(pictures_in_.height());
    zvx_run_encoder_settings &settings = options->encoder;
    if (!options->frame_rate_given && pictures_in_.file_frame_rate() != 0) {
        settings.frame_rate = pictures_in_.file_frame_rate();
    }
    pictures_in_.set_frame_rate(settings.frame_rate);
    flow.plan.frame_interval = 1000000 / settings.frame_rate;
    const uint32_t limit = options->frames_given ? flow.plan.frames : UINT32_MAX;
    pictures_in_.limit(limit);
    flow.plan.frames =
        count_frames ? std::min(limit, zvxp_count<zvx_run_picture_source>(options->input_path, width, height)) : 0;
    flow.configure = [codec = flow.codec, settings](zvx_flow_client &client) {
        return zvx_run_apply_encoder_settings(client, codec, settings);
    };
    if (options->output_path.empty()) {
        return true;
    }
    zvx_av::EncodedStreamInfo info;
    info.codec = zvx_av::codec_from_role(flow.codec).value_or(zvx_av::Codec::avc);
    info.width = pictures_in_.width();
    info.height = pictures_in_.height();
    info.frame_rate = {static_cast<int>(settings.frame_rate), 1};
    return stream_out_.prepare(options->output_path, info, error);
}

bool zvx_run_media::close()
{
    if (decode_) {
        return !writes_ || pictures_out_.close();
    }
    return stream_out_.close();
}

void zvx_run_media::print_header(std::FILE *out, const zvx_run_options &options) const
{
    const zvx_flow_run_options &flow = options.flow;
    if (decode_) {
        (void)std::fprintf(out, "decode %s: %s %ux%u through video_decoder.%s; faults: %zu\n",
                           options.input_path.c_str(), input_codec_.c_str(), flow.width, flow.height,
                           flow.codec.c_str(), flow.script.faults.size());
        return;
    }
    (void)std::fprintf(out, "encode %s: %ux%u at %u/s through video_encoder.%s, %u bit/s %s; faults: %zu\n",
                       options.input_path.c_str(), flow.width, flow.height, options.encoder.frame_rate,
                       flow.codec.c_str(), options.encoder.bitrate, options.encoder.constant_bitrate ? "cbr" : "vbr",
                       flow.script.faults.size());
}

void zvx_run_media::print_output(std::FILE *out, const zvx_run_options &options) const
{
    const std::string where = writes_ ? " to " + options.output_path : "";
    if (decode_) {
        (void)std::fprintf(out, "output:  %u pictures%s\n", pictures_out_.pictures(), where.c_str());
        return;
    }
    const uint32_t pictures = stream_out_.pictures();
    const double bitrate =
        pictures == 0 ? 0.0 : static_cast<double>(stream_out_.bytes()) * 8.0 * options.encoder.frame_rate / pictures;
    (void)std::fprintf(out, "output:  %u pictures, %u key, %llu bytes, %.0f bit/s%s\n", pictures,
                       stream_out_.key_pictures(), static_cast<unsigned long long>(stream_out_.bytes()), bitrate,
                       where.c_str());
}
