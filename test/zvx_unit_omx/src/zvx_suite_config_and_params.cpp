// "Config and params": the settings a decoder and an encoder start with and each codec's defaults, read
// through GetParameter as a client reads them, and every settable index written with SetParameter and
// read back.
#include <cstddef>
#include <cstring>
#include <iterator>

#include "zvx_component_suite_support.h"
#include "zvx_component_suites.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_extensions.h"

namespace {

constexpr OMX_U32 ZVXP_FPS_30_Q16 = 30 << 16;

/* A record of any size the client may pass, laid out as a client lays it out. */
struct zvxp_any_record {
    alignas(8) uint8_t bytes[256];
};

OMX_U32 zvxp_word(const zvxp_any_record &record, uint32_t offset)
{
    OMX_U32 word;
    std::memcpy(&word, record.bytes + offset, sizeof(word));
    return word;
}

/* Every record starts like the port definition: size, version and, for a port's record, the port. */
constexpr uint32_t ZVXP_PORT_OFFSET = offsetof(OMX_PARAM_PORTDEFINITIONTYPE, nPortIndex);

zvxp_any_record zvxp_blank_record(OMX_U32 size, OMX_U32 port)
{
    const auto header = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
    zvxp_any_record record = {};
    std::memcpy(record.bytes, &header, ZVXP_PORT_OFFSET + sizeof(port));
    std::memcpy(record.bytes, &size, sizeof(size));
    return record;
}

template <typename Component, auto init, auto destroy> void zvxp_start(Component *component, zvx_omx_component *handle)
{
    std::memset(component, 0, sizeof(*component));
    ZVX_REQUIRE_EQ(init(handle, component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<destroy>(component);
}

template <typename T> T zvxp_get(OMX_COMPONENTTYPE *omx, OMX_INDEXTYPE index, OMX_U32 port)
{
    T record = zvx_omx_stamped_record<T>(port);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, index, &record), OMX_ErrorNone);
    return record;
}

OMX_ERRORTYPE zvxp_set_role(OMX_COMPONENTTYPE *omx, const char *role)
{
    auto record = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::strncpy(reinterpret_cast<char *>(record.cRole), role, sizeof(record.cRole) - 1);
    return omx->SetParameter(omx, OMX_IndexParamStandardComponentRole, &record);
}

/* Both kinds: the component-wide records and the settings every port has. */
void zvxp_require_common_defaults(OMX_COMPONENTTYPE *omx, const char *role)
{
    ZVX_REQUIRE_EQ(zvxp_get<OMX_PORT_PARAM_TYPE>(omx, OMX_IndexParamVideoInit, 0).nPorts, 2u);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_PORT_PARAM_TYPE>(omx, OMX_IndexParamAudioInit, 0).nPorts, 0u);
    const auto stored_role = zvxp_get<OMX_PARAM_COMPONENTROLETYPE>(omx, OMX_IndexParamStandardComponentRole, 0);
    ZVX_REQUIRE_EQ(std::strcmp(reinterpret_cast<const char *>(stored_role.cRole), role), 0);
    for (OMX_U32 port = 0; port < 2; ++port) {
        const auto supplier = zvxp_get<OMX_PARAM_BUFFERSUPPLIERTYPE>(omx, OMX_IndexParamCompBufferSupplier, port);
        ZVX_REQUIRE_EQ(supplier.eBufferSupplier, port == 0 ? OMX_BufferSupplyOutput : OMX_BufferSupplyInput);
        ZVX_REQUIRE_EQ(
            zvxp_get<StoreMetaDataInBuffersParams>(omx, OMX_IndexParamEnableStoreMetaData, port).bStoreMetaData,
            OMX_FALSE);
        ZVX_REQUIRE_EQ(zvxp_get<OMX_PARAM_ENABLEDMABUFTYPE>(omx, OMX_IndexParamEnableDmaBuf, port).bEnabled, OMX_FALSE);
        const auto definition = zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, port);
        ZVX_REQUIRE_EQ(definition.nSize, sizeof(OMX_PARAM_PORTDEFINITIONTYPE));
        ZVX_REQUIRE_EQ(definition.nVersion.nVersion, 0x00020101u);
        ZVX_REQUIRE_EQ(definition.eDir, port == 0 ? OMX_DirInput : OMX_DirOutput);
        ZVX_REQUIRE_EQ(definition.nBufferCountActual, 5u);
        ZVX_REQUIRE_EQ(definition.bEnabled, OMX_TRUE);
        ZVX_REQUIRE_EQ(definition.eDomain, OMX_PortDomainVideo);
        ZVX_REQUIRE_EQ(definition.format.video.nFrameWidth, 176u);
        ZVX_REQUIRE_EQ(definition.format.video.nFrameHeight, 144u);
    }
}

