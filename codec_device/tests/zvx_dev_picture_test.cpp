#include <gtest/gtest.h>

#include <vector>

#include "zvx_dev_picture.h"

namespace {

constexpr uint32_t YUV420_PLANAR = 19;
constexpr uint32_t YUV420_SEMIPLANAR = 21;
constexpr uint32_t YUV422_1P = 0x7f000007;

TEST(EmuPicture, PlanesFollowStrideAndSliceHeight)
{
    const zvx_dev_picture_layout planar = zvx_dev_layout_picture(YUV420_PLANAR, 64, 48, 80, 50);
    ASSERT_EQ(planar.plane_count, 3u);
    EXPECT_EQ(planar.planes[0].stride, 80u);
    EXPECT_EQ(planar.planes[1].offset, 80u * 50);
    EXPECT_EQ(planar.planes[1].stride, 40u);
    EXPECT_EQ(planar.planes[1].rows, 24u);
    EXPECT_EQ(planar.planes[2].offset, 80u * 50 + 40 * 25);
    EXPECT_EQ(planar.total_bytes, 80u * 50 + 2 * 40 * 25);

    const zvx_dev_picture_layout semiplanar = zvx_dev_layout_picture(YUV420_SEMIPLANAR, 63, 47, 0, 0);
    ASSERT_EQ(semiplanar.plane_count, 2u);
    EXPECT_EQ(semiplanar.planes[0].stride, 64u) << "odd width: interleaved chroma needs an even row";
    EXPECT_EQ(semiplanar.planes[1].offset, 64u * 47);
    EXPECT_EQ(semiplanar.planes[1].row_bytes, 64u);
    EXPECT_EQ(semiplanar.total_bytes, 64u * 47 + 64 * 24);

    const zvx_dev_picture_layout packed = zvx_dev_layout_picture(YUV422_1P, 32, 8, 16, 4);
    ASSERT_EQ(packed.plane_count, 1u);
    EXPECT_EQ(packed.planes[0].stride, 64u) << "a stride below the row is raised to it";
    EXPECT_EQ(packed.total_bytes, 64u * 8);
}

TEST(EmuPicture, WrittenPictureMatchesOnlyItsOwnFrameAndLeavesPaddingAlone)
{
    const zvx_dev_picture_layout layout = zvx_dev_layout_picture(YUV420_PLANAR, 300, 20, 320, 22);
    std::vector<uint8_t> buffer(layout.total_bytes, 0xEE);
    zvx_dev_write_picture(buffer.data(), layout, 7);

    EXPECT_TRUE(zvx_dev_picture_matches(buffer.data(), buffer.size(), layout, 7));
    EXPECT_FALSE(zvx_dev_picture_matches(buffer.data(), buffer.size(), layout, 8));
    EXPECT_FALSE(zvx_dev_picture_matches(buffer.data(), buffer.size() - 1, layout, 7));
    EXPECT_EQ(buffer[300], 0xEE) << "stride padding";
    EXPECT_EQ(buffer[layout.planes[2].offset + 5 * 160 + 149], zvx_dev_pattern_byte(7, 2, 5, 149));

    buffer[layout.planes[1].offset + 3 * 160 + 10] ^= 1;
    EXPECT_FALSE(zvx_dev_picture_matches(buffer.data(), buffer.size(), layout, 7));
}

TEST(EmuPicture, BitstreamWrittenInPiecesEqualsOneRun)
{
    std::vector<uint8_t> whole(1000);
    zvx_dev_write_bitstream(whole.data(), 0, 1000, 3);
    std::vector<uint8_t> pieces(1000);
    zvx_dev_write_bitstream(pieces.data(), 0, 300, 3);
    zvx_dev_write_bitstream(pieces.data() + 300, 300, 700, 3);
    EXPECT_EQ(whole, pieces);
    EXPECT_TRUE(zvx_dev_bitstream_matches(pieces.data() + 300, 300, 700, 3));
    EXPECT_FALSE(zvx_dev_bitstream_matches(pieces.data() + 300, 301, 700, 3));
    EXPECT_GT(zvx_dev_bitstream_length(64, 48, true), zvx_dev_bitstream_length(64, 48, false));
}

} // namespace
