#ifndef ZVX_AV_ENCODER_OPTIONS_H
#define ZVX_AV_ENCODER_OPTIONS_H

#include "zvx_av_encoder.h"

namespace zvx_av {

/* Puts the settings into a context about to be opened with `encoder`, and the wrapper's private
 * options into `options`. */
Status configure_encoder(const EncoderSettings &settings, const AVCodec &encoder, AVCodecContext &context,
                         AVDictionary **options);

} // namespace zvx_av

#endif
