#ifndef ZVX_DEV_ENCODER_SETTINGS_H
#define ZVX_DEV_ENCODER_SETTINGS_H

#include <cstdint>
#include <optional>

#include "zvx_av_encoder.h"
#include "zvx_av_picture_layout.h"
#include "zvx_dev_parameters.h"

namespace zvx_dev {

/* The encoder the host's records ask for: picture size, colour format and frame rate of the input
 * port; rate control and bitrate; key-frame interval (the intra period record, else the codec's own);
 * B pictures; profile and level in FFmpeg's names. */
zvx_av::EncoderSettings encoder_settings(zvx_av::Codec codec, const ParameterStore &parameters);

/* Where the host's raw pictures lie in its input buffers. */
zvx_av::PictureLayout input_layout(const ParameterStore &parameters, int width, int height);

/* Bits per second the host asked for last with OMX_IndexConfigVideoBitrate. */
std::optional<int64_t> bitrate_change(const ParameterStore &parameters);

/* Whether the host's last OMX_IndexConfigVideoIntraVOPRefresh asks for a key picture. */
bool key_frame_requested(const ParameterStore &parameters);

} // namespace zvx_dev

#endif
