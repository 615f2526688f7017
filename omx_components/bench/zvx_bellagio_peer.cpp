#include "zvx_bellagio_peer.h"

#include <OMX_Component.h>
#include <OMX_Core.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

struct zvx_bellagio_peer {
    OMX_HANDLETYPE handle;
    std::atomic<int64_t> completed_at_ns; /* written by the peer's own thread */
};

namespace {

constexpr const char *zvxp_peer_component = "OMX.st.volume.component";

int64_t zvxp_now_ns()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

OMX_ERRORTYPE zvxp_peer_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32, OMX_U32, OMX_PTR)
{
    if (event == OMX_EventCmdComplete)
        static_cast<zvx_bellagio_peer *>(app_data)->completed_at_ns.store(zvxp_now_ns(), std::memory_order_release);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_peer_buffer_done(OMX_HANDLETYPE, OMX_PTR, OMX_BUFFERHEADERTYPE *)
{
    return OMX_ErrorNone;
}

OMX_CALLBACKTYPE zvxp_peer_callbacks = {zvxp_peer_event, zvxp_peer_buffer_done, zvxp_peer_buffer_done};

} // namespace

zvx_bellagio_peer *zvx_bellagio_peer_open(const char **why_not)
{
    if (OMX_Init() != OMX_ErrorNone) {
        *why_not = "the peer framework's OMX_Init failed";
        return nullptr;
    }
    auto *peer = new zvx_bellagio_peer{nullptr, {-1}};
    char name[OMX_MAX_STRINGNAME_SIZE];
    std::strncpy(name, zvxp_peer_component, sizeof(name) - 1);
    name[sizeof(name) - 1] = '\0';
    if (OMX_GetHandle(&peer->handle, name, peer, &zvxp_peer_callbacks) != OMX_ErrorNone) {
        *why_not = "the peer's volume component is not installed (libomxil-bellagio0-components-base)";
        delete peer;
        OMX_Deinit();
        return nullptr;
    }
    return peer;
}

void zvx_bellagio_peer_close(zvx_bellagio_peer *peer)
{
    if (peer == nullptr)
        return;
    OMX_FreeHandle(peer->handle);
    delete peer;
    OMX_Deinit();
}

int64_t zvx_bellagio_peer_port_round_trip_ns(zvx_bellagio_peer *peer, bool enable)
{
    peer->completed_at_ns.store(-1, std::memory_order_relaxed);
    const int64_t sent_at = zvxp_now_ns();
    if (OMX_SendCommand(peer->handle, enable ? OMX_CommandPortEnable : OMX_CommandPortDisable, 0, nullptr) !=
        OMX_ErrorNone)
        return -1;
    int64_t completed_at;
    while ((completed_at = peer->completed_at_ns.load(std::memory_order_acquire)) < 0)
        std::this_thread::yield();
    return completed_at - sent_at;
}

bool zvx_bellagio_peer_get_port_definition(zvx_bellagio_peer *peer)
{
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    std::memset(&definition, 0, sizeof(definition));
    definition.nSize = sizeof(definition);
    definition.nVersion.s.nVersionMajor = 1;
    definition.nVersion.s.nVersionMinor = 1;
    definition.nPortIndex = 0;
    return OMX_GetParameter(peer->handle, OMX_IndexParamPortDefinition, &definition) == OMX_ErrorNone;
}
