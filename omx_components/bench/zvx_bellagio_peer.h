// The benchmarks' comparison peer: the peer OpenMAX framework's volume component, driven through the
// framework's own headers (built for its LP64 ABI, so no OpenMAX type crosses this header). It is
// built only where the framework is installed, and is never a dependency of the component or the tests.
#ifndef ZVX_BELLAGIO_PEER_H
#define ZVX_BELLAGIO_PEER_H

#include <cstdint>

struct zvx_bellagio_peer;

/* Null when the framework or its volume component is missing; *why_not then says which. */
zvx_bellagio_peer *zvx_bellagio_peer_open(const char **why_not);
/* A peer that stopped answering (every call below then fails) is not freed: its threads still run. */
void zvx_bellagio_peer_close(zvx_bellagio_peer *peer);

/* Nanoseconds from SendCommand(PortEnable or PortDisable, port 0) until the peer's EventHandler is
 * entered with OMX_EventCmdComplete; -1 when the command is refused. */
int64_t zvx_bellagio_peer_port_round_trip_ns(zvx_bellagio_peer *peer, bool enable);

/* One GetParameter(OMX_IndexParamPortDefinition) of port 0; false when refused. */
bool zvx_bellagio_peer_get_port_definition(zvx_bellagio_peer *peer);

/* Nanoseconds from SendCommand(Idle) through Executing and Idle again until Loaded completes, the
 * client allocating buffers_per_port buffers on each port on the way up and freeing them on the way
 * down; -1 when refused. The peer starts and ends in Loaded. */
int64_t zvx_bellagio_peer_state_cycle_ns(zvx_bellagio_peer *peer, int buffers_per_port);

/* From Loaded to Executing with buffers_per_port buffers on each port, all held by the client. */
bool zvx_bellagio_peer_start(zvx_bellagio_peer *peer, int buffers_per_port);
/* Back to Loaded with every buffer freed. */
bool zvx_bellagio_peer_stop(zvx_bellagio_peer *peer);

/* In Executing: with an output buffer queued, nanoseconds from EmptyThisBuffer until EmptyBufferDone;
 * the output comes back before the call returns. -1 when refused. */
int64_t zvx_bellagio_peer_empty_round_trip_ns(zvx_bellagio_peer *peer);
/* In Executing: with an input buffer queued, nanoseconds from FillThisBuffer until FillBufferDone; the
 * input comes back before the call returns. -1 when refused. */
int64_t zvx_bellagio_peer_fill_round_trip_ns(zvx_bellagio_peer *peer);

/* In Executing: a player's seek with every output buffer lent and waiting for input. Nanoseconds from
 * SendCommand(Pause) until Executing completes after both ports' flushes and every buffer's return (the
 * peer may complete a flush before the buffers it returns reach the client); -1 when refused. */
int64_t zvx_bellagio_peer_seek_flush_ns(zvx_bellagio_peer *peer);

/* In Executing: lends in_flight buffers of each port, each given again from its callback as soon as it
 * comes back; false when refused. */
bool zvx_bellagio_peer_stream(zvx_bellagio_peer *peer, int in_flight);
/* Buffers of both ports given back since the peer was opened. */
uint64_t zvx_bellagio_peer_buffers_returned(zvx_bellagio_peer *peer);
/* Stops giving buffers again; the buffers still lent come back on the way to Idle. */
void zvx_bellagio_peer_end_stream(zvx_bellagio_peer *peer);

#endif
