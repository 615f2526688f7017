// Settings stores and the defaults every port, codec and component starts from.
#include "zvx_omx_config.h"

#include <OMX_Component.h>
#include <OMX_Image.h>
#include <OMX_IVCommon.h>
#include <OMX_Video.h>

#include <cstring>
#include <initializer_list>

#include "zvx_mem.h"
#include "zvx_omx_extensions.h"

namespace {

constexpr OMX_U32 zvxp_input_port = 0;
constexpr OMX_U32 zvxp_output_port = 1;
constexpr OMX_U32 zvxp_default_width = 176;
constexpr OMX_U32 zvxp_default_height = 144;
constexpr OMX_U32 zvxp_default_buffer_count = 5;
constexpr OMX_U32 zvxp_default_bitstream_buffer_size = 1048576;
constexpr OMX_U32 zvxp_default_bitrate = 64000;
constexpr OMX_U32 zvxp_fps_30_q16 = 30 << 16;
constexpr OMX_U32 zvxp_unity_q16 = 1 << 16;
constexpr OMX_U32 zvxp_frame_buffer_alignment = 4096;

size_t zvxp_config_key_hash(zvx_map_constpointer key)
{
    const auto *k = static_cast<const zvx_omx_config_key *>(key);
    return zvx_map_int_hash(reinterpret_cast<zvx_map_constpointer>(static_cast<uintptr_t>(k->index))) ^
           zvx_map_int_hash(reinterpret_cast<zvx_map_constpointer>(static_cast<uintptr_t>(k->array_index)));
}

bool zvxp_config_key_equal(zvx_map_constpointer key, zvx_map_constpointer other)
{
    const auto *a = static_cast<const zvx_omx_config_key *>(key);
    const auto *b = static_cast<const zvx_omx_config_key *>(other);
    return a->index == b->index && a->array_index == b->array_index;
}

void zvxp_config_free(zvx_map_pointer block)
{
    zvx_mem_free(block);
}

template <typename T>
OMX_ERRORTYPE zvxp_insert(struct zvx_map *map, OMX_U32 index, const T &record, uint32_t array_index = 0)
{
    return zvx_omx_config_insert(map, index, array_index, &record, sizeof(record));
}

// Runs the inserts in order and stops at the first failure.
OMX_ERRORTYPE zvxp_first_error(std::initializer_list<OMX_ERRORTYPE (*)(struct zvx_map *, OMX_U32)> steps,
                               struct zvx_map *map, OMX_U32 port)
{
    for (auto step : steps) {
        OMX_ERRORTYPE error = step(map, port);
        if (error != OMX_ErrorNone)
            return error;
    }
    return OMX_ErrorNone;
}

OMX_PARAM_PORTDEFINITIONTYPE zvxp_bitstream_port_definition(OMX_U32 port, OMX_VIDEO_CODINGTYPE coding)
{
    auto def = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
    def.eDir = static_cast<OMX_DIRTYPE>(port);
    def.nBufferCountActual = zvxp_default_buffer_count;
    def.nBufferCountMin = zvxp_default_buffer_count;
    def.nBufferSize = zvxp_default_bitstream_buffer_size;
    def.bEnabled = OMX_TRUE;
    def.bPopulated = OMX_FALSE;
    def.eDomain = OMX_PortDomainVideo;
    def.format.video.nFrameWidth = zvxp_default_width;
    def.format.video.nFrameHeight = zvxp_default_height;
    def.format.video.nBitrate = port == zvxp_output_port ? zvxp_default_bitrate : 0;
    def.format.video.eCompressionFormat = coding;
    return def;
}

OMX_VIDEO_PARAM_PORTFORMATTYPE zvxp_port_format(OMX_U32 port, OMX_U32 index, OMX_VIDEO_CODINGTYPE coding,
                                                OMX_COLOR_FORMATTYPE color, OMX_U32 framerate)
{
    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(port);
    format.nIndex = index;
    format.eCompressionFormat = coding;
    format.eColorFormat = color;
    format.xFramerate = framerate;
    return format;
}

// ---- Codec records: port definition and format with the codec's coding, its parameters and the
// supported profile/level pairs, profile-major.

OMX_ERRORTYPE zvxp_codec_port(struct zvx_map *map, OMX_U32 port, OMX_VIDEO_CODINGTYPE coding)
{
    OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexParamPortDefinition, zvxp_bitstream_port_definition(port, coding));
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_insert(map, OMX_IndexParamVideoPortFormat,
                       zvxp_port_format(port, 0, coding, OMX_COLOR_FormatUnused, 0));
}

