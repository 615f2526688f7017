#include <cstring>
#include <iterator>

#include "zvx_blackbox.h"
#include "zvx_component_suite_support.h"
#include "zvx_component_suites.h"
#include "zvx_mem.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_event.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_parameters.h"

namespace {

constexpr std::uintptr_t ZVXP_APP_DATA = 0xfacebee7;

OMX_BOOL cb_role_enable(const char *role)
{
    return zvx_role_enabled_except(role, "video_decoder.rv");
}

void zvx_test_init_destroy(quro_utf_suite *)
{
    zvx_check_init_destroy<zvx_omx_decoder_component, zvx_omx_decoder_component_init,
                           zvx_omx_decoder_component_destroy>();
}

void zvx_test_destroy(quro_utf_suite *)
{
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    zvx_omx_decoder_component_destroy(nullptr);
    ZVX_REQUIRE_EQ(zvx_omx_decoder_component_init(&handle, &decoder, zvx_marker<OMX_PTR>(ZVXP_APP_DATA), nullptr),
                   OMX_ErrorNone);
    zvx_omx_decoder_component_destroy(&decoder);
}

void zvx_test_get_extension_index(quro_utf_suite *)
{
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    OMX_INDEXTYPE index;
    char empty[] = "";
    char missing[] = "ThisDoesNotExist";
    ZVX_REQUIRE_EQ(zvx_omx_decoder_component_init(&handle, &decoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_decoder_component_destroy>(&decoder);

    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(nullptr, empty, &index), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, empty, nullptr), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, nullptr, &index), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, missing, &index), OMX_ErrorUnsupportedIndex);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(nullptr, missing, &index), OMX_ErrorBadParameter);

    const struct {
        const char *name;
        OMX_INDEXTYPE index;
    } known[] = {
        {"OMX.DHQ.video.k7nn.tcx", OMX_IndexParamTCX},
        {"OMX.google.android.index.enableAndroidNativeBuffers", OMX_IndexParamEnableAndroidNativeBuffer},
        {"OMX.google.android.index.useAndroidNativeBuffer2", OMX_IndexParamUseAndroidNativeBuffer2},
        {"OMX.google.android.index.getAndroidNativeBufferUsage", OMX_IndexParamGetAndroidNativeBufferUsage},
        {"OMX.DHQ.video.k7nn.enable.tcx", OMX_IndexParamEnableTCX},
        {"OMX.google.android.index.storeANWBufferInMetadata", OMX_IndexParamEnableStoreMetaData},
        {"OMX.google.android.index.describeColorFormat", OMX_IndexParamDescribeColorFormat},
        {"OMX.google.android.index.describeHDRColorInfo", OMX_IndexConfigDescribeHDRColorInfo},
        {"OMX.google.android.index.describeHDRStaticInfo", OMX_IndexConfigDescribeHDRColorInfo},
        {"OMX.google.android.index.describeColorAspects", OMX_IndexParamDescribeColorAspects},
    };
    for (const auto &entry : known) {
        index = OMX_IndexMax;
        ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, const_cast<char *>(entry.name), &index), OMX_ErrorNone);
        ZVX_REQUIRE_EQ(index, entry.index);
    }
    zvx_component_suite_release();
}

void zvx_test_get_enabled_roles(quro_utf_suite *)
{
    int nroles = 0;
    ZVX_REQUIRE(zvx_omx_decoder_get_enabled_roles(nullptr) == nullptr);
    bb_cb.bbcb_role_enabled = cb_role_enable;
    ZVX_REQUIRE(zvx_omx_decoder_get_enabled_roles(&nroles) != nullptr);
    ZVX_REQUIRE_EQ(nroles, 8);
}

