#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "zvx_av_decoder.h"
#include "zvx_av_test_streams.h"

namespace {

using zvx_av::Codec;
using zvx_av_test::decode_all;
using zvx_av_test::DecodedPictures;
using zvx_av_test::random_bytes;

constexpr int FRAMES = 20;

/* Every eighth access unit gets a few bytes past its headers overwritten. */
std::vector<std::vector<uint8_t>> corrupt(std::vector<std::vector<uint8_t>> units)
{
    std::mt19937 random(99); // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must repeat
    for (size_t i = 1; i < units.size(); i += 8) {
        std::vector<uint8_t> &unit = units[i];
        for (int n = 0; n < 6 && unit.size() > 32; ++n)
            unit[32 + random() % (unit.size() - 32)] = static_cast<uint8_t>(random());
    }
    return units;
}

struct BadStreamCase {
    const char *name;
    Codec codec;
    const char *file;
    const char *encode;
};

const BadStreamCase BAD_STREAM_CASES[] = {
    {"Avc", Codec::avc, "s.h264", "-c:v libx264 -bf 2"},
    {"Hevc", Codec::hevc, "s.hevc", "-c:v libx265 -x265-params log-level=error"},
    {"Vp9", Codec::vp9, "s.ivf", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8"},
    {"Mpeg4", Codec::mpeg4, "s.m4v", "-c:v mpeg4 -bf 2 -f m4v"},
};

class BadStream : public testing::TestWithParam<BadStreamCase> {};

TEST_P(BadStream, CorruptTruncatedAndMislabelledGiveErrorsOrFewerPicturesNeverACrash)
{
    const BadStreamCase &stream = GetParam();
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file(stream.file);
    ASSERT_TRUE(zvx_av_test::make_stream(path, "176x144", FRAMES, stream.encode));
    const std::vector<std::vector<uint8_t>> units = zvx_av_test::read_access_units(path);
    ASSERT_EQ(units.size(), size_t{FRAMES});

    for (const bool framed : {true, false}) {
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(stream.codec).ok());
        const DecodedPictures damaged = decode_all(decoder, corrupt(units), framed);
        EXPECT_LE(damaged.formats.size(), size_t{FRAMES});

        // Cut in the middle of an access unit.
        std::vector<std::vector<uint8_t>> truncated(units.begin(), units.begin() + FRAMES / 2);
        truncated.back().resize(truncated.back().size() / 2);
        ASSERT_TRUE(decoder.open(stream.codec).ok());
        const DecodedPictures cut = decode_all(decoder, truncated, framed);
        EXPECT_LE(cut.formats.size(), size_t{FRAMES / 2});
        EXPECT_GE(cut.formats.size(), size_t{FRAMES / 2 - 2}) << "the whole units before the cut";
    }

    // The same stream under every other role's decoder.
    for (int other = 0; other <= static_cast<int>(Codec::rv); ++other) {
        const auto codec = static_cast<Codec>(other);
        if (codec == stream.codec)
            continue;
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(codec).ok());
        const DecodedPictures mislabelled = decode_all(decoder, units, true);
        EXPECT_LE(mislabelled.formats.size(), size_t{FRAMES}) << zvx_av::role_name(codec);
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, BadStream, testing::ValuesIn(BAD_STREAM_CASES),
                         [](const testing::TestParamInfo<BadStreamCase> &info) {
                             return std::string(info.param.name);
                         });

/* No encoder of theirs is installed: garbage, with and without garbage configuration, framed and in
 * chunks, is all these decoders get here. */
TEST(BadStream, Vc1AndRealVideoTakeGarbage)
{
    for (const Codec codec : {Codec::vc1, Codec::rv}) {
        for (const AVCodecID stream_id :
             {zvx_av::codec_id(codec), codec == Codec::vc1 ? AV_CODEC_ID_WMV3 : AV_CODEC_ID_RV30}) {
            for (unsigned seed = 1; seed <= 3; ++seed) {
                zvx_av::DecoderSettings settings;
                settings.stream_codec_id = stream_id;
                if (seed > 1)
                    settings.codec_config = random_bytes(size_t{seed} * 12, seed);
                std::vector<std::vector<uint8_t>> units;
                for (unsigned n = 0; n < 12; ++n)
                    units.push_back(random_bytes(64 + n * 97, seed * 100 + n));
                for (const bool framed : {true, false}) {
                    zvx_av::Decoder decoder;
                    ASSERT_TRUE(decoder.open(codec, settings).ok());
                    const DecodedPictures pictures = decode_all(decoder, units, framed);
                    EXPECT_LE(pictures.formats.size(), units.size());
                }
            }
        }
    }
    zvx_av::Decoder without_config;
    ASSERT_TRUE(without_config.open(Codec::vc1).ok());
    const std::vector<uint8_t> unit = random_bytes(500, 7);
    EXPECT_FALSE(without_config.send({unit, 0, true, false}).ok()) << "vc1 cannot start without its sequence header";
}

TEST(BadStream, InputWithoutFrameBoundariesIsRefusedAtALimit)
{
    const std::vector<uint8_t> zeros(1u << 20, 0);
    for (const bool framed : {true, false}) {
        zvx_av::Decoder decoder;
        zvx_av::DecoderSettings settings;
        settings.framing = framed ? zvx_av::InputFraming::access_units : zvx_av::InputFraming::chunks;
        ASSERT_TRUE(decoder.open(Codec::avc, settings).ok());
        int refused = 0;
        const size_t pieces = zvx_av::Decoder::max_access_unit_bytes / zeros.size() + 2;
        for (size_t i = 0; i < pieces; ++i)
            refused += decoder.send({zeros, 0, false, false}).ok() ? 0 : 1;
        EXPECT_EQ(refused, 1) << (framed ? "one access unit never ended" : "a parser that never found one");
        EXPECT_TRUE(decoder.end_stream().ok()) << "what was refused is gone";
        EXPECT_FALSE(decoder.receive());
    }
}

} // namespace
