// Fuzzes the libavcodec engine through the component, as a client drives a decoder: the first byte
// picks the role, the second how the rest is cut into input buffers (whole-unit flags or bare chunks,
// and their size). A run that hangs, leaks, crashes, loses a buffer or never ends its stream is a
// finding.
#include <array>
#include <cstdio>
#include <cstdlib>

#include "zvx_codec_device.h"
#include "zvx_dev_component_decode.h"

namespace {

constexpr std::array<const char *, 9> ZVXP_CODECS = {"avc",   "hevc", "vp8", "vp9", "mpeg2",
                                                     "mpeg4", "h263", "vc1", "rv"};
/* Bounds one input's run: a stream that has not ended by then has hung. */
constexpr std::chrono::seconds ZVXP_RUN_LIMIT{20};
constexpr size_t ZVXP_PIECE_STEP = 61;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    zvx_init_emulator();
    zvx_dev_script script;
    script.engine = zvx_dev_engine::libav;
    zvx_dev_set_default_script(script);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 3)
        return 0;
    const size_t piece = 1 + (data[1] >> 1) * ZVXP_PIECE_STEP;
    const OMX_U32 flags = (data[1] & 1) != 0 ? OMX_U32{OMX_BUFFERFLAG_ENDOFFRAME} : OMX_U32{0};
    const zvx_dev_component_decode run = zvx_dev_decode_through_component(
        ZVXP_CODECS[data[0] % ZVXP_CODECS.size()], {data + 2, size - 2}, piece, flags, ZVXP_RUN_LIMIT);
    const char *finding = !run.reached_executing  ? "the decoder did not reach Executing"
                          : !run.ended            ? "the end of stream never came out"
                          : !run.stopped          ? "the decoder did not get back to Loaded"
                          : !run.problems.empty() ? run.problems.front().c_str()
                                                  : nullptr;
    if (finding != nullptr) {
        (void)std::fprintf(stderr, "zvx_dev_decode_fuzz: %s\n", finding);
        std::abort();
    }
    return 0;
}
