#ifndef ZVX_OMX_FRAME_RATE_H
#define ZVX_OMX_FRAME_RATE_H

/*
 * An encoder's input timestamps tell its frame rate. While the port's
 * OMX_IndexConfigDynamicFPSFromTimestamp setting is on, the rate over its last nWindow intervals replaces
 * the port's frame rate whenever the two differ by a frame per second or more; with bTrackChanges a
 * running session is told at once, else it learns the rate when the next one is created. A timestamp
 * that does not move forward (a seek) starts the estimate over.
 */

#include <OMX_Types.h>

struct zvx_omx_common_component;

/* One input picture with this timestamp was queued on the port. Caller holds no lock. */
void zvx_omx_frame_rate_observe(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_TICKS timestamp);

#endif
