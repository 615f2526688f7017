#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zvx_av_decoder.h"
#include "zvx_av_test_streams.h"

namespace {

using zvx_av::Codec;
using zvx_av_test::decode_all;
using zvx_av_test::DecodedPictures;
using zvx_av_test::random_bytes;

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
        EXPECT_FALSE(decoder.end_stream().ok()) << "the zeros after the refused unit are no picture";
        EXPECT_FALSE(decoder.receive());
    }
}

} // namespace
