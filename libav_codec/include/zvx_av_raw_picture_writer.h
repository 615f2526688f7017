#ifndef ZVX_AV_RAW_PICTURE_WRITER_H
#define ZVX_AV_RAW_PICTURE_WRITER_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "zvx_av_picture_writer.h"
#include "zvx_av_status.h"

namespace zvx_av {

/* Decoded pictures as plain I420, one after another with no gaps, as FFmpeg's rawvideo output. */
class RawPictureWriter {
public:
    Status open(const std::string &path);
    Status write(const AVFrame &picture);
    Status close();

private:
    struct FileClose {
        void operator()(std::FILE *file) const { static_cast<void>(std::fclose(file)); }
    };
    std::unique_ptr<std::FILE, FileClose> file_;
    PictureWriter writer_;
    std::vector<uint8_t> picture_;
};

} // namespace zvx_av

#endif
