#include <gtest/gtest.h>

#include <cstring>

#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"

namespace {

class SettingsStore : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(zvx_omx_config_construct(&store), OMX_ErrorNone); }
    void TearDown() override { zvx_omx_config_destruct(&store); }

    struct zvx_map store;
};

TEST_F(SettingsStore, InsertUnderAnExistingKeyReplacesTheCopyAndAvcListsEveryProfileLevelPairProfileMajor)
{
    OMX_PARAM_U32TYPE first = {};
    first.nU32 = 1;
    OMX_PARAM_U32TYPE second = {};
    second.nU32 = 2;
    ASSERT_EQ(zvx_omx_config_insert(&store, OMX_IndexConfigOperatingRate, 3, &first, sizeof(first)), OMX_ErrorNone);
    first.nU32 = 99; // the store keeps its own copy
    ASSERT_EQ(zvx_omx_config_insert(&store, OMX_IndexConfigOperatingRate, 3, &second, sizeof(second)), OMX_ErrorNone);

    EXPECT_EQ(zvx_map_size(&store), 1u);
    auto *found = static_cast<OMX_PARAM_U32TYPE *>(zvx_omx_config_find(&store, OMX_IndexConfigOperatingRate, 3));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->nU32, 2u);
    EXPECT_EQ(zvx_omx_config_find(&store, OMX_IndexConfigOperatingRate, 0), nullptr);

    ASSERT_EQ(zvx_omx_port_avc_config(ZVX_OMX_DECODER, 0, &store), OMX_ErrorNone);

    const OMX_U32 profiles[] = {OMX_VIDEO_AVCProfileBaseline, OMX_VIDEO_AVCProfileMain, OMX_VIDEO_AVCProfileHigh};
    for (OMX_U32 sub_index = 0; sub_index < 48; ++sub_index) {
        auto *pair = static_cast<OMX_VIDEO_PARAM_PROFILELEVELTYPE *>(
            zvx_omx_config_find(&store, OMX_IndexParamVideoProfileLevelQuerySupported, sub_index));
        ASSERT_NE(pair, nullptr) << sub_index;
        EXPECT_EQ(pair->eProfile, profiles[sub_index / 16]) << sub_index;
        EXPECT_EQ(pair->eLevel, 1u << (sub_index % 16)) << sub_index;
        EXPECT_EQ(pair->nProfileIndex, sub_index);
    }
    EXPECT_EQ(zvx_omx_config_find(&store, OMX_IndexParamVideoProfileLevelQuerySupported, 48), nullptr);
}

TEST_F(SettingsStore, DecoderOutputKeepsTwoColourSlotsAndAFifthPortFormatIsTheEncoderInputsTillJpeg)
{
    ASSERT_EQ(zvx_omx_config_decoder_output(&store), OMX_ErrorNone);
    EXPECT_EQ(zvx_omx_config_find(&store, OMX_IndexParamVideoPortFormat, 4), nullptr);
    for (OMX_U32 array_index : {0u, 1u}) {
        auto *hdr = static_cast<DescribeHDRStaticInfoParams *>(
            zvx_omx_config_find(&store, OMX_IndexConfigDescribeHDRColorInfo, array_index));
        ASSERT_NE(hdr, nullptr);
        EXPECT_EQ(hdr->nSize, sizeof(DescribeHDRStaticInfoParams));
        EXPECT_EQ(hdr->nPortIndex, 1u);
        auto *aspects = static_cast<DescribeColorAspectsParams *>(
            zvx_omx_config_find(&store, OMX_IndexParamDescribeColorAspects, array_index));
        ASSERT_NE(aspects, nullptr);
        EXPECT_EQ(aspects->nSize, sizeof(DescribeColorAspectsParams));
    }
    EXPECT_EQ(zvx_omx_config_find(&store, OMX_IndexParamDescribeColorAspects, 2), nullptr);

    struct zvx_map encoder_input;
    ASSERT_EQ(zvx_omx_config_construct(&encoder_input), OMX_ErrorNone);
    ASSERT_EQ(zvx_omx_config_encoder_input(&encoder_input), OMX_ErrorNone);
    auto *format = static_cast<OMX_VIDEO_PARAM_PORTFORMATTYPE *>(
        zvx_omx_config_find(&encoder_input, OMX_IndexParamVideoPortFormat, 4));
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->eColorFormat, OMX_COLOR_Format32bitBGRA8888);
    EXPECT_EQ(format->nIndex, 4u);
    EXPECT_EQ(format->xFramerate, 30u << 16);

    ASSERT_EQ(zvx_omx_frame_port_jpeg_config(&encoder_input), OMX_ErrorNone);
    const OMX_COLOR_FORMATTYPE kept[] = {OMX_COLOR_FormatYUV420Planar, OMX_COLOR_FormatYUV420SemiPlanar};
    for (OMX_U32 i = 0; i < 2; ++i) {
        format = static_cast<OMX_VIDEO_PARAM_PORTFORMATTYPE *>(
            zvx_omx_config_find(&encoder_input, OMX_IndexParamVideoPortFormat, i));
        ASSERT_NE(format, nullptr);
        EXPECT_EQ(format->eColorFormat, kept[i]);
        EXPECT_EQ(format->nIndex, i);
    }
    EXPECT_EQ(zvx_omx_config_find(&encoder_input, OMX_IndexParamVideoPortFormat, 2), nullptr);
    zvx_omx_config_destruct(&encoder_input);
}

// Every default record must carry its header: clients and the session reject records without one.
TEST_F(SettingsStore, EveryDefaultRecordIsStampedWithVersion112AndTheBitstreamPortSizedByItsBuffers)
{
    struct zvx_map output;
    ASSERT_EQ(zvx_omx_config_construct(&output), OMX_ErrorNone);
    ASSERT_EQ(zvx_omx_config_encoder(&store, &output), OMX_ErrorNone);
    ASSERT_EQ(zvx_omx_port_vp9_config(ZVX_OMX_ENCODER, 1, &output), OMX_ErrorNone);
    for (struct zvx_map *map : {&store, &output}) {
        unsigned position = 0;
        unsigned records = 0;
        for (void *value; (value = zvx_map_next(map, &position)) != nullptr; ++records) {
            const auto *header = static_cast<const OMX_PORT_PARAM_TYPE *>(value);
            EXPECT_EQ(header->nVersion.nVersion, 0x00020101u);
            EXPECT_GE(header->nSize, 16u);
            EXPECT_LE(header->nSize, sizeof(OMX_PARAM_PORTDEFINITIONTYPE));
        }
        EXPECT_GT(records, 10u);
    }
    auto *stream =
        static_cast<OMX_PARAM_PORTDEFINITIONTYPE *>(zvx_omx_config_find(&output, OMX_IndexParamPortDefinition, 0));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->eDir, OMX_DirOutput);
    EXPECT_EQ(stream->nBufferCountMin, 5u);
    EXPECT_EQ(stream->format.video.nStride, 0);
    zvx_omx_config_destruct(&output);
}

} // namespace
