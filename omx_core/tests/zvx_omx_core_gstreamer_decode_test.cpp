// GStreamer's OpenMAX plugin decodes through the core what FFmpeg's encoders made: every byte of every
// picture must be what gst-libav's decoder of the same file gives.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "zvx_client_commands.h"
#include "zvx_client_media.h"

namespace {

using zvx_client::CommandResult;

constexpr const char *ZVXP_CORE = ZVX_OMX_CORE_PATH;

struct DecodeCase {
    const char *name;
    const char *size;
    const char *encode; /* ffmpeg's options for the stream */
    const char *extension;
    const char *parser;
    const char *omx_decoder;
    const char *reference_decoder;
};

/* Test names say which case; the default printer shows the bytes of the record. */
void PrintTo(const DecodeCase &decode, std::ostream *out)
{
    *out << decode.name;
}

/* One section of gstomx.conf per decoder role the cases use. */
void write_config(const std::string &path)
{
    std::ofstream config(path);
    const char *sections[][3] = {{"omxh264dec", "GstOMXH264Dec", "avc"},
                                 {"omxmpeg2videodec", "GstOMXMPEG2VideoDec", "mpeg2"},
                                 {"omxmpeg4videodec", "GstOMXMPEG4VideoDec", "mpeg4"},
                                 {"omxh263dec", "GstOMXH263Dec", "h263"}};
    for (const auto &section : sections) {
        config << "[" << section[0] << "]\ntype-name=" << section[1] << "\ncore-name=" << ZVXP_CORE
               << "\ncomponent-name=OMX.DHQ.video.k7nn.decoder\ncomponent-role=video_decoder." << section[2]
               << "\nrank=257\nin-port-index=0\nout-port-index=1\n\n";
    }
}

size_t i420_row(int bytes)
{
    return static_cast<size_t>((bytes + 3) / 4 * 4);
}

/* A picture as GStreamer lays I420 out in a buffer: every row rounded up to four bytes. */
size_t i420_bytes(int width, int height)
{
    return i420_row(width) * height + 2 * i420_row((width + 1) / 2) * ((height + 1) / 2);
}

/* The pictures of such buffers, every row without its padding. */
std::vector<uint8_t> visible(const std::vector<uint8_t> &pictures, int width, int height)
{
    const struct {
        int width;
        int height;
    } planes[] = {{width, height}, {(width + 1) / 2, (height + 1) / 2}, {(width + 1) / 2, (height + 1) / 2}};
    std::vector<uint8_t> rows;
    size_t at = 0;
    while (at < pictures.size()) {
        for (const auto &plane : planes) {
            for (int row = 0; row < plane.height && at + static_cast<size_t>(plane.width) <= pictures.size(); ++row) {
                rows.insert(rows.end(), pictures.begin() + static_cast<std::ptrdiff_t>(at),
                            pictures.begin() + static_cast<std::ptrdiff_t>(at) + plane.width);
                at += i420_row(plane.width);
            }
        }
    }
    return rows;
}

class GStreamerDecode : public ::testing::TestWithParam<DecodeCase> {
protected:
    void SetUp() override
    {
        if (!zvx_client::program_exists("gst-launch-1.0") || !zvx_client::program_exists("gst-inspect-1.0"))
            GTEST_SKIP() << "GStreamer's tools are not installed (scripts/setup.sh installs them)";
        write_config(folder_.file("gstomx.conf"));
        environment_ = "GST_OMX_CONFIG_DIR=" + folder_.file("") + " GST_REGISTRY=" + folder_.file("registry.bin");
        // The registry is made without the sanitizer runtime, so that no plugin scanner runs under it.
        const CommandResult inspect = zvx_client::run_command(
            "env " + environment_ + " gst-inspect-1.0 omxh264dec omxmpeg2videodec omxmpeg4videodec omxh263dec", 60);
        ASSERT_EQ(inspect.status, 0) << inspect.output;
    }

