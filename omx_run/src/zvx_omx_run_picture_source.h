#ifndef ZVX_OMX_RUN_PICTURE_SOURCE_H
#define ZVX_OMX_RUN_PICTURE_SOURCE_H

#include <string>

#include "zvx_av_picture_writer.h"
#include "zvx_av_raw_picture_reader.h"
#include "zvx_omx_flow_media.h"

/* Raw pictures (.y4m, or I420 of a given size) for an encoder, one per buffer, laid out as the input
 * port says. */
class zvx_run_picture_source : public zvx_flow_source {
public:
    /* width and height are needed for files other than .y4m; false with *error set when the file
     * cannot be read. */
    bool open(const std::string &path, int width, int height, std::string *error);
    /* Send no more than this many pictures. */
    void limit(uint32_t pictures) { limit_ = pictures; }
    void set_frame_rate(uint32_t frames_per_second) { frame_rate_ = frames_per_second; }

    int width() const { return reader_.width(); }
    int height() const { return reader_.height(); }
    /* The file's own rate (.y4m), else 0. */
    uint32_t file_frame_rate() const;

    bool fill(OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &input, std::string *problem) override;

private:
    zvx_av::RawPictureReader reader_;
    zvx_av::PictureWriter writer_;
    uint32_t limit_ = UINT32_MAX;
    uint32_t frame_rate_ = 30;
    uint32_t pictures_sent_ = 0;
};

#endif
