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

#include "zvx_omx_abi.h"

/*
 * Extra values are listed once, in the X-macro lists below: each list both defines the typed
 * constants and feeds the diagnostic name tables, so no value can be added without its name.
 * X(name, value) is called once per value.
 */

/* ---- Vendor indices answered by GetExtensionIndex ---- */
#define ZVX_OMX_VENDOR_EXTENSION_INDICES(X)                                                                            \
    X(OMX_IndexParamTCX, 0x7f454647)                                                                                   \
    X(OMX_IndexParamEnableAndroidNativeBuffer, 0x7f454648)                                                             \
    X(OMX_IndexParamUseAndroidNativeBuffer2, 0x7f454649)                                                               \
    X(OMX_IndexParamGetAndroidNativeBufferUsage, 0x7f45464a)                                                           \
    X(OMX_IndexParamEnableTCX, 0x7f45464b)                                                                             \
    X(OMX_IndexParamEnableDmaBuf, 0x7f45464c)                                                                          \
    X(OMX_IndexParamEnableStoreMetaData, 0x7f45464d)                                                                   \
    X(OMX_IndexParamDescribeColorFormat, 0x7f45464e)                                                                   \
    X(OMX_IndexConfigDescribeHDRColorInfo, 0x7f454650)                                                                 \
    X(OMX_IndexConfigDynamicFPSFromTimestamp, 0x7f454651)                                                              \
    X(OMX_IndexParamDescribeColorAspects, 0x7f454653)

/* ---- Vendor indices known only inside the component and its session (values are ours) ---- */
#define ZVX_OMX_VENDOR_INTERNAL_INDICES(X)                                                                             \
    X(QURO_IndexParamSequenceParameters, 0x7f460001)                                                                   \
    X(QURO_IndexParamRateControl, 0x7f460002)                                                                          \
    X(QURO_IndexParamVideoHevc, 0x7f460003)                                                                            \
    X(OMX_IndexParamBufferSize, 0x7f460004)                                                                            \
    X(OMX_IndexConfigVideoIntraPeriod, 0x7f460005)

/* ---- Vendor client colour formats; 47 is YVU 4:2:0 semi-planar outside the standard enumeration,
 * 0x32315659 the FOURCC 'YV12' as Android clients pass it ---- */
#define ZVX_OMX_VENDOR_COLOR_FORMATS(X)                                                                                \
    X(QURO_COLOR_FormatYUV420TCX, 0x7f000000)                                                                          \
    X(QURO_COLOR_FormatYUV420TCX_10b, 0x7f000001)                                                                      \
    X(QURO_COLOR_FormatYUV422TCX, 0x7f000002)                                                                          \
    X(QURO_COLOR_FormatYUV422TCX_10b, 0x7f000003)                                                                      \
    X(QURO_COLOR_FormatYYCbCr, 0x7f000004)                                                                             \
    X(QURO_COLOR_FormatYUYAAYVYAA_10b, 0x7f000005)                                                                     \
    X(QURO_COLOR_FormatAAYUYAAYVY_10b, 0x7f000006)                                                                     \
    X(QURO_COLOR_FormatYUV422_1P, 0x7f000007)                                                                          \
    X(QURO_COLOR_FormatYVU422_1P, 0x7f000008)                                                                          \
    X(QURO_COLOR_FormatYUV420_10b_MS, 0x7f000009)                                                                      \
    X(QURO_COLOR_FormatYUV420SemiPlanar_LB16, 0x7f000010)                                                              \
    X(QURO_COLOR_FormatYUV422_10b_MS, 0x7f000011)                                                                      \
    X(QURO_COLOR_FormatRefFrame, 0x7f0000fe)                                                                           \
    X(QURO_COLOR_FormatMBInfo, 0x7f0000ff)                                                                             \
    X(QURO_COLOR_FormatYVU420SemiPlanar, 47)                                                                           \
    X(QURO_COLOR_FormatYV12, 0x32315659)

/* ---- Vendor records ---- */
typedef struct OMX_PARAM_ENABLETCXTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnabled;
    OMX_BOOL bTilesEnabled;
    OMX_BOOL bWideblkEnabled;
} OMX_PARAM_ENABLETCXTYPE;
static_assert(sizeof(OMX_PARAM_ENABLETCXTYPE) == ZVX_OMX_ABI_SIZE(24, 40));

