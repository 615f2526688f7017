#ifndef ZVX_OMX_PORT_COMMANDS_H
#define ZVX_OMX_PORT_COMMANDS_H

/*
 * The client's OMX_CommandPortEnable and OMX_CommandPortDisable: delayed commands that complete with
 * OMX_EventCmdComplete once the port is populated, or flushed and emptied.
 */

#include <OMX_Core.h>
#include <stdint.h>

#include "zvx_omx_common_cproc.h"
#include "zvx_omx_port.h"

struct command_delayed_port_enable_disable_data {
    struct zvx_omx_common_cproc_command_data command_data;
    int32_t port;
    bool all_ports; /* one of the two records of an OMX_ALL, which take effect together */
};
static_assert(sizeof(struct command_delayed_port_enable_disable_data) == 16);

enum command_delayed_port_disable_state_t {
    STATE_INIT = 0,
    STATE_STOPPING = 1,
    STATE_FLUSHING = 2,
    STATE_RESTORE_HW_STATE = 3,
    STATE_DONE = 4,
};
/* state after the completion event has been sent */
#define ZVX_OMX_PORT_DISABLE_COMPLETED 0xFFFFFFFFu

struct command_delayed_port_disable_data {
    struct zvx_omx_common_cproc_command_data command_data;
    uint32_t state;             /* enum command_delayed_port_disable_state_t */
    bool restore_running_state; /* this command stopped the hardware and restarts it */
    bool all_ports;             /* one of the two records of an OMX_ALL, which take effect together */
    uint32_t port;
};
static_assert(sizeof(struct command_delayed_port_disable_data) == 24);

/* port: 0, 1 or OMX_ALL, each port with a request of its own. Command thread only, as the one below. */
void zvxp_omx_port_flush(struct zvx_omx_common_component *comp, OMX_U32 port);
/* True once the port (or both, for OMX_ALL) has no flush outstanding and no registered buffer. */
unsigned zvxp_omx_port_flush_complete(struct zvx_omx_common_component *comp, OMX_U32 port);

/* port: 0, 1 or OMX_ALL (one command and one completion per port, port 0 first). The command runs after
 * every command sent before it; bEnabled changes as it starts, at once when nothing is ahead of it. A
 * disable completes inside the call when nothing is ahead of it, no session exists and its ports hold no
 * buffer. */
OMX_ERRORTYPE common_component_cmd_port_enable_disable(struct zvx_omx_common_component *comp, OMX_U32 port,
                                                       bool enable);
bool delayed_portenable(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command);
bool delayed_portdisable(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *command);

#endif