/* The frame port: planar 4:2:0 at 176x144 and the formats it offers, in order. */
void zvxp_require_frame_port(OMX_COMPONENTTYPE *omx, OMX_U32 port, const OMX_COLOR_FORMATTYPE *formats,
                             OMX_U32 format_count)
{
    const auto definition = zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, port);
    ZVX_REQUIRE_EQ(definition.format.video.eColorFormat, OMX_COLOR_FormatYUV420Planar);
    ZVX_REQUIRE_EQ(definition.format.video.nStride, 176);
    ZVX_REQUIRE_EQ(definition.format.video.nSliceHeight, 144u);
    ZVX_REQUIRE_EQ(definition.nBufferAlignment, 4096u);
    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(port);
    for (format.nIndex = 0; format.nIndex < format_count; ++format.nIndex) {
        ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNone);
        ZVX_REQUIRE_EQ(format.eColorFormat, formats[format.nIndex]);
    }
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNoMore);
    const auto crop = zvxp_get<OMX_CONFIG_RECTTYPE>(omx, OMX_IndexConfigCommonOutputCrop, port);
    ZVX_REQUIRE_EQ(crop.nWidth, 176u);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_CONFIG_MIRRORTYPE>(omx, OMX_IndexConfigCommonMirror, port).eMirror, OMX_MirrorNone);
    ZVX_REQUIRE_EQ(zvxp_get<QURO_PARAM_BUFFERSIZETYPE>(omx, OMX_IndexParamBufferSize, port).nStride, 176u);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_PARAM_ENABLETCXTYPE>(omx, OMX_IndexParamEnableTCX, port).bEnabled, OMX_FALSE);
}

void zvx_test_decoder_defaults(quro_utf_suite *)
{
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    zvxp_start<zvx_omx_decoder_component, zvx_omx_decoder_component_init, zvx_omx_decoder_component_destroy>(&decoder,
                                                                                                             &handle);
    OMX_COMPONENTTYPE *omx = &handle.omx;
    zvxp_require_common_defaults(omx, "video_decoder.avc");
    static constexpr OMX_COLOR_FORMATTYPE formats[] = {OMX_COLOR_FormatYUV420Planar, OMX_COLOR_FormatYUV420SemiPlanar,
                                                       OMX_COLOR_FormatAndroidOpaque, OMX_COLOR_FormatYUV420Flexible};
    zvxp_require_frame_port(omx, 1, formats, std::size(formats));
    ZVX_REQUIRE_EQ(zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, 0).nBufferSize, 1048576u);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_CONFIG_SCALEFACTORTYPE>(omx, OMX_IndexConfigCommonScale, 1).xWidth, 0x10000);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_PARAM_U32TYPE>(omx, OMX_IndexConfigOperatingRate, 1).nU32, 0x10000u);
    ZVX_REQUIRE_EQ(zvxp_get<DescribeColorAspectsParams>(omx, OMX_IndexParamDescribeColorAspects, 1).sAspects.mRange,
                   RangeUnspecified);
    ZVX_REQUIRE_EQ(zvxp_get<DescribeHDRStaticInfoParams>(omx, OMX_IndexConfigDescribeHDRColorInfo, 1).nPortIndex, 1u);
    ZVX_REQUIRE_EQ(zvxp_get<QURO_PARAM_SEQUENECE_PARAMETERS>(omx, QURO_IndexParamSequenceParameters, 1).bInterlace, 0);
    const auto current = zvxp_get<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(omx, OMX_IndexParamVideoProfileLevelCurrent, 0);
    ZVX_REQUIRE_EQ(current.eProfile, 0u);
    zvx_component_suite_release();
}

