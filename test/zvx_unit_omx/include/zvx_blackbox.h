#ifndef ZVX_BLACKBOX_H
#define ZVX_BLACKBOX_H

/*
 * The session stub's programmable side. Every stub call answers with its fixed default; a suite
 * fills the slots below to watch calls (and, for role queries, to choose the answer).
 */

#include <OMX_Index.h>
#include <OMX_Types.h>

#include "zvx_session_interface.h"

struct blackbox_cb {
    void (*bbcb_destroy_session)(int fd);
    void (*bbcb_empty_this_buffer)(int fd, struct zvx_base_buffer_details *param);
    void (*bbcb_fill_this_buffer)(int fd, struct zvx_base_buffer_details *param);
    void (*bbcb_set_parameter)(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param);
    OMX_BOOL (*bbcb_role_enabled)(const char *role);
};

/* Written only while no component runs. */
extern struct blackbox_cb bb_cb;

void bb_reset_cb(void);

#endif
