#include "zvx_omx_flow_stream.h"

#include <algorithm>
#include <sstream>

#include "zvx_dev_picture.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"

namespace {

constexpr uint32_t ZVXP_EMPTY = UINT32_MAX;
/* What a compressed frame takes in an input buffer; the pattern engine reads only its length. */
constexpr uint32_t ZVXP_CODED_FRAME_BYTES = 4096;
constexpr uint32_t ZVXP_ANCHOR_GROUP = 3;

} // namespace

zvx_flow_stream::zvx_flow_stream(zvx_flow_client &client, const zvx_flow_stream_plan &plan, zvx_flow_source *source,
                                 zvx_flow_sink *sink)
    : client_(client), plan_(plan), source_(source), sink_(sink)
{
    client_.get_port_definition(zvx_flow_client::INPUT, &input_definition_);
    read_output_definition();
}

OMX_TICKS zvx_flow_stream::timestamp_of(uint32_t frame) const
{
    uint32_t shown = frame;
    if (plan_.reordered && frame > 0) {
        /* 0 | 3 1 2 | 6 4 5 | ... */
        const uint32_t group = (frame - 1) / ZVXP_ANCHOR_GROUP;
        const uint32_t place = (frame - 1) % ZVXP_ANCHOR_GROUP;
        shown = place == 0 ? ZVXP_ANCHOR_GROUP * group + ZVXP_ANCHOR_GROUP : ZVXP_ANCHOR_GROUP * group + place;
    }
    return static_cast<OMX_TICKS>(shown) * plan_.frame_interval;
}

void zvx_flow_stream::feed()
{
    if (held_) {
        return;
    }
    for (OMX_BUFFERHEADERTYPE *header : client_.held(zvx_flow_client::INPUT)) {
        send_input(header);
    }
    if (phase_ == phase::running && !ended_) {
        for (OMX_BUFFERHEADERTYPE *header : client_.held(zvx_flow_client::OUTPUT)) {
            if (client_.fill_buffer(header) != OMX_ErrorNone) {
                refused("FillThisBuffer refused");
            }
        }
    }
}

void zvx_flow_stream::send_end_of_stream(OMX_BUFFERHEADERTYPE *header, OMX_TICKS timestamp)
{
    eos_sent_ = true;
    if (client_.empty_buffer(header, 0, OMX_BUFFERFLAG_EOS, timestamp) != OMX_ErrorNone) {
        refused("EmptyThisBuffer refused the end of stream");
    }
}

void zvx_flow_stream::send_input(OMX_BUFFERHEADERTYPE *header)
{
    if (eos_sent_) {
        return;
    }
    if (source_ != nullptr) {
        send_media_input(header);
        return;
    }
    if (next_frame_ == plan_.frames) {
        /* The stream ends with an empty buffer flagged EOS after the last frame. */
        OMX_TICKS end = 0;
        for (uint32_t frame = 0; frame < plan_.frames; ++frame) {
            end = std::max(end, timestamp_of(frame) + plan_.frame_interval);
        }
        send_end_of_stream(header, end);
        return;
    }
    const uint32_t frame = next_frame_++;
    const OMX_TICKS timestamp = timestamp_of(frame);
    uint32_t length = std::min<uint32_t>(header->nAllocLen, ZVXP_CODED_FRAME_BYTES);
    if (client_.kind() == zvx_flow_kind::encoder) {
        const OMX_VIDEO_PORTDEFINITIONTYPE &video = input_definition_.format.video;
        length = std::min<uint32_t>(header->nAllocLen, video.nFrameWidth * video.nFrameHeight * 3 / 2);
    }
    uint32_t flags = OMX_BUFFERFLAG_ENDOFFRAME;
    if (plan_.eos_on_last_frame && next_frame_ == plan_.frames) {
        flags |= OMX_BUFFERFLAG_EOS;
        eos_sent_ = true;
    }
    pending_[timestamp] = next_picture_++;
    if (client_.empty_buffer(header, length, flags, timestamp) != OMX_ErrorNone) {
        refused("EmptyThisBuffer refused a frame");
    }
}

