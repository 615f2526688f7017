#ifndef ZVX_AV_PICTURE_WRITER_H
#define ZVX_AV_PICTURE_WRITER_H

#include <cstddef>
#include <span>

#include "zvx_av_format_converter.h"
#include "zvx_av_picture_layout.h"

namespace zvx_av {

/* Writes decoded pictures into clients' buffers in a layout, converting the sample format with
 * libswscale when the picture's differs (lossless between 4:2:0 layouts of one depth). Keeps its
 * converter between pictures of one kind. */
class PictureWriter {
public:
    /* Bytes used, or 0 with nothing written when the buffer or the layout cannot hold the picture
     * or the conversion is not possible. */
    size_t write(const AVFrame &picture, const PictureLayout &layout, std::span<uint8_t> buffer);

private:
    FormatConverter converter_;
};

} // namespace zvx_av

#endif
