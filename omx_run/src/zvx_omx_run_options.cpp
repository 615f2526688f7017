#include "zvx_omx_run_options.h"

#include <getopt.h>

#include <charconv>
#include <string_view>
#include <vector>

namespace {

constexpr uint32_t ZVXP_MIN_SIDE = 16;
constexpr uint32_t ZVXP_MAX_SIDE = 4096;
constexpr uint32_t ZVXP_MAX_FRAMES = 1000000;
constexpr uint32_t ZVXP_MAX_DELAY_US = 1000000;
constexpr uint32_t ZVXP_MAX_BITRATE = 500000000;
constexpr uint32_t ZVXP_MAX_FRAME_RATE = 240;

enum zvxp_option : int {
    ZVXP_ENCODE = 256,
    ZVXP_CODEC,
    ZVXP_SIZE,
    ZVXP_FRAMES,
    ZVXP_CHANGE,
    ZVXP_REORDER,
    ZVXP_FAULT,
    ZVXP_OUTPUT_AT_START,
    ZVXP_EOS_ON_LAST,
    ZVXP_TRACE,
    ZVXP_NO_PROGRESS,
    ZVXP_INPUT,
    ZVXP_OUTPUT,
    ZVXP_BITRATE,
    ZVXP_RATE_CONTROL,
    ZVXP_FPS,
    ZVXP_KEYINT,
    ZVXP_PROFILE,
    ZVXP_LEVEL,
    ZVXP_KEY_AT,
    ZVXP_BITRATE_AT,
    ZVXP_HELP,
};

const option ZVXP_OPTIONS[] = {
    {"encode", no_argument, nullptr, ZVXP_ENCODE},
    {"codec", required_argument, nullptr, ZVXP_CODEC},
    {"size", required_argument, nullptr, ZVXP_SIZE},
    {"frames", required_argument, nullptr, ZVXP_FRAMES},
    {"change", required_argument, nullptr, ZVXP_CHANGE},
    {"reorder", no_argument, nullptr, ZVXP_REORDER},
    {"fault", required_argument, nullptr, ZVXP_FAULT},
    {"output-at-start", no_argument, nullptr, ZVXP_OUTPUT_AT_START},
    {"eos-on-last", no_argument, nullptr, ZVXP_EOS_ON_LAST},
    {"trace", required_argument, nullptr, ZVXP_TRACE},
    {"no-progress", no_argument, nullptr, ZVXP_NO_PROGRESS},
    {"input", required_argument, nullptr, ZVXP_INPUT},
    {"output", required_argument, nullptr, ZVXP_OUTPUT},
    {"bitrate", required_argument, nullptr, ZVXP_BITRATE},
    {"rate-control", required_argument, nullptr, ZVXP_RATE_CONTROL},
    {"fps", required_argument, nullptr, ZVXP_FPS},
    {"keyint", required_argument, nullptr, ZVXP_KEYINT},
    {"profile", required_argument, nullptr, ZVXP_PROFILE},
    {"level", required_argument, nullptr, ZVXP_LEVEL},
    {"key-at", required_argument, nullptr, ZVXP_KEY_AT},
    {"bitrate-at", required_argument, nullptr, ZVXP_BITRATE_AT},
    {"help", no_argument, nullptr, ZVXP_HELP},
    {nullptr, 0, nullptr, 0},
};

std::vector<std::string_view> zvxp_split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (size_t at = 0;;) {
        const size_t end = text.find(separator, at);
        parts.push_back(text.substr(at, end == std::string_view::npos ? std::string_view::npos : end - at));
        if (end == std::string_view::npos) {
            return parts;
        }
        at = end + 1;
    }
}

bool zvxp_number(std::string_view text, uint32_t max, uint32_t *value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
    return error == std::errc() && end == text.data() + text.size() && *value <= max;
}

bool zvxp_size(std::string_view text, uint32_t *width, uint32_t *height)
{
    const std::vector<std::string_view> sides = zvxp_split(text, 'x');
    return sides.size() == 2 && zvxp_number(sides[0], ZVXP_MAX_SIDE, width) &&
           zvxp_number(sides[1], ZVXP_MAX_SIDE, height) && *width >= ZVXP_MIN_SIDE && *height >= ZVXP_MIN_SIDE &&
           *width % 2 == 0 && *height % 2 == 0;
}

/* FRAME:WxH */
bool zvxp_change(std::string_view text, zvx_dev_report report, zvx_dev_script *script)
{
    const std::vector<std::string_view> parts = zvxp_split(text, ':');
    zvx_dev_resolution_change change;
    change.report = report;
    if (parts.size() != 2 || !zvxp_number(parts[0], ZVXP_MAX_FRAMES, &change.at_frame) ||
        !zvxp_size(parts[1], &change.width, &change.height)) {
        return false;
    }
    script->resolution_changes.push_back(change);
    return true;
}

