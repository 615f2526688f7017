#ifndef ZVX_OMX_RUN_PICTURE_SINK_H
#define ZVX_OMX_RUN_PICTURE_SINK_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "zvx_av_picture_writer.h"
#include "zvx_omx_flow_media.h"

/* A decoder's pictures into a file, one after another with no gaps, cropped to their visible part:
 * I420, or for ten-bit pictures I420 with sixteen-bit little-endian samples (FFmpeg's yuv420p10le). */
class zvx_run_picture_sink : public zvx_flow_sink {
public:
    bool open(const std::string &path, std::string *error);
    /* False when the file could not be written to the end. */
    bool close();
    uint32_t pictures() const { return pictures_; }

    bool take(const OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &output,
              const OMX_CONFIG_RECTTYPE &crop, std::string *problem) override;

private:
    struct FileClose {
        void operator()(std::FILE *file) const { static_cast<void>(std::fclose(file)); }
    };

    std::unique_ptr<std::FILE, FileClose> file_;
    zvx_av::PictureWriter writer_;
    std::vector<uint8_t> picture_;
    uint32_t pictures_ = 0;
};

#endif
