#ifndef ZVX_AV_RAW_PICTURE_READER_H
#define ZVX_AV_RAW_PICTURE_READER_H

#include <string>

#include "zvx_av_ptr.h"
#include "zvx_av_status.h"

namespace zvx_av {

/* Raw pictures to encode, through libavformat: a .y4m file tells its own size, format and rate;
 * any other file is I420 pictures of the size given, one after another. */
class RawPictureReader {
public:
    Status open(const std::string &path, int width = 0, int height = 0);

    int width() const { return decoder_ ? decoder_->width : 0; }
    int height() const { return decoder_ ? decoder_->height : 0; }
    AVRational frame_rate() const { return frame_rate_; }

    /* The next picture; AVERROR_EOF after the last whole one. */
    Status read(FramePtr &picture);

private:
    InputPtr input_;
    CodecContextPtr decoder_;
    AVRational frame_rate_ = {0, 1};
    int picture_size_ = 0;
};

} // namespace zvx_av

#endif
