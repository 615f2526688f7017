#include "zvx_av_frame_memory.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "zvx_mem.h"
#include "zvx_mem_kept_store.h"

extern "C" {
#include <libavutil/cpu.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace zvx_av {

namespace {

/* About twenty 1080p pictures: a stream's reference pictures and those in flight. */
constexpr size_t KEPT_BYTES = 64u << 20;
constexpr size_t KEPT_BLOCKS = 64;
/* What libavcodec's own pool adds to each plane, for SIMD reads past a line's end. */
constexpr size_t PLANE_PADDING = 16;

/* Pictures are taken and given back at the decode's rate, so the pages stay: releasing them would
 * fault every picture in again. */
constinit zvx_mem_kept_store kept(KEPT_BLOCKS, KEPT_BYTES, zvx_mem_kept_store::page_release::never);
const zvx_mem_kept_store_closer closer(kept);

/* av_buffer_create's free callback: the block's size rides in the opaque pointer. */
void give_back(void *opaque, uint8_t *block)
{
    kept.give(block, reinterpret_cast<uintptr_t>(opaque));
}

AVBufferRef *frame_block(size_t size)
{
    auto *block = static_cast<uint8_t *>(kept.take(size));
    if (block == nullptr) {
        block = static_cast<uint8_t *>(zvx_mem_valloc(size));
        if (block == nullptr)
            return nullptr;
        std::memset(block, 0, size);
    }
    AVBufferRef *buffer = av_buffer_create(block, size, give_back, reinterpret_cast<void *>(size), 0);
    if (buffer == nullptr)
        give_back(reinterpret_cast<void *>(size), block);
    return buffer;
}

size_t round_up(size_t value, size_t step)
{
    return (value + step - 1) / step * step;
}

} // namespace

int get_kept_frame_buffer(AVCodecContext *context, AVFrame *frame, int flags)
{
    const auto format = static_cast<AVPixelFormat>(frame->format);
    const AVPixFmtDescriptor *descriptor = av_pix_fmt_desc_get(format);
    if ((context->codec->capabilities & AV_CODEC_CAP_DR1) == 0 || context->codec_type != AVMEDIA_TYPE_VIDEO ||
        descriptor == nullptr || (descriptor->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL)) != 0)
        return avcodec_default_get_buffer2(context, frame, flags);

    int width = frame->width;
    int height = frame->height;
    int line_align[AV_NUM_DATA_POINTERS];
    avcodec_align_dimensions2(context, &width, &height, line_align);
    // Widened until every plane's lines are aligned, as libavcodec widens its own: aligning each
    // plane's lines alone would break the planes' ratio, which some codecs rely on.
    int linesizes[4];
    for (;;) {
        const int filled = av_image_fill_linesizes(linesizes, format, width);
        if (filled < 0)
            return filled;
        bool aligned = true;
        for (int i = 0; i < 4; ++i)
            aligned = aligned && linesizes[i] % line_align[i] == 0;
        if (aligned)
            break;
        width += width & ~(width - 1);
    }
    const ptrdiff_t strides[4] = {linesizes[0], linesizes[1], linesizes[2], linesizes[3]};
    size_t plane_sizes[4];
    const int sized = av_image_fill_plane_sizes(plane_sizes, format, height, strides);
    if (sized < 0)
        return sized;

    const size_t align = std::max<size_t>(av_cpu_max_align(), 16);
    size_t offsets[4] = {};
    size_t total = 0;
    for (int i = 0; i < 4 && plane_sizes[i] != 0; ++i) {
        offsets[i] = total;
        total += round_up(plane_sizes[i] + PLANE_PADDING + align - 1, align);
    }
    AVBufferRef *block = frame_block(total);
    if (block == nullptr)
        return AVERROR(ENOMEM);
    frame->buf[0] = block;
    for (int i = 0; i < 4 && plane_sizes[i] != 0; ++i) {
        frame->data[i] = block->data + offsets[i];
        frame->linesize[i] = linesizes[i];
    }
    frame->extended_data = frame->data;
    return 0;
}

} // namespace zvx_av