OMX_ERRORTYPE zvxp_profile_levels(struct zvx_map *map, OMX_U32 port, std::initializer_list<OMX_U32> profiles,
                                  std::initializer_list<OMX_U32> levels)
{
    OMX_U32 sub_index = 0;
    for (OMX_U32 profile : profiles) {
        for (OMX_U32 level : levels) {
            auto pair = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(port);
            pair.eProfile = profile;
            pair.eLevel = level;
            pair.nProfileIndex = sub_index;
            OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexParamVideoProfileLevelQuerySupported, pair, sub_index);
            if (error != OMX_ErrorNone)
                return error;
            ++sub_index;
        }
    }
    return OMX_ErrorNone;
}

// Codecs without a profile/level enumeration report one neutral pair.
OMX_ERRORTYPE zvxp_no_profile_levels(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_profile_levels(map, port, {0}, {0});
}

OMX_ERRORTYPE zvxp_nal_stream_formats(struct zvx_map *map, OMX_U32 port)
{
    auto select = zvx_omx_stamped_record<OMX_NALSTREAMFORMATTYPE>(port);
    select.eNaluFormat = OMX_NaluFormatStartCodes;
    OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexParamNalStreamFormatSelect, select);
    if (error != OMX_ErrorNone)
        return error;
    auto supported = zvx_omx_stamped_record<OMX_NALSTREAMFORMATTYPE>(port);
    supported.eNaluFormat = static_cast<OMX_NALUFORMATSTYPE>(OMX_NaluFormatStartCodes | OMX_NaluFormatOneNaluPerBuffer);
    return zvxp_insert(map, OMX_IndexParamNalStreamFormatSupported, supported);
}

constexpr std::initializer_list<OMX_U32> zvxp_avc_levels = {
    OMX_VIDEO_AVCLevel1,  OMX_VIDEO_AVCLevel1b, OMX_VIDEO_AVCLevel11, OMX_VIDEO_AVCLevel12,
    OMX_VIDEO_AVCLevel13, OMX_VIDEO_AVCLevel2,  OMX_VIDEO_AVCLevel21, OMX_VIDEO_AVCLevel22,
    OMX_VIDEO_AVCLevel3,  OMX_VIDEO_AVCLevel31, OMX_VIDEO_AVCLevel32, OMX_VIDEO_AVCLevel4,
    OMX_VIDEO_AVCLevel41, OMX_VIDEO_AVCLevel42, OMX_VIDEO_AVCLevel5,  OMX_VIDEO_AVCLevel51};

constexpr std::initializer_list<OMX_U32> zvxp_hevc_levels = {
    OMX_VIDEO_HEVCMainTierLevel1,  OMX_VIDEO_HEVCMainTierLevel2,  OMX_VIDEO_HEVCMainTierLevel21,
    OMX_VIDEO_HEVCMainTierLevel3,  OMX_VIDEO_HEVCMainTierLevel31, OMX_VIDEO_HEVCMainTierLevel4,
    OMX_VIDEO_HEVCHighTierLevel4,  OMX_VIDEO_HEVCMainTierLevel41, OMX_VIDEO_HEVCHighTierLevel41,
    OMX_VIDEO_HEVCMainTierLevel5,  OMX_VIDEO_HEVCHighTierLevel5,  OMX_VIDEO_HEVCMainTierLevel51,
    OMX_VIDEO_HEVCHighTierLevel51, OMX_VIDEO_HEVCMainTierLevel52, OMX_VIDEO_HEVCHighTierLevel52,
    OMX_VIDEO_HEVCMainTierLevel6,  OMX_VIDEO_HEVCHighTierLevel6,  OMX_VIDEO_HEVCMainTierLevel61,
    OMX_VIDEO_HEVCHighTierLevel61, OMX_VIDEO_HEVCMainTierLevel62, OMX_VIDEO_HEVCHighTierLevel62};

constexpr std::initializer_list<OMX_U32> zvxp_vp9_levels = {
    OMX_VIDEO_VP9Level1,  OMX_VIDEO_VP9Level11, OMX_VIDEO_VP9Level2,  OMX_VIDEO_VP9Level21, OMX_VIDEO_VP9Level3,
    OMX_VIDEO_VP9Level31, OMX_VIDEO_VP9Level4,  OMX_VIDEO_VP9Level41, OMX_VIDEO_VP9Level5,  OMX_VIDEO_VP9Level51,
    OMX_VIDEO_VP9Level52, OMX_VIDEO_VP9Level6,  OMX_VIDEO_VP9Level61, OMX_VIDEO_VP9Level62};

constexpr std::initializer_list<OMX_U32> zvxp_vp8_levels = {OMX_VIDEO_VP8Level_Version0, OMX_VIDEO_VP8Level_Version1,
                                                            OMX_VIDEO_VP8Level_Version2, OMX_VIDEO_VP8Level_Version3};

