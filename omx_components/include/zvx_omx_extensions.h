#ifndef ZVX_OMX_EXTENSIONS_H
#define ZVX_OMX_EXTENSIONS_H

/*
 * Index values, colour formats and records beyond the OpenMAX IL 1.1.2 headers: the component's own
 * vendor extensions and the Android extensions that clients of the component use. Extra values of a
 * standard enumeration are typed constants of that enumeration, so they compare and switch like the
 * standard ones.
 */

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <OMX_IVCommon.h>
#include <OMX_Index.h>
#include <OMX_Video.h>
#include <stdint.h>

#define ZVX_OMX_INDEX(value) static_cast<OMX_INDEXTYPE>(value)
#define ZVX_OMX_COLOR(value) static_cast<OMX_COLOR_FORMATTYPE>(value)
#define ZVX_OMX_CODING(value) static_cast<OMX_VIDEO_CODINGTYPE>(value)

/* ---- Vendor indices answered by GetExtensionIndex ---- */
inline constexpr OMX_INDEXTYPE OMX_IndexParamTCX = ZVX_OMX_INDEX(0x7f454647);
inline constexpr OMX_INDEXTYPE OMX_IndexParamEnableAndroidNativeBuffer = ZVX_OMX_INDEX(0x7f454648);
inline constexpr OMX_INDEXTYPE OMX_IndexParamUseAndroidNativeBuffer2 = ZVX_OMX_INDEX(0x7f454649);
inline constexpr OMX_INDEXTYPE OMX_IndexParamGetAndroidNativeBufferUsage = ZVX_OMX_INDEX(0x7f45464a);
inline constexpr OMX_INDEXTYPE OMX_IndexParamEnableTCX = ZVX_OMX_INDEX(0x7f45464b);
inline constexpr OMX_INDEXTYPE OMX_IndexParamEnableDmaBuf = ZVX_OMX_INDEX(0x7f45464c);
inline constexpr OMX_INDEXTYPE OMX_IndexParamEnableStoreMetaData = ZVX_OMX_INDEX(0x7f45464d);
inline constexpr OMX_INDEXTYPE OMX_IndexParamDescribeColorFormat = ZVX_OMX_INDEX(0x7f45464e);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigDescribeHDRColorInfo = ZVX_OMX_INDEX(0x7f454650);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigDynamicFPSFromTimestamp = ZVX_OMX_INDEX(0x7f454651);
inline constexpr OMX_INDEXTYPE OMX_IndexParamDescribeColorAspects = ZVX_OMX_INDEX(0x7f454653);

/* ---- Vendor indices known only inside the component and its session (values are ours) ---- */
inline constexpr OMX_INDEXTYPE QURO_IndexParamSequenceParameters = ZVX_OMX_INDEX(0x7f460001);
inline constexpr OMX_INDEXTYPE QURO_IndexParamRateControl = ZVX_OMX_INDEX(0x7f460002);
inline constexpr OMX_INDEXTYPE QURO_IndexParamVideoHevc = ZVX_OMX_INDEX(0x7f460003);
inline constexpr OMX_INDEXTYPE OMX_IndexParamBufferSize = ZVX_OMX_INDEX(0x7f460004);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigVideoIntraPeriod = ZVX_OMX_INDEX(0x7f460005);

/* ---- Vendor client colour formats ---- */
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV420TCX = ZVX_OMX_COLOR(0x7f000000);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV420TCX_10b = ZVX_OMX_COLOR(0x7f000001);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV422TCX = ZVX_OMX_COLOR(0x7f000002);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV422TCX_10b = ZVX_OMX_COLOR(0x7f000003);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYYCbCr = ZVX_OMX_COLOR(0x7f000004);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUYAAYVYAA_10b = ZVX_OMX_COLOR(0x7f000005);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatAAYUYAAYVY_10b = ZVX_OMX_COLOR(0x7f000006);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV422_1P = ZVX_OMX_COLOR(0x7f000007);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYVU422_1P = ZVX_OMX_COLOR(0x7f000008);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV420_10b_MS = ZVX_OMX_COLOR(0x7f000009);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV420SemiPlanar_LB16 = ZVX_OMX_COLOR(0x7f000010);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYUV422_10b_MS = ZVX_OMX_COLOR(0x7f000011);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatRefFrame = ZVX_OMX_COLOR(0x7f0000fe);
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatMBInfo = ZVX_OMX_COLOR(0x7f0000ff);
/* Client value outside the standard enumeration for YVU 4:2:0 semi-planar. */
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYVU420SemiPlanar = ZVX_OMX_COLOR(47);
/* FOURCC 'YV12' as Android clients pass it. */
inline constexpr OMX_COLOR_FORMATTYPE QURO_COLOR_FormatYV12 = ZVX_OMX_COLOR(0x32315659);

/* ---- Vendor records ---- */
typedef struct OMX_PARAM_ENABLETCXTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnabled;
    OMX_BOOL bTilesEnabled;
    OMX_BOOL bWideblkEnabled;
} OMX_PARAM_ENABLETCXTYPE;
static_assert(sizeof(OMX_PARAM_ENABLETCXTYPE) == 24);

/* Switch of the dma-buf buffer mode. */
typedef struct OMX_PARAM_ENABLEDMABUFTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnabled;
} OMX_PARAM_ENABLEDMABUFTYPE;
static_assert(sizeof(OMX_PARAM_ENABLEDMABUFTYPE) == 16);

/* Stream properties the session learns while decoding (the type name's spelling is historical). */
typedef struct QURO_PARAM_SEQUENECE_PARAMETERS {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U16 nDisplayWidth;
    OMX_U16 nDisplayHeight;
    OMX_U16 nSampleAspectRatioWidth;
    OMX_U16 nSampleAspectRatioHeight;
    OMX_U16 bInterlace;
    OMX_U16 bFrameReordering;
    OMX_U16 nChromaSampleLocationTypeTopField;
    OMX_U16 nChromaSampleLocationTypeBottomField;
    OMX_U16 nColorMatrixCoefficients;
    OMX_U16 nProfile;
    OMX_U16 nLevel;
    OMX_U16 nBitDepthLumaMinus8;
    OMX_U16 nBitDepthChromaMinus8;
    OMX_U16 nChromaSampling;
} QURO_PARAM_SEQUENECE_PARAMETERS;
static_assert(sizeof(QURO_PARAM_SEQUENECE_PARAMETERS) == 40);

