#include <gtest/gtest.h>

#include <memory>

#include "zvx_blackbox.h"
#include "zvx_omx_abi.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_extra_data.h"
#include "zvx_omx_session.h"
#include "zvx_omx_test_client.h"

namespace {

int destroy_session_calls;

void count_destroy_session(int)
{
    ++destroy_session_calls;
}

using Component = zvx_dispatch_test;

TEST_F(Component, InitLeavesADecoderWhoseSessionIsCreatedAndDestroyedOnceAndNeedsARole)
{
    EXPECT_STREQ(comp_.name, "OMX.DHQ.video.k7nn.decoder");
    EXPECT_EQ(comp_.alloc_params.planar_alloc_frame_width, 176);
    EXPECT_EQ(comp_.alloc_params.planar_alloc_frame_height, 144);
    EXPECT_NE(comp_.driver_fd, -1);
    EXPECT_FALSE(comp_.session_created);
    EXPECT_EQ(handle_.omx.nSize, sizeof(OMX_COMPONENTTYPE));

    destroy_session_calls = 0;
    bb_cb.bbcb_destroy_session = count_destroy_session;

    ASSERT_TRUE(zvx_omx_common_component_create_session(&comp_));
    EXPECT_TRUE(comp_.session_created);

    zvx_omx_common_component_destroy_session(&comp_);
    zvx_omx_common_component_destroy_session(&comp_);
    EXPECT_EQ(destroy_session_calls, 1);

    zvx_omx_config_key key = {OMX_IndexParamStandardComponentRole, 0};
    zvx_map_erase(&comp_.config_and_params, &key);
    EXPECT_FALSE(zvx_omx_common_component_create_session(&comp_));
    EXPECT_FALSE(zvx_omx_common_component_create_session(nullptr));
}

TEST_F(Component, ExtraDataFollowsTcxAndInterlaceAndStrideSliceHeightAndCropOriginAreKept)
{
    EXPECT_EQ(zvx_omx_common_component_get_extra_data_size(&comp_, 1), 0u);
    ASSERT_TRUE(zvx_omx_common_component_tcx_enable(&comp_, 1, true, false, false));
    EXPECT_EQ(zvx_omx_common_component_get_extra_data_size(&comp_, 1), ZVX_OMX_ABI_SIZE(64u, 128u));
    auto *sequence = static_cast<QURO_PARAM_SEQUENECE_PARAMETERS *>(
        zvx_omx_config_find(&comp_.ports[1].config_and_params, QURO_IndexParamSequenceParameters, 0));
    ASSERT_NE(sequence, nullptr);
    sequence->bInterlace = 1;
    EXPECT_EQ(zvx_omx_common_component_get_extra_data_size(&comp_, 1), ZVX_OMX_ABI_SIZE(96u, 192u));
    EXPECT_EQ(zvx_omx_common_component_get_extra_data_size(nullptr, 1), 0u);

    EXPECT_FALSE(zvx_omx_common_component_tcx_enable(&comp_, 0, true, true, true)); // bitstream port
    ASSERT_TRUE(zvx_omx_common_component_tcx_enable(&comp_, 1, true, true, false));
    auto tiles = static_cast<OMX_BOOL>(7);
    EXPECT_FALSE(zvx_omx_common_component_is_tcx_enabled(&comp_, 0, &tiles, nullptr));
    EXPECT_FALSE(zvx_omx_common_component_is_tcx_enabled(&comp_, OMX_U32(-1), &tiles, nullptr));
    EXPECT_EQ(tiles, 7) << "outputs stay untouched without a setting";
    EXPECT_FALSE(zvx_omx_common_component_is_dmabuf_enabled(&comp_, 1));
    EXPECT_FALSE(zvx_omx_common_component_is_metadata_in_buffer_enabled(&comp_, 5));

    OMX_PARAM_PORTDEFINITIONTYPE *def = zvx_omx_port_get_definition(&comp_.ports[1]);
    ASSERT_NE(def, nullptr);
    def->format.video.nStride = 4096;
    def->format.video.nSliceHeight = 100;
    comp_.alloc_params.planar_alloc_frame_width = 1920;
    comp_.alloc_params.planar_alloc_frame_height = 1088;

    zvx_omx_common_component_update_portdef_from_alloc_params(&comp_);
    EXPECT_EQ(def->format.video.nFrameWidth, 1920u);
    EXPECT_EQ(def->format.video.nFrameHeight, 1088u);
    EXPECT_EQ(def->format.video.nStride, 4096);
    EXPECT_EQ(def->format.video.nSliceHeight, 1088u);

    comp_.alloc_params_state = ZVX_ALLOC_PARAMS_UPDATED;
    comp_.alloc_params.planar_alloc_frame_width = 640;
    zvx_omx_common_component_update_portdef_from_alloc_params(&comp_);
    EXPECT_EQ(def->format.video.nFrameWidth, 1920u);

    auto *crop = static_cast<OMX_CONFIG_RECTTYPE *>(
        zvx_omx_config_find(&comp_.ports[1].config_and_params, OMX_IndexConfigCommonOutputCrop, 0));
    ASSERT_NE(crop, nullptr);
    crop->nLeft = 8;
    zvx_omx_common_component_update_crop_rect(&comp_, 1, 1280, 720);
    EXPECT_EQ(crop->nLeft, 8);
    EXPECT_EQ(crop->nWidth, 1280u);
    EXPECT_EQ(crop->nHeight, 720u);
}

} // namespace