void zvx_flow_stream::send_media_input(OMX_BUFFERHEADERTYPE *header)
{
    if (failed_) {
        return;
    }
    if (at_frame_start_) {
        apply_encoder_changes();
    }
    std::string why;
    if (!source_->fill(*header, input_definition_, &why)) {
        if (why.empty()) {
            send_end_of_stream(header, last_timestamp_sent_ + plan_.frame_interval);
        } else {
            problem(why);
            failed_ = true;
        }
        return;
    }
    at_frame_start_ = (header->nFlags & OMX_BUFFERFLAG_ENDOFFRAME) != 0;
    if (at_frame_start_ && (header->nFlags & OMX_BUFFERFLAG_CODECCONFIG) == 0) {
        ++next_frame_;
    }
    last_timestamp_sent_ = std::max(last_timestamp_sent_, header->nTimeStamp);
    if (client_.empty_buffer(header, header->nFilledLen, header->nFlags, header->nTimeStamp) != OMX_ErrorNone) {
        refused("EmptyThisBuffer refused a frame");
    }
}

void zvx_flow_stream::apply_encoder_changes()
{
    for (const zvx_flow_encoder_change &change : plan_.encoder_changes) {
        if (change.at_frame != next_frame_) {
            continue;
        }
        OMX_ERRORTYPE error;
        if (change.change == zvx_flow_encoder_change::what::key_frame) {
            auto refresh = zvx_omx_stamped_record<OMX_CONFIG_INTRAREFRESHVOPTYPE>(zvx_flow_client::OUTPUT);
            refresh.IntraRefreshVOP = OMX_TRUE;
            error = client_.set_config(OMX_IndexConfigVideoIntraVOPRefresh, &refresh);
        } else {
            auto bitrate = zvx_omx_stamped_record<OMX_VIDEO_CONFIG_BITRATETYPE>(zvx_flow_client::OUTPUT);
            bitrate.nEncodeBitrate = change.bitrate;
            error = client_.set_config(OMX_IndexConfigVideoBitrate, &bitrate);
        }
        if (error != OMX_ErrorNone) {
            std::ostringstream text;
            text << "SetConfig refused the "
                 << (change.change == zvx_flow_encoder_change::what::key_frame ? "key frame" : "bitrate")
                 << " at frame " << change.at_frame;
            problem(text.str());
        }
    }
}

void zvx_flow_stream::react(const zvx_flow_notice &notice)
{
    switch (notice.what) {
    case zvx_flow_what::event:
        on_event(notice.event);
        break;
    case zvx_flow_what::empty_buffer_done:
        if (!held_) {
            send_input(notice.header);
        }
        break;
    case zvx_flow_what::fill_buffer_done:
        on_output(notice.header);
        break;
    default:
        break;
    }
}

bool zvx_flow_stream::run_until(const std::function<bool()> &done)
{
    return client_.pump_until([&] { return failed_ || done(); },
                              [this](const zvx_flow_notice &notice) { react(notice); }) &&
           !failed_;
}

bool zvx_flow_stream::run_to_end()
{
    feed();
    return run_until([this] { return ended_ && eos_event_ && client_.lent(zvx_flow_client::INPUT) == 0; });
}

void zvx_flow_stream::input_flushed(uint32_t next_picture)
{
    pending_.clear();
    last_timestamp_out_.reset();
    bitstream_position_ = 0;
    next_picture_ = next_picture;
}

std::vector<uint32_t> zvx_flow_stream::missing_pictures() const
{
    std::vector<uint32_t> missing;
    for (const auto &[timestamp, picture] : pending_) {
        missing.push_back(picture);
    }
    std::sort(missing.begin(), missing.end());
    return missing;
}

void zvx_flow_stream::on_output(OMX_BUFFERHEADERTYPE *header)
{
    const OMX_BUFFERHEADERTYPE &out = *header;
    if (out.nFilledLen == 0) {
        outputs_.push_back({ZVXP_EMPTY, out.nTimeStamp, 0, out.nFlags});
    } else if (source_ != nullptr) {
        take_media_output(out);
    } else if (client_.kind() == zvx_flow_kind::decoder) {
        check_picture(out);
    } else {
        check_bitstream(out);
    }
    if ((out.nFlags & OMX_BUFFERFLAG_EOS) != 0) {
        if (ended_) {
            problem("a second end of stream came out");
        }
        ended_ = true;
    }
    if (phase_ == phase::disabling) {
        free_output(header);
    } else if (phase_ == phase::running && !ended_ && !held_) {
        if (client_.fill_buffer(header) != OMX_ErrorNone) {
            refused("FillThisBuffer refused");
        }
    }
}

