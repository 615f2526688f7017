#ifndef ZVX_OMX_RUN_STREAM_SOURCE_H
#define ZVX_OMX_RUN_STREAM_SOURCE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zvx_av_media_reader.h"
#include "zvx_omx_flow_media.h"

extern "C" {
#include <libavcodec/bsf.h>
}

/* A file's access units for a decoder, as a media framework hands them over: the container's
 * codec configuration first in a buffer flagged OMX_BUFFERFLAG_CODECCONFIG, then one access unit per
 * buffer flagged OMX_BUFFERFLAG_ENDOFFRAME. H.264 and HEVC from containers are turned into start-code
 * streams, with their parameter sets in band, as a hardware decoder takes them. */
class zvx_run_stream_source : public zvx_flow_source {
public:
    /* False with *error set when the file cannot be read as a video stream. */
    bool open(const std::string &path, std::string *error);
    /* Read no more than this many access units. */
    void limit(uint32_t units) { limit_ = units; }

    std::optional<zvx_av::Codec> codec() const { return reader_.codec(); }
    const char *codec_name() const;
    int width() const { return reader_.width(); }
    int height() const { return reader_.height(); }

    bool fill(OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &input, std::string *problem) override;

private:
    struct FilterFree {
        void operator()(AVBSFContext *filter) const { av_bsf_free(&filter); }
    };

    bool start_filter(const char *name, std::string *error);
    /* The next access unit into unit_; false at the end or with *problem set. */
    bool next_unit(std::string *problem);
    bool read_filtered(zvx_av::AccessUnit &unit, std::string *problem);

    zvx_av::MediaReader reader_;
    std::unique_ptr<AVBSFContext, FilterFree> filter_;
    bool filter_drained_ = false;
    std::vector<uint8_t> config_;
    uint32_t limit_ = UINT32_MAX;
    uint32_t units_read_ = 0;
    std::vector<uint8_t> unit_;
    size_t unit_sent_ = 0;
    OMX_TICKS unit_timestamp_ = 0;
    uint32_t unit_flags_ = 0;
};

#endif
