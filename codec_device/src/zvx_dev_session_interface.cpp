// The session interface over the software devices: each call finds its device by descriptor and
// answers as a device without it would when there is none.
#include <exception>
#include <memory>

#include "zvx_dev_registry.h"
#include "zvx_dev_roles.h"
#include "zvx_session_interface.h"

using zvx_dev::Registry;

namespace {

/* A generation newer than every threshold the host tests; host protocol 2 in bits 8 and up. */
constexpr OMX_U32 ZVXP_HW_VERSION = 0x56620000;
constexpr OMX_U32 ZVXP_FW_VERSION = 2u << 8;

/* The error of this thread's last configuration call, as the driver keeps it per thread. */
thread_local OMX_ERRORTYPE zvxp_last_error = OMX_ErrorNone;

OMX_ERRORTYPE zvxp_remember(OMX_ERRORTYPE error)
{
    zvxp_last_error = error;
    return error;
}

/* Runs call on the open device fd; failure when there is none, and when the device runs out of
 * memory: that reads to the host as the device failing the call, never as an exception. */
template <typename Result, typename Call> Result zvxp_on_device(int fd, Result failure, Call call)
{
    try {
        const std::shared_ptr<zvx_dev::Device> device = Registry::instance().find(fd);
        return device != nullptr ? call(*device) : failure;
    } catch (const std::exception &) {
        return failure;
    }
}

template <typename Call> void zvxp_on_device(int fd, Call call)
{
    zvxp_on_device(fd, 0, [&](zvx_dev::Device &device) {
        call(device);
        return 0;
    });
}

} // namespace

int zvx_init(const char *filename)
{
    if (filename == nullptr || filename[0] == '\0')
        return -1;
    try {
        return Registry::instance().open_device();
    } catch (const std::exception &) {
        return -1;
    }
}

void zvx_close(int fd)
{
    Registry::instance().close_device(fd);
}

OMX_ERRORTYPE zvx_get_error_code(void)
{
    return zvxp_last_error;
}

OMX_BOOL zvx_create_session(int fd, const char *role)
{
    return zvxp_on_device(fd, OMX_FALSE,
                          [&](zvx_dev::Device &device) { return device.create_session(role) ? OMX_TRUE : OMX_FALSE; });
}

void zvx_destroy_session(int fd)
{
    zvxp_on_device(fd, [](zvx_dev::Device &device) { device.destroy_session(); });
}

OMX_BOOL zvx_activate_session(int fd, const char *role, void **p_prot_buf)
{
    return zvxp_on_device(fd, OMX_FALSE, [&](zvx_dev::Device &device) {
        return device.activate_session(role, p_prot_buf) ? OMX_TRUE : OMX_FALSE;
    });
}

void zvx_enqueue_flush_buffers(int fd, OMX_U32 flush)
{
    zvxp_on_device(fd, [&](zvx_dev::Device &device) { device.enqueue_flush(flush); });
}

void zvx_enqueue_state_change(int fd, enum zvx_base_hw_state state)
{
    zvxp_on_device(fd, [&](zvx_dev::Device &device) { device.enqueue_state_change(state); });
}

struct zvx_base_event_header *zvx_get_event(int fd, OMX_U32 timeout)
{
    return zvxp_on_device(fd, static_cast<zvx_base_event_header *>(nullptr),
                          [&](zvx_dev::Device &device) { return device.get_event(timeout).release(); });
}

OMX_ERRORTYPE zvx_get_parameter(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param)
{
    return zvxp_remember(zvxp_on_device(
        fd, OMX_ErrorHardware, [&](zvx_dev::Device &device) { return device.get_parameter(index, size, param); }));
}

OMX_ERRORTYPE zvx_set_parameter(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param)
{
    return zvxp_remember(zvxp_on_device(
        fd, OMX_ErrorHardware, [&](zvx_dev::Device &device) { return device.set_parameter(index, size, param); }));
}

OMX_ERRORTYPE zvx_get_config(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param)
{
    return zvxp_remember(zvxp_on_device(
        fd, OMX_ErrorHardware, [&](zvx_dev::Device &device) { return device.get_config(index, size, param); }));
}

OMX_ERRORTYPE zvx_set_config(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param)
{
    return zvxp_remember(zvxp_on_device(
        fd, OMX_ErrorHardware, [&](zvx_dev::Device &device) { return device.set_config(index, size, param); }));
}

OMX_ERRORTYPE zvx_register_buffer(int fd, OMX_U32 port_index, const struct zvx_base_buffer_userspace *descriptor)
{
    return zvxp_on_device(fd, OMX_ErrorHardware, [&](zvx_dev::Device &device) {
        return descriptor != nullptr ? device.register_buffer(port_index, *descriptor) : OMX_ErrorBadParameter;
    });
}

void zvx_unregister_buffer(int fd, zvx_base_buffer_handle_t buffer_id)
{
    zvxp_on_device(fd, [&](zvx_dev::Device &device) { device.unregister_buffer(buffer_id); });
}

OMX_ERRORTYPE zvx_fill_this_buffer(int fd, struct zvx_base_buffer_details *param)
{
    return zvxp_on_device(fd, OMX_ErrorHardware, [&](zvx_dev::Device &device) {
        return param != nullptr ? device.queue_buffer(zvx_dev::OUTPUT_PORT, *param) : OMX_ErrorBadParameter;
    });
}

OMX_ERRORTYPE zvx_empty_this_buffer(int fd, struct zvx_base_buffer_details *param)
{
    return zvxp_on_device(fd, OMX_ErrorHardware, [&](zvx_dev::Device &device) {
        return param != nullptr ? device.queue_buffer(zvx_dev::INPUT_PORT, *param) : OMX_ErrorBadParameter;
    });
}

void zvx_notify_ref_frame_release(int fd, zvx_base_buffer_handle_t handle)
{
    zvxp_on_device(fd, [&](zvx_dev::Device &device) { device.notify_ref_frame_release(handle); });
}

/* Clock, hardware information and firmware memory: the software device needs none of them. */
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
    return ZVXP_HW_VERSION;
}

OMX_U32 zvx_get_fw_version(int)
{
    return ZVXP_FW_VERSION;
}

/* The software device writes planar frames only. */
OMX_U32 zvx_get_cached_tcx(void)
{
    return 0;
}

OMX_BOOL zvx_is_role_supported(const char *role)
{
    return zvx_dev::role_traits(role) ? OMX_TRUE : OMX_FALSE;
}

OMX_BOOL zvx_is_rgb_input_supported(void)
{
    return OMX_TRUE;
}

void zvx_free_thread_error_container(void)
{
    zvxp_last_error = OMX_ErrorNone;
}

/* Instrumentation goes nowhere: the devices keep their own counts. */
void zvx_instr_init(void) {}

void zvx_instr_release(void) {}

void zvx_instr_write_msg(const uint32_t, const uint32_t, const void *) {}

void zvx_instr_set_frequency(uint32_t) {}