void zvx_flow_stream::take_media_output(const OMX_BUFFERHEADERTYPE &header)
{
    /* An encoder's picture may span buffers; its last one ends the frame. */
    const bool picture = (header.nFlags & OMX_BUFFERFLAG_CODECCONFIG) == 0 &&
                         (client_.kind() == zvx_flow_kind::decoder || (header.nFlags & OMX_BUFFERFLAG_ENDOFFRAME) != 0);
    outputs_.push_back({picture ? pictures_out_ : ZVXP_EMPTY, header.nTimeStamp, header.nFilledLen, header.nFlags});
    if (picture) {
        ++pictures_out_;
    }
    std::string why;
    if (sink_ != nullptr && !sink_->take(header, output_definition_, output_crop_, &why)) {
        problem(why);
        failed_ = true;
    }
}

void zvx_flow_stream::check_picture(const OMX_BUFFERHEADERTYPE &header)
{
    const auto found = pending_.find(header.nTimeStamp);
    if (found == pending_.end()) {
        std::ostringstream text;
        text << "a picture with timestamp " << header.nTimeStamp << " that was not sent or came out before";
        problem(text.str());
        outputs_.push_back({ZVXP_EMPTY, header.nTimeStamp, header.nFilledLen, header.nFlags});
        return;
    }
    const uint32_t picture = found->second;
    if (last_timestamp_out_ && header.nTimeStamp < *last_timestamp_out_) {
        problem("pictures out of presentation order");
    }
    last_timestamp_out_ = header.nTimeStamp;
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = output_definition_.format.video;
    const zvx_dev_picture_layout layout =
        zvx_dev_layout_picture(video.eColorFormat, video.nFrameWidth, video.nFrameHeight,
                               static_cast<uint32_t>(video.nStride), video.nSliceHeight);
    if (header.nFilledLen != layout.total_bytes ||
        !zvx_dev_picture_matches(header.pBuffer + header.nOffset, header.nFilledLen, layout, picture)) {
        std::ostringstream text;
        text << "picture " << picture << " (" << header.nFilledLen << " bytes) does not match a " << video.nFrameWidth
             << "x" << video.nFrameHeight << " picture of " << layout.total_bytes << " bytes";
        problem(text.str());
    }
    pending_.erase(found);
    ++pictures_out_;
    outputs_.push_back({picture, header.nTimeStamp, header.nFilledLen, header.nFlags});
}

void zvx_flow_stream::check_bitstream(const OMX_BUFFERHEADERTYPE &header)
{
    if (pending_.empty() || pending_.begin()->first != header.nTimeStamp) {
        std::ostringstream text;
        text << "bitstream with timestamp " << header.nTimeStamp << " out of input order";
        problem(text.str());
        return;
    }
    const uint32_t picture = pending_.begin()->second;
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = input_definition_.format.video;
    const bool key = picture % std::max<uint32_t>(plan_.key_interval, 1) == 0;
    if (((header.nFlags & OMX_BUFFERFLAG_SYNCFRAME) != 0) != key) {
        problem("key picture flag wrong");
    }
    if (!zvx_dev_bitstream_matches(header.pBuffer + header.nOffset, bitstream_position_, header.nFilledLen, picture)) {
        std::ostringstream text;
        text << "bitstream of picture " << picture << " at byte " << bitstream_position_ << " does not match";
        problem(text.str());
    }
    bitstream_position_ += header.nFilledLen;
    outputs_.push_back({picture, header.nTimeStamp, header.nFilledLen, header.nFlags});
    if ((header.nFlags & OMX_BUFFERFLAG_ENDOFFRAME) == 0) {
        return;
    }
    if (bitstream_position_ != zvx_dev_bitstream_length(video.nFrameWidth, video.nFrameHeight, key)) {
        problem("a picture's bitstream ended short or long");
    }
    bitstream_position_ = 0;
    pending_.erase(pending_.begin());
    ++pictures_out_;
}

