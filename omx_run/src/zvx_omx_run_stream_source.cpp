#include "zvx_omx_run_stream_source.h"

#include <algorithm>
#include <cstring>

namespace {

/* Where a file has no timestamps, its access units are a 30th of a second apart. */
constexpr OMX_TICKS ZVXP_FRAME_INTERVAL_US = 33333;
/* avcC and hvcC records start with their version, 1; start codes with 0. */
constexpr uint8_t ZVXP_RECORD_VERSION = 1;

} // namespace

bool zvx_run_stream_source::open(const std::string &path, std::string *error)
{
    if (const zvx_av::Status status = reader_.open(path); !status.ok()) {
        *error = "cannot read " + path + ": " + status.message();
        return false;
    }
    const std::span<const uint8_t> config = reader_.codec_config();
    const std::optional<zvx_av::Codec> codec = reader_.codec();
    const bool length_prefixed = !config.empty() && config[0] == ZVXP_RECORD_VERSION;
    if (length_prefixed && codec == zvx_av::Codec::avc) {
        return start_filter("h264_mp4toannexb", error);
    }
    if (length_prefixed && codec == zvx_av::Codec::hevc) {
        return start_filter("hevc_mp4toannexb", error);
    }
    /* Start-code streams carry their parameter sets in band already. */
    if (codec != zvx_av::Codec::avc && codec != zvx_av::Codec::hevc) {
        config_.assign(config.begin(), config.end());
    }
    return true;
}

const char *zvx_run_stream_source::codec_name() const
{
    return avcodec_get_name(reader_.codec_id());
}

bool zvx_run_stream_source::start_filter(const char *name, std::string *error)
{
    AVBSFContext *filter = nullptr;
    if (av_bsf_alloc(av_bsf_get_by_name(name), &filter) < 0) {
        *error = std::string("no ") + name + " in this libavcodec";
        return false;
    }
    filter_.reset(filter);
    const std::span<const uint8_t> config = reader_.codec_config();
    AVCodecParameters &parameters = *filter->par_in;
    parameters.codec_type = AVMEDIA_TYPE_VIDEO;
    parameters.codec_id = reader_.codec_id();
    parameters.extradata = static_cast<uint8_t *>(av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters.extradata == nullptr) {
        *error = "out of memory";
        return false;
    }
    std::memcpy(parameters.extradata, config.data(), config.size());
    parameters.extradata_size = static_cast<int>(config.size());
    if (const int status = av_bsf_init(filter); status < 0) {
        *error = std::string(name) + ": " + zvx_av::Status(status).message();
        return false;
    }
    return true;
}

bool zvx_run_stream_source::read_filtered(zvx_av::AccessUnit &unit, std::string *problem)
{
    if (!filter_) {
        const zvx_av::Status status = reader_.read(unit);
        if (!status.ok() && status.code() != AVERROR_EOF) {
            *problem = "reading the input: " + status.message();
        }
        return status.ok();
    }
    for (;;) {
        unit.packet = zvx_av::make_packet();
        if (!unit.packet) {
            *problem = "out of memory";
            return false;
        }
        if (av_bsf_receive_packet(filter_.get(), unit.packet.get()) == 0) {
            return true;
        }
        if (filter_drained_) {
            return false;
        }
        zvx_av::AccessUnit read;
        const zvx_av::Status status = reader_.read(read);
        if (!status.ok() && status.code() != AVERROR_EOF) {
            *problem = "reading the input: " + status.message();
            return false;
        }
        filter_drained_ = !status.ok();
        /* The filter keeps the packet's timestamp; the reader's is already in microseconds. */
        if (status.ok()) {
            unit.timestamp_us = read.timestamp_us;
            unit.key = read.key;
        }
        if (av_bsf_send_packet(filter_.get(), status.ok() ? read.packet.get() : nullptr) < 0) {
            *problem = "the input's access units cannot be turned into a start-code stream";
            return false;
        }
    }
}

bool zvx_run_stream_source::next_unit(std::string *problem)
{
    unit_sent_ = 0;
    if (!config_.empty()) {
        unit_ = std::move(config_);
        config_.clear();
        unit_flags_ = OMX_BUFFERFLAG_CODECCONFIG | OMX_BUFFERFLAG_ENDOFFRAME;
        return true;
    }
    if (units_read_ == limit_) {
        return false;
    }
    zvx_av::AccessUnit unit;
    if (!read_filtered(unit, problem)) {
        return false;
    }
    const std::span<const uint8_t> data = unit.data();
    unit_.assign(data.begin(), data.end());
    unit_timestamp_ =
        unit.timestamp_us != zvx_av::no_timestamp ? unit.timestamp_us : units_read_ * ZVXP_FRAME_INTERVAL_US;
    unit_flags_ = OMX_BUFFERFLAG_ENDOFFRAME | (unit.key ? OMX_BUFFERFLAG_SYNCFRAME : 0);
    ++units_read_;
    return true;
}

bool zvx_run_stream_source::fill(OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &,
                                 std::string *problem)
{
    if (unit_sent_ == unit_.size() && !next_unit(problem)) {
        return false;
    }
    const size_t piece = std::min<size_t>(unit_.size() - unit_sent_, header.nAllocLen);
    std::memcpy(header.pBuffer, unit_.data() + unit_sent_, piece);
    unit_sent_ += piece;
    header.nOffset = 0;
    header.nFilledLen = static_cast<OMX_U32>(piece);
    header.nTimeStamp = unit_timestamp_;
    header.nFlags = unit_sent_ == unit_.size() ? unit_flags_ : unit_flags_ & ~OMX_BUFFERFLAG_ENDOFFRAME;
    return true;
}