OMX_ERRORTYPE zvxp_avc_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingAVC);
    if (error != OMX_ErrorNone)
        return error;
    auto avc = zvx_omx_stamped_record<OMX_VIDEO_PARAM_AVCTYPE>(port);
    avc.nPFrames = 29;
    avc.eProfile = OMX_VIDEO_AVCProfileBaseline;
    avc.eLevel = OMX_VIDEO_AVCLevel1;
    error = zvxp_insert(map, OMX_IndexParamVideoAvc, avc);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(
        map, port, {OMX_VIDEO_AVCProfileBaseline, OMX_VIDEO_AVCProfileMain, OMX_VIDEO_AVCProfileHigh}, zvxp_avc_levels);
}

OMX_ERRORTYPE avc_decode_config(OMX_U32 port, struct zvx_map *map)
{
    return zvxp_avc_config(port, map);
}

OMX_ERRORTYPE avc_encode_config(OMX_U32 port, struct zvx_map *map)
{
    return zvxp_avc_config(port, map);
}

OMX_ERRORTYPE h263_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingH263);
    if (error != OMX_ErrorNone)
        return error;
    auto h263 = zvx_omx_stamped_record<OMX_VIDEO_PARAM_H263TYPE>(port);
    h263.eProfile = OMX_VIDEO_H263ProfileBaseline;
    h263.eLevel = OMX_VIDEO_H263Level10;
    error = zvxp_insert(map, OMX_IndexParamVideoH263, h263);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(map, port, {OMX_VIDEO_H263ProfileBaseline, OMX_VIDEO_H263ProfileISWV2},
                               {OMX_VIDEO_H263Level10, OMX_VIDEO_H263Level20, OMX_VIDEO_H263Level30,
                                OMX_VIDEO_H263Level40, OMX_VIDEO_H263Level45, OMX_VIDEO_H263Level50,
                                OMX_VIDEO_H263Level60, OMX_VIDEO_H263Level70});
}

OMX_ERRORTYPE zvxp_hevc_profile_levels(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_profile_levels(map, port, {OMX_VIDEO_HEVCProfileMain, OMX_VIDEO_HEVCProfileMain10}, zvxp_hevc_levels);
}

OMX_ERRORTYPE hevc_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingHEVC);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_hevc_profile_levels(map, port);
}

OMX_ERRORTYPE hevc_encode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingHEVC);
    if (error != OMX_ErrorNone)
        return error;
    auto hevc = zvx_omx_stamped_record<OMX_VIDEO_PARAM_HEVCTYPE>(port);
    hevc.eProfile = OMX_VIDEO_HEVCProfileMain;
    hevc.eLevel = OMX_VIDEO_HEVCMainTierLevel1;
    error = zvxp_insert(map, OMX_IndexParamVideoHevc, hevc);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_insert(map, QURO_IndexParamVideoHevc, zvx_omx_stamped_record<QURO_VIDEO_PARAM_HEVCTYPE>(port));
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_hevc_profile_levels(map, port);
}

OMX_ERRORTYPE jpeg_decode_config(OMX_U32 port, struct zvx_map *map)
{
    return zvxp_codec_port(map, port, OMX_VIDEO_CodingMJPEG);
}

OMX_ERRORTYPE jpeg_encode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingMJPEG);
    if (error != OMX_ErrorNone)
        return error;
    auto quality = zvx_omx_stamped_record<OMX_IMAGE_PARAM_QFACTORTYPE>(port);
    quality.nQFactor = 90;
    return zvxp_insert(map, OMX_IndexParamQFactor, quality);
}

OMX_ERRORTYPE mpeg2_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingMPEG2);
    if (error != OMX_ErrorNone)
        return error;
    auto mpeg2 = zvx_omx_stamped_record<OMX_VIDEO_PARAM_MPEG2TYPE>(port);
    mpeg2.eProfile = OMX_VIDEO_MPEG2ProfileSimple;
    mpeg2.eLevel = OMX_VIDEO_MPEG2LevelLL;
    error = zvxp_insert(map, OMX_IndexParamVideoMpeg2, mpeg2);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(
        map, port, {OMX_VIDEO_MPEG2ProfileSimple, OMX_VIDEO_MPEG2ProfileMain},
        {OMX_VIDEO_MPEG2LevelLL, OMX_VIDEO_MPEG2LevelML, OMX_VIDEO_MPEG2LevelH14, OMX_VIDEO_MPEG2LevelHL});
}

OMX_ERRORTYPE mpeg4_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingMPEG4);
    if (error != OMX_ErrorNone)
        return error;
    auto mpeg4 = zvx_omx_stamped_record<OMX_VIDEO_PARAM_MPEG4TYPE>(port);
    mpeg4.eProfile = OMX_VIDEO_MPEG4ProfileSimple;
    mpeg4.eLevel = OMX_VIDEO_MPEG4Level0;
    error = zvxp_insert(map, OMX_IndexParamVideoMpeg4, mpeg4);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(map, port, {OMX_VIDEO_MPEG4ProfileSimple, OMX_VIDEO_MPEG4ProfileAdvancedSimple},
                               {OMX_VIDEO_MPEG4Level0, OMX_VIDEO_MPEG4Level0b, OMX_VIDEO_MPEG4Level1,
                                OMX_VIDEO_MPEG4Level2, OMX_VIDEO_MPEG4Level3, OMX_VIDEO_MPEG4Level4,
                                OMX_VIDEO_MPEG4Level4a, OMX_VIDEO_MPEG4Level5});
}

