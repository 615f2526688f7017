// Encoding through the core as FFmpeg's h264_omx and GStreamer's omxh264enc drive it: every picture
// decodes, close to its source, with key frames where the client asked and within the bitrate.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "zvx_client_commands.h"
#include "zvx_client_media.h"

namespace {

using zvx_client::CommandResult;

constexpr const char *ZVXP_CORE = ZVX_OMX_CORE_PATH;
constexpr int ZVXP_FRAMES = 250;
constexpr double ZVXP_FRAME_RATE = 25.0;
constexpr int ZVXP_KEY_INTERVAL = 50;
constexpr double ZVXP_BITRATE = 1000000.0;
constexpr double ZVXP_BITRATE_TOLERANCE = 0.15;
constexpr double ZVXP_MIN_PSNR_DB = 30.0;

/* What every encode of the ten seconds must give. */
void expect_good_stream(const std::string &stream, const std::string &pictures)
{
    const zvx_client::EncodedFacts facts = zvx_client::probe_encoded(stream);
    EXPECT_TRUE(facts.decodes) << stream << " does not decode cleanly";
    ASSERT_EQ(facts.pictures_decoded, static_cast<size_t>(ZVXP_FRAMES));
    std::vector<size_t> expected_keys;
    for (size_t key = 0; key < ZVXP_FRAMES; key += ZVXP_KEY_INTERVAL) {
        expected_keys.push_back(key);
    }
    EXPECT_EQ(facts.key_frames, expected_keys);
    const double bitrate = zvx_client::bitrate_of(facts, 0, ZVXP_FRAMES, ZVXP_FRAME_RATE);
    EXPECT_NEAR(bitrate, ZVXP_BITRATE, ZVXP_BITRATE * ZVXP_BITRATE_TOLERANCE);
    EXPECT_GE(zvx_client::luma_psnr(stream, pictures), ZVXP_MIN_PSNR_DB);
}

TEST(FFmpegEncode, H264OmxMakesTenSecondsOfCifAtTheBitrateWithKeyFramesEveryGop)
{
    if (!zvx_client::program_exists("ffmpeg")) {
        GTEST_SKIP() << "ffmpeg is not installed (scripts/setup.sh installs it)";
    }
    const std::string pictures = zvx_client::test_pictures("352x288", ZVXP_FRAMES, ".y4m");
    ASSERT_FALSE(pictures.empty());
    const zvx_client::TempFolder folder;
    const std::string stream = folder.file("h264_omx.h264");
    const CommandResult encoded = zvx_client::run_command(zvx_client::client_command(
        ZVX_CLIENT_PRELOAD, "",
        "ffmpeg -hide_banner -nostdin -y -i " + pictures + " -c:v h264_omx -omx_libname " + ZVXP_CORE +
            " -b:v 1000000 -g " + std::to_string(ZVXP_KEY_INTERVAL) + " " + stream));
    ASSERT_EQ(encoded.status, 0) << encoded.output;
    zvx_client::expect_clean(encoded);
    expect_good_stream(stream, pictures);
}

TEST(GStreamerEncode, OmxH264EncMakesTenSecondsOfCifAtTheBitrateWithKeyFramesWhereAsked)
{
    if (!zvx_client::program_exists("gst-launch-1.0")) {
        GTEST_SKIP() << "GStreamer's tools are not installed (scripts/setup.sh installs them)";
    }
    const std::string pictures = zvx_client::test_pictures("352x288", ZVXP_FRAMES, ".y4m");
    ASSERT_FALSE(pictures.empty());
    const zvx_client::TempFolder folder;
    {
        std::ofstream config(folder.file("gstomx.conf"));
        config << "[omxh264enc]\ntype-name=GstOMXH264Enc\ncore-name=" << ZVXP_CORE
               << "\ncomponent-name=OMX.DHQ.video.k7nn.encoder\ncomponent-role=video_encoder.avc\n"
                  "rank=257\nin-port-index=0\nout-port-index=1\n";
    }
    const std::string environment =
        "GST_OMX_CONFIG_DIR=" + folder.file("") + " GST_REGISTRY=" + folder.file("registry.bin");
    const CommandResult inspect = zvx_client::run_command("env " + environment + " gst-inspect-1.0 omxh264enc", 60);
    ASSERT_EQ(inspect.status, 0) << inspect.output;
    const std::string stream = folder.file("omxh264enc.h264");
    const CommandResult encoded = zvx_client::run_command(zvx_client::client_command(
        ZVX_CLIENT_PRELOAD, environment,
        "gst-launch-1.0 -q filesrc location=" + pictures +
            " ! y4mdec ! omxh264enc control-rate=variable target-bitrate=1000000 interval-intraframes=" +
            std::to_string(ZVXP_KEY_INTERVAL - 1) +
            " ! h264parse ! video/x-h264,stream-format=byte-stream ! filesink location=" + stream));
    ASSERT_EQ(encoded.status, 0) << encoded.output;
    zvx_client::expect_clean(encoded);
    expect_good_stream(stream, pictures);
}

} // namespace