/* Answer of OMX_IndexParamTCX: whether the hardware can lay this port's frames out compressed. */
typedef struct OMX_PARAM_TCXTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bSupported;
} OMX_PARAM_TCXTYPE;
static_assert(sizeof(OMX_PARAM_TCXTYPE) == ZVX_OMX_ABI_SIZE(16, 32));

/* Switch of the dma-buf buffer mode. */
typedef struct OMX_PARAM_ENABLEDMABUFTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnabled;
} OMX_PARAM_ENABLEDMABUFTYPE;
static_assert(sizeof(OMX_PARAM_ENABLEDMABUFTYPE) == ZVX_OMX_ABI_SIZE(16, 32));

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
static_assert(sizeof(QURO_PARAM_SEQUENECE_PARAMETERS) == ZVX_OMX_ABI_SIZE(40, 56));

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
static_assert(sizeof(QURO_PARAM_BUFFERSIZETYPE) == ZVX_OMX_ABI_SIZE(24, 48));

typedef struct QURO_CONFIG_INTRAPERIODTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nIDRPeriod;
    OMX_U32 nPFrames;
    OMX_U32 nBFrames;
} QURO_CONFIG_INTRAPERIODTYPE;
static_assert(sizeof(QURO_CONFIG_INTRAPERIODTYPE) == ZVX_OMX_ABI_SIZE(24, 48));

/* Frame rate estimated from input time stamps: averaged over nWindow frames, tracked when enabled. */
typedef struct QURO_CONFIG_DYNAMICFPSTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnabled;
    OMX_U32 nWindow;
    OMX_BOOL bTrackChanges;
} QURO_CONFIG_DYNAMICFPSTYPE;
static_assert(sizeof(QURO_CONFIG_DYNAMICFPSTYPE) == ZVX_OMX_ABI_SIZE(24, 48));

/* The session's 1.2.0 port definition: every field a 32-bit word whatever the client's OMX_U32 is,
 * pointers truncated. */
typedef struct kern_omx120_video_portdefinitiontype {
    uint32_t pNativeRender;
    uint32_t nFrameWidth;
    uint32_t nFrameHeight;
    uint32_t nStride;
    uint32_t nSliceHeight;
    uint32_t nBitrate;
    uint32_t xFramerate;
    uint32_t bFlagErrorConcealment;
    uint32_t eCompressionFormat;
    uint32_t eColorFormat;
    uint32_t pNativeWindow;
} kern_omx120_video_portdefinitiontype;

typedef struct kern_omx120_param_portdefinitiontype {
    uint32_t nSize;
    uint32_t nVersion;
    uint32_t nPortIndex;
    uint32_t eDir;
    uint32_t nBufferCountActual;
    uint32_t nBufferCountMin;
    uint32_t nBufferSize;
    uint32_t bEnabled;
    uint32_t bPopulated;
    uint32_t eDomain;
    union {
        kern_omx120_video_portdefinitiontype video;
    } format;
    uint32_t bBuffersContiguous;
    uint32_t nBufferAlignment;
} kern_omx120_param_portdefinitiontype;
static_assert(sizeof(kern_omx120_video_portdefinitiontype) == 44);
static_assert(sizeof(kern_omx120_param_portdefinitiontype) == 92);