void zvx_test_encoder_defaults(quro_utf_suite *)
{
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    zvxp_start<zvx_omx_encoder_component, zvx_omx_encoder_component_init, zvx_omx_encoder_component_destroy>(&encoder,
                                                                                                             &handle);
    OMX_COMPONENTTYPE *omx = &handle.omx;
    zvxp_require_common_defaults(omx, "video_encoder.avc");
    static constexpr OMX_COLOR_FORMATTYPE formats[] = {OMX_COLOR_FormatYUV420Planar,  OMX_COLOR_FormatYUV420SemiPlanar,
                                                       OMX_COLOR_FormatAndroidOpaque, OMX_COLOR_FormatYUV420Flexible,
                                                       OMX_COLOR_Format32bitBGRA8888, OMX_COLOR_Format32bitARGB8888};
    zvxp_require_frame_port(omx, 0, formats, std::size(formats));
    ZVX_REQUIRE_EQ(zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, 0).format.video.xFramerate,
                   ZVXP_FPS_30_Q16);
    const auto dynamic_fps = zvxp_get<QURO_CONFIG_DYNAMICFPSTYPE>(omx, OMX_IndexConfigDynamicFPSFromTimestamp, 0);
    ZVX_REQUIRE_EQ(dynamic_fps.nWindow, 3u);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, 1).format.video.nBitrate,
                   64000u);
    const auto bitrate = zvxp_get<OMX_VIDEO_PARAM_BITRATETYPE>(omx, OMX_IndexParamVideoBitrate, 1);
    ZVX_REQUIRE_EQ(bitrate.eControlRate, OMX_Video_ControlRateDisable);
    ZVX_REQUIRE_EQ(bitrate.nTargetBitrate, 64000u);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_VIDEO_CONFIG_BITRATETYPE>(omx, OMX_IndexConfigVideoBitrate, 1).nEncodeBitrate, 64000u);
    ZVX_REQUIRE_EQ(zvxp_get<OMX_CONFIG_FRAMERATETYPE>(omx, OMX_IndexConfigVideoFramerate, 1).xEncodeFramerate,
                   ZVXP_FPS_30_Q16);
    const auto quantization = zvxp_get<OMX_VIDEO_PARAM_QUANTIZATIONTYPE>(omx, OMX_IndexParamVideoQuantization, 1);
    ZVX_REQUIRE_EQ(quantization.nQpI, 27u);
    ZVX_REQUIRE_EQ(quantization.nQpB, 27u);
    const auto intra_period = zvxp_get<QURO_CONFIG_INTRAPERIODTYPE>(omx, OMX_IndexConfigVideoIntraPeriod, 1);
    ZVX_REQUIRE_EQ(intra_period.nPFrames, 29u);
    ZVX_REQUIRE_EQ(zvxp_get<QURO_VIDEO_PARAM_RATECONTROLTYPE>(omx, QURO_IndexParamRateControl, 1).nQpMax, 255u);
    ZVX_REQUIRE_EQ(
        zvxp_get<OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE>(omx, OMX_IndexConfigAndroidIntraRefresh, 1).nRefreshPeriod,
        30u);
    zvx_component_suite_release();
}

/* A codec as its role loads it: the coding on the bitstream port, the record with its settings (0 for
 * a codec without one) and the number of profile/level pairs it offers. */
struct zvxp_codec_defaults {
    const char *role;
    OMX_VIDEO_CODINGTYPE coding;
    OMX_INDEXTYPE record;
    OMX_U32 record_size;
    OMX_U32 profile_levels;
};

