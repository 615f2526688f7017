#ifndef ZVX_DEV_DECODER_AHEAD_H
#define ZVX_DEV_DECODER_AHEAD_H

#include <mutex>
#include <optional>
#include <thread>

#include "zvx_av_codec.h"
#include "zvx_av_ptr.h"

namespace zvx_dev {

/* One libavcodec decoder opened ahead of the session that will use it, for the codec the process
 * decoded last. A device opens as a component is made, well before its stream's first data, where
 * opening the decoder (a frame thread a core) would otherwise sit on the first picture's path. */
class DecoderAhead {
public:
    DecoderAhead() = default;
    DecoderAhead(const DecoderAhead &) = delete;
    DecoderAhead &operator=(const DecoderAhead &) = delete;
    ~DecoderAhead();

    /* A device opened: opens the decoder of the codec decoded last on a thread of its own, unless one
     * of that codec is open or opening. */
    void prepare();
    /* A decode session of the codec starts: the decoder opened ahead if it is of that codec, once its
     * open is done; null otherwise. */
    zvx_av::CodecContextPtr take(zvx_av::Codec codec);
    /* Drops the decoder opened ahead; the codec decoded last is still known. */
    void stop();

private:
    void drop_locked();

    std::mutex mutex_; /* guards the fields below */
    std::optional<zvx_av::Codec> last_decoded_;
    std::optional<zvx_av::Codec> opening_; /* the codec of opener_'s work while it is joinable */
    std::thread opener_;
    /* Written by opener_ alone until it is joined, under mutex_ afterwards. */
    zvx_av::CodecContextPtr opened_;
};

} // namespace zvx_dev

#endif