void zvx_flow_stream::on_event(const zvx_flow_event &event)
{
    switch (event.event) {
    case OMX_EventPortSettingsChanged:
        if (event.data1 != zvx_flow_client::OUTPUT) {
            problem("settings of the input port changed");
        } else if (event.data2 != 0 && event.data2 != OMX_IndexParamPortDefinition) {
            /* Crop or colour: the buffers stay as they are. */
            read_output_definition();
        } else if (phase_ == phase::running) {
            start_reconfiguration();
        } else if (phase_ == phase::enabling) {
            changed_again_ = true;
        }
        break;
    case OMX_EventCmdComplete:
        if (event.data1 == OMX_CommandPortDisable && event.data2 == zvx_flow_client::OUTPUT &&
            phase_ == phase::disabling) {
            enable_output();
        } else if (event.data1 == OMX_CommandPortEnable && event.data2 == zvx_flow_client::OUTPUT &&
                   phase_ == phase::enabling) {
            phase_ = phase::running;
            if (changed_again_) {
                changed_again_ = false;
                start_reconfiguration();
            } else {
                feed();
            }
        }
        break;
    case OMX_EventBufferFlag:
        if (event.data1 == zvx_flow_client::OUTPUT && (event.data2 & OMX_BUFFERFLAG_EOS) != 0) {
            if (!ended_) {
                problem("the end-of-stream event came before the buffer");
            }
            eos_event_ = true;
        }
        break;
    case OMX_EventError: {
        std::ostringstream text;
        text << "error event 0x" << std::hex << event.data1 << " (" << std::dec << event.data2 << ")";
        problem(text.str());
        failed_ = true;
        break;
    }
    default:
        break;
    }
}

void zvx_flow_stream::start_reconfiguration()
{
    ++reconfigurations_;
    if (output_definition_.bEnabled == OMX_FALSE) {
        enable_output();
        return;
    }
    phase_ = phase::disabling;
    if (client_.send_command(OMX_CommandPortDisable, zvx_flow_client::OUTPUT) != OMX_ErrorNone) {
        problem("PortDisable refused");
        return;
    }
    for (OMX_BUFFERHEADERTYPE *header : client_.held(zvx_flow_client::OUTPUT)) {
        free_output(header);
    }
}

void zvx_flow_stream::enable_output()
{
    ask_for_readable_samples();
    phase_ = phase::enabling;
    if (client_.send_command(OMX_CommandPortEnable, zvx_flow_client::OUTPUT) != OMX_ErrorNone ||
        client_.allocate_buffers(zvx_flow_client::OUTPUT) != OMX_ErrorNone) {
        problem("the output port could not be enabled with new buffers");
    }
    read_output_definition();
}

/* A ten-bit stream is offered in a packed layout; this client reads two bytes a sample, semi-planar, the
 * value in the top bits, and asks for that while the port is disabled. */
void zvx_flow_stream::ask_for_readable_samples()
{
    OMX_PARAM_PORTDEFINITIONTYPE definition =
        zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(zvx_flow_client::OUTPUT);
    if (client_.kind() != zvx_flow_kind::decoder ||
        client_.get_port_definition(zvx_flow_client::OUTPUT, &definition) != OMX_ErrorNone) {
        return;
    }
    const auto format = static_cast<OMX_U32>(definition.format.video.eColorFormat);
    if (format != QURO_COLOR_FormatYUYAAYVYAA_10b && format != QURO_COLOR_FormatAAYUYAAYVY_10b) {
        return;
    }
    definition.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(QURO_COLOR_FormatYUV420_10b_MS);
    if (client_.set_port_definition(definition) != OMX_ErrorNone) {
        problem("the output port refused two-byte ten-bit samples");
    }
}

void zvx_flow_stream::free_output(OMX_BUFFERHEADERTYPE *header)
{
    if (client_.free_buffer(header) != OMX_ErrorNone) {
        problem("FreeBuffer refused an output buffer of a port being disabled");
    }
}

void zvx_flow_stream::read_output_definition()
{
    client_.get_port_definition(zvx_flow_client::OUTPUT, &output_definition_);
    output_crop_ = zvx_omx_stamped_record<OMX_CONFIG_RECTTYPE>(zvx_flow_client::OUTPUT);
    if (client_.kind() == zvx_flow_kind::decoder &&
        client_.get_config(OMX_IndexConfigCommonOutputCrop, &output_crop_) != OMX_ErrorNone) {
        /* No crop: the whole picture is visible. */
        output_crop_.nWidth = 0;
        output_crop_.nHeight = 0;
    }
}

void zvx_flow_stream::problem(const std::string &what)
{
    client_.note_problem(what);
}

void zvx_flow_stream::refused(const std::string &what)
{
    /* A component gone invalid refuses everything; its error event says why. */
    if (client_.state() != OMX_StateInvalid) {
        problem(what);
    }
}
