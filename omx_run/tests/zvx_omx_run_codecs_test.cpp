// zvx_omx_run on real files through the device's libavcodec engine, for the codecs GStreamer's OpenMAX
// plugin has no element for: decodes must give FFmpeg's own pictures byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "zvx_client_commands.h"
#include "zvx_client_media.h"

namespace {

using zvx_client::CommandResult;

constexpr int ZVXP_DECODE_FRAMES = 30;
constexpr int ZVXP_ENCODE_FRAMES = 250;
constexpr double ZVXP_FRAME_RATE = 25.0;
constexpr uint32_t ZVXP_KEY_INTERVAL = 50;
constexpr uint32_t ZVXP_KEY_ASKED = 30;
constexpr double ZVXP_BITRATE = 1000000.0;
constexpr double ZVXP_BITRATE_TOLERANCE = 0.15;
constexpr double ZVXP_MIN_PSNR_DB = 30.0;

CommandResult run_program(const std::string &arguments)
{
    return zvx_client::run_command(
        zvx_client::client_command(ZVX_CLIENT_PRELOAD, "", std::string(ZVX_OMX_RUN_PATH) + " " + arguments));
}

struct DecodeCase {
    const char *name;
    const char *size;
    const char *encode;
    const char *extension;
    const char *pixel_format; /* what zvx_omx_run writes: I420, or 16-bit samples for ten-bit pictures */
};

/* Test names say which case; the default printer shows the bytes of the record. */
void PrintTo(const DecodeCase &decode, std::ostream *out)
{
    *out << decode.name;
}

class RunDecode : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(RunDecode, PicturesAreByteIdenticalToFFmpegsDecode)
{
    const DecodeCase &decode = GetParam();
    const std::string stream =
        zvx_client::test_stream(decode.size, ZVXP_DECODE_FRAMES, decode.encode, decode.extension);
    ASSERT_FALSE(stream.empty()) << "ffmpeg could not make the stream";
    const zvx_client::TempFolder folder;
    const std::string out = folder.file("out.yuv");
    const CommandResult run = run_program("--input=" + stream + " --output=" + out);
    EXPECT_EQ(run.status, 0) << run.output;
    zvx_client::expect_clean(run);
    EXPECT_NE(run.output.find("\noutput:  " + std::to_string(ZVXP_DECODE_FRAMES) + " pictures to "), std::string::npos)
        << run.output;