void zvx_test_role_enum(quro_utf_suite *)
{
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    OMX_U8 role[OMX_MAX_STRINGNAME_SIZE];
    int nroles = 0;
    ZVX_REQUIRE_EQ(zvx_omx_decoder_component_init(&handle, &decoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_decoder_component_destroy>(&decoder);
    ZVX_REQUIRE_EQ(handle.omx.ComponentRoleEnum(nullptr, nullptr, 0), OMX_ErrorBadParameter);

    bb_cb.bbcb_role_enabled = cb_role_enable;
    zvx_omx_decoder_get_enabled_roles(&nroles);
    for (int i = 0; i < nroles; ++i) {
        ZVX_REQUIRE_EQ(handle.omx.ComponentRoleEnum(nullptr, role, static_cast<OMX_U32>(i)), OMX_ErrorNone);
    }
    ZVX_REQUIRE_EQ(handle.omx.ComponentRoleEnum(nullptr, role, static_cast<OMX_U32>(nroles)), OMX_ErrorNoMore);
    zvx_component_suite_release();
}

OMX_ERRORTYPE cb_event_handler(OMX_HANDLETYPE, OMX_PTR, OMX_EVENTTYPE, OMX_U32, OMX_U32, OMX_PTR)
{
    return OMX_ErrorNone;
}

/* Colour descriptions with every value from 0 to 17 in each field, the out-of-range ones included. */
void zvx_test_buffer_param(quro_utf_suite *)
{
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    std::memset(&decoder, 0, sizeof(decoder));
    ZVX_REQUIRE_EQ(zvx_omx_decoder_component_init(&handle, &decoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_decoder_component_destroy>(&decoder);
    OMX_CALLBACKTYPE callbacks = {cb_event_handler, nullptr, nullptr};
    ZVX_REQUIRE_EQ(handle.omx.SetCallbacks(&handle, &callbacks, nullptr), OMX_ErrorNone);

    auto role = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::strncpy(reinterpret_cast<char *>(role.cRole), "video_decoder.avc", sizeof(role.cRole) - 1);
    struct command_set_parameter_data command = {
        {common_component_cmd_set_parameter}, OMX_IndexParamStandardComponentRole, &role, OMX_ErrorUndefined, nullptr};
    ZVX_REQUIRE(common_component_cmd_set_parameter(&decoder.common, &command.command_data));
    ZVX_REQUIRE_EQ(command.error, OMX_ErrorNone);

    constexpr uint16_t payload_size = sizeof(struct zvx_base_buffer_param);
    static_assert(sizeof(struct zvx_base_event_header) + payload_size == 48);
    auto *event = static_cast<struct zvx_base_event_header *>(
        zvx_mem_malloc(sizeof(struct zvx_base_event_header) + payload_size));
    ZVX_REQUIRE(event != nullptr);
    event->code = ZVX_BASE_EVENT_BUFFER_PARAM;
    event->size = payload_size;
    struct zvx_base_buffer_param param = {};
    param.type = 15;
    DescribeColorAspectsParams first = {};
    for (uint8_t i = 0; i <= 17; ++i) {
        param.data.colour_description.flags = i;
        param.data.colour_description.range = i;
        param.data.colour_description.colour_primaries = i;
        param.data.colour_description.transfer_characteristics = i;
        param.data.colour_description.matrix_coeff = i;
        std::memcpy(event->data, &param, sizeof(param));
        zvxp_omx_handle_event(&decoder.common, event);
        if (i == 1) {
            first = zvx_omx_stamped_record<DescribeColorAspectsParams>(1);
            handle.omx.GetConfig(&handle, OMX_IndexParamDescribeColorAspects, &first);
        }
    }
    zvx_mem_free(event);
    ZVX_REQUIRE_EQ(first.sAspects.mRange, RangeLimited);
    ZVX_REQUIRE_EQ(first.sAspects.mPrimaries, PrimariesBT709_5);
    ZVX_REQUIRE_EQ(first.sAspects.mTransfer, TransferBT1361);
    ZVX_REQUIRE_EQ(first.sAspects.mMatrixCoeffs, MatrixBT709_5);
    zvx_component_suite_release();
}

const zvx_component_suite_test ZVXP_TESTS[] = {
    {1, "Decoder init n destroy", zvx_test_init_destroy},
    {2, "Decoder destroy", zvx_test_destroy},
    {3, "Decoder get extension index", zvx_test_get_extension_index},
    {4, "Decoder get enabled roles", zvx_test_get_enabled_roles},
    {5, "Decoder role enumeration", zvx_test_role_enum},
    {6, "Buffer param", zvx_test_buffer_param},
};

} // namespace

quro_utf_suite *zvx_create_suite_decoder_component(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                   quro_utf_suite *prev_suite)
{
    return zvx_component_suite_build(pool, results, prev_suite, "Decoder component", ZVXP_TESTS,
                                     static_cast<unsigned>(std::size(ZVXP_TESTS)));
}
