// Creation and destruction of the component record: ports, settings, command queue, device and handle.
#include "zvx_omx_common_component.h"

#include <cstdint>
#include <cstring>

#include "component/zvx_omx_handle.h"
#include "zvx_omx_config.h"
#include "zvx_omx_log.h"
#include "zvx_omx_session.h"

namespace {

constexpr const char *zvxp_revision = "r5p1-00rel0";
constexpr OMX_U32 zvxp_default_alloc_width = 176;
constexpr OMX_U32 zvxp_default_alloc_height = 144;
constexpr int zvxp_frame_interval_slots = 10;

bool zvxp_unmap_buffer(zvx_map_constpointer, zvx_map_pointer value, void *driver_fd)
{
    const auto *mapping = static_cast<const struct zvx_omx_common_mapped_buffer *>(value);
    zvx_unregister_buffer(*static_cast<const int *>(driver_fd), mapping->buffer_id);
    return true;
}

/* A buffer the client never freed is forgotten by the session before its memory goes. */
bool zvxp_unregister_buffer(zvx_map_constpointer, zvx_map_pointer value, void *driver_fd)
{
    const auto *header = static_cast<const struct zvx_omx_common_bufferheadertype *>(value);
    if (!header->priv.metadata) {
        zvx_unregister_buffer(*static_cast<const int *>(driver_fd), reinterpret_cast<zvx_base_buffer_handle_t>(header));
    }
    return true;
}

// Fields that need no allocation, so that destroy is safe whatever fails after them.
void zvxp_init_fields(zvx_omx_common_component *comp, struct zvx_omx_component *handle, OMX_CALLBACKTYPE *callbacks)
{
    zvx_instr_init();
    // No other thread sees the record yet, and a compare-and-swap set would first read whatever the
    // caller's memory held.
    comp->omx_state = zvxu_atomic{OMX_StateLoaded};
    zvx_omx_common_cproc_invoker_init(&comp->cproc_invoker);
    std::memset(&comp->cproc_queue, 0, sizeof(comp->cproc_queue));
    std::memset(&comp->client_commands, 0, sizeof(comp->client_commands));
    comp->commands_pending = 0;
    comp->commands_unfinished = 0;
    comp->inline_command = false;
    comp->returning_buffer = nullptr;
    comp->session_ended = false;

    std::memset(&comp->omx_callbacks, 0, sizeof(comp->omx_callbacks));
    if (callbacks != nullptr)
        comp->omx_callbacks = *callbacks;
    comp->omx_component = handle;

    std::memset(&comp->config_and_params, 0, sizeof(comp->config_and_params));
    comp->driver_fd = -1;
    comp->session_created = false;
    comp->hw_state_change_received = false;
    comp->sw_state_trying_to_stop = false;
    comp->role = ZVX_OMX_COMPONENT_ROLE_UNCLASSIFIED;
    comp->hw_state = ZVX_BASE_HW_STATE_STOPPED;
    comp->requested_state = OMX_StateMax;
    comp->prev_ts = INT64_MAX;
    comp->prev_fps = nullptr;
    comp->vp9_alloc_params_changed = false;
    comp->vp9_realloc_announced = false;
    comp->secure = false;
    comp->num_prot_bufs = 0;
    comp->force_yuv = false;
    comp->alloc_params_state = ZVX_ALLOC_PARAMS_INIT;
    comp->android_client = false;
    std::memset(&comp->prev_color_desc, 0, sizeof(comp->prev_color_desc));
    std::memset(&comp->alloc_params, 0, sizeof(comp->alloc_params));
    comp->alloc_params.planar_alloc_frame_width = zvxp_default_alloc_width;
    comp->alloc_params.planar_alloc_frame_height = zvxp_default_alloc_height;
    pthread_mutex_init(&comp->lock, nullptr);
    pthread_mutex_init(&comp->callbacks_lock, nullptr);
    pthread_mutex_init(&comp->commands_lock, nullptr);
    comp->built = true;
}

// What init allocates. Destroy is safe after a failure at any step: the ports come first, as a port
// that was never initialised could not be destroyed.
OMX_ERRORTYPE zvxp_build(zvx_omx_common_component *comp)
{
    OMX_ERRORTYPE error = OMX_ErrorNone;
    for (zvx_omx_port &port : comp->ports) {
        const OMX_ERRORTYPE port_error = zvx_omx_port_init(&port);
        if (error == OMX_ErrorNone)
            error = port_error;
    }
    if (error != OMX_ErrorNone)
        return error;
    if (!zvx_omx_common_cproc_command_queue_init(&comp->cproc_queue) ||
        !zvx_omx_common_cproc_command_queue_init(&comp->client_commands))
        return OMX_ErrorInsufficientResources;
    comp->prev_fps = zvxu_circular_list_create(zvxp_frame_interval_slots);
    if (comp->prev_fps == nullptr)
        return OMX_ErrorInsufficientResources;
    return zvx_omx_clone_default_settings(&comp->config_and_params, comp->type);
}

// Calls through the handle after destroy find no record and fail instead of reaching freed memory.
void zvxp_detach_handle(zvx_omx_common_component *comp)
{
    if (comp->omx_component != nullptr && comp->omx_component->omx.pComponentPrivate == comp)
        comp->omx_component->omx.pComponentPrivate = nullptr;
    comp->omx_component = nullptr;
}

} // namespace