OMX_ERRORTYPE rv_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingRV);
    if (error != OMX_ErrorNone)
        return error;
    auto rv = zvx_omx_stamped_record<OMX_VIDEO_PARAM_RVTYPE>(port);
    rv.eFormat = OMX_VIDEO_RVFormat8;
    error = zvxp_insert(map, OMX_IndexParamVideoRv, rv);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_no_profile_levels(map, port);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_nal_stream_formats(map, port);
}

OMX_ERRORTYPE vc1_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingWMV);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_no_profile_levels(map, port);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_nal_stream_formats(map, port);
}

OMX_VIDEO_PARAM_VP8TYPE zvxp_vp8_record(OMX_U32 port)
{
    auto vp8 = zvx_omx_stamped_record<OMX_VIDEO_PARAM_VP8TYPE>(port);
    vp8.eProfile = OMX_VIDEO_VP8ProfileMain;
    vp8.eLevel = OMX_VIDEO_VP8Level_Version0;
    return vp8;
}

OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE zvxp_vpx_encoder_record(OMX_U32 port)
{
    auto encoder = zvx_omx_stamped_record<OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE>(port);
    encoder.eTemporalPattern = OMX_VIDEO_VPXTemporalLayerPatternNone;
    encoder.nMinQuantizer = 0;
    encoder.nMaxQuantizer = 127;
    return encoder;
}

OMX_ERRORTYPE vp8_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingVP8);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_insert(map, OMX_IndexParamVideoVp8, zvxp_vp8_record(port));
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(map, port, {OMX_VIDEO_VP8ProfileMain}, zvxp_vp8_levels);
}

OMX_ERRORTYPE vp8_encode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingVP8);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_insert(map, OMX_IndexParamVideoVp8, zvxp_vp8_record(port));
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_insert(map, OMX_IndexParamVideoAndroidVp8Encoder, zvxp_vpx_encoder_record(port));
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(map, port, {OMX_VIDEO_VP8ProfileMain}, zvxp_vp8_levels);
}

OMX_ERRORTYPE vp9_decode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingVP9);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(map, port, {OMX_VIDEO_VP9Profile0, OMX_VIDEO_VP9Profile2}, zvxp_vp9_levels);
}

// The VPx encoder record covers VP9 as well; the VP8 record carries the shared rate settings.
OMX_ERRORTYPE vp9_encode_config(OMX_U32 port, struct zvx_map *map)
{
    OMX_ERRORTYPE error = zvxp_codec_port(map, port, OMX_VIDEO_CodingVP9);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_insert(map, OMX_IndexParamVideoVp8, zvxp_vp8_record(port));
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_insert(map, OMX_IndexParamVideoAndroidVp8Encoder, zvxp_vpx_encoder_record(port));
    if (error != OMX_ErrorNone)
        return error;
    auto vp9 = zvx_omx_stamped_record<OMX_VIDEO_PARAM_VP9TYPE>(port);
    vp9.eProfile = OMX_VIDEO_VP9Profile0;
    vp9.eLevel = OMX_VIDEO_VP9Level1;
    error = zvxp_insert(map, OMX_IndexParamVideoVp9, vp9);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_profile_levels(map, port, {OMX_VIDEO_VP9Profile0}, zvxp_vp9_levels);
}

typedef OMX_ERRORTYPE (*zvxp_codec_config_fn)(OMX_U32 port, struct zvx_map *map);

// An encoder writes a stream of a definite profile and level from its first picture, and clients read
// the current pair to describe that stream: until the client picks another, it is the first pair the
// codec supports. A decoder learns its pair from the stream, so its neutral pair stays.
OMX_ERRORTYPE zvxp_encoder_current_profile_level(struct zvx_map *map, OMX_U32 port)
{
    const auto *first = static_cast<const OMX_VIDEO_PARAM_PROFILELEVELTYPE *>(
        zvx_omx_config_find(map, OMX_IndexParamVideoProfileLevelQuerySupported, 0));
    if (first == nullptr)
        return OMX_ErrorNone;
    auto current = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(port);
    current.eProfile = first->eProfile;
    current.eLevel = first->eLevel;
    return zvxp_insert(map, OMX_IndexParamVideoProfileLevelCurrent, current);
}

OMX_ERRORTYPE zvxp_dispatch(uint32_t type, OMX_U32 port, struct zvx_map *map, zvxp_codec_config_fn decode,
                            zvxp_codec_config_fn encode)
{
    if (type != ZVX_OMX_ENCODER || encode == nullptr)
        return decode(port, map);
    const OMX_ERRORTYPE error = encode(port, map);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_encoder_current_profile_level(map, port);
}

