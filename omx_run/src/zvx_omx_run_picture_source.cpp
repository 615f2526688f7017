#include "zvx_omx_run_picture_source.h"

#include "zvx_omx_run_picture_layout.h"

namespace {

constexpr OMX_TICKS ZVXP_MICROSECONDS = 1000000;

} // namespace

bool zvx_run_picture_source::open(const std::string &path, int width, int height, std::string *error)
{
    if (const zvx_av::Status status = reader_.open(path, width, height); !status.ok()) {
        *error = "cannot read pictures from " + path + ": " + status.message() +
                 (width == 0 ? " (raw pictures need --size)" : "");
        return false;
    }
    return true;
}

uint32_t zvx_run_picture_source::file_frame_rate() const
{
    const AVRational rate = reader_.frame_rate();
    return rate.num > 0 && rate.den > 0 ? static_cast<uint32_t>((rate.num + rate.den / 2) / rate.den) : 0;
}

bool zvx_run_picture_source::fill(OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &input,
                                  std::string *problem)
{
    if (pictures_sent_ == limit_) {
        return false;
    }
    zvx_av::FramePtr picture;
    if (const zvx_av::Status status = reader_.read(picture); !status.ok()) {
        if (status.code() != AVERROR_EOF) {
            *problem = "reading a picture: " + status.message();
        }
        return false;
    }
    const std::optional<zvx_av::PictureLayout> layout = zvx_run_picture_layout(input.format.video);
    const size_t bytes =
        layout ? writer_.write(*picture, *layout, std::span<uint8_t>(header.pBuffer, header.nAllocLen)) : 0;
    if (bytes == 0) {
        *problem = "a picture does not fit the input port's buffers in their colour format";
        return false;
    }
    header.nOffset = 0;
    header.nFilledLen = static_cast<OMX_U32>(bytes);
    header.nFlags = OMX_BUFFERFLAG_ENDOFFRAME;
    header.nTimeStamp = pictures_sent_ * ZVXP_MICROSECONDS / frame_rate_;
    ++pictures_sent_;
    return true;
}
