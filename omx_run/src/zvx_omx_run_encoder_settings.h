#ifndef ZVX_OMX_RUN_ENCODER_SETTINGS_H
#define ZVX_OMX_RUN_ENCODER_SETTINGS_H

#include <cstdint>
#include <string>

#include "zvx_omx_flow_client.h"

/* What a client asks of an encoder before it starts. */
struct zvx_run_encoder_settings {
    uint32_t bitrate = 1000000; /* bits per second */
    bool constant_bitrate = false;
    uint32_t frame_rate = 30;  /* pictures per second */
    uint32_t key_interval = 0; /* pictures from one key frame to the next; 0: the device's choice */
    std::string profile;       /* avc: baseline, main, high; hevc: main, main10; empty: the device's choice */
    std::string level;         /* avc: 1 to 5.2 (and 1b); hevc: 1 to 6.2 */
};

bool zvx_run_known_profile(const std::string &codec, const std::string &profile);
bool zvx_run_known_level(const std::string &codec, const std::string &level);

/* Sets them on the encoder in Loaded as FFmpeg's and GStreamer's clients do: frame rate and colour
 * format on the input port, the rate on the output port and OMX_IndexParamVideoBitrate, and the
 * codec's own record for the key-frame interval, profile and level; the interval also in the
 * component's codec-neutral intra-period record. False, with the problem noted on
 * the client, when the component refused one. */
bool zvx_run_apply_encoder_settings(zvx_flow_client &client, const std::string &codec,
                                    const zvx_run_encoder_settings &settings);

#endif
