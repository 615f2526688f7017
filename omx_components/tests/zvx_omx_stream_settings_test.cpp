// Stream-setting events dispatched to a decoder without a command thread, as the client reads them back.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_test_client.h"

namespace {

class StreamSettings : public zvx_dispatch_test {
protected:
    template <typename T> T get(OMX_INDEXTYPE index, OMX_U32 port)
    {
        T record = zvx_omx_stamped_record<T>(port);
        EXPECT_EQ(omx_->GetParameter(omx_, index, &record), OMX_ErrorNone);
        return record;
    }

    OMX_PARAM_PORTDEFINITIONTYPE output() { return get<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, 1); }

    static zvx_base_buffer_param colour(uint8_t range, uint8_t primaries, uint8_t transfer, uint8_t matrix)
    {
        zvx_base_buffer_param param = {};
        param.type = 15;
        param.data.colour_description.range = range;
        param.data.colour_description.colour_primaries = primaries;
        param.data.colour_description.transfer_characteristics = transfer;
        param.data.colour_description.matrix_coeff = matrix;
        return param;
    }
};

TEST_F(StreamSettings, AllocationSequenceDisplayAndColourEventsReachTheClientsRecordsAndTheClientHearsOfEachChangeOnce)
{
    zvx_base_fw_frame_alloc_parameters allocation = {};
    allocation.planar_alloc_frame_width = 320;
    allocation.planar_alloc_frame_height = 240;
    dispatch(ZVX_BASE_EVENT_ALLOC_PARAMS, allocation);
    const OMX_PARAM_PORTDEFINITIONTYPE definition = output();
    EXPECT_EQ(definition.format.video.nFrameWidth, 320u);
    EXPECT_EQ(definition.format.video.nFrameHeight, 240u);
    EXPECT_GE(definition.format.video.nStride, 320);
    EXPECT_GE(definition.nBufferSize, 320u * 240u * 2u);
    EXPECT_EQ(get<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, 0).format.video.nFrameWidth, 320u);
    auto crop = zvx_omx_stamped_record<OMX_CONFIG_RECTTYPE>(1);
    ASSERT_EQ(omx_->GetConfig(omx_, OMX_IndexConfigCommonOutputCrop, &crop), OMX_ErrorNone);
    EXPECT_EQ(crop.nWidth, 320u);
    EXPECT_EQ(crop.nHeight, 240u);

    comp_.ports[1].buffer_produced = true;
    allocation.planar_alloc_frame_width = 640;
    dispatch(ZVX_BASE_EVENT_ALLOC_PARAMS, allocation);
    EXPECT_EQ(output().format.video.nFrameWidth, 320u) << "the stream is under way: the client reallocates";

    const OMX_PARAM_PORTDEFINITIONTYPE before = output();
    zvx_base_response_sequence_parameters sequence = {};
    sequence.bitdepth_luma = 8;
    sequence.bitdepth_chroma = 8;
    sequence.num_buffers_planar = static_cast<uint8_t>(before.nBufferCountMin + 2);
    dispatch(ZVX_BASE_EVENT_SEQUENCE_PARAMS, sequence);
    EXPECT_EQ(client_.take(), (std::vector<zvx_test_event>{{OMX_EventPortSettingsChanged, 1, 0}}));
    const OMX_PARAM_PORTDEFINITIONTYPE after = output();
    EXPECT_EQ(after.format.video.nFrameWidth, 640u) << "the reallocation the client hears of is to the latest size";
    EXPECT_EQ(after.nBufferCountMin, before.nBufferCountMin + 3);
    EXPECT_EQ(after.nBufferCountActual, after.nBufferCountMin);
    EXPECT_EQ(after.nBufferSize, after.format.video.nFrameWidth * after.format.video.nFrameHeight * 2);
    EXPECT_TRUE(comp_.ports[1].flush_without_stop);

    // The client answers with a count of its own; the session repeats itself while the client allocates.
    OMX_PARAM_PORTDEFINITIONTYPE chosen = after;
    chosen.nBufferCountActual = after.nBufferCountMin + 2;
    ASSERT_EQ(omx_->SetParameter(omx_, OMX_IndexParamPortDefinition, &chosen), OMX_ErrorNone);
    dispatch(ZVX_BASE_EVENT_SEQUENCE_PARAMS, sequence);
    EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{}) << "nothing changed: the session carries on";
    EXPECT_EQ(output().nBufferCountActual, chosen.nBufferCountActual)
        << "a count changed without telling would refuse the buffers the client is allocating";

    // A ten-bit interlaced stream, its display size and its colour description.
    sequence = {};
    sequence.interlace = 1;
    sequence.bitdepth_luma = 10;
    sequence.bitdepth_chroma = 10;
    dispatch(ZVX_BASE_EVENT_SEQUENCE_PARAMS, sequence);
    EXPECT_EQ(client_.take(), (std::vector<zvx_test_event>{{OMX_EventPortSettingsChanged, 1, 0}}));
    EXPECT_EQ(static_cast<OMX_U32>(output().format.video.eColorFormat),
              static_cast<OMX_U32>(QURO_COLOR_FormatYUYAAYVYAA_10b));
    const auto stream = get<QURO_PARAM_SEQUENECE_PARAMETERS>(QURO_IndexParamSequenceParameters, 1);
    EXPECT_EQ(stream.bInterlace, 1);
    EXPECT_EQ(stream.nBitDepthLumaMinus8, 2);

    zvx_base_buffer_param param = {};
    param.type = 5;
    param.data.display_size = {1280, 720};
    dispatch(ZVX_BASE_EVENT_BUFFER_PARAM, param);
    const auto displayed = get<QURO_PARAM_SEQUENECE_PARAMETERS>(QURO_IndexParamSequenceParameters, 1);
    EXPECT_EQ(displayed.nDisplayWidth, 1280);
    EXPECT_EQ(displayed.nDisplayHeight, 720);
    const OMX_PARAM_PORTDEFINITIONTYPE unchanged = output();
    for (uint32_t type : {17u, 99u}) {
        param.type = type;
        dispatch(ZVX_BASE_EVENT_BUFFER_PARAM, param);
    }
    const OMX_PARAM_PORTDEFINITIONTYPE now = output();
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c): records are copied whole
    EXPECT_EQ(std::memcmp(&unchanged, &now, sizeof(unchanged)), 0);

    param = colour(1, 9, 16, 9);
    param.data.colour_description.flags = 3;
    param.data.colour_description.max_display_mastering_luminance = 1000 * 10000;
    param.data.colour_description.max_content_light_level = 800;
    dispatch(ZVX_BASE_EVENT_BUFFER_PARAM, param);
    EXPECT_EQ(client_.take(),
              (std::vector<zvx_test_event>{{OMX_EventPortSettingsChanged, 1, OMX_IndexConfigDescribeHDRColorInfo},
                                           {OMX_EventPortSettingsChanged, 1, OMX_IndexParamDescribeColorAspects}}));
    auto aspects = get<DescribeColorAspectsParams>(OMX_IndexParamDescribeColorAspects, 1);
    EXPECT_EQ(aspects.sAspects.mRange, RangeLimited);
    EXPECT_EQ(aspects.sAspects.mPrimaries, PrimariesBT2020);
    EXPECT_EQ(aspects.sAspects.mTransfer, TransferST2084);
    EXPECT_EQ(aspects.sAspects.mMatrixCoeffs, MatrixBT2020);
    const auto hdr = get<DescribeHDRStaticInfoParams>(OMX_IndexConfigDescribeHDRColorInfo, 1);
    EXPECT_EQ(hdr.sInfo.sType1.mMaxDisplayLuminance, 1000);
    EXPECT_EQ(hdr.sInfo.sType1.mMaxContentLightLevel, 800);

    comp_.ports[1].pFlag = 0;
    dispatch(ZVX_BASE_EVENT_BUFFER_PARAM, param);
    EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{});
    EXPECT_EQ(comp_.ports[1].pFlag & 2, 2) << "a description arrived, changed or not";

    dispatch(ZVX_BASE_EVENT_BUFFER_PARAM, colour(1, 9, 12, 9));
    EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{}) << "an unknown transfer keeps the one before";
    EXPECT_EQ(get<DescribeColorAspectsParams>(OMX_IndexParamDescribeColorAspects, 1).sAspects.mTransfer,
              TransferST2084);
}

} // namespace
