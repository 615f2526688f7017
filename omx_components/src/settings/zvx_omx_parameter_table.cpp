// The indices the parameter and configuration entries answer, sorted by value.
#include "settings/zvx_omx_parameter_table.h"

#include <OMX_Component.h>
#include <OMX_Image.h>
#include <OMX_IVCommon.h>
#include <OMX_Video.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "zvx_omx_extensions.h"

namespace {

using scope = zvx_omx_parameter_scope;
constexpr uint8_t GET = ZVX_OMX_PARAMETER_GET;
constexpr uint8_t SET = ZVX_OMX_PARAMETER_SET;
constexpr uint8_t GET_SET = ZVX_OMX_PARAMETER_GET_SET;
constexpr bool SESSION = true;
constexpr bool LOCAL = false;

// Configuration or parameter goes by the index's own name, so a new index cannot be filed wrongly.
template <typename Record>
constexpr zvx_omx_parameter_entry zvxp_entry(OMX_INDEXTYPE index, std::string_view name, scope where, uint8_t access,
                                             bool session, uint32_t enumeration = 0)
{
    return {
        index,   sizeof(Record), &zvx_omx_record_layout_of<Record>, name.starts_with("OMX_IndexConfig"), where, access,
        session, enumeration};
}

// Port records carry the port where the entry point reads it.
template <typename Record>
constexpr zvx_omx_parameter_entry zvxp_port_entry(OMX_INDEXTYPE index, std::string_view name, uint8_t access,
                                                  bool session, uint32_t enumeration = 0)
{
    static_assert(offsetof(Record, nPortIndex) == ZVX_OMX_PORT_INDEX_OFFSET);
    return zvxp_entry<Record>(index, name, scope::port, access, session, enumeration);
}

#define ZVXP_PORT(index, Record, ...) zvxp_port_entry<Record>(index, #index, __VA_ARGS__)
#define ZVXP_COMPONENT(index, Record, ...) zvxp_entry<Record>(index, #index, scope::component, __VA_ARGS__)

constexpr zvx_omx_parameter_entry zvxp_entries[] = {
    ZVXP_COMPONENT(OMX_IndexParamAudioInit, OMX_PORT_PARAM_TYPE, GET, LOCAL),
    ZVXP_COMPONENT(OMX_IndexParamImageInit, OMX_PORT_PARAM_TYPE, GET, LOCAL),
    ZVXP_COMPONENT(OMX_IndexParamVideoInit, OMX_PORT_PARAM_TYPE, GET, LOCAL),
    ZVXP_COMPONENT(OMX_IndexParamOtherInit, OMX_PORT_PARAM_TYPE, GET, LOCAL),
    ZVXP_COMPONENT(OMX_IndexParamStandardComponentRole, OMX_PARAM_COMPONENTROLETYPE, GET_SET, LOCAL),
    ZVXP_PORT(OMX_IndexParamPortDefinition, OMX_PARAM_PORTDEFINITIONTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamCompBufferSupplier, OMX_PARAM_BUFFERSUPPLIERTYPE, GET_SET, LOCAL),
    ZVXP_PORT(OMX_IndexParamQFactor, OMX_IMAGE_PARAM_QFACTORTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoPortFormat, OMX_VIDEO_PARAM_PORTFORMATTYPE, GET_SET, LOCAL,
              offsetof(OMX_VIDEO_PARAM_PORTFORMATTYPE, nIndex)),
    ZVXP_PORT(OMX_IndexParamVideoQuantization, OMX_VIDEO_PARAM_QUANTIZATIONTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoBitrate, OMX_VIDEO_PARAM_BITRATETYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoMpeg2, OMX_VIDEO_PARAM_MPEG2TYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoMpeg4, OMX_VIDEO_PARAM_MPEG4TYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoRv, OMX_VIDEO_PARAM_RVTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoAvc, OMX_VIDEO_PARAM_AVCTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoH263, OMX_VIDEO_PARAM_H263TYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoProfileLevelQuerySupported, OMX_VIDEO_PARAM_PROFILELEVELTYPE, GET, LOCAL,
              offsetof(OMX_VIDEO_PARAM_PROFILELEVELTYPE, nProfileIndex)),
    ZVXP_PORT(OMX_IndexParamVideoProfileLevelCurrent, OMX_VIDEO_PARAM_PROFILELEVELTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigVideoBitrate, OMX_VIDEO_CONFIG_BITRATETYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigVideoFramerate, OMX_CONFIG_FRAMERATETYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigVideoIntraVOPRefresh, OMX_CONFIG_INTRAREFRESHVOPTYPE, SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigCommonScale, OMX_CONFIG_SCALEFACTORTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigCommonRotate, OMX_CONFIG_ROTATIONTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigCommonMirror, OMX_CONFIG_MIRRORTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigCommonOutputCrop, OMX_CONFIG_RECTTYPE, GET, LOCAL),
    ZVXP_PORT(OMX_IndexParamNalStreamFormatSupported, OMX_NALSTREAMFORMATTYPE, GET, LOCAL),
    ZVXP_PORT(OMX_IndexParamNalStreamFormatSelect, OMX_NALSTREAMFORMATTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoVp8, OMX_VIDEO_PARAM_VP8TYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoAndroidVp8Encoder, OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoHevc, OMX_VIDEO_PARAM_HEVCTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigAndroidIntraRefresh, OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamVideoVp9, OMX_VIDEO_PARAM_VP9TYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigOperatingRate, OMX_PARAM_U32TYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamTCX, OMX_PARAM_TCXTYPE, GET, LOCAL),
    ZVXP_PORT(OMX_IndexParamEnableAndroidNativeBuffer, EnableAndroidNativeBuffersParams, GET_SET, LOCAL),
    ZVXP_PORT(OMX_IndexParamGetAndroidNativeBufferUsage, GetAndroidNativeBufferUsageParams, GET, LOCAL),
    ZVXP_PORT(OMX_IndexParamEnableTCX, OMX_PARAM_ENABLETCXTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamEnableDmaBuf, OMX_PARAM_ENABLEDMABUFTYPE, GET_SET, LOCAL),
    ZVXP_PORT(OMX_IndexParamEnableStoreMetaData, StoreMetaDataInBuffersParams, GET_SET, LOCAL),
    ZVXP_COMPONENT(OMX_IndexParamDescribeColorFormat, DescribeColorFormatParams, GET, LOCAL),
    ZVXP_PORT(OMX_IndexConfigDescribeHDRColorInfo, DescribeHDRStaticInfoParams, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigDynamicFPSFromTimestamp, QURO_CONFIG_DYNAMICFPSTYPE, GET_SET, LOCAL),
    ZVXP_PORT(OMX_IndexParamDescribeColorAspects, DescribeColorAspectsParams, GET_SET, SESSION),
    ZVXP_PORT(QURO_IndexParamSequenceParameters, QURO_PARAM_SEQUENECE_PARAMETERS, GET, LOCAL),
    ZVXP_PORT(QURO_IndexParamRateControl, QURO_VIDEO_PARAM_RATECONTROLTYPE, GET_SET, SESSION),
    ZVXP_PORT(QURO_IndexParamVideoHevc, QURO_VIDEO_PARAM_HEVCTYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexParamBufferSize, QURO_PARAM_BUFFERSIZETYPE, GET_SET, SESSION),
    ZVXP_PORT(OMX_IndexConfigVideoIntraPeriod, QURO_CONFIG_INTRAPERIODTYPE, GET_SET, SESSION),
};

#undef ZVXP_PORT
#undef ZVXP_COMPONENT

constexpr bool zvxp_index_less(const zvx_omx_parameter_entry &a, const zvx_omx_parameter_entry &b)
{
    return static_cast<OMX_U32>(a.index) < static_cast<OMX_U32>(b.index);
}
static_assert(std::is_sorted(std::begin(zvxp_entries), std::end(zvxp_entries), zvxp_index_less));

} // namespace

const zvx_omx_parameter_entry *zvx_omx_parameter_find(OMX_U32 index)
{
    const zvx_omx_parameter_entry key = {
        static_cast<OMX_INDEXTYPE>(index), 0, nullptr, false, scope::port, 0, false, 0};
    const auto *found = std::lower_bound(std::begin(zvxp_entries), std::end(zvxp_entries), key, zvxp_index_less);
    return found != std::end(zvxp_entries) && static_cast<OMX_U32>(found->index) == index ? found : nullptr;
}

std::span<const zvx_omx_parameter_entry> zvx_omx_parameter_entries()
{
    return zvxp_entries;
}
