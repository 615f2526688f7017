#ifndef ZVX_OMX_CORE_SESSION_SIDE_H
#define ZVX_OMX_CORE_SESSION_SIDE_H

/* The codec devices behind the core's components: brought up before the first handle, taken down
 * after the last. */
void zvx_omx_core_session_side_up(void);
void zvx_omx_core_session_side_down(void);

#endif