/* ---- Android index extensions ---- */
/* Each block grows at its end only; its end marker moves between releases and is left out. */
#define ZVX_OMX_ANDROID_INDICES(X)                                                                                     \
    X(OMX_IndexExtComponentStartUnused, 0x6F100000)                                                                    \
    X(OMX_IndexExtPortStartUnused, 0x6F200000)                                                                         \
    X(OMX_IndexExtAudioStartUnused, 0x6F400000)                                                                        \
    X(OMX_IndexExtImageStartUnused, 0x6F500000)                                                                        \
    X(OMX_IndexExtVideoStartUnused, 0x6F600000)                                                                        \
    X(OMX_IndexExtCommonStartUnused, 0x6F700000)                                                                       \
    X(OMX_IndexExtOtherStartUnused, 0x6F800000)                                                                        \
    X(OMX_IndexExtTimeStartUnused, 0x6F900000)                                                                         \
    X(OMX_IndexConfigCallbackRequest, 0x6F100001)                                                                      \
    X(OMX_IndexConfigCommitMode, 0x6F100002)                                                                           \
    X(OMX_IndexConfigCommit, 0x6F100003)                                                                               \
    X(OMX_IndexConfigAndroidVendorExtension, 0x6F100004)                                                               \
    X(OMX_IndexParamAudioAndroidAc3, 0x6F400001)                                                                       \
    X(OMX_IndexParamAudioAndroidOpus, 0x6F400002)                                                                      \
    X(OMX_IndexParamAudioAndroidAacPresentation, 0x6F400003)                                                           \
    X(OMX_IndexParamAudioAndroidEac3, 0x6F400004)                                                                      \
    X(OMX_IndexParamAudioProfileQuerySupported, 0x6F400005)                                                            \
    X(OMX_IndexParamAudioAndroidAacDrcPresentation, 0x6F400006)                                                        \
    X(OMX_IndexParamAudioAndroidAc4, 0x6F400007)                                                                       \
    X(OMX_IndexParamNalStreamFormatSupported, 0x6F600001)                                                              \
    X(OMX_IndexParamNalStreamFormat, 0x6F600002)                                                                       \
    X(OMX_IndexParamNalStreamFormatSelect, 0x6F600003)                                                                 \
    X(OMX_IndexParamVideoVp8, 0x6F600004)                                                                              \
    X(OMX_IndexConfigVideoVp8ReferenceFrame, 0x6F600005)                                                               \
    X(OMX_IndexConfigVideoVp8ReferenceFrameType, 0x6F600006)                                                           \
    X(OMX_IndexParamVideoAndroidVp8Encoder, 0x6F600007)                                                                \
    X(OMX_IndexParamVideoHevc, 0x6F600008)                                                                             \
    X(OMX_IndexParamSliceSegments, 0x6F600009)                                                                         \
    X(OMX_IndexConfigAndroidIntraRefresh, 0x6F60000A)                                                                  \
    X(OMX_IndexParamAndroidVideoTemporalLayering, 0x6F60000B)                                                          \
    X(OMX_IndexConfigAndroidVideoTemporalLayering, 0x6F60000C)                                                         \
    X(OMX_IndexParamMaxFrameDurationForBitrateControl, 0x6F60000D)                                                     \
    X(OMX_IndexParamVideoVp9, 0x6F60000E)                                                                              \
    X(OMX_IndexParamVideoAndroidVp9Encoder, 0x6F60000F)                                                                \
    X(OMX_IndexParamVideoAndroidImageGrid, 0x6F600010)                                                                 \
    X(OMX_IndexParamVideoAndroidRequiresSwRenderer, 0x6F600011)                                                        \
    X(OMX_IndexConfigAutoFramerateConversion, 0x6F800001)                                                              \
    X(OMX_IndexConfigPriority, 0x6F800002)                                                                             \
    X(OMX_IndexConfigOperatingRate, 0x6F800003)                                                                        \
    X(OMX_IndexParamConsumerUsageBits, 0x6F800004)                                                                     \
    X(OMX_IndexConfigLatency, 0x6F800005)                                                                              \
    X(OMX_IndexConfigLowLatency, 0x6F800006)                                                                           \
    X(OMX_IndexConfigAndroidTunnelPeek, 0x6F800007)                                                                    \
    X(OMX_IndexConfigAndroidTunnelPeekLegacyMode, 0x6F800008)                                                          \
    X(OMX_IndexParamConsumerUsageBits64, 0x6F800009)

/* ---- Android additions to standard enumerations ---- */
#define ZVX_OMX_ANDROID_CODINGS(X)                                                                                     \
    X(OMX_VIDEO_CodingVP8, 9)                                                                                          \
    X(OMX_VIDEO_CodingVP9, 0xA)                                                                                        \
    X(OMX_VIDEO_CodingHEVC, 0xB)                                                                                       \
    X(OMX_VIDEO_CodingDolbyVision, 0xC)                                                                                \
    X(OMX_VIDEO_CodingImageHEIC, 0xD)