// ---- Port builders

OMX_ERRORTYPE zvxp_buffer_supplier(struct zvx_map *map, OMX_U32 port)
{
    auto supplier = zvx_omx_stamped_record<OMX_PARAM_BUFFERSUPPLIERTYPE>(port);
    supplier.eBufferSupplier = port == zvxp_input_port ? OMX_BufferSupplyOutput : OMX_BufferSupplyInput;
    return zvxp_insert(map, OMX_IndexParamCompBufferSupplier, supplier);
}

OMX_ERRORTYPE zvxp_native_buffers_off(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_insert(map, OMX_IndexParamEnableAndroidNativeBuffer,
                       zvx_omx_stamped_record<EnableAndroidNativeBuffersParams>(port));
}

OMX_ERRORTYPE zvxp_native_buffer_usage(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_insert(map, OMX_IndexParamGetAndroidNativeBufferUsage,
                       zvx_omx_stamped_record<GetAndroidNativeBufferUsageParams>(port));
}

OMX_ERRORTYPE zvxp_store_metadata_off(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_insert(map, OMX_IndexParamEnableStoreMetaData,
                       zvx_omx_stamped_record<StoreMetaDataInBuffersParams>(port));
}

OMX_ERRORTYPE zvxp_dmabuf_off(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_insert(map, OMX_IndexParamEnableDmaBuf, zvx_omx_stamped_record<OMX_PARAM_ENABLEDMABUFTYPE>(port));
}

OMX_ERRORTYPE zvxp_tcx_off(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_insert(map, OMX_IndexParamEnableTCX, zvx_omx_stamped_record<OMX_PARAM_ENABLETCXTYPE>(port));
}

OMX_ERRORTYPE zvxp_framerate_30(struct zvx_map *map, OMX_U32 port)
{
    auto framerate = zvx_omx_stamped_record<OMX_CONFIG_FRAMERATETYPE>(port);
    framerate.xEncodeFramerate = zvxp_fps_30_q16;
    return zvxp_insert(map, OMX_IndexConfigVideoFramerate, framerate);
}

OMX_ERRORTYPE zvxp_colour_descriptions(struct zvx_map *map, OMX_U32 port, uint32_t count)
{
    for (uint32_t slot = 0; slot < count; ++slot) {
        OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexConfigDescribeHDRColorInfo,
                                          zvx_omx_stamped_record<DescribeHDRStaticInfoParams>(port), slot);
        if (error != OMX_ErrorNone)
            return error;
        error = zvxp_insert(map, OMX_IndexParamDescribeColorAspects,
                            zvx_omx_stamped_record<DescribeColorAspectsParams>(port), slot);
        if (error != OMX_ErrorNone)
            return error;
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_decoder_output_extras(struct zvx_map *map, OMX_U32 port)
{
    auto scale = zvx_omx_stamped_record<OMX_CONFIG_SCALEFACTORTYPE>(port);
    scale.xWidth = zvxp_unity_q16;
    scale.xHeight = zvxp_unity_q16;
    OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexConfigCommonScale, scale);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_tcx_off(map, port);
    if (error != OMX_ErrorNone)
        return error;
    auto operating_rate = zvx_omx_stamped_record<OMX_PARAM_U32TYPE>(port);
    operating_rate.nU32 = zvxp_unity_q16;
    error = zvxp_insert(map, OMX_IndexConfigOperatingRate, operating_rate);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_colour_descriptions(map, port, 2);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_insert(map, QURO_IndexParamSequenceParameters,
                       zvx_omx_stamped_record<QURO_PARAM_SEQUENECE_PARAMETERS>(port));
}

OMX_ERRORTYPE zvxp_encoder_input_extras(struct zvx_map *map, OMX_U32 port)
{
    auto dynamic_fps = zvx_omx_stamped_record<QURO_CONFIG_DYNAMICFPSTYPE>(port);
    dynamic_fps.bEnabled = OMX_TRUE;
    dynamic_fps.nWindow = 3;
    dynamic_fps.bTrackChanges = OMX_TRUE;
    OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexConfigDynamicFPSFromTimestamp, dynamic_fps);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_tcx_off(map, port);
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_colour_descriptions(map, port, 1);
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_framerate_30(map, port);
}

