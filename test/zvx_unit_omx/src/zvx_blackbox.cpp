// Session stub: every call succeeds with a fixed answer, so the component runs without a driver.
// Suites observe calls (and choose role answers) through bb_cb.
#include "zvx_blackbox.h"

#include <OMX_Core.h>

namespace {

// Every component of the process shares this descriptor.
constexpr int zvxp_stub_fd = 6;

} // namespace

struct blackbox_cb bb_cb = {};

void bb_reset_cb(void)
{
    bb_cb = blackbox_cb{};
}

int zvx_init(const char *)
{
    return zvxp_stub_fd;
}

void zvx_close(int) {}

OMX_ERRORTYPE zvx_get_error_code(void)
{
    return OMX_ErrorNone;
}

OMX_BOOL zvx_create_session(int, const char *)
{
    return OMX_TRUE;
}

void zvx_destroy_session(int fd)
{
    if (bb_cb.bbcb_destroy_session != nullptr)
        bb_cb.bbcb_destroy_session(fd);
}

OMX_BOOL zvx_activate_session(int, const char *, void **)
{
    return OMX_TRUE;
}

void zvx_enqueue_flush_buffers(int, OMX_U32) {}

void zvx_enqueue_state_change(int, enum zvx_base_hw_state) {}

struct zvx_base_event_header *zvx_get_event(int, OMX_U32)
{
    return nullptr;
}

OMX_ERRORTYPE zvx_get_parameter(int, OMX_INDEXTYPE, OMX_U32, void *)
{
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_set_parameter(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param)
{
    if (bb_cb.bbcb_set_parameter != nullptr)
        bb_cb.bbcb_set_parameter(fd, index, size, param);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_get_config(int, OMX_INDEXTYPE, OMX_U32, void *)
{
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_set_config(int, OMX_INDEXTYPE, OMX_U32, void *)
{
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_register_buffer(int, OMX_U32, const struct zvx_base_buffer_userspace *)
{
    return OMX_ErrorNone;
}

void zvx_unregister_buffer(int, zvx_base_buffer_handle_t) {}

OMX_ERRORTYPE zvx_fill_this_buffer(int fd, struct zvx_base_buffer_details *param)
{
    if (bb_cb.bbcb_fill_this_buffer != nullptr)
        bb_cb.bbcb_fill_this_buffer(fd, param);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_empty_this_buffer(int fd, struct zvx_base_buffer_details *param)
{
    if (bb_cb.bbcb_empty_this_buffer != nullptr)
        bb_cb.bbcb_empty_this_buffer(fd, param);
    return OMX_ErrorNone;
}

void zvx_notify_ref_frame_release(int, zvx_base_buffer_handle_t) {}

void zvx_request_max_frequency(int) {}

void zvx_read_hw_info(int) {}

void zvx_rpc_mem_alloc(int, int) {}

void zvx_rpc_mem_resize(int, int) {}

OMX_U32 zvx_get_cached_fuse(int)
{
    return 0;
}

OMX_U32 zvx_get_hw_version(int)
{
    return 0;
}

OMX_U32 zvx_get_fw_version(int)
{
    return 0;
}

OMX_U32 zvx_get_cached_tcx(void)
{
    return 0;
}

OMX_BOOL zvx_is_role_supported(const char *role)
{
    if (bb_cb.bbcb_role_enabled != nullptr)
        return bb_cb.bbcb_role_enabled(role);
    return OMX_TRUE;
}

OMX_BOOL zvx_is_rgb_input_supported(void)
{
    return OMX_TRUE;
}

void zvx_free_thread_error_container(void) {}

void zvx_instr_init(void) {}

void zvx_instr_release(void) {}

void zvx_instr_write_msg(const uint32_t, const uint32_t, const void *) {}

void zvx_instr_set_frequency(uint32_t) {}

void zvx_init_emulator(void) {}

void zvx_destroy_emulator(void) {}

void zvx_mem_kernelspace_set_failure_range(uint64_t, uint64_t) {}

void zvx_mem_kernelspace_resfail_enable(void) {}

void zvx_mem_kernelspace_resfail_disable(void) {}

uint32_t zvx_mem_kernelspace_resfail_did_fail(void)
{
    return 0;
}
