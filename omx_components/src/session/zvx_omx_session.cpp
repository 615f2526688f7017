// The codec session's lifetime: created for the stored role when the component leaves Loaded,
// destroyed on the way back, on a role change and at destruction; and the port flushes asked of it.
#include "zvx_omx_session.h"

#include <atomic>
#include <pthread.h>

#include "zvx_omx_config.h"
#include "zvx_omx_log.h"
#include "zvx_session_interface.h"

namespace {

struct zvxp_port_flush_entry {
    OMX_U32 session_flag;
    uint32_t instrumentation_code;
};

constexpr zvxp_port_flush_entry ZVXP_PORT_FLUSH[ZVX_OMX_PORT_COUNT] = {
    {ZVX_BASE_FLUSH_INPUT_PORT, ZVX_INSTR_FLUSHED_INPUT_SEND},
    {ZVX_BASE_FLUSH_OUTPUT_PORT, ZVX_INSTR_FLUSHED_OUTPUT_SEND},
};

} // namespace

bool zvx_omx_common_component_create_session(zvx_omx_common_component *comp)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvx_omx_common_component_create_session(comp=%p, secure=%d). (%s:%d)",
            static_cast<void *>(comp), comp != nullptr ? static_cast<int>(comp->secure) : 0);
    if (comp == nullptr)
        return false;
    const auto *standard_role = static_cast<const OMX_PARAM_COMPONENTROLETYPE *>(
        zvx_omx_config_find(&comp->config_and_params, OMX_IndexParamStandardComponentRole, 0));
    if (standard_role == nullptr)
        return false;
    const char *role = reinterpret_cast<const char *>(standard_role->cRole);

    const bool created = zvx_create_session(comp->driver_fd, role) == OMX_TRUE;
    std::atomic_ref(comp->session_created).store(created);
    if (!created)
        return false;
    zvx_instr_write_msg(ZVX_INSTR_SESSION_CREATED, sizeof(comp->driver_fd), &comp->driver_fd);

    void *prot_buf = nullptr;
    if (zvx_activate_session(comp->driver_fd, role, comp->secure ? &prot_buf : nullptr) != OMX_TRUE)
        return false;
    if (prot_buf != nullptr) {
        pthread_mutex_lock(&comp->lock);
        if (comp->num_prot_bufs < ZVX_OMX_MAX_PROT_BUFS)
            comp->prot_bufs[comp->num_prot_bufs++] = prot_buf;
        pthread_mutex_unlock(&comp->lock);
    }

    zvx_omx_common_component_send_current_settings(comp);
    return true;
}

void zvx_omx_common_component_destroy_session(zvx_omx_common_component *comp)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvx_omx_common_component_destroy_session(comp=%p). (%s:%d)",
            static_cast<void *>(comp));
    if (comp == nullptr || comp->driver_fd == -1 || !std::atomic_ref(comp->session_created).load())
        return;
    zvx_instr_write_msg(ZVX_INSTR_SESSION_DESTROYED, sizeof(comp->driver_fd), &comp->driver_fd);
    zvx_destroy_session(comp->driver_fd);
    std::atomic_ref(comp->session_created).store(false);
    std::atomic_ref(comp->session_ended).store(true);
}

void zvx_omx_port_flush_session(struct zvx_omx_common_component *comp, OMX_U32 mask)
{
    // A buffer a client call has taken but not yet handed over reaches the session before the flush.
    for (OMX_U32 port = 0; port < ZVX_OMX_PORT_COUNT; ++port) {
        if ((mask & ZVXP_PORT_FLUSH[port].session_flag) != 0) {
            pthread_mutex_lock(&comp->ports[port].send_lock);
            ++comp->ports[port].nr_pending_flushes;
            zvx_instr_write_msg(ZVXP_PORT_FLUSH[port].instrumentation_code, 0, nullptr);
        }
    }
    zvx_enqueue_flush_buffers(comp->driver_fd, mask);
    for (OMX_U32 port = 0; port < ZVX_OMX_PORT_COUNT; ++port) {
        if ((mask & ZVXP_PORT_FLUSH[port].session_flag) != 0) {
            pthread_mutex_unlock(&comp->ports[port].send_lock);
        }
    }
}