typedef struct QURO_VIDEO_PARAM_RATECONTROLTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nHRDBufsize;
    OMX_U32 nQpMin;
    OMX_U32 nQpMax;
    OMX_U32 nIBoost;
    OMX_U32 nBBoost;
    OMX_U32 nMaxCores;
} QURO_VIDEO_PARAM_RATECONTROLTYPE;

/* Encoder-side HEVC tools beyond the Android HEVC record. */
typedef struct QURO_VIDEO_PARAM_HEVCTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bWavefrontEnabled;
    OMX_U32 nTileRows;
    OMX_U32 nTileColumns;
} QURO_VIDEO_PARAM_HEVCTYPE;

/* Size of the frames the client will queue; stride in bytes. */
typedef struct QURO_PARAM_BUFFERSIZETYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nWidth;
    OMX_U32 nHeight;
    OMX_U32 nStride;
} QURO_PARAM_BUFFERSIZETYPE;
static_assert(sizeof(QURO_PARAM_BUFFERSIZETYPE) == 24);

typedef struct QURO_CONFIG_INTRAPERIODTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nIDRPeriod;
    OMX_U32 nPFrames;
    OMX_U32 nBFrames;
} QURO_CONFIG_INTRAPERIODTYPE;
static_assert(sizeof(QURO_CONFIG_INTRAPERIODTYPE) == 24);

/* Frame rate estimated from input time stamps: averaged over nWindow frames, tracked when enabled. */
typedef struct QURO_CONFIG_DYNAMICFPSTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnabled;
    OMX_U32 nWindow;
    OMX_BOOL bTrackChanges;
} QURO_CONFIG_DYNAMICFPSTYPE;
static_assert(sizeof(QURO_CONFIG_DYNAMICFPSTYPE) == 24);

/* The session's 1.2.0 port definition: every field a 32-bit word, pointers truncated. */
typedef struct kern_omx120_video_portdefinitiontype {
    OMX_U32 pNativeRender;
    OMX_U32 nFrameWidth;
    OMX_U32 nFrameHeight;
    OMX_U32 nStride;
    OMX_U32 nSliceHeight;
    OMX_U32 nBitrate;
    OMX_U32 xFramerate;
    OMX_U32 bFlagErrorConcealment;
    OMX_U32 eCompressionFormat;
    OMX_U32 eColorFormat;
    OMX_U32 pNativeWindow;
} kern_omx120_video_portdefinitiontype;

typedef struct kern_omx120_param_portdefinitiontype {
    OMX_U32 nSize;
    OMX_U32 nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 eDir;
    OMX_U32 nBufferCountActual;
    OMX_U32 nBufferCountMin;
    OMX_U32 nBufferSize;
    OMX_U32 bEnabled;
    OMX_U32 bPopulated;
    OMX_U32 eDomain;
    union {
        kern_omx120_video_portdefinitiontype video;
    } format;
    OMX_U32 bBuffersContiguous;
    OMX_U32 nBufferAlignment;
} kern_omx120_param_portdefinitiontype;
static_assert(sizeof(kern_omx120_video_portdefinitiontype) == 44);
static_assert(sizeof(kern_omx120_param_portdefinitiontype) == 92);

/* ---- Android index extensions ---- */
/* Each block grows at its end only; its end marker moves between releases and is left out. */
inline constexpr OMX_INDEXTYPE OMX_IndexExtComponentStartUnused = ZVX_OMX_INDEX(0x6F100000);
inline constexpr OMX_INDEXTYPE OMX_IndexExtPortStartUnused = ZVX_OMX_INDEX(0x6F200000);
inline constexpr OMX_INDEXTYPE OMX_IndexExtAudioStartUnused = ZVX_OMX_INDEX(0x6F400000);
inline constexpr OMX_INDEXTYPE OMX_IndexExtImageStartUnused = ZVX_OMX_INDEX(0x6F500000);
inline constexpr OMX_INDEXTYPE OMX_IndexExtVideoStartUnused = ZVX_OMX_INDEX(0x6F600000);
inline constexpr OMX_INDEXTYPE OMX_IndexExtCommonStartUnused = ZVX_OMX_INDEX(0x6F700000);
inline constexpr OMX_INDEXTYPE OMX_IndexExtOtherStartUnused = ZVX_OMX_INDEX(0x6F800000);
inline constexpr OMX_INDEXTYPE OMX_IndexExtTimeStartUnused = ZVX_OMX_INDEX(0x6F900000);

inline constexpr OMX_INDEXTYPE OMX_IndexConfigCallbackRequest = ZVX_OMX_INDEX(0x6F100001);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigCommitMode = ZVX_OMX_INDEX(0x6F100002);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigCommit = ZVX_OMX_INDEX(0x6F100003);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigAndroidVendorExtension = ZVX_OMX_INDEX(0x6F100004);

inline constexpr OMX_INDEXTYPE OMX_IndexParamAudioAndroidAc3 = ZVX_OMX_INDEX(0x6F400001);
inline constexpr OMX_INDEXTYPE OMX_IndexParamAudioAndroidOpus = ZVX_OMX_INDEX(0x6F400002);
inline constexpr OMX_INDEXTYPE OMX_IndexParamAudioAndroidAacPresentation = ZVX_OMX_INDEX(0x6F400003);
inline constexpr OMX_INDEXTYPE OMX_IndexParamAudioAndroidEac3 = ZVX_OMX_INDEX(0x6F400004);
inline constexpr OMX_INDEXTYPE OMX_IndexParamAudioProfileQuerySupported = ZVX_OMX_INDEX(0x6F400005);
inline constexpr OMX_INDEXTYPE OMX_IndexParamAudioAndroidAacDrcPresentation = ZVX_OMX_INDEX(0x6F400006);
inline constexpr OMX_INDEXTYPE OMX_IndexParamAudioAndroidAc4 = ZVX_OMX_INDEX(0x6F400007);

