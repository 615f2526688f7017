#include "zvx_bellagio_peer.h"

#include <OMX_Component.h>
#include <OMX_Core.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace {

constexpr const char *zvxp_peer_component = "OMX.st.volume.component";
/* What each input carries: a few milliseconds of 16-bit stereo sound. */
constexpr OMX_U32 zvxp_payload_bytes = 1024;
constexpr OMX_U32 zvxp_ports = 2;

int64_t zvxp_now_ns()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/* The peer now and then never answers a state change or a flush (its flushes wait for ever, most often
 * when pinned to one CPU): after this long it is taken as hung. */
constexpr int64_t zvxp_peer_patience_ns = 10'000'000'000;

} // namespace

struct zvx_bellagio_peer {
    OMX_HANDLETYPE handle;
    /* Written by the peer's callbacks, read by the client's thread. */
    std::atomic<int64_t> completed_at_ns{-1};
    std::atomic<int> completions{0};
    std::atomic<int64_t> empty_done_at_ns{-1};
    std::atomic<int64_t> fill_done_at_ns{-1};
    /* Client's thread only: a wait for the peer ran out of patience. */
    bool hung = false;
    std::atomic<uint64_t> returned{0};
    /* Written by whichever thread lends or takes back a buffer: the client's or a callback. */
    std::atomic<int> lent[zvxp_ports] = {0, 0};
    /* Set by the client's thread; callbacks read it between raising and lowering giving_again, and both
     * are sequentially consistent so that end_stream sees every callback that read it set. */
    std::atomic<bool> streaming{false};
    std::atomic<int> giving_again{0};
    /* The client's thread's; changed only while the peer holds none of the buffers. */
    std::vector<OMX_BUFFERHEADERTYPE *> buffers[zvxp_ports];
};

