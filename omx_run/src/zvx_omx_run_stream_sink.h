#ifndef ZVX_OMX_RUN_STREAM_SINK_H
#define ZVX_OMX_RUN_STREAM_SINK_H

#include <string>
#include <vector>

#include "zvx_av_encoded_writer.h"
#include "zvx_omx_flow_media.h"

/* An encoder's output, counted, and written, once prepared with a file, into an elementary stream or
 * IVF file by the file's extension: the codec configuration it sends apart goes in front of the first
 * picture, and a picture split over buffers is joined. */
class zvx_run_stream_sink : public zvx_flow_sink {
public:
    /* False with *error set when the extension does not suit the codec. The file is made with the
     * first picture. */
    bool prepare(const std::string &path, const zvx_av::EncodedStreamInfo &info, std::string *error);
    bool close();
    uint32_t pictures() const { return pictures_; }
    uint32_t key_pictures() const { return key_pictures_; }
    uint64_t bytes() const { return bytes_; }

    bool take(const OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &output,
              const OMX_CONFIG_RECTTYPE &crop, std::string *problem) override;

private:
    std::string path_;
    zvx_av::EncodedStreamInfo info_;
    zvx_av::EncodedWriter writer_;
    bool opened_ = false;
    std::vector<uint8_t> config_;
    std::vector<uint8_t> picture_;
    uint32_t pictures_ = 0;
    uint32_t key_pictures_ = 0;
    uint64_t bytes_ = 0;
};

#endif