inline constexpr OMX_INDEXTYPE OMX_IndexParamNalStreamFormatSupported = ZVX_OMX_INDEX(0x6F600001);
inline constexpr OMX_INDEXTYPE OMX_IndexParamNalStreamFormat = ZVX_OMX_INDEX(0x6F600002);
inline constexpr OMX_INDEXTYPE OMX_IndexParamNalStreamFormatSelect = ZVX_OMX_INDEX(0x6F600003);
inline constexpr OMX_INDEXTYPE OMX_IndexParamVideoVp8 = ZVX_OMX_INDEX(0x6F600004);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigVideoVp8ReferenceFrame = ZVX_OMX_INDEX(0x6F600005);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigVideoVp8ReferenceFrameType = ZVX_OMX_INDEX(0x6F600006);
inline constexpr OMX_INDEXTYPE OMX_IndexParamVideoAndroidVp8Encoder = ZVX_OMX_INDEX(0x6F600007);
inline constexpr OMX_INDEXTYPE OMX_IndexParamVideoHevc = ZVX_OMX_INDEX(0x6F600008);
inline constexpr OMX_INDEXTYPE OMX_IndexParamSliceSegments = ZVX_OMX_INDEX(0x6F600009);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigAndroidIntraRefresh = ZVX_OMX_INDEX(0x6F60000A);
inline constexpr OMX_INDEXTYPE OMX_IndexParamAndroidVideoTemporalLayering = ZVX_OMX_INDEX(0x6F60000B);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigAndroidVideoTemporalLayering = ZVX_OMX_INDEX(0x6F60000C);
inline constexpr OMX_INDEXTYPE OMX_IndexParamMaxFrameDurationForBitrateControl = ZVX_OMX_INDEX(0x6F60000D);
inline constexpr OMX_INDEXTYPE OMX_IndexParamVideoVp9 = ZVX_OMX_INDEX(0x6F60000E);
inline constexpr OMX_INDEXTYPE OMX_IndexParamVideoAndroidVp9Encoder = ZVX_OMX_INDEX(0x6F60000F);
inline constexpr OMX_INDEXTYPE OMX_IndexParamVideoAndroidImageGrid = ZVX_OMX_INDEX(0x6F600010);
inline constexpr OMX_INDEXTYPE OMX_IndexParamVideoAndroidRequiresSwRenderer = ZVX_OMX_INDEX(0x6F600011);

inline constexpr OMX_INDEXTYPE OMX_IndexConfigAutoFramerateConversion = ZVX_OMX_INDEX(0x6F800001);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigPriority = ZVX_OMX_INDEX(0x6F800002);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigOperatingRate = ZVX_OMX_INDEX(0x6F800003);
inline constexpr OMX_INDEXTYPE OMX_IndexParamConsumerUsageBits = ZVX_OMX_INDEX(0x6F800004);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigLatency = ZVX_OMX_INDEX(0x6F800005);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigLowLatency = ZVX_OMX_INDEX(0x6F800006);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigAndroidTunnelPeek = ZVX_OMX_INDEX(0x6F800007);
inline constexpr OMX_INDEXTYPE OMX_IndexConfigAndroidTunnelPeekLegacyMode = ZVX_OMX_INDEX(0x6F800008);
inline constexpr OMX_INDEXTYPE OMX_IndexParamConsumerUsageBits64 = ZVX_OMX_INDEX(0x6F800009);

/* ---- Android additions to standard enumerations ---- */
inline constexpr OMX_VIDEO_CODINGTYPE OMX_VIDEO_CodingVP8 = ZVX_OMX_CODING(9);
inline constexpr OMX_VIDEO_CODINGTYPE OMX_VIDEO_CodingVP9 = ZVX_OMX_CODING(0xA);
inline constexpr OMX_VIDEO_CODINGTYPE OMX_VIDEO_CodingHEVC = ZVX_OMX_CODING(0xB);
inline constexpr OMX_VIDEO_CODINGTYPE OMX_VIDEO_CodingDolbyVision = ZVX_OMX_CODING(0xC);
inline constexpr OMX_VIDEO_CODINGTYPE OMX_VIDEO_CodingImageHEIC = ZVX_OMX_CODING(0xD);

inline constexpr OMX_COLOR_FORMATTYPE OMX_COLOR_FormatAndroidOpaque = ZVX_OMX_COLOR(0x7F000789);
inline constexpr OMX_COLOR_FORMATTYPE OMX_COLOR_Format32BitRGBA8888 = ZVX_OMX_COLOR(0x7F00A000);
inline constexpr OMX_COLOR_FORMATTYPE OMX_COLOR_FormatYUV420Flexible = ZVX_OMX_COLOR(0x7F420888);
inline constexpr OMX_COLOR_FORMATTYPE OMX_COLOR_FormatYUV420Planar16 = ZVX_OMX_COLOR(0x7F42016B);
inline constexpr OMX_COLOR_FORMATTYPE OMX_COLOR_FormatYUV444Y410 = ZVX_OMX_COLOR(0x7F444AAA);

inline constexpr OMX_EVENTTYPE OMX_EventOutputRendered = static_cast<OMX_EVENTTYPE>(0x7F000001);

inline constexpr OMX_VIDEO_AVCPROFILETYPE OMX_VIDEO_AVCProfileConstrainedBaseline =
    static_cast<OMX_VIDEO_AVCPROFILETYPE>(0x10000);
inline constexpr OMX_VIDEO_AVCPROFILETYPE OMX_VIDEO_AVCProfileConstrainedHigh =
    static_cast<OMX_VIDEO_AVCPROFILETYPE>(0x80000);
inline constexpr OMX_VIDEO_AVCLEVELTYPE OMX_VIDEO_AVCLevel52 = static_cast<OMX_VIDEO_AVCLEVELTYPE>(0x10000);
inline constexpr OMX_VIDEO_MPEG2LEVELTYPE OMX_VIDEO_MPEG2LevelHP = static_cast<OMX_VIDEO_MPEG2LEVELTYPE>(4);
inline constexpr OMX_VIDEO_MPEG4LEVELTYPE OMX_VIDEO_MPEG4Level3b = static_cast<OMX_VIDEO_MPEG4LEVELTYPE>(0x18);
inline constexpr OMX_VIDEO_MPEG4LEVELTYPE OMX_VIDEO_MPEG4Level6 = static_cast<OMX_VIDEO_MPEG4LEVELTYPE>(0x100);
inline constexpr OMX_VIDEO_CONTROLRATETYPE OMX_Video_ControlRateConstantQuality =
    static_cast<OMX_VIDEO_CONTROLRATETYPE>(5);

