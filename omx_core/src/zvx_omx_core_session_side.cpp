// The devices behind the core decode and encode with libavcodec unless ZVX_DEVICE_ENGINE=pattern
// asks for the pattern engine. A pattern device reads a stream's resolution from the frame size the
// client declares on the input port, as clients that parse the stream do; pictures arrive in decode
// order and it hands them back in presentation order, through a reorder window as deep as the
// B-picture pyramids common encoders write.
#include "zvx_omx_core_session_side.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "zvx_codec_device.h"

namespace {

constexpr uint32_t ZVXP_REORDER_DEPTH = 4;
constexpr const char *ZVXP_ENGINE_VARIABLE = "ZVX_DEVICE_ENGINE";

zvx_dev_engine zvxp_engine_from_environment()
{
    const char *chosen = std::getenv(ZVXP_ENGINE_VARIABLE); // NOLINT(concurrency-mt-unsafe): read at OMX_Init only
    if (chosen == nullptr || *chosen == '\0')
        return zvx_dev_engine::libav;
    const std::string_view name(chosen);
    if (name == "libav")
        return zvx_dev_engine::libav;
    if (name == "pattern")
        return zvx_dev_engine::pattern;
    (void)std::fprintf(stderr, "zvx_omxcore: %s=%s is not an engine (pattern, libav); using libav\n",
                       ZVXP_ENGINE_VARIABLE, chosen);
    return zvx_dev_engine::libav;
}

} // namespace

void zvx_omx_core_session_side_up(void)
{
    zvx_init_emulator();
    zvx_dev_script script;
    script.engine = zvxp_engine_from_environment();
    script.reorder_depth = ZVXP_REORDER_DEPTH;
    script.stream_size_from_input_port = true;
    zvx_dev_set_default_script(script);
}

void zvx_omx_core_session_side_down(void)
{
    zvx_destroy_emulator();
}
