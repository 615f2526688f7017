#include <gtest/gtest.h>

#include <memory>

#include "zvx_omx_buffer_layout.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"

namespace {

TEST(BufferLayout, FrameSizesAndStridesByFormatAndRoundingNeverOverflows)
{
    OMX_U32 stride = 0;
    EXPECT_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, OMX_COLOR_FormatYUV420Planar, true, &stride),
              44000u);
    EXPECT_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, OMX_COLOR_Format32bitBGRA8888, true, &stride),
              101376u);
    EXPECT_EQ(stride, 704u);
    EXPECT_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, QURO_COLOR_FormatYUYAAYVYAA_10b, true, nullptr),
              (9u + 1) * 11 * 528);
    EXPECT_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, QURO_COLOR_FormatYUYAAYVYAA_10b, false, nullptr),
              176u * 144 * 2);
    EXPECT_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, QURO_COLOR_FormatYVU422_1P, true, nullptr),
              176u * 144 * 2)
        << "the single-plane 4:2:2 layouts are never compressed";
    EXPECT_EQ(common_component_cmd_calc_buffer_size_stride(175, 1, QURO_COLOR_FormatMBInfo, false, &stride), 288u)
        << "an unknown format is sized as planar 4:2:0, rounded up to 32";
    EXPECT_FALSE(zvx_omx_is_known_frame_format(QURO_COLOR_FormatMBInfo));

    EXPECT_EQ(align(33, 32), 64);
    EXPECT_EQ(align(-1, 32), 0) << "wraps modulo 2^32 like the unsigned sizes it rounds";
    EXPECT_EQ(saturate_u32(4, 8, 9), 8u);
    EXPECT_EQ(saturate_u32(4, 8, 1), 4u);
    EXPECT_EQ(calc_buffer_size_tcx(0, 0, false), 0u);
}

class BitstreamBuffers : public ::testing::TestWithParam<zvx_omx_component_type_t> {
protected:
    void SetUp() override
    {
        comp = std::make_unique<zvx_omx_common_component>();
        zvx_omx_common_component_set_type(comp.get(), GetParam());
        ASSERT_EQ(zvx_omx_common_component_init(nullptr, comp.get(), nullptr, nullptr), OMX_ErrorNone);
        auto build = GetParam() == ZVX_OMX_ENCODER ? zvx_omx_config_encoder : zvx_omx_config_decoder;
        ASSERT_EQ(build(&comp->ports[0].config_and_params, &comp->ports[1].config_and_params), OMX_ErrorNone);
    }
    void TearDown() override { zvx_omx_common_component_destroy(comp.get()); }

    OMX_PARAM_PORTDEFINITIONTYPE *definition(OMX_U32 port) { return zvx_omx_port_get_definition(&comp->ports[port]); }

    std::unique_ptr<zvx_omx_common_component> comp;
};

TEST_P(BitstreamBuffers, GrowWithTheFramesAndNeverShrinkAndStoredMetadataHoldsAFullHdFrame)
{
    const OMX_U32 frames = zvx_omx_common_component_get_yuv_port_index(comp.get());
    const OMX_U32 bitstream = zvx_omx_common_component_get_bitstream_port_index(comp.get());
    definition(frames)->format.video.nFrameWidth = 1920;
    definition(frames)->format.video.nFrameHeight = 1080;
    zvx_omx_common_component_update_buffer_size(comp.get(), frames);
    EXPECT_EQ(definition(bitstream)->nBufferSize, 1048576u) << "only the bitstream port's size is derived";
    zvx_omx_common_component_update_buffer_size(comp.get(), bitstream);
    const OMX_U32 grown = GetParam() == ZVX_OMX_ENCODER ? 4665600u : 2073600u;
    EXPECT_EQ(definition(bitstream)->nBufferSize, grown);
    definition(frames)->format.video.nFrameWidth = 16;
    zvx_omx_common_component_update_buffer_size(comp.get(), bitstream);
    EXPECT_EQ(definition(bitstream)->nBufferSize, grown);

    // An input of stored metadata holds a full HD frame.
    auto *metadata = static_cast<StoreMetaDataInBuffersParams *>(
        zvx_omx_config_find(&comp->ports[1].config_and_params, OMX_IndexParamEnableStoreMetaData, 0));
    metadata->bStoreMetaData = OMX_TRUE;
    definition(0)->nBufferSize = 0;
    zvx_omx_common_component_update_buffer_size(comp.get(), 0);
    EXPECT_EQ(definition(0)->nBufferSize, GetParam() == ZVX_OMX_DECODER ? 2073600u : 0u);
}

INSTANTIATE_TEST_SUITE_P(BothKinds, BitstreamBuffers, ::testing::Values(ZVX_OMX_DECODER, ZVX_OMX_ENCODER));

} // namespace
