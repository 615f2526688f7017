#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zvx_av_decoder.h"
#include "zvx_av_encoded_writer.h"
#include "zvx_av_encoder.h"
#include "zvx_av_media_reader.h"
#include "zvx_av_picture_wrapper.h"
#include "zvx_av_raw_picture_reader.h"
#include "zvx_av_raw_picture_writer.h"
#include "zvx_av_test_streams.h"

namespace {

using zvx_av::Codec;

struct ContainerCase {
    const char *file;
    const char *encode;
    Codec codec;
    bool has_config;
};

/* Containers keep the configuration apart (avcC, hvcC, VOL headers) and frame the access units. */
TEST(MediaReader, ContainersTellCodecSizeAndConfigurationAndDecodeAsFfmpegDoes)
{
    const ContainerCase cases[] = {
        {"s.mp4", "-c:v libx264 -bf 2", Codec::avc, true},
        {"s.mkv", "-c:v libx265 -x265-params log-level=error", Codec::hevc, true},
        {"s.webm", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8", Codec::vp9, false},
        {"s.avi", "-c:v mpeg4", Codec::mpeg4, true},
        {"s.m4v", "-c:v mpeg4 -bf 2", Codec::mpeg4, true},
    };
    for (const ContainerCase &container : cases) {
        zvx_av_test::TempFolder folder;
        const std::string path = folder.file(container.file);
        ASSERT_TRUE(zvx_av_test::make_stream(path, "160x120", 12, container.encode)) << container.file;
        zvx_av::MediaReader reader;
        ASSERT_TRUE(reader.open(path).ok()) << container.file;
        EXPECT_EQ(reader.codec(), container.codec) << container.file;
        EXPECT_EQ(reader.width(), 160) << container.file;
        EXPECT_EQ(reader.height(), 120) << container.file;
        EXPECT_EQ(!reader.codec_config().empty(), container.has_config) << container.file;

        zvx_av::DecoderSettings settings;
        settings.codec_config.assign(reader.codec_config().begin(), reader.codec_config().end());
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(*reader.codec(), settings).ok());
        zvx_av_test::DecodedPictures pictures;
        zvx_av::AccessUnit unit;
        while (reader.read(unit).ok()) {
            EXPECT_TRUE(decoder.send({unit.data(), unit.timestamp_us, true, false}).ok()) << container.file;
            zvx_av_test::take_pictures(decoder, zvx_av::ColourFormat::i420, pictures);
        }
        ASSERT_TRUE(decoder.end_stream().ok());
        zvx_av_test::take_pictures(decoder, zvx_av::ColourFormat::i420, pictures);
        EXPECT_EQ(pictures.formats.size(), 12u) << container.file;
        EXPECT_TRUE(pictures.bytes == zvx_av_test::reference_decode(folder, path, "yuv420p")) << container.file;
        EXPECT_TRUE(std::is_sorted(pictures.timestamps_us.begin(), pictures.timestamps_us.end())) << container.file;
    }
    zvx_av::MediaReader missing;
    EXPECT_FALSE(missing.open("/nonexistent/s.h264").ok());
}

struct WriterCase {
    Codec codec;
    const char *file;
};

/* What the writer makes is read back by FFmpeg's own program, every picture there. */
TEST(EncodedWriter, ElementaryStreamsAndIvfHoldEveryPicture)
{
    const WriterCase cases[] = {
        {Codec::avc, "out.h264"}, {Codec::hevc, "out.hevc"}, {Codec::vp8, "out.ivf"}, {Codec::vp9, "out.ivf"}};
    constexpr int FRAMES = 10;
    for (const WriterCase &writer_case : cases) {
        zvx_av_test::TempFolder folder;
        zvx_av::EncoderSettings settings;
        settings.codec = writer_case.codec;
        settings.width = 128;
        settings.height = 96;
        settings.speed = zvx_av::EncoderSpeed::fastest;
        zvx_av::Encoder encoder;
        ASSERT_TRUE(encoder.open(settings).ok());
        const std::string path = folder.file(writer_case.file);
        zvx_av::EncodedWriter writer;
        ASSERT_TRUE(writer.open(path, {settings.codec, 128, 96, settings.frame_rate, encoder.codec_config()}).ok());
        std::vector<uint8_t> picture(128 * 96 * 3 / 2, 128);
        auto write_packets = [&] {
            while (std::optional<zvx_av::EncodedPacket> packet = encoder.receive())
                ASSERT_TRUE(writer.write(packet->data(), packet->timestamp_us, packet->key).ok());
        };
        for (int i = 0; i < FRAMES; ++i) {
            picture[static_cast<size_t>(i) * 300] = 255;
            const zvx_av::FramePtr frame =
                zvx_av::wrap_picture(picture, 128, 96, {zvx_av::ColourFormat::i420, 128, 96});
            ASSERT_TRUE(encoder.send(*frame, int64_t{i} * 33333).ok());
            write_packets();
        }
        ASSERT_TRUE(encoder.end_stream().ok());
        write_packets();
        ASSERT_TRUE(writer.close().ok());

        EXPECT_EQ(zvx_av_test::reference_decode(folder, path, "yuv420p").size(), size_t{FRAMES} * 128 * 96 * 3 / 2)
            << writer_case.file;
        zvx_av::MediaReader reader;
        ASSERT_TRUE(reader.open(path).ok());
        EXPECT_EQ(reader.codec(), writer_case.codec);
    }
}

TEST(RawPictures, YuvAndY4mReadAsFfmpegWritesThemAndTheWriterConcatenatesI420)
{
    zvx_av_test::TempFolder folder;
    const std::string yuv = folder.file("in.yuv");
    const std::string y4m = folder.file("in.y4m");
    ASSERT_TRUE(zvx_av_test::make_raw_pictures(yuv, "90x50", 5));
    ASSERT_TRUE(zvx_av_test::make_raw_pictures(y4m, "90x50", 5));
    std::vector<uint8_t> truncated = zvx_av_test::read_file(yuv);
    truncated.resize(truncated.size() - 100);
    const std::string short_yuv = folder.file("short.yuv");
    ASSERT_TRUE(zvx_av_test::write_file(short_yuv, truncated));

    for (const std::string &in : {yuv, y4m, short_yuv}) {
        zvx_av::RawPictureReader reader;
        ASSERT_TRUE(reader.open(in, 90, 50).ok()) << in;
        EXPECT_EQ(reader.width(), 90);
        EXPECT_EQ(reader.height(), 50);
        const std::string out = folder.file("out.yuv");
        zvx_av::RawPictureWriter writer;
        ASSERT_TRUE(writer.open(out).ok());
        zvx_av::FramePtr picture;
        zvx_av::Status status;
        while ((status = reader.read(picture)).ok())
            ASSERT_TRUE(writer.write(*picture).ok());
        EXPECT_EQ(status.code(), AVERROR_EOF) << in;
        ASSERT_TRUE(writer.close().ok());
        const std::vector<uint8_t> expected = zvx_av_test::read_file(yuv);
        const size_t pictures = in == short_yuv ? 4 : 5;
        EXPECT_TRUE(zvx_av_test::read_file(out) ==
                    std::vector<uint8_t>(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(
                                                                                  expected.size() / 5 * pictures)))
            << in;
    }
    zvx_av::RawPictureReader sizeless;
    EXPECT_FALSE(sizeless.open(yuv).ok()) << "raw pictures need a size";
}

} // namespace