typedef enum OMX_VIDEO_VP8PROFILETYPE {
    OMX_VIDEO_VP8ProfileMain = 0x01,
    OMX_VIDEO_VP8ProfileUnknown = 0x6EFFFFFF,
    OMX_VIDEO_VP8ProfileMax = 0x7FFFFFFF
} OMX_VIDEO_VP8PROFILETYPE;

typedef enum OMX_VIDEO_VP8LEVELTYPE {
    OMX_VIDEO_VP8Level_Version0 = 0x01,
    OMX_VIDEO_VP8Level_Version1 = 0x02,
    OMX_VIDEO_VP8Level_Version2 = 0x04,
    OMX_VIDEO_VP8Level_Version3 = 0x08,
    OMX_VIDEO_VP8LevelUnknown = 0x6EFFFFFF,
    OMX_VIDEO_VP8LevelMax = 0x7FFFFFFF
} OMX_VIDEO_VP8LEVELTYPE;

typedef enum OMX_VIDEO_VP9PROFILETYPE {
    OMX_VIDEO_VP9Profile0 = 0x1,
    OMX_VIDEO_VP9Profile1 = 0x2,
    OMX_VIDEO_VP9Profile2 = 0x4,
    OMX_VIDEO_VP9Profile3 = 0x8,
    OMX_VIDEO_VP9Profile2HDR = 0x1000,
    OMX_VIDEO_VP9Profile3HDR = 0x2000,
    OMX_VIDEO_VP9Profile2HDR10Plus = 0x4000,
    OMX_VIDEO_VP9Profile3HDR10Plus = 0x8000,
    OMX_VIDEO_VP9ProfileUnknown = 0x6EFFFFFF,
    OMX_VIDEO_VP9ProfileMax = 0x7FFFFFFF
} OMX_VIDEO_VP9PROFILETYPE;

typedef enum OMX_VIDEO_VP9LEVELTYPE {
    OMX_VIDEO_VP9Level1 = 0x1,
    OMX_VIDEO_VP9Level11 = 0x2,
    OMX_VIDEO_VP9Level2 = 0x4,
    OMX_VIDEO_VP9Level21 = 0x8,
    OMX_VIDEO_VP9Level3 = 0x10,
    OMX_VIDEO_VP9Level31 = 0x20,
    OMX_VIDEO_VP9Level4 = 0x40,
    OMX_VIDEO_VP9Level41 = 0x80,
    OMX_VIDEO_VP9Level5 = 0x100,
    OMX_VIDEO_VP9Level51 = 0x200,
    OMX_VIDEO_VP9Level52 = 0x400,
    OMX_VIDEO_VP9Level6 = 0x800,
    OMX_VIDEO_VP9Level61 = 0x1000,
    OMX_VIDEO_VP9Level62 = 0x2000,
    OMX_VIDEO_VP9LevelUnknown = 0x6EFFFFFF,
    OMX_VIDEO_VP9LevelMax = 0x7FFFFFFF
} OMX_VIDEO_VP9LEVELTYPE;

typedef enum OMX_VIDEO_HEVCPROFILETYPE {
    OMX_VIDEO_HEVCProfileUnknown = 0x0,
    OMX_VIDEO_HEVCProfileMain = 0x1,
    OMX_VIDEO_HEVCProfileMain10 = 0x2,
    OMX_VIDEO_HEVCProfileMainStill = 0x4,
    OMX_VIDEO_HEVCProfileMain10HDR10 = 0x1000,
    OMX_VIDEO_HEVCProfileMain10HDR10Plus = 0x2000,
    OMX_VIDEO_HEVCProfileMax = 0x7FFFFFFF
} OMX_VIDEO_HEVCPROFILETYPE;

typedef enum OMX_VIDEO_HEVCLEVELTYPE {
    OMX_VIDEO_HEVCLevelUnknown = 0x0,
    OMX_VIDEO_HEVCMainTierLevel1 = 0x1,
    OMX_VIDEO_HEVCHighTierLevel1 = 0x2,
    OMX_VIDEO_HEVCMainTierLevel2 = 0x4,
    OMX_VIDEO_HEVCHighTierLevel2 = 0x8,
    OMX_VIDEO_HEVCMainTierLevel21 = 0x10,
    OMX_VIDEO_HEVCHighTierLevel21 = 0x20,
    OMX_VIDEO_HEVCMainTierLevel3 = 0x40,
    OMX_VIDEO_HEVCHighTierLevel3 = 0x80,
    OMX_VIDEO_HEVCMainTierLevel31 = 0x100,
    OMX_VIDEO_HEVCHighTierLevel31 = 0x200,
    OMX_VIDEO_HEVCMainTierLevel4 = 0x400,
    OMX_VIDEO_HEVCHighTierLevel4 = 0x800,
    OMX_VIDEO_HEVCMainTierLevel41 = 0x1000,
    OMX_VIDEO_HEVCHighTierLevel41 = 0x2000,
    OMX_VIDEO_HEVCMainTierLevel5 = 0x4000,
    OMX_VIDEO_HEVCHighTierLevel5 = 0x8000,
    OMX_VIDEO_HEVCMainTierLevel51 = 0x10000,
    OMX_VIDEO_HEVCHighTierLevel51 = 0x20000,
    OMX_VIDEO_HEVCMainTierLevel52 = 0x40000,
    OMX_VIDEO_HEVCHighTierLevel52 = 0x80000,
    OMX_VIDEO_HEVCMainTierLevel6 = 0x100000,
    OMX_VIDEO_HEVCHighTierLevel6 = 0x200000,
    OMX_VIDEO_HEVCMainTierLevel61 = 0x400000,
    OMX_VIDEO_HEVCHighTierLevel61 = 0x800000,
    OMX_VIDEO_HEVCMainTierLevel62 = 0x1000000,
    OMX_VIDEO_HEVCHighTierLevel62 = 0x2000000,
    OMX_VIDEO_HEVCHighTiermax = 0x7FFFFFFF
} OMX_VIDEO_HEVCLEVELTYPE;

