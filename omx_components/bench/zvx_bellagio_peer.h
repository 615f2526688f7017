// The benchmarks' comparison peer: the peer OpenMAX framework's volume component, driven through the
// framework's own headers (built for its LP64 ABI, so no OpenMAX type crosses this header). It is
// built only where the framework is installed, and is never a dependency of the component or the tests.
#ifndef ZVX_BELLAGIO_PEER_H
#define ZVX_BELLAGIO_PEER_H

#include <cstdint>

struct zvx_bellagio_peer;

/* Null when the framework or its volume component is missing; *why_not then says which. */
zvx_bellagio_peer *zvx_bellagio_peer_open(const char **why_not);
void zvx_bellagio_peer_close(zvx_bellagio_peer *peer);

/* Nanoseconds from SendCommand(PortEnable or PortDisable, port 0) until the peer's EventHandler is
 * entered with OMX_EventCmdComplete; -1 when the command is refused. */
int64_t zvx_bellagio_peer_port_round_trip_ns(zvx_bellagio_peer *peer, bool enable);

/* One GetParameter(OMX_IndexParamPortDefinition) of port 0; false when refused. */
bool zvx_bellagio_peer_get_port_definition(zvx_bellagio_peer *peer);

#endif
