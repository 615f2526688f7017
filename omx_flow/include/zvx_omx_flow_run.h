#ifndef ZVX_OMX_FLOW_RUN_H
#define ZVX_OMX_FLOW_RUN_H

/*
 * One whole decode or encode over the pattern device, as a media framework runs it: role and port
 * settings in Loaded, Loaded to Idle with buffers, Executing, the stream to its end, then Idle and
 * Loaded with every buffer freed, and the component destroyed. The devices must be running.
 */

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zvx_omx_flow_client.h"
#include "zvx_omx_flow_stream.h"
#include "zvx_codec_device.h"

struct zvx_flow_run_options {
    zvx_flow_kind kind = zvx_flow_kind::decoder;
    std::string codec = "avc";
    /* Decode: the stream's first resolution (the script's); encode: the pictures'. */
    uint32_t width = 320;
    uint32_t height = 240;
    zvx_flow_stream_plan plan;
    /* How the device behaves: resolution changes, faults, delays. */
    zvx_dev_script script;
    /* GStreamer's way: the output port disabled until the stream announces itself, then enabled. */
    bool output_disabled_at_start = false;
    /* Real media in and out instead of the pattern (zvx_omx_flow_media.h); not owned. */
    zvx_flow_source *source = nullptr;
    zvx_flow_sink *sink = nullptr;
    /* Settings made in Loaded after the role and the input port's size (an encoder's rate, key-frame
     * interval, profile); false, with the problem noted on the client, when one was refused. */
    std::function<bool(zvx_flow_client &)> configure;
};

struct zvx_flow_run_result {
    /* Back in Loaded and destroyed, with nothing refused on the way. */
    bool completed = false;
    uint32_t frames_sent = 0;
    uint32_t pictures_out = 0;
    uint32_t reconfigurations = 0;
    uint64_t buffers_lent = 0;
    uint64_t buffers_returned = 0;
    std::vector<zvx_flow_event> events;
    std::vector<zvx_flow_output> outputs;
    /* Everything the client found wrong, in the order found. */
    std::vector<std::string> problems;
    /* The component's state just before it was destroyed. */
    OMX_STATETYPE final_state = OMX_StateInvalid;
    int64_t elapsed_ns = 0;
};

/* The component role the run asks for: "video_decoder." or "video_encoder." and the codec. */
std::string zvx_flow_role(const zvx_flow_run_options &options);

zvx_flow_run_result zvx_flow_run(const zvx_flow_run_options &options, zvx_flow_observer *observer = nullptr);

/* The steps of a run, for a flow that does more in the middle of its stream. The devices' default
 * script must be set before the client opens its component (zvx_flow_script gives the run's). */
zvx_dev_script zvx_flow_script(const zvx_flow_run_options &options);
/* Role and port settings, then Idle with buffers and Executing. */
bool zvx_flow_start(zvx_flow_client &client, const zvx_flow_run_options &options);
/* With the stream at its end: Idle with every buffer back, then Loaded with every buffer freed. */
bool zvx_flow_stop(zvx_flow_client &client, zvx_flow_stream &stream);

#endif