void zvxp_require_codec(OMX_COMPONENTTYPE *omx, OMX_U32 bitstream, const zvxp_codec_defaults &codec)
{
    ZVX_REQUIRE_EQ(zvxp_set_role(omx, codec.role), OMX_ErrorNone);
    const auto definition = zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, bitstream);
    ZVX_REQUIRE_EQ(definition.format.video.eCompressionFormat, codec.coding);
    ZVX_REQUIRE_EQ(definition.nBufferSize, 1048576u);
    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(bitstream);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(format.eCompressionFormat, codec.coding);
    if (codec.record != 0) {
        zvxp_any_record record = zvxp_blank_record(codec.record_size, bitstream);
        ZVX_REQUIRE_EQ(omx->GetParameter(omx, codec.record, &record), OMX_ErrorNone);
        ZVX_REQUIRE_EQ(zvxp_word(record, ZVXP_PORT_OFFSET), bitstream);
    }
    auto pair = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(bitstream);
    for (pair.nProfileIndex = 0; pair.nProfileIndex < codec.profile_levels; ++pair.nProfileIndex)
        ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoProfileLevelQuerySupported, &pair), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoProfileLevelQuerySupported, &pair), OMX_ErrorNoMore);
}

void zvx_test_decoder_codec_defaults(quro_utf_suite *)
{
    static constexpr zvxp_codec_defaults codecs[] = {
        {"video_decoder.avc", OMX_VIDEO_CodingAVC, OMX_IndexParamVideoAvc, sizeof(OMX_VIDEO_PARAM_AVCTYPE), 48},
        {"video_decoder.h263", OMX_VIDEO_CodingH263, OMX_IndexParamVideoH263, sizeof(OMX_VIDEO_PARAM_H263TYPE), 16},
        {"video_decoder.mpeg4", OMX_VIDEO_CodingMPEG4, OMX_IndexParamVideoMpeg4, sizeof(OMX_VIDEO_PARAM_MPEG4TYPE), 16},
        {"video_decoder.vp8", OMX_VIDEO_CodingVP8, OMX_IndexParamVideoVp8, sizeof(OMX_VIDEO_PARAM_VP8TYPE), 4},
        {"video_decoder.vp9", OMX_VIDEO_CodingVP9, static_cast<OMX_INDEXTYPE>(0), 0, 28},
        {"video_decoder.rv", OMX_VIDEO_CodingRV, OMX_IndexParamVideoRv, sizeof(OMX_VIDEO_PARAM_RVTYPE), 1},
        {"video_decoder.vc1", OMX_VIDEO_CodingWMV, OMX_IndexParamNalStreamFormatSelect, sizeof(OMX_NALSTREAMFORMATTYPE),
         1},
        {"video_decoder.mpeg2", OMX_VIDEO_CodingMPEG2, OMX_IndexParamVideoMpeg2, sizeof(OMX_VIDEO_PARAM_MPEG2TYPE), 8},
        {"video_decoder.hevc", OMX_VIDEO_CodingHEVC, static_cast<OMX_INDEXTYPE>(0), 0, 42},
    };
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    zvxp_start<zvx_omx_decoder_component, zvx_omx_decoder_component_init, zvx_omx_decoder_component_destroy>(&decoder,
                                                                                                             &handle);
    OMX_COMPONENTTYPE *omx = &handle.omx;
    for (const zvxp_codec_defaults &codec : codecs)
        zvxp_require_codec(omx, 0, codec);
    ZVX_REQUIRE_EQ(zvxp_set_role(omx, "video_decoder.avc"), OMX_ErrorNone);
    const auto avc = zvxp_get<OMX_VIDEO_PARAM_AVCTYPE>(omx, OMX_IndexParamVideoAvc, 0);
    ZVX_REQUIRE_EQ(avc.nPFrames, 29u);
    ZVX_REQUIRE_EQ(avc.eProfile, OMX_VIDEO_AVCProfileBaseline);
    ZVX_REQUIRE_EQ(avc.eLevel, OMX_VIDEO_AVCLevel1);
    zvx_component_suite_release();
}