typedef enum OMX_VIDEO_DOLBYVISIONPROFILETYPE {
    OMX_VIDEO_DolbyVisionProfileUnknown = 0x0,
    OMX_VIDEO_DolbyVisionProfileDvavPer = 0x1,
    OMX_VIDEO_DolbyVisionProfileDvavPen = 0x2,
    OMX_VIDEO_DolbyVisionProfileDvheDer = 0x4,
    OMX_VIDEO_DolbyVisionProfileDvheDen = 0x8,
    OMX_VIDEO_DolbyVisionProfileDvheDtr = 0x10,
    OMX_VIDEO_DolbyVisionProfileDvheStn = 0x20,
    OMX_VIDEO_DolbyVisionProfileDvheDth = 0x40,
    OMX_VIDEO_DolbyVisionProfileDvheDtb = 0x80,
    OMX_VIDEO_DolbyVisionProfileDvheSt = 0x100,
    OMX_VIDEO_DolbyVisionProfileDvavSe = 0x200,
    OMX_VIDEO_DolbyVisionProfileDvav110 = 0x400,
    OMX_VIDEO_DolbyVisionProfileMax = 0x7FFFFFFF
} OMX_VIDEO_DOLBYVISIONPROFILETYPE;

typedef enum OMX_VIDEO_DOLBYVISIONLEVELTYPE {
    OMX_VIDEO_DolbyVisionLevelUnknown = 0x0,
    OMX_VIDEO_DolbyVisionLevelHd24 = 0x1,
    OMX_VIDEO_DolbyVisionLevelHd30 = 0x2,
    OMX_VIDEO_DolbyVisionLevelFhd24 = 0x4,
    OMX_VIDEO_DolbyVisionLevelFhd30 = 0x8,
    OMX_VIDEO_DolbyVisionLevelFhd60 = 0x10,
    OMX_VIDEO_DolbyVisionLevelUhd24 = 0x20,
    OMX_VIDEO_DolbyVisionLevelUhd30 = 0x40,
    OMX_VIDEO_DolbyVisionLevelUhd48 = 0x80,
    OMX_VIDEO_DolbyVisionLevelUhd60 = 0x100,
    OMX_VIDEO_DolbyVisionLevelmax = 0x7FFFFFFF
} OMX_VIDEO_DOLBYVISIONLEVELTYPE;

typedef enum OMX_VIDEO_AV1PROFILETYPE {
    OMX_VIDEO_AV1ProfileMain8 = 0x1,
    OMX_VIDEO_AV1ProfileMain10 = 0x2,
    OMX_VIDEO_AV1ProfileMain10HDR10 = 0x1000,
    OMX_VIDEO_AV1ProfileMain10HDR10Plus = 0x2000,
    OMX_VIDEO_AV1ProfileUnknown = 0x6EFFFFFF,
    OMX_VIDEO_AV1ProfileMax = 0x7FFFFFFF
} OMX_VIDEO_AV1PROFILETYPE;

typedef enum OMX_VIDEO_AV1LEVELTYPE {
    OMX_VIDEO_AV1Level2 = 0x1,
    OMX_VIDEO_AV1Level21 = 0x2,
    OMX_VIDEO_AV1Level22 = 0x4,
    OMX_VIDEO_AV1Level23 = 0x8,
    OMX_VIDEO_AV1Level3 = 0x10,
    OMX_VIDEO_AV1Level31 = 0x20,
    OMX_VIDEO_AV1Level32 = 0x40,
    OMX_VIDEO_AV1Level33 = 0x80,
    OMX_VIDEO_AV1Level4 = 0x100,
    OMX_VIDEO_AV1Level41 = 0x200,
    OMX_VIDEO_AV1Level42 = 0x400,
    OMX_VIDEO_AV1Level43 = 0x800,
    OMX_VIDEO_AV1Level5 = 0x1000,
    OMX_VIDEO_AV1Level51 = 0x2000,
    OMX_VIDEO_AV1Level52 = 0x4000,
    OMX_VIDEO_AV1Level53 = 0x8000,
    OMX_VIDEO_AV1Level6 = 0x10000,
    OMX_VIDEO_AV1Level61 = 0x20000,
    OMX_VIDEO_AV1Level62 = 0x40000,
    OMX_VIDEO_AV1Level63 = 0x80000,
    OMX_VIDEO_AV1Level7 = 0x100000,
    OMX_VIDEO_AV1Level71 = 0x200000,
    OMX_VIDEO_AV1Level72 = 0x400000,
    OMX_VIDEO_AV1Level73 = 0x800000,
    OMX_VIDEO_AV1LevelUnknown = 0x6EFFFFFF,
    OMX_VIDEO_AV1LevelMax = 0x7FFFFFFF
} OMX_VIDEO_AV1LEVELTYPE;

/* ---- Android records ---- */
typedef struct OMX_VIDEO_PARAM_VP8TYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_VIDEO_VP8PROFILETYPE eProfile;
    OMX_VIDEO_VP8LEVELTYPE eLevel;
    OMX_U32 nDCTPartitions;
    OMX_BOOL bErrorResilientMode;
} OMX_VIDEO_PARAM_VP8TYPE;
static_assert(sizeof(OMX_VIDEO_PARAM_VP8TYPE) == 28);

typedef struct OMX_VIDEO_VP8REFERENCEFRAMETYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bPreviousFrameRefresh;
    OMX_BOOL bGoldenFrameRefresh;
    OMX_BOOL bAlternateFrameRefresh;
    OMX_BOOL bUsePreviousFrame;
    OMX_BOOL bUseGoldenFrame;
    OMX_BOOL bUseAlternateFrame;
} OMX_VIDEO_VP8REFERENCEFRAMETYPE;
static_assert(sizeof(OMX_VIDEO_VP8REFERENCEFRAMETYPE) == 36);

typedef struct OMX_VIDEO_VP8REFERENCEFRAMEINFOTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bIsIntraFrame;
    OMX_BOOL bIsGoldenOrAlternateFrame;
} OMX_VIDEO_VP8REFERENCEFRAMEINFOTYPE;
static_assert(sizeof(OMX_VIDEO_VP8REFERENCEFRAMEINFOTYPE) == 20);