bool zvxp_fault_at(const std::vector<std::string_view> &parts, zvx_dev_fault_kind kind, zvx_dev_script *script)
{
    zvx_dev_fault fault{kind, 0, 1, 0, ""};
    if (parts.size() < 2 || parts.size() > 3 || !zvxp_number(parts[1], ZVXP_MAX_FRAMES, &fault.at_frame) ||
        (parts.size() == 3 && !zvxp_number(parts[2], ZVXP_MAX_FRAMES, &fault.count))) {
        return false;
    }
    if (kind == zvx_dev_fault_kind::error_event) {
        fault.error_code = static_cast<uint32_t>(OMX_ErrorStreamCorrupt);
        fault.message = "corrupt stream (scripted)";
    }
    script->faults.push_back(fault);
    return true;
}

/* reject:FRAME[:COUNT], hang:FRAME, error:FRAME, slow:MICROSECONDS, shuffle[:SEED], vp9-alloc:FRAME:WxH */
bool zvxp_fault(std::string_view text, zvx_flow_run_options *flow)
{
    const std::vector<std::string_view> parts = zvxp_split(text, ':');
    zvx_dev_script &script = flow->script;
    const std::string_view kind = parts[0];
    if (kind == "reject") {
        return zvxp_fault_at(parts, zvx_dev_fault_kind::reject_outputs, &script);
    }
    if (kind == "hang") {
        return parts.size() == 2 && zvxp_fault_at(parts, zvx_dev_fault_kind::session_hung, &script);
    }
    if (kind == "error") {
        return parts.size() == 2 && zvxp_fault_at(parts, zvx_dev_fault_kind::error_event, &script);
    }
    if (kind == "slow") {
        uint32_t delay_us = 0;
        if (parts.size() != 2 || !zvxp_number(parts[1], ZVXP_MAX_DELAY_US, &delay_us)) {
            return false;
        }
        script.delays = {delay_us, delay_us, delay_us, delay_us};
        return true;
    }
    if (kind == "shuffle") {
        script.shuffle_events = true;
        return parts.size() == 1 || (parts.size() == 2 && zvxp_number(parts[1], UINT32_MAX, &script.shuffle_seed));
    }
    if (kind == "vp9-alloc") {
        return parts.size() == 3 && zvxp_change(text.substr(kind.size() + 1), zvx_dev_report::vp9_allocation, &script);
    }
    return false;
}

/* FRAME:BPS */
bool zvxp_bitrate_change(std::string_view text, std::vector<zvx_flow_encoder_change> *changes)
{
    const std::vector<std::string_view> parts = zvxp_split(text, ':');
    zvx_flow_encoder_change change{zvx_flow_encoder_change::what::bitrate, 0};
    if (parts.size() != 2 || !zvxp_number(parts[0], ZVXP_MAX_FRAMES, &change.at_frame) ||
        !zvxp_number(parts[1], ZVXP_MAX_BITRATE, &change.bitrate) || change.bitrate == 0) {
        return false;
    }
    changes->push_back(change);
    return true;
}

bool zvxp_key_frame(std::string_view text, std::vector<zvx_flow_encoder_change> *changes)
{
    zvx_flow_encoder_change change{zvx_flow_encoder_change::what::key_frame, 0};
    if (!zvxp_number(text, ZVXP_MAX_FRAMES, &change.at_frame)) {
        return false;
    }
    changes->push_back(change);
    return true;
}

bool zvxp_fail(std::string *error, const std::string &why)
{
    *error = why;
    return false;
}

bool zvxp_check_media(const zvx_run_options &options, std::string *error)
{
    const zvx_flow_run_options &flow = options.flow;
    const bool decode = flow.kind == zvx_flow_kind::decoder;
    if (options.input_path.empty()) {
        if (!options.output_path.empty() || !flow.plan.encoder_changes.empty()) {
            return zvxp_fail(error, "--output, --key-at and --bitrate-at need --input");
        }
        return true;
    }
    if (!flow.script.resolution_changes.empty() || flow.plan.reordered || flow.plan.eos_on_last_frame) {
        return zvxp_fail(error,
                         "--change, --reorder, vp9-alloc and --eos-on-last shape the pattern stream, not a file");
    }
    if (decode && (options.size_given || !flow.plan.encoder_changes.empty())) {
        return zvxp_fail(error, "--size, --key-at and --bitrate-at are for an encode; a decode takes the file's");
    }
    const std::string &codec = flow.codec;
    if (!options.encoder.profile.empty() && (decode || !zvx_run_known_profile(codec, options.encoder.profile))) {
        return zvxp_fail(error, "no profile '" + options.encoder.profile + "' for encoding " + codec + " (see --help)");
    }
    if (!options.encoder.level.empty() && (decode || !zvx_run_known_level(codec, options.encoder.level))) {
        return zvxp_fail(error, "no level '" + options.encoder.level + "' for encoding " + codec + " (see --help)");
    }
    return true;
}

