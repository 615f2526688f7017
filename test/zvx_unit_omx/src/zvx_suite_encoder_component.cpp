#include <cstring>
#include <iterator>

#include "zvx_blackbox.h"
#include "zvx_component_suite_support.h"
#include "zvx_component_suites.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_parameters.h"
#include "zvx_omx_port.h"

namespace {

constexpr std::uintptr_t ZVXP_APP_DATA = 0xfacebee7;

OMX_BOOL cb_role_enable(const char *role)
{
    return zvx_role_enabled_except(role, "video_encoder.vp8");
}

void zvx_test_init_destroy(quro_utf_suite *)
{
    zvx_check_init_destroy<zvx_omx_encoder_component, zvx_omx_encoder_component_init,
                           zvx_omx_encoder_component_destroy>();
}

void zvx_test_destroy(quro_utf_suite *)
{
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    zvx_omx_encoder_component_destroy(nullptr);
    ZVX_REQUIRE_EQ(zvx_omx_encoder_component_init(&handle, &encoder, zvx_marker<OMX_PTR>(ZVXP_APP_DATA), nullptr),
                   OMX_ErrorNone);
    zvx_omx_encoder_component_destroy(&encoder);
}

void zvx_test_get_extension_index(quro_utf_suite *)
{
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    OMX_INDEXTYPE index;
    char empty[] = "";
    char missing[] = "ThisDoesNotExist";
    char tcx[] = "OMX.DHQ.video.k7nn.tcx";
    char enable_tcx[] = "OMX.DHQ.video.k7nn.enable.tcx";
    ZVX_REQUIRE_EQ(zvx_omx_encoder_component_init(&handle, &encoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_encoder_component_destroy>(&encoder);

    /* Unlike the decoder's, the encoder's lookup does not check the handle. */
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(nullptr, empty, &index), OMX_ErrorUnsupportedIndex);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, empty, nullptr), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, nullptr, &index), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, missing, &index), OMX_ErrorUnsupportedIndex);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, tcx, &index), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(index, OMX_IndexParamTCX);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, enable_tcx, &index), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(index, OMX_IndexParamEnableTCX);
    zvx_component_suite_release();
}

void zvx_test_get_enabled_roles(quro_utf_suite *)
{
    int nroles = 0;
    ZVX_REQUIRE(zvx_omx_encoder_get_enabled_roles(nullptr) == nullptr);
    bb_cb.bbcb_role_enabled = cb_role_enable;
    ZVX_REQUIRE(zvx_omx_encoder_get_enabled_roles(&nroles) != nullptr);
    ZVX_REQUIRE_EQ(nroles, 3);
}

void zvx_test_role_enum(quro_utf_suite *)
{
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    OMX_U8 role[OMX_MAX_STRINGNAME_SIZE];
    int nroles = 0;
    ZVX_REQUIRE_EQ(zvx_omx_encoder_component_init(&handle, &encoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_encoder_component_destroy>(&encoder);
    ZVX_REQUIRE_EQ(handle.omx.ComponentRoleEnum(nullptr, nullptr, 0), OMX_ErrorBadParameter);

    bb_cb.bbcb_role_enabled = cb_role_enable;
    zvx_omx_encoder_get_enabled_roles(&nroles);
    for (int i = 0; i < nroles; ++i) {
        ZVX_REQUIRE_EQ(handle.omx.ComponentRoleEnum(nullptr, role, static_cast<OMX_U32>(i)), OMX_ErrorNone);
    }
    ZVX_REQUIRE_EQ(handle.omx.ComponentRoleEnum(nullptr, role, static_cast<OMX_U32>(nroles)), OMX_ErrorNoMore);
    zvx_component_suite_release();
}

void zvx_test_create_handle(quro_utf_suite *)
{
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    zvx_omx_common_bufferheadertype header;
    ZVX_REQUIRE_EQ(zvx_omx_encoder_component_init(&handle, &encoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_encoder_component_destroy>(&encoder);
    std::memset(&header, 0, sizeof(header));
    header.pub.nInputPortIndex = 0;
    header.pub.nFlags |= OMX_BUFFERFLAG_EOS;
    header.priv.rgb_to_yuv = false;
    ZVX_REQUIRE_EQ(handle.omx.EmptyThisBuffer(&handle, &header.pub), OMX_ErrorNone);
    zvx_component_suite_release();
}

/* The set-parameter command run directly, as the command thread runs it; the record's nSize is not
 * looked at there. */
OMX_ERRORTYPE zvxp_run_set_parameter(zvx_omx_encoder_component *encoder, OMX_INDEXTYPE index, void *record)
{
    struct command_set_parameter_data command = {
        {common_component_cmd_set_parameter}, index, record, OMX_ErrorUndefined, nullptr};
    ZVX_REQUIRE(common_component_cmd_set_parameter(&encoder->common, &command.command_data));
    return command.error;
}

void zvx_test_color_aspects(quro_utf_suite *)
{
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    std::memset(&encoder, 0, sizeof(encoder));
    ZVX_REQUIRE_EQ(zvx_omx_encoder_component_init(&handle, &encoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_encoder_component_destroy>(&encoder);

    auto role = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::strncpy(reinterpret_cast<char *>(role.cRole), "video_encoder.avc", sizeof(role.cRole) - 1);
    ZVX_REQUIRE_EQ(zvxp_run_set_parameter(&encoder, OMX_IndexParamStandardComponentRole, &role), OMX_ErrorNone);
    for (uint32_t i = 0; i <= 6; ++i) {
        DescribeColorAspectsParams aspects;
        std::memset(&aspects, 0, sizeof(aspects));
        aspects.sAspects.mRange = static_cast<ColorAspectsRange>(i);
        aspects.sAspects.mPrimaries = static_cast<ColorAspectsPrimaries>(i);
        aspects.sAspects.mMatrixCoeffs = static_cast<ColorAspectsMatrixCoeffs>(i);
        ZVX_REQUIRE_EQ(zvxp_run_set_parameter(&encoder, OMX_IndexParamDescribeColorAspects, &aspects), OMX_ErrorNone);
    }
    zvx_component_suite_release();
}

const zvx_component_suite_test ZVXP_TESTS[] = {
    {1, "Encoder init n destroy", zvx_test_init_destroy},
    {2, "Encoder destroy", zvx_test_destroy},
    {3, "Encoder get extension index", zvx_test_get_extension_index},
    {4, "Encoder get enabled roles", zvx_test_get_enabled_roles},
    {5, "Encoder role enumeration", zvx_test_role_enum},
    {6, "Encoder create handle", zvx_test_create_handle},
    {7, "Color aspects", zvx_test_color_aspects},
};

} // namespace

quro_utf_suite *zvx_create_suite_encoder_component(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                   quro_utf_suite *prev_suite)
{
    return zvx_component_suite_build(pool, results, prev_suite, "Encoder component", ZVXP_TESTS,
                                     static_cast<unsigned>(std::size(ZVXP_TESTS)));
}