namespace {

OMX_ERRORTYPE zvxp_peer_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32, OMX_U32, OMX_PTR)
{
    auto *peer = static_cast<zvx_bellagio_peer *>(app_data);
    if (event == OMX_EventCmdComplete) {
        peer->completed_at_ns.store(zvxp_now_ns(), std::memory_order_release);
        peer->completions.fetch_add(1, std::memory_order_acq_rel);
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_peer_lend(zvx_bellagio_peer *peer, OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
{
    peer->lent[port].fetch_add(1, std::memory_order_acq_rel);
    const OMX_ERRORTYPE error =
        port == 0 ? OMX_EmptyThisBuffer(peer->handle, header) : OMX_FillThisBuffer(peer->handle, header);
    if (error != OMX_ErrorNone)
        peer->lent[port].fetch_sub(1, std::memory_order_acq_rel);
    return error;
}

void zvxp_peer_prepare(OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
{
    header->nOffset = 0;
    header->nFlags = 0;
    header->nFilledLen = port == 0 ? std::min(zvxp_payload_bytes, header->nAllocLen) : 0;
}

void zvxp_peer_returned(zvx_bellagio_peer *peer, OMX_U32 port, OMX_BUFFERHEADERTYPE *header,
                        std::atomic<int64_t> &done_at)
{
    done_at.store(zvxp_now_ns(), std::memory_order_release);
    peer->returned.fetch_add(1, std::memory_order_relaxed);
    peer->lent[port].fetch_sub(1, std::memory_order_acq_rel);
    peer->giving_again.fetch_add(1);
    if (peer->streaming.load()) {
        zvxp_peer_prepare(port, header);
        zvxp_peer_lend(peer, port, header);
    }
    peer->giving_again.fetch_sub(1);
}

OMX_ERRORTYPE zvxp_peer_empty_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
{
    auto *peer = static_cast<zvx_bellagio_peer *>(app_data);
    zvxp_peer_returned(peer, 0, header, peer->empty_done_at_ns);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_peer_fill_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
{
    auto *peer = static_cast<zvx_bellagio_peer *>(app_data);
    zvxp_peer_returned(peer, 1, header, peer->fill_done_at_ns);
    return OMX_ErrorNone;
}

OMX_CALLBACKTYPE zvxp_peer_callbacks = {zvxp_peer_event, zvxp_peer_empty_done, zvxp_peer_fill_done};

OMX_PARAM_PORTDEFINITIONTYPE zvxp_peer_definition(zvx_bellagio_peer *peer, OMX_U32 port)
{
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    std::memset(&definition, 0, sizeof(definition));
    definition.nSize = sizeof(definition);
    definition.nVersion.s.nVersionMajor = 1;
    definition.nVersion.s.nVersionMinor = 1;
    definition.nPortIndex = port;
    OMX_GetParameter(peer->handle, OMX_IndexParamPortDefinition, &definition);
    return definition;
}

/* Spins until done; false, and the peer marked hung, when it did not get there in time. */
template <typename Condition> bool zvxp_await(zvx_bellagio_peer *peer, Condition done)
{
    const int64_t deadline = zvxp_now_ns() + zvxp_peer_patience_ns;
    while (!done()) {
        if (zvxp_now_ns() > deadline) {
            peer->hung = true;
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool zvxp_peer_set_buffer_count(zvx_bellagio_peer *peer, int count)
{
    for (OMX_U32 port = 0; port < zvxp_ports; ++port) {
        OMX_PARAM_PORTDEFINITIONTYPE definition = zvxp_peer_definition(peer, port);
        definition.nBufferCountActual = static_cast<OMX_U32>(count);
        if (OMX_SetParameter(peer->handle, OMX_IndexParamPortDefinition, &definition) != OMX_ErrorNone)
            return false;
    }
    return true;
}

/* Sends the command and waits for its completion, doing `meanwhile` in between. */
template <typename Meanwhile>
bool zvxp_peer_command(zvx_bellagio_peer *peer, OMX_COMMANDTYPE command, OMX_U32 param, Meanwhile meanwhile)
{
    if (peer->hung)
        return false;
    const int before = peer->completions.load(std::memory_order_acquire);
    if (OMX_SendCommand(peer->handle, command, param, nullptr) != OMX_ErrorNone)
        return false;
    if (!meanwhile())
        return false;
    return zvxp_await(peer, [&] { return peer->completions.load(std::memory_order_acquire) != before; });
}

template <typename Meanwhile>
bool zvxp_peer_change_state(zvx_bellagio_peer *peer, OMX_STATETYPE state, Meanwhile meanwhile)
{
    return zvxp_peer_command(peer, OMX_CommandStateSet, state, meanwhile);
}

bool zvxp_peer_allocate(zvx_bellagio_peer *peer)
{
    for (OMX_U32 port = 0; port < zvxp_ports; ++port) {
        const OMX_PARAM_PORTDEFINITIONTYPE definition = zvxp_peer_definition(peer, port);
        for (OMX_U32 i = 0; i < definition.nBufferCountActual; ++i) {
            OMX_BUFFERHEADERTYPE *header = nullptr;
            if (OMX_AllocateBuffer(peer->handle, &header, port, peer, definition.nBufferSize) != OMX_ErrorNone)
                return false;
            peer->buffers[port].push_back(header);
        }
    }
    return true;
}

bool zvxp_peer_free(zvx_bellagio_peer *peer)
{
    bool freed = true;
    for (OMX_U32 port = 0; port < zvxp_ports; ++port) {
        for (OMX_BUFFERHEADERTYPE *header : peer->buffers[port])
            freed = OMX_FreeBuffer(peer->handle, port, header) == OMX_ErrorNone && freed;
        peer->buffers[port].clear();
    }
    return freed;
}

bool zvxp_nothing()
{
    return true;
}

/* From Loaded to Executing, allocating the buffers the ports were set to on the way. */
bool zvxp_peer_up(zvx_bellagio_peer *peer)
{
    return zvxp_peer_change_state(peer, OMX_StateIdle, [&] { return zvxp_peer_allocate(peer); }) &&
           zvxp_peer_change_state(peer, OMX_StateExecuting, zvxp_nothing);
}

/* Lends one buffer of `port` and waits until the peer has it queued; times the other port's. */
int64_t zvxp_peer_round_trip_ns(zvx_bellagio_peer *peer, OMX_U32 timed_port, std::atomic<int64_t> &done_at)
{
    if (peer->hung)
        return -1;
    const OMX_U32 waiting_port = 1 - timed_port;
    OMX_BUFFERHEADERTYPE *waiting = peer->buffers[waiting_port].at(0);
    OMX_BUFFERHEADERTYPE *timed = peer->buffers[timed_port].at(0);
    zvxp_peer_prepare(waiting_port, waiting);
    if (zvxp_peer_lend(peer, waiting_port, waiting) != OMX_ErrorNone)
        return -1;
    zvxp_peer_prepare(timed_port, timed);
    done_at.store(-1, std::memory_order_relaxed);
    const int64_t sent_at = zvxp_now_ns();
    if (zvxp_peer_lend(peer, timed_port, timed) != OMX_ErrorNone)
        return -1;
    if (!zvxp_await(peer, [&] {
            return done_at.load(std::memory_order_acquire) >= 0 && peer->lent[0].load(std::memory_order_acquire) == 0 &&
                   peer->lent[1].load(std::memory_order_acquire) == 0;
        })) {
        return -1;
    }
    return done_at.load(std::memory_order_acquire) - sent_at;
}

} // namespace

zvx_bellagio_peer *zvx_bellagio_peer_open(const char **why_not)
{
    if (OMX_Init() != OMX_ErrorNone) {
        *why_not = "the peer framework's OMX_Init failed";
        return nullptr;
    }
    auto *peer = new zvx_bellagio_peer{};
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
    // A hung peer's threads still use the handle: it is left to the process's exit.
    if (peer->hung)
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

int64_t zvx_bellagio_peer_state_cycle_ns(zvx_bellagio_peer *peer, int buffers_per_port)
{
    if (!zvxp_peer_set_buffer_count(peer, buffers_per_port))
        return -1;
    const int64_t started_at = zvxp_now_ns();
    if (!zvxp_peer_up(peer) || !zvx_bellagio_peer_stop(peer))
        return -1;
    return peer->completed_at_ns.load(std::memory_order_acquire) - started_at;
}

bool zvx_bellagio_peer_start(zvx_bellagio_peer *peer, int buffers_per_port)
{
    return zvxp_peer_set_buffer_count(peer, buffers_per_port) && zvxp_peer_up(peer);
}

bool zvx_bellagio_peer_stop(zvx_bellagio_peer *peer)
{
    return zvxp_peer_change_state(peer, OMX_StateIdle, zvxp_nothing) &&
           zvxp_peer_change_state(peer, OMX_StateLoaded, [&] { return zvxp_peer_free(peer); });
}

int64_t zvx_bellagio_peer_empty_round_trip_ns(zvx_bellagio_peer *peer)
{
    return zvxp_peer_round_trip_ns(peer, 0, peer->empty_done_at_ns);
}

int64_t zvx_bellagio_peer_fill_round_trip_ns(zvx_bellagio_peer *peer)
{
    return zvxp_peer_round_trip_ns(peer, 1, peer->fill_done_at_ns);
}

int64_t zvx_bellagio_peer_seek_flush_ns(zvx_bellagio_peer *peer)
{
    for (OMX_BUFFERHEADERTYPE *header : peer->buffers[1]) {
        zvxp_peer_prepare(1, header);
        if (zvxp_peer_lend(peer, 1, header) != OMX_ErrorNone)
            return -1;
    }
    const int64_t started_at = zvxp_now_ns();
    if (!zvxp_peer_change_state(peer, OMX_StatePause, zvxp_nothing) ||
        !zvxp_peer_command(peer, OMX_CommandFlush, 0, zvxp_nothing) ||
        !zvxp_peer_command(peer, OMX_CommandFlush, 1, zvxp_nothing) ||
        !zvxp_await(peer, [&] { return peer->lent[1].load(std::memory_order_acquire) == 0; }) ||
        !zvxp_peer_change_state(peer, OMX_StateExecuting, zvxp_nothing))
        return -1;
    return peer->completed_at_ns.load(std::memory_order_acquire) - started_at;
}

bool zvx_bellagio_peer_stream(zvx_bellagio_peer *peer, int in_flight)
{
    peer->streaming.store(true);
    for (int i = 0; i < in_flight; ++i) {
        for (OMX_U32 port = 0; port < zvxp_ports; ++port) {
            OMX_BUFFERHEADERTYPE *header = peer->buffers[port].at(static_cast<size_t>(i));
            zvxp_peer_prepare(port, header);
            if (zvxp_peer_lend(peer, port, header) != OMX_ErrorNone)
                return false;
        }
    }
    return true;
}

uint64_t zvx_bellagio_peer_buffers_returned(zvx_bellagio_peer *peer)
{
    return peer->returned.load(std::memory_order_relaxed);
}

void zvx_bellagio_peer_end_stream(zvx_bellagio_peer *peer)
{
    peer->streaming.store(false);
    zvxp_await(peer, [&] { return peer->giving_again.load() == 0; });
}
