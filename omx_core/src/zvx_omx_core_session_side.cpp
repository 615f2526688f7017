// Here the devices are emulated. Real clients feed them real streams, whose pictures arrive in decode
// order; a device hands them back in presentation order, so the emulated one keeps a reorder window
// as deep as the B-picture pyramids common encoders write.
#include "zvx_omx_core_session_side.h"

#include "zvx_session_emulator.h"

namespace {

constexpr uint32_t ZVXP_REORDER_DEPTH = 4;

} // namespace

void zvx_omx_core_session_side_up(void)
{
    zvx_init_emulator();
    zvx_emu_script script;
    script.reorder_depth = ZVXP_REORDER_DEPTH;
    zvx_emu_set_default_script(script);
}

void zvx_omx_core_session_side_down(void)
{
    zvx_destroy_emulator();
}
