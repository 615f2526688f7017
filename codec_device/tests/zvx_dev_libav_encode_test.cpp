// Encodes through a device with the libavcodec engine: what the host sets is what the stream gets.
#include <gtest/gtest.h>

#include <OMX_Core.h>
#include <OMX_Index.h>
#include <OMX_Video.h>

#include <string>

#include "zvx_av_decoder.h"
#include "zvx_av_test_streams.h"
#include "zvx_dev_host.h"
#include "zvx_dev_libav_runs.h"
#include "zvx_omx_extensions.h"

namespace {

using zvx_dev_test::encode_through_device;
using zvx_dev_test::EncodedOutput;
using zvx_dev_test::EncodeOptions;
using zvx_dev_test::EncodeResult;
using zvx_dev_test::record_bytes;

constexpr int PICTURES = 40;
constexpr uint32_t WIDTH = 176;
constexpr uint32_t HEIGHT = 144;
constexpr uint32_t KEY_INTERVAL = 10;
constexpr uint32_t REQUESTED_KEY = 15;
constexpr uint32_t BITRATE_CHANGE = 20;

class LibavEncode : public EmulatorTest, public testing::WithParamInterface<const char *> {};

template <typename Record> Record stamped()
{
    Record record{};
    record.nSize = sizeof(record);
    record.nVersion.nVersion = 0x00000101;
    record.nPortIndex = 1;
    return record;
}

EncodeOptions options_for(const std::string &role)
{
    EncodeOptions options;
    options.width = WIDTH;
    options.height = HEIGHT;
    auto bitrate = stamped<OMX_VIDEO_PARAM_BITRATETYPE>();
    bitrate.eControlRate = OMX_Video_ControlRateConstant;
    bitrate.nTargetBitrate = 60000;
    options.settings.emplace_back(OMX_IndexParamVideoBitrate, record_bytes(bitrate));
    auto period = stamped<QURO_CONFIG_INTRAPERIODTYPE>();
    period.nPFrames = KEY_INTERVAL - 1;
    options.settings.emplace_back(OMX_IndexConfigVideoIntraPeriod, record_bytes(period));
    if (role == "video_encoder.avc") {
        auto avc = stamped<OMX_VIDEO_PARAM_AVCTYPE>();
        avc.nPFrames = KEY_INTERVAL - 1;
        avc.eProfile = OMX_VIDEO_AVCProfileHigh;
        avc.eLevel = OMX_VIDEO_AVCLevel3;
        options.settings.emplace_back(OMX_IndexParamVideoAvc, record_bytes(avc));
        // Packets larger than a buffer are split over several.
        options.output_buffer_size = 1500;
    }
    auto refresh = stamped<OMX_CONFIG_INTRAREFRESHVOPTYPE>();
    refresh.IntraRefreshVOP = OMX_TRUE;
    options.changes.push_back({REQUESTED_KEY, {OMX_IndexConfigVideoIntraVOPRefresh, record_bytes(refresh)}});
    auto faster = stamped<OMX_VIDEO_CONFIG_BITRATETYPE>();
    faster.nEncodeBitrate = 3000000;
    options.changes.push_back({BITRATE_CHANGE, {OMX_IndexConfigVideoBitrate, record_bytes(faster)}});
    return options;
}

TEST_P(LibavEncode, KeyFramesWhereAskedBitrateChangeTakesEffectAndTheStreamDecodes)
{
    const std::string role = GetParam();
    const std::vector<std::vector<uint8_t>> pictures = zvx_av_test::raw_pictures("in.yuv", WIDTH, HEIGHT, PICTURES);
    ASSERT_EQ(pictures.size(), size_t{PICTURES});
    const EncodeResult result = encode_through_device(role.c_str(), pictures, options_for(role));
    ASSERT_TRUE(result.ended);
    EXPECT_EQ(result.errors, 0u);
    EXPECT_EQ(result.inputs_back, uint32_t{PICTURES} + 1);

    const bool has_config = role == "video_encoder.avc" || role == "video_encoder.hevc";
    ASSERT_FALSE(result.outputs.empty());
    EXPECT_EQ((result.outputs[0].flags & OMX_BUFFERFLAG_CODECCONFIG) != 0, has_config) << "configuration first";
    std::vector<EncodedOutput> packets;
    for (size_t i = has_config ? 1 : 0; i < result.outputs.size(); ++i) {
        EXPECT_EQ(result.outputs[i].flags & OMX_BUFFERFLAG_CODECCONFIG, 0u) << "configuration once, alone";
        EXPECT_NE(result.outputs[i].flags & OMX_BUFFERFLAG_ENDOFFRAME, 0u);
        packets.push_back(result.outputs[i]);
    }
    ASSERT_EQ(packets.size(), size_t{PICTURES});

    std::vector<uint32_t> keys;
    for (uint32_t i = 0; i < packets.size(); ++i)
        if ((packets[i].flags & OMX_BUFFERFLAG_SYNCFRAME) != 0)
            keys.push_back(i);
    ASSERT_FALSE(keys.empty());
    EXPECT_EQ(keys.front(), 0u);
    EXPECT_NE(std::find(keys.begin(), keys.end(), REQUESTED_KEY), keys.end()) << "key frame on request";
    for (size_t i = 1; i < keys.size(); ++i)
        EXPECT_LE(keys[i] - keys[i - 1], KEY_INTERVAL) << "interval between key frames " << keys[i - 1];
    EXPECT_GE(keys.size(), size_t{PICTURES / KEY_INTERVAL});
    EXPECT_LE(keys.size(), size_t{PICTURES / KEY_INTERVAL + 3});

    size_t slow_bytes = 0;
    size_t fast_bytes = 0;
    for (uint32_t i = 1; i < 10; ++i)
        slow_bytes += packets[i].bytes.size();
    for (uint32_t i = 31; i < 40; ++i)
        fast_bytes += packets[i].bytes.size();
    EXPECT_GT(fast_bytes, 3 * slow_bytes) << "the higher bitrate from picture " << BITRATE_CHANGE;

    std::vector<std::vector<uint8_t>> units;
    for (const EncodedOutput &output : result.outputs)
        units.push_back(output.bytes);
    zvx_av::Decoder decoder;
    zvx_av::DecoderSettings framed;
    framed.framing = zvx_av::InputFraming::access_units;
    ASSERT_TRUE(decoder.open(*zvx_av::codec_from_role(role.substr(role.find('.') + 1)), framed).ok());
    const zvx_av_test::DecodedPictures decoded =
        zvx_av_test::decode_all(decoder, units, true, zvx_av::ColourFormat::i420, has_config);
    EXPECT_EQ(decoded.errors, 0);
    EXPECT_EQ(decoded.formats.size(), size_t{PICTURES}) << "every picture decodes";
}

INSTANTIATE_TEST_SUITE_P(Roles, LibavEncode,
                         testing::Values("video_encoder.avc", "video_encoder.hevc", "video_encoder.vp8",
                                         "video_encoder.vp9"),
                         [](const testing::TestParamInfo<const char *> &info) {
                             const std::string role = info.param;
                             return role.substr(role.find('.') + 1);
                         });

} // namespace
