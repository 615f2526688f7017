#ifndef ZVX_OMX_CLIENT_COMMANDS_H
#define ZVX_OMX_CLIENT_COMMANDS_H

/*
 * The client's commands run one at a time, in the order SendCommand accepted them, and each is answered
 * before the next one starts. A command takes effect as it starts: a port's bEnabled, the state a buffer
 * may be registered or freed for. With nothing ahead of it, it starts inside SendCommand, so the client
 * reads the effect as soon as the call returns.
 */

#include <OMX_Core.h>
#include <stddef.h>
#include <stdint.h>

#include "zvx_omx_common_cproc.h"

struct zvx_omx_common_component;

/* Accepts the records of one SendCommand (one per port for OMX_ALL), in order. On failure nothing is
 * queued and every record is freed. */
OMX_ERRORTYPE zvx_omx_client_commands_send(struct zvx_omx_common_component *comp,
                                           struct zvx_omx_common_cproc_command_data *const *commands, size_t count);

/* A disable that needs nothing of the command thread (no session, no buffer on its ports) completes
 * inside SendCommand when nothing is ahead of it: true then, and the records are freed. False, and
 * nothing done, otherwise. */
bool zvx_omx_client_commands_complete_inline(struct zvx_omx_common_component *comp,
                                             struct zvx_omx_common_cproc_command_data *const *commands, size_t count);

enum class zvx_omx_client_step : uint8_t {
    none,       /* no client command to run */
    progressed, /* one finished, or went on as its delayed step: the next step may run at once */
    waiting,    /* it is not done and waits for something to change */
};

/* Command thread: one step of the client command at the head, starting the next one if none runs. */
zvx_omx_client_step zvx_omx_client_commands_advance(struct zvx_omx_common_component *comp);

/* Command thread, as it is asked to stop: the client's commands sent before run while each completes at
 * once; the first that would wait, and everything behind it, is dropped unanswered. */
void zvx_omx_client_commands_run_ready(struct zvx_omx_common_component *comp);

/* Command thread, as it stops: the command it was carrying out is dropped unanswered. */
void zvx_omx_client_commands_drop_current(struct zvx_omx_common_component *comp);

#endif
