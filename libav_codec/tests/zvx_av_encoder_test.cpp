#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "zvx_av_decoder.h"
#include "zvx_av_encoder.h"
#include "zvx_av_picture_wrapper.h"
#include "zvx_av_picture_writer.h"
#include "zvx_av_test_streams.h"

namespace {

using zvx_av::Codec;
using zvx_av::ColourFormat;

constexpr int64_t FRAME_US = 40000; /* 25 pictures a second */

struct Packet {
    std::vector<uint8_t> data;
    int64_t timestamp_us;
    bool key;
};

void take_packets(zvx_av::Encoder &encoder, std::vector<Packet> &packets)
{
    while (std::optional<zvx_av::EncodedPacket> packet = encoder.receive())
        packets.push_back({{packet->data().begin(), packet->data().end()}, packet->timestamp_us, packet->key});
}

/* Sends each picture from a client's buffer of another layout, with requests for key frames before
 * the pictures listed and a new bitrate from `change_at` on. */
struct EncodeRun {
    std::set<size_t> key_requests;
    size_t change_at = SIZE_MAX;
    int64_t new_bitrate = 0;
};

std::vector<Packet> encode(zvx_av::Encoder &encoder, const std::vector<std::vector<uint8_t>> &pictures, int width,
                           int height, const EncodeRun &run = {})
{
    const zvx_av::PictureLayout tight = {ColourFormat::i420, width, height};
    const zvx_av::PictureLayout client = {ColourFormat::nv12, width + 32, height + 8};
    std::vector<uint8_t> buffer(zvx_av::picture_bytes(client, width, height));
    zvx_av::PictureWriter writer;
    std::vector<Packet> packets;
    for (size_t i = 0; i < pictures.size(); ++i) {
        std::vector<uint8_t> source = pictures[i];
        const zvx_av::FramePtr planar = zvx_av::wrap_picture(source, width, height, tight);
        if (!planar || writer.write(*planar, client, buffer) == 0)
            return {};
        const zvx_av::FramePtr picture = zvx_av::wrap_picture(buffer, width, height, client);
        if (run.key_requests.contains(i))
            encoder.request_key_frame();
        if (i == run.change_at && !encoder.set_bitrate(run.new_bitrate).ok())
            return {};
        if (!picture || !encoder.send(*picture, static_cast<int64_t>(i) * FRAME_US).ok())
            return {};
        take_packets(encoder, packets);
    }
    if (!encoder.end_stream().ok())
        return {};
    take_packets(encoder, packets);
    return packets;
}

zvx_av::EncoderSettings settings_for(Codec codec, int width, int height)
{
    zvx_av::EncoderSettings settings;
    settings.codec = codec;
    settings.width = width;
    settings.height = height;
    settings.input_format = AV_PIX_FMT_NV12;
    settings.frame_rate = {25, 1};
    settings.speed = zvx_av::EncoderSpeed::fast;
    return settings;
}

double psnr(const std::vector<uint8_t> &a, const std::vector<uint8_t> &b)
{
    double squares = 0;
    for (size_t i = 0; i < a.size(); ++i)
        squares += (a[i] - b[i]) * (a[i] - b[i]);
    return squares == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / squares);
}

/* The packets through a decoder of the codec, its configuration first where it has one. */
zvx_av_test::DecodedPictures decode_packets(Codec codec, std::span<const uint8_t> config,
                                            const std::vector<Packet> &packets)
{
    zvx_av_test::DecodedPictures decoded;
    zvx_av::Decoder decoder;
    EXPECT_TRUE(decoder.open(codec).ok());
    if (!config.empty()) {
        EXPECT_TRUE(decoder.send({config, zvx_av::no_timestamp, true, true}).ok());
    }
    for (const Packet &packet : packets) {
        EXPECT_TRUE(decoder.send({packet.data, packet.timestamp_us, true, false}).ok());
        zvx_av_test::take_pictures(decoder, ColourFormat::i420, decoded);
    }
    EXPECT_TRUE(decoder.end_stream().ok());
    zvx_av_test::take_pictures(decoder, ColourFormat::i420, decoded);
    return decoded;
}

class EncoderTest : public testing::TestWithParam<Codec> {};

TEST_P(EncoderTest, StreamDecodesAt30DecibelsForCifAtOneMegabitWithKeyFramesAtTheIntervalAndWhereRequested)
{
    const std::vector<std::vector<uint8_t>> pictures = zvx_av_test::raw_pictures("cif.y4m", 352, 288, 30);
    ASSERT_EQ(pictures.size(), 30u);

    zvx_av::EncoderSettings settings = settings_for(GetParam(), 352, 288);
    settings.bitrate = 1000000;
    settings.key_frame_interval = 10;
    zvx_av::Encoder encoder;
    ASSERT_TRUE(encoder.open(settings).ok());
    const std::vector<uint8_t> config(encoder.codec_config().begin(), encoder.codec_config().end());
    EXPECT_EQ(config.empty(), GetParam() == Codec::vp8 || GetParam() == Codec::vp9);
    EncodeRun run;
    run.key_requests = {15};
    const std::vector<Packet> packets = encode(encoder, pictures, 352, 288, run);
    ASSERT_EQ(packets.size(), 30u);
    std::vector<int64_t> keys;
    for (const Packet &packet : packets)
        if (packet.key)
            keys.push_back(packet.timestamp_us / FRAME_US);
    std::sort(keys.begin(), keys.end());
    ASSERT_GE(keys.size(), 3u);
    EXPECT_EQ(std::vector<int64_t>(keys.begin(), keys.begin() + 3), (std::vector<int64_t>{0, 10, 15}));
    for (size_t i = 1; i < keys.size(); ++i)
        EXPECT_LE(keys[i] - keys[i - 1], 10) << "after key frame " << keys[i - 1];

    const zvx_av_test::DecodedPictures decoded = decode_packets(GetParam(), config, packets);
    ASSERT_EQ(decoded.timestamps_us.size(), 30u);
    for (size_t i = 0; i < 30; ++i) {
        ASSERT_EQ(decoded.timestamps_us[i], static_cast<int64_t>(i) * FRAME_US);
        const std::vector<uint8_t> picture(decoded.bytes.begin() + static_cast<std::ptrdiff_t>(i * pictures[i].size()),
                                           decoded.bytes.begin() +
                                               static_cast<std::ptrdiff_t>((i + 1) * pictures[i].size()));
        EXPECT_GE(psnr(picture, pictures[i]), 30.0) << "picture " << i;
    }
}

