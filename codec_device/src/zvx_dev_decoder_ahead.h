#ifndef ZVX_DEV_DECODER_AHEAD_H
#define ZVX_DEV_DECODER_AHEAD_H

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "zvx_av_codec.h"
#include "zvx_av_ptr.h"

namespace zvx_dev {

/* One libavcodec decoder opened ahead of the session that will use it, for the codec the process
 * decoded last. A device opens as a component is made, well before its stream's first data, where
 * opening the decoder (a frame thread a core) would otherwise sit on the first picture's path.
 *
 * The opens are made on one thread that lives until the object goes: the memory of the decoder a
 * session frees goes back to that thread's malloc arena, where the next open finds it mapped. Opened
 * on a new thread each time, a decoder's tables land in whatever arena that thread gets, and an open
 * faults in a megabyte and a half of fresh pages (a millisecond on a 720p stream). */
class DecoderAhead {
public:
    DecoderAhead() = default;
    DecoderAhead(const DecoderAhead &) = delete;
    DecoderAhead &operator=(const DecoderAhead &) = delete;
    ~DecoderAhead();

    /* A device opened: has the decoder of the codec decoded last opened, unless one is open or opening. */
    void prepare();
    /* A decode session of the codec starts: the decoder opened ahead if it is of that codec, once its
     * open is done; null otherwise. */
    zvx_av::CodecContextPtr take(zvx_av::Codec codec);
    /* Drops the decoder opened ahead; the codec decoded last is still known. */
    void stop();

private:
    using Lock = std::unique_lock<std::mutex>;

    void run();
    void wait_for_open(Lock &lock);

    std::mutex mutex_; /* guards the fields below */
    std::condition_variable changed_;
    std::optional<zvx_av::Codec> last_decoded_;
    std::optional<zvx_av::Codec> wanted_;
    zvx_av::CodecContextPtr opened_;
    std::optional<zvx_av::Codec> opened_codec_; /* of opened_ */
    bool opening_ = false;                      /* opener_ is opening a decoder, unlocked */
    bool quitting_ = false;
    std::thread opener_; /* started by the first prepare() with a codec known, joined by the destructor */
};

} // namespace zvx_dev

#endif
