#ifndef ZVX_CODEC_DEVICE_H
#define ZVX_CODEC_DEVICE_H

/*
 * A codec device in software behind the zvx_* session functions of zvx_session_interface.h. Link
 * zvx_codec_device instead of the session stub. Each zvx_init opens one device with a worker thread
 * of its own; its descriptor becomes readable while events wait. Its codec is an engine the script
 * picks: a pattern generator, whose every byte a test can predict, or libavcodec, which decodes and
 * encodes real streams.
 *
 * Between zvx_init_emulator and zvx_destroy_emulator a test scripts the devices (engine, stream,
 * delays, faults) and watches them (buffers held, events sent) with the functions below. Devices
 * opened from then on start with the default script; an open device can be re-scripted by descriptor.
 *
 * What a device with the pattern engine does (the libavcodec engine takes the stream's own pictures,
 * sizes and key frames instead of the scripted ones, and keeps everything else):
 * - it works only while its session is active and its hardware state is RUNNING; state requests,
 *   flushes and faults are answered in the order asked, in any hardware state;
 * - a decode turns every input that holds data into one picture; the first picture, and the first
 *   of every scripted resolution change, is announced to the host (zvx_dev_report) once the
 *   pictures before it are out; output buffers registered before an announcement are not used
 *   until the host says to carry on (a flush with ZVX_BASE_FLUSH_QUICK) or flushes the output port;
 * - pictures come out in presentation order (timestamps sorted within a reorder window), with
 *   the input's timestamp and the pattern of zvx_dev_picture.h, sized by the output port's colour
 *   format, stride and slice height as last set with zvx_set_parameter;
 * - an encode turns every input picture into one bitstream output, split over several output
 *   buffers when one is too small (only the last carries OMX_BUFFERFLAG_ENDOFFRAME); its first
 *   picture is announced with ZVX_BASE_EVENT_GENERIC kind 3 for the output port;
 * - OMX_BUFFERFLAG_EOS on an input ends the stream: every picture still held comes out, the last
 *   one flagged EOS; an EOS input without data comes out as an empty output flagged EOS;
 * - a flush returns every held buffer of each port asked for, then sends that port's flushed
 *   event; an input flush also drops the pictures not yet output.
 */

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zvx_session_interface.h"

/* How a decode announces a stream resolution to the host. */
enum class zvx_dev_report : uint8_t {
    /* ZVX_BASE_EVENT_ALLOC_PARAMS, then ZVX_BASE_EVENT_SEQUENCE_PARAMS. */
    sequence_params,
    /* ZVX_BASE_EVENT_GENERIC kind 3 for the output port; the host reads the rest back. */
    port_definition,
    /* ZVX_BASE_EVENT_ALLOC_PARAMS alone; output buffers registered before it come back rejected. */
    vp9_allocation,
};

struct zvx_dev_resolution_change {
    uint32_t at_frame; /* the input picture, counted from 0, that has the new resolution */
    uint32_t width;
    uint32_t height;
    zvx_dev_report report = zvx_dev_report::sequence_params;
};

enum class zvx_dev_fault_kind : uint8_t {
    /* The next `count` outputs come back unfilled, zvx_flags bit 0x1000 set. */
    reject_outputs,
    /* ZVX_BASE_EVENT_SESSION_HUNG; from then on the session answers nothing until destroyed. */
    session_hung,
    /* ZVX_BASE_EVENT_ERROR with error_code and message. */
    error_event,
};

struct zvx_dev_fault {
    zvx_dev_fault_kind kind;
    uint32_t at_frame = 0; /* in a script: fires once this input picture has been consumed */
    uint32_t count = 1;
    uint32_t error_code = 0;
    std::string message;
};

/* A slow device: how long each kind of operation takes, in microseconds. */
struct zvx_dev_delays {
    uint32_t input_us = 0;
    uint32_t output_us = 0;
    uint32_t state_change_us = 0;
    uint32_t flush_us = 0;
};

/* Where the pattern engine is while the device runs it unlocked. */
enum class zvx_dev_engine_step : uint8_t {
    consume, /* taking an input picture in */
    write,   /* writing a picture or bitstream into an output buffer */
};

