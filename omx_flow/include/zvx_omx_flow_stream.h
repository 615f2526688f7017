#ifndef ZVX_OMX_FLOW_STREAM_H
#define ZVX_OMX_FLOW_STREAM_H

/*
 * A stream through a component in Executing, driven the way a media framework drives it: every input
 * buffer that comes back carries the next frame, every output buffer is checked against the pattern
 * engine's pattern and given again, a new output port setting is followed by disabling the port,
 * freeing and reallocating its buffers and enabling it again, and the stream ends with an end of
 * stream that must come out of the output port.
 */

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zvx_omx_flow_client.h"
#include "zvx_omx_flow_media.h"

struct zvx_flow_stream_plan {
    uint32_t frames = 30;
    OMX_TICKS frame_interval = 33333;
    /* Decode order differs from presentation order: each anchor is sent before the two pictures shown
     * ahead of it (needs a reorder depth of 2). */
    bool reordered = false;
    /* The last frame carries the end of stream; otherwise an empty buffer flagged EOS follows it, as
     * GStreamer sends it. */
    bool eos_on_last_frame = false;
    /* Encode: every n-th picture is a key picture. */
    uint32_t key_interval = 30;
    /* Encode: key frames and bitrates asked for in the middle of the stream. */
    std::vector<zvx_flow_encoder_change> encoder_changes;
};

/* What came out, in order. */
struct zvx_flow_output {
    uint32_t picture; /* the codec's number for it, in input order; UINT32_MAX for an empty buffer */
    OMX_TICKS timestamp;
    OMX_U32 filled_len;
    OMX_U32 flags;
};

class zvx_flow_stream {
public:
    /* With a source, inputs come from it until it has no more (plan.frames is not used) and outputs
     * go to the sink, if there is one, unchecked. */
    zvx_flow_stream(zvx_flow_client &client, const zvx_flow_stream_plan &plan, zvx_flow_source *source = nullptr,
                    zvx_flow_sink *sink = nullptr);

    /* Gives the component every buffer the client holds: the next frames in input buffers, output
     * buffers to fill; nothing more once the end of stream has been sent. */
    void feed();
    /* Checks what came back and keeps the flow going. */
    void react(const zvx_flow_notice &notice);
    /* Pumps until done(), false when the component went quiet or reported an error first. */
    bool run_until(const std::function<bool()> &done);
    /* To the end of stream out of the output port, with every input buffer back; false as run_until. */
    bool run_to_end();

    /* While held, returned buffers stay with the client. */
    void hold(bool held) { held_ = held; }
    /* The client flushed the input port: frames sent and not yet out are gone, and the codec numbers
     * the next picture it takes next_picture (it counts only the pictures it consumed). */
    void input_flushed(uint32_t next_picture);

    bool ended() const { return ended_; }
    /* The component reported an error: the stream cannot go on. */
    bool failed() const { return failed_; }
    bool reconfiguring() const { return phase_ != phase::running; }
    uint32_t frames_sent() const { return next_frame_; }
    uint32_t pictures_out() const { return pictures_out_; }
    uint32_t reconfigurations() const { return reconfigurations_; }
    const std::vector<zvx_flow_output> &outputs() const { return outputs_; }
    /* Pictures sent that never came out and were not flushed away. */
    std::vector<uint32_t> missing_pictures() const;

private:
    enum class phase { running, disabling, enabling };

    OMX_TICKS timestamp_of(uint32_t frame) const;
    void send_input(OMX_BUFFERHEADERTYPE *header);
    void send_media_input(OMX_BUFFERHEADERTYPE *header);
    void send_end_of_stream(OMX_BUFFERHEADERTYPE *header, OMX_TICKS timestamp);
    void apply_encoder_changes();
    void on_output(OMX_BUFFERHEADERTYPE *header);
    void take_media_output(const OMX_BUFFERHEADERTYPE &header);
    void check_picture(const OMX_BUFFERHEADERTYPE &header);
    void check_bitstream(const OMX_BUFFERHEADERTYPE &header);
    void on_event(const zvx_flow_event &event);
    /* Disables the output port, or enables it at once when it is disabled (a client that starts
     * without output buffers until the stream announces itself). */
    void start_reconfiguration();
    void enable_output();
    void ask_for_readable_samples();
    void free_output(OMX_BUFFERHEADERTYPE *header);
    void read_output_definition();
    void problem(const std::string &what);
    void refused(const std::string &what);

    zvx_flow_client &client_;
    const zvx_flow_stream_plan plan_;
    zvx_flow_source *const source_;
    zvx_flow_sink *const sink_;
    OMX_PARAM_PORTDEFINITIONTYPE input_definition_{};
    OMX_PARAM_PORTDEFINITIONTYPE output_definition_{};
    OMX_CONFIG_RECTTYPE output_crop_{};
    /* Media: the next input starts a frame; the latest timestamp sent. */
    bool at_frame_start_ = true;
    OMX_TICKS last_timestamp_sent_ = 0;
    uint32_t next_frame_ = 0;
    uint32_t next_picture_ = 0;
    bool eos_event_ = false;
    bool eos_sent_ = false;
    bool ended_ = false;
    bool failed_ = false;
    bool held_ = false;
    phase phase_ = phase::running;
    bool changed_again_ = false;
    uint32_t reconfigurations_ = 0;

    /* Pictures sent and not yet out: the codec's picture number by timestamp. */
    std::map<OMX_TICKS, uint32_t> pending_;
    std::optional<OMX_TICKS> last_timestamp_out_;
    uint32_t pictures_out_ = 0;
    std::vector<zvx_flow_output> outputs_;
    /* Encode: bytes of the picture being written out so far. */
    uint32_t bitstream_position_ = 0;
};

#endif