void zvx_test_encoder_codec_defaults(quro_utf_suite *)
{
    static constexpr zvxp_codec_defaults codecs[] = {
        {"video_encoder.avc", OMX_VIDEO_CodingAVC, OMX_IndexParamVideoAvc, sizeof(OMX_VIDEO_PARAM_AVCTYPE), 48},
        {"video_encoder.vp8", OMX_VIDEO_CodingVP8, OMX_IndexParamVideoAndroidVp8Encoder,
         sizeof(OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE), 4},
        {"video_encoder.vp9", OMX_VIDEO_CodingVP9, OMX_IndexParamVideoVp9, sizeof(OMX_VIDEO_PARAM_VP9TYPE), 14},
        {"video_encoder.hevc", OMX_VIDEO_CodingHEVC, QURO_IndexParamVideoHevc, sizeof(QURO_VIDEO_PARAM_HEVCTYPE), 42},
    };
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    zvxp_start<zvx_omx_encoder_component, zvx_omx_encoder_component_init, zvx_omx_encoder_component_destroy>(&encoder,
                                                                                                             &handle);
    OMX_COMPONENTTYPE *omx = &handle.omx;
    for (const zvxp_codec_defaults &codec : codecs)
        zvxp_require_codec(omx, 1, codec);
    const auto hevc = zvxp_get<OMX_VIDEO_PARAM_HEVCTYPE>(omx, OMX_IndexParamVideoHevc, 1);
    ZVX_REQUIRE_EQ(hevc.eProfile, OMX_VIDEO_HEVCProfileMain);
    ZVX_REQUIRE_EQ(hevc.eLevel, OMX_VIDEO_HEVCMainTierLevel1);
    zvx_component_suite_release();
}

/* An index a client may set on a port, with its record's size. */
struct zvxp_settable {
    OMX_INDEXTYPE index;
    OMX_U32 port;
    OMX_U32 size;
};

template <typename T> constexpr zvxp_settable zvxp_on(OMX_INDEXTYPE index, OMX_U32 port)
{
    return {index, port, sizeof(T)};
}

/* Whatever the client writes in the record's last word comes back as written. */
void zvxp_require_round_trip(OMX_COMPONENTTYPE *omx, const zvxp_settable &settable)
{
    zvxp_any_record record = zvxp_blank_record(settable.size, settable.port);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, settable.index, &record), OMX_ErrorNone);
    const OMX_U32 last = settable.size - sizeof(OMX_U32);
    const OMX_U32 changed = zvxp_word(record, last) + 1;
    std::memcpy(record.bytes + last, &changed, sizeof(changed));
    const zvxp_any_record written = record;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, settable.index, &record), OMX_ErrorNone);
    zvxp_any_record read = zvxp_blank_record(settable.size, settable.port);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, settable.index, &read), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(std::memcmp(read.bytes, written.bytes, settable.size), 0);
}

/* The port definition keeps what the client chose and derives the rest; a second write changes nothing. */
void zvxp_require_port_definition_round_trip(OMX_COMPONENTTYPE *omx, OMX_U32 port)
{
    auto definition = zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, port);
    definition.nBufferCountActual = 7;
    definition.format.video.nFrameWidth = 320;
    definition.format.video.nFrameHeight = 240;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamPortDefinition, &definition), OMX_ErrorNone);
    auto read = zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, port);
    ZVX_REQUIRE_EQ(read.nBufferCountActual, 7u);
    ZVX_REQUIRE_EQ(read.format.video.nFrameWidth, 320u);
    ZVX_REQUIRE_EQ(read.format.video.nFrameHeight, 240u);
    const auto first = read;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamPortDefinition, &read), OMX_ErrorNone);
    read = zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, port);
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c): records are copied whole
    ZVX_REQUIRE_EQ(std::memcmp(&read, &first, sizeof(read)), 0);
}

