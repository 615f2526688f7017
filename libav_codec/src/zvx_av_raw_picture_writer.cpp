#include "zvx_av_raw_picture_writer.h"

#include <cerrno>

namespace zvx_av {

Status RawPictureWriter::open(const std::string &path)
{
    file_.reset(std::fopen(path.c_str(), "wb"));
    return Status(file_ ? 0 : AVERROR(errno));
}

Status RawPictureWriter::write(const AVFrame &picture)
{
    if (!file_)
        return Status(AVERROR(EINVAL));
    const PictureLayout tight = {ColourFormat::i420, picture.width, picture.height};
    picture_.resize(picture_bytes(tight, picture.width, picture.height));
    const size_t bytes = writer_.write(picture, tight, picture_);
    if (bytes == 0)
        return Status(AVERROR(EINVAL));
    return Status(std::fwrite(picture_.data(), 1, bytes, file_.get()) == bytes ? 0 : AVERROR(EIO));
}

Status RawPictureWriter::close()
{
    if (!file_)
        return Status();
    const bool closed = std::fclose(file_.release()) == 0;
    return Status(closed ? 0 : AVERROR(EIO));
}

} // namespace zvx_av
