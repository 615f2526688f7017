#include <gtest/gtest.h>

#include <cstring>

#include "zvx_blackbox.h"
#include "zvx_omx_config.h"
#include "zvx_omx_translate.h"

namespace {

// A decoder record with only the YUV port's settings store, enough for the TCX lookup.
class ColourFormats : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::memset(&component, 0, sizeof(component));
        component.type = ZVX_OMX_DECODER;
        ASSERT_EQ(zvx_omx_config_construct(&component.ports[1].config_and_params), OMX_ErrorNone);
    }
    void TearDown() override { zvx_omx_config_destruct(&component.ports[1].config_and_params); }

    zvx_base_omx_buffer_format translate(OMX_U32 client_format)
    {
        auto format = static_cast<zvx_base_omx_buffer_format>(0);
        EXPECT_EQ(zvx_omx_translate_color_format(&component, static_cast<OMX_COLOR_FORMATTYPE>(client_format), &format,
                                                 1, nullptr, nullptr),
                  OMX_ErrorNone);
        return format;
    }

    zvx_omx_common_component component;
};

TEST_F(ColourFormats, ClientToSessionWithAndWithoutTcxAndANullComponentIsRefused)
{
    const struct {
        OMX_U32 client;
        zvx_base_omx_buffer_format session;
    } cases[] = {
        {OMX_COLOR_FormatYUV420SemiPlanar, ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_SEMIPLANAR},
        {47, ZVX_BASE_OMX_BUFFER_FORMAT_YVU420_SEMIPLANAR},
        {0x7f000005, ZVX_BASE_OMX_BUFFER_FORMAT_YUYYVY_10B},
        {0x7f000006, ZVX_BASE_OMX_BUFFER_FORMAT_YUYYVY_10B},
        {0x7f000007, ZVX_BASE_OMX_BUFFER_FORMAT_YUV422_1P},
        {0x7f000008, ZVX_BASE_OMX_BUFFER_FORMAT_YVU422_1P},
        {OMX_COLOR_Format32bitBGRA8888, ZVX_BASE_OMX_BUFFER_FORMAT_BGRA_8888},
        {OMX_COLOR_Format32bitARGB8888, ZVX_BASE_OMX_BUFFER_FORMAT_ARGB_8888},
        {OMX_COLOR_FormatYUV420Planar, ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR},
        {0x7f000000, ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR},
        {OMX_COLOR_FormatL4, ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR},
        {0x12345678, ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR},
    };
    for (const auto &c : cases)
        EXPECT_EQ(translate(c.client), c.session) << std::hex << c.client;

    auto format = ZVX_BASE_OMX_BUFFER_FORMAT_CRC;
    EXPECT_EQ(zvx_omx_translate_color_format(nullptr, OMX_COLOR_FormatYUV420Planar, &format, 1, nullptr, nullptr),
              OMX_ErrorBadParameter);
    EXPECT_EQ(format, ZVX_BASE_OMX_BUFFER_FORMAT_CRC);

    ASSERT_TRUE(zvx_omx_common_component_tcx_enable(&component, 1, true, false, false));
    for (OMX_U32 ten_bit : {34u, 0x7f000005u, 0x7f000006u})
        EXPECT_EQ(translate(ten_bit), ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX_10B) << std::hex << ten_bit;
    for (OMX_U32 other : {19u, 21u, 15u, 0x7f000007u})
        EXPECT_EQ(translate(other), ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX) << std::hex << other;

    // Switched off again, the stored record no longer counts.
    ASSERT_TRUE(zvx_omx_common_component_tcx_enable(&component, 1, false, false, false));
    EXPECT_EQ(translate(34), ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR);
}

TEST(ToClient, DecoderNeverPassesBitrateOrFramerateAndFormatsWithoutACounterpartPassThrough)
{
    OMX_PARAM_PORTDEFINITIONTYPE client = {};
    client.format.video.nBitrate = 64000;
    client.format.video.xFramerate = 30 << 16;
    client.format.video.nFrameWidth = 1920;
    kern_omx120_param_portdefinitiontype session;

    zvx_omx_translate_112_to_120_IndexParamPortDefinition(&session, &client, true);
    EXPECT_EQ(session.format.video.nBitrate, 0u);
    EXPECT_EQ(session.format.video.xFramerate, 0u);
    EXPECT_EQ(session.format.video.nFrameWidth, 1920u);

    zvx_omx_translate_112_to_120_IndexParamPortDefinition(&session, &client, false);
    EXPECT_EQ(session.format.video.nBitrate, 64000u);
    EXPECT_EQ(session.format.video.xFramerate, 30u << 16);

    struct zvx_map store;
    ASSERT_EQ(zvx_omx_config_construct(&store), OMX_ErrorNone);
    ASSERT_EQ(zvx_omx_config_decoder_output(&store), OMX_ErrorNone);
    session.format.video.eColorFormat = 0x7f000103;

    zvx_omx_translate_color_format_to_client(&session, &store, 1);
    EXPECT_EQ(session.format.video.eColorFormat, static_cast<OMX_U32>(OMX_COLOR_FormatYUV420SemiPlanar));
    zvx_omx_config_destruct(&store);

    // The formats with a client counterpart other than these are the Data Translations suite's.
    const struct {
        zvx_base_omx_buffer_format session;
        OMX_U32 client;
    } cases[] = {
        {ZVX_BASE_OMX_BUFFER_FORMAT_YVU420_SEMIPLANAR, 47}, {ZVX_BASE_OMX_BUFFER_FORMAT_RGBA_8888, 0x7f00010b},
        {ZVX_BASE_OMX_BUFFER_FORMAT_ABGR_8888, 0x7f00010e}, {ZVX_BASE_OMX_BUFFER_FORMAT_BITSTREAM, 0x7f000107},
        {ZVX_BASE_OMX_BUFFER_FORMAT_CRC, 0x7f000108},
    };
    for (const auto &c : cases)
        EXPECT_EQ(static_cast<OMX_U32>(zvx_omx_translate_color_format_to_v1(c.session)), c.client)
            << std::hex << c.session;
}

} // namespace