#define OMX_VIDEO_ANDROID_MAXVP8TEMPORALLAYERS 3

typedef enum OMX_VIDEO_ANDROID_VPXTEMPORALLAYERPATTERNTYPE {
    OMX_VIDEO_VPXTemporalLayerPatternNone = 0,
    OMX_VIDEO_VPXTemporalLayerPatternWebRTC = 1,
    OMX_VIDEO_VPXTemporalLayerPatternMax = 0x7FFFFFFF
} OMX_VIDEO_ANDROID_VPXTEMPORALLAYERPATTERNTYPE;

typedef struct OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nKeyFrameInterval;
    OMX_VIDEO_ANDROID_VPXTEMPORALLAYERPATTERNTYPE eTemporalPattern;
    OMX_U32 nTemporalLayerCount;
    OMX_U32 nTemporalLayerBitrateRatio[OMX_VIDEO_ANDROID_MAXVP8TEMPORALLAYERS];
    OMX_U32 nMinQuantizer;
    OMX_U32 nMaxQuantizer;
} OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE;
static_assert(sizeof(OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE) == 44);

typedef struct OMX_VIDEO_PARAM_VP9TYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_VIDEO_VP9PROFILETYPE eProfile;
    OMX_VIDEO_VP9LEVELTYPE eLevel;
    OMX_BOOL bErrorResilientMode;
    OMX_U32 nTileRows;
    OMX_U32 nTileColumns;
    OMX_BOOL bEnableFrameParallelDecoding;
} OMX_VIDEO_PARAM_VP9TYPE;
static_assert(sizeof(OMX_VIDEO_PARAM_VP9TYPE) == 36);

typedef enum OMX_NALUFORMATSTYPE {
    OMX_NaluFormatStartCodes = 0x01,
    OMX_NaluFormatOneNaluPerBuffer = 0x02,
    OMX_NaluFormatOneByteInterleaveLength = 0x04,
    OMX_NaluFormatTwoByteInterleaveLength = 0x08,
    OMX_NaluFormatFourByteInterleaveLength = 0x10,
    OMX_NaluFormatCodingMax = 0x7FFFFFFF
} OMX_NALUFORMATSTYPE;

typedef struct OMX_NALSTREAMFORMATTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_NALUFORMATSTYPE eNaluFormat;
} OMX_NALSTREAMFORMATTYPE;
static_assert(sizeof(OMX_NALSTREAMFORMATTYPE) == 16);

typedef struct OMX_VIDEO_PARAM_HEVCTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_VIDEO_HEVCPROFILETYPE eProfile;
    OMX_VIDEO_HEVCLEVELTYPE eLevel;
    OMX_U32 nKeyFrameInterval;
} OMX_VIDEO_PARAM_HEVCTYPE;
static_assert(sizeof(OMX_VIDEO_PARAM_HEVCTYPE) == 24);

typedef struct OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nRefreshPeriod;
} OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE;
static_assert(sizeof(OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE) == 16);

/* The misspelt first field is the published name. */
typedef struct OMX_VIDEO_SLICESEGMENTSTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bDepedentSegments;
    OMX_BOOL bEnableLoopFilterAcrossSlices;
} OMX_VIDEO_SLICESEGMENTSTYPE;
static_assert(sizeof(OMX_VIDEO_SLICESEGMENTSTYPE) == 20);

#define OMX_VIDEO_ANDROID_MAXTEMPORALLAYERS 8

/* A bit mask where the supported patterns are reported. */
typedef enum OMX_VIDEO_ANDROID_TEMPORALLAYERINGPATTERNTYPE {
    OMX_VIDEO_AndroidTemporalLayeringPatternNone = 0,
    OMX_VIDEO_AndroidTemporalLayeringPatternWebRTC = 0x1,
    OMX_VIDEO_AndroidTemporalLayeringPatternAndroid = 0x2
} OMX_VIDEO_ANDROID_TEMPORALLAYERINGPATTERNTYPE;

typedef struct OMX_VIDEO_PARAM_ANDROID_TEMPORALLAYERINGTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_VIDEO_ANDROID_TEMPORALLAYERINGPATTERNTYPE eSupportedPatterns;
    OMX_U32 nLayerCountMax;
    OMX_U32 nBLayerCountMax;
    OMX_VIDEO_ANDROID_TEMPORALLAYERINGPATTERNTYPE ePattern;
    OMX_U32 nPLayerCountActual;
    OMX_U32 nBLayerCountActual;
    OMX_BOOL bBitrateRatiosSpecified;
    OMX_U32 nBitrateRatios[OMX_VIDEO_ANDROID_MAXTEMPORALLAYERS];
} OMX_VIDEO_PARAM_ANDROID_TEMPORALLAYERINGTYPE;
static_assert(sizeof(OMX_VIDEO_PARAM_ANDROID_TEMPORALLAYERINGTYPE) == 72);

typedef struct OMX_VIDEO_CONFIG_ANDROID_TEMPORALLAYERINGTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_VIDEO_ANDROID_TEMPORALLAYERINGPATTERNTYPE ePattern;
    OMX_U32 nPLayerCountActual;
    OMX_U32 nBLayerCountActual;
    OMX_BOOL bBitrateRatiosSpecified;
    OMX_U32 nBitrateRatios[OMX_VIDEO_ANDROID_MAXTEMPORALLAYERS];
} OMX_VIDEO_CONFIG_ANDROID_TEMPORALLAYERINGTYPE;
static_assert(sizeof(OMX_VIDEO_CONFIG_ANDROID_TEMPORALLAYERINGTYPE) == 60);

typedef struct OMX_VIDEO_PARAM_ANDROID_IMAGEGRIDTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnabled;
    OMX_U32 nTileWidth;
    OMX_U32 nTileHeight;
    OMX_U32 nGridRows;
    OMX_U32 nGridCols;
} OMX_VIDEO_PARAM_ANDROID_IMAGEGRIDTYPE;
static_assert(sizeof(OMX_VIDEO_PARAM_ANDROID_IMAGEGRIDTYPE) == 32);

