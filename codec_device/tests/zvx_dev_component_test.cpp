// The libavcodec engine behind the component's handle, as a media framework meets it.
#include <gtest/gtest.h>

#include "zvx_av_test_streams.h"
#include "zvx_codec_device.h"
#include "zvx_dev_component_decode.h"

namespace {

constexpr std::chrono::seconds LIMIT{30};

class ComponentOverLibav : public testing::Test {
protected:
    void SetUp() override
    {
        zvx_init_emulator();
        zvx_dev_script script;
        script.engine = zvx_dev_engine::libav;
        zvx_dev_set_default_script(script);
    }
    void TearDown() override { zvx_destroy_emulator(); }
};

/* The client declares nothing of the stream and sends it in arbitrary chunks: size and buffers come
 * from the stream itself, and a resolution change midway is reconfigured for without losing a picture. */
TEST_F(ComponentOverLibav, StreamsOwnSizeReachesTheClientAndEveryPictureComesOut)
{
    zvx_av_test::TempFolder folder;
    const zvx_av_test::JoinedStreams joined =
        zvx_av_test::join_streams(folder, {"180x100", "320x240"}, 15, "-c:v libx264 -bf 2");
    ASSERT_FALSE(joined.path.empty());

    const zvx_dev_component_decode run = zvx_dev_decode_through_component("avc", joined.bytes, 777, 0, LIMIT);
    EXPECT_TRUE(run.reached_executing);
    EXPECT_TRUE(run.ended);
    EXPECT_TRUE(run.stopped);
    EXPECT_TRUE(run.problems.empty()) << (run.problems.empty() ? "" : run.problems.front());
    EXPECT_EQ(run.pictures, 30u);
    EXPECT_GE(run.output.format.video.nFrameWidth, 320u);
    EXPECT_GE(run.output.format.video.nFrameHeight, 240u);
}

/* Bytes that are no stream of the role, and a VP8 key frame header claiming 10768x16144 whose buffers would
 * be past what a client can allocate: every buffer back, the stream ends, the handle goes back to Loaded. */
TEST_F(ComponentOverLibav, NoiseForEveryRoleAndAPictureLargerThanTheDeviceDecodesEndCleanly)
{
    const std::vector<uint8_t> noise = zvx_av_test::random_bytes(20000, 99);
    for (const char *codec : {"avc", "hevc", "vp8", "vp9", "mpeg2", "mpeg4", "h263", "vc1", "rv"}) {
        const zvx_dev_component_decode run =
            zvx_dev_decode_through_component(codec, noise, 1500, OMX_BUFFERFLAG_ENDOFFRAME, LIMIT);
        EXPECT_TRUE(run.ended) << codec;
        EXPECT_TRUE(run.stopped) << codec;
        EXPECT_TRUE(run.problems.empty()) << codec << ": " << (run.problems.empty() ? "" : run.problems.front());
    }

    const std::vector<uint8_t> header = {0x50, 0x02, 0x00, 0x9d, 0x01, 0x2a, 0x10, 0x2a, 0x10, 0xff,
                                         0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x3f, 0x10, 0x00, 0x00,
                                         0x88, 0x47, 0x08, 0x85, 0x85, 0x88, 0x88, 0x02, 0x02};
    const zvx_dev_component_decode run =
        zvx_dev_decode_through_component("vp8", header, 2441, OMX_BUFFERFLAG_ENDOFFRAME, LIMIT);
    EXPECT_TRUE(run.ended);
    EXPECT_TRUE(run.stopped);
    EXPECT_TRUE(run.problems.empty()) << (run.problems.empty() ? "" : run.problems.front());
    EXPECT_EQ(run.pictures, 0u) << "refused as corrupt rather than announced";
    EXPECT_LE(run.output.format.video.nFrameWidth, 8192u);
}

} // namespace