OMX_ERRORTYPE zvxp_encoder_output_rate(struct zvx_map *map, OMX_U32 port)
{
    auto bitrate = zvx_omx_stamped_record<OMX_VIDEO_PARAM_BITRATETYPE>(port);
    bitrate.eControlRate = OMX_Video_ControlRateDisable;
    bitrate.nTargetBitrate = zvxp_default_bitrate;
    OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexParamVideoBitrate, bitrate);
    if (error != OMX_ErrorNone)
        return error;
    auto config_bitrate = zvx_omx_stamped_record<OMX_VIDEO_CONFIG_BITRATETYPE>(port);
    config_bitrate.nEncodeBitrate = zvxp_default_bitrate;
    error = zvxp_insert(map, OMX_IndexConfigVideoBitrate, config_bitrate);
    if (error != OMX_ErrorNone)
        return error;
    auto quantization = zvx_omx_stamped_record<OMX_VIDEO_PARAM_QUANTIZATIONTYPE>(port);
    quantization.nQpI = 27;
    quantization.nQpP = 27;
    quantization.nQpB = 27;
    return zvxp_insert(map, OMX_IndexParamVideoQuantization, quantization);
}

OMX_ERRORTYPE zvxp_encoder_output_gop(struct zvx_map *map, OMX_U32 port)
{
    auto intra_period = zvx_omx_stamped_record<QURO_CONFIG_INTRAPERIODTYPE>(port);
    intra_period.nIDRPeriod = 1;
    intra_period.nPFrames = 29;
    OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexConfigVideoIntraPeriod, intra_period);
    if (error != OMX_ErrorNone)
        return error;
    auto rate_control = zvx_omx_stamped_record<QURO_VIDEO_PARAM_RATECONTROLTYPE>(port);
    rate_control.nQpMax = 255;
    error = zvxp_insert(map, QURO_IndexParamRateControl, rate_control);
    if (error != OMX_ErrorNone)
        return error;
    auto intra_refresh = zvx_omx_stamped_record<OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE>(port);
    intra_refresh.nRefreshPeriod = 30;
    return zvxp_insert(map, OMX_IndexConfigAndroidIntraRefresh, intra_refresh);
}

OMX_ERRORTYPE zvxp_bitstream_port(struct zvx_map *map, OMX_U32 port)
{
    return zvx_omx_config_bitstream_port(map, port);
}

OMX_ERRORTYPE zvxp_common(struct zvx_map *map, OMX_U32 port)
{
    return zvx_omx_config_common(map, port);
}

OMX_ERRORTYPE zvxp_frame_port_yuv(struct zvx_map *map, OMX_U32 port)
{
    return zvx_omx_config_frame_port(map, port, false);
}

OMX_ERRORTYPE zvxp_frame_port_with_rgb(struct zvx_map *map, OMX_U32 port)
{
    return zvx_omx_config_frame_port(map, port, true);
}

OMX_ERRORTYPE zvxp_port_counts(struct zvx_map *map, OMX_U32 index, OMX_U32 ports)
{
    auto counts = zvx_omx_stamped_record<OMX_PORT_PARAM_TYPE>();
    counts.nPorts = ports;
    counts.nStartPortNumber = 0;
    return zvxp_insert(map, index, counts);
}

} // namespace

OMX_ERRORTYPE zvx_omx_config_construct(struct zvx_map *map)
{
    if (!zvx_map_construct(map, zvxp_config_key_hash, zvxp_config_key_equal, zvxp_config_free, zvxp_config_free))
        return OMX_ErrorInsufficientResources;
    return OMX_ErrorNone;
}

void zvx_omx_config_destruct(struct zvx_map *map)
{
    zvx_map_destruct(map);
}

OMX_ERRORTYPE zvx_omx_config_insert(struct zvx_map *map, uint32_t index, uint32_t array_index, const void *data,
                                    size_t size)
{
    auto *key = static_cast<zvx_omx_config_key *>(zvx_mem_malloc(sizeof(zvx_omx_config_key)));
    if (key == nullptr)
        return OMX_ErrorInsufficientResources;
    void *value = zvx_mem_malloc(size);
    if (value == nullptr) {
        zvx_mem_free(key);
        return OMX_ErrorInsufficientResources;
    }
    key->index = index;
    key->array_index = array_index;
    std::memcpy(value, data, size);
    if (!zvx_map_insert(map, key, value)) {
        zvx_mem_free(value);
        zvx_mem_free(key);
        return OMX_ErrorInsufficientResources;
    }
    return OMX_ErrorNone;
}

void *zvx_omx_config_find(struct zvx_map *map, uint32_t index, uint32_t array_index)
{
    zvx_omx_config_key key = {index, array_index};
    return zvx_map_find(map, &key);
}

void zvx_omx_config_init_header(void *record, OMX_U32 size)
{
    // Every OpenMAX record starts with nSize and nVersion.
    struct header {
        OMX_U32 nSize;
        OMX_VERSIONTYPE nVersion;
    } stamp;
    stamp.nSize = size;
    // Where OMX_U32 is wider than the four version bytes, its upper bytes must read as zero too.
    stamp.nVersion.nVersion = 0;
    stamp.nVersion.s.nVersionMajor = 1;
    stamp.nVersion.s.nVersionMinor = 1;
    stamp.nVersion.s.nRevision = 2;
    stamp.nVersion.s.nStep = 0;
    std::memcpy(record, &stamp, sizeof(stamp));
}