#define ZVX_OMX_ANDROID_COLOR_FORMATS(X)                                                                               \
    X(OMX_COLOR_FormatAndroidOpaque, 0x7F000789)                                                                       \
    X(OMX_COLOR_Format32BitRGBA8888, 0x7F00A000)                                                                       \
    X(OMX_COLOR_FormatYUV420Flexible, 0x7F420888)                                                                      \
    X(OMX_COLOR_FormatYUV420Planar16, 0x7F42016B)                                                                      \
    X(OMX_COLOR_FormatYUV444Y410, 0x7F444AAA)

#define ZVX_OMX_ANDROID_EVENTS(X) X(OMX_EventOutputRendered, 0x7F000001)

/* Every extension value of each enumeration, for the definitions below and the name tables. */
#define ZVX_OMX_EXTENSION_INDICES(X)                                                                                   \
    ZVX_OMX_VENDOR_EXTENSION_INDICES(X) ZVX_OMX_VENDOR_INTERNAL_INDICES(X) ZVX_OMX_ANDROID_INDICES(X)
#define ZVX_OMX_EXTENSION_COLOR_FORMATS(X) ZVX_OMX_VENDOR_COLOR_FORMATS(X) ZVX_OMX_ANDROID_COLOR_FORMATS(X)
#define ZVX_OMX_EXTENSION_CODINGS(X) ZVX_OMX_ANDROID_CODINGS(X)
#define ZVX_OMX_EXTENSION_EVENTS(X) ZVX_OMX_ANDROID_EVENTS(X)

#define ZVXP_OMX_DEFINE_INDEX(name, value) inline constexpr OMX_INDEXTYPE name = static_cast<OMX_INDEXTYPE>(value);
#define ZVXP_OMX_DEFINE_COLOR(name, value)                                                                             \
    inline constexpr OMX_COLOR_FORMATTYPE name = static_cast<OMX_COLOR_FORMATTYPE>(value);
#define ZVXP_OMX_DEFINE_CODING(name, value)                                                                            \
    inline constexpr OMX_VIDEO_CODINGTYPE name = static_cast<OMX_VIDEO_CODINGTYPE>(value);
#define ZVXP_OMX_DEFINE_EVENT(name, value) inline constexpr OMX_EVENTTYPE name = static_cast<OMX_EVENTTYPE>(value);
ZVX_OMX_EXTENSION_INDICES(ZVXP_OMX_DEFINE_INDEX)
ZVX_OMX_EXTENSION_COLOR_FORMATS(ZVXP_OMX_DEFINE_COLOR)
ZVX_OMX_EXTENSION_CODINGS(ZVXP_OMX_DEFINE_CODING)
ZVX_OMX_EXTENSION_EVENTS(ZVXP_OMX_DEFINE_EVENT)
#undef ZVXP_OMX_DEFINE_INDEX
#undef ZVXP_OMX_DEFINE_COLOR
#undef ZVXP_OMX_DEFINE_CODING
#undef ZVXP_OMX_DEFINE_EVENT

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
static_assert(sizeof(OMX_VIDEO_PARAM_VP8TYPE) == ZVX_OMX_ABI_SIZE(28, 48));

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
static_assert(sizeof(OMX_VIDEO_VP8REFERENCEFRAMETYPE) == ZVX_OMX_ABI_SIZE(36, 48));

typedef struct OMX_VIDEO_VP8REFERENCEFRAMEINFOTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bIsIntraFrame;
    OMX_BOOL bIsGoldenOrAlternateFrame;
} OMX_VIDEO_VP8REFERENCEFRAMEINFOTYPE;
static_assert(sizeof(OMX_VIDEO_VP8REFERENCEFRAMEINFOTYPE) == ZVX_OMX_ABI_SIZE(20, 32));

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
static_assert(sizeof(OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE) == ZVX_OMX_ABI_SIZE(44, 88));

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
static_assert(sizeof(OMX_VIDEO_PARAM_VP9TYPE) == ZVX_OMX_ABI_SIZE(36, 64));

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
static_assert(sizeof(OMX_NALSTREAMFORMATTYPE) == ZVX_OMX_ABI_SIZE(16, 32));

typedef struct OMX_VIDEO_PARAM_HEVCTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_VIDEO_HEVCPROFILETYPE eProfile;
    OMX_VIDEO_HEVCLEVELTYPE eLevel;
    OMX_U32 nKeyFrameInterval;
} OMX_VIDEO_PARAM_HEVCTYPE;
static_assert(sizeof(OMX_VIDEO_PARAM_HEVCTYPE) == ZVX_OMX_ABI_SIZE(24, 40));