    /* Decodes `stream` with each decoder; fails naming the first picture that differs. */
    void expect_same_pictures(const std::string &stream, const DecodeCase &decode, size_t expected_bytes, int width = 0,
                              int height = 0)
    {
        ASSERT_FALSE(stream.empty()) << "ffmpeg could not make the stream";
        const auto pipeline = [&](const std::string &decoder, const std::string &out) {
            return "gst-launch-1.0 -q filesrc location=" + stream + " ! " + decode.parser + " ! " + decoder +
                   " ! videoconvert ! video/x-raw,format=I420 ! filesink location=" + out;
        };
        const std::string ours = folder_.file("omx.yuv");
        const std::string theirs = folder_.file("reference.yuv");
        const CommandResult omx = zvx_client::run_command(
            zvx_client::client_command(ZVX_CLIENT_PRELOAD, environment_, pipeline(decode.omx_decoder, ours)));
        const CommandResult reference =
            zvx_client::run_command("env " + environment_ + " " + pipeline(decode.reference_decoder, theirs));
        ASSERT_EQ(reference.status, 0) << reference.output;
        EXPECT_EQ(omx.status, 0) << omx.output;
        zvx_client::expect_clean(omx);

        std::vector<uint8_t> expected = zvx_client::read_file(theirs);
        std::vector<uint8_t> got = zvx_client::read_file(ours);
        ASSERT_EQ(expected.size(), expected_bytes) << "the reference decode is not the stream";
        ASSERT_EQ(got.size(), expected.size()) << "pictures missing or extra, or of another size";
        if (width != 0) {
            // The bytes that pad a row to four are neither decoder's: only the picture is compared.
            expected = visible(expected, width, height);
            got = visible(got, width, height);
        }
        const auto [mismatch, unused] = std::mismatch(got.begin(), got.end(), expected.begin());
        EXPECT_TRUE(mismatch == got.end()) << "first difference at byte " << (mismatch - got.begin());
    }

    zvx_client::TempFolder folder_;
    std::string environment_;
};

TEST_P(GStreamerDecode, PicturesAreByteIdenticalToGstLibavs)
{
    const DecodeCase &decode = GetParam();
    constexpr int FRAMES = 30;
    int width = 0;
    int height = 0;
    ASSERT_EQ(std::sscanf(decode.size, "%dx%d", &width, &height), 2);
    const std::string stream = zvx_client::test_stream(decode.size, FRAMES, decode.encode, decode.extension);
    expect_same_pictures(stream, decode, FRAMES * i420_bytes(width, height), width, height);
}

INSTANTIATE_TEST_SUITE_P(Codecs, GStreamerDecode,
                         ::testing::Values(DecodeCase{"H264WithBFrames", "352x288", "-c:v libx264 -bf 3 -g 12", ".h264",
                                                      "h264parse", "omxh264dec", "avdec_h264"},
                                           DecodeCase{"H264CroppedFrom368x208", "350x198", "-c:v libx264 -bf 2",
                                                      ".h264", "h264parse", "omxh264dec", "avdec_h264"},
                                           DecodeCase{"Mpeg2WithBFrames", "352x288", "-c:v mpeg2video -bf 2 -b:v 1M",
                                                      ".m2v", "mpegvideoparse", "omxmpeg2videodec", "avdec_mpeg2video"},
                                           // GStreamer finds no caps for a bare MPEG-4 Part 2 stream; AVI
                                           // carries it as it is.
                                           DecodeCase{"Mpeg4Part2WithBFrames", "352x288", "-c:v mpeg4 -bf 1 -b:v 1M",
                                                      ".avi", "avidemux ! mpeg4videoparse", "omxmpeg4videodec",
                                                      "avdec_mpeg4"},
                                           DecodeCase{"H263", "352x288", "-c:v h263 -b:v 1M -f h263", ".263",
                                                      "h263parse", "omxh263dec", "avdec_h263"}),
                         [](const ::testing::TestParamInfo<DecodeCase> &info) { return std::string(info.param.name); });

// Not one picture of either size is lost or changed across the output port's reconfiguration.
TEST_F(GStreamerDecode, H264ThatChangesSizeMidStreamMatchesGstLibav)
{
    constexpr int FRAMES = 20;
    const std::string small = zvx_client::test_stream("176x144", FRAMES, "-c:v libx264 -bf 2", ".h264");
    const std::string large = zvx_client::test_stream("352x288", FRAMES, "-c:v libx264 -bf 2", ".h264");
    const std::string stream = zvx_client::joined("qcif_then_cif.h264", {small, large});
    const DecodeCase decode{"", "", "", "", "h264parse", "omxh264dec", "avdec_h264"};
    expect_same_pictures(stream, decode, FRAMES * (i420_bytes(176, 144) + i420_bytes(352, 288)));
}

} // namespace
