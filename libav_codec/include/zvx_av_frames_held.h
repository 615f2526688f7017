#ifndef ZVX_AV_FRAMES_HELD_H
#define ZVX_AV_FRAMES_HELD_H

#include "zvx_av_codec.h"

namespace zvx_av {

/* Pictures a decoder may keep from the client at once; a client announces at least total() output
 * buffers plus those it holds itself. */
struct FramesHeld {
    int references = 0;   /* reference pictures the stream may keep */
    int reorder = 0;      /* pictures held back to come out in presentation order */
    int thread_delay = 0; /* pictures in flight on frame threads */

    /* One more: the picture being decoded. */
    int total() const { return references + reorder + thread_delay + 1; }
};

/* From an opened context that has decoded a stream's headers; before that, the codec's bounds. */
FramesHeld frames_held(Codec codec, const AVCodecContext &context);

} // namespace zvx_av

#endif
