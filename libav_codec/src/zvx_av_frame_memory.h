#ifndef ZVX_AV_FRAME_MEMORY_H
#define ZVX_AV_FRAME_MEMORY_H

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace zvx_av {

/* A decoder's get_buffer2: a picture's planes in one block of memory kept for the process, laid out as
 * libavcodec lays out its own. libavcodec's own pool belongs to one decoder and zeroes each new
 * buffer, so every stream starts by faulting in fresh pages (some 340 a 720p picture, several pictures
 * before the first comes out); a block kept from an earlier stream is already mapped. A new block is
 * zeroed, and a kept one holds only pictures this process decoded. Decoders that cannot take outside
 * buffers, and hardware or palette formats, get libavcodec's own. */
int get_kept_frame_buffer(AVCodecContext *context, AVFrame *frame, int flags);

} // namespace zvx_av

#endif