OMX_ERRORTYPE zvx_omx_config_bitstream_port(struct zvx_map *map, OMX_U32 port)
{
    OMX_ERRORTYPE error =
        zvxp_insert(map, OMX_IndexParamPortDefinition, zvxp_bitstream_port_definition(port, OMX_VIDEO_CodingUnused));
    if (error != OMX_ErrorNone)
        return error;
    error = zvxp_insert(map, OMX_IndexParamVideoPortFormat,
                        zvxp_port_format(port, 0, OMX_VIDEO_CodingUnused, OMX_COLOR_FormatUnused, 0));
    if (error != OMX_ErrorNone)
        return error;
    return zvxp_insert(map, OMX_IndexParamVideoProfileLevelCurrent,
                       zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(port));
}

OMX_ERRORTYPE zvx_omx_config_frame_port(struct zvx_map *map, OMX_U32 direction, bool is_encoder)
{
    static constexpr OMX_COLOR_FORMATTYPE formats[] = {OMX_COLOR_FormatYUV420Planar,  OMX_COLOR_FormatYUV420SemiPlanar,
                                                       OMX_COLOR_FormatAndroidOpaque, OMX_COLOR_FormatYUV420Flexible,
                                                       OMX_COLOR_Format32bitBGRA8888, OMX_COLOR_Format32bitARGB8888};
    constexpr uint32_t yuv_format_count = 4;

    const OMX_U32 port = direction;
    const OMX_U32 framerate = port == zvxp_input_port ? zvxp_fps_30_q16 : 0;

    auto def = zvxp_bitstream_port_definition(port, OMX_VIDEO_CodingUnused);
    def.format.video.nStride = zvxp_default_width;
    def.format.video.nSliceHeight = zvxp_default_height;
    def.format.video.xFramerate = framerate;
    def.format.video.bFlagErrorConcealment = port == zvxp_output_port ? OMX_TRUE : OMX_FALSE;
    def.format.video.eColorFormat = OMX_COLOR_FormatYUV420Planar;
    def.nBufferAlignment = zvxp_frame_buffer_alignment;
    OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexParamPortDefinition, def);
    if (error != OMX_ErrorNone)
        return error;

    const uint32_t format_count = is_encoder ? sizeof(formats) / sizeof(formats[0]) : yuv_format_count;
    for (uint32_t i = 0; i < format_count; ++i) {
        error = zvxp_insert(map, OMX_IndexParamVideoPortFormat,
                            zvxp_port_format(port, i, OMX_VIDEO_CodingUnused, formats[i], framerate), i);
        if (error != OMX_ErrorNone)
            return error;
    }

    error = zvxp_insert(map, OMX_IndexConfigCommonRotate, zvx_omx_stamped_record<OMX_CONFIG_ROTATIONTYPE>(port));
    if (error != OMX_ErrorNone)
        return error;
    auto mirror = zvx_omx_stamped_record<OMX_CONFIG_MIRRORTYPE>(port);
    mirror.eMirror = OMX_MirrorNone;
    error = zvxp_insert(map, OMX_IndexConfigCommonMirror, mirror);
    if (error != OMX_ErrorNone)
        return error;
    auto buffer_size = zvx_omx_stamped_record<QURO_PARAM_BUFFERSIZETYPE>(port);
    buffer_size.nWidth = zvxp_default_width;
    buffer_size.nHeight = zvxp_default_height;
    buffer_size.nStride = zvxp_default_width;
    error = zvxp_insert(map, OMX_IndexParamBufferSize, buffer_size);
    if (error != OMX_ErrorNone)
        return error;
    auto crop = zvx_omx_stamped_record<OMX_CONFIG_RECTTYPE>(port);
    crop.nWidth = zvxp_default_width;
    crop.nHeight = zvxp_default_height;
    return zvxp_insert(map, OMX_IndexConfigCommonOutputCrop, crop);
}

OMX_ERRORTYPE zvx_omx_config_common(struct zvx_map *map, OMX_U32 port)
{
    return zvxp_first_error({zvxp_buffer_supplier, zvxp_native_buffers_off, zvxp_native_buffer_usage,
                             zvxp_store_metadata_off, zvxp_dmabuf_off},
                            map, port);
}

OMX_ERRORTYPE zvx_omx_config_decoder_input(struct zvx_map *map)
{
    return zvxp_first_error({zvxp_bitstream_port, zvxp_common}, map, zvxp_input_port);
}

OMX_ERRORTYPE zvx_omx_config_decoder_output(struct zvx_map *map)
{
    return zvxp_first_error({zvxp_frame_port_yuv, zvxp_common, zvxp_decoder_output_extras}, map, zvxp_output_port);
}

