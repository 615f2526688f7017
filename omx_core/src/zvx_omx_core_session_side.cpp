// Here the devices are emulated, and real clients feed them real streams. A device reads a stream's
// resolution from the stream; the emulated one takes the frame size the client declares on the input
// port, as clients that parse the stream do. Pictures arrive in decode order and a device hands them
// back in presentation order, so the emulated one keeps a reorder window as deep as the B-picture
// pyramids common encoders write.
#include "zvx_omx_core_session_side.h"

#include "zvx_codec_device.h"

namespace {

constexpr uint32_t ZVXP_REORDER_DEPTH = 4;

} // namespace

void zvx_omx_core_session_side_up(void)
{
    zvx_init_emulator();
    zvx_dev_script script;
    script.reorder_depth = ZVXP_REORDER_DEPTH;
    script.stream_size_from_input_port = true;
    zvx_dev_set_default_script(script);
}

void zvx_omx_core_session_side_down(void)
{
    zvx_destroy_emulator();
}