TEST_P(EncoderTest, BitrateHoldsOverSecondsAndAChangeMidStreamTakesEffect)
{
    constexpr size_t FIRST = 100; /* four seconds at the first rate */
    constexpr size_t SECOND = 50;
    const std::vector<std::vector<uint8_t>> pictures = zvx_av_test::raw_pictures("cif.yuv", 352, 288, FIRST + SECOND);
    ASSERT_EQ(pictures.size(), FIRST + SECOND);
    zvx_av::EncoderSettings settings = settings_for(GetParam(), 352, 288);
    settings.rate_control = zvx_av::RateControl::constant_bitrate;
    settings.bitrate = 400000;
    zvx_av::Encoder encoder;
    ASSERT_TRUE(encoder.open(settings).ok());
    EncodeRun run;
    run.change_at = FIRST;
    run.new_bitrate = 1200000;
    const std::vector<Packet> packets = encode(encoder, pictures, 352, 288, run);
    ASSERT_EQ(packets.size(), FIRST + SECOND);

    double first_bits = 0;
    double second_bits = 0;
    for (const Packet &packet : packets)
        (packet.timestamp_us < static_cast<int64_t>(FIRST) * FRAME_US ? first_bits : second_bits) +=
            8.0 * static_cast<double>(packet.data.size());
    const double first_rate = first_bits / (FIRST * FRAME_US / 1e6);
    const double second_rate = second_bits / (SECOND * FRAME_US / 1e6);
    EXPECT_NEAR(first_rate, 400000, 400000 * 0.15);
    EXPECT_GT(second_rate, 2 * first_rate) << "the new rate is three times the first";

    // Reopened encoders go on from a key frame whose stream still decodes whole.
    EXPECT_EQ(decode_packets(GetParam(), encoder.codec_config(), packets).timestamps_us.size(), FIRST + SECOND);
}

TEST_P(EncoderTest, LowDelayGivesEachPacketAsItsPictureGoesIn)
{
    const std::vector<std::vector<uint8_t>> pictures = zvx_av_test::raw_pictures("in.yuv", 176, 144, 12);
    ASSERT_EQ(pictures.size(), 12u);
    zvx_av::EncoderSettings settings = settings_for(GetParam(), 176, 144);
    settings.input_format = AV_PIX_FMT_YUV420P;
    settings.low_delay = true;
    zvx_av::Encoder encoder;
    ASSERT_TRUE(encoder.open(settings).ok());
    std::vector<Packet> packets;
    for (size_t i = 0; i < pictures.size(); ++i) {
        std::vector<uint8_t> source = pictures[i];
        const zvx_av::FramePtr picture = zvx_av::wrap_picture(source, 176, 144, {ColourFormat::i420, 176, 144});
        ASSERT_TRUE(encoder.send(*picture, static_cast<int64_t>(i) * FRAME_US).ok());
        take_packets(encoder, packets);
        EXPECT_EQ(packets.size(), i + 1) << "after picture " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, EncoderTest, testing::Values(Codec::avc, Codec::hevc, Codec::vp8, Codec::vp9),
                         [](const testing::TestParamInfo<Codec> &info) {
                             return std::string(zvx_av::role_name(info.param));
                         });

TEST(Encoder, DecodeOnlyRolesAndImpossibleSettingsAreRefused)
{
    zvx_av::Encoder encoder;
    EXPECT_EQ(encoder.open(settings_for(Codec::mpeg2, 176, 144)).code(), AVERROR_ENCODER_NOT_FOUND);
    EXPECT_FALSE(encoder.open(settings_for(Codec::avc, 0, 144)).ok());
    zvx_av::EncoderSettings bad_profile = settings_for(Codec::avc, 176, 144);
    bad_profile.profile = "no-such-profile";
    EXPECT_FALSE(encoder.open(bad_profile).ok());
    ASSERT_TRUE(encoder.open(settings_for(Codec::avc, 176, 144)).ok());
    std::vector<uint8_t> small(96 * 64 * 3 / 2);
    const zvx_av::FramePtr wrong_size = zvx_av::wrap_picture(small, 96, 64, {ColourFormat::i420, 96, 64});
    EXPECT_FALSE(encoder.send(*wrong_size, 0).ok());
}

} // namespace