bool zvxp_check(const zvx_run_options &options, std::string *error)
{
    const zvx_flow_run_options &flow = options.flow;
    const bool decode = flow.kind == zvx_flow_kind::decoder;
    /* A decode of a file takes its codec from the file. */
    const bool codec_known = !decode || options.input_path.empty() || options.codec_given;
    if (codec_known && !zvx_dev_offers_role(zvx_flow_role(flow).c_str())) {
        return zvxp_fail(error, "no " + std::string(decode ? "decoder" : "encoder") + " for codec '" + flow.codec +
                                    "' (see --help)");
    }
    if (!decode && (!flow.script.resolution_changes.empty() || flow.plan.reordered)) {
        return zvxp_fail(error, "--change, --reorder and vp9-alloc are for a decode");
    }
    for (const zvx_dev_resolution_change &change : flow.script.resolution_changes) {
        if (change.report == zvx_dev_report::vp9_allocation && flow.codec != "vp9") {
            return zvxp_fail(error, "the vp9-alloc fault needs --codec=vp9");
        }
        if (change.at_frame == 0 || change.at_frame >= flow.plan.frames) {
            return zvxp_fail(error, "a resolution change must come after the first frame and before the last");
        }
    }
    if (flow.plan.frames == 0) {
        return zvxp_fail(error, "--frames must be at least 1");
    }
    return zvxp_check_media(options, error);
}

} // namespace

bool zvx_run_parse_options(int argc, char **argv, zvx_run_options *options, std::string *error)
{
    zvx_flow_run_options &flow = options->flow;
    flow.plan.frames = 300;
    flow.output_disabled_at_start = true;
    opterr = 0;
    optind = 1;
    int option;
    while ((option = getopt_long(argc, argv, "", ZVXP_OPTIONS, nullptr)) != -1) {
        const std::string_view value = optarg != nullptr ? optarg : "";
        bool good = true;
        switch (option) {
        case ZVXP_ENCODE:
            flow.kind = zvx_flow_kind::encoder;
            break;
        case ZVXP_CODEC:
            flow.codec = value;
            options->codec_given = true;
            break;
        case ZVXP_SIZE:
            good = zvxp_size(value, &flow.width, &flow.height);
            options->size_given = true;
            break;
        case ZVXP_FRAMES:
            good = zvxp_number(value, ZVXP_MAX_FRAMES, &flow.plan.frames);
            options->frames_given = true;
            break;
        case ZVXP_CHANGE:
            good = zvxp_change(value, zvx_dev_report::sequence_params, &flow.script);
            break;
        case ZVXP_REORDER:
            flow.plan.reordered = true;
            flow.script.reorder_depth = 2;
            break;
        case ZVXP_FAULT:
            good = zvxp_fault(value, &flow);
            break;
        case ZVXP_OUTPUT_AT_START:
            flow.output_disabled_at_start = false;
            break;
        case ZVXP_EOS_ON_LAST:
            flow.plan.eos_on_last_frame = true;
            break;
        case ZVXP_TRACE:
            options->trace_path = value;
            good = !value.empty();
            break;
        case ZVXP_NO_PROGRESS:
            options->progress = false;
            break;
        case ZVXP_INPUT:
            options->input_path = value;
            good = !value.empty();
            break;
        case ZVXP_OUTPUT:
            options->output_path = value;
            good = !value.empty();
            break;
        case ZVXP_BITRATE:
            good = zvxp_number(value, ZVXP_MAX_BITRATE, &options->encoder.bitrate) && options->encoder.bitrate > 0;
            break;
        case ZVXP_RATE_CONTROL:
            options->encoder.constant_bitrate = value == "cbr";
            good = value == "cbr" || value == "vbr";
            break;
        case ZVXP_FPS:
            good = zvxp_number(value, ZVXP_MAX_FRAME_RATE, &options->encoder.frame_rate) &&
                   options->encoder.frame_rate > 0;
            options->frame_rate_given = true;
            break;
        case ZVXP_KEYINT:
            good = zvxp_number(value, ZVXP_MAX_FRAMES, &options->encoder.key_interval) &&
                   options->encoder.key_interval > 0;
            break;
        case ZVXP_PROFILE:
            options->encoder.profile = value;
            break;
        case ZVXP_LEVEL:
            options->encoder.level = value;
            break;
        case ZVXP_KEY_AT:
            good = zvxp_key_frame(value, &flow.plan.encoder_changes);
            break;
        case ZVXP_BITRATE_AT:
            good = zvxp_bitrate_change(value, &flow.plan.encoder_changes);
            break;
        case ZVXP_HELP:
            options->help = true;
            return true;
        default:
            return zvxp_fail(error, std::string("unknown option '") + argv[optind - 1] + "' (see --help)");
        }
        if (!good) {
            return zvxp_fail(error, std::string("bad value in '") + argv[optind - 1] + "' (see --help)");
        }
    }
    if (optind < argc) {
        return zvxp_fail(error, std::string("unexpected argument '") + argv[optind] + "' (see --help)");
    }
    return zvxp_check(*options, error);
}