/* One entry of the array that OMX_EventOutputRendered points to; INT64_MAX marks end of stream. */
typedef struct OMX_VIDEO_RENDEREVENTTYPE {
    OMX_S64 nMediaTimeUs;
    OMX_S64 nSystemTimeNs;
} OMX_VIDEO_RENDEREVENTTYPE;
static_assert(sizeof(OMX_VIDEO_RENDEREVENTTYPE) == 16);

#define OMX_MAX_STRINGVALUE_SIZE OMX_MAX_STRINGNAME_SIZE
#define OMX_MAX_ANDROID_VENDOR_PARAMCOUNT 32

typedef enum OMX_ANDROID_VENDOR_VALUETYPE {
    OMX_AndroidVendorValueInt32 = 0,
    OMX_AndroidVendorValueInt64 = 1,
    OMX_AndroidVendorValueString = 2,
    OMX_AndroidVendorValueEndUnused = 3
} OMX_ANDROID_VENDOR_VALUETYPE;

typedef struct OMX_CONFIG_ANDROID_VENDOR_PARAMTYPE {
    OMX_U8 cKey[OMX_MAX_STRINGNAME_SIZE];
    OMX_ANDROID_VENDOR_VALUETYPE eValueType;
    OMX_BOOL bSet;
    union {
        OMX_S32 nInt32;
        OMX_S64 nInt64;
        OMX_U8 cString[OMX_MAX_STRINGVALUE_SIZE];
    };
} OMX_CONFIG_ANDROID_VENDOR_PARAMTYPE;
static_assert(sizeof(OMX_CONFIG_ANDROID_VENDOR_PARAMTYPE) == 264);

/* Declared with one parameter; a client sizes it for nParamSizeUsed of them. */
typedef struct OMX_CONFIG_ANDROID_VENDOR_EXTENSIONTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nIndex;
    OMX_U8 cName[OMX_MAX_STRINGNAME_SIZE];
    OMX_DIRTYPE eDir;
    OMX_U32 nParamCount;
    OMX_U32 nParamSizeUsed;
    OMX_CONFIG_ANDROID_VENDOR_PARAMTYPE param[1];
} OMX_CONFIG_ANDROID_VENDOR_EXTENSIONTYPE;
static_assert(sizeof(OMX_CONFIG_ANDROID_VENDOR_EXTENSIONTYPE) == 416);

typedef struct EnableAndroidNativeBuffersParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL enable;
} EnableAndroidNativeBuffersParams;
static_assert(sizeof(EnableAndroidNativeBuffersParams) == 16);

typedef struct StoreMetaDataInBuffersParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bStoreMetaData;
} StoreMetaDataInBuffersParams;
static_assert(sizeof(StoreMetaDataInBuffersParams) == 16);

typedef struct GetAndroidNativeBufferUsageParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nUsage;
} GetAndroidNativeBufferUsageParams;
static_assert(sizeof(GetAndroidNativeBufferUsageParams) == 16);

/* The last member is an address in the client's runtime; it is only ever passed through. */
typedef struct UseAndroidNativeBufferParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_PTR pAppPrivate;
    OMX_BUFFERHEADERTYPE **bufferHeader;
    void *nativeBuffer;
} UseAndroidNativeBufferParams;
static_assert(sizeof(UseAndroidNativeBufferParams) == 40);

typedef enum MediaImageType { MEDIA_IMAGE_TYPE_UNKNOWN = 0, MEDIA_IMAGE_TYPE_YUV = 1 } MediaImageType;
typedef enum MediaImagePlaneIndex {
    MEDIA_IMAGE_Y = 0,
    MEDIA_IMAGE_U = 1,
    MEDIA_IMAGE_V = 2,
    MEDIA_IMAGE_MAX_NUM_PLANES = 3
} MediaImagePlaneIndex;

typedef struct MediaImagePlaneInfo {
    uint32_t mOffset;
    uint32_t mColInc;
    uint32_t mRowInc;
    uint32_t mHorizSubsampling;
    uint32_t mVertSubsampling;
} MediaImagePlaneInfo;

typedef struct MediaImage {
    MediaImageType mType;
    uint32_t mNumPlanes;
    uint32_t mWidth;
    uint32_t mHeight;
    uint32_t mBitDepth;
    MediaImagePlaneInfo mPlane[MEDIA_IMAGE_MAX_NUM_PLANES];
} MediaImage;
static_assert(sizeof(MediaImage) == 80);

typedef struct DescribeColorFormatParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_COLOR_FORMATTYPE eColorFormat;
    OMX_U32 nFrameWidth;
    OMX_U32 nFrameHeight;
    OMX_U32 nStride;
    OMX_U32 nSliceHeight;
    OMX_BOOL bUsingNativeBuffers;
    MediaImage sMediaImage;
} DescribeColorFormatParams;
static_assert(sizeof(DescribeColorFormatParams) == 112);

/* Byte-packed; the nested names keep its enumerators apart from those of MediaImage. */
typedef struct __attribute__((packed)) MediaImage2 {
    enum Type : uint32_t {
        MEDIA_IMAGE_TYPE_UNKNOWN = 0,
        MEDIA_IMAGE_TYPE_YUV = 1,
        MEDIA_IMAGE_TYPE_YUVA = 2,
        MEDIA_IMAGE_TYPE_RGB = 3,
        MEDIA_IMAGE_TYPE_RGBA = 4,
        MEDIA_IMAGE_TYPE_Y = 5
    };
    enum PlaneIndex : uint32_t { Y = 0, U = 1, V = 2, R = 0, G = 1, B = 2, A = 3, MAX_NUM_PLANES = 4 };
    struct __attribute__((packed)) PlaneInfo {
        uint32_t mOffset;
        int32_t mColInc;
        int32_t mRowInc;
        uint32_t mHorizSubsampling;
        uint32_t mVertSubsampling;
    };
    Type mType;
    uint32_t mNumPlanes;
    uint32_t mWidth;
    uint32_t mHeight;
    uint32_t mBitDepth;          /* usable bits, MSB-aligned */
    uint32_t mBitDepthAllocated; /* 8 or 16 */
    PlaneInfo mPlane[MAX_NUM_PLANES];
} MediaImage2;
static_assert(sizeof(MediaImage2::PlaneInfo) == 20);
static_assert(sizeof(MediaImage2) == 104);