typedef struct OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nRefreshPeriod;
} OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE;
static_assert(sizeof(OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE) == ZVX_OMX_ABI_SIZE(16, 32));

/* The misspelt first field is the published name. */
typedef struct OMX_VIDEO_SLICESEGMENTSTYPE {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bDepedentSegments;
    OMX_BOOL bEnableLoopFilterAcrossSlices;
} OMX_VIDEO_SLICESEGMENTSTYPE;
static_assert(sizeof(OMX_VIDEO_SLICESEGMENTSTYPE) == ZVX_OMX_ABI_SIZE(20, 32));

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
static_assert(sizeof(OMX_VIDEO_PARAM_ANDROID_TEMPORALLAYERINGTYPE) == ZVX_OMX_ABI_SIZE(72, 144));

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
static_assert(sizeof(OMX_VIDEO_CONFIG_ANDROID_TEMPORALLAYERINGTYPE) == ZVX_OMX_ABI_SIZE(60, 120));

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
static_assert(sizeof(OMX_VIDEO_PARAM_ANDROID_IMAGEGRIDTYPE) == ZVX_OMX_ABI_SIZE(32, 64));

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
static_assert(sizeof(OMX_CONFIG_ANDROID_VENDOR_EXTENSIONTYPE) == ZVX_OMX_ABI_SIZE(416, 440));

typedef struct EnableAndroidNativeBuffersParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL enable;
} EnableAndroidNativeBuffersParams;
static_assert(sizeof(EnableAndroidNativeBuffersParams) == ZVX_OMX_ABI_SIZE(16, 32));

typedef struct StoreMetaDataInBuffersParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bStoreMetaData;
} StoreMetaDataInBuffersParams;
static_assert(sizeof(StoreMetaDataInBuffersParams) == ZVX_OMX_ABI_SIZE(16, 32));

typedef struct GetAndroidNativeBufferUsageParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_U32 nUsage;
} GetAndroidNativeBufferUsageParams;
static_assert(sizeof(GetAndroidNativeBufferUsageParams) == ZVX_OMX_ABI_SIZE(16, 32));

/* The last member is an address in the client's runtime; it is only ever passed through. */
typedef struct UseAndroidNativeBufferParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_PTR pAppPrivate;
    OMX_BUFFERHEADERTYPE **bufferHeader;
    void *nativeBuffer;
} UseAndroidNativeBufferParams;
static_assert(sizeof(UseAndroidNativeBufferParams) == ZVX_OMX_ABI_SIZE(40, 48));

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
static_assert(sizeof(DescribeColorFormatParams) == ZVX_OMX_ABI_SIZE(112, 144));

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
static_assert(sizeof(DescribeColorFormat2Params) == ZVX_OMX_ABI_SIZE(136, 168));

typedef struct PrepareForAdaptivePlaybackParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bEnable;
    OMX_U32 nMaxFrameWidth;
    OMX_U32 nMaxFrameHeight;
} PrepareForAdaptivePlaybackParams;
static_assert(sizeof(PrepareForAdaptivePlaybackParams) == ZVX_OMX_ABI_SIZE(24, 48));

typedef struct PrependSPSPPSToIDRFramesParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_BOOL bEnable;
} PrependSPSPPSToIDRFramesParams;
static_assert(sizeof(PrependSPSPPSToIDRFramesParams) == ZVX_OMX_ABI_SIZE(12, 24));

typedef struct ConfigureVideoTunnelModeParams {
    OMX_U32 nSize;
    OMX_VERSIONTYPE nVersion;
    OMX_U32 nPortIndex;
    OMX_BOOL bTunneled;
    OMX_U32 nAudioHwSync;
    OMX_PTR pSidebandWindow; /* out */
} ConfigureVideoTunnelModeParams;
static_assert(sizeof(ConfigureVideoTunnelModeParams) == ZVX_OMX_ABI_SIZE(32, 48));

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
static_assert(sizeof(DescribeColorAspectsParams) == ZVX_OMX_ABI_SIZE(44, 64));

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
static_assert(sizeof(DescribeHDRStaticInfoParams) == ZVX_OMX_ABI_SIZE(40, 56));

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

#endif
