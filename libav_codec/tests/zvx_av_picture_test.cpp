#include <gtest/gtest.h>

#include <vector>

#include "zvx_av_picture_wrapper.h"
#include "zvx_av_picture_writer.h"

namespace {

using zvx_av::ColourFormat;
using zvx_av::PictureLayout;

constexpr int WIDTH = 6;
constexpr int HEIGHT = 4;
constexpr uint8_t UNTOUCHED = 0xEE;

/* Sample values that tell plane, row and column apart. */
int luma(int row, int column)
{
    return 16 + row * 10 + column;
}
int chroma(int plane, int row, int column)
{
    return (plane == 1 ? 100 : 180) + row * 10 + column;
}

zvx_av::FramePtr make_picture(AVPixelFormat format)
{
    zvx_av::FramePtr frame = zvx_av::make_frame();
    frame->format = format;
    frame->width = WIDTH;
    frame->height = HEIGHT;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        return nullptr;
    const bool deep = format == AV_PIX_FMT_YUV420P10LE;
    auto put = [&](int plane, int row, int column, int value) {
        const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(row) * frame->linesize[plane] +
                                      static_cast<std::ptrdiff_t>(column) * (deep ? 2 : 1);
        uint8_t *at = frame->data[plane] + offset;
        at[0] = static_cast<uint8_t>(deep ? (value * 4) & 0xff : value);
        if (deep)
            at[1] = static_cast<uint8_t>((value * 4) >> 8);
    };
    for (int row = 0; row < HEIGHT; ++row)
        for (int column = 0; column < WIDTH; ++column)
            put(0, row, column, luma(row, column));
    for (int plane = 1; plane <= 2; ++plane)
        for (int row = 0; row < HEIGHT / 2; ++row)
            for (int column = 0; column < WIDTH / 2; ++column)
                put(plane, row, column, chroma(plane, row, column));
    return frame;
}

/* 16-bit samples read back as the 8-bit value they were made from. */
int sample_at(const std::vector<uint8_t> &buffer, size_t offset, int shift)
{
    return (buffer[offset] | buffer[offset + 1] << 8) >> shift;
}

struct LayoutCase {
    ColourFormat format;
    bool deep;
    size_t u_offset; /* first U sample, and the next row's */
    size_t u_row;
    size_t v_offset;
    size_t chroma_step; /* from one U sample to the next in a row */
};

TEST(PictureWriter, EachLayoutsPlanesLandWhereGivenTooSmallOnesAreRefusedAndWrappedOnesRoundTrip)
{
    constexpr int STRIDE = 16;
    constexpr int SLICE = 6;
    const LayoutCase cases[] = {
        {ColourFormat::i420, false, 96, 8, 96 + 8 * 3, 1}, {ColourFormat::yv12, false, 96 + 8 * 3, 8, 96, 1},
        {ColourFormat::nv12, false, 96, 16, 97, 2},        {ColourFormat::nv21, false, 97, 16, 96, 2},
        {ColourFormat::p010, true, 96, 16, 98, 4},         {ColourFormat::i420_10, true, 96, 8, 96 + 8 * 3, 2},
    };
    zvx_av::PictureWriter writer;
    for (const LayoutCase &layout_case : cases) {
        const PictureLayout layout = {layout_case.format, STRIDE, SLICE};
        const zvx_av::FramePtr picture = make_picture(layout_case.deep ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P);
        ASSERT_TRUE(picture);
        const size_t needed = zvx_av::picture_bytes(layout, WIDTH, HEIGHT);
        std::vector<uint8_t> buffer(needed + 8, UNTOUCHED);
        const int format = static_cast<int>(layout_case.format);

        EXPECT_EQ(writer.write(*picture, layout, std::span(buffer).first(needed - 1)), 0u) << format;
        EXPECT_EQ(buffer, std::vector<uint8_t>(needed + 8, UNTOUCHED)) << "refused, nothing written " << format;
        ASSERT_EQ(writer.write(*picture, layout, buffer), needed) << format;

        // p010 keeps 10 bits at the top of each sample, the planar layout at the bottom.
        const int shift = layout_case.format == ColourFormat::p010 ? 8 : 2;
        auto value = [&](size_t offset) {
            return layout_case.deep ? sample_at(buffer, offset, shift) : buffer[offset];
        };
        const size_t sample = layout_case.deep ? 2 : 1;
        EXPECT_EQ(value(0), luma(0, 0)) << format;
        EXPECT_EQ(value(size_t{3} * STRIDE + 5 * sample), luma(3, 5)) << format;
        EXPECT_EQ(buffer[size_t{WIDTH} * sample], UNTOUCHED) << "stride padding " << format;
        EXPECT_EQ(buffer[size_t{HEIGHT} * STRIDE], UNTOUCHED)
            << "rows between the picture and the slice height " << format;
        EXPECT_EQ(value(layout_case.u_offset), chroma(1, 0, 0)) << format;
        EXPECT_EQ(value(layout_case.u_offset + layout_case.u_row + 2 * layout_case.chroma_step), chroma(1, 1, 2))
            << format;
        EXPECT_EQ(value(layout_case.v_offset), chroma(2, 0, 0)) << format;
        EXPECT_EQ(value(layout_case.v_offset + layout_case.u_row + layout_case.chroma_step), chroma(2, 1, 1)) << format;
        EXPECT_EQ(buffer[needed], UNTOUCHED) << "past the bytes used " << format;
    }

    // Layouts that cannot hold the picture.
    EXPECT_EQ(zvx_av::picture_bytes({ColourFormat::i420, WIDTH - 1, HEIGHT}, WIDTH, HEIGHT), 0u);
    EXPECT_EQ(zvx_av::picture_bytes({ColourFormat::nv12, WIDTH, HEIGHT - 1}, WIDTH, HEIGHT), 0u);
    EXPECT_EQ(zvx_av::picture_bytes({ColourFormat::p010, 2 * WIDTH - 1, HEIGHT}, WIDTH, HEIGHT), 0u);
    EXPECT_EQ(zvx_av::picture_bytes({ColourFormat::i420_10, 2 * WIDTH + 2, HEIGHT}, WIDTH, HEIGHT), 0u)
        << "odd chroma stride of 16-bit samples";
    EXPECT_EQ(zvx_av::picture_bytes({ColourFormat::nv12, 5, 3}, 5, 3), 0u)
        << "odd width: an interleaved chroma row is a sample pair longer than the luma row";
    EXPECT_EQ(zvx_av::picture_bytes({ColourFormat::nv12, 6, 3}, 5, 3), 6u * 3 + 6 * 2);
    EXPECT_EQ(zvx_av::picture_bytes({ColourFormat::i420, 5, 3}, 5, 3), 5u * 3 + 3 * 2 + 3 * 1 + 3)
        << "odd sizes: chroma planes round up";

    // Wrapped in place, every 8-bit layout reads back as it was written.
    const zvx_av::FramePtr original = make_picture(AV_PIX_FMT_YUV420P);
    ASSERT_TRUE(original);
    const PictureLayout tight = {ColourFormat::i420, WIDTH, HEIGHT};
    std::vector<uint8_t> expected(zvx_av::picture_bytes(tight, WIDTH, HEIGHT));
    ASSERT_EQ(writer.write(*original, tight, expected), expected.size());

    for (const ColourFormat format : {ColourFormat::i420, ColourFormat::yv12, ColourFormat::nv12, ColourFormat::nv21}) {
        const PictureLayout layout = {format, 10, 5};
        std::vector<uint8_t> client(zvx_av::picture_bytes(layout, WIDTH, HEIGHT));
        ASSERT_EQ(writer.write(*original, layout, client), client.size());
        const zvx_av::FramePtr wrapped = zvx_av::wrap_picture(client, WIDTH, HEIGHT, layout);
        ASSERT_TRUE(wrapped);
        EXPECT_EQ(wrapped->data[0], client.data()) << "not copied";
        EXPECT_EQ(wrapped->buf[0], nullptr) << "owns nothing";
        std::vector<uint8_t> back(expected.size());
        ASSERT_EQ(writer.write(*wrapped, tight, back), back.size());
        EXPECT_EQ(back, expected) << static_cast<int>(format);
        EXPECT_FALSE(zvx_av::wrap_picture(std::span(client).first(client.size() - 1), WIDTH, HEIGHT, layout));
    }
}

} // namespace
