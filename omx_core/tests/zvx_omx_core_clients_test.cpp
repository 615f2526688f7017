// GStreamer's OpenMAX plugin loads the built core through a gstomx.conf of the test's own; these tests
// check flow, not the pictures' bytes. A leak through this project's code fails them under the sanitizer.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "zvx_client_commands.h"

namespace {

using zvx_client::CommandResult;

constexpr const char *ZVXP_CORE = ZVX_OMX_CORE_PATH;
constexpr int64_t ZVXP_FRAME_NS = 1000000000 / 30;
constexpr uint32_t ZVXP_QVGA_I420_BYTES = 320 * 240 * 3 / 2;

/* One buffer as fakesink reports it. */
struct sunk_buffer {
    uint32_t bytes;
    int64_t pts_ns; /* -1: none */
    bool header;    /* codec configuration, not a picture */
};

int64_t parse_clock_time(const std::string &text)
{
    static const std::regex clock(R"((\d+):(\d+):(\d+)\.(\d+))");
    std::smatch part;
    if (!std::regex_match(text, part, clock))
        return -1;
    return ((std::stoll(part[1]) * 60 + std::stoll(part[2])) * 60 + std::stoll(part[3])) * 1000000000 +
           std::stoll(part[4]);
}

std::vector<sunk_buffer> sunk_buffers(const std::string &output)
{
    static const std::regex chain(
        R"(chain +\*+ \(fakesink\d+:sink\) \((\d+) bytes, dts: [^,]*, pts: ([^,]*),.*flags: [0-9a-f]+ ([^,]*),)");
    std::vector<sunk_buffer> buffers;
    for (std::sregex_iterator it(output.begin(), output.end(), chain), end; it != end; ++it)
        buffers.push_back({static_cast<uint32_t>(std::stoul((*it)[1])), parse_clock_time((*it)[2]),
                           (*it)[3].str().find("header") != std::string::npos});
    return buffers;
}

class GStreamer : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!zvx_client::program_exists("gst-launch-1.0") || !zvx_client::program_exists("gst-inspect-1.0"))
            GTEST_SKIP() << "GStreamer's tools are not installed (scripts/setup.sh installs them)";
    }

    /* The registry is warmed up without the sanitizer runtime, so that no plugin scanner runs under it. */
    CommandResult launch(const std::string &pipeline, int seconds = 120, const char *signal = "TERM")
    {
        std::ofstream config(folder_.file("gstomx.conf"));
        config << "[omxh264dec]\ntype-name=GstOMXH264Dec\ncore-name=" << ZVXP_CORE
               << "\ncomponent-name=OMX.DHQ.video.k7nn.decoder\ncomponent-role=video_decoder.avc\n"
                  "rank=257\nin-port-index=0\nout-port-index=1\n\n"
               << "[omxh264enc]\ntype-name=GstOMXH264Enc\ncore-name=" << ZVXP_CORE
               << "\ncomponent-name=OMX.DHQ.video.k7nn.encoder\ncomponent-role=video_encoder.avc\n"
                  "rank=257\nin-port-index=0\nout-port-index=1\n";
        config.close();
        const std::string environment =
            "GST_OMX_CONFIG_DIR=" + folder_.file("") + " GST_REGISTRY=" + folder_.file("registry.bin");
        const CommandResult inspect =
            zvx_client::run_command("env " + environment + " gst-inspect-1.0 omxh264dec omxh264enc", 60);
        EXPECT_EQ(inspect.status, 0) << inspect.output;
        return zvx_client::run_command(
            zvx_client::client_command(ZVX_CLIENT_PRELOAD, environment, "gst-launch-1.0 -v " + pipeline), seconds,
            signal);
    }

    zvx_client::TempFolder folder_;
};

constexpr const char *ZVXP_QVGA = "video/x-raw,format=I420,width=320,height=240,framerate=30/1";

TEST_F(GStreamer, DecodesAnX264StreamInPresentationOrderToTheEnd)
{
    const CommandResult result = launch(std::string("videotestsrc num-buffers=60 ! ") + ZVXP_QVGA +
                                        " ! x264enc ! h264parse ! omxh264dec ! fakesink silent=false");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("Got EOS from element"), std::string::npos) << result.output;
    const std::vector<sunk_buffer> frames = sunk_buffers(result.output);
    ASSERT_EQ(frames.size(), 60u) << result.output;
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].bytes, ZVXP_QVGA_I420_BYTES) << "frame " << i;
        ASSERT_GE(frames[i].pts_ns, 0) << "frame " << i << " lost its timestamp";
        const int64_t expected = frames[0].pts_ns + static_cast<int64_t>(i) * ZVXP_FRAME_NS;
        EXPECT_NEAR(frames[i].pts_ns, expected, 1000) << "frame " << i << " out of presentation order";
    }
    zvx_client::expect_clean(result);
}

TEST_F(GStreamer, EncodesSixtyPicturesToTheEnd)
{
    const CommandResult result = launch("videotestsrc num-buffers=60 ! omxh264enc ! fakesink silent=false");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("Got EOS from element"), std::string::npos) << result.output;
    // The stream's parameter sets come first, as buffers of their own.
    std::vector<sunk_buffer> units = sunk_buffers(result.output);
    ASSERT_FALSE(units.empty()) << result.output;
    EXPECT_TRUE(units.front().header);
    std::erase_if(units, [](const sunk_buffer &unit) { return unit.header; });
    ASSERT_EQ(units.size(), 60u) << result.output;
    for (size_t i = 1; i < units.size(); ++i)
        EXPECT_GT(units[i].pts_ns, units[i - 1].pts_ns) << "unit " << i;
    zvx_client::expect_clean(result);
}

// An interrupt tears the decoder down with buffers in flight: one kept would stall it or fail FreeBuffer.
TEST_F(GStreamer, TeardownMidStreamGivesEveryBufferBack)
{
    const CommandResult result =
        launch(std::string("videotestsrc is-live=true num-buffers=3000 ! ") + ZVXP_QVGA +
                   " ! x264enc tune=zerolatency ! h264parse ! omxh264dec ! fakesink silent=false",
               6, "INT");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("handling interrupt"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("Freeing pipeline"), std::string::npos) << result.output;
    EXPECT_GT(sunk_buffers(result.output).size(), 10u) << "stopped before the stream flowed";
    EXPECT_EQ(result.output.find("Got EOS from element"), std::string::npos) << "ended before the interrupt";
    zvx_client::expect_clean(result);
}

} // namespace