/* Every port format the port offers can be chosen and is then the port's colour or coding. */
void zvxp_require_port_formats_round_trip(OMX_COMPONENTTYPE *omx, OMX_U32 port)
{
    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(port);
    for (format.nIndex = 0; omx->GetParameter(omx, OMX_IndexParamVideoPortFormat, &format) == OMX_ErrorNone;
         ++format.nIndex) {
        ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNone);
        const auto definition = zvxp_get<OMX_PARAM_PORTDEFINITIONTYPE>(omx, OMX_IndexParamPortDefinition, port);
        ZVX_REQUIRE_EQ(definition.format.video.eColorFormat, format.eColorFormat);
        ZVX_REQUIRE_EQ(definition.format.video.eCompressionFormat, format.eCompressionFormat);
    }
    ZVX_REQUIRE(format.nIndex > 0);
}

void zvxp_require_round_trips(OMX_COMPONENTTYPE *omx, OMX_U32 bitstream, const zvxp_settable *settables, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        zvxp_require_round_trip(omx, settables[i]);
    for (OMX_U32 port = 0; port < 2; ++port) {
        zvxp_require_port_formats_round_trip(omx, port);
        zvxp_require_port_definition_round_trip(omx, port);
    }
    auto current =
        zvxp_get<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(omx, OMX_IndexParamVideoProfileLevelQuerySupported, bitstream);
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamVideoProfileLevelCurrent, &current), OMX_ErrorNone);
    const auto read =
        zvxp_get<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(omx, OMX_IndexParamVideoProfileLevelCurrent, current.nPortIndex);
    ZVX_REQUIRE_EQ(read.eLevel, current.eLevel);
}

void zvx_test_decoder_round_trips(quro_utf_suite *)
{
    static constexpr zvxp_settable settables[] = {
        zvxp_on<OMX_PARAM_BUFFERSUPPLIERTYPE>(OMX_IndexParamCompBufferSupplier, 0),
        zvxp_on<OMX_PARAM_BUFFERSUPPLIERTYPE>(OMX_IndexParamCompBufferSupplier, 1),
        zvxp_on<OMX_VIDEO_PARAM_AVCTYPE>(OMX_IndexParamVideoAvc, 0),
        zvxp_on<EnableAndroidNativeBuffersParams>(OMX_IndexParamEnableAndroidNativeBuffer, 0),
        zvxp_on<EnableAndroidNativeBuffersParams>(OMX_IndexParamEnableAndroidNativeBuffer, 1),
        zvxp_on<StoreMetaDataInBuffersParams>(OMX_IndexParamEnableStoreMetaData, 0),
        zvxp_on<StoreMetaDataInBuffersParams>(OMX_IndexParamEnableStoreMetaData, 1),
        zvxp_on<OMX_PARAM_ENABLEDMABUFTYPE>(OMX_IndexParamEnableDmaBuf, 0),
        zvxp_on<OMX_PARAM_ENABLEDMABUFTYPE>(OMX_IndexParamEnableDmaBuf, 1),
        zvxp_on<OMX_CONFIG_SCALEFACTORTYPE>(OMX_IndexConfigCommonScale, 1),
        zvxp_on<OMX_CONFIG_ROTATIONTYPE>(OMX_IndexConfigCommonRotate, 1),
        zvxp_on<OMX_CONFIG_MIRRORTYPE>(OMX_IndexConfigCommonMirror, 1),
        zvxp_on<OMX_PARAM_ENABLETCXTYPE>(OMX_IndexParamEnableTCX, 1),
        zvxp_on<DescribeHDRStaticInfoParams>(OMX_IndexConfigDescribeHDRColorInfo, 1),
        zvxp_on<DescribeColorAspectsParams>(OMX_IndexParamDescribeColorAspects, 1),
        zvxp_on<OMX_PARAM_U32TYPE>(OMX_IndexConfigOperatingRate, 1),
        zvxp_on<QURO_PARAM_BUFFERSIZETYPE>(OMX_IndexParamBufferSize, 1),
    };
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    zvxp_start<zvx_omx_decoder_component, zvx_omx_decoder_component_init, zvx_omx_decoder_component_destroy>(&decoder,
                                                                                                             &handle);
    ZVX_REQUIRE_EQ(zvxp_set_role(&handle.omx, "video_decoder.avc"), OMX_ErrorNone);
    zvxp_require_round_trips(&handle.omx, 0, settables, std::size(settables));
    zvx_component_suite_release();
}