/* The codec behind a device. */
enum class zvx_dev_engine : uint8_t {
    /* Pictures and bitstreams of a pattern (zvx_dev_picture.h), sized and timed by the script. */
    pattern,
    /* libavcodec's decoders and encoders over the real stream. */
    libav,
};

struct zvx_dev_script {
    /* Read when a session is created: a session keeps the engine it started with. */
    zvx_dev_engine engine = zvx_dev_engine::pattern;
    /* Decode: the stream's resolution from its first picture, and how it is announced. */
    uint32_t stream_width = 320;
    uint32_t stream_height = 240;
    zvx_dev_report stream_report = zvx_dev_report::sequence_params;
    std::vector<zvx_dev_resolution_change> resolution_changes;
    /* Decode: the stream's resolution is the frame size the host last set on the input port, once it
     * has set one, as a client that parsed the stream declares it (a device would read it from the
     * stream); the scripted size and changes apply until then. */
    bool stream_size_from_input_port = false;
    /* Decode: pictures held to put timestamps in presentation order; 0 outputs in decode order. */
    uint32_t reorder_depth = 0;
    /* Decode: frame buffers the stream needs (the host is never told fewer than it already keeps). */
    uint32_t output_buffers_needed = 4;
    /* Pictures consumed and not yet output before input waits; raised above reorder_depth. */
    uint32_t max_pictures_in_flight = 8;
    /* Encode: every n-th picture is a key picture (OMX_BUFFERFLAG_SYNCFRAME). */
    uint32_t key_interval = 30;
    zvx_dev_delays delays;
    std::vector<zvx_dev_fault> faults;
    /* Returns of consumed input are held back and released in a seeded random order; the two
     * flushed events of a two-port flush come in random order. */
    bool shuffle_events = false;
    uint32_t shuffle_seed = 1;
    /* zvx_init fails as if the device node did not open. */
    bool fail_open = false;
    /* Called by the pattern engine on the device's worker in each step above, with the input picture's
     * number: a test holds the device in the middle of its work here. */
    std::function<void(zvx_dev_engine_step step, uint32_t picture)> inside_engine;
};

inline constexpr size_t ZVX_DEV_EVENT_CODES = ZVX_BASE_EVENT_FW_TRACE_BUFFERS + 1;

struct zvx_dev_stats {
    bool session_active;
    bool hung;
    int32_t hw_state;
    std::array<uint32_t, 2> registered_buffers; /* by port */
    std::array<uint32_t, 2> held_buffers;       /* queued with the session and not yet returned */
    uint64_t pictures_consumed;                 /* by the current session */
    uint64_t pictures_output;                   /* by the current session; encode: pictures fully written */
    /* The rest since the device opened. */
    std::array<uint64_t, ZVX_DEV_EVENT_CODES> events_sent; /* by event code, as queued for the host */
    uint64_t events_pending;
    uint64_t buffers_dropped; /* held buffers forgotten without an event: unregistered or session ended */
};

/* Everything since zvx_init_emulator, closed devices included. */
struct zvx_dev_totals {
    uint64_t devices_opened;
    uint64_t devices_closed;
    uint64_t sessions_created;
    uint64_t sessions_destroyed;
    std::array<uint64_t, ZVX_DEV_EVENT_CODES> events_sent;
    uint64_t events_discarded; /* queued but never fetched: the session or device ended first */
    uint64_t buffers_dropped;
    uint64_t buffers_left_registered; /* still registered when their device closed */
};

/* Devices opened from now on start with this script. */
void zvx_dev_set_default_script(const zvx_dev_script &script);
/* Replaces an open device's script for what it has not done yet; false for an unknown descriptor. */
bool zvx_dev_set_script(int fd, const zvx_dev_script &script);
/* Fires a fault now (at_frame is ignored); false for an unknown descriptor or without an active session. */
bool zvx_dev_inject_fault(int fd, const zvx_dev_fault &fault);

/* Whether the devices take this role ("video_decoder.avc", "video_encoder.vp9", ...). */
bool zvx_dev_offers_role(const char *role);

/* Open devices, oldest first. */
std::vector<int> zvx_dev_open_devices(void);
bool zvx_dev_get_stats(int fd, zvx_dev_stats *stats);
zvx_dev_totals zvx_dev_get_totals(void);

#endif
