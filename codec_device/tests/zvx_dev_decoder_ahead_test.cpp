#include <gtest/gtest.h>

#include "zvx_dev_decoder_ahead.h"

namespace {

using zvx_av::Codec;

AVCodecID codec_of(const zvx_av::CodecContextPtr &context)
{
    return context ? context->codec_id : AV_CODEC_ID_NONE;
}

/* The decoder opened ahead follows the codec decoded last, one at a time, and goes at a stop. */
TEST(DecoderAhead, OpensOneOfTheCodecDecodedLastForTheNextSessionOfThatCodec)
{
    zvx_dev::DecoderAhead ahead;
    ahead.prepare();
    EXPECT_EQ(ahead.take(Codec::avc), nullptr) << "nothing decoded before";

    ahead.prepare();
    ahead.prepare();
    EXPECT_EQ(ahead.take(Codec::hevc), nullptr) << "opened for avc";
    ahead.prepare();
    EXPECT_EQ(ahead.take(Codec::avc), nullptr) << "the avc one gave way to hevc, decoded last";
    EXPECT_EQ(codec_of(ahead.take(Codec::hevc)), AV_CODEC_ID_HEVC);
    EXPECT_EQ(ahead.take(Codec::hevc), nullptr) << "one at a time";

    ahead.prepare();
    ahead.stop();
    EXPECT_EQ(ahead.take(Codec::hevc), nullptr);
    ahead.prepare();
    EXPECT_EQ(codec_of(ahead.take(Codec::hevc)), AV_CODEC_ID_HEVC) << "the codec outlives a stop";
}

} // namespace