const char *zvx_run_usage()
{
    return "Usage: zvx_omx_run [OPTION]...\n"
           "Drives the OpenMAX decoder or encoder through a whole stream over the codec device, the way a\n"
           "media framework does, and prints a summary. With --input the device decodes or encodes the file\n"
           "for real; without it, it makes a test pattern and every picture that comes out is checked.\n"
           "\n"
           "  --input=FILE           decode: an elementary stream (.h264 .hevc .m2v .m4v .263 .vc1), IVF or a\n"
           "                         container, its codec taken from the file; encode: raw pictures, .y4m or\n"
           "                         I420 (.yuv, with --size)\n"
           "  --output=FILE          decode: the pictures as I420, cropped (ten-bit: 16-bit samples, as\n"
           "                         yuv420p10le); encode: .h264/.264, .h265/.hevc/.265 or .ivf (vp8, vp9)\n"
           "  --bitrate=BPS          encode: target bits per second (default 1000000)\n"
           "  --rate-control=MODE    encode: cbr or vbr (default)\n"
           "  --fps=N                encode: pictures per second (default: the file's, else 30)\n"
           "  --keyint=N             encode: pictures from one key frame to the next\n"
           "  --profile=NAME         encode: avc baseline, main, high; hevc main, main10\n"
           "  --level=L              encode: avc 1 to 5.2, 1b; hevc 1 to 6.2\n"
           "  --key-at=FRAME         encode: ask for a key frame at that picture (repeatable)\n"
           "  --bitrate-at=FRAME:BPS encode: change the bitrate from that picture on (repeatable)\n"
           "\n"
           "  --encode               encode instead of decode\n"
           "  --codec=NAME           decode: avc (default), hevc, vp8, vp9, mpeg2, mpeg4, h263, vc1, rv;\n"
           "                         encode: avc, hevc, vp8, vp9\n"
           "  --size=WxH             the stream's first resolution (default 320x240); raw pictures' size\n"
           "  --frames=N             frames to send (default 300; with --input, the whole file)\n"
           "  --change=FRAME:WxH     decode: the stream changes resolution at frame FRAME (repeatable)\n"
           "  --reorder              decode: frames are sent in decode order, unlike presentation order\n"
           "  --fault=KIND           what the emulated device does wrong (repeatable):\n"
           "                           reject:FRAME[:COUNT]  refuses COUNT (1) outputs after frame FRAME\n"
           "                           hang:FRAME            the session hangs after frame FRAME\n"
           "                           error:FRAME           reports a codec error after frame FRAME\n"
           "                           slow:US               takes US microseconds per operation\n"
           "                           shuffle[:SEED]        returns consumed inputs in a random order\n"
           "                           vp9-alloc:FRAME:WxH   VP9 allocation change (with --codec=vp9)\n"
           "  --output-at-start      allocate output buffers before Idle; by default the output port\n"
           "                         stays disabled until the stream announces its resolution\n"
           "  --eos-on-last          the last frame carries the end of stream (default: an empty buffer)\n"
           "  --trace=FILE           write every command, event, callback and buffer move to FILE as\n"
           "                         Chrome trace-event JSON (opens in Perfetto or chrome://tracing)\n"
           "  --no-progress          no progress bar (it is drawn only on a terminal anyway)\n"
           "  --help                 this text\n"
           "\n"
           "Exit status: 0 when the stream went through from Loaded back to Loaded with every picture\n"
           "correct (a pattern run) or out (a file) and every buffer back once, 1 when it did not, 2 on bad\n"
           "options or an input that cannot be read.\n"
           "The component's log is silent unless ZVX_LOG_CONFIGURE configures it.\n";
}
