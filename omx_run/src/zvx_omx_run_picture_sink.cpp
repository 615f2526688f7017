#include "zvx_omx_run_picture_sink.h"

#include <cerrno>
#include <cstring>

#include "zvx_av_picture_wrapper.h"
#include "zvx_omx_run_picture_layout.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace {

/* The crop as libav marks it on a frame; false when it does not lie inside the picture. */
bool zvxp_mark_crop(AVFrame &frame, const OMX_CONFIG_RECTTYPE &crop)
{
    if (crop.nWidth == 0 || crop.nHeight == 0) {
        return true;
    }
    const int64_t right = int64_t{crop.nLeft} + crop.nWidth;
    const int64_t bottom = int64_t{crop.nTop} + crop.nHeight;
    if (crop.nLeft < 0 || crop.nTop < 0 || right > frame.width || bottom > frame.height) {
        return false;
    }
    frame.crop_left = static_cast<size_t>(crop.nLeft);
    frame.crop_top = static_cast<size_t>(crop.nTop);
    frame.crop_right = static_cast<size_t>(frame.width - right);
    frame.crop_bottom = static_cast<size_t>(frame.height - bottom);
    return av_frame_apply_cropping(&frame, AV_FRAME_CROP_UNALIGNED) == 0;
}

} // namespace

bool zvx_run_picture_sink::open(const std::string &path, std::string *error)
{
    file_.reset(std::fopen(path.c_str(), "wb"));
    if (!file_) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool zvx_run_picture_sink::close()
{
    return file_ && std::fclose(file_.release()) == 0;
}

bool zvx_run_picture_sink::take(const OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &output,
                                const OMX_CONFIG_RECTTYPE &crop, std::string *problem)
{
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = output.format.video;
    const std::optional<zvx_av::PictureLayout> layout = zvx_run_picture_layout(video);
    if (!layout) {
        *problem = "the output port's colour format " + std::to_string(static_cast<OMX_U32>(video.eColorFormat)) +
                   " cannot be written as I420";
        return false;
    }
    const zvx_av::FramePtr frame =
        zvx_av::wrap_picture(std::span<uint8_t>(header.pBuffer + header.nOffset, header.nFilledLen),
                             static_cast<int>(video.nFrameWidth), static_cast<int>(video.nFrameHeight), *layout);
    if (!frame) {
        *problem = "an output of " + std::to_string(header.nFilledLen) + " bytes cannot hold a " +
                   std::to_string(video.nFrameWidth) + "x" + std::to_string(video.nFrameHeight) +
                   " picture at its stride and slice height";
        return false;
    }
    if (!zvxp_mark_crop(*frame, crop)) {
        *problem = "the output crop lies outside the picture";
        return false;
    }
    const zvx_av::ColourFormat format =
        zvx_run_is_ten_bit(layout->format) ? zvx_av::ColourFormat::i420_10 : zvx_av::ColourFormat::i420;
    const zvx_av::PictureLayout tight = {format, frame->width * (format == zvx_av::ColourFormat::i420 ? 1 : 2),
                                         frame->height};
    picture_.resize(zvx_av::picture_bytes(tight, frame->width, frame->height));
    const size_t bytes = writer_.write(*frame, tight, picture_);
    if (bytes == 0 || std::fwrite(picture_.data(), 1, bytes, file_.get()) != bytes) {
        *problem = "a picture could not be written out";
        return false;
    }
    ++pictures_;
    return true;
}