typedef struct DescribeColorFormat2Params {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_COLOR_FORMATTYPE eColorFormat;
    OMX_U32 nFrameWidth;
    OMX_U32 nFrameHeight;
    OMX_U32 nStride;
    OMX_U32 nSliceHeight;
    OMX_BOOL bUsingNativeBuffers;
    MediaImage2 sMediaImage;
} DescribeColorFormat2Params;
static_assert(sizeof(DescribeColorFormat2Params) == 136);

typedef struct PrepareForAdaptivePlaybackParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnable;
    OMX_U32 nMaxFrameWidth;
    OMX_U32 nMaxFrameHeight;
} PrepareForAdaptivePlaybackParams;
static_assert(sizeof(PrepareForAdaptivePlaybackParams) == 24);

typedef struct PrependSPSPPSToIDRFramesParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_BOOL bEnable;
} PrependSPSPPSToIDRFramesParams;
static_assert(sizeof(PrependSPSPPSToIDRFramesParams) == 12);

typedef struct ConfigureVideoTunnelModeParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bTunneled;
    OMX_U32 nAudioHwSync;
    OMX_PTR pSidebandWindow; /* out */
} ConfigureVideoTunnelModeParams;
static_assert(sizeof(ConfigureVideoTunnelModeParams) == 32);

/* Colour aspects: field order is range, primaries, transfer, matrix. */
typedef enum ColorAspectsRange {
    RangeUnspecified = 0,
    RangeFull = 1,
    RangeLimited = 2,
    RangeOther = 0xFF
} ColorAspectsRange;

typedef enum ColorAspectsPrimaries {
    PrimariesUnspecified = 0,
    PrimariesBT709_5 = 1,
    PrimariesBT470_6M = 2,
    PrimariesBT601_6_625 = 3,
    PrimariesBT601_6_525 = 4,
    PrimariesGenericFilm = 5,
    PrimariesBT2020 = 6,
    PrimariesRP431 = 7,
    PrimariesEG432 = 8,
    PrimariesOther = 0xFF
} ColorAspectsPrimaries;

typedef enum ColorAspectsTransfer {
    TransferUnspecified = 0,
    TransferLinear = 1,
    TransferSRGB = 2,
    TransferSMPTE170M = 3,
    TransferGamma22 = 4,
    TransferGamma28 = 5,
    TransferST2084 = 6,
    TransferHLG = 7,
    TransferSMPTE240M = 0x40,
    TransferXvYCC = 0x41,
    TransferBT1361 = 0x42,
    TransferST428 = 0x43,
    TransferOther = 0xFF
} ColorAspectsTransfer;

typedef enum ColorAspectsMatrixCoeffs {
    MatrixUnspecified = 0,
    MatrixBT709_5 = 1,
    MatrixBT470_6M = 2,
    MatrixBT601_6 = 3,
    MatrixSMPTE240M = 4,
    MatrixBT2020 = 5,
    MatrixBT2020Constant = 6,
    MatrixOther = 0xFF
} ColorAspectsMatrixCoeffs;

typedef struct ColorAspects {
    ColorAspectsRange mRange;
    ColorAspectsPrimaries mPrimaries;
    ColorAspectsTransfer mTransfer;
    ColorAspectsMatrixCoeffs mMatrixCoeffs;
} ColorAspects;
static_assert(sizeof(ColorAspects) == 16);

typedef struct DescribeColorAspectsParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bRequestingDataSpace;
    OMX_BOOL bDataSpaceChanged;
    OMX_U32 nPixelFormat;
    OMX_U32 nDataSpace;
    ColorAspects sAspects;
} DescribeColorAspectsParams;
static_assert(sizeof(DescribeColorAspectsParams) == 44);

/* Static HDR metadata, byte-packed: 16-bit fields sit at odd offsets. */
typedef struct __attribute__((packed)) HDRStaticInfoPrimaries {
    uint16_t x;
    uint16_t y;
} HDRStaticInfoPrimaries;

typedef struct __attribute__((packed)) HDRStaticInfoType1 {
    HDRStaticInfoPrimaries mR;
    HDRStaticInfoPrimaries mG;
    HDRStaticInfoPrimaries mB;
    HDRStaticInfoPrimaries mW;
    uint16_t mMaxDisplayLuminance;
    uint16_t mMinDisplayLuminance;
    uint16_t mMaxContentLightLevel;
    uint16_t mMaxFrameAverageLightLevel;
} HDRStaticInfoType1;

typedef struct __attribute__((packed)) HDRStaticInfo {
    uint8_t mID;
    HDRStaticInfoType1 sType1;
} HDRStaticInfo;
static_assert(sizeof(HDRStaticInfoPrimaries) == 4 && sizeof(HDRStaticInfoType1) == 24);
static_assert(sizeof(HDRStaticInfo) == 25);

typedef struct DescribeHDRStaticInfoParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    HDRStaticInfo sInfo;
} DescribeHDRStaticInfoParams;
static_assert(sizeof(DescribeHDRStaticInfoParams) == 40);

/* First word of every metadata buffer. */
typedef enum MetadataBufferType {
    kMetadataBufferTypeCameraSource = 0,
    kMetadataBufferTypeGrallocSource = 1,
    kMetadataBufferTypeANWBuffer = 2,
    kMetadataBufferTypeNativeHandleSource = 3,
    kMetadataBufferTypeInvalid = -1
} MetadataBufferType;

typedef struct VideoGrallocMetadata {
    MetadataBufferType eType;
    const void *pHandle;
} VideoGrallocMetadata;
static_assert(sizeof(VideoGrallocMetadata) == 16);

typedef struct VideoNativeMetadata {
    MetadataBufferType eType;
    void *pBuffer;
    int nFenceFd;
} VideoNativeMetadata;
static_assert(sizeof(VideoNativeMetadata) == 24);

typedef struct VideoNativeHandleMetadata {
    MetadataBufferType eType;
    void *pHandle;
} VideoNativeHandleMetadata;
static_assert(sizeof(VideoNativeHandleMetadata) == 16);

#undef ZVX_OMX_INDEX
#undef ZVX_OMX_COLOR
#undef ZVX_OMX_CODING

#endif