OMX_ERRORTYPE zvx_omx_common_component_init(struct zvx_omx_component *handle, zvx_omx_common_component *comp,
                                            OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "zvx_omx_common_component_init(handle=%p, comp=%p, app_data=%p, callbacks=%p, revision=%s). (%s:%d)",
            static_cast<void *>(handle), static_cast<void *>(comp), app_data, static_cast<void *>(callbacks),
            zvxp_revision);

    // A failed init releases what it built: the caller's destroy then finds nothing left to do.
    if (comp != nullptr) {
        zvxp_init_fields(comp, handle, callbacks);
        const OMX_ERRORTYPE error = zvxp_build(comp);
        if (error != OMX_ErrorNone) {
            comp->omx_component = nullptr; // not filled yet: nothing of it to detach, or even read
            zvx_omx_common_component_destroy(comp);
            return error;
        }
    }

    if (handle != nullptr)
        zvx_omx_handle_fill(handle, comp, app_data);

    if (comp != nullptr) {
        comp->driver_fd = zvx_init(ZVX_OMX_DEVICE_PATH);
        if (comp->driver_fd == -1) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_PANIC, "Failed to open device node. path=%s. (%s:%d)",
                    ZVX_OMX_DEVICE_PATH);
            zvx_omx_common_component_destroy(comp);
            return OMX_ErrorHardware;
        }
        zvx_read_hw_info(comp->driver_fd);
    }
    return OMX_ErrorNone;
}

void zvx_omx_common_component_destroy(zvx_omx_common_component *comp)
{
    if (comp == nullptr)
        return;
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvx_omx_common_component_destroy(comp=%p.) (%s:%d)",
            static_cast<void *>(comp));
    if (!comp->built)
        return;

    for (zvx_omx_port &port : comp->ports)
        zvx_map_foreach_erase(&port.registered_buffers, zvxp_unregister_buffer, &comp->driver_fd);
    for (zvx_omx_port &port : comp->ports)
        zvx_map_foreach_erase(&port.mapped_buffers, zvxp_unmap_buffer, &comp->driver_fd);

    zvxu_circular_list_destroy(comp->prev_fps);
    comp->prev_fps = nullptr;
    zvx_omx_common_component_destroy_session(comp);
    if (comp->driver_fd != -1)
        zvx_close(comp->driver_fd);
    comp->num_prot_bufs = 0;
    pthread_mutex_destroy(&comp->lock);
    pthread_mutex_destroy(&comp->callbacks_lock);
    pthread_mutex_destroy(&comp->commands_lock);
    zvx_omx_common_cproc_command_queue_destroy(&comp->cproc_queue);
    zvx_omx_common_cproc_command_queue_destroy(&comp->client_commands);
    zvx_omx_config_destruct(&comp->config_and_params);
    zvx_instr_release();
    for (zvx_omx_port &port : comp->ports)
        zvx_omx_port_destroy(&port);
    zvxp_detach_handle(comp);
    comp->built = false;
}
