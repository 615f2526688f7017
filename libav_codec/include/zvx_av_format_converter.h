#ifndef ZVX_AV_FORMAT_CONVERTER_H
#define ZVX_AV_FORMAT_CONVERTER_H

#include "zvx_av_ptr.h"

namespace zvx_av {

/* Converts pictures to another pixel format at the same size through libswscale, into frames of
 * their own. libswscale's SIMD code faults on rows that are not aligned to the machine's vectors,
 * which a client's buffer and stride need not be: such a picture is copied to an aligned frame first.
 * Keeps its scaler between pictures of one kind. */
class FormatConverter {
public:
    /* Null when the conversion is not possible or memory runs out. */
    FramePtr convert(const AVFrame &picture, AVPixelFormat target);

private:
    ScalerPtr scaler_;
};

} // namespace zvx_av

#endif