void zvx_test_encoder_round_trips(quro_utf_suite *)
{
    static constexpr zvxp_settable settables[] = {
        zvxp_on<OMX_PARAM_BUFFERSUPPLIERTYPE>(OMX_IndexParamCompBufferSupplier, 0),
        zvxp_on<OMX_VIDEO_PARAM_QUANTIZATIONTYPE>(OMX_IndexParamVideoQuantization, 1),
        zvxp_on<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate, 1),
        zvxp_on<OMX_VIDEO_PARAM_HEVCTYPE>(OMX_IndexParamVideoHevc, 1),
        zvxp_on<QURO_VIDEO_PARAM_HEVCTYPE>(QURO_IndexParamVideoHevc, 1),
        zvxp_on<OMX_VIDEO_CONFIG_BITRATETYPE>(OMX_IndexConfigVideoBitrate, 1),
        zvxp_on<OMX_CONFIG_FRAMERATETYPE>(OMX_IndexConfigVideoFramerate, 0),
        zvxp_on<OMX_CONFIG_FRAMERATETYPE>(OMX_IndexConfigVideoFramerate, 1),
        zvxp_on<OMX_CONFIG_ROTATIONTYPE>(OMX_IndexConfigCommonRotate, 0),
        zvxp_on<OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE>(OMX_IndexConfigAndroidIntraRefresh, 1),
        zvxp_on<OMX_PARAM_ENABLETCXTYPE>(OMX_IndexParamEnableTCX, 0),
        zvxp_on<StoreMetaDataInBuffersParams>(OMX_IndexParamEnableStoreMetaData, 0),
        zvxp_on<DescribeHDRStaticInfoParams>(OMX_IndexConfigDescribeHDRColorInfo, 0),
        zvxp_on<QURO_CONFIG_DYNAMICFPSTYPE>(OMX_IndexConfigDynamicFPSFromTimestamp, 0),
        zvxp_on<DescribeColorAspectsParams>(OMX_IndexParamDescribeColorAspects, 0),
        zvxp_on<QURO_VIDEO_PARAM_RATECONTROLTYPE>(QURO_IndexParamRateControl, 1),
        zvxp_on<QURO_PARAM_BUFFERSIZETYPE>(OMX_IndexParamBufferSize, 0),
        zvxp_on<QURO_CONFIG_INTRAPERIODTYPE>(OMX_IndexConfigVideoIntraPeriod, 1),
    };
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    zvxp_start<zvx_omx_encoder_component, zvx_omx_encoder_component_init, zvx_omx_encoder_component_destroy>(&encoder,
                                                                                                             &handle);
    ZVX_REQUIRE_EQ(zvxp_set_role(&handle.omx, "video_encoder.hevc"), OMX_ErrorNone);
    zvxp_require_round_trips(&handle.omx, 1, settables, std::size(settables));
    zvx_component_suite_release();
}

const zvx_component_suite_test ZVXP_TESTS[] = {
    {1, "Decoder defaults", zvx_test_decoder_defaults},
    {2, "Encoder defaults", zvx_test_encoder_defaults},
    {3, "Decoder codec defaults", zvx_test_decoder_codec_defaults},
    {4, "Encoder codec defaults", zvx_test_encoder_codec_defaults},
    {5, "Decoder round trips", zvx_test_decoder_round_trips},
    {6, "Encoder round trips", zvx_test_encoder_round_trips},
};

} // namespace

quro_utf_suite *zvx_create_suite_config_and_params(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                   quro_utf_suite *prev_suite)
{
    return zvx_component_suite_build(pool, results, prev_suite, "Config and params", ZVXP_TESTS,
                                     static_cast<unsigned>(std::size(ZVXP_TESTS)));
}