OMX_ERRORTYPE zvx_omx_config_encoder_input(struct zvx_map *map)
{
    return zvxp_first_error({zvxp_frame_port_with_rgb, zvxp_common, zvxp_encoder_input_extras}, map, zvxp_input_port);
}

OMX_ERRORTYPE zvx_omx_config_encoder_output(struct zvx_map *map)
{
    return zvxp_first_error(
        {zvxp_bitstream_port, zvxp_common, zvxp_framerate_30, zvxp_encoder_output_rate, zvxp_encoder_output_gop}, map,
        zvxp_output_port);
}

OMX_ERRORTYPE zvx_omx_config_decoder(struct zvx_map *input_map, struct zvx_map *output_map)
{
    OMX_ERRORTYPE error = zvx_omx_config_decoder_input(input_map);
    if (error != OMX_ErrorNone)
        return error;
    return zvx_omx_config_decoder_output(output_map);
}

OMX_ERRORTYPE zvx_omx_config_encoder(struct zvx_map *input_map, struct zvx_map *output_map)
{
    OMX_ERRORTYPE error = zvx_omx_config_encoder_input(input_map);
    if (error != OMX_ErrorNone)
        return error;
    return zvx_omx_config_encoder_output(output_map);
}

OMX_ERRORTYPE zvx_omx_port_avc_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, avc_decode_config, avc_encode_config);
}

OMX_ERRORTYPE zvx_omx_port_h263_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, h263_decode_config, nullptr);
}

OMX_ERRORTYPE zvx_omx_port_hevc_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, hevc_decode_config, hevc_encode_config);
}

OMX_ERRORTYPE zvx_omx_port_jpeg_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, jpeg_decode_config, jpeg_encode_config);
}

OMX_ERRORTYPE zvx_omx_port_mpeg2_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, mpeg2_decode_config, nullptr);
}

OMX_ERRORTYPE zvx_omx_port_mpeg4_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, mpeg4_decode_config, nullptr);
}

OMX_ERRORTYPE zvx_omx_port_rv_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, rv_decode_config, nullptr);
}

OMX_ERRORTYPE zvx_omx_port_vc1_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, vc1_decode_config, nullptr);
}

OMX_ERRORTYPE zvx_omx_port_vp8_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, vp8_decode_config, vp8_encode_config);
}

OMX_ERRORTYPE zvx_omx_port_vp9_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map)
{
    return zvxp_dispatch(type, port_index, map, vp9_decode_config, vp9_encode_config);
}

OMX_ERRORTYPE zvx_omx_frame_port_jpeg_config(struct zvx_map *map)
{
    // Pictures for a still-image codec are 4:2:0 YUV only; the other formats are dropped and the kept
    // ones renumbered from 0.
    uint32_t kept = 0;
    for (uint32_t sub_index = 0;; ++sub_index) {
        auto *stored = static_cast<OMX_VIDEO_PARAM_PORTFORMATTYPE *>(
            zvx_omx_config_find(map, OMX_IndexParamVideoPortFormat, sub_index));
        if (stored == nullptr)
            break;
        OMX_VIDEO_PARAM_PORTFORMATTYPE format = *stored;
        zvx_omx_config_key key = {OMX_IndexParamVideoPortFormat, sub_index};
        zvx_map_erase(map, &key);
        if (format.eColorFormat != OMX_COLOR_FormatYUV420Planar &&
            format.eColorFormat != OMX_COLOR_FormatYUV420SemiPlanar)
            continue;
        format.nIndex = kept;
        OMX_ERRORTYPE error = zvxp_insert(map, OMX_IndexParamVideoPortFormat, format, kept);
        if (error != OMX_ErrorNone)
            return error;
        ++kept;
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_omx_clone_default_settings(struct zvx_map *map, zvx_omx_component_type_t type)
{
    OMX_ERRORTYPE error = zvx_omx_config_construct(map);
    if (error != OMX_ErrorNone)
        return error;

    const char *role = nullptr;
    if (type == ZVX_OMX_ENCODER)
        role = "video_encoder.avc";
    else if (type == ZVX_OMX_DECODER)
        role = "video_decoder.avc";
    if (role == nullptr)
        return OMX_ErrorNone;

    for (OMX_U32 index : {OMX_IndexParamAudioInit, OMX_IndexParamImageInit, OMX_IndexParamOtherInit}) {
        error = zvxp_port_counts(map, index, 0);
        if (error != OMX_ErrorNone)
            return error;
    }
    error = zvxp_port_counts(map, OMX_IndexParamVideoInit, ZVX_OMX_PORT_COUNT);
    if (error != OMX_ErrorNone)
        return error;

    auto standard_role = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>();
    std::strncpy(reinterpret_cast<char *>(standard_role.cRole), role, OMX_MAX_STRINGNAME_SIZE);
    return zvxp_insert(map, OMX_IndexParamStandardComponentRole, standard_role);
}