    const std::vector<uint8_t> expected = zvx_client::ffmpeg_decode(stream, decode.pixel_format);
    const std::vector<uint8_t> got = zvx_client::read_file(out);
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(got.size(), expected.size()) << "pictures missing or extra, or of another size";
    const auto [mismatch, unused] = std::mismatch(got.begin(), got.end(), expected.begin());
    EXPECT_TRUE(mismatch == got.end()) << "first difference at byte " << (mismatch - got.begin());
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, RunDecode,
    ::testing::Values(
        DecodeCase{"Hevc8BitCroppedFrom352x200", "350x198", "-c:v libx265 -x265-params log-level=error -bf 3", ".hevc",
                   "yuv420p"},
        DecodeCase{"Hevc10Bit", "352x288", "-c:v libx265 -x265-params log-level=error -pix_fmt yuv420p10le", ".hevc",
                   "yuv420p10le"},
        DecodeCase{"Vp8", "352x288", "-c:v libvpx -b:v 1M", ".ivf", "yuv420p"},
        DecodeCase{"Vp9", "352x288", "-c:v libvpx-vp9 -b:v 1M -deadline realtime -cpu-used 8", ".ivf", "yuv420p"},
        DecodeCase{"H264InMp4WithBFrames", "352x288", "-c:v libx264 -bf 3", ".mp4", "yuv420p"}),
    [](const ::testing::TestParamInfo<DecodeCase> &info) { return std::string(info.param.name); });

struct EncodeCase {
    const char *codec;
    const char *extension;
};

void PrintTo(const EncodeCase &encode, std::ostream *out)
{
    *out << encode.codec;
}

class RunEncode : public ::testing::TestWithParam<EncodeCase> {};

// Constant bitrate: a variable one may rightly spend less on a test pattern (libvpx's VP9 does, by a third).
TEST_P(RunEncode, TenSecondsOfCifDecodeWellAtTheBitrateWithKeyFramesWhereAsked)
{
    const EncodeCase &encode = GetParam();
    const std::string pictures = zvx_client::test_pictures("352x288", ZVXP_ENCODE_FRAMES, ".y4m");
    ASSERT_FALSE(pictures.empty());
    const zvx_client::TempFolder folder;
    const std::string stream = folder.file(std::string("out") + encode.extension);
    const CommandResult run =
        run_program("--encode --codec=" + std::string(encode.codec) + " --input=" + pictures + " --output=" + stream +
                    " --bitrate=1000000 --rate-control=cbr --keyint=" + std::to_string(ZVXP_KEY_INTERVAL) +
                    " --key-at=" + std::to_string(ZVXP_KEY_ASKED));
    ASSERT_EQ(run.status, 0) << run.output;
    zvx_client::expect_clean(run);

    const zvx_client::EncodedFacts facts = zvx_client::probe_encoded(stream);
    EXPECT_TRUE(facts.decodes) << stream << " does not decode cleanly";
    ASSERT_EQ(facts.pictures_decoded, static_cast<size_t>(ZVXP_ENCODE_FRAMES));
    const std::vector<size_t> &keys = facts.key_frames;
    ASSERT_FALSE(keys.empty());
    EXPECT_EQ(keys.front(), 0u);
    EXPECT_NE(std::find(keys.begin(), keys.end(), ZVXP_KEY_ASKED), keys.end()) << "no key frame where asked";
    size_t last = 0;
    for (const size_t key : keys) {
        EXPECT_LE(key - last, ZVXP_KEY_INTERVAL) << "the key-frame interval was not kept before picture " << key;
        last = key;
    }
    EXPECT_LE(ZVXP_ENCODE_FRAMES - last, ZVXP_KEY_INTERVAL);
    EXPECT_LE(keys.size(), 2 + ZVXP_ENCODE_FRAMES / ZVXP_KEY_INTERVAL) << "key frames where none were asked";
    const double bitrate = zvx_client::bitrate_of(facts, 0, ZVXP_ENCODE_FRAMES, ZVXP_FRAME_RATE);
    EXPECT_NEAR(bitrate, ZVXP_BITRATE, ZVXP_BITRATE * ZVXP_BITRATE_TOLERANCE);
    EXPECT_GE(zvx_client::luma_psnr(stream, pictures), ZVXP_MIN_PSNR_DB);
}

INSTANTIATE_TEST_SUITE_P(Codecs, RunEncode,
                         ::testing::Values(EncodeCase{"hevc", ".hevc"}, EncodeCase{"vp8", ".ivf"},
                                           EncodeCase{"vp9", ".ivf"}),
                         [](const ::testing::TestParamInfo<EncodeCase> &info) {
                             return std::string(info.param.codec);
                         });

// A bitrate lowered through SetConfig halfway: the second half of the stream is encoded at the new rate.
TEST(RunEncodeChange, BitrateLoweredMidStreamTakesEffect)
{
    const std::string pictures = zvx_client::test_pictures("352x288", ZVXP_ENCODE_FRAMES, ".y4m");
    ASSERT_FALSE(pictures.empty());
    const zvx_client::TempFolder folder;
    const std::string stream = folder.file("out.h264");
    constexpr int HALF = ZVXP_ENCODE_FRAMES / 2;
    const CommandResult run = run_program(
        "--encode --input=" + pictures + " --output=" + stream +
        " --bitrate=1000000 --rate-control=cbr --keyint=50 --bitrate-at=" + std::to_string(HALF) + ":300000");
    ASSERT_EQ(run.status, 0) << run.output;
    const zvx_client::EncodedFacts facts = zvx_client::probe_encoded(stream);
    ASSERT_EQ(facts.pictures_decoded, static_cast<size_t>(ZVXP_ENCODE_FRAMES));
    const double before = zvx_client::bitrate_of(facts, 0, HALF, ZVXP_FRAME_RATE);
    const double after = zvx_client::bitrate_of(facts, HALF, ZVXP_ENCODE_FRAMES, ZVXP_FRAME_RATE);
    EXPECT_NEAR(before, ZVXP_BITRATE, ZVXP_BITRATE * ZVXP_BITRATE_TOLERANCE);
    EXPECT_NEAR(after, 300000.0, 300000.0 * 0.25);
}

} // namespace
